// Layer typing, storing parsed files in a job, and whole-job imports.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "TOLVA_Job.h"
#include "import_internal.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace IMPORT {
namespace DETAIL {

void fileError(const std::string& file, int line, const std::string& what) {
    throw API::KernelText(file + ":" + std::to_string(line) + ": " + what);
}

std::string micrometres(double nm) {
    long long n = std::llround(nm);
    if (n < 1) n = 1;
    std::string s = std::to_string(n / 1000);
    long long frac = n % 1000;
    if (frac) {
        char buf[8];
        std::snprintf(buf, sizeof buf, ".%03lld", frac);
        std::string f = buf;
        while (f.back() == '0') f.pop_back();
        s += f;
    }
    return s;
}

void fault(const std::string& what) { throw Fault{what}; }

std::atomic<size_t> importBudget{size_t(2) << 30};

Budget::Budget(const FileTables& tables) : tables_(tables), limit_(importBudget.load()) {}

void Budget::expect(size_t copies, size_t each) const {
    // Written as a division so that a huge count cannot overflow the product.
    const size_t room = limit_ - std::min(spent_, limit_);
    if (each != 0 && copies > room / each)
        fault("the file expands past the import budget of " + std::to_string(limit_ >> 20) + " MB");
}

const size_t Budget::kRecordBytes = sizeof(Feat) + sizeof(KERNEL::ParsedFeature);

size_t Budget::bytesWithShape(const Feat& f) const {
    // Attributes are copied for the kernel, counted at a map node each,
    // their strings held short.
    constexpr size_t kAttributeNode = 96;
    return kRecordBytes + f.points.size() * sizeof(API::lPoint) + tables_.attributeSet(f.attrs).size() * kAttributeNode;
}

size_t Budget::bytesOf(const std::vector<Feat>& features) const {
    size_t sum = 0;
    for (const Feat& f : features) sum += bytesOf(f);
    return sum;
}

int FileTables::symbol(const std::string& name) {
    auto it = symbolIndex_.find(name);
    if (it != symbolIndex_.end()) return it->second;
    const int index = static_cast<int>(symbols_.size());
    symbols_.push_back(name);
    symbolIndex_.emplace(name, index);
    return index;
}

uint32_t FileTables::attributes(const API::attr_map& set) {
    if (set.empty()) return 0;
    auto it = attrIndex_.find(set);
    if (it != attrIndex_.end()) return it->second;
    const uint32_t index = static_cast<uint32_t>(attrSets_.size());
    attrSets_.push_back(set);
    attrIndex_.emplace(set, index);
    return index;
}

void checkBytes(const std::string& text, bool utf8) {
    for (unsigned char c : text)
        if ((c < 0x20 && c != '\t' && c != '\r') || c == 0x7f || (c >= 0x80 && !utf8)) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "0x%02x", c);
            fault(std::string("unexpected byte ") + hex);
        }
}

bool plainDecimal(std::string_view s, double& value) {
    size_t p = 0;
    const bool minus = !s.empty() && s[0] == '-';
    if (!s.empty() && (s[0] == '-' || s[0] == '+')) p = 1;
    bool digits = false, point = false;
    for (size_t k = p; k < s.size(); ++k) {
        if (isDigit(s[k])) digits = true;
        else if (s[k] == '.' && !point) point = true;
        else return false;
    }
    if (!digits) return false;
    double v = 0;
    const std::from_chars_result r = std::from_chars(s.data() + p, s.data() + s.size(), v);
    if (r.ec != std::errc() || r.ptr != s.data() + s.size()) return false;
    value = minus ? -v : v;
    return true;
}

void checkRange(double x, double y, const std::string& what) {
    if (!(std::fabs(x) <= kMaxImportCoordinate && std::fabs(y) <= kMaxImportCoordinate))
        fault(what + " lies out of range");
}

void addWarning(import_report& report, int line, const std::string& what) {
    if (report.warnings.size() < 200) report.warnings.push_back("line " + std::to_string(line) + ": " + what);
}

int smallNumber(const std::string& digits) {
    const long long v = std::strtoll(digits.c_str(), nullptr, 10);  // saturates on overflow
    return static_cast<int>(std::max(-1000000000LL, std::min(v, 1000000000LL)));
}

