#include "host_options.h"

#include <QFileInfo>
#include <cmath>

namespace host {

namespace {

bool parseSize(const QString& text, QSize& size) {
    const QStringList parts = text.split(QLatin1Char('x'));
    bool okW = false, okH = false;
    if (parts.size() == 2) size = QSize(parts[0].toInt(&okW), parts[1].toInt(&okH));
    return okW && okH && size.width() > 0 && size.height() > 0;
}

bool parseBox(const QString& text, QRectF& box) {
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4) return false;
    double v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = parts[i].trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(v[i])) return false;
    }
    if (v[2] <= v[0] || v[3] <= v[1]) return false;
    box = QRectF(QPointF(v[0], v[1]), QPointF(v[2], v[3]));
    return true;
}

// Takes the value of an option given as "--name value" or "--name=value".
bool takeValue(const QStringList& args, int& i, const QString& name, QString& value) {
    const QString& arg = args[i];
    if (arg.startsWith(name + QLatin1Char('='))) {
        value = arg.mid(name.size() + 1);
        return true;
    }
    if (arg != name) return false;
    value = i + 1 < args.size() ? args[++i] : QString();
    return true;
}

}  // namespace

QString usageText() {
    return QStringLiteral(
        "Usage: tolva_host [JOB_DIR | FILE...] [options]\n"
        "Opens saved jobs (a job directory, or the job.tolva file in one), or reads\n"
        "Gerber and Excellon files (or a folder or .zip of them) into a new job;\n"
        "without arguments, the generated demo board.\n"
        "  --snapshot OUT      write the composed view to OUT (.png, .jpg, .jpeg, .bmp)\n"
        "  --check             run the checks with the limits last used and go to the\n"
        "                      first result (with --snapshot: the view shows it)\n"
        "                      and exit; needs no display\n"
        "  --size WxH          view size in pixels (default 1200x800)\n"
        "  --layers A,B        layers to show (default: top copper, drill and profile)\n"
        "  --box X0,Y0,X1,Y1   show exactly this board window, in millimetres\n"
        "  --features N        size of the generated demo board (default 200000)\n"
        "  --export DIR        write every layer to DIR, Gerber X2 or Excellon by its\n"
        "                      type, and exit (after the snapshot, if one is asked)\n"
        "  -h, --help          this text\n");
}

QByteArray snapshotFormat(const QString& fileName) {
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    if (suffix == QLatin1String("png")) return "PNG";
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg")) return "JPEG";
    if (suffix == QLatin1String("bmp")) return "BMP";
    return QByteArray();
}

QString parseOptions(const QStringList& args, HostOptions& out) {
    for (int i = 0; i < args.size(); ++i) {
        QString value;
        if (takeValue(args, i, QStringLiteral("--snapshot"), value)) {
            if (value.isEmpty()) return QStringLiteral("--snapshot needs a file name");
            if (snapshotFormat(value).isEmpty())
                return QStringLiteral("cannot write '%1': the snapshot format follows the extension, "
                                      "one of .png, .jpg, .jpeg, .bmp")
                    .arg(value);
            out.snapshot = value;
        } else if (takeValue(args, i, QStringLiteral("--size"), value)) {
            if (!parseSize(value, out.size)) return QStringLiteral("bad --size '%1', expected WxH").arg(value);
        } else if (takeValue(args, i, QStringLiteral("--layers"), value)) {
            out.layers = value.split(QLatin1Char(','), Qt::SkipEmptyParts);
            if (out.layers.isEmpty()) return QStringLiteral("--layers needs at least one layer name");
        } else if (takeValue(args, i, QStringLiteral("--box"), value)) {
            if (!parseBox(value, out.boxMm))
                return QStringLiteral("bad --box '%1', expected XMIN,YMIN,XMAX,YMAX in mm with XMIN<XMAX, YMIN<YMAX")
                    .arg(value);
            out.hasBox = true;
        } else if (takeValue(args, i, QStringLiteral("--export"), value)) {
            if (value.isEmpty()) return QStringLiteral("--export needs a directory");
            out.exportDir = value;
        } else if (takeValue(args, i, QStringLiteral("--features"), value)) {
            bool ok = false;
            out.features = value.toLong(&ok);
            if (!ok || out.features <= 0) return QStringLiteral("bad --features '%1'").arg(value);
        } else if (args[i] == QLatin1String("--check")) {
            out.check = true;
        } else if (args[i].startsWith(QLatin1String("--"))) {
            return QStringLiteral("unknown option '%1' (see --help)").arg(args[i]);
        } else {
            out.inputs.append(args[i]);
        }
    }
    return QString();
}

}  // namespace host
