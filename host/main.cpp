// The application: a main window around the view on the built-in demo job.
//   tolva_host [--snapshot OUT.png] [--size WxH] [--features N]
// With --snapshot the composed view is written to a PNG without a display.
#include <glog/logging.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QImage>
#include <QMainWindow>
#include <cstdio>
#include <exception>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "demo_job.h"

namespace {

constexpr int kDefaultWidth = 1200;
constexpr int kDefaultHeight = 800;
constexpr long kDemoFeatures = 200000;

int fail(const QString& reason) {
    std::fprintf(stderr, "tolva_host: %s\n", qPrintable(reason));
    return 1;
}

bool parseSize(const QString& text, QSize& size) {
    const QStringList parts = text.split(QLatin1Char('x'));
    bool okW = false, okH = false;
    if (parts.size() == 2) size = QSize(parts[0].toInt(&okW), parts[1].toInt(&okH));
    return okW && okH && size.width() > 0 && size.height() > 0;
}

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

}  // namespace

int main(int argc, char** argv) {
    google::InitGoogleLogging(argv[0]);
    // Decide the platform before QApplication exists: a snapshot needs no display.
    bool snapshot = false;
    for (int i = 1; i < argc; ++i) snapshot = snapshot || QByteArray(argv[i]) == "--snapshot";
    if (snapshot && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!snapshot && !hasDisplay()) return fail(QStringLiteral("no display; use --snapshot OUT.png"));

    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({QStringLiteral("snapshot"), QStringLiteral("Write the view to a PNG and exit."), QStringLiteral("file")});
    parser.addOption({QStringLiteral("size"), QStringLiteral("View size, WxH."), QStringLiteral("size")});
    parser.addOption({QStringLiteral("features"), QStringLiteral("Features of the demo board."), QStringLiteral("n")});
    parser.process(app);

    QSize size(kDefaultWidth, kDefaultHeight);
    if (parser.isSet(QStringLiteral("size")) && !parseSize(parser.value(QStringLiteral("size")), size))
        return fail(QStringLiteral("bad --size '%1', expected WxH").arg(parser.value(QStringLiteral("size"))));
    long features = kDemoFeatures;
    if (parser.isSet(QStringLiteral("features"))) features = parser.value(QStringLiteral("features")).toLong();
    if (features <= 0) return fail(QStringLiteral("bad --features"));

    try {
        host::ensureDemoJob(features);
    } catch (const std::string& text) {
        return fail(QStringLiteral("demo job: %1").arg(QString::fromStdString(text)));
    } catch (const std::exception& e) {
        return fail(QStringLiteral("demo job: %1").arg(QString::fromUtf8(e.what())));
    }

    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Graphic View - %1/%2").arg(host::kDemoJob, host::kDemoStep));
    QTpluginsManger4CAM* manager = QTpluginsManger4CAM::instance();
    QString error;
    QWidget* view = manager->createInstance(PluginNames::GraphicView, &window, &error);
    if (!view) return fail(QStringLiteral("cannot load %1: %2").arg(PluginNames::GraphicView, error));
    window.setCentralWidget(view);
    manager->recMegToPlugin(&window, host::boardLayersMessage(QString::fromLatin1(host::kDemoJob)));
    manager->recMegToPlugin(&window, host::bindMessage(QString::fromLatin1(host::kDemoJob), QString::fromLatin1(host::kDemoStep)));
    view->resize(size);
    window.resize(size);
    window.show();
    view->resize(size);  // the central widget fills the window; pin it to the asked size
    QApplication::processEvents();

    if (!snapshot) return app.exec();
    const QString out = parser.value(QStringLiteral("snapshot"));
    const QImage image = view->grab().toImage();
    if (image.isNull() || image.size() != size)
        return fail(QStringLiteral("the view could not be drawn at %1x%2").arg(size.width()).arg(size.height()));
    if (!image.save(out, "PNG")) return fail(QStringLiteral("cannot write %1").arg(out));
    std::printf("%s\n", qPrintable(out));
    return 0;
}
