// Gerber X2 writer, the inverse of the reader in import_gerber.cpp, and the
// choice of format and file name for a layer.
//
// Lines and arcs are draws with an aperture that strokes them as the kernel
// does; pads are flashes of the aperture of their symbol. A pad turned or mirrored is the flash of a block aperture holding
// the plain pad, under LR and LM: the reader gives the block's pad back with
// exactly that angle and mirror, for every symbol (a standard aperture under
// LR keeps no angle). Surfaces are regions: one contour per surface, holes
// joined to the first contour by cut-ins. Texts are written as the strokes
// of the kernel's font, round lines of the pen's width.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <set>
#include <sstream>
#include <tuple>

#include "export_internal.h"
#include "steps_internal.h"
#include "geometry.h"

namespace TOLVA {
namespace EXPORT {
namespace DETAIL {

using KERNEL::Feature;
using KERNEL::Symbol;
using KERNEL::SymbolShape;

LayerRef findLayer(const std::string& job, const std::string& step, const std::string& layer) {
    KERNEL::Job& j = KERNEL::findJob(job);
    const size_t s = KERNEL::findStepIndex(j, step);
    const size_t l = KERNEL::findLayerIndex(j, layer);
    // A panel goes to the fabricator flattened: every instance's features.
    return LayerRef{j, j.layers[l], KERNEL::SR::flattenedLayer(j, s, l), l};
}

std::string millimetres(long long nm) {
    const bool minus = nm < 0;
    const unsigned long long a = minus ? 0ULL - static_cast<unsigned long long>(nm) : static_cast<unsigned long long>(nm);
    std::string s = (minus ? "-" : "") + std::to_string(a / 1000000);
    const unsigned long long frac = a % 1000000;
    if (frac) {
        char buf[16];
        std::snprintf(buf, sizeof buf, ".%06llu", frac);
        std::string f = buf;
        while (f.back() == '0') f.pop_back();
        s += f;
    }
    return s;
}

std::vector<std::vector<API::point>> contoursOf(const KERNEL::LayerData& data, const Feature& f) {
    std::vector<std::vector<API::point>> out;
    for (const KERNEL::ContourSpan& span : KERNEL::surfaceContours(data, f)) {
        std::vector<API::point> ring;
        ring.reserve(span.count);
        for (uint32_t i = 0; i < span.count; ++i)
            ring.push_back({span.points[i].x + f.x1, span.points[i].y + f.y1});
        out.push_back(std::move(ring));
    }
    return out;
}

std::string commentText(const std::string& s) {
    std::string out = s;
    for (char& c : out)
        if (c == '*' || c == '%' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
    return out;
}

std::string platingOf(const API::attr_map& attrs) {
    auto it = attrs.find(".drill");
    if (it == attrs.end()) return std::string();
    if (it->second == "plated" || it->second == "non_plated" || it->second == "via") return it->second;
    return std::string();
}

namespace {

bool isCopper(const std::string& type) { return type == "signal" || type == "power_ground" || type == "mixed"; }

std::string creationDate() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char date[32], zone[8];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone, sizeof zone, "%z", &local);  // +hhmm
    std::string z = zone;
    if (z.size() == 5) z.insert(3, ":");
    return date + z;
}

}  // namespace

std::map<std::string, std::string> fileAttributes(const LayerRef& ref, const std::string& step,
                                                  const export_options& options) {
    std::map<std::string, std::string> a;
    a[".GenerationSoftware"] = "TOLVA,CAM kernel,1";
    a[".CreationDate"] = options.creation_date.empty() ? creationDate() : options.creation_date;
    a[".SameCoordinates"] = ref.job.name + "/" + step;
    a[".Part"] = "Single";
    a[".FilePolarity"] = ref.def.row.polarity == "negative" ? "Negative" : "Positive";

    // Copper layers are numbered from the top of the matrix; other board
    // layers take the side of the copper they lie beside.
    std::vector<size_t> copper;
    for (size_t i = 0; i < ref.job.layers.size(); ++i)
        if (ref.job.layers[i].row.context == "board" && isCopper(ref.job.layers[i].row.type)) copper.push_back(i);
    const std::string count = std::to_string(std::max<size_t>(copper.size(), 1));
    const bool bottom = !copper.empty() && ref.row > copper.back();
    const std::string side = bottom ? "Bot" : "Top";
    const std::string& type = ref.def.row.type;
    std::string function;
    if (isCopper(type)) {
        const auto at = std::find(copper.begin(), copper.end(), ref.row);
        const size_t n = at == copper.end() ? 1 : static_cast<size_t>(at - copper.begin()) + 1;
        const std::string where = n == 1 ? "Top" : (n == copper.size() ? "Bot" : "Inr");
        function = "Copper,L" + std::to_string(n) + "," + where + "," +
                   (type == "power_ground" ? "Plane" : type == "mixed" ? "Mixed" : "Signal");
    } else if (type == "solder_mask") {
        function = "Soldermask," + side;
    } else if (type == "silk_screen") {
        function = "Legend," + side;
    } else if (type == "solder_paste") {
        function = "Paste," + side;
    } else if (type == "drill" || type == "rout") {
        // Any plated hole makes the file PTH; holes of unknown plating count
        // as plated in a drill file and as not plated in a rout file.
        bool plated = false, unknown = ref.data.features.empty();
        for (const Feature& f : ref.data.features) {
            const std::string p = platingOf(ref.job.attrs.sets[f.attrs]);
            if (p == "plated" || p == "via") plated = true;
            if (p.empty()) unknown = true;
        }
        if (type == "drill" && unknown) plated = true;
        function = (plated ? "Plated,1," + count + ",PTH" : "NonPlated,1," + count + ",NPTH");
        if (type == "rout") function += ",Rout";
    } else if (IMPORT::guess_layer(ref.def.row.name + ".gbr", "").outline) {
        function = "Profile,NP";
    } else {
        function = "Other,Drawing";
    }
    a[".FileFunction"] = function;
    for (const auto& kv : options.file_attributes) a[kv.first] = kv.second;
    return a;
}

namespace {

// An attribute value as the reader takes it: '*' and '%' end a command and
// control bytes are refused, so those are written as \uXXXX escapes.
std::string attributeValue(const std::string& s) {
    std::string out;
    for (char c : s) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '*' || c == '%' || (u < 0x20 && c != '\t') || u == 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04X", u);
            out += buf;
        } else {
            out += c;
        }
    }
    return out;
}

long long nm(double v) { return std::llround(v); }

// Sizes of a symbol at a pad's scale, whole nanometres, at least one.
struct Size {
    long long w = 0, h = 0, inner = 0;
};
Size sizeOf(const Symbol& s, double scale) {
    auto at = [&](double v) { return std::max(1LL, nm(v * scale)); };
    Size z{at(s.width), at(s.height), s.inner > 0 ? at(s.inner) : 0};
    return z;
}

std::string pair(long long w, long long h) { return millimetres(w) + "X" + millimetres(h); }

// The aperture a line or arc of this symbol is drawn with, as the kernel
// strokes it: lines with s and rect symbols sweep the axis-parallel symbol
// (a rectangle aperture); every other line, and every arc, sweeps a round
// pen of the symbol's largest size (a circle aperture). So an oval or donut
// line, or an arc with a square symbol, comes back with an r symbol of the
// same stroke.
std::string strokeTemplate(const Symbol& s, bool arc) {
    const Size z = sizeOf(s, 1);
    if (!arc && KERNEL::squareEnds(s)) return "R," + pair(z.w, z.h);
    return "C," + millimetres(std::max(1LL, nm(2 * KERNEL::strokeRadius(s))));
}

// The aperture a pad of this symbol flashes; the scale goes into the sizes.
std::string flashTemplate(const Symbol& s, double scale) {
    const Size z = sizeOf(s, scale);
    switch (s.shape) {
    case SymbolShape::Square: return "R," + pair(z.w, z.w);
    case SymbolShape::Rect: return "R," + pair(z.w, z.h);
    case SymbolShape::Oval: return "O," + pair(z.w, z.h);
    case SymbolShape::Donut: return z.inner > 0 ? "C," + pair(z.w, z.inner) : "C," + millimetres(z.w);
    case SymbolShape::Round: break;
    }
    return "C," + millimetres(z.w);
}

// Kernel feature attributes as Gerber object attributes: .net is .N, .comp
// is .C, and a pin .P "<component>,<pin>".
API::attr_map objectAttributes(const API::attr_map& attrs) {
    API::attr_map o;
    auto get = [&](const char* name) -> const std::string* {
        auto it = attrs.find(name);
        return it == attrs.end() ? nullptr : &it->second;
    };
    if (const std::string* net = get(".net")) o[".N"] = *net;
    const std::string* comp = get(".comp");
    if (comp) o[".C"] = *comp;
    if (const std::string* pin = get(".pin")) o[".P"] = (comp ? *comp : std::string()) + "," + *pin;
    return o;
}

std::string apertureFunction(const API::attr_map& attrs) {
    auto it = attrs.find(".aper_function");
    return it == attrs.end() ? std::string() : it->second;
}

// A ring's orientation: +1 counter-clockwise, -1 clockwise, 0 without area.
int orientation(const std::vector<API::point>& ring) {
    long double a = 0;
    for (size_t i = 0, n = ring.size(); i < n; ++i) {
        const API::point& p = ring[i];
        const API::point& q = ring[(i + 1) % n];
        a += static_cast<long double>(p.x) * q.y - static_cast<long double>(q.x) * p.y;
    }
    return a > 0 ? 1 : a < 0 ? -1 : 0;
}

bool inside(const API::point& p, const std::vector<API::point>& ring) {
    bool in = false;
    for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
        const API::point& a = ring[i];
        const API::point& b = ring[j];
        if ((a.y > p.y) != (b.y > p.y)) {
            const double x = a.x + (static_cast<double>(p.y) - a.y) * (static_cast<double>(b.x) - a.x) /
                                       (static_cast<double>(b.y) - a.y);
            if (p.x < x) in = !in;
        }
    }
    return in;
}

