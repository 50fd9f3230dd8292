// Feature records: building, parsing, storing and describing features.
#include "records.h"

#include <algorithm>

#include "codec.h"
#include "geometry.h"

namespace TOLVA {
namespace KERNEL {

namespace {

uint8_t polarityFlag(int polarity) {
    if (polarity == API::POL_POSITIVE) return kPositive;
    if (polarity == API::POL_NEGATIVE) return 0;
    fail("polarity " + std::to_string(polarity) + " is neither positive (1) nor negative (0)");
}

const char* polarityWord(const Feature& f) { return f.positive() ? "P" : "N"; }

uint8_t readPolarity(TokenReader& r) {
    std::string w = r.word();
    if (w == "P") return kPositive;
    if (w == "N") return 0;
    fail("polarity '" + w + "' is neither P nor N");
}

uint32_t symbolRef(int symbol) {
    if (symbol < 0) fail("symbol index " + std::to_string(symbol) + " is not valid");
    return static_cast<uint32_t>(symbol);
}

int16_t normalAngle(long long angle) {
    long long a = angle % 360;
    if (a < 0) a += 360;
    return static_cast<int16_t>(a);
}

uint8_t mirrorFlag(long long mirror) {
    if (mirror != 0 && mirror != 1) fail("mirror " + std::to_string(mirror) + " is neither 0 nor 1");
    return mirror ? kMirror : 0;
}

// A pad's scale is kept as a float. Below the smallest normal float (about
// 1.2e-38) a scale would be stored as 0, which reads back as 1, or lose
// digits; the lower bound sits well above that.
constexpr double kMinPadScale = 1e-30;
constexpr double kMaxPadScale = 1000;

float padScale(double scale) {
    checkFinite(scale, "pad scale");
    if (scale != 0 && !(scale >= kMinPadScale && scale <= kMaxPadScale))
        fail("pad scale " + TokenWriter().number(scale).take() + " is out of range (0, or " +
             TokenWriter().number(kMinPadScale).take() + " to " +
             TokenWriter().number(kMaxPadScale).take() + ")");
    return scale == 0 ? 1.0f : static_cast<float>(scale);
}

double textSize(double v, const char* what) {
    checkFinite(v, what);
    if (v <= 0 || v > kMaxSymbolSize) fail(std::string(what) + " " + std::to_string(v) + " is out of range");
    return v;
}

double unitFactor(double v, const char* what) {
    checkFinite(v, what);
    if (v < 0 || v > 1000) fail(std::string(what) + " " + std::to_string(v) + " is out of range");
    return v == 0 ? 1.0 : v;
}

std::string formatRecord(const Feature& f, const API::point* rel, const uint32_t* contours,
                         uint32_t contourCount, const TextGeom* text) {
    TokenWriter w;
    switch (f.type) {
    case API::FT_LINE:
        w.word("L").integer(f.x1).integer(f.y1).integer(f.x2).integer(f.y2).integer(f.ref);
        w.word(polarityWord(f)).integer(f.extra);
        break;
    case API::FT_PAD:
        w.word("P").integer(f.x1).integer(f.y1).integer(f.ref).word(polarityWord(f));
        w.integer(f.angle).integer((f.flags & kMirror) ? 1 : 0).numberF(f.scale());
        break;
    case API::FT_ARC:
        w.word("A").integer(f.x1).integer(f.y1).integer(f.x2).integer(f.y2).integer(f.xc);
        w.integer(f.yc).integer(f.ref).word(polarityWord(f)).integer(f.extra);
        w.word((f.flags & kClockwise) ? "CW" : "CCW");
        break;
    case API::FT_SURFACE: {
        w.word("S").word(polarityWord(f)).integer(f.extra).integer(contourCount);
        const API::point* v = rel;
        for (uint32_t c = 0; c < contourCount; ++c) {
            w.integer(contours[c]);
            for (uint32_t i = 0; i < contours[c]; ++i, ++v)
                w.integer(static_cast<long long>(f.x1) + v->x).integer(static_cast<long long>(f.y1) + v->y);
        }
        break;
    }
    case API::FT_TEXT:
        w.word("T").integer(f.x1).integer(f.y1).word(polarityWord(f)).integer(f.angle);
        w.integer((f.flags & kMirror) ? 1 : 0).number(text->xsize).number(text->ysize);
        w.number(text->widthFactor).number(text->scale).quoted(text->font).quoted(text->text);
        break;
    default:
        fail("feature of unknown type " + std::to_string(f.type));
    }
    return w.take();
}

std::string formatParsed(const ParsedFeature& p) {
    return formatRecord(p.f, p.vertices.data(), p.contours.data(),
                        static_cast<uint32_t>(p.contours.size()), &p.text);
}

}  // namespace

static void setBox(Feature& f, const IBox& b) {
    f.x2 = b.xmin;
    f.y2 = b.ymin;
    f.xc = b.xmax;
    f.yc = b.ymax;
}

void finishSurface(ParsedFeature& p) {
    // Vertices arrive absolute; keep them relative to the first one.
    const API::point origin = p.vertices.front();
    double xmin = origin.x, xmax = origin.x, ymin = origin.y, ymax = origin.y;
    for (API::point& v : p.vertices) {
        xmin = std::min<double>(xmin, v.x);
        xmax = std::max<double>(xmax, v.x);
        ymin = std::min<double>(ymin, v.y);
        ymax = std::max<double>(ymax, v.y);
        v.x -= origin.x;
        v.y -= origin.y;
    }
    p.f.x1 = origin.x;
    p.f.y1 = origin.y;
    setBox(p.f, clampBox(xmin, ymin, xmax, ymax));
}

// The box of a text's strokes at its anchor. A long text of large
// characters reaches past 32 bits; its box is clipped there, and such a box
// is worked out again from the layout when the text moves.
static void setTextBox(Feature& f, const TextGeom& text) {
    TextLayout t = layoutText(f.x1, f.y1, text, f.angle, f.flags & kMirror);
    double xmin = f.x1, xmax = f.x1, ymin = f.y1, ymax = f.y1;
    for (const Segment& s : t.strokes) {
        xmin = std::min({xmin, s.a.x, s.b.x});
        xmax = std::max({xmax, s.a.x, s.b.x});
        ymin = std::min({ymin, s.a.y, s.b.y});
        ymax = std::max({ymax, s.a.y, s.b.y});
    }
    setBox(f, clampBox(xmin - t.radius, ymin - t.radius, xmax + t.radius, ymax + t.radius));
}

void finishText(ParsedFeature& p) { setTextBox(p.f, p.text); }

std::string featureRecord(const LayerData& data, const Feature& f) {
    if (f.type == API::FT_SURFACE) {
        const SurfaceGeom& g = data.surfaces[f.ref];
        return formatRecord(f, data.vertices.data() + g.firstVertex,
                            data.contourSizes.data() + g.firstContour, g.contourCount, nullptr);
    }
    if (f.type == API::FT_TEXT) return formatRecord(f, nullptr, nullptr, 0, &data.texts[f.ref]);
    return formatRecord(f, nullptr, nullptr, 0, nullptr);
}

Feature lineFeature(double x1, double y1, double x2, double y2, int symbol, int polarity, int dcode) {
    Feature f;
    f.type = API::FT_LINE;
    f.x1 = toCoordinate(x1, "line start x");
    f.y1 = toCoordinate(y1, "line start y");
    f.x2 = toCoordinate(x2, "line end x");
    f.y2 = toCoordinate(y2, "line end y");
    f.ref = symbolRef(symbol);
    f.flags = polarityFlag(polarity);
    f.extra = dcode;
    return f;
}

Feature padFeature(double x, double y, int symbol, int polarity, int angle, int mirror, double scale) {
    Feature f;
    f.type = API::FT_PAD;
    f.x1 = toCoordinate(x, "pad x");
    f.y1 = toCoordinate(y, "pad y");
    f.ref = symbolRef(symbol);
    f.flags = polarityFlag(polarity) | mirrorFlag(mirror);
    f.angle = normalAngle(angle);
    f.setScale(padScale(scale));
    return f;
}

Feature arcFeature(double xs, double ys, double xe, double ye, double xc, double yc, int symbol, int polarity,
                   int dcode, bool clockwise) {
    Feature f;
    f.type = API::FT_ARC;
    f.x1 = toCoordinate(xs, "arc start x");
    f.y1 = toCoordinate(ys, "arc start y");
    f.x2 = toCoordinate(xe, "arc end x");
    f.y2 = toCoordinate(ye, "arc end y");
    f.xc = toCoordinate(xc, "arc centre x");
    f.yc = toCoordinate(yc, "arc centre y");
    if (f.x1 == f.xc && f.y1 == f.yc) fail("arc start lies on its centre");
    f.ref = symbolRef(symbol);
    f.flags = polarityFlag(polarity) | (clockwise ? kClockwise : 0);
    f.extra = dcode;
    return f;
}

ParsedFeature surfaceFeature(const std::vector<API::lPoint>& points, int polarity, int dcode, bool close) {
    if (points.empty()) fail("surface with an empty outline");
    ParsedFeature p;
    p.f.type = API::FT_SURFACE;
    p.f.flags = polarityFlag(polarity);
    p.f.extra = dcode;
    std::vector<API::point> contour;
    auto finish = [&](bool closed) {
        // Drop repeated neighbours; the closing point is implicit.
        std::vector<API::point> clean;
        for (const API::point& v : contour)
            if (clean.empty() || clean.back() != v) clean.push_back(v);
        while (clean.size() > 1 && clean.back() == clean.front()) clean.pop_back();
        if (!closed && !close)
            fail("surface contour " + std::to_string(p.contours.size() + 1) +
                 " is not closed (its first point does not repeat)");
        if (clean.size() < 3)
            fail("surface contour " + std::to_string(p.contours.size() + 1) +
                 " has fewer than three corners");
        p.contours.push_back(static_cast<uint32_t>(clean.size()));
        p.vertices.insert(p.vertices.end(), clean.begin(), clean.end());
        contour.clear();
    };
    for (const API::lPoint& lp : points) {
        API::point v{toCoordinate(lp.x, "surface x"), toCoordinate(lp.y, "surface y")};
        contour.push_back(v);
        if (contour.size() > 1 && v == contour.front()) {
            // A repeat right after the start is a doubled point, not a closure.
            bool degenerate = std::all_of(contour.begin(), contour.end(),
                                          [&](const API::point& q) { return q == v; });
            if (!degenerate) finish(true);
        }
    }
    if (!contour.empty()) finish(false);
    finishSurface(p);
    return p;
}

ParsedFeature parseRecord(const std::string& record) {
    try {
        TokenReader r(record);
        ParsedFeature p;
        Feature& f = p.f;
        std::string kind = r.word();
        auto coord = [&](const char* what) { return toCoordinate(r.number(), what); };
        if (kind == "L") {
            f.type = API::FT_LINE;
            f.x1 = coord("line start x");
            f.y1 = coord("line start y");
            f.x2 = coord("line end x");
            f.y2 = coord("line end y");
            f.ref = symbolRef(r.int32());
            f.flags = readPolarity(r);
            f.extra = r.int32();
        } else if (kind == "P") {
            f.type = API::FT_PAD;
            f.x1 = coord("pad x");
            f.y1 = coord("pad y");
            f.ref = symbolRef(r.int32());
            f.flags = readPolarity(r);
            f.angle = normalAngle(r.integer());
            f.flags |= mirrorFlag(r.integer());
            f.setScale(padScale(r.number()));
        } else if (kind == "A") {
            f.type = API::FT_ARC;
            f.x1 = coord("arc start x");
            f.y1 = coord("arc start y");
            f.x2 = coord("arc end x");
            f.y2 = coord("arc end y");
            f.xc = coord("arc centre x");
            f.yc = coord("arc centre y");
            f.ref = symbolRef(r.int32());
            f.flags = readPolarity(r);
            f.extra = r.int32();
            std::string dir = r.word();
            if (dir == "CW")
                f.flags |= kClockwise;
            else if (dir != "CCW")
                fail("arc direction '" + dir + "' is neither CW nor CCW");
            if (f.x1 == f.xc && f.y1 == f.yc) fail("arc start lies on its centre");
        } else if (kind == "S") {
            f.type = API::FT_SURFACE;
            f.flags = readPolarity(r);
            f.extra = r.int32();
            long long contours = r.integer();
            if (contours < 1) fail("surface without contours");
            for (long long c = 0; c < contours; ++c) {
                long long n = r.integer();
                if (n < 3) fail("surface contour " + std::to_string(c + 1) + " has fewer than three corners");
                if (n > static_cast<long long>(record.size())) fail("surface contour size is too large");
                p.contours.push_back(static_cast<uint32_t>(n));
                for (long long i = 0; i < n; ++i) {
                    API::point v;
                    v.x = coord("surface x");
                    v.y = coord("surface y");
                    p.vertices.push_back(v);
                }
            }
            finishSurface(p);
        } else if (kind == "T") {
            f.type = API::FT_TEXT;
            f.x1 = coord("text x");
            f.y1 = coord("text y");
            f.flags = readPolarity(r);
            f.angle = normalAngle(r.integer());
            f.flags |= mirrorFlag(r.integer());
            p.text.xsize = textSize(r.number(), "text x size");
            p.text.ysize = textSize(r.number(), "text y size");
            p.text.widthFactor = unitFactor(r.number(), "text width factor");
            p.text.scale = unitFactor(r.number(), "text scale");
            p.text.font = r.quoted();
            p.text.text = r.quoted();
            if (p.text.text.empty()) fail("empty text");
            finishText(p);
        } else {
            fail("unknown feature kind '" + kind + "'");
        }
        r.expectEnd();
        return p;
    } catch (const KernelText& e) {
        fail("bad feature record \"" + record + "\": " + e);
    }
}

void checkSymbol(const LayerDef& def, const ParsedFeature& p, const std::string& layer) {
    if (p.f.type == API::FT_SURFACE || p.f.type == API::FT_TEXT) return;
    if (p.f.ref >= def.symbols.size())
        fail("symbol index " + std::to_string(p.f.ref) + " is not in the symbol table of layer '" +
             layer + "'");
}

uint32_t appendFeature(LayerData& data, const ParsedFeature& p, uint32_t attrs) {
    Feature f = p.f;
    f.attrs = attrs;
    if (f.type == API::FT_SURFACE) {
        SurfaceGeom g;
        g.firstVertex = static_cast<uint32_t>(data.vertices.size());
        g.firstContour = static_cast<uint32_t>(data.contourSizes.size());
        g.contourCount = static_cast<uint32_t>(p.contours.size());
        data.vertices.insert(data.vertices.end(), p.vertices.begin(), p.vertices.end());
        data.contourSizes.insert(data.contourSizes.end(), p.contours.begin(), p.contours.end());
        f.ref = static_cast<uint32_t>(data.surfaces.size());
        data.surfaces.push_back(g);
    } else if (f.type == API::FT_TEXT) {
        f.ref = static_cast<uint32_t>(data.texts.size());
        data.texts.push_back(p.text);
    }
    data.features.push_back(f);
    return static_cast<uint32_t>(data.features.size() - 1);
}

namespace {
bool inRange(long long v) { return v >= -kMaxCoordinate && v <= kMaxCoordinate; }
}  // namespace

bool canMove(const Feature& f, int32_t dx, int32_t dy) {
    long long x1 = static_cast<long long>(f.x1) + dx, y1 = static_cast<long long>(f.y1) + dy;
    if (!inRange(x1) || !inRange(y1)) return false;
    if (f.type == API::FT_LINE || f.type == API::FT_ARC) {
        if (!inRange(static_cast<long long>(f.x2) + dx) || !inRange(static_cast<long long>(f.y2) + dy))
            return false;
    }
    if (f.type == API::FT_ARC) {
        if (!inRange(static_cast<long long>(f.xc) + dx) || !inRange(static_cast<long long>(f.yc) + dy))
            return false;
    }
    if (f.type == API::FT_SURFACE) {  // every vertex lies within the box
        for (long long v : {static_cast<long long>(f.x2) + dx, static_cast<long long>(f.xc) + dx})
            if (!inRange(v)) return false;
        for (long long v : {static_cast<long long>(f.y2) + dy, static_cast<long long>(f.yc) + dy})
            if (!inRange(v)) return false;
    }
    return true;
}

void translate(const LayerData& data, Feature& f, int32_t dx, int32_t dy) {
    // Arcs keep their centre, surfaces and texts their box, in xc/yc and x2/y2.
    auto shiftRest = [&] {
        f.x2 += dx;
        f.y2 += dy;
        f.xc += dx;
        f.yc += dy;
    };
    f.x1 += dx;
    f.y1 += dy;
    switch (f.type) {
    case API::FT_LINE:
        f.x2 += dx;
        f.y2 += dy;
        break;
    case API::FT_ARC:
    case API::FT_SURFACE:  // the box of its vertices, which canMove kept in range
        shiftRest();
        break;
    case API::FT_TEXT: {
        // Stroke ends lie whole nanometres from the anchor: an unclipped box
        // moves with it, exactly.
        constexpr int64_t kLimit = 2147483647;
        const bool clipped = f.x2 <= -kLimit || f.y2 <= -kLimit || f.xc >= kLimit || f.yc >= kLimit ||
                             f.x2 + int64_t(dx) <= -kLimit || f.xc + int64_t(dx) >= kLimit ||
                             f.y2 + int64_t(dy) <= -kLimit || f.yc + int64_t(dy) >= kLimit;
        if (clipped)
            setTextBox(f, data.texts[f.ref]);
        else
            shiftRest();
        break;
    }
    default:
        break;
    }
}

uint32_t appendCopy(LayerData& data, uint32_t index, int32_t dx, int32_t dy) {
    Feature f = data.features[index];
    f.flags &= static_cast<uint8_t>(~(kSelected | kInOverlay));
    translate(data, f, dx, dy);
    data.features.push_back(f);
    return static_cast<uint32_t>(data.features.size() - 1);
}

API::featureInfo makeInfo(const Job& job, const LayerDef& def, const LayerData& data,
                          uint32_t index) {
    const Feature& f = data.features[index];
    API::featureInfo info;
    info.type = f.type;
    info.polarity = f.positive() ? API::POL_POSITIVE : API::POL_NEGATIVE;
    info.layer = def.row.name;
    info.index = static_cast<int>(index);
    info.record = featureRecord(data, f);
    info.attributes = job.attrs.sets[f.attrs];
    info.mirror = (f.flags & kMirror) ? 1 : 0;
    IBox b = featureBox(LayerContext{def, data}, f);
    info.xmin = b.xmin;
    info.ymin = b.ymin;
    info.xmax = b.xmax;
    info.ymax = b.ymax;
    info.xs = f.x1;
    info.ys = f.y1;
    switch (f.type) {
    case API::FT_LINE:
    case API::FT_ARC: {
        const Symbol& s = def.symbols[f.ref];
        info.xe = f.x2;
        info.ye = f.y2;
        if (f.type == API::FT_ARC) {
            info.xc = f.xc;
            info.yc = f.yc;
            info.direction = (f.flags & kClockwise) ? "CW" : "CCW";
        }
        info.symbol_index = static_cast<int>(f.ref);
        info.symbol = s.name;
        info.xsize = s.width;
        info.ysize = s.height;
        break;
    }
    case API::FT_PAD: {
        const Symbol& s = def.symbols[f.ref];
        PadShape p = padShape(s, f);
        info.symbol_index = static_cast<int>(f.ref);
        info.symbol = s.name;
        info.angle = f.angle;
        info.xsize = p.w;
        info.ysize = p.h;
        break;
    }
    case API::FT_TEXT: {
        const TextGeom& t = data.texts[f.ref];
        info.angle = f.angle;
        info.text = t.text;
        info.font = t.font;
        info.xsize = t.xsize * t.scale;
        info.ysize = t.ysize * t.scale;
        break;
    }
    default:
        break;
    }
    return info;
}

}  // namespace KERNEL

// ---- the builders -------------------------------------------------------------
namespace API {

using namespace KERNEL;

str GreateLineString(double x1, double y1, double x2, double y2, int symbol, int polarity,
                     int dcode) {
    KERNEL_LOCK;
    return formatRecord(lineFeature(x1, y1, x2, y2, symbol, polarity, dcode), nullptr, nullptr, 0, nullptr);
}

str GreatePadString(double x, double y, int symbol, int polarity, int angle, int mirror,
                    double scale) {
    KERNEL_LOCK;
    return formatRecord(padFeature(x, y, symbol, polarity, angle, mirror, scale), nullptr, nullptr, 0, nullptr);
}

str GreateArcString(double xs, double ys, double xe, double ye, double xc, double yc, int symbol,
                    int polarity, int dcode, bool clockwise) {
    KERNEL_LOCK;
    return formatRecord(arcFeature(xs, ys, xe, ye, xc, yc, symbol, polarity, dcode, clockwise), nullptr, nullptr, 0,
                        nullptr);
}

str GreateSurfaceString(const std::vector<lPoint>& points, int polarity, int dcode, bool close) {
    KERNEL_LOCK;
    return formatParsed(surfaceFeature(points, polarity, dcode, close));
}

str GreateTextString(double x, double y, const str& text, int polarity, int angle, double xsize,
                     double ysize, double width_factor, const str& font, int mirror,
                     double scale) {
    KERNEL_LOCK;
    ParsedFeature p;
    p.f.type = FT_TEXT;
    p.f.x1 = toCoordinate(x, "text x");
    p.f.y1 = toCoordinate(y, "text y");
    p.f.flags = polarityFlag(polarity) | mirrorFlag(mirror);
    p.f.angle = normalAngle(angle);
    if (text.empty()) fail("empty text");
    p.text.text = text;
    p.text.font = font;
    p.text.xsize = textSize(xsize, "text x size");
    p.text.ysize = textSize(ysize, "text y size");
    p.text.widthFactor = unitFactor(width_factor, "text width factor");
    p.text.scale = unitFactor(scale, "text scale");
    return formatParsed(p);
}

}  // namespace API
}  // namespace TOLVA
