// Excellon drill and rout reader: header and inline tools, units and zero
// modes, hits, repeats, slots (G85) and routed paths (G00..G03, M15..M17).
//
// Hits become round pads of the tool's diameter, slots and rout paths lines
// and arcs with it; rout features carry the number of their chain.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <cmath>
#include <cstdlib>
#include <map>

#include "import_internal.h"

namespace TOLVA {
namespace IMPORT {
namespace DETAIL {

namespace {

struct Tool {
    double diameter = 0;  // nm
    std::string plating;  // "plated", "non_plated", "via" or ""
    // In the file's tables once a feature used the tool.
    int symbol = -1;
    uint32_t attrs = 0;
};

std::string trimmed(const std::string& s) {
    size_t a = 0, b = s.size();
    while (a < b && std::isspace(static_cast<unsigned char>(s[a]))) ++a;
    while (b > a && std::isspace(static_cast<unsigned char>(s[b - 1]))) --b;
    return s.substr(a, b - a);
}

bool startsWith(const std::string& s, const char* p) { return s.compare(0, std::strlen(p), p) == 0; }

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// The plating a comment declares, "" when it declares none.
std::string platingOf(const std::string& comment) {
    const std::string c = upper(comment);
    if (c.find("TYPE=NON_PLATED") != std::string::npos || c.find("NONPLATED") != std::string::npos ||
        c.find("NON_PLATED") != std::string::npos)
        return "non_plated";
    if (c.find("VIADRILL") != std::string::npos) return "via";
    if (c.find("TYPE=PLATED") != std::string::npos || c.find("APERFUNCTION,PLATED") != std::string::npos)
        return "plated";
    return std::string();
}

class ExcellonReader {
public:
    ExcellonReader(const std::string& text, const std::string& file) : text_(text), file_(file) {
        out_.report.file = file;
    }

    ParsedFile run() {
        size_t pos = 0;
        bool ended = false;
        while (pos < text_.size() && !ended) {
            size_t end = text_.find('\n', pos);
            if (end == std::string::npos) end = text_.size();
            const std::string raw = text_.substr(pos, end - pos);
            pos = end + 1;
            ++line_;
            try {
                const std::string line = trimmed(raw);
                checkBytes(line, line.compare(0, 1, ";") == 0);  // comments may hold UTF-8
                ended = handle(line);
            } catch (const Fault& f) {
                fileError(file_, line_, f.what);
            } catch (const std::exception& e) {
                fileError(file_, line_, e.what());
            }
        }
        if (header_) fileError(file_, line_, "truncated: the header (M48) is not closed");
        if (!ended) fileError(file_, line_, "truncated: the file ends without M30");
        return std::move(out_);
    }

private:
    void warn(const std::string& what) { addWarning(out_.report, line_, what); }

    // Coordinates and motion codes belong to the body even when a header
    // was never closed.
    static bool startsBody(const std::string& s) {
        return s[0] == 'X' || s[0] == 'Y' || startsWith(s, "G0") || startsWith(s, "G85") ||
               (s[0] == 'T' && s.find('C') == std::string::npos);
    }

    // True at the end of the program.
    bool handle(const std::string& s) {
        if (s.empty()) return false;
        if (s[0] == ';') {
            comment(s.substr(1));
            return false;
        }
        if (s == "M48") {
            header_ = true;
            return false;
        }
        if (header_ && (s == "%" || s == "M95")) {
            header_ = false;
            return false;
        }
        if (s == "%") return false;  // rewind stop outside a header
        if (s == "M30" || s == "M00" || s == "M02") return true;
        if (startsWith(s, "METRIC") || startsWith(s, "INCH")) {
            units(s);
            return false;
        }
        if (s == "M71" || s == "M72") {
            metric_ = s == "M71";
            unitSet_ = true;
            resolveAssumedUnit();
            return false;
        }
        if (header_ && startsBody(s)) {
            warn("the header (M48) runs into the body without '%': closed here");
            header_ = false;
        }
        if (s[0] == 'T' && s.size() > 1 && isDigit(s[1])) {
            tool(s);
            return false;
        }
        if (header_) {
            warn("header line '" + s.substr(0, 30) + "' ignored");
            return false;
        }
        body(s);
        return false;
    }

