// Gerber (RS-274X) reader: apertures and macros, draws, arcs, regions,
// polarity and aperture transformations, step and repeat, X2 attributes.
//
// Macro and polygon flashes become surfaces (the exposure-off parts negative
// surfaces after them), regions one surface per contour (contours of one
// region are united, which separate surfaces give under the even-odd fill).
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "boost_geometry.h"
#include <boost/geometry/geometries/multi_point.hpp>
#include <boost/geometry/geometries/point_xy.hpp>

#include "import_internal.h"
#include "kernel.h"

namespace TOLVA {
namespace IMPORT {
namespace DETAIL {

namespace {

using Loop = std::vector<API::lPoint>;

// ---- commands ---------------------------------------------------------------
// A word command without blanks or unusual bytes stays in the text, at
// [from, to): most of a file, read without a copy each. The others keep
// their cleaned blocks aside, at `extra`.
struct Command {
    size_t from = 0, to = 0;
    int line = 1;
    int extra = -1;
};
struct Blocks {
    std::vector<std::string> blocks;  // one for a word command, one or more inside '%'
    bool extended = false;
    std::string stray;  // text after the last '*' of an extended command, dropped
};
struct Commands {
    std::vector<Command> list;
    std::vector<Blocks> extras;
};

bool plainByte(char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return u > 0x20 && u < 0x7f;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Whether the text at `at` starts a comment, "G04" (or "G4" not followed by
// a digit, as old writers put it).
bool isComment(std::string_view s, size_t at = 0) {
    if (s.size() < at + 2 || s[at] != 'G' || s[at + 1] != '4') {
        if (s.size() < at + 3 || s[at] != 'G' || s[at + 1] != '0' || s[at + 2] != '4') return false;
        return true;
    }
    return s.size() == at + 2 || !isDigit(s[at + 2]);
}

// Comments and attribute values may hold UTF-8; anything else is plain ASCII.
bool freeText(const std::string& block) {
    return (block.size() > 2 && block[0] == 'G' && block[1] == '0' && block[2] == '4') ||
           (block.size() > 1 && block[0] == 'T');
}

// Splits the text into commands; blanks and line breaks between and inside
// words carry no meaning.
Commands splitCommands(const std::string& text, const std::string& file) {
    Commands out;
    out.list.reserve(text.size() / 16);  // a typical word and its line break
    int line = 1;
    size_t i = 0;
    // Some writers pad the file with NUL bytes after its end.
    size_t n = text.size();
    while (n > 0 && text[n - 1] == '\0') --n;
    // Line breaks carry no meaning anywhere; spaces only in comments and
    // attribute values.
    auto takeBlock = [&](size_t from, size_t to, int startLine) {
        std::string block;
        if (std::none_of(text.begin() + from, text.begin() + to, isBlank)) {
            block.assign(text, from, to - from);
        } else {
            for (size_t k = from; k < to; ++k)
                if (text[k] != '\r' && text[k] != '\n' && (!block.empty() || !isBlank(text[k]))) block += text[k];
            if (!freeText(block)) block.erase(std::remove_if(block.begin(), block.end(), isBlank), block.end());
        }
        try {
            checkBytes(block, freeText(block));
        } catch (const Fault& f) {
            fileError(file, startLine, f.what);
        }
        return block;
    };
    auto countLines = [&](size_t from, size_t to) {
        for (size_t k = from; k < to; ++k)
            if (text[k] == '\n') ++line;
    };
    while (i < n) {
        const char c = text[i];
        if (isBlank(c)) {
            if (c == '\n') ++line;
            ++i;
            continue;
        }
        Command cmd;
        cmd.line = line;
        Blocks extra;
        if (c == '%') {
            const size_t close = text.find('%', i + 1);
            if (close == std::string::npos) fileError(file, line, "truncated: '%' command not closed");
            extra.extended = true;
            size_t from = i + 1;
            while (from < close) {
                const size_t star = text.find('*', from);
                if (star == std::string::npos || star > close) {
                    // Some writers leave a word after the last '*' of a
                    // command ("%ADD11C,.011*X.015%"): the command stands
                    // without it.
                    extra.stray = takeBlock(from, close, line);
                    break;
                }
                extra.blocks.push_back(takeBlock(from, star, line));
                from = star + 1;
            }
            if (extra.blocks.empty()) {
                if (!extra.stray.empty()) fileError(file, line, "'" + extra.stray + "' lacks its closing '*'");
                fileError(file, line, "empty '%' command");
            }
            countLines(i, close);
            i = close + 1;
        } else {
            // The '*' found first; then one pass over the word without an
            // early exit, which the compiler runs on several bytes at once:
            // line breaks counted, plain words noted.
            const char* data = text.data();
            const void* hit = std::memchr(data + i, '*', n - i);
            const size_t star = hit ? static_cast<size_t>(static_cast<const char*>(hit) - data) : n;
            unsigned unusual = 0;
            int breaks = 0;
            for (size_t k = i; k < star; ++k) {
                breaks += data[k] == '\n';
                unusual |= static_cast<unsigned>(!plainByte(data[k]));
            }
            const bool plain = unusual == 0;
            if (star == n) {
                const std::string rest = takeBlock(i, n, line);
                fileError(file, line, "truncated: '" + rest.substr(0, 40) + "' lacks its closing '*'");
            }
            if (plain && !isComment(text, i)) {
                cmd.from = i;
                cmd.to = star;
            } else {
                extra.blocks.push_back(takeBlock(i, star, line));
            }
            line += breaks;
            i = star + 1;
        }
        if (!extra.blocks.empty()) {
            cmd.extra = static_cast<int>(out.extras.size());
            out.extras.push_back(std::move(extra));
        }
        out.list.push_back(cmd);
    }
    return out;
}

// ---- numbers and expressions ------------------------------------------------
// No size, distance or parameter of a real file comes near a billion units
// (a thousand kilometres in millimetres); bounding every number, and every
// macro expression, keeps their products with units and scales finite.
constexpr double kMaxNumber = 1e9;

double number(std::string_view s) {
    if (s.empty()) fault("missing number");
    double v = 0;
    if (!plainDecimal(s, v)) {  // exponents, blanks, faults: as the C library reads them
        const std::string t(s);
        char* end = nullptr;
        v = std::strtod(t.c_str(), &end);
        if (end != t.c_str() + t.size() || !std::isfinite(v)) fault("malformed number '" + t + "'");
    }
    if (std::fabs(v) > kMaxNumber) fault("number '" + std::string(s) + "' out of range");
    return v;
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    size_t from = 0;
    for (;;) {
        const size_t at = s.find(sep, from);
        out.push_back(s.substr(from, at == std::string::npos ? std::string::npos : at - from));
        if (at == std::string::npos) return out;
        from = at + 1;
    }
}

// Macro arithmetic: + - x / with parentheses, unary signs, $n variables.
class Expression {
public:
    Expression(const std::string& s, const std::map<int, double>& vars) : s_(s), vars_(vars) {}
    double value() {
        const double v = sum();
        if (pos_ != s_.size()) fault("unexpected '" + s_.substr(pos_) + "' in expression '" + s_ + "'");
        if (!(std::fabs(v) <= kMaxNumber)) fault("expression '" + s_ + "' out of range");
        return v;
    }

private:
    double sum() {
        double v = product();
        while (pos_ < s_.size() && (s_[pos_] == '+' || s_[pos_] == '-')) {
            const char op = s_[pos_++];
            const double r = product();
            v = op == '+' ? v + r : v - r;
        }
        return v;
    }
    double product() {
        double v = unary();
        while (pos_ < s_.size() && (s_[pos_] == 'x' || s_[pos_] == 'X' || s_[pos_] == '/')) {
            const char op = s_[pos_++];
            const double r = unary();
            if (op == '/' && r == 0) fault("division by zero in expression '" + s_ + "'");
            v = op == '/' ? v / r : v * r;
        }
        return v;
    }
    double unary() {
        if (++depth_ > 64) fault("expression nested too deeply");
        double v;
        if (pos_ < s_.size() && (s_[pos_] == '-' || s_[pos_] == '+')) {
            const bool minus = s_[pos_++] == '-';
            v = minus ? -unary() : unary();
        } else {
            v = primary();
        }
        --depth_;
        return v;
    }
    double primary() {
        if (pos_ >= s_.size()) fault("expression '" + s_ + "' ends early");
        if (s_[pos_] == '(') {
            ++pos_;
            const double v = sum();
            if (pos_ >= s_.size() || s_[pos_] != ')') fault("missing ')' in expression '" + s_ + "'");
            ++pos_;
            return v;
        }
        if (s_[pos_] == '$') {
            const size_t from = ++pos_;
            while (pos_ < s_.size() && isDigit(s_[pos_])) ++pos_;
            if (pos_ == from) fault("malformed variable in expression '" + s_ + "'");
            auto it = vars_.find(smallNumber(s_.substr(from, pos_ - from)));
            return it == vars_.end() ? 0.0 : it->second;  // unset variables read as zero
        }
        const size_t from = pos_;
        while (pos_ < s_.size() && (isDigit(s_[pos_]) || s_[pos_] == '.')) ++pos_;
        return number(s_.substr(from, pos_ - from));
    }

    const std::string& s_;
    const std::map<int, double>& vars_;
    size_t pos_ = 0;
    int depth_ = 0;
};

// ---- geometry helpers -------------------------------------------------------
API::lPoint rotated(API::lPoint p, double degrees) {
    if (degrees == 0) return p;
    const double a = degrees * M_PI / 180.0;
    const double c = std::cos(a), s = std::sin(a);
    return {p.x * c - p.y * s, p.x * s + p.y * c};
}

Loop circleLoop(double cx, double cy, double r) {
    const int n = circleSegments(r);
    Loop out;
    for (int k = 0; k < n; ++k)
        out.push_back({cx + r * std::cos(2 * M_PI * k / n), cy + r * std::sin(2 * M_PI * k / n)});
    return out;
}

Loop rectLoop(double xmin, double ymin, double xmax, double ymax) {
    return {{xmin, ymin}, {xmax, ymin}, {xmax, ymax}, {xmin, ymax}};
}

// A stadium w wide and h high about the origin, round on the short sides.
Loop obroundLoop(double w, double h) {
    const bool wide = w >= h;
    const double r = std::min(w, h) / 2, reach = std::fabs(w - h) / 2;
    const int n = circleSegments(r) / 2;
    Loop out;
    for (int end = 0; end < 2; ++end)
        for (int k = 0; k <= n; ++k) {
            const double a = (wide ? -M_PI / 2 : 0) + M_PI * end + M_PI * k / n;
            const double cx = wide ? (end ? -reach : reach) : 0, cy = wide ? 0 : (end ? -reach : reach);
            out.push_back({cx + r * std::cos(a), cy + r * std::sin(a)});
        }
    return out;
}

Loop polygonLoop(double cx, double cy, double diameter, int vertices, double degrees) {
    Loop out;
    for (int k = 0; k < vertices; ++k) {
        const double a = degrees * M_PI / 180.0 + 2 * M_PI * k / vertices;
        out.push_back({cx + diameter / 2 * std::cos(a), cy + diameter / 2 * std::sin(a)});
    }
    return out;
}

// One quarter of a thermal: the ring between ri and ro outside the cross of
// half-width g, in the quadrant (sx, sy).
Loop thermalQuarter(double ri, double ro, double g, double sx, double sy) {
    Loop q;
    if (g >= ro) return q;
    const double a0 = std::asin(g / ro), a1 = M_PI / 2 - a0;
    const int n = std::max(2, circleSegments(ro) / 4);
    for (int k = 0; k <= n; ++k) {
        const double a = a0 + (a1 - a0) * k / n;
        q.push_back({ro * std::cos(a), ro * std::sin(a)});
    }
    if (g < ri) {
        const double b0 = std::asin(g / ri), b1 = M_PI / 2 - b0;
        for (int k = n; k >= 0; --k) {
            const double a = b0 + (b1 - b0) * k / n;
            q.push_back({ri * std::cos(a), ri * std::sin(a)});
        }
    } else {
        q.push_back({g, g});
    }
    for (API::lPoint& p : q) p = {p.x * sx, p.y * sy};
    if (sx * sy < 0) std::reverse(q.begin(), q.end());
    return q;
}

// A flattened aperture part: contours filled even-odd, exposed or not.
struct Part {
    bool on = true;
    std::vector<Loop> contours;
};

// ---- polygon arithmetic -----------------------------------------------------
namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;
using BPoly = bg::model::polygon<BPoint>;
using BMulti = bg::model::multi_polygon<BPoly>;

BPoly polygonOf(const Loop& loop, double dx = 0, double dy = 0) {
    BPoly p;
    for (const API::lPoint& q : loop) p.outer().push_back({q.x + dx, q.y + dy});
    if (!loop.empty()) p.outer().push_back({loop.front().x + dx, loop.front().y + dy});
    bg::correct(p);
    return p;
}

// The area a part covers: its contours combined by the even-odd rule.
BMulti areaOf(const Part& part, double dx = 0, double dy = 0) {
    BMulti acc;
    for (const Loop& loop : part.contours) {
        if (loop.size() < 3) continue;
        BMulti next;
        bg::sym_difference(acc, polygonOf(loop, dx, dy), next);
        acc = std::move(next);
    }
    return acc;
}

// Each polygon of the area as one part, its holes as further contours.
std::vector<Part> partsOf(const BMulti& area) {
    std::vector<Part> out;
    for (const BPoly& p : area) {
        Part part;
        auto ring = [&](const auto& r) {
            Loop loop;
            for (size_t i = 0; i + 1 < r.size(); ++i) loop.push_back({r[i].x(), r[i].y()});
            if (loop.size() >= 3) part.contours.push_back(std::move(loop));
        };
        ring(p.outer());
        if (part.contours.empty()) continue;
        for (const auto& inner : p.inners()) ring(inner);
        out.push_back(std::move(part));
    }
    return out;
}

// What an aperture made of parts exposes. A part with exposure off erases
// only what the earlier parts of the same aperture exposed, never the image
// below a flash, so the parts are combined here into the aperture's shape.
// The set operations work in a fixed-point frame of the operands' extent:
// shapes beyond the kernel's range (a metre) would overflow it.
void checkShape(const std::vector<Part>& parts, const char* what) {
    for (const Part& part : parts)
        for (const Loop& loop : part.contours)
            for (const API::lPoint& p : loop)
                if (!(std::fabs(p.x) <= kMaxImportCoordinate && std::fabs(p.y) <= kMaxImportCoordinate))
                    fault(std::string(what) + " reaches out of range (beyond a metre)");
}

std::vector<Part> exposedShape(const std::vector<Part>& parts) {
    if (std::all_of(parts.begin(), parts.end(), [](const Part& p) { return p.on; })) return parts;
    checkShape(parts, "aperture macro");
    BMulti acc;
    for (const Part& part : parts) {
        BMulti next;
        if (part.on) bg::union_(acc, areaOf(part), next);
        else bg::difference(acc, areaOf(part), next);
        acc = std::move(next);
    }
    return partsOf(acc);
}

bool isConvex(const Loop& loop) {
    const size_t n = loop.size();
    if (n < 3) return false;
    int sign = 0;
    for (size_t i = 0; i < n; ++i) {
        const API::lPoint &a = loop[i], &b = loop[(i + 1) % n], &c = loop[(i + 2) % n];
        const double cross = (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
        if (cross == 0) continue;
        const int s = cross > 0 ? 1 : -1;
        if (sign && s != sign) return false;
        sign = s;
    }
    return sign != 0;
}

// The area an aperture shape (its parts, all exposed) covers while its
// origin moves along the path: for each straight piece of the path, the
// shape at both ends and every edge of it swept between them; a convex
// contour sweeps to the convex hull of its two end copies.
// A draw with a shaped aperture is the union of a piece per path segment and
// aperture edge; the union's cost grows faster than the pieces. Real files
// draw with round and rectangular apertures, so a sweep past this many
// pieces (a many-sided macro along a long arc) is refused, not worked out.
constexpr size_t kMaxSweepPieces = 20000;

BMulti sweptArea(const std::vector<Part>& shape, const Loop& path) {
    checkShape(shape, "aperture");
    const size_t segmentCount = path.size() > 1 ? path.size() - 1 : path.size();
    size_t planned = 0;
    for (const Part& part : shape) {
        size_t edges = 0;
        for (const Loop& loop : part.contours) edges += loop.size();
        const bool convex = part.contours.size() == 1 && isConvex(part.contours.front());
        planned += segmentCount * (convex ? 1 : edges + 2);
    }
    if (planned > kMaxSweepPieces)
        fault("draw with a shaped aperture too complex to sweep (" + std::to_string(planned) + " pieces, at most " +
              std::to_string(kMaxSweepPieces) + ")");
    std::vector<BMulti> pieces;
    auto add = [&](BPoly p) {
        BMulti m;
        m.push_back(std::move(p));
        pieces.push_back(std::move(m));
    };
    for (const Part& part : shape) {
        const bool convex = part.contours.size() == 1 && isConvex(part.contours.front());
        const size_t segments = path.size() > 1 ? path.size() - 1 : path.size();
        for (size_t k = 0; k < segments; ++k) {
            const API::lPoint a = path[k];
            const API::lPoint b = path[std::min(k + 1, path.size() - 1)];
            if (convex) {
                bg::model::multi_point<BPoint> corners;
                for (const API::lPoint& q : part.contours.front()) {
                    corners.push_back({q.x + a.x, q.y + a.y});
                    corners.push_back({q.x + b.x, q.y + b.y});
                }
                BPoly hull;
                bg::convex_hull(corners, hull);
                add(std::move(hull));
                continue;
            }
            pieces.push_back(areaOf(part, a.x, a.y));
            if (a.x == b.x && a.y == b.y) continue;
            pieces.push_back(areaOf(part, b.x, b.y));
            for (const Loop& loop : part.contours)
                for (size_t i = 0; i < loop.size(); ++i) {
                    const API::lPoint u = loop[i], v = loop[(i + 1) % loop.size()];
                    add(polygonOf({{u.x + a.x, u.y + a.y}, {v.x + a.x, v.y + a.y}, {v.x + b.x, v.y + b.y},
                                   {u.x + b.x, u.y + b.y}}));
                }
        }
    }
    // Pairwise unions keep the pieces being merged of similar size.
    while (pieces.size() > 1) {
        std::vector<BMulti> next;
        for (size_t i = 0; i + 1 < pieces.size(); i += 2) {
            BMulti u;
            bg::union_(pieces[i], pieces[i + 1], u);
            next.push_back(std::move(u));
        }
        if (pieces.size() % 2) next.push_back(std::move(pieces.back()));
        pieces = std::move(next);
    }
    return pieces.empty() ? BMulti() : std::move(pieces.front());
}

// ---- apertures --------------------------------------------------------------
struct Aperture {
    char kind = 'C';  // C R O P, M for a macro, B for a block
    std::vector<double> params;  // nm, except counts and angles
    std::string macro;
    std::vector<double> macroArgs;  // file units, as the macro's variables
    double unit = 1e6;              // nm per file unit when defined
    API::attr_map attrs;            // aperture attributes at definition
    std::vector<Feat> block;        // B: the block's features about its origin
    // M: the exposed shape about the origin, worked out at the first use.
    mutable std::shared_ptr<const std::vector<Part>> shape;
};

struct Macro {
    std::vector<std::string> blocks;
};

// The flattened primitives of a macro flash, in nm about the flash point.
std::vector<Part> flattenMacro(const Macro& m, const std::vector<double>& args, double unit,
                               std::vector<std::string>& warnings) {
    std::map<int, double> vars;
    for (size_t i = 0; i < args.size(); ++i) vars[static_cast<int>(i) + 1] = args[i];
    std::vector<Part> parts;
    for (const std::string& block : m.blocks) {
        if (block.empty() || block[0] == '0') continue;  // comment
        if (block[0] == '$') {
            const size_t eq = block.find('=');
            if (eq == std::string::npos) fault("malformed macro variable '" + block + "'");
            const int var = smallNumber(block.substr(1, eq - 1));
            vars[var] = Expression(block.substr(eq + 1), vars).value();
            continue;
        }
        std::vector<std::string> fields = split(block, ',');
        const int code = smallNumber(fields[0]);
        std::vector<double> v;
        for (size_t i = 1; i < fields.size(); ++i) v.push_back(Expression(fields[i], vars).value());
        auto need = [&](size_t count) {
            if (v.size() < count) fault("macro primitive '" + block + "' has too few parameters");
        };
        auto at = [&](size_t i) { return i < v.size() ? v[i] : 0.0; };
        const double u = unit;
        Part p;
        double rotation = 0;
        switch (code) {
        case 1:
            need(4);
            p.on = v[0] != 0;
            p.contours.push_back(circleLoop(v[2] * u, v[3] * u, std::fabs(v[1]) * u / 2));
            rotation = at(4);
            break;
        case 2:
        case 20: {
            need(7);
            p.on = v[0] != 0;
            const double w = v[1] * u / 2, sx = v[2] * u, sy = v[3] * u, ex = v[4] * u, ey = v[5] * u;
            const double len = std::hypot(ex - sx, ey - sy);
            if (len == 0) continue;
            const double nx = -(ey - sy) / len * w, ny = (ex - sx) / len * w;
            p.contours.push_back({{sx - nx, sy - ny}, {ex - nx, ey - ny}, {ex + nx, ey + ny}, {sx + nx, sy + ny}});
            rotation = v[6];
            break;
        }
        case 21:
            need(6);
            p.on = v[0] != 0;
            p.contours.push_back(rectLoop((v[3] - v[1] / 2) * u, (v[4] - v[2] / 2) * u,
                                          (v[3] + v[1] / 2) * u, (v[4] + v[2] / 2) * u));
            rotation = v[5];
            break;
        case 22:
            need(6);
            warnings.push_back("deprecated macro primitive 22 (lower-left line)");
            p.on = v[0] != 0;
            p.contours.push_back(rectLoop(v[3] * u, v[4] * u, (v[3] + v[1]) * u, (v[4] + v[2]) * u));
            rotation = v[5];
            break;
        case 4: {
            need(2);
            p.on = v[0] != 0;
            const double count = v[1];
            if (count < 1 || count > 100000 || v.size() < 2 + 2 * (static_cast<size_t>(count) + 1))
                fault("macro outline '" + block.substr(0, 40) + "' has a wrong vertex count");
            const size_t points = static_cast<size_t>(count) + 1;
            Loop loop;
            for (size_t k = 0; k < points; ++k) loop.push_back({v[2 + 2 * k] * u, v[3 + 2 * k] * u});
            if (loop.size() > 1 && loop.front().x == loop.back().x && loop.front().y == loop.back().y)
                loop.pop_back();
            p.contours.push_back(std::move(loop));
            rotation = at(2 + 2 * points);
            break;
        }
        case 5: {
            need(5);
            p.on = v[0] != 0;
            if (!(v[1] >= 3 && v[1] < 13)) fault("macro polygon needs 3 to 12 vertices");
            const int n = static_cast<int>(v[1]);
            p.contours.push_back(polygonLoop(v[2] * u, v[3] * u, v[4] * u, n, 0));
            rotation = at(5);
            break;
        }
        case 6: {
            need(8);
            warnings.push_back("deprecated macro primitive 6 (moire)");
            const double cx = v[0] * u, cy = v[1] * u, thick = v[3] * u, gap = v[4] * u;
            const int rings = static_cast<int>(std::max(0.0, std::min(v[5], 1000.0)));
            for (int k = 0; k < rings; ++k) {
                const double ro = v[2] * u / 2 - k * (thick + gap);
                if (ro <= 0) break;
                Part ring;
                ring.contours.push_back(circleLoop(cx, cy, ro));
                if (ro - thick > 0) ring.contours.push_back(circleLoop(cx, cy, ro - thick));
                parts.push_back(std::move(ring));
            }
            const double t = v[6] * u / 2, l = v[7] * u / 2;
            p.contours.push_back(rectLoop(cx - l, cy - t, cx + l, cy + t));
            parts.push_back(p);
            p.contours = {rectLoop(cx - t, cy - l, cx + t, cy + l)};
            rotation = at(8);
            for (Part& q : parts)
                for (Loop& loop : q.contours)
                    for (API::lPoint& pt : loop) pt = rotated(pt, rotation);
            break;
        }
        case 7: {
            need(5);
            const double cx = v[0] * u, cy = v[1] * u, ro = v[2] * u / 2, ri = v[3] * u / 2, g = v[4] * u / 2;
            if (ri >= ro) fault("macro thermal with an inner diameter not below the outer");
            rotation = at(5);
            const double signs[4][2] = {{1, 1}, {-1, 1}, {-1, -1}, {1, -1}};
            for (const auto& s : signs) {
                Loop q = thermalQuarter(ri, ro, g, s[0], s[1]);
                if (q.empty()) continue;
                for (API::lPoint& pt : q) pt = rotated({pt.x + cx, pt.y + cy}, rotation);
                parts.push_back(Part{true, {std::move(q)}});
            }
            continue;
        }
        default:
            fault("unknown macro primitive " + std::to_string(code));
        }
        for (Loop& loop : p.contours)
            for (API::lPoint& pt : loop) pt = rotated(pt, rotation);
        parts.push_back(std::move(p));
    }
    return parts;
}

// ---- the reader ---------------------------------------------------------------
struct Transform {  // LM, LR, LS
    bool mirrorX = false, mirrorY = false;
    double rotation = 0, scale = 1;
    bool identity() const { return !mirrorX && !mirrorY && rotation == 0 && scale == 1; }
    API::lPoint apply(API::lPoint p) const {
        if (mirrorX) p.x = -p.x;
        if (mirrorY) p.y = -p.y;
        p = rotated(p, rotation);
        return {p.x * scale, p.y * scale};
    }
};

struct StepRepeat {
    bool open = false;
    size_t first = 0;
    int nx = 1, ny = 1;
    double dx = 0, dy = 0;
};

class GerberReader {
public:
    GerberReader(const std::string& text, const std::string& file) : text_(text), file_(file) {
        out_.report.file = file;
    }

    ParsedFile run() {
        const Commands commands = splitCommands(text_, file_);
        out_.features.reserve(commands.list.size());
        bool ended = false;
        const std::string_view text(text_);
        for (const Command& c : commands.list) {
            line_ = c.line;
            const Blocks* b = c.extra < 0 ? nullptr : &commands.extras[static_cast<size_t>(c.extra)];
            if (b && !b->stray.empty()) warn("'" + b->stray.substr(0, 40) + "' after the last '*' of a command ignored");
            try {
                if (!b) ended = word(text.substr(c.from, c.to - c.from));
                else if (b->extended) extended(b->blocks);
                else ended = word(b->blocks.front());
            } catch (const Fault& f) {
                fileError(file_, line_, f.what);
            } catch (const std::exception& e) {
                fileError(file_, line_, e.what());
            }
            if (ended) break;
        }
        if (!ended) fileError(file_, line_, "truncated: the file ends without M02");
        if (!openBlocks_.empty())
            fileError(file_, line_, "block aperture D" + std::to_string(openBlocks_.back().first) + " is not closed");
        if (region_) fileError(file_, line_, "truncated: the file ends inside a region (G36)");
        try {
            closeStepRepeat();
        } catch (const Fault& f) {
            fileError(file_, line_, f.what);
        }
        finishImage();
        return std::move(out_);
    }

private:
    void warn(const std::string& what) { addWarning(out_.report, line_, what); }
    void warnOnce(const std::string& what) {
        if (warned_.insert({what, true}).second) warn(what);
    }

    // ---- extended commands
    void extended(const std::vector<std::string>& blocks) {
        const std::string& b = blocks.front();
        const std::string code = b.substr(0, 2);
        attrsCache_.valid = false;  // attributes and apertures change here only
        selected_ = nullptr;
        // Transformations and new definitions change the symbols of draws and flashes.
        if (code == "LM" || code == "LR" || code == "LS" || code == "AD" || code == "AB") {
            strokeCache_.clear();
            padCache_.clear();
        }
        const std::string arg = b.size() > 2 ? b.substr(2) : std::string();
        if (code == "FS") formatSpec(arg);
        else if (code == "MO") {
            if (arg == "MM") unit_ = 1e6;
            else if (arg == "IN") unit_ = 25.4e6;
            else fault("unknown unit '" + arg + "'");
            unitSet_ = true;
        } else if (code == "AD") defineApertureOrSkip(arg);
        else if (code == "AM") {
            if (arg.empty()) fault("aperture macro without a name");
            macros_[arg].blocks.assign(blocks.begin() + 1, blocks.end());
        } else if (code == "LP") {
            if (arg == "D") dark_ = true;
            else if (arg == "C") dark_ = false;
            else fault("unknown polarity '" + arg + "'");
        } else if (code == "LM") {
            if (arg != "N" && arg != "X" && arg != "Y" && arg != "XY") fault("unknown mirroring '" + arg + "'");
            transform_.mirrorX = arg.find('X') != std::string::npos;
            transform_.mirrorY = arg.find('Y') != std::string::npos;
        } else if (code == "LR") transform_.rotation = std::fmod(number(arg), 360.0);
        else if (code == "LS") {
            transform_.scale = number(arg);
            if (transform_.scale <= 0) fault("scale must be positive");
        } else if (code == "SR") stepRepeat(arg);
        else if (code == "TF") fileAttribute(arg);
        else if (code == "TA") setAttribute(apertureAttrs_, arg);
        else if (code == "TO") setAttribute(objectAttrs_, arg);
        else if (code == "TD") deleteAttribute(arg);
        else if (code == "IP") {
            if (arg == "NEG") {
                negativeImage_ = true;
                warn("negative image (IPNEG): objects cleared out of a dark field over their extent");
            } else if (arg != "POS") fault("unknown image polarity '" + arg + "'");
        } else if (code == "OF") axisPair(arg, offset_[0], offset_[1], 0.0, true);
        else if (code == "SF") axisPair(arg, imageScale_[0], imageScale_[1], 1.0, false);
        else if (code == "MI") {
            double a = 0, b = 0;
            axisPair(arg, a, b, 0.0, false);
            imageMirror_[0] = a != 0;
            imageMirror_[1] = b != 0;
        } else if (code == "AS") {
            if (arg == "AXBY") swapAxes_ = false;
            else if (arg == "AYBX") swapAxes_ = true;
            else fault("unknown axis select '" + arg + "'");
        } else if (code == "IR") {
            const int r = smallNumber(arg);
            if (arg.empty() || arg.find_first_not_of("0123456789") != std::string::npos || r % 90 != 0 || r >= 360)
                fault("unknown image rotation '" + arg + "'");
            imageRotation_ = r;
        } else if (code == "IN" || code == "LN") {
            // names only
        } else if (code == "AB") {
            blockAperture(arg);
        } else {
            warn("ignored command '%" + b.substr(0, 20) + "'");
        }
    }

    void formatSpec(const std::string& arg) {
        // [L|T][A|I]X<i><d>Y<i><d>
        size_t p = 0;
        omitTrailing_ = false;
        if (p < arg.size() && (arg[p] == 'L' || arg[p] == 'T')) omitTrailing_ = arg[p++] == 'T';
        if (p < arg.size() && (arg[p] == 'A' || arg[p] == 'I')) incremental_ = arg[p++] == 'I';
        const size_t x = arg.find('X', p), y = arg.find('Y', p);
        if (x == std::string::npos || y == std::string::npos || x + 3 > arg.size() || y + 3 > arg.size())
            fault("malformed format statement 'FS" + arg + "'");
        auto digit = [&](size_t at) {
            if (!isDigit(arg[at])) fault("malformed format statement 'FS" + arg + "'");
            return arg[at] - '0';
        };
        intDigits_ = digit(x + 1);
        decDigits_ = digit(x + 2);
        if (digit(y + 1) != intDigits_ || digit(y + 2) != decDigits_) warn("X and Y formats differ; X's is used");
        if (decDigits_ == 0 && intDigits_ == 0) fault("format with no digits");
        formatSet_ = true;
    }

    void axisPair(const std::string& arg, double& a, double& b, double dflt, bool length) {
        a = b = dflt;
        const size_t pa = arg.find('A'), pb = arg.find('B');
        auto read = [&](size_t at, size_t end) {
            return number(arg.substr(at + 1, end == std::string::npos ? std::string::npos : end - at - 1));
        };
        if (pa != std::string::npos) a = read(pa, pb > pa ? pb : std::string::npos);
        if (pb != std::string::npos) b = read(pb, pa > pb ? pa : std::string::npos);
        if (length) {
            a *= unit_;
            b *= unit_;
        }
    }

    // A definition that cannot be read is left out with a warning: files in
    // the field carry such leftovers for apertures they never use. Using one
    // is still an error (the aperture is unknown then).
    void defineApertureOrSkip(const std::string& arg) {
        try {
            defineAperture(arg);
        } catch (const Fault& f) {
            warn(f.what + "; the aperture is left undefined");
        }
    }

    void defineAperture(const std::string& arg) {
        if (arg.size() < 3 || arg[0] != 'D') fault("malformed aperture definition 'AD" + arg + "'");
        size_t p = 1;
        while (p < arg.size() && isDigit(arg[p])) ++p;
        if (p == 1) fault("malformed aperture definition 'AD" + arg + "'");
        const int d = smallNumber(arg.substr(1, p - 1));
        if (d < 10) fault("aperture number D" + std::to_string(d) + " below 10");
        const size_t comma = arg.find(',', p);
        const std::string name = arg.substr(p, comma == std::string::npos ? std::string::npos : comma - p);
        std::vector<double> params;
        if (comma != std::string::npos) {
            std::vector<std::string> fields = split(arg.substr(comma + 1), 'X');
            // Some writers end the sizes with a separator: "C,0.1X".
            if (fields.size() > 1 && fields.back().empty()) {
                warnOnce("aperture sizes ending in 'X': the empty size ignored");
                fields.pop_back();
            }
            for (const std::string& s : fields) params.push_back(number(s));
        }
        Aperture a;
        a.unit = unit_;
        a.attrs = apertureAttrs_;
        if (name == "C" || name == "R" || name == "O" || name == "P") {
            a.kind = name[0];
            // Old writers give a square or a circle-like obround one size: it is both sides.
            if ((a.kind == 'R' || a.kind == 'O') && params.size() == 1) {
                warnOnce("rectangle or obround aperture with one size: taken as both sides");
                params.push_back(params[0]);
            }
            const size_t needed = a.kind == 'C' ? 1 : 2;
            if (params.size() < needed) fault("aperture D" + std::to_string(d) + " lacks its size");
            for (size_t i = 0; i < params.size(); ++i) {
                const bool count = a.kind == 'P' && (i == 1 || i == 2);  // vertices, rotation
                if (!count && params[i] < 0) fault("aperture D" + std::to_string(d) + " with a negative size");
                a.params.push_back(count ? params[i] : params[i] * unit_);
            }
            if (a.kind == 'P' && (params[1] < 3 || params[1] > 12))
                fault("polygon aperture D" + std::to_string(d) + " needs 3 to 12 vertices");
        } else {
            if (!macros_.count(name)) fault("aperture D" + std::to_string(d) + " uses unknown macro '" + name + "'");
            a.kind = 'M';
            a.macro = name;
            a.macroArgs = params;
        }
        apertures_[d] = std::move(a);
    }

    void stepRepeat(const std::string& arg) {
        closeStepRepeat();
        if (arg.empty()) return;
        StepRepeat sr;
        sr.open = true;
        sr.first = out_.features.size();
        const size_t x = arg.find('X'), y = arg.find('Y'), i = arg.find('I'), j = arg.find('J');
        if (x == std::string::npos || y == std::string::npos || i == std::string::npos || j == std::string::npos)
            fault("malformed step and repeat 'SR" + arg + "'");
        if (!(x < y && y < i && i < j)) fault("malformed step and repeat 'SR" + arg + "'");
        const double nx = number(arg.substr(x + 1, y - x - 1)), ny = number(arg.substr(y + 1, i - y - 1));
        if (nx < 1 || ny < 1 || nx * ny > 1e6) fault("step and repeat counts out of range");
        sr.nx = static_cast<int>(nx);
        sr.ny = static_cast<int>(ny);
        sr.dx = number(arg.substr(i + 1, j - i - 1)) * unit_;
        sr.dy = number(arg.substr(j + 1)) * unit_;
        sr_ = sr;
    }

    // %ABDnn*% opens a block aperture, %AB*% closes the innermost one: the
    // features between become the aperture, about the origin.
    void blockAperture(const std::string& arg) {
        if (arg.empty()) {
            if (openBlocks_.empty()) fault("AB closes no open block aperture");
            const std::pair<int, size_t> open = openBlocks_.back();
            openBlocks_.pop_back();
            Aperture a;
            a.kind = 'B';
            a.unit = unit_;
            a.block.assign(out_.features.begin() + open.second, out_.features.end());
            out_.features.resize(open.second);
            apertures_[open.first] = std::move(a);
            return;
        }
        if (sr_.open) fault("block aperture inside a step and repeat");
        if (arg.size() < 2 || arg[0] != 'D' || arg.find_first_not_of("0123456789", 1) != std::string::npos)
            fault("malformed block aperture 'AB" + arg + "'");
        const int d = smallNumber(arg.substr(1));
        if (d < 10) fault("aperture number D" + std::to_string(d) + " below 10");
        if (openBlocks_.size() > 32) fault("block apertures nested too deeply");
        openBlocks_.push_back({d, out_.features.size()});
    }

    // A block flash: its features through the aperture transformation, placed
    // at (x, y); a clear flash toggles their polarities.
    void flashBlock(const Aperture& a, double x, double y) {
        const Transform& t = transform_;
        const bool mirrored = t.mirrorX != t.mirrorY;
        double rot = std::fmod(t.rotation, 360.0);
        if (rot < 0) rot += 360;
        const bool onItsSide = std::fmod(rot, 180.0) == 90.0;
        budget_.expect(1, budget_.bytesOf(a.block));
        std::map<int, KERNEL::Symbol> symbols;
        for (Feat f : a.block) {
            auto place = [&](double& px, double& py) {
                const API::lPoint q = t.apply({px, py});
                px = q.x + x, py = q.y + y;
            };
            place(f.x1, f.y1);
            place(f.x2, f.y2);
            place(f.xc, f.yc);
            for (API::lPoint& p : f.points) place(p.x, p.y);
            if (mirrored) f.cw = !f.cw;
            if (!dark_) f.positive = !f.positive;
            if (f.kind == Feat::Surface) {
                push(std::move(f));
                continue;
            }
            auto known = symbols.find(f.symbol);
            if (known == symbols.end()) {
                try {
                    known = symbols.emplace(f.symbol, KERNEL::parseSymbol(out_.tables.symbolName(f.symbol))).first;
                } catch (const API::KernelText& e) {
                    fault(e);
                }
            }
            const KERNEL::Symbol& sym = known->second;
            const bool round = sym.shape == KERNEL::SymbolShape::Round || sym.shape == KERNEL::SymbolShape::Donut;
            const double w = sym.width * t.scale, h = sym.height * t.scale;
            if (f.kind == Feat::Line && !round && std::fmod(rot, 90.0) != 0) {
                // An axis-parallel pen turned by a fraction of a quarter: the
                // area it sweeps.
                Loop pen = rectLoop(-w / 2, -h / 2, w / 2, h / 2);
                for (API::lPoint& p : pen) p = rotated(p, rot);
                pushSurfaces(partsOf(sweptArea({Part{true, {pen}}}, {{f.x1, f.y1}, {f.x2, f.y2}})), f);
                continue;
            }
            if (f.kind == Feat::Pad) {
                // The pad's own mirror and turn follow the block's: mirrored
                // in x, its angle runs the other way from 180 degrees.
                double angle = f.angle;
                if (mirrored) angle = (t.mirrorY ? 180 : 0) - angle, f.mirror = !f.mirror;
                else if (t.mirrorX) angle += 180;
                angle += rot;
                if (!round && angle != std::floor(angle)) {
                    // Pads turn by whole degrees: other angles are exact surfaces.
                    Loop outline = sym.shape == KERNEL::SymbolShape::Oval ? obroundLoop(w, h)
                                                                         : rectLoop(-w / 2, -h / 2, w / 2, h / 2);
                    for (API::lPoint& p : outline) {
                        p = rotated(p, angle);
                        p = {p.x + f.x1, p.y + f.y1};
                    }
                    pushSurfaces({Part{true, {outline}}}, f);
                    continue;
                }
                f.angle = ((static_cast<int>(std::lround(angle)) % 360) + 360) % 360;
            }
            if (t.scale != 1 || (f.kind == Feat::Line && onItsSide))
                f.symbol = out_.tables.symbol(symbolName(sym, t.scale, f.kind == Feat::Line && onItsSide));
            push(std::move(f));
        }
    }

    // The symbol of that shape scaled by s, on its side when asked.
    static std::string symbolName(const KERNEL::Symbol& sym, double s, bool onSide) {
        if (s == 1 && !onSide) return sym.name;
        double w = sym.width * s, h = sym.height * s;
        if (onSide) std::swap(w, h);
        switch (sym.shape) {
        case KERNEL::SymbolShape::Round: return "r" + micrometres(w);
        case KERNEL::SymbolShape::Square: return "s" + micrometres(w);
        case KERNEL::SymbolShape::Rect: return "rect" + micrometres(w) + "x" + micrometres(h);
        case KERNEL::SymbolShape::Oval: return "oval" + micrometres(w) + "x" + micrometres(h);
        case KERNEL::SymbolShape::Donut: return "donut_r" + micrometres(sym.width * s) + "x" + micrometres(sym.inner * s);
        }
        return sym.name;
    }

    // Surfaces for the parts, placed already, with the polarity, D code and
    // attributes of `like`.
    void pushSurfaces(const std::vector<Part>& parts, const Feat& like) {
        for (const Part& part : parts) {
            Feat f;
            f.kind = Feat::Surface;
            f.positive = like.positive;
            f.dcode = like.dcode;
            f.attrs = like.attrs;
            for (const Loop& loop : part.contours) {
                f.points.insert(f.points.end(), loop.begin(), loop.end());
                f.points.push_back(loop.front());
            }
            push(std::move(f));
        }
    }


    void closeStepRepeat() {
        if (!sr_.open) return;
        sr_.open = false;
        std::vector<Feat> block(out_.features.begin() + sr_.first, out_.features.end());
        const size_t copies = static_cast<size_t>(sr_.nx) * sr_.ny;
        if (block.size() * copies > kMaxImportFeatures) fault("step and repeat makes too many features");
        // The block is spent already; the other copies are new.
        budget_.spend(copies - 1, budget_.bytesOf(block));
        out_.features.resize(sr_.first);
        out_.features.reserve(sr_.first + block.size() * copies);
        for (int j = 0; j < sr_.ny; ++j)
            for (int i = 0; i < sr_.nx; ++i)
                for (Feat f : block) {
                    shift(f, i * sr_.dx, j * sr_.dy);
                    out_.features.push_back(std::move(f));
                }
    }

    static void shift(Feat& f, double dx, double dy) {
        f.x1 += dx, f.y1 += dy, f.x2 += dx, f.y2 += dy, f.xc += dx, f.yc += dy;
        for (API::lPoint& p : f.points) p = {p.x + dx, p.y + dy};
    }

    static std::pair<std::string, std::string> attribute(const std::string& arg) {
        const size_t comma = arg.find(',');
        if (comma == std::string::npos) return {arg, std::string()};
        return {arg.substr(0, comma), arg.substr(comma + 1)};
    }
    void fileAttribute(const std::string& arg) {
        auto kv = attribute(arg);
        if (kv.first.empty()) fault("file attribute without a name");
        out_.report.file_attributes[kv.first] = kv.second;
        if (kv.first == ".FileFunction") out_.fileFunction = kv.second;
    }
    void setAttribute(API::attr_map& dict, const std::string& arg) {
        auto kv = attribute(arg);
        if (kv.first.empty()) fault("attribute without a name");
        dict[kv.first] = kv.second;
    }
    void deleteAttribute(const std::string& arg) {
        if (arg.empty()) {
            apertureAttrs_.clear();
            objectAttrs_.clear();
        } else {
            apertureAttrs_.erase(arg);
            objectAttrs_.erase(arg);
        }
    }

    // Writers that predate attribute commands put them in comments:
    // "G04 #@! TF.FileFunction,Copper,L1,Top".
    void commentAttribute(const std::string& b) {
        const size_t mark = b.find("#@!");
        if (mark == std::string::npos) return;
        size_t from = mark + 3;
        while (from < b.size() && isBlank(b[from])) ++from;
        const std::string attr = b.substr(from);
        if (attr.size() > 2 && attr[0] == 'T' && std::string("FAOD").find(attr[1]) != std::string::npos)
            extended({attr});
    }

    // ---- word commands; true at the end of the file
    bool word(std::string_view b) {
        if (isComment(b)) {
            commentAttribute(std::string(b));
            return false;
        }
        bool hasX = false, hasY = false, hasI = false, hasJ = false;
        double x = 0, y = 0, i = 0, j = 0;
        int d = -1;
        size_t p = 0;
        while (p < b.size()) {
            const char letter = b[p++];
            const size_t from = p;
            if (letter == 'G' || letter == 'D' || letter == 'M') {
                long long sum = 0;  // saturated like smallNumber
                for (; p < b.size() && isDigit(b[p]); ++p) sum = std::min(1000000000LL, sum * 10 + (b[p] - '0'));
                if (p == from) fault("malformed command '" + std::string(b) + "'");
                const int n = static_cast<int>(sum);
                if (letter == 'G') gCode(n);
                else if (letter == 'D') d = n;
                else if (n == 2 || n == 0 || n == 1) return n == 2 || n == 0;
                else fault("unknown command M" + std::to_string(n));
            } else if (letter == 'N' && from == 1) {  // sequence number
                while (p < b.size() && isDigit(b[p])) ++p;
            } else if (letter == 'X' || letter == 'Y' || letter == 'I' || letter == 'J') {
                bool point = false;
                for (; p < b.size() && isNumberChar(b[p]); ++p) point = point || b[p] == '.';
                const double v = coordinate(b.data() + from, p - from, point);
                if (letter == 'X') hasX = true, x = v;
                if (letter == 'Y') hasY = true, y = v;
                if (letter == 'I') hasI = true, i = v;
                if (letter == 'J') hasJ = true, j = v;
            } else {
                fault("unexpected '" + std::string(1, letter) + "' in command '" + std::string(b) + "'");
            }
        }
        (void)hasI, (void)hasJ;
        if (d >= 10) {
            auto selected = apertures_.find(d);
            if (selected == apertures_.end()) fault("unknown D code D" + std::to_string(d));
            aperture_ = d;
            selected_ = &selected->second;
            return false;
        }
        const bool hasCoord = hasX || hasY || hasI || hasJ;
        if (d < 0) {
            if (!hasCoord) return false;
            if (lastOperation_ < 0) {
                // Nothing to repeat yet: the coordinates only set the point.
                warnOnce("coordinates without an operation before any operation taken as a move (D02)");
                d = 2;
            } else {
                if (!modalWarned_) warnOnce("coordinates without D01/D02/D03 repeat the previous operation");
                modalWarned_ = true;
                d = lastOperation_;
            }
        }
        if (d == 0 || d > 3) fault("unknown D code D" + std::to_string(d));
        lastOperation_ = d;
        double nx = incremental_ ? curX_ + (hasX ? x : 0) : (hasX ? x : curX_);
        double ny = incremental_ ? curY_ + (hasY ? y : 0) : (hasY ? y : curY_);
        if (!(std::fabs(nx) <= kMaxImportCoordinate && std::fabs(ny) <= kMaxImportCoordinate))
            checkRange(nx, ny, "the point of '" + std::string(b) + "'");
        if (d == 1) interpolate(nx, ny, i, j);
        else if (d == 2) move(nx, ny);
        else flash(nx, ny);
        curX_ = nx;
        curY_ = ny;
        return false;
    }

    void gCode(int n) {
        switch (n) {
        case 1: case 2: case 3: interpolation_ = n; break;
        case 36:
            if (region_) fault("G36 inside a region");
            region_ = true;
            contour_.clear();
            break;
        case 37:
            if (!region_) fault("G37 outside a region");
            closeContour();
            region_ = false;
            break;
        case 74: multiQuadrant_ = false; break;
        case 75: multiQuadrant_ = true; break;
        case 70: unit_ = 25.4e6; unitSet_ = true; break;
        case 71: unit_ = 1e6; unitSet_ = true; break;
        case 90: incremental_ = false; break;
        case 91: incremental_ = true; break;
        case 54: case 55: break;
        default: fault("unknown command G" + std::to_string(n));
        }
    }

    // Digits without a decimal point are read as a whole number: the
    // format's digits fit in a 64-bit integer, so no text is built per word.
    double coordinate(const char* s, size_t n, bool point) {
        if (n == 0) fault("coordinate without digits");
        if (!formatSet_) fault("coordinate data before the format statement (FS)");
        if (!unitSet_) {
            warnOnce("no unit (MO) before the first coordinate: inches assumed");
            unitSet_ = true;
        }
        if (point) return number(std::string_view(s, n)) * unit_;
        size_t p = 0;
        const bool minus = s[0] == '-';
        if (s[0] == '-' || s[0] == '+') ++p;
        if (p == n) fault("malformed coordinate '" + std::string(s, n) + "'");
        const size_t total = static_cast<size_t>(intDigits_ + decDigits_);
        if (n - p > total) fault("coordinate '" + std::string(s, n) + "' has more digits than the format allows");
        long long v = 0;
        for (size_t k = p; k < n; ++k) {
            if (!isDigit(s[k])) fault("malformed coordinate '" + std::string(s, n) + "'");
            v = v * 10 + (s[k] - '0');
        }
        if (omitTrailing_)
            for (size_t k = n - p; k < total; ++k) v *= 10;
        static const double kPow10[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
        const double value = static_cast<double>(v) / kPow10[decDigits_];
        return (minus ? -value : value) * unit_;
    }

    // ---- operations
    const Aperture& current() {
        if (aperture_ < 0) fault("draw or flash before any aperture is selected");
        if (!selected_) selected_ = &apertures_.at(aperture_);
        return *selected_;
    }

    // The attribute set of a feature made now, in the file's tables: the
    // set last made is kept until the attributes or the aperture change.
    uint32_t featureAttrs(const API::attr_map* aperture) {
        if (objectAttrs_.empty() && (aperture ? aperture->empty() : apertureAttrs_.empty())) return 0;
        if (attrsCache_.valid && attrsCache_.aperture == aperture) return attrsCache_.index;
        attrsCache_ = {true, aperture, out_.tables.attributes(attributeSet(aperture))};
        return attrsCache_.index;
    }
    API::attr_map attributeSet(const API::attr_map* aperture) const {
        API::attr_map a;
        auto set = [&](const char* from, const char* to) {
            auto it = objectAttrs_.find(from);
            if (it != objectAttrs_.end()) a[to] = it->second;
        };
        set(".N", ".net");
        set(".C", ".comp");
        auto pin = objectAttrs_.find(".P");
        if (pin != objectAttrs_.end()) {
            const std::vector<std::string> f = split(pin->second, ',');
            if (!a.count(".comp")) a[".comp"] = f[0];
            a[".pin"] = f.size() > 1 ? f[1] : f[0];
        }
        const API::attr_map& ap = aperture ? *aperture : apertureAttrs_;
        auto fn = ap.find(".AperFunction");
        if (fn != ap.end()) a[".aper_function"] = fn->second;
        return a;
    }

    void push(Feat&& f) {
        if (out_.features.size() >= kMaxImportFeatures) fault("too many features");
        budget_.take(f);
        out_.features.push_back(std::move(f));
    }

    void move(double x, double y) {
        if (region_) {
            closeContour();
            contour_ = {{x, y}};
        }
    }

    // The centre of a single-quadrant arc: the sign combination of I and J
    // whose arc spans at most a quarter turn, the radii agreeing best.
    bool singleQuadrantCentre(double sx, double sy, double ex, double ey, double i, double j,
                              bool cw, double& cx, double& cy) const {
        double best = -1;
        const double si[2] = {1, -1};
        for (double a : si)
            for (double b : si) {
                const double px = sx + a * std::fabs(i), py = sy + b * std::fabs(j);
                double sweep = std::atan2(ey - py, ex - px) - std::atan2(sy - py, sx - px);
                if (cw) sweep = -sweep;
                while (sweep < -1e-9) sweep += 2 * M_PI;
                if (sweep > M_PI / 2 + 1e-3) continue;
                const double err = std::fabs(std::hypot(sx - px, sy - py) - std::hypot(ex - px, ey - py));
                if (best < 0 || err < best) best = err, cx = px, cy = py;
            }
        return best >= 0;
    }

    void interpolateStraight(double x, double y) {
        const int mode = interpolation_;
        interpolation_ = 1;
        interpolate(x, y, 0, 0);
        interpolation_ = mode;
    }

    void interpolate(double x, double y, double i, double j) {
        const bool arc = interpolation_ == 2 || interpolation_ == 3;
        const bool cw = interpolation_ == 2;
        double cx = 0, cy = 0;
        bool full = false;
        if (arc) {
            if (multiQuadrant_) {
                cx = curX_ + i, cy = curY_ + j;
                full = x == curX_ && y == curY_;
            } else if (!singleQuadrantCentre(curX_, curY_, x, y, i, j, cw, cx, cy)) {
                fault("single-quadrant arc spans more than a quarter turn");
            }
            if (cx == curX_ && cy == curY_) {
                warnOnce("arc with its centre on its start point drawn straight");
                return interpolateStraight(x, y);
            }
        }
        if (region_) {
            if (contour_.empty()) contour_.push_back({curX_, curY_});
            if (!arc) contour_.push_back({x, y});
            else if (multiQuadrant_ || !(x == curX_ && y == curY_))
                for (const API::lPoint& p : arcPoints(curX_, curY_, x, y, cx, cy, cw)) contour_.push_back(p);
            if (contour_.size() > kMaxImportFeatures) fault("region contour too long");
            return;
        }
        const Aperture& a = current();
        if (needsSweep(a, arc)) {
            Loop path{{curX_, curY_}};
            if (arc && (full || !(x == curX_ && y == curY_))) {
                for (const API::lPoint& p : arcPoints(curX_, curY_, x, y, cx, cy, cw)) path.push_back(p);
            } else if (!(x == curX_ && y == curY_)) {
                path.push_back({x, y});
            }
            return sweep(a, path);
        }
        Feat f;
        f.dcode = aperture_;
        f.positive = dark_;
        f.attrs = featureAttrs(&a.attrs);
        auto cached = strokeCache_.find(aperture_);
        if (cached == strokeCache_.end()) {
            const std::string name = strokeSymbol(a);
            cached = strokeCache_.emplace(aperture_, name.empty() ? -1 : out_.tables.symbol(name)).first;
        }
        f.symbol = cached->second;
        if (f.symbol < 0) return;
        f.x1 = curX_, f.y1 = curY_, f.x2 = x, f.y2 = y;
        if (arc && (full || !(x == curX_ && y == curY_))) {
            f.kind = Feat::Arc;
            f.xc = cx, f.yc = cy, f.cw = cw;
        }
        push(std::move(f));
    }

    // Whether the draw's symbol cannot show the aperture's sweep: the kernel
    // strokes lines with a round pen or an axis-parallel rectangle, arcs
    // with a round pen only.
    bool needsSweep(const Aperture& a, bool arc) const {
        if (a.kind == 'C' || a.kind == 'B') return false;
        if (a.kind == 'M' || a.kind == 'P') return true;
        double w = a.params[0], h = a.params[1];
        if (a.kind == 'O' && w == h) return false;
        if (a.kind == 'O' || arc) return true;
        return std::fmod(std::fabs(transform_.rotation), 90.0) != 0;
    }

    // A draw with an aperture no symbol strokes: the area it sweeps, as
    // surfaces. The aperture's hole plays no part in a draw.
    void sweep(const Aperture& a, const Loop& path) {
        std::vector<Part> shape;
        if (a.kind == 'M') shape = macroShape(a);
        else shape.push_back(Part{true, {outlineOf(a).front()}});
        for (Part& part : shape)
            for (Loop& loop : part.contours)
                for (API::lPoint& p : loop) p = transform_.apply(p);
        for (const Part& part : partsOf(sweptArea(shape, path))) {
            Feat f;
            f.kind = Feat::Surface;
            f.positive = dark_;
            f.dcode = aperture_;
            f.attrs = featureAttrs(&a.attrs);
            for (const Loop& loop : part.contours) {
                f.points.insert(f.points.end(), loop.begin(), loop.end());
                f.points.push_back(loop.front());
            }
            push(std::move(f));
        }
    }

    std::string strokeSymbol(const Aperture& a) {
        const double s = transform_.scale;
        if (a.kind == 'C') return "r" + micrometres(a.params[0] * s);
        if (a.kind == 'R' || a.kind == 'O') {
            double w = a.params[0] * s, h = a.params[1] * s;
            if (std::fmod(std::fabs(transform_.rotation), 180.0) == 90.0) std::swap(w, h);
            if (a.kind == 'R') return w == h ? "s" + micrometres(w) : "rect" + micrometres(w) + "x" + micrometres(h);
            return w == h ? "r" + micrometres(w) : "oval" + micrometres(w) + "x" + micrometres(h);
        }
        warnOnce("draw with a block aperture skipped");
        return std::string();
    }

    // The standard aperture's outline about its origin, in nm before the
    // aperture transformation; with its hole as a second contour (even-odd).
    static std::vector<Loop> outlineOf(const Aperture& a) {
        const std::vector<double>& p = a.params;
        std::vector<Loop> out;
        size_t hole = 2;
        switch (a.kind) {
        case 'C': out.push_back(circleLoop(0, 0, p[0] / 2)); hole = 1; break;
        case 'R': out.push_back(rectLoop(-p[0] / 2, -p[1] / 2, p[0] / 2, p[1] / 2)); break;
        case 'O': out.push_back(obroundLoop(p[0], p[1])); break;
        default: out.push_back(polygonLoop(0, 0, p[0], static_cast<int>(p[1]), p.size() > 2 ? p[2] : 0)); hole = 3;
        }
        if (p.size() > hole + 1) out.push_back(rectLoop(-p[hole] / 2, -p[hole + 1] / 2, p[hole] / 2, p[hole + 1] / 2));
        else if (p.size() > hole && p[hole] > 0) out.push_back(circleLoop(0, 0, p[hole] / 2));
        return out;
    }
    static bool hasHole(const Aperture& a) {
        const size_t first = a.kind == 'C' ? 1 : a.kind == 'P' ? 3 : 2;
        return a.params.size() > first && a.params[first] > 0;
    }

    void flash(double x, double y) {
        if (region_) fault("flash (D03) inside a region");
        const Aperture& a = current();
        if (a.kind == 'B') return flashBlock(a, x, y);
        if (a.kind == 'M') return flashParts(macroShape(a), x, y);
        Feat f;
        f.kind = Feat::Pad;
        f.x1 = x, f.y1 = y;
        f.positive = dark_;
        f.attrs = featureAttrs(&a.attrs);
        auto cached = padCache_.find(aperture_);
        if (cached != padCache_.end()) {
            f.symbol = cached->second.first;
            f.angle = cached->second.second;
            return push(std::move(f));
        }
        const double s = transform_.scale;
        const bool roundHole = a.kind == 'C' && a.params.size() == 2;
        if (a.kind == 'P' || (hasHole(a) && !roundHole)) return flashParts({Part{true, outlineOf(a)}}, x, y);
        if (a.kind == 'C') {
            const double d = a.params[0] * s, hole = roundHole ? a.params[1] * s : 0;
            f.symbol = out_.tables.symbol(hole > 0 && hole < d ? "donut_r" + micrometres(d) + "x" + micrometres(hole)
                                                               : "r" + micrometres(d));
            padCache_[aperture_] = {f.symbol, f.angle};
            return push(std::move(f));
        }
        double w = a.params[0] * s, h = a.params[1] * s;
        double rot = std::fmod(transform_.rotation, 360.0);
        if (rot < 0) rot += 360;
        if (std::fmod(rot, 90.0) == 0 && std::fmod(rot, 180.0) != 0) std::swap(w, h);
        else if (std::fmod(rot, 180.0) != 0) {
            // Pads turn by whole degrees: other angles are flattened exactly.
            if (rot != std::floor(rot)) return flashParts({Part{true, outlineOf(a)}}, x, y);
            f.angle = static_cast<int>(rot);
        }
        if (a.kind == 'R')
            f.symbol = out_.tables.symbol(w == h ? "s" + micrometres(w) : "rect" + micrometres(w) + "x" + micrometres(h));
        else
            f.symbol = out_.tables.symbol(w == h ? "r" + micrometres(w) : "oval" + micrometres(w) + "x" + micrometres(h));
        padCache_[aperture_] = {f.symbol, f.angle};
        push(std::move(f));
    }

    const std::vector<Part>& macroShape(const Aperture& a) {
        if (!a.shape) {
            std::vector<std::string> warnings;
            std::vector<Part> parts = flattenMacro(macros_.at(a.macro), a.macroArgs, a.unit, warnings);
            for (const std::string& w : warnings) warnOnce(w);
            a.shape = std::make_shared<const std::vector<Part>>(exposedShape(parts));
        }
        return *a.shape;
    }

    // Surfaces for flattened aperture parts (all exposed), through the
    // aperture transformation, placed at (x, y).
    void flashParts(const std::vector<Part>& parts, double x, double y) {
        const Transform& t = transform_;
        for (const Part& part : parts) {
            Feat f;
            f.kind = Feat::Surface;
            f.positive = dark_;
            f.dcode = aperture_;
            f.attrs = featureAttrs(&apertures_.at(aperture_).attrs);
            for (const Loop& loop : part.contours) {
                if (loop.size() < 3) continue;
                for (const API::lPoint& p : loop) {
                    const API::lPoint q = t.apply(p);
                    f.points.push_back({q.x + x, q.y + y});
                }
                f.points.push_back(f.points[f.points.size() - loop.size()]);
            }
            if (!f.points.empty()) push(std::move(f));
        }
    }

    // A region's holes come as cut-ins: the contour runs from its outline
    // along a bridge to the hole, round the hole, and back along the same
    // bridge. Each return to a point already on the path closes a ring:
    // rings that enclose area are the outline and its holes, the bridges
    // enclose none and go. Filled by the even-odd rule the rings cover
    // exactly what the single contour did. `closed` ends at its first point;
    // the result holds the rings, each closed by repeating its first point.
    static std::vector<API::lPoint> splitCutIns(const std::vector<API::lPoint>& closed) {
        std::vector<std::vector<API::lPoint>> rings;
        std::vector<API::lPoint> path;
        std::map<std::pair<double, double>, size_t> onPath;  // point -> its index in path
        size_t outer = 0;                                    // the ring of the largest area
        double outerArea = 0;
        for (const API::lPoint& p : closed) {
            auto seen = onPath.find({p.x, p.y});
            if (seen == onPath.end()) {
                onPath.emplace(std::make_pair(p.x, p.y), path.size());
                path.push_back(p);
                continue;
            }
            const size_t from = seen->second;
            double twiceArea = 0;
            for (size_t i = from; i < path.size(); ++i) {
                const API::lPoint& a = path[i];
                const API::lPoint& b = i + 1 < path.size() ? path[i + 1] : p;
                twiceArea += a.x * b.y - b.x * a.y;
            }
            if (path.size() - from >= 3 && std::fabs(twiceArea) > 1.0) {
                if (std::fabs(twiceArea) > outerArea) outer = rings.size(), outerArea = std::fabs(twiceArea);
                rings.emplace_back(path.begin() + static_cast<std::ptrdiff_t>(from), path.end());
                rings.back().push_back(p);
            }
            for (size_t i = from + 1; i < path.size(); ++i) onPath.erase({path[i].x, path[i].y});
            path.resize(from + 1);
        }
        // The outline first, the holes in the order met: what a writer of
        // cut-ins puts out, so that reading it back gives the same rings.
        std::vector<API::lPoint> out;
        if (rings.empty()) return out;
        std::rotate(rings.begin(), rings.begin() + static_cast<std::ptrdiff_t>(outer), rings.begin() + static_cast<std::ptrdiff_t>(outer) + 1);
        for (const std::vector<API::lPoint>& ring : rings) out.insert(out.end(), ring.begin(), ring.end());
        return out;
    }

    void closeContour() {
        if (contour_.size() > 1) {
            const API::lPoint first = contour_.front(), last = contour_.back();
            if (std::hypot(first.x - last.x, first.y - last.y) > 1.0) {
                warnOnce("open region contour closed");
                contour_.push_back(first);
            } else {
                contour_.back() = first;
            }
            std::vector<API::lPoint> rings = splitCutIns(contour_);
            if (!rings.empty()) {
                Feat f;
                f.kind = Feat::Surface;
                f.positive = dark_;
                f.attrs = featureAttrs(nullptr);
                f.points = std::move(rings);
                push(std::move(f));
            } else {
                warnOnce("region contour with fewer than three corners skipped");
            }
        }
        contour_.clear();
    }

    // Deprecated image parameters, applied to the finished image.
    // The axis select swaps the data's axes, then come the mirror, the
    // scale, the rotation (counter-clockwise) and the offset.
    void finishImage() {
        const bool mirrored = (imageMirror_[0] != imageMirror_[1]) != swapAxes_;
        const bool quarterTurn = (imageRotation_ % 180 != 0) != swapAxes_;  // rectangles turn on their side
        std::map<int, int> onSide;  // line symbols laid on their side
        for (Feat& f : out_.features) {
            auto map = [&](double& px, double& py) {
                if (swapAxes_) std::swap(px, py);
                if (imageMirror_[0]) px = -px;
                if (imageMirror_[1]) py = -py;
                px *= imageScale_[0];
                py *= imageScale_[1];
                for (int r = 0; r < imageRotation_; r += 90) {
                    const double t = px;
                    px = -py;
                    py = t;
                }
                px += offset_[0];
                py += offset_[1];
            };
            map(f.x1, f.y1);
            map(f.x2, f.y2);
            map(f.xc, f.yc);
            for (API::lPoint& p : f.points) map(p.x, p.y);
            if (mirrored) f.cw = !f.cw;
            if (f.kind == Feat::Pad) {
                // Pad shapes are symmetric about both their axes: a
                // reflection turns the pad's angle the other way.
                int a = f.angle;
                if (swapAxes_) a = 90 - a;
                if (imageMirror_[0] != imageMirror_[1]) a = -a;
                a += imageRotation_;
                f.angle = ((a % 360) + 360) % 360;
            } else if (f.kind == Feat::Line && quarterTurn) {
                auto turned = onSide.find(f.symbol);
                if (turned == onSide.end())
                    turned = onSide.emplace(f.symbol, out_.tables.symbol(onItsSide(out_.tables.symbolName(f.symbol)))).first;
                f.symbol = turned->second;
            }
            if (negativeImage_) f.positive = !f.positive;
        }
        if (negativeImage_ && !out_.features.empty()) addBackground();
    }

    // A line symbol of w x h as h x w: lines stroke with the axis-parallel
    // symbol, which a quarter turn of the image lays on its side.
    static std::string onItsSide(const std::string& symbol) {
        for (const char* prefix : {"rect", "oval"}) {
            const size_t n = std::string(prefix).size();
            if (symbol.compare(0, n, prefix) != 0) continue;
            const size_t x = symbol.find('x', n);
            if (x == std::string::npos) return symbol;
            return prefix + symbol.substr(x + 1) + "x" + symbol.substr(n, x - n);
        }
        return symbol;
    }

    // A negative image clears its objects out of a dark field: the field is a
    // positive rectangle over everything, first in the layer.
    void addBackground() {
        double xmin = HUGE_VAL, ymin = HUGE_VAL, xmax = -HUGE_VAL, ymax = -HUGE_VAL;
        auto cover = [&](double x, double y, double r) {
            xmin = std::min(xmin, x - r), ymin = std::min(ymin, y - r);
            xmax = std::max(xmax, x + r), ymax = std::max(ymax, y + r);
        };
        std::map<int, double> pens;  // by symbol
        for (const Feat& f : out_.features) {
            double pen = 0;
            if (f.symbol >= 0) {
                auto known = pens.find(f.symbol);
                if (known == pens.end()) {
                    try {
                        const KERNEL::Symbol sym = KERNEL::parseSymbol(out_.tables.symbolName(f.symbol));
                        known = pens.emplace(f.symbol, std::hypot(sym.width, sym.height) / 2).first;
                    } catch (const API::KernelText&) {
                        // rejected with the file's name when the features are stored
                        known = pens.emplace(f.symbol, 0.0).first;
                    }
                }
                pen = known->second;
            }
            for (const API::lPoint& p : f.points) cover(p.x, p.y, 0);
            if (f.kind == Feat::Surface) continue;
            cover(f.x1, f.y1, pen);
            if (f.kind == Feat::Line) cover(f.x2, f.y2, pen);
            if (f.kind == Feat::Arc) cover(f.xc, f.yc, std::hypot(f.x1 - f.xc, f.y1 - f.yc) + pen);
        }
        Feat field;
        field.kind = Feat::Surface;
        field.points = rectLoop(xmin, ymin, xmax, ymax);
        field.points.push_back(field.points.front());
        out_.features.insert(out_.features.begin(), std::move(field));
    }

    const std::string& text_;
    std::string file_;
    ParsedFile out_;
    Budget budget_{out_.tables};
    int line_ = 1;
    std::map<std::string, bool> warned_;

    bool formatSet_ = false, unitSet_ = false, omitTrailing_ = false, incremental_ = false;
    int intDigits_ = 2, decDigits_ = 4;
    double unit_ = 25.4e6;
    std::map<int, Aperture> apertures_;
    std::map<std::string, Macro> macros_;
    int aperture_ = -1;
    const Aperture* selected_ = nullptr;  // apertures_[aperture_] until a definition
    int interpolation_ = 1;
    int lastOperation_ = -1;
    bool multiQuadrant_ = false;
    bool region_ = false;
    Loop contour_;
    bool dark_ = true;
    Transform transform_;
    StepRepeat sr_;
    std::vector<std::pair<int, size_t>> openBlocks_;  // aperture number, first feature
    double curX_ = 0, curY_ = 0;
    API::attr_map apertureAttrs_, objectAttrs_;
    bool negativeImage_ = false;
    double offset_[2] = {0, 0}, imageScale_[2] = {1, 1};
    bool imageMirror_[2] = {false, false};
    bool swapAxes_ = false;
    bool modalWarned_ = false;
    // Symbols of the apertures' draws and pad flashes (with the pad's angle)
    // under the current transformation.
    std::map<int, int> strokeCache_;  // -1: no symbol strokes it
    std::map<int, std::pair<int, int>> padCache_;
    // The attribute set last made, for the aperture's attributes at `aperture`;
    // forgotten when any attributes or apertures change.
    struct AttrsCache {
        bool valid = false;
        const API::attr_map* aperture = nullptr;
        uint32_t index = 0;
    } attrsCache_;
    int imageRotation_ = 0;  // degrees counter-clockwise, a multiple of 90
};

}  // namespace

ParsedFile parseGerber(const std::string& text, const std::string& file) {
    return GerberReader(text, file).run();
}

}  // namespace DETAIL
}  // namespace IMPORT
}  // namespace TOLVA
