#pragma once
// Shared by the feature edits of TOLVA_Edit.h: one layer's pending change and
// its commit as a single Composite undo step, symbols registered for an
// edit, and the small geometry the edits share.
#include <cmath>
#include <string>
#include <vector>

#include "TOLVA_Edit.h"
#include "geometry.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {

// A layer of a step, its index brought up to date.
struct EditLayer {
    size_t step, layer;
    const std::string& name;
    LayerDef& def;
    LayerData& data;
    LayerContext ctx() const { return {def, data}; }
};
EditLayer editLayer(Job& job, size_t step, const std::string& layer);
// Throws unless the layer has feature `index`.
uint32_t featureId(const EditLayer& l, int index);

// A feature to store: the record (with its surface or text geometry) and its
// attributes (null: keep the interned set in p.f.attrs).
struct Piece {
    ParsedFeature p;
    const API::attr_map* attrs = nullptr;
};

// What one edit does to one layer: features rewritten in place (they keep
// their index and selection), features taken out (ascending, none of them
// rewritten) and features appended.
struct LayerEdit {
    size_t layer = 0;
    std::vector<uint32_t> replaceIds;
    std::vector<Piece> replaceWith;
    std::vector<uint32_t> remove;
    std::vector<Piece> append;
    bool empty() const { return replaceIds.empty() && remove.empty() && append.empty(); }
};

// Symbols an edit needs that the layers may lack: index() gives the index a
// name has or will have once register_() runs (at the commit).
class SymbolBook {
public:
    // Throws for a malformed name or one whose sizes are out of range.
    uint32_t index(LayerDef& def, const std::string& name);
    void register_(Job& job);

private:
    struct Entry {
        LayerDef* def;
        std::string name;
        Symbol symbol;
    };
    std::vector<Entry> m_new;
};

// The profile an edit sets.
struct ProfileChange {
    bool set = false;
    std::vector<API::lPoint> outline;
};

// Makes the edits as one undo step (nothing when every edit is empty and no
// profile is set). Call once nothing can fail. Returns, per edit, the indices
// of the replaced features (after the removal closed up) followed by those of
// the appended ones.
std::vector<std::vector<int>> commitEdits(Job& job, size_t step, std::vector<LayerEdit>& edits,
                                          SymbolBook& symbols, const ProfileChange& profile);

// The symbol name of `shape` with sizes in nanometres, rounded to the
// nearest 0.1 um (written without trailing zeros).
std::string symbolName(SymbolShape shape, double width, double height, double inner);
std::string micrometres(double nm);

// ---- small geometry -------------------------------------------------------
inline Vec start(const Feature& f) { return {double(f.x1), double(f.y1)}; }
inline Vec end(const Feature& f) { return {double(f.x2), double(f.y2)}; }
inline bool same(const Vec& a, const Vec& b) { return a.x == b.x && a.y == b.y; }
inline Vec operator+(const Vec& a, const Vec& b) { return {a.x + b.x, a.y + b.y}; }
inline Vec operator-(const Vec& a, const Vec& b) { return {a.x - b.x, a.y - b.y}; }
inline Vec operator*(const Vec& a, double k) { return {a.x * k, a.y * k}; }
inline double dot(const Vec& a, const Vec& b) { return a.x * b.x + a.y * b.y; }
inline double cross(const Vec& a, const Vec& b) { return a.x * b.y - a.y * b.x; }
inline double length(const Vec& a) { return std::hypot(a.x, a.y); }
inline Vec rounded(const Vec& a) { return {std::round(a.x), std::round(a.y)}; }
std::string where(const Vec& p);  // "(x, y)" in nanometres

// A surface's contours as absolute points (no repeated closing vertex).
std::vector<std::vector<API::lPoint>> contoursOf(const LayerData& data, const Feature& f);
// A surface record from contours, keeping polarity, dcode and attributes of `like`.
ParsedFeature surfaceOf(const std::vector<std::vector<API::lPoint>>& contours, const Feature& like);

}  // namespace EDITS
}  // namespace KERNEL
}  // namespace TOLVA
