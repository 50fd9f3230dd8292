// Check results stored with the job: sets per step, saved and loaded with it.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <fstream>
#include <limits>
#include <sstream>

#include "TOLVA_Results.h"
#include "kernel_test_util.h"

using namespace TOLVA;
using CHECKS::check_result;
namespace fs = std::filesystem;

namespace {

const char* const kJob = "results";

bool sameResult(const check_result& a, const check_result& b) {
    auto ref = [](const MEASURE::feature_ref& f) { return std::make_pair(f.layer, f.index); };
    if (a.features.size() != b.features.size()) return false;
    for (size_t i = 0; i < a.features.size(); ++i)
        if (ref(a.features[i]) != ref(b.features[i])) return false;
    return a.check == b.check && a.level == b.level && a.value == b.value && a.limit == b.limit &&
           a.layers == b.layers && a.location.kind == b.location.kind && a.location.a.x == b.location.a.x &&
           a.location.a.y == b.location.a.y && a.location.b.x == b.location.b.x &&
           a.location.b.y == b.location.b.y;
}

void expectSame(const std::vector<check_result>& a, const std::vector<check_result>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(sameResult(a[i], b[i])) << "result " << i;
}

// Every field set to something other than its default, with values that do
// not survive a careless number format.
std::vector<check_result> sampleResults() {
    check_result a;
    a.check = "spacing \"quoted\"";
    a.level = CHECKS::severity::ERROR;
    a.value = 1234.56789012345;
    a.limit = 1.0 / 3.0;
    a.layers = {"top", "l 2"};
    a.features = {{"top", 7}, {"l 2", 123456}};
    a.location.kind = CHECKS::location_kind::POINTS;
    a.location.a = {-1e9, 0.1};
    a.location.b = {2.5e-3, 999999999.5};
    check_result b;
    b.check = "compare_first_only";
    b.location.kind = CHECKS::location_kind::BOX;
    b.location.a = {10, 20};
    b.location.b = {30, 40};
    return {a, b};
}

class Results : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"top"});
        dir = fs::temp_directory_path() / ("tolva_results_" + std::to_string(::getpid()));
        fs::remove_all(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string saved() {
        std::ifstream in(dir / "job.tolva", std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    void write(const std::string& text) {
        std::ofstream(dir / "job.tolva", std::ios::binary | std::ios::trunc) << text;
    }
    fs::path dir;
};

TEST_F(Results, SetsAreKeptPerStepAndNameAndSurviveSaveAndLoad) {
    JOB::create_step(kJob, "panel");
    RESULTS::set_results(kJob, "pcb", "analysis", sampleResults());
    RESULTS::set_results(kJob, "pcb", "dfm", {});  // ran, found nothing
    RESULTS::set_results(kJob, "panel", "analysis", {sampleResults()[1]});
    EXPECT_EQ(RESULTS::result_sets(kJob, "pcb"), (API::str_list{"analysis", "dfm"}));
    EXPECT_TRUE(RESULTS::get_results(kJob, "pcb", "none").empty());

    check_result hole;  // a result at one point
    hole.check = "min_drill";
    hole.location.kind = CHECKS::location_kind::POINT;
    hole.location.a = {5, -6};
    RESULTS::set_results(kJob, "panel", "drills", {hole});

    JOB::save_job(kJob, dir.string());
    const std::string text = saved();
    JOB::delete_job(kJob);
    ASSERT_EQ(JOB::load_job(dir.string()), kJob);
    expectSame(RESULTS::get_results(kJob, "panel", "drills"), {hole});
    EXPECT_EQ(RESULTS::result_sets(kJob, "pcb"), (API::str_list{"analysis", "dfm"}));
    expectSame(RESULTS::get_results(kJob, "pcb", "analysis"), sampleResults());
    EXPECT_TRUE(RESULTS::get_results(kJob, "pcb", "dfm").empty());
    expectSame(RESULTS::get_results(kJob, "panel", "analysis"), {sampleResults()[1]});
    JOB::save_job(kJob, dir.string());
    EXPECT_EQ(saved(), text);
}

TEST_F(Results, StoringIsUnsavedWorkButNoEdit) {
    const unsigned long long serial = JOB::edit_serial(kJob);
    RESULTS::set_results(kJob, "pcb", "analysis", sampleResults());
    EXPECT_GT(JOB::edit_serial(kJob), serial);
    EXPECT_FALSE(API::undo_last_edit(kJob));  // nothing to undo: the results stay
    EXPECT_EQ(RESULTS::get_results(kJob, "pcb", "analysis").size(), 2u);

    const unsigned long long before = JOB::edit_serial(kJob);
    EXPECT_FALSE(RESULTS::clear_results(kJob, "pcb", "dfm"));
    EXPECT_EQ(JOB::edit_serial(kJob), before);
    EXPECT_TRUE(RESULTS::clear_results(kJob, "pcb", "analysis"));
    EXPECT_GT(JOB::edit_serial(kJob), before);
    EXPECT_TRUE(RESULTS::result_sets(kJob, "pcb").empty());
}

TEST_F(Results, RecordsThatCannotBeSavedAreRefusedAndNothingChanges) {
    RESULTS::set_results(kJob, "pcb", "analysis", sampleResults());
    const unsigned long long serial = JOB::edit_serial(kJob);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        const char* what;
        std::function<void(check_result&)> spoil;
    };
    const std::vector<Case> cases = {
        {"nan value", [&](check_result& r) { r.value = nan; }},
        {"infinite limit", [&](check_result& r) { r.limit = inf; }},
        {"infinite location", [&](check_result& r) { r.location.b.y = -inf; }},
        {"level", [](check_result& r) { r.level = static_cast<CHECKS::severity>(2); }},
        {"location kind", [](check_result& r) { r.location.kind = static_cast<CHECKS::location_kind>(-1); }},
        {"feature layer", [](check_result& r) { r.features.push_back({"", 3}); }},
    };
    for (const Case& c : cases) {
        std::vector<check_result> bad = sampleResults();
        c.spoil(bad[1]);
        EXPECT_THROW(RESULTS::set_results(kJob, "pcb", "analysis", bad), API::KernelText) << c.what;
    }
    EXPECT_THROW(RESULTS::set_results(kJob, "pcb", "", {}), API::KernelText);
    EXPECT_THROW(RESULTS::set_results(kJob, "nostep", "analysis", {}), API::KernelText);
    EXPECT_THROW(RESULTS::get_results("nojob", "pcb", "analysis"), API::KernelText);
    expectSame(RESULTS::get_results(kJob, "pcb", "analysis"), sampleResults());
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

TEST_F(Results, CorruptResultLinesAreRefusedWithTheirLine) {
    RESULTS::set_results(kJob, "pcb", "analysis", sampleResults());
    JOB::save_job(kJob, dir.string());
    const std::string good = saved();
    const size_t at = good.find("results \"analysis\" 2\n");
    ASSERT_NE(at, std::string::npos);
    const size_t first = good.find('\n', at) + 1;   // the first R line
    const size_t second = good.find('\n', first) + 1;
    const size_t third = good.find('\n', second) + 1;
    const std::string r1 = good.substr(first, second - first);
    auto replaceFirst = [&](const std::string& from, const std::string& to) {
        std::string t = good;
        const size_t p = t.find(from, first);
        t.replace(p, from.size(), to);
        return t;
    };
    struct Case {
        const char* what;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"level 2", replaceFirst("\" 1 ", "\" 2 ")},
        {"nan value", replaceFirst("1234.56789012345", "nan")},
        {"section cut short", good.substr(0, second) + good.substr(third)},
        {"result outside a section", good.substr(0, at) + r1 + good.substr(at)},
        {"count beyond the file", replaceFirst("", "").replace(at, 21, "results \"analysis\" 99999999\n")},
        {"set twice", good.substr(0, third) + good.substr(at, third - at) + good.substr(third)},
        {"kind 3", replaceFirst(" 123456 1 ", " 123456 3 ")},
        {"a feature naming no layer", replaceFirst("\"top\" 7 ", "\"\" 7 ")},
    };
    JOB::delete_job(kJob);
    for (const Case& c : cases) {
        write(c.text);
        try {
            JOB::load_job(dir.string());
            ADD_FAILURE() << c.what << " loaded";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find("job.tolva:"), std::string::npos) << c.what << ": " << e;
        }
        EXPECT_FALSE(JOB::job_exists(kJob)) << c.what;
    }
    write(good);
    EXPECT_EQ(JOB::load_job(dir.string()), kJob);
}

}  // namespace