// Gerber regions are bounded by one contour each: a hole must run against
// the ring around it, or a reader filling by winding number fills it. Each
// ring nested in others is turned, where needed, to run against its parent
// (its first vertex kept first); rings at the top keep their direction.
void orientRings(std::vector<std::vector<API::point>>& rings) {
    if (rings.size() < 2) return;
    struct Box {
        int32_t xmin, ymin, xmax, ymax;
    };
    std::vector<Box> boxes;
    for (const auto& r : rings) {
        Box b{r[0].x, r[0].y, r[0].x, r[0].y};
        for (const API::point& p : r)
            b = {std::min(b.xmin, p.x), std::min(b.ymin, p.y), std::max(b.xmax, p.x), std::max(b.ymax, p.y)};
        boxes.push_back(b);
    }
    const size_t n = rings.size();
    std::vector<int> depth(n, 0);
    std::vector<long> parent(n, -1);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) {
            if (i == j) continue;
            const API::point& p = rings[i][0];
            const Box& b = boxes[j];
            if (p.x < b.xmin || p.x > b.xmax || p.y < b.ymin || p.y > b.ymax || !inside(p, rings[j])) continue;
            ++depth[i];
        }
    // The parent is the enclosing ring one level up.
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n && depth[i] > 0; ++j)
            if (j != i && depth[j] == depth[i] - 1 && inside(rings[i][0], rings[j])) parent[i] = static_cast<long>(j);
    std::vector<int> want(n, 0);
    std::vector<size_t> order(n);
    for (size_t i = 0; i < n; ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return depth[a] < depth[b]; });
    for (size_t i : order) {
        const int own = orientation(rings[i]);
        want[i] = parent[i] < 0 || want[parent[i]] == 0 ? own : -want[parent[i]];
        if (own != 0 && want[i] != own) std::reverse(rings[i].begin() + 1, rings[i].end());
    }
}

