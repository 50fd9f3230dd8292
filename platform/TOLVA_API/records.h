#pragma once
// Feature records: the one-line text form of a feature that the Greate*String
// builders produce and AddFeature parses (grammar in FORMATS.md).
#include <string>
#include <vector>

#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

// A feature read from a record, with its surface or text geometry. Surface
// vertices are relative to the feature's (x1, y1).
struct ParsedFeature {
    Feature f;
    std::vector<API::point> vertices;
    std::vector<uint32_t> contours;
    TextGeom text;
};

ParsedFeature parseRecord(const std::string& record);
// Complete a surface whose vertices are absolute (making them relative and
// setting the box), or a text (setting its box).
void finishSurface(ParsedFeature& p);
void finishText(ParsedFeature& p);
// Checks that the feature's symbol exists in the layer's table.
void checkSymbol(const LayerDef& def, const ParsedFeature& p, const std::string& layer);
// Appends the feature to the layer (not to its index); returns its index.
uint32_t appendFeature(LayerData& data, const ParsedFeature& p, uint32_t attrs);
// Appends a copy of feature `index` moved by (dx, dy); geometry is shared.
uint32_t appendCopy(LayerData& data, uint32_t index, int32_t dx, int32_t dy);
// Moves a feature of `data` in place; the caller checked the range with canMove.
void translate(const LayerData& data, Feature& f, int32_t dx, int32_t dy);
bool canMove(const Feature& f, int32_t dx, int32_t dy);

}  // namespace KERNEL
}  // namespace TOLVA