    void comment(const std::string& c) {
        const std::string t = trimmed(c);
        const std::string u = upper(t);
        if (startsWith(u, "FILE_FORMAT=")) {
            const std::string f = t.substr(12);
            const size_t colon = f.find(':');
            if (colon == std::string::npos || colon == 0 || colon + 1 >= f.size()) fault("malformed FILE_FORMAT '" + f + "'");
            intDigits_ = smallNumber(f.substr(0, colon));
            decDigits_ = smallNumber(f.substr(colon + 1));
            if (intDigits_ < 0 || intDigits_ > 9 || decDigits_ < 0 || decDigits_ > 9 || intDigits_ + decDigits_ == 0)
                fault("FILE_FORMAT digits out of range");
            formatSet_ = true;
        }
        const size_t tf = t.find("TF.");
        if (tf != std::string::npos) {
            const std::string attr = t.substr(tf + 2);
            const size_t comma = attr.find(',');
            const std::string name = attr.substr(0, comma);
            const std::string value = comma == std::string::npos ? std::string() : attr.substr(comma + 1);
            out_.report.file_attributes[name] = value;
            if (name == ".FileFunction") out_.fileFunction = value;
        }
        const std::string plating = platingOf(t);
        if (!plating.empty()) plating_ = plating;
    }

    // Some writers give the tools before any unit and declare it (M71, M72)
    // at the start of the body: the sizes are in the unit declared first,
    // as long as no hole has been drilled in the assumed one.
    void resolveAssumedUnit() {
        if (assumedUnitTools_.empty()) return;
        if (out_.features.empty() && metric_) {
            for (int t : assumedUnitTools_) {
                tools_[t].diameter *= 1e6 / 25.4e6;
                tools_[t].symbol = -1;
            }
            warn("tool sizes given before the unit taken in millimetres");
        }
        assumedUnitTools_.clear();
    }

    void units(const std::string& s) {
        metric_ = startsWith(s, "METRIC");
        unitSet_ = true;
        resolveAssumedUnit();
        if (s.find(",LZ") != std::string::npos) zeros_ = LeadingKept;
        else if (s.find(",TZ") != std::string::npos) zeros_ = TrailingKept;
        const size_t dot = s.find('.');
        if (dot != std::string::npos && !formatSet_) {  // a format template: 000.000
            size_t a = dot, b = dot + 1;
            while (a > 0 && s[a - 1] == '0') --a;
            while (b < s.size() && s[b] == '0') ++b;
            if (dot - a > 0 || b - dot - 1 > 0) {
                intDigits_ = static_cast<int>(dot - a);
                decDigits_ = static_cast<int>(b - dot - 1);
                formatSet_ = true;
            }
        }
    }

    double unit() const { return metric_ ? 1e6 : 25.4e6; }
    int intDigits() const { return formatSet_ ? intDigits_ : (metric_ ? 3 : 2); }
    int decDigits() const { return formatSet_ ? decDigits_ : (metric_ ? 3 : 4); }

    void tool(const std::string& s) {
        size_t p = 1;
        while (p < s.size() && isDigit(s[p])) ++p;
        const int t = smallNumber(s.substr(1, p - 1));
        const size_t c = s.find('C', p);
        if (c == std::string::npos) {
            if (header_) fault("tool T" + std::to_string(t) + " without a diameter");
            if (t == 0 && !tools_.count(0)) {  // T0 unloads the tool, unless a file defines a T0
                tool_ = -1;
                return;
            }
            if (!tools_.count(t)) fault("tool T" + std::to_string(t) + " is not defined");
            tool_ = t;
            return;
        }
        size_t e = c + 1;
        while (e < s.size() && (isDigit(s[e]) || s[e] == '.')) ++e;
        const std::string d = s.substr(c + 1, e - c - 1);
        char* end = nullptr;
        const double v = std::strtod(d.c_str(), &end);
        if (d.empty() || end != d.c_str() + d.size() || !(v > 0)) fault("malformed tool diameter in '" + s + "'");
        if (!unitSet_ && assumedUnitTools_.empty()) warn("no unit before the first tool: inches assumed");
        if (!unitSet_) assumedUnitTools_.push_back(t);
        Tool& defined = tools_[t] = Tool();
        defined.diameter = v * unit();
        defined.plating = plating_;
        routAttrs_.tool = -1;  // the tool's attributes may have changed
        if (!header_) tool_ = t;
    }