int circleSegments(double radius) {
    // Chord error at most about a micrometre, within sane bounds; a multiple
    // of four so that the extreme points of the circle are vertices.
    const double tolerance = 1000.0;
    int n = 16;
    if (!std::isfinite(radius)) return n;
    if (radius > tolerance) n = static_cast<int>(std::ceil(M_PI / std::acos(1.0 - tolerance / radius)));
    n = std::max(16, std::min(n, 360));
    return (n + 3) / 4 * 4;
}

std::vector<API::lPoint> arcPoints(double xs, double ys, double xe, double ye, double xc,
                                   double yc, bool cw) {
    const double r = std::hypot(xs - xc, ys - yc);
    const double a0 = std::atan2(ys - yc, xs - xc);
    double a1 = std::atan2(ye - yc, xe - xc);
    double sweep = a1 - a0;
    const bool full = std::fabs(xs - xe) < 0.5 && std::fabs(ys - ye) < 0.5;
    if (full) sweep = cw ? -2 * M_PI : 2 * M_PI;
    else if (cw && sweep >= 0) sweep -= 2 * M_PI;
    else if (!cw && sweep <= 0) sweep += 2 * M_PI;
    const int steps = std::max(1, static_cast<int>(std::ceil(circleSegments(r) * std::fabs(sweep) / (2 * M_PI) - 1e-9)));
    std::vector<API::lPoint> out;
    for (int i = 1; i < steps; ++i) {
        const double a = a0 + sweep * i / steps;
        out.push_back({xc + r * std::cos(a), yc + r * std::sin(a)});
    }
    out.push_back({full ? xs : xe, full ? ys : ye});
    return out;
}

namespace {

// Built in its place at the end of `out`: a kernel feature carries vectors
// and a text, and moving a temporary in costs more than the lines and pads
// themselves. Nothing is left behind when the kernel refuses it.
void appendBuilt(const Feat& f, int symbol, std::vector<KERNEL::ParsedFeature>& out) {
    const int pol = f.positive ? API::POL_POSITIVE : API::POL_NEGATIVE;
    if (f.kind == Feat::Surface) return out.push_back(KERNEL::surfaceFeature(f.points, pol, f.dcode, true));
    KERNEL::Feature made;
    switch (f.kind) {
    case Feat::Line: made = KERNEL::lineFeature(f.x1, f.y1, f.x2, f.y2, symbol, pol, f.dcode); break;
    case Feat::Pad: made = KERNEL::padFeature(f.x1, f.y1, symbol, pol, f.angle, f.mirror ? 1 : 0, 1); break;
    default: made = KERNEL::arcFeature(f.x1, f.y1, f.x2, f.y2, f.xc, f.yc, symbol, pol, f.dcode, f.cw); break;
    }
    out.emplace_back().f = made;
}

bool hasLayer(const std::string& job, const std::string& layer) {
    for (const API::matrix_info& row : API::get_matrix(job))
        if (row.name == layer) return true;
    return false;
}

std::string contextFor(const std::string& type) { return type == "document" ? "misc" : "board"; }

// A negative image (a plane drawn as its clearances) is the layer's polarity,
// not its features'.
std::string polarityOf(const import_report& report) {
    const auto it = report.file_attributes.find(".FilePolarity");
    if (it == report.file_attributes.end()) return "positive";
    std::string value = it->second.substr(0, 8);
    for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return value == "negative" ? "negative" : "positive";
}

}  // namespace