struct Request {
    std::string shape;     // "C,0.25"
    std::string function;  // .AperFunction, "" for none
    int preferred = -1;    // the dcode the feature carries, when it can be a D code
};

class GerberWriter {
public:
    GerberWriter(const LayerRef& ref, const std::string& step, const export_options& options)
        : ref_(ref), step_(step), options_(options) {}

    std::string run() {
        plan();
        header();
        for (size_t i = 0; i < ref_.data.features.size(); ++i) feature(i);
        out_ << "M02*\n";
        return out_.str();
    }

private:
    struct Plan {
        int aperture = -1;  // D code: the aperture, or the block for a turned or mirrored pad
        API::attr_map object;
    };
    struct Block {
        int number;
        int inner;
        API::attr_map object;
    };

    const Symbol& symbol(const Feature& f) const { return ref_.def.symbols.at(f.ref); }
    const API::attr_map& attrs(const Feature& f) const { return ref_.job.attrs.sets.at(f.attrs); }

    // ---- apertures
    void plan() {
        const std::vector<Feature>& features = ref_.data.features;
        std::vector<Request> requests(features.size());
        // Lines and arcs keep their dcode as the D code when it is one
        // (10 and up) and no other aperture claimed it first.
        for (size_t i = 0; i < features.size(); ++i) {
            const Feature& f = features[i];
            Request& r = requests[i];
            r.function = apertureFunction(attrs(f));
            if (f.type == API::FT_LINE || f.type == API::FT_ARC) {
                r.shape = strokeTemplate(symbol(f), f.type == API::FT_ARC);
                if (f.extra >= 10) r.preferred = f.extra;
            } else if (f.type == API::FT_PAD) {
                r.shape = flashTemplate(symbol(f), padScale(f));
            } else if (f.type == API::FT_TEXT) {
                KERNEL::TextLayout t = KERNEL::layoutText(f.x1, f.y1, ref_.data.texts.at(f.ref), f.angle,
                                                          f.flags & KERNEL::kMirror);
                r.shape = "C," + millimetres(std::max(1LL, nm(2 * t.radius)));
            }
            if (r.preferred >= 10 && !byNumber_.count(r.preferred)) byNumber_[r.preferred] = {r.shape, r.function};
        }
        for (const auto& kv : byNumber_)
            if (!byShape_.count(kv.second)) byShape_[kv.second] = kv.first;
        plans_.resize(features.size());
        for (size_t i = 0; i < features.size(); ++i) {
            const Feature& f = features[i];
            const Request& r = requests[i];
            Plan& p = plans_[i];
            p.object = objectAttributes(attrs(f));
            if (r.shape.empty()) continue;  // surfaces
            const std::pair<std::string, std::string> key{r.shape, r.function};
            auto claimed = byNumber_.find(r.preferred);
            if (r.preferred >= 10 && claimed != byNumber_.end() && claimed->second == key) p.aperture = r.preferred;
            else p.aperture = apertureFor(key);
        }
        // Turned or mirrored pads flash blocks, one per aperture and object
        // attributes (the block's pad takes them when it is defined).
        std::map<std::pair<int, API::attr_map>, int> blocks;
        for (size_t i = 0; i < features.size(); ++i) {
            const Feature& f = features[i];
            if (f.type != API::FT_PAD || (f.angle == 0 && !(f.flags & KERNEL::kMirror))) continue;
            Plan& p = plans_[i];
            const auto key = std::make_pair(p.aperture, p.object);
            auto it = blocks.find(key);
            if (it == blocks.end()) {
                it = blocks.insert({key, nextNumber()}).first;
                blocks_.push_back(Block{it->second, p.aperture, p.object});
            }
            p.aperture = it->second;
        }
    }