    double coordinate(const std::string& s) {
        if (s.empty()) fault("coordinate without digits");
        if (s.find('.') != std::string::npos) {
            double v = 0;
            if (!plainDecimal(s, v)) {
                char* end = nullptr;
                v = std::strtod(s.c_str(), &end);
                if (end != s.c_str() + s.size()) fault("malformed coordinate '" + s + "'");
            }
            return v * unit();
        }
        size_t p = 0;
        const bool minus = s[0] == '-';
        if (s[0] == '-' || s[0] == '+') ++p;
        const size_t count = s.size() - p;
        if (count == 0 || s.find_first_not_of("0123456789", p) != std::string::npos)
            fault("malformed coordinate '" + s + "'");
        if (zeros_ == Unknown && !zeroWarned_) {
            warn("no zero mode (LZ/TZ): leading zeros taken as omitted");
            zeroWarned_ = true;
        }
        const size_t total = static_cast<size_t>(intDigits() + decDigits());
        if (count > total) fault("coordinate '" + s + "' has more digits than the format allows");
        // Leading zeros kept: the omitted trailing ones make up the format.
        const size_t places = zeros_ == LeadingKept ? total : count;
        const double v = wholeNumber(s.data() + p, count, places) / std::pow(10.0, decDigits());
        return (minus ? -v : v) * unit();
    }

    // The digits followed by zeros up to `places` digits, as a double:
    // exact below 2^53, rounded to the nearest above as the C library does.
    static double wholeNumber(const char* digits, size_t count, size_t places) {
        if (places > 19) {  // past 64 bits: read as text
            std::string text(digits, count);
            text.append(places - count, '0');
            return std::strtod(text.c_str(), nullptr);
        }
        uint64_t v = 0;
        for (size_t k = 0; k < count; ++k) v = v * 10 + static_cast<uint64_t>(digits[k] - '0');
        for (size_t k = count; k < places; ++k) v *= 10;
        return static_cast<double>(v);
    }

    // Reads the letter-number words of a body line.
    // A line holds a handful of words: looked up by a scan, the last of a
    // letter counting.
    struct Words {
        std::vector<std::pair<char, std::string>> order;
        const std::string* find(char c) const {
            for (auto it = order.rbegin(); it != order.rend(); ++it)
                if (it->first == c) return &it->second;
            return nullptr;
        }
        bool has(char c) const { return find(c) != nullptr; }
        // The letter's number, "" when the line has none.
        const std::string& operator[](char c) const {
            static const std::string none;
            const std::string* v = find(c);
            return v ? *v : none;
        }
    };
    static Words words(const std::string& s) {
        Words w;
        size_t p = 0;
        while (p < s.size()) {
            const char letter = s[p++];
            if (!std::isalpha(static_cast<unsigned char>(letter))) fault("unexpected '" + s + "'");
            const size_t from = p;
            while (p < s.size() && isNumberChar(s[p])) ++p;
            w.order.emplace_back(letter, s.substr(from, p - from));
        }
        return w;
    }