namespace {

void checkCoordinates(const Feat& f, const std::string& file) {
    for (double v : {f.x1, f.y1, f.x2, f.y2, f.xc, f.yc})
        if (!(std::fabs(v) <= KERNEL::kMaxCoordinate))
            throw API::KernelText(file + ": a feature lies out of the kernel's range (one metre)");
}

// The kernel's features of the file, everything the kernel could still
// reject found before the job changes: symbol names and coordinates fail the
// file; surfaces that rounding to the nanometre leaves without area are
// dropped, from the parsed features too. Lines, pads and arcs refer to the
// file's symbol table until their symbols are registered.
std::vector<KERNEL::ParsedFeature> buildFeatures(ParsedFile& parsed) {
    const std::string& file = parsed.report.file;
    std::vector<KERNEL::ParsedFeature> out;
    out.reserve(parsed.features.size());
    std::vector<bool> checked(parsed.tables.symbolCount(), false);
    size_t kept = 0;
    int dropped = 0;
    for (size_t i = 0; i < parsed.features.size(); ++i) {
        Feat& f = parsed.features[i];
        if (f.kind == Feat::Surface) {
            try {
                appendBuilt(f, -1, out);
            } catch (const API::KernelText&) {
                ++dropped;
                continue;
            }
        } else {
            checkCoordinates(f, file);
            try {
                if (!checked[static_cast<size_t>(f.symbol)]) {
                    KERNEL::parseSymbol(parsed.tables.symbolName(f.symbol));
                    checked[static_cast<size_t>(f.symbol)] = true;
                }
                appendBuilt(f, f.symbol, out);
            } catch (const API::KernelText& e) {
                throw API::KernelText(file + ": " + e);
            }
        }
        if (kept != i) parsed.features[kept] = std::move(f);
        ++kept;
    }
    parsed.features.resize(kept);
    if (dropped)
        parsed.report.warnings.push_back(std::to_string(dropped) +
                                         " surfaces without area after rounding to the nanometre dropped");
    return out;
}

// Registers the file's symbols in the layer in the order the features first
// use them, and points the features at the layer's table.
void registerSymbols(const std::string& job, const std::string& step, const std::string& layer,
                     const FileTables& tables, std::vector<KERNEL::ParsedFeature>& features) {
    std::vector<int> inLayer(tables.symbolCount(), -1);
    for (KERNEL::ParsedFeature& p : features) {
        if (p.f.type == API::FT_SURFACE) continue;
        int& index = inLayer[p.f.ref];
        if (index < 0) API::create_new_symbol(job, step, layer, tables.symbolName(static_cast<int>(p.f.ref)), index);
        p.f.ref = static_cast<uint32_t>(index);
    }
}

// The attribute sets of the features up to the last that has one: the
// kernel gives the features past the list none.
std::vector<API::attr_map> attributeSets(const ParsedFile& parsed) {
    size_t count = parsed.features.size();
    while (count > 0 && parsed.features[count - 1].attrs == 0) --count;
    std::vector<API::attr_map> out;
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) out.push_back(parsed.tables.attributeSet(parsed.features[i].attrs));
    return out;
}

void checkStep(const std::string& job, const std::string& step, const ParsedFile& parsed) {
    const std::vector<std::string> steps = JOB::list_steps(job);  // throws for an unknown job
    if (std::find(steps.begin(), steps.end(), step) == steps.end())
        throw API::KernelText(parsed.report.file + ": job '" + job + "' has no step '" + step + "'");
}

}  // namespace

// The kernel's features of a parsed file, built where the file was read, or
// why the kernel would refuse them.
struct BuiltFeatures {
    std::vector<KERNEL::ParsedFeature> features;
    std::exception_ptr refused;
};

BuiltFeatures buildAhead(ParsedFile& parsed) {
    BuiltFeatures out;
    try {
        out.features = buildFeatures(parsed);
    } catch (...) {
        out.refused = std::current_exception();
    }
    return out;
}

namespace {

void storeBuilt(const std::string& job, const std::string& step, const std::string& layer, const std::string& type,
                ParsedFile& parsed, std::vector<KERNEL::ParsedFeature>& features) {
    if (!hasLayer(job, layer)) JOB::add_layer(job, layer, contextFor(type), type, polarityOf(parsed.report));
    try {
        registerSymbols(job, step, layer, parsed.tables, features);
        if (!features.empty()) KERNEL::addBuiltFeatures(job, step, layer, features, attributeSets(parsed));
    } catch (const API::KernelText& e) {
        throw API::KernelText(parsed.report.file + ": " + e);
    }
    parsed.report.layer = layer;
    parsed.report.features = static_cast<int>(parsed.features.size());
    for (const API::matrix_info& row : API::get_matrix(job))
        if (row.name == layer) parsed.report.type = row.type;
}

}  // namespace

void commitParsed(const std::string& job, const std::string& step, const std::string& layer,
                  const std::string& type, ParsedFile& parsed, BuiltFeatures* built) {
    checkStep(job, step, parsed);
    if (!built) {
        std::vector<KERNEL::ParsedFeature> features = buildFeatures(parsed);
        return storeBuilt(job, step, layer, type, parsed, features);
    }
    if (built->refused) std::rethrow_exception(built->refused);
    storeBuilt(job, step, layer, type, parsed, built->features);
}

}  // namespace DETAIL

