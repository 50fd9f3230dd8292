#pragma once
// Geometry of features shared by the rasteriser, selection and boxes.
#include <cmath>
#include <string>
#include <vector>

#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2 * kPi;

struct Vec {
    double x = 0, y = 0;
};

// A circular arc: centre, radius and counter-clockwise sweep (0 < sweep <=
// 2 pi) from its first ray. A clockwise arc from s to e is the
// counter-clockwise arc from e to s; an arc whose ends coincide is a full
// circle (its first and last rays point at s).
struct ArcGeom {
    double cx = 0, cy = 0, radius = 0;
    // Unit directions of the sweep's first and last rays.
    double ux0 = 1, uy0 = 0, ux1 = 1, uy1 = 0;
    bool full = true;   // the sweep is a whole turn
    bool minor = true;  // the sweep is at most a half turn
    // The sweep's angle (radians).
    double sweep() const {
        if (full) return kTwoPi;
        const double a = std::atan2(ux0 * uy1 - uy0 * ux1, ux0 * ux1 + uy0 * uy1);
        return a > 0 ? a : a + kTwoPi;
    }
    // True when the direction of (x, y) from the centre lies within the sweep.
    bool containsAngle(double x, double y) const {
        if (full) return true;
        const double px = x - cx, py = y - cy;
        const bool afterStart = ux0 * py - uy0 * px >= 0;  // left of the first ray
        const bool beforeEnd = px * uy1 - py * ux1 >= 0;    // right of the last ray
        return minor ? afterStart && beforeEnd : afterStart || beforeEnd;
    }
};
ArcGeom arcGeom(double xs, double ys, double xe, double ye, double xc, double yc, bool clockwise);
ArcGeom arcGeom(const Feature& f);

// A box in board units, not rounded: what the rasteriser decides "smaller
// than a pixel" on, since at a few nanometres per pixel the nanometre that
// IBox rounds out by is a sizeable part of a pixel.
struct Extent {
    double xmin, ymin, xmax, ymax;
};
// The box of an arc drawn with a round pen of radius r (ends at s and e).
Extent arcExtent(const ArcGeom& g, const Feature& f, double r);
IBox arcBox(const ArcGeom& g, const Feature& f, double r);

// A stroke of a text: a segment drawn with a round pen.
struct Segment {
    Vec a, b;
};

// Layout of a text feature in board units: its strokes and the pen radius.
struct TextLayout {
    std::vector<Segment> strokes;
    double radius = 0;
};
// anchor: lower left corner of the first character cell.
TextLayout layoutText(double x, double y, const TextGeom& t, int angle, bool mirror);
// The same into `out`, reusing its storage.
void layoutText(double x, double y, const TextGeom& t, int angle, bool mirror, TextLayout& out);
// The box of a laid-out text: its anchor and strokes, widened by the pen.
Extent textExtent(double x, double y, const TextLayout& t);
// Stroke-font glyph of one character: polylines on a 4 x 6 grid.
const char* glyphStrokes(unsigned char c);

// Pad geometry after scale and rotation.
struct PadShape {
    SymbolShape shape = SymbolShape::Round;
    double cx = 0, cy = 0;
    double w = 0, h = 0, inner = 0;  // scaled sizes
    int angle = 0;                   // degrees counter-clockwise
};
PadShape padShape(const Symbol& s, const Feature& f);
// The box of a pad after scale and rotation.
Extent padExtent(const Symbol& s, const Feature& f);
// The four corners of a rectangle pad (square or rect), counter-clockwise.
void rectCorners(const PadShape& p, Vec out[4]);
// An oval pad as a segment and the radius of its round ends.
void ovalSegment(const PadShape& p, Vec& a, Vec& b, double& radius);

// A line drawn with a square or rect symbol: the convex hull of the symbol
// (axis-aligned) swept from one end to the other. Returns the vertex count
// (counter-clockwise, at most 8).
int squareLineHull(double x0, double y0, double x1, double y1, double halfW, double halfH,
                   Vec out[8]);

// Surface contours of a layer's surface, as point spans into the pool.
struct ContourSpan {
    const API::point* points;
    uint32_t count;
};
std::vector<ContourSpan> surfaceContours(const LayerData& data, const Feature& f);

IBox clampBox(double xmin, double ymin, double xmax, double ymax);

}  // namespace KERNEL
}  // namespace TOLVA
