// The application: the CAM workstation around the view.
//   tolva_host [JOB_DIR | FILE...] [--snapshot OUT] [--size WxH]
//              [--layers NAME,NAME] [--box XMIN,YMIN,XMAX,YMAX] [--features N]
// With --snapshot the composed view is written to an image without a display.
#include <glog/logging.h>
#include <malloc.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <exception>

#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "app_logging.h"
#include "demo_job.h"
#include "host_options.h"
#include "job_session.h"
#include "fabrication_files.h"
#include "main_window.h"
#include "png_writer.h"

namespace {

int fail(const QString& reason) {
    LOG(ERROR) << reason.toStdString();
    std::fprintf(stderr, "tolva_host: %s\n", qPrintable(reason));
    return 1;
}

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

// The kernel decides which canvas sizes it can hold; asking it first turns a
// refused size into a one-line reason instead of a box nobody can answer.
QString canvasRefusal(const QSize& size) {
    try {
        TOLVA::API::init_canvas(size.width(), size.height());
        return QString();
    } catch (const std::string& text) {
        return QString::fromStdString(text);
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
}

QString missingLayer(const QString& job, const QStringList& layers) {
    QStringList known;
    for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job.toStdString()))
        known << QString::fromStdString(row.name);
    for (const QString& layer : layers)
        if (!known.contains(layer)) return QStringLiteral("no layer '%1' in job %2 (it has: %3)").arg(layer, job, known.join(QLatin1Char(',')));
    return QString();
}

// The view alone, at exactly the asked size before any job is drawn in it:
// tool bars and docks would take their share of the window, and a first
// drawing at the window's size would be thrown away.
void prepareSnapshotView(host::MainWindow& window, const host::HostOptions& options) {
    QWidget* view = window.view();
    if (!view) return;
    window.takeCentralWidget();
    view->resize(options.size);
    // Laid out and drawn, but never painted: each paint of the view waits
    // for its frame rate, and the snapshot composes the picture itself.
    view->setUpdatesEnabled(false);
    view->show();
    QApplication::processEvents();
}