using namespace DETAIL;

namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool contains(const std::string& s, const char* what) { return s.find(what) != std::string::npos; }

std::string extension(const std::string& file_name) {
    std::string base = lower(file_name.substr(file_name.find_last_of("/\\") + 1));
    size_t dot = base.rfind('.');
    return dot == std::string::npos ? std::string() : base.substr(dot + 1);
}

bool guessFromFunction(const std::string& function, layer_guess& g) {
    const std::string f = lower(function);
    if (f.empty()) return false;
    if (contains(f, "profile")) g = {"document", true};
    else if (contains(f, "copper") || contains(f, "plane"))
        g.type = contains(f, ",plane") ? "power_ground" : contains(f, ",mixed") ? "mixed" : "signal";
    else if (contains(f, "soldermask")) g.type = "solder_mask";
    else if (contains(f, "legend")) g.type = "silk_screen";
    else if (contains(f, "paste")) g.type = "solder_paste";
    else if (contains(f, "plated") || contains(f, "drill")) g.type = contains(f, "rout") ? "rout" : "drill";
    else g.type = "document";
    return true;
}

// `stem` is `prefix` followed by one or more digits only: "l3", "layer12".
bool numbered(const std::string& stem, const char* prefix) {
    const std::string p(prefix);
    if (stem.size() <= p.size() || stem.compare(0, p.size(), p) != 0) return false;
    return std::all_of(stem.begin() + long(p.size()), stem.end(), isDigit);
}

// Names older CAD tools and bureaus write without a telling extension: copper
// numbered from the top, planes by their net, and the German names for stop
// mask ("Stopp") and silk screen ("Siebdruck").
layer_guess guessFromStem(const std::string& stem) {
    if (numbered(stem, "l") || numbered(stem, "layer") || numbered(stem, "in")) return {"signal", false};
    if (numbered(stem, "pow") || numbered(stem, "gnd") || stem == "gnd" || stem == "pow" || stem == "pwr" ||
        stem == "vcc" || contains(stem, "plane"))
        return {"power_ground", false};
    if (numbered(stem, "stp") || stem == "stp") return {"solder_mask", false};
    if (numbered(stem, "sieb") || stem == "sieb") return {"silk_screen", false};
    return {"document", false};
}

layer_guess guessFromName(const std::string& file_name) {
    const std::string ext = extension(file_name);
    const std::string name = lower(file_name.substr(file_name.find_last_of("/\\") + 1));
    static const std::map<std::string, std::string> byExtension = {
        {"gtl", "signal"},       {"gbl", "signal"},       {"cmp", "signal"},
        {"sol", "signal"},       {"gts", "solder_mask"},  {"gbs", "solder_mask"},
        {"stc", "solder_mask"},  {"sts", "solder_mask"},  {"gto", "silk_screen"},
        {"gbo", "silk_screen"},  {"plc", "silk_screen"},  {"pls", "silk_screen"},
        {"gtp", "solder_paste"}, {"gbp", "solder_paste"}, {"crc", "solder_paste"},
        {"crs", "solder_paste"}, {"drl", "drill"},        {"xln", "drill"},
        {"exc", "drill"},        {"drd", "drill"},        {"rou", "rout"},
        {"rout", "rout"},        {"slk", "silk_screen"}};
    if (ext == "gko" || ext == "gm1" || ext == "gml" || ext == "gm" || contains(name, "outline") ||
        contains(name, "edge_cuts") || contains(name, "edge.cuts") || contains(name, "profile"))
        return {"document", true};
    auto it = byExtension.find(ext);
    if (it != byExtension.end()) return {it->second, false};
    if (ext.size() >= 2 && ext[0] == 'g' && (isDigit(ext[1]) ||
                                             (ext[1] == 'l' && ext.size() > 2)))
        return {"signal", false};  // inner copper: .g1, .g2, .gl2 ...
    if (contains(name, "rout") || contains(name, "mill")) return {"rout", false};
    if (contains(name, "drill") || contains(name, "npth") || contains(name, "pth")) return {"drill", false};
    if (contains(name, "mask") || contains(name, "stop")) return {"solder_mask", false};
    if (contains(name, "silk") || contains(name, "legend")) return {"silk_screen", false};
    if (contains(name, "paste")) return {"solder_paste", false};
    if (contains(name, "copper") || contains(name, "_cu") || contains(name, "top") ||
        contains(name, "bottom") || contains(name, "inner"))
        return {"signal", false};
    return guessFromStem(name.substr(0, name.rfind('.')));
}

