#pragma once
// The ten layer colours every plug-in shows: the view draws shown layer i in
// colour ColorList[i], and the layer panel paints its swatches from the same
// table. An index outside the table means the fallback colour (white).
#include <QColor>

namespace LayerPalette {
constexpr int kSize = 10;
constexpr int kFallback = 9;
constexpr unsigned char kColors[kSize][3] = {
    {255, 0, 0},     {0, 255, 0},     {0, 0, 255},   {180, 180, 47}, {0, 173, 199},
    {255, 255, 62},  {127, 217, 36},  {253, 147, 36}, {147, 219, 118}, {255, 255, 255},
};
inline QColor color(int index) {
    const unsigned char* c = kColors[(index >= 0 && index < kSize) ? index : kFallback];
    return QColor(c[0], c[1], c[2], 255);
}
}  // namespace LayerPalette