// The view as a paint would show it: the composed board (its background
// brush) with every overlay over it. Made here rather than by a paint of the
// widget, which waits for the view's frame rate before it draws.
QImage composedView(QWidget* view) {
    QImage image(view->size(), QImage::Format_RGB32);
    QPainter painter(&image);
    const QPalette& palette = view->palette();
    painter.fillRect(image.rect(), palette.brush(view->backgroundRole()));
    // What a painter opened on the widget itself starts with.
    painter.setPen(palette.color(view->foregroundRole()));
    painter.setBackground(palette.brush(view->backgroundRole()));
    painter.setFont(view->font());
    painter.setLayoutDirection(view->layoutDirection());
    if (!QMetaObject::invokeMethod(view, "paintOverlays", Qt::DirectConnection, Q_ARG(QPainter*, &painter)))
        LOG(WARNING) << "the view paints no overlays: the snapshot shows the board alone";
    // Insets the operator opened over the board (pop views) lie on top.
    for (QWidget* inset : view->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        if (inset->isVisible() && !inset->isWindow()) inset->render(&painter, inset->pos());
    painter.end();
    return image;
}

// `fitted`: the view stands fitted already (opening fabrication files fits
// it), and fitting it again would only draw the same picture once more.
int writeSnapshot(host::MainWindow& window, const host::HostOptions& options, bool fitted) {
    QWidget* view = window.view();
    if (!view) return fail(QStringLiteral("the view is not loaded"));
    if (options.hasBox)
        window.showBoardWindow(options.boxMm.left() * 1e6, options.boxMm.top() * 1e6, options.boxMm.right() * 1e6,
                               options.boxMm.bottom() * 1e6);
    else if (!options.check && !fitted)  // after the checks the view stands on their first result
        window.fitToProfile();  // imported data often has no profile: its features are fitted
    QApplication::processEvents();
    const QImage image = composedView(view);
    if (image.isNull() || image.size() != options.size)
        return fail(QStringLiteral("the view could not be drawn at %1x%2").arg(options.size.width()).arg(options.size.height()));
    const QByteArray format = host::snapshotFormat(options.snapshot);
    QString why;
    const bool written = format == "PNG" ? host::writeFastPng(image, options.snapshot, &why)
                                         : image.save(options.snapshot, format.constData());
    if (!written) return fail(QStringLiteral("cannot write %1%2").arg(options.snapshot, why.isEmpty() ? QString() : QStringLiteral(": ") + why));
    std::printf("%s\n", qPrintable(options.snapshot));
    return 0;
}

// Every layer of the shown step, one file each; their paths go to stdout.
int writeExport(host::MainWindow& window, const QString& dir) {
    QStringList written;
    QString reason;
    if (!window.exportTo(dir, &written, &reason)) return fail(QStringLiteral("cannot export: %1").arg(reason));
    for (const QString& path : written) std::printf("%s\n", qPrintable(path));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i) arguments << QString::fromLocal8Bit(argv[i]);
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        std::printf("%s", qPrintable(host::usageText()));
        return 0;
    }
    host::HostOptions options;
    const QString bad = host::parseOptions(arguments, options);
    if (!bad.isEmpty()) {
        std::fprintf(stderr, "tolva_host: %s\n", qPrintable(bad));
        return 2;
    }
    const bool snapshot = !options.snapshot.isEmpty();
    const bool exporting = !options.exportDir.isEmpty();
    // The platform is chosen before QApplication exists: a snapshot needs no display.
    const bool batch = snapshot || exporting;  // writes its files and exits
    // A run that exits once its files are written keeps the memory it frees
    // for its next allocations instead of handing it back to the system and
    // faulting fresh pages in again: the import frees a file's records
    // before the next file's are made, the view its pictures between draws.
    if (batch) {
        mallopt(M_MMAP_THRESHOLD, 256 << 20);
        mallopt(M_TRIM_THRESHOLD, 1024 << 20);
    }
    if (batch && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!batch && !hasDisplay()) {
        std::fprintf(stderr, "tolva_host: no display; use --snapshot OUT.png\n");
        return 1;
    }
    QCoreApplication::setApplicationName(QStringLiteral("tolva_host"));
    host::setUpLogging(argv[0]);
    QApplication app(argc, argv);

    // Saved jobs, or else fabrication data (Gerber, Excellon, folders and
    // .zip archives of them) read into one new job.
    QStringList jobDirs, fabrication;
    std::vector<TOLVA::IMPORT::import_file> fabricationFiles;
    for (const QString& input : options.inputs) {
        QString reason;
        const QString dir = host::JobSession::jobDirectoryFor(input, &reason);
        if (!dir.isEmpty()) {
            jobDirs << dir;
            continue;
        }
        if (!host::collectFabricationFiles(input, fabricationFiles, &reason)) return fail(reason);
        fabrication << input;
    }
    if (!jobDirs.isEmpty() && !fabrication.isEmpty())
        return fail(QStringLiteral("open saved jobs or fabrication files, not both at once"));
    if (snapshot) {
        const QString refused = canvasRefusal(options.size);
        if (!refused.isEmpty()) return fail(refused);
    }

    host::MainWindow window;
    window.setJournalling(!batch);
    QString reason;
    if (!window.loadPlugins(&reason)) return fail(reason);
    if (snapshot) prepareSnapshotView(window, options);
    if (!fabrication.isEmpty()) {
        if (!window.openFabricationFiles(fabrication, fabricationFiles, &reason)) return fail(reason);
    } else if (jobDirs.isEmpty()) {
        try {
            host::ensureDemoJob(options.features);
        } catch (const std::string& text) {
            return fail(QStringLiteral("demo job: %1").arg(QString::fromStdString(text)));
        } catch (const std::exception& e) {
            return fail(QStringLiteral("demo job: %1").arg(QString::fromUtf8(e.what())));
        }
        window.showJob(QString::fromLatin1(host::kDemoJob), QStringLiteral("generated demo, %1 features").arg(options.features));
    } else {
        // The first job is shown; the others are loaded for reference.
        for (int i = jobDirs.size() - 1; i >= 1; --i) {
            try {
                TOLVA::JOB::load_job(jobDirs[i].toStdString());
            } catch (const std::string& text) {
                return fail(QString::fromStdString(text));
            }
        }
        if (!window.openJobDirectory(jobDirs.front(), &reason)) return fail(reason);
    }
    if (!options.layers.isEmpty()) {
        const QString missing = missingLayer(window.session().job(), options.layers);
        if (!missing.isEmpty()) return fail(missing);
        window.showLayers(options.layers);
    }
    if (options.check) window.runChecks(/*waitForThem=*/batch);
    if (batch) {
        int status = snapshot ? writeSnapshot(window, options, /*fitted=*/!fabrication.isEmpty()) : 0;
        if (status == 0 && exporting) status = writeExport(window, options.exportDir);
        host::shutDownLogging();
        return status;
    }
    window.resize(options.size);
    window.show();
    if (options.hasBox)
        window.showBoardWindow(options.boxMm.left() * 1e6, options.boxMm.top() * 1e6, options.boxMm.right() * 1e6,
                               options.boxMm.bottom() * 1e6);
    else if (!fabrication.isEmpty())
        QTimer::singleShot(0, &window, &host::MainWindow::fitToProfile);  // once the view has its final size
    const int status = app.exec();
    host::shutDownLogging();
    return status;
}