// Closed loops of the layer's lines and arcs chained end to end, and its
// surfaces' first contours; the one enclosing the largest area.
using Loop = std::vector<API::lPoint>;

double area(const Loop& loop) {
    double a = 0;
    for (size_t i = 0, n = loop.size(); i < n; ++i)
        a += loop[i].x * loop[(i + 1) % n].y - loop[(i + 1) % n].x * loop[i].y;
    return std::fabs(a) / 2;
}

constexpr double kJoin = 10000.0;  // 10 um: rounding of the file's format

bool near(const API::lPoint& a, const API::lPoint& b) { return std::hypot(a.x - b.x, a.y - b.y) <= kJoin; }

// The ends of the paths in cells of the join distance, so that the path to
// join at a point is found among its neighbours, not among all paths: an
// outline of many thousand segments chains in linear time.
class PathEnds {
public:
    static constexpr size_t kNone = size_t(-1);

    explicit PathEnds(const std::vector<Loop>& paths) : m_paths(paths) {
        for (size_t i = 0; i < paths.size(); ++i) {
            add(paths[i].front(), i);
            if (!sameCell(paths[i].front(), paths[i].back())) add(paths[i].back(), i);
        }
    }

    // The first path in file order not used yet with an end near `p`.
    size_t next(const API::lPoint& p, const std::vector<bool>& used) {
        size_t best = kNone;
        const long long cx = cell(p.x), cy = cell(p.y);
        for (long long dx = -1; dx <= 1; ++dx)
            for (long long dy = -1; dy <= 1; ++dy) {
                auto it = m_cells.find(key(cx + dx, cy + dy));
                if (it == m_cells.end()) continue;
                Cell& c = it->second;
                // Entries are in file order: the used ones gather at the front.
                while (c.first < c.paths.size() && used[c.paths[c.first]]) ++c.first;
                for (size_t k = c.first; k < c.paths.size() && c.paths[k] < best; ++k) {
                    const size_t i = c.paths[k];
                    if (!used[i] && (near(m_paths[i].front(), p) || near(m_paths[i].back(), p))) best = i;
                }
            }
        return best;
    }

private:
    struct Cell {
        std::vector<size_t> paths;
        size_t first = 0;
    };
    static long long cell(double v) { return static_cast<long long>(std::floor(v / kJoin)); }
    static uint64_t key(long long x, long long y) {
        return (static_cast<uint64_t>(static_cast<uint32_t>(x)) << 32) | static_cast<uint32_t>(y);
    }
    static bool sameCell(const API::lPoint& a, const API::lPoint& b) {
        return cell(a.x) == cell(b.x) && cell(a.y) == cell(b.y);
    }
    void add(const API::lPoint& p, size_t i) { m_cells[key(cell(p.x), cell(p.y))].paths.push_back(i); }

    const std::vector<Loop>& m_paths;
    std::unordered_map<uint64_t, Cell> m_cells;
};

std::vector<Loop> chainLoops(const std::vector<Feat>& features) {
    std::vector<Loop> paths;  // each: its points in order
    for (const Feat& f : features) {
        if (f.kind == Feat::Line) paths.push_back({{f.x1, f.y1}, {f.x2, f.y2}});
        if (f.kind == Feat::Arc) {
            Loop p{{f.x1, f.y1}};
            for (const API::lPoint& q : arcPoints(f.x1, f.y1, f.x2, f.y2, f.xc, f.yc, f.cw)) p.push_back(q);
            paths.push_back(std::move(p));
        }
    }
    std::vector<Loop> loops;
    std::vector<bool> used(paths.size(), false);
    PathEnds ends(paths);
    for (size_t start = 0; start < paths.size(); ++start) {
        if (used[start]) continue;
        used[start] = true;
        Loop loop = paths[start];
        while (!near(loop.front(), loop.back())) {
            const size_t i = ends.next(loop.back(), used);
            if (i == PathEnds::kNone) break;
            const Loop& p = paths[i];
            // Joined by whichever end is near; from the back when both are.
            if (near(p.back(), loop.back())) loop.insert(loop.end(), p.rbegin() + 1, p.rend());
            else loop.insert(loop.end(), p.begin() + 1, p.end());
            used[i] = true;
        }
        if (loop.size() > 3 && near(loop.front(), loop.back())) {
            loop.pop_back();
            loops.push_back(std::move(loop));
        }
    }
    for (const Feat& f : features) {
        if (f.kind != Feat::Surface || f.points.empty()) continue;
        Loop loop{f.points.front()};
        for (size_t i = 1; i < f.points.size() && !(f.points[i].x == loop.front().x && f.points[i].y == loop.front().y); ++i)
            loop.push_back(f.points[i]);
        if (loop.size() >= 3) loops.push_back(std::move(loop));
    }
    return loops;
}

