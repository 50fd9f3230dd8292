// Check results stored with the job, per step and named set, and their line
// in the saved job (FORMATS.md, "Saved jobs").
#include "TOLVA_Results.h"

#include <cmath>

#include "codec.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

using CHECKS::check_result;
using CHECKS::location_kind;
using CHECKS::severity;

namespace {

void checkStored(double v, const char* what) {
    if (!std::isfinite(v)) fail(std::string("a result's ") + what + " is not finite");
}

int levelCode(severity s) { return static_cast<int>(s); }
int kindCode(location_kind k) { return static_cast<int>(k); }

severity levelOf(long long v) {
    if (v != levelCode(severity::WARNING) && v != levelCode(severity::ERROR))
        fail("result level " + std::to_string(v) + " is neither 0 (warning) nor 1 (error)");
    return static_cast<severity>(v);
}

location_kind kindOf(long long v) {
    if (v < kindCode(location_kind::POINT) || v > kindCode(location_kind::BOX))
        fail("result location kind " + std::to_string(v) + " is not 0, 1 or 2");
    return static_cast<location_kind>(v);
}

// A record must read back exactly as it was stored.
void validateResult(const check_result& r) {
    levelOf(levelCode(r.level));
    kindOf(kindCode(r.location.kind));
    checkStored(r.value, "value");
    checkStored(r.limit, "limit");
    for (double v : {r.location.a.x, r.location.a.y, r.location.b.x, r.location.b.y}) checkStored(v, "location");
    for (const MEASURE::feature_ref& f : r.features)
        if (f.layer.empty()) fail("a result's feature " + std::to_string(f.index) + " names no layer");
}

long long countOf(TokenReader& r, const char* what) {
    const long long n = r.integer();
    if (n < 0 || n > 1000000) fail(std::string(what) + " count " + std::to_string(n) + " is out of range");
    return n;
}

}  // namespace

// R "<check>" <level> <value> <limit> <n> "<layer>"... <m> ("<layer>" <index>)... <kind> <ax> <ay> <bx> <by>
std::string resultLine(const check_result& r) {
    TokenWriter w;
    w.word("R").quoted(r.check).integer(levelCode(r.level)).number(r.value).number(r.limit);
    w.integer(static_cast<long long>(r.layers.size()));
    for (const std::string& l : r.layers) w.quoted(l);
    w.integer(static_cast<long long>(r.features.size()));
    for (const MEASURE::feature_ref& f : r.features) w.quoted(f.layer).integer(f.index);
    w.integer(kindCode(r.location.kind));
    w.number(r.location.a.x).number(r.location.a.y).number(r.location.b.x).number(r.location.b.y);
    return w.take();
}

check_result parseResultLine(const std::string& line) {
    TokenReader r(line);
    r.expectWord("R");
    check_result out;
    out.check = r.quoted();
    out.level = levelOf(r.integer());
    out.value = r.number();
    out.limit = r.number();
    for (long long n = countOf(r, "result layer"); n > 0; --n) out.layers.push_back(r.quoted());
    for (long long n = countOf(r, "result feature"); n > 0; --n) {
        MEASURE::feature_ref f;
        f.layer = r.quoted();
        f.index = r.int32();
        out.features.push_back(std::move(f));
    }
    out.location.kind = kindOf(r.integer());
    out.location.a.x = r.number();
    out.location.a.y = r.number();
    out.location.b.x = r.number();
    out.location.b.y = r.number();
    r.expectEnd();
    validateResult(out);
    return out;
}

}  // namespace KERNEL

namespace RESULTS {

using namespace KERNEL;

namespace {

void checkSetName(const str& set) {
    if (set.empty()) fail("empty result set name");
}

}  // namespace

void set_results(const str& job, const str& step, const str& set,
                 const std::vector<CHECKS::check_result>& results) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    checkSetName(set);
    for (const CHECKS::check_result& r : results) validateResult(r);
    s.results[set] = results;
    ++j.editSerial;
}

std::vector<CHECKS::check_result> get_results(const str& job, const str& step, const str& set) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = findStep(j, step);
    const auto it = s.results.find(set);
    return it == s.results.end() ? std::vector<CHECKS::check_result>{} : it->second;
}

bool clear_results(const str& job, const str& step, const str& set) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    if (s.results.erase(set) == 0) return false;
    ++j.editSerial;
    return true;
}

str_list result_sets(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = findStep(j, step);
    str_list out;
    for (const auto& kv : s.results) out.push_back(kv.first);
    return out;
}

}  // namespace RESULTS
}  // namespace TOLVA
