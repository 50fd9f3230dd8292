#pragma once
// The operator's unit as the read-out shows it: board units (nanometres) per
// unit, decimals ("MM" to 4, "Inch" to 5) and the suffix. One place for the
// coordinate read-out, the ruler's labels and ticks and the check labels.
#include <QString>

namespace TOLVA {
namespace GRAPHIC {

struct DisplayUnit {
    double perUnit;
    int decimals;
    const char* suffix;

    static DisplayUnit of(bool millimetres) {
        return millimetres ? DisplayUnit{1e6, 4, "mm"} : DisplayUnit{25.4e6, 5, "inch"};
    }
    // A length or coordinate in board units, as a number in this unit.
    QString number(double nm) const { return QString::number(nm / perUnit, 'f', decimals); }
    // The same with the suffix: "0.1000 mm".
    QString withSuffix(double nm) const { return number(nm) + QLatin1Char(' ') + QLatin1String(suffix); }
};

}  // namespace GRAPHIC
}  // namespace TOLVA