std::string uniqueLayerName(const std::string& wanted, std::set<std::string>& taken) {
    std::string name = wanted.empty() ? "layer" : wanted;
    for (int i = 2; taken.count(name); ++i) name = (wanted.empty() ? "layer" : wanted) + "_" + std::to_string(i);
    taken.insert(name);
    return name;
}

ParsedFile parseAny(const import_file& f) {
    const std::string format = detect_format(f.text);
    ParsedFile parsed;
    if (format == "gerber") parsed = parseGerber(f.text, f.name);
    else if (format == "excellon") parsed = parseExcellon(f.text, f.name);
    else throw API::KernelText(f.name + ": neither a Gerber nor an Excellon file");
    parsed.report.format = format;
    return parsed;
}

// The files of a job read on the calling thread and one more, while the
// calling thread stores them in file order as they come: a reader touches
// no job, only its own text, so the reading of one file overlaps the storing
// of the one before.
class Readings {
public:
    explicit Readings(const std::vector<import_file>& files)
        : m_files(files), m_parsed(files.size()), m_built(files.size()), m_failed(files.size()),
          m_done(files.size(), false) {
        if (files.size() > 1 && std::thread::hardware_concurrency() > 1) {
            try {
                m_helper = std::thread([this] {
                    while (readOne()) {
                    }
                });
            } catch (const std::system_error&) {
                // no thread to be had: the calling thread reads them all
            }
        }
    }
    ~Readings() {
        stop();
        if (m_helper.joinable()) m_helper.join();
    }

    // File i, read; its reader's failure is thrown.
    ParsedFile& await(size_t i) {
        while (!isDone(i)) {
            if (readOne()) continue;
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [&] { return bool(m_done[i]); });
        }
        if (m_failed[i]) std::rethrow_exception(m_failed[i]);
        return m_parsed[i];
    }
    // The kernel's features of file i, once it is read.
    BuiltFeatures& built(size_t i) { return m_built[i]; }
    // Throws the failure of the first file in order that cannot be read, if
    // any: reading fails an import before storing does, as when every file
    // was read before the first was stored.
    void throwFirstFailure() {
        for (size_t i = 0; i < m_files.size(); ++i) await(i);
    }
    // No more files are started.
    void stop() { m_next = m_files.size(); }

private:
    bool isDone(size_t i) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_done[i];
    }
    // Reads the next file nobody has started; false when none is left.
    bool readOne() {
        const size_t i = m_next++;
        if (i >= m_files.size()) return false;
        try {
            m_parsed[i] = parseAny(m_files[i]);
            m_built[i] = buildAhead(m_parsed[i]);
        } catch (...) {
            m_failed[i] = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done[i] = true;
        }
        m_changed.notify_all();
        return true;
    }

    const std::vector<import_file>& m_files;
    std::vector<ParsedFile> m_parsed;
    std::vector<BuiltFeatures> m_built;
    std::vector<std::exception_ptr> m_failed;
    std::vector<bool> m_done;  // guarded by m_mutex
    std::atomic<size_t> m_next{0};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::thread m_helper;  // last: it starts once the rest is in place
};

}  // namespace

size_t set_import_budget(size_t bytes) { return DETAIL::importBudget.exchange(bytes); }