    void body(const std::string& s) {
        if (startsWith(s, "M47") || startsWith(s, "M97") || startsWith(s, "M98") || startsWith(s, "ICI") ||
            startsWith(s, "FMAT") || startsWith(s, "VER") || startsWith(s, "G93")) {
            warn("'" + s.substr(0, 30) + "' ignored");
            return;
        }
        const size_t g85 = s.find("G85");
        if (g85 != std::string::npos && g85 > 0) {
            slot(s.substr(0, g85), s.substr(g85 + 3));
            return;
        }
        if (s[0] == 'R' && s.size() > 1 && isDigit(s[1])) {
            repeat(s);
            return;
        }
        Words w = words(s);
        for (const auto& kv : w.order) {
            if (kv.first == 'G') gCode(smallNumber(kv.second));
            else if (kv.first == 'M') mCode(smallNumber(kv.second));
            else if (std::string("XYAIJ").find(kv.first) == std::string::npos)
                fault("unexpected '" + std::string(1, kv.first) + "' in '" + s + "'");
        }
        if (!w.has('X') && !w.has('Y')) return;
        double x = w.has('X') ? coordinate(w['X']) : 0, y = w.has('Y') ? coordinate(w['Y']) : 0;
        if (incremental_) x += curX_, y += curY_;
        else {
            if (!w.has('X')) x = curX_;
            if (!w.has('Y')) y = curY_;
        }
        checkRange(x, y, "the point of '" + s + "'");
        if (mode_ == Drill) hit(x, y);
        else if (mode_ == Move) {
            toolDown_ = false;
            newChain_ = true;
        } else {
            routTo(x, y, w);
        }
        curX_ = x;
        curY_ = y;
    }

    void gCode(int g) {
        switch (g) {
        case 0: mode_ = Move; break;
        case 1: mode_ = Linear; break;
        case 2: mode_ = Clockwise; break;
        case 3: mode_ = CounterClockwise; break;
        case 5: case 81: mode_ = Drill; break;
        case 90: incremental_ = false; break;
        case 91: incremental_ = true; break;
        case 40: case 41: case 42: break;  // cutter compensation: the path is kept as written
        default: warn("G" + std::to_string(g) + " ignored");
        }
    }

    void mCode(int m) {
        switch (m) {
        case 15: ++chain_; toolDown_ = true; newChain_ = false; break;
        case 16: case 17: toolDown_ = false; break;
        default: warn("M" + std::to_string(m) + " ignored");
        }
    }

    int currentToolNumber() const {
        if (tool_ < 0) fault("hit or rout before any tool is selected");
        return tool_;
    }

    API::attr_map toolAttributes(const Tool& t) const {
        API::attr_map a;
        if (!t.plating.empty()) a[".drill"] = t.plating;
        return a;
    }

    Feat feature(Feat::Kind kind) {
        Tool& t = tools_.at(currentToolNumber());
        if (t.symbol < 0) {
            t.symbol = out_.tables.symbol("r" + micrometres(t.diameter));
            t.attrs = out_.tables.attributes(toolAttributes(t));
        }
        Feat f;
        f.kind = kind;
        f.symbol = t.symbol;
        f.attrs = t.attrs;
        return f;
    }

    // The tool's attributes and the rout chain's number, kept while both stay.
    uint32_t routAttributes() {
        if (routAttrs_.tool != tool_ || routAttrs_.chain != chain_) {
            API::attr_map a = toolAttributes(tools_.at(tool_));
            a[".rout_chain"] = std::to_string(chain_);
            routAttrs_ = {tool_, chain_, out_.tables.attributes(a)};
        }
        return routAttrs_.index;
    }

    void push(Feat&& f) {
        if (out_.features.size() >= kMaxImportFeatures) fault("too many features");
        budget_.take(f);
        out_.features.push_back(std::move(f));
    }

    void hit(double x, double y) {
        Feat f = feature(Feat::Pad);
        f.x1 = x, f.y1 = y;
        haveHit_ = true;
        push(std::move(f));
    }

    void slot(const std::string& from, const std::string& to) {
        Words a = words(from), b = words(to);
        double sx = a.has('X') ? coordinate(a['X']) : curX_;
        double sy = a.has('Y') ? coordinate(a['Y']) : curY_;
        double ex = b.has('X') ? coordinate(b['X']) : sx;
        double ey = b.has('Y') ? coordinate(b['Y']) : sy;
        checkRange(sx, sy, "the slot's start");
        checkRange(ex, ey, "the slot's end");
        Feat f = feature(Feat::Line);
        f.x1 = sx, f.y1 = sy, f.x2 = ex, f.y2 = ey;
        push(std::move(f));
        curX_ = ex;
        curY_ = ey;
    }

