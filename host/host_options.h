#pragma once
// The application's command line:
//   tolva_host [JOB_DIR | FILE...] [--snapshot OUT] [--size WxH]
//              [--layers NAME,NAME] [--box XMIN,YMIN,XMAX,YMAX] [--features N]
//              [--export DIR] [--check]
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>

namespace host {

struct HostOptions {
    QStringList inputs;     // job directories (or the job file inside one)
    QString snapshot;       // write the composed view to this image and exit
    QSize size{1200, 800};  // view size in pixels
    QStringList layers;     // layers to show; empty for the first view
    bool hasBox = false;
    QRectF boxMm;           // board window in millimetres, left/bottom to right/top
    long features = 200000; // size of the generated demo board
    QString exportDir;      // write every layer as Gerber or Excellon here and exit
    bool check = false;     // run the checks with the remembered limits and go to the first result
};

// Reads the arguments (argv without the program name). Returns an empty text
// when they are good, else a one-line reason. `--help` is not handled here.
QString parseOptions(const QStringList& arguments, HostOptions& out);

// The option list printed by --help.
QString usageText();

// The image format the snapshot's file name asks for ("PNG", "JPEG", "BMP"),
// or an empty text for a suffix the application does not write.
QByteArray snapshotFormat(const QString& fileName);

}  // namespace host