std::string detect_format(const std::string& text) {
    const std::string head = text.substr(0, 4096);
    if (contains(head, "%FS") || contains(head, "%MO") || contains(head, "%AD") ||
        contains(head, "%TF") || (contains(head, "G04") && contains(head, "*")))
        return "gerber";
    if (contains(head, "M48") || contains(head, "METRIC") || contains(head, "INCH") ||
        contains(head, ";FILE_FORMAT"))
        return "excellon";
    // A header-less drill file: tool selections and hits, one per line.
    bool tool = false, hit = false;
    size_t pos = 0;
    while (pos < head.size()) {
        size_t end = head.find('\n', pos);
        if (end == std::string::npos) end = head.size();
        const std::string line = head.substr(pos, end - pos);
        if (line.size() > 1 && line[0] == 'T' && isDigit(line[1])) tool = true;
        if (line.size() > 1 && (line[0] == 'X' || line[0] == 'Y') && !contains(line, "*")) hit = true;
        pos = end + 1;
    }
    return tool && hit ? "excellon" : "";
}

layer_guess guess_layer(const std::string& file_name, const std::string& x2_file_function) {
    layer_guess g;
    if (guessFromFunction(x2_file_function, g)) return g;
    return guessFromName(file_name);
}

std::string guess_layer_type(const std::string& file_name, const std::string& x2_file_function) {
    return guess_layer(file_name, x2_file_function).type;
}

std::string layer_name_for(const std::string& file_name) {
    std::string base = file_name.substr(file_name.find_last_of("/\\") + 1);
    size_t dot = base.rfind('.');
    if (dot != std::string::npos && dot > 0) base.erase(dot);
    for (char& c : base)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
    return lower(base);
}

namespace {

// Stores the parsed file; its features stay readable afterwards (the whole-job
// import chains the outline layer's into the profile).
import_report importInto(const std::string& job, const std::string& step, const std::string& layer,
                         ParsedFile& parsed, const char* format, BuiltFeatures* built = nullptr) {
    parsed.report.format = format;
    const layer_guess g = guess_layer(parsed.report.file, parsed.fileFunction);
    parsed.report.outline = g.outline;
    commitParsed(job, step, layer, g.type, parsed, built);
    return parsed.report;
}

void requireFormat(const std::string& text, const std::string& file, const char* wanted) {
    const std::string format = detect_format(text);
    if (format.empty()) throw API::KernelText(file + ": neither a Gerber nor an Excellon file");
    if (format != wanted) throw API::KernelText(file + ": a " + format + " file, not " + wanted);
}

}  // namespace

import_report import_gerber(const std::string& job, const std::string& step, const std::string& layer,
                            const std::string& text, const std::string& file_name) {
    requireFormat(text, file_name, "gerber");
    ParsedFile parsed = parseGerber(text, file_name);
    return importInto(job, step, layer, parsed, "gerber");
}

import_report import_excellon(const std::string& job, const std::string& step, const std::string& layer,
                              const std::string& text, const std::string& file_name) {
    requireFormat(text, file_name, "excellon");
    ParsedFile parsed = parseExcellon(text, file_name);
    return importInto(job, step, layer, parsed, "excellon");
}

std::vector<import_report> import_job(const std::string& job, const std::vector<import_file>& files) {
    if (JOB::job_exists(job)) throw API::KernelText("job '" + job + "' exists already");
    Readings readings(files);
    try {
        JOB::create_job(job);
    } catch (...) {
        readings.throwFirstFailure();
        throw;
    }
    std::vector<import_report> reports;
    try {
        JOB::create_step(job, "pcb");
        std::set<std::string> taken;
        const ParsedFile* outline = nullptr;
        size_t outlineReport = 0;
        for (size_t i = 0; i < files.size(); ++i) {
            ParsedFile& parsed = readings.await(i);
            const std::string layer = uniqueLayerName(layer_name_for(files[i].name), taken);
            try {
                reports.push_back(importInto(job, "pcb", layer, parsed, parsed.report.format == "gerber" ? "gerber" : "excellon",
                                             &readings.built(i)));
            } catch (...) {
                readings.throwFirstFailure();
                throw;
            }
            if (reports.back().outline && !outline) {
                outline = &parsed;
                outlineReport = i;
            }
        }
        if (outline) {
            std::vector<Loop> loops = chainLoops(outline->features);
            auto best = std::max_element(loops.begin(), loops.end(),
                                         [](const Loop& a, const Loop& b) { return area(a) < area(b); });
            if (best != loops.end()) JOB::set_profile(job, "pcb", *best);
            else reports[outlineReport].warnings.push_back("the outline layer holds no closed outline: no profile set");
        }
    } catch (...) {
        readings.stop();
        JOB::delete_job(job);
        throw;
    }
    return reports;
}

}  // namespace IMPORT
}  // namespace TOLVA