    static double padScale(const Feature& f) {
        const double k = f.scale();
        return k > 0 ? k : 1.0;
    }

    int nextNumber() {
        while (byNumber_.count(next_)) ++next_;
        byNumber_[next_] = {};
        return next_++;
    }

    int apertureFor(const std::pair<std::string, std::string>& key) {
        auto it = byShape_.find(key);
        if (it != byShape_.end()) return it->second;
        const int n = nextNumber();
        byNumber_[n] = key;
        byShape_[key] = n;
        return n;
    }

    // ---- the file's state, as the reader keeps it
    void setAttributes(API::attr_map& current, const API::attr_map& wanted, const char* command) {
        for (auto it = current.begin(); it != current.end();) {
            if (!wanted.count(it->first)) {
                out_ << "%TD" << it->first << "*%\n";
                it = current.erase(it);
            } else {
                ++it;
            }
        }
        for (const auto& kv : wanted) {
            auto it = current.find(kv.first);
            if (it != current.end() && it->second == kv.second) continue;
            out_ << "%" << command << kv.first << "," << attributeValue(kv.second) << "*%\n";
            current[kv.first] = kv.second;
        }
    }
    void setObject(const API::attr_map& wanted) { setAttributes(object_, wanted, "TO"); }
    void setApertureFunction(const std::string& function) {
        API::attr_map wanted;
        if (!function.empty()) wanted[".AperFunction"] = function;
        setAttributes(aperture_attrs_, wanted, "TA");
    }
    void setPolarity(bool dark) {
        if (dark == dark_) return;
        out_ << (dark ? "%LPD*%\n" : "%LPC*%\n");
        dark_ = dark;
    }
    void setTransform(bool mirror, int rotation) {
        if (mirror != mirror_) out_ << (mirror ? "%LMX*%\n" : "%LMN*%\n");
        if (rotation != rotation_) out_ << "%LR" << rotation << "*%\n";
        mirror_ = mirror;
        rotation_ = rotation;
    }
    void select(int aperture) {
        if (aperture == current_) return;
        out_ << "D" << aperture << "*\n";
        current_ = aperture;
    }
    void interpolation(int g) {
        if (g == interpolation_) return;
        out_ << "G0" << g << "*\n";
        interpolation_ = g;
    }
    static std::string xy(long long x, long long y) { return "X" + std::to_string(x) + "Y" + std::to_string(y); }
    void moveTo(long long x, long long y) {
        if (haveCurrent_ && x == x_ && y == y_) return;
        out_ << xy(x, y) << "D02*\n";
        at(x, y);
    }
    void drawTo(long long x, long long y) {
        out_ << xy(x, y) << "D01*\n";
        at(x, y);
    }
    void at(long long x, long long y) {
        x_ = x, y_ = y;
        haveCurrent_ = true;
    }

