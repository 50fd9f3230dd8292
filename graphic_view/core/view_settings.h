#pragma once
// The view's settings file "tvconfig.ini": paths, the resize setting, the
// database unit and the export parameters.
#include <QString>
#include <functional>

namespace TOLVA {
namespace GRAPHIC {

struct ViewSettings {
    QString jobPath;
    QString outputPath;
    QString outputPathSecond;
    QString outputPathFormat;
    QString resizeUnit;       // "um" or "mm"
    double resizeValue = 0;   // nanometres after scaling
    double dbu = 0;
    bool profileDot = false;
    bool mirror = false;
    bool useIniData = false;
    int exportRotate = 0;
    bool exportMirror = false;
    int exportXScale = 0;
    int exportYScale = 0;
    bool exportNegate = false;
};

// Hooks called while reading, in the order of the keys: the job path before
// it is stored, the output path after it is stored (both to make sure the
// directory exists).
struct SettingsHooks {
    std::function<void(const QString&)> beforeJobPath;
    std::function<void(const QString&)> afterOutputPath;
};

// Reads the INI file at `path` (utf-8). A missing or unreadable file, or a
// missing key, leaves the field empty, zero or false.
ViewSettings readViewSettings(const QString& path, const SettingsHooks& hooks = {});

// "um" scales by 1000, "mm" by 1e6 (both to nanometres); other units keep the value.
double resizeToNanometres(const QString& unit, double value);

// True only for "yes" in any case.
bool isYes(const QString& text);

}  // namespace GRAPHIC
}  // namespace TOLVA
