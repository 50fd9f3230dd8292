#include <glog/logging.h>

#include <QApplication>
#include <QMainWindow>

#include "QTpluginsManger4CAM.h"

int main(int argc, char** argv) {
    google::InitGoogleLogging(argv[0]);
    QApplication app(argc, argv);
    QMainWindow window;
    QString error;
    QWidget* view = QTpluginsManger4CAM::instance()->createInstance(QStringLiteral("Graphic_View.dll"), &window, &error);
    if (!view) {
        fprintf(stderr, "cannot load the view: %s\n", qPrintable(error));
        return 1;
    }
    window.setCentralWidget(view);
    window.resize(1200, 800);
    window.show();
    return app.exec();
}