    // ---- header
    void header() {
        out_ << "G04 Layer " << commentText(ref_.def.row.name) << " (" << commentText(ref_.def.row.type)
             << ") of job " << commentText(ref_.job.name) << ", step " << commentText(step_) << "*\n";
        std::map<std::string, std::string> file = fileAttributes(ref_, step_, options_);
        for (const auto& kv : file)
            out_ << "%TF" << kv.first << (kv.second.empty() ? "" : ",") << attributeValue(kv.second) << "*%\n";
        // Millimetres with six decimals: one unit of the file is one nanometre.
        out_ << "%FSLAX46Y46*%\n%MOMM*%\n";
        out_ << "G04 Apertures: C round, R square and rectangle, O oval; donut pads are circles with a "
                "round hole*\n";
        for (const auto& kv : byNumber_) {
            if (kv.second.first.empty()) continue;  // a block
            setApertureFunction(kv.second.second);
            out_ << "%ADD" << kv.first << kv.second.first << "*%\n";
        }
        if (!blocks_.empty())
            out_ << "G04 Blocks holding one plain pad each, flashed turned (LR) and mirrored (LM)*\n";
        for (const Block& b : blocks_) {
            out_ << "%ABD" << b.number << "*%\n";
            setObject(b.object);
            select(b.inner);
            out_ << "X0Y0D03*\n";
            at(0, 0);
            out_ << "%AB*%\n";
        }
        out_ << "G75*\n";
        interpolation(1);
    }

    // ---- features
    void feature(size_t i) {
        const Feature& f = ref_.data.features[i];
        const Plan& p = plans_[i];
        setPolarity(f.positive());
        switch (f.type) {
        case API::FT_LINE:
            setTransform(false, 0);
            setObject(p.object);
            select(p.aperture);
            moveTo(f.x1, f.y1);
            interpolation(1);
            drawTo(f.x2, f.y2);
            break;
        case API::FT_ARC:
            setTransform(false, 0);
            setObject(p.object);
            select(p.aperture);
            moveTo(f.x1, f.y1);
            interpolation(f.flags & KERNEL::kClockwise ? 2 : 3);
            out_ << xy(f.x2, f.y2) << "I" << (static_cast<long long>(f.xc) - f.x1) << "J"
                 << (static_cast<long long>(f.yc) - f.y1) << "D01*\n";
            at(f.x2, f.y2);
            break;
        case API::FT_PAD: {
            const bool mirror = f.flags & KERNEL::kMirror;
            setTransform(mirror, (f.angle % 360 + 360) % 360);
            setObject(p.object);
            select(p.aperture);
            out_ << xy(f.x1, f.y1) << "D03*\n";
            at(f.x1, f.y1);
            break;
        }
        case API::FT_SURFACE:
            region(f, p);
            break;
        case API::FT_TEXT:
            text(f, p);
            break;
        default:
            break;
        }
    }

