#pragma once
// Shared pieces of the Gerber and Excellon readers. Internal to the library.
//
// A reader turns the text into a ParsedFile (features in nanometres, symbol
// names, attributes) without touching any job; commitParsed then registers
// the symbols and adds every feature in one AddFeatures call.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TOLVA_Import.h"

namespace TOLVA {
namespace IMPORT {
namespace DETAIL {

// Symbol names and attribute sets of one file, each kept once: a file
// strokes and flashes few apertures many times, and its features refer to
// them by index.
class FileTables {
public:
    // The index of the name, added at its first use.
    int symbol(const std::string& name);
    const std::string& symbolName(int index) const { return symbols_[static_cast<size_t>(index)]; }
    size_t symbolCount() const { return symbols_.size(); }
    // The index of the set; 0 is the empty set.
    uint32_t attributes(const API::attr_map& set);
    const API::attr_map& attributeSet(uint32_t index) const { return attrSets_[index]; }

private:
    std::vector<std::string> symbols_;
    std::unordered_map<std::string, int> symbolIndex_;
    std::vector<API::attr_map> attrSets_{API::attr_map{}};
    std::map<API::attr_map, uint32_t> attrIndex_{{API::attr_map{}, 0u}};
};

struct Feat {
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0, xc = 0, yc = 0;
    // Surface contours, each closed by repeating its first point.
    std::vector<API::lPoint> points;
    int symbol = -1;     // in the file's tables; -1 for surfaces
    uint32_t attrs = 0;  // the set in the file's tables
    int dcode = 0;
    int angle = 0;
    enum Kind : uint8_t { Line, Pad, Arc, Surface } kind = Line;
    bool cw = false;
    bool positive = true;
    bool mirror = false;
};

struct ParsedFile {
    std::vector<Feat> features;
    FileTables tables;
    import_report report;
    std::string fileFunction;  // X2 .FileFunction, "" when absent
};

// Limits of what one file may produce: the kernel's coordinate range, and
// a bound on features so that no input grows without end.
constexpr double kMaxImportCoordinate = 1.0e9;
constexpr size_t kMaxImportFeatures = 20000000;

// What the features of one file cost the reader in memory, held against the
// import budget. Expansions check what they are about to make before making
// it, so that a refused file never reaches the allocator.
extern std::atomic<size_t> importBudget;
class Budget {
public:
    explicit Budget(const FileTables& tables);
    // Spends one feature's cost; faults past the budget.
    void take(const Feat& f) {
        const size_t each = bytesOf(f);
        if (each <= limit_ - std::min(spent_, limit_)) spent_ += each;
        else spend(1, each);  // faults
    }
    // Faults when `copies` more of something costing `each` would not fit.
    void expect(size_t copies, size_t each) const;
    void spend(size_t copies, size_t each) {
        expect(copies, each);
        spent_ += copies * each;
    }
    size_t bytesOf(const Feat& f) const {
        return f.points.empty() && f.attrs == 0 ? kRecordBytes : bytesWithShape(f);
    }
    size_t bytesOf(const std::vector<Feat>& features) const;

private:
    // A feature is held twice on its way into the job: as the reader's
    // record and as the kernel's built feature.
    static const size_t kRecordBytes;
    size_t bytesWithShape(const Feat& f) const;
    const FileTables& tables_;
    size_t limit_;
    size_t spent_ = 0;
};

// A fault found below the line or command level; the reader adds file and line.
struct Fault {
    std::string what;
};
[[noreturn]] void fault(const std::string& what);

// Faults on control bytes other than tab and carriage return, on DEL, and on
// bytes above 0x7f unless the text may hold UTF-8 (comments, attributes).
void checkBytes(const std::string& text, bool utf8);

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
// Characters of a number word: digits, sign, decimal point.
inline bool isNumberChar(char c) { return isDigit(c) || c == '.' || c == '-' || c == '+'; }
// A number written as digits with at most one decimal point and one leading
// sign ("-0012.50", "+.5", "7."), read as the C library reads it; false for
// any other text, and for a value a double cannot hold.
bool plainDecimal(std::string_view s, double& value);
// Faults naming `what` when a point lies outside the kernel's range.
void checkRange(double x, double y, const std::string& what);

// Adds "line <n>: <what>" to the report, up to a bound.
void addWarning(import_report& report, int line, const std::string& what);

// Throws "<file>:<line>: <what>".
[[noreturn]] void fileError(const std::string& file, int line, const std::string& what);

// A size in nanometres as micrometres in a symbol name: "250", "12.5",
// "0.001"; the nanometre is kept, sizes below it become one nanometre.
std::string micrometres(double nm);

// A decimal integer (sign allowed), saturated to +-1e9 instead of overflowing.
int smallNumber(const std::string& digits);

// Points along an arc from (xs, ys) to (xe, ye) about (xc, yc), the start
// excluded, the end included; a full circle when start and end coincide.
std::vector<API::lPoint> arcPoints(double xs, double ys, double xe, double ye, double xc,
                                   double yc, bool cw);
// How many segments a full circle of that radius takes.
int circleSegments(double radius);

ParsedFile parseGerber(const std::string& text, const std::string& file);
ParsedFile parseExcellon(const std::string& text, const std::string& file);

// The kernel's features of a parsed file, built ahead of storing it, or why
// the kernel would refuse them: thrown when the file is stored.
struct BuiltFeatures;
BuiltFeatures buildAhead(ParsedFile& parsed);

// Creates the layer if missing (typed by `type`) and stores the features,
// built ahead or, without `built`, built now.
void commitParsed(const std::string& job, const std::string& step, const std::string& layer,
                  const std::string& type, ParsedFile& parsed, BuiltFeatures* built = nullptr);

}  // namespace DETAIL
}  // namespace IMPORT
}  // namespace TOLVA
