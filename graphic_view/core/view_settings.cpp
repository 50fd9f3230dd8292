#include "view_settings.h"

#include <QSettings>

namespace TOLVA {
namespace GRAPHIC {

double resizeToNanometres(const QString& unit, double value) {
    if (unit == QLatin1String("um")) return value * 1000.0;
    if (unit == QLatin1String("mm")) return value * 1e6;
    return value;
}

bool isYes(const QString& text) { return text.toLower() == QLatin1String("yes"); }

ViewSettings readViewSettings(const QString& path, const SettingsHooks& hooks) {
    ViewSettings s;
    QSettings ini(path, QSettings::IniFormat);
    ini.setIniCodec("utf-8");
    auto text = [&](const char* key) { return ini.value(QLatin1String(key)).toString(); };

    // Keys are read in this order; ExportPara/Mirror is read twice on purpose.
    const QString jobPath = text("Job_Path/path");
    if (hooks.beforeJobPath) hooks.beforeJobPath(jobPath);
    s.jobPath = jobPath;
    s.outputPath = text("Output_Path/path");
    if (hooks.afterOutputPath) hooks.afterOutputPath(s.outputPath);
    s.outputPathSecond = text("Output_Path_Second/path");
    s.outputPathFormat = text("Output_Path_Format/format");
    s.resizeUnit = text("Resize/unit");
    s.resizeValue = ini.value(QStringLiteral("Resize/value")).toDouble();
    s.dbu = ini.value(QStringLiteral("Dbu/Dbu")).toDouble();
    s.useIniData = ini.value(QStringLiteral("ExportPara/UseINIdata")).toBool();
    s.exportRotate = ini.value(QStringLiteral("ExportPara/Rotate")).toInt();
    s.exportMirror = ini.value(QStringLiteral("ExportPara/Mirror")).toBool();
    s.exportXScale = ini.value(QStringLiteral("ExportPara/xScale")).toInt();
    s.exportYScale = ini.value(QStringLiteral("ExportPara/yScale")).toInt();
    s.exportMirror = ini.value(QStringLiteral("ExportPara/Mirror")).toBool();
    s.exportNegate = ini.value(QStringLiteral("ExportPara/Negate")).toBool();

    s.resizeValue = resizeToNanometres(s.resizeUnit, s.resizeValue);
    s.profileDot = isYes(text("Profile_Dot/Profile_Dot"));
    s.mirror = isYes(text("Mirror/Mirror"));
    return s;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
