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
// The features the Greate*String builders describe, checked and rounded to the
// nanometre the same way, without going through the record text.
Feature lineFeature(double x1, double y1, double x2, double y2, int symbol, int polarity, int dcode);
Feature padFeature(double x, double y, int symbol, int polarity, int angle, int mirror, double scale);
Feature arcFeature(double xs, double ys, double xe, double ye, double xc, double yc, int symbol, int polarity,
                   int dcode, bool clockwise);
ParsedFeature surfaceFeature(const std::vector<API::lPoint>& points, int polarity, int dcode, bool close);
// Complete a surface whose vertices are absolute (making them relative and
// setting the box), or a text (setting its box).
void finishSurface(ParsedFeature& p);
void finishText(ParsedFeature& p);
// Checks that the feature's symbol exists in the layer's table.
void checkSymbol(const LayerDef& def, const ParsedFeature& p, const std::string& layer);
// Appends the feature to the layer (not to its index); returns its index.
uint32_t appendFeature(LayerData& data, const ParsedFeature& p, uint32_t attrs);
// Adds built features to one layer as AddFeatures adds parsed records: checked
// against the symbol table, one undo step; features[i] gets attributes[i].
void addBuiltFeatures(const std::string& job, const std::string& step, const std::string& layer,
                      std::vector<ParsedFeature>& features, const std::vector<API::attr_map>& attributes);
// Appends a copy of feature `index` moved by (dx, dy); geometry is shared.
uint32_t appendCopy(LayerData& data, uint32_t index, int32_t dx, int32_t dy);
// Moves a feature of `data` in place; the caller checked the range with canMove.
void translate(const LayerData& data, Feature& f, int32_t dx, int32_t dy);
bool canMove(const Feature& f, int32_t dx, int32_t dy);

}  // namespace KERNEL
}  // namespace TOLVA