    void repeat(const std::string& s) {
        Words w = words(s);
        const long n = smallNumber(w['R']);
        if (n < 1 || n > 1000000) fault("repeat count out of range in '" + s + "'");
        if (!haveHit_) fault("repeat without a previous hit");
        const double dx = w.has('X') ? coordinate(w['X']) : 0;
        const double dy = w.has('Y') ? coordinate(w['Y']) : 0;
        if (!out_.features.empty()) budget_.expect(n, budget_.bytesOf(out_.features.back()));
        for (long i = 0; i < n; ++i) {
            curX_ += dx;
            curY_ += dy;
            checkRange(curX_, curY_, "a repeated hit");
            hit(curX_, curY_);
        }
    }

    void routTo(double x, double y, Words& w) {
        if (!toolDown_) {
            if (!routWarned_) warn("rout without M15: the tool is taken as down");
            routWarned_ = true;
            if (newChain_) ++chain_;
            newChain_ = false;
        }
        Feat f = feature(Feat::Line);
        f.x1 = curX_, f.y1 = curY_, f.x2 = x, f.y2 = y;
        f.attrs = routAttributes();
        if (mode_ == Clockwise || mode_ == CounterClockwise) {
            f.kind = Feat::Arc;
            f.cw = mode_ == Clockwise;
            arcCentre(f, w);
        }
        push(std::move(f));
    }

    void arcCentre(Feat& f, Words& w) {
        if (w.has('A')) {
            const double r = std::fabs(coordinate(w['A']));
            const double mx = (f.x1 + f.x2) / 2, my = (f.y1 + f.y2) / 2;
            const double dx = f.x2 - f.x1, dy = f.y2 - f.y1, len = std::hypot(dx, dy);
            if (len == 0) fault("arc by radius with equal start and end");
            double h2 = r * r - len * len / 4;
            if (h2 < 0) {
                if (-h2 > 1e6 * len) warn("arc radius smaller than half its chord: a half circle made");
                h2 = 0;
            }
            const double h = std::sqrt(h2) * (f.cw ? -1 : 1);  // the shorter way round
            f.xc = mx - dy / len * h;
            f.yc = my + dx / len * h;
        } else if (w.has('I') || w.has('J')) {
            f.xc = f.x1 + (w.has('I') ? coordinate(w['I']) : 0);
            f.yc = f.y1 + (w.has('J') ? coordinate(w['J']) : 0);
        } else {
            fault("arc without a radius (A) or centre (I/J)");
        }
        if (f.xc == f.x1 && f.yc == f.y1) fault("arc with its centre on its start point");
    }

    const std::string& text_;
    std::string file_;
    ParsedFile out_;
    Budget budget_{out_.tables};
    int line_ = 0;
    bool header_ = false;
    bool metric_ = false, unitSet_ = false, formatSet_ = false, incremental_ = false;
    std::vector<int> assumedUnitTools_;  // tools sized before any unit was declared
    enum Zeros { Unknown, LeadingKept, TrailingKept } zeros_ = Unknown;
    bool zeroWarned_ = false, routWarned_ = false;
    int intDigits_ = 2, decDigits_ = 4;
    std::map<int, Tool> tools_;
    int tool_ = -1;
    std::string plating_;
    enum Mode { Drill, Move, Linear, Clockwise, CounterClockwise } mode_ = Drill;
    bool toolDown_ = false;
    int chain_ = 0;
    double curX_ = 0, curY_ = 0;
    bool haveHit_ = false;
    bool newChain_ = true;  // the next rout without M15 starts a chain
    struct RoutAttrs {
        int tool = -1, chain = -1;
        uint32_t index = 0;
    } routAttrs_;
};

}  // namespace

ParsedFile parseExcellon(const std::string& text, const std::string& file) {
    return ExcellonReader(text, file).run();
}

}  // namespace DETAIL
}  // namespace IMPORT
}  // namespace TOLVA