    // One contour: the first ring, then for each further ring a cut-in from
    // the first ring's last vertex to the ring's first vertex, round the ring
    // and back along the cut-in; then the first ring is closed. The cut-ins
    // are walked both ways and cover no area.
    void region(const Feature& f, const Plan& p) {
        std::vector<std::vector<API::point>> rings = contoursOf(ref_.data, f);
        if (rings.empty()) return;
        orientRings(rings);
        setApertureFunction(apertureFunction(attrs(f)));
        setObject(p.object);
        out_ << "G36*\n";
        interpolation(1);
        const std::vector<API::point>& outer = rings[0];
        out_ << xy(outer[0].x, outer[0].y) << "D02*\n";
        at(outer[0].x, outer[0].y);
        for (size_t k = 1; k < outer.size(); ++k) drawTo(outer[k].x, outer[k].y);
        const API::point last = outer.back();
        for (size_t r = 1; r < rings.size(); ++r) {
            for (const API::point& q : rings[r]) drawTo(q.x, q.y);
            drawTo(rings[r][0].x, rings[r][0].y);
            drawTo(last.x, last.y);
        }
        drawTo(outer[0].x, outer[0].y);
        out_ << "G37*\n";
    }

    void text(const Feature& f, const Plan& p) {
        KERNEL::TextLayout t =
            KERNEL::layoutText(f.x1, f.y1, ref_.data.texts.at(f.ref), f.angle, f.flags & KERNEL::kMirror);
        setTransform(false, 0);
        setObject(p.object);
        select(p.aperture);
        interpolation(1);
        for (const KERNEL::Segment& s : t.strokes) {
            moveTo(nm(s.a.x), nm(s.a.y));
            drawTo(nm(s.b.x), nm(s.b.y));
        }
    }

    const LayerRef& ref_;
    const std::string& step_;
    const export_options& options_;
    std::ostringstream out_;
    std::vector<Plan> plans_;
    std::vector<Block> blocks_;
    std::map<int, std::pair<std::string, std::string>> byNumber_;  // D code -> (shape, function); blocks empty
    std::map<std::pair<std::string, std::string>, int> byShape_;
    int next_ = 10;

    bool dark_ = true, mirror_ = false, haveCurrent_ = false;
    int rotation_ = 0, current_ = -1, interpolation_ = 0;
    long long x_ = 0, y_ = 0;
    API::attr_map object_, aperture_attrs_;
};

}  // namespace
}  // namespace DETAIL

using namespace DETAIL;

std::string export_gerber(const std::string& job, const std::string& step, const std::string& layer) {
    return export_gerber(job, step, layer, export_options{});
}

std::string export_gerber(const std::string& job, const std::string& step, const std::string& layer,
                          const export_options& options) {
    KERNEL_LOCK;
    const LayerRef ref = findLayer(job, step, layer);
    return GerberWriter(ref, step, options).run();
}

std::string export_format_for(const std::string& job, const std::string& layer) {
    KERNEL_LOCK;
    const KERNEL::Job& j = KERNEL::findJob(job);
    const std::string& type = j.layers[KERNEL::findLayerIndex(j, layer)].row.type;
    return type == "drill" || type == "rout" ? "excellon" : "gerber";
}

std::string export_file_name(const std::string& job, const std::string& layer) {
    KERNEL_LOCK;
    const KERNEL::Job& j = KERNEL::findJob(job);
    const std::string& type = j.layers[KERNEL::findLayerIndex(j, layer)].row.type;
    std::string name = layer.empty() ? "layer" : layer;
    for (char& c : name)
        if (c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
    return name + (type == "drill" ? ".drl" : type == "rout" ? ".rou" : ".gbr");
}

std::string export_layer(const std::string& job, const std::string& step, const std::string& layer,
                         std::string& file_name) {
    return export_layer(job, step, layer, file_name, export_options{});
}

std::string export_layer(const std::string& job, const std::string& step, const std::string& layer,
                         std::string& file_name, const export_options& options) {
    KERNEL_LOCK;
    std::string text = export_format_for(job, layer) == "excellon" ? export_excellon(job, step, layer, options)
                                                                   : export_gerber(job, step, layer, options);
    file_name = export_file_name(job, layer);
    return text;
}

std::vector<IMPORT::import_file> export_job(const std::string& job, const std::string& step) {
    KERNEL_LOCK;
    std::vector<IMPORT::import_file> files;
    const export_options options;
    for (const API::matrix_info& row : API::get_matrix(job)) {
        IMPORT::import_file f;
        f.text = export_layer(job, step, row.name, f.name, options);
        files.push_back(std::move(f));
    }
    return files;
}

}  // namespace EXPORT
}  // namespace TOLVA
