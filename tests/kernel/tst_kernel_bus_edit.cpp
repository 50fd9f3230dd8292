// Bus edit: five traces between two rows of pads re-spaced across the bus,
// their ends left on their pads, the clearance kept or the edit refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "TOLVA_Attributes.h"
#include "TOLVA_Edit.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "bus_edit";
constexpr double kUm = 1000;
constexpr double kLength = 20000 * kUm;
// The traces' pads (y, micrometres) at x = 0 and x = 20 mm. Trace 2 already
// has jogs: its run is at 800 um.
const std::vector<double> kPadY = {0, 600, 2500, 3000, 4000};

class BusEdit : public ::testing::Test {
public:  // the cases of a table change the bus
    void SetUp() override {
        kt::freshJob(kJob, {"top"});
        bus.clear();
        const int r200 = kt::symbol(kJob, "top", "r200"), r300 = kt::symbol(kJob, "top", "r300");
        for (double y : kPadY)
            for (double x : {0.0, kLength}) kt::add(kJob, "top", API::GreatePadString(x, y * kUm, r300, 1, 0, 0, 1));
        // Each trace carries its net; `drawn` says which way its lines run.
        for (size_t i = 0; i < kPadY.size(); ++i) {
            const double y = kPadY[i];
            const bool backwards = drawn == Backwards || (drawn == Alternating && i % 2);
            const API::attr_map net{{".net", "N" + std::to_string(i + 1)}};
            const auto segment = [&](double x1, double y1, double x2, double y2) {
                bus.push_back(backwards ? line(x2, y2, x1, y1, r200, net) : line(x1, y1, x2, y2, r200, net));
            };
            if (y == 600) {
                segment(0, y, 200, 800);
                segment(200, 800, 19800, 800);
                segment(19800, 800, 20000, y);
            } else {
                segment(0, y, 20000, y);
            }
        }
        r500 = kt::symbol(kJob, "top", "r500");
    }
    int line(double x1, double y1, double x2, double y2, int sym, const API::attr_map& attrs = {}) {
        kt::add(kJob, "top", API::GreateLineString(x1 * kUm, y1 * kUm, x2 * kUm, y2 * kUm, sym, 1, 0), attrs);
        return JOB::feature_count(kJob, "pcb", "top") - 1;
    }
    std::vector<API::featureInfo> lines() {
        std::vector<API::featureInfo> out;
        API::featureInfo f;
        for (int i = 0; API::get_featureinfo_by_index(kJob, "pcb", "top", i, f); ++i)
            if (f.type == API::FT_LINE) out.push_back(f);
        return out;
    }
    EDIT::edit_plan plan(int mode, double pitch, double lower, double upper, double clearance) {
        EDIT::bus_params p;
        p.mode = mode;
        p.pitch = pitch * kUm;
        p.lower = lower * kUm;
        p.upper = upper * kUm;
        p.clearance = clearance * kUm;
        return EDIT::plan_bus(kJob, "pcb", "top", bus, p);
    }
    enum Direction { Forwards, Backwards, Alternating };
    Direction drawn = Forwards;
    std::vector<int> bus;
    int r500 = -1;
};

TEST_F(BusEdit, TracesGetEvenRunsWithTheirEndsOnTheirPadsAndFortyFiveDegreeJogs) {
    struct Case {
        int mode;
        double pitch, lower, upper;
        std::vector<double> runs;  // um, bottom to top
        Direction drawn;
    };
    const Case cases[] = {
        {0, 1000, 0, 0, {60, 1060, 2060, 3060, 4060}, Forwards},  // about the mean of 0, 800, 2500, 3000, 4000
        {1, 0, 0, 0, {0, 1000, 2000, 3000, 4000}, Forwards},      // spread between the outer traces
        {1, 0, -500, 500, {-500, 750, 2000, 3250, 4500}, Forwards},
        // The first trace is the bottom one however the lines were drawn.
        {1, 0, -500, 0, {-500, 625, 1750, 2875, 4000}, Backwards},
        {1, 0, -500, 500, {-500, 750, 2000, 3250, 4500}, Alternating},
    };
    for (const Case& c : cases) {
        drawn = c.drawn;
        SetUp();
        const auto before = kt::snapshot(kJob);
        const EDIT::edit_plan p = plan(c.mode, c.pitch, c.lower, c.upper, 50);
        ASSERT_EQ(p.error, "") << "mode " << c.mode;
        EXPECT_EQ(kt::snapshot(kJob).size(), before.size()) << "a plan leaves the job alone";
        EDIT::apply_plan(kJob, "pcb", p);

        std::vector<double> runs;
        std::map<std::pair<double, double>, int> ends;
        for (const API::featureInfo& f : lines()) {
            EXPECT_EQ(f.symbol, "r200");
            ++ends[{f.xs, f.ys}];
            ++ends[{f.xe, f.ye}];
            if (f.ys == f.ye && std::fabs(f.xe - f.xs) > kLength / 2) {
                runs.push_back(f.ys / kUm);
            } else if (f.ys != f.ye) {
                EXPECT_EQ(std::fabs(f.xe - f.xs), std::fabs(f.ye - f.ys)) << "a jog at 45 degrees";
            }
        }
        std::sort(runs.begin(), runs.end());
        EXPECT_EQ(runs, c.runs) << "mode " << c.mode << " lower " << c.lower;
        std::set<std::pair<double, double>> loose;
        for (const auto& e : ends)
            if (e.second == 1) loose.insert(e.first);
        std::set<std::pair<double, double>> pads;
        for (double y : kPadY)
            for (double x : {0.0, kLength}) pads.insert({x, y * kUm});
        EXPECT_EQ(loose, pads) << "every trace still runs from pad to pad, in one piece";

        API::undo_last_edit(kJob);
        const auto after = kt::snapshot(kJob);
        ASSERT_EQ(after.size(), before.size());
        for (size_t i = 0; i < after.size(); ++i)
            EXPECT_TRUE(after[i].xs == before[i].xs && after[i].ys == before[i].ys && after[i].xe == before[i].xe &&
                        after[i].ye == before[i].ye)
                << "undone, feature " << i;
    }
}

TEST_F(BusEdit, TwoTracesDrawnOppositeWaysStillMakeOneBus) {
    drawn = Alternating;  // trace 1 runs to +x, trace 2 to -x
    SetUp();
    bus.resize(4);  // trace 1 (one line) and trace 2 (three)
    const EDIT::edit_plan p = plan(1, 0, -100, 0, 0);
    ASSERT_EQ(p.error, "");
    EDIT::apply_plan(kJob, "pcb", p);
    std::vector<double> runs;
    for (const API::featureInfo& f : lines())
        if (f.ys == f.ye && std::fabs(f.xe - f.xs) > kLength / 2) runs.push_back(f.ys / kUm);
    std::sort(runs.begin(), runs.end());
    EXPECT_EQ(runs, (std::vector<double>{-100, 800, 2500, 3000, 4000}));
}

TEST_F(BusEdit, ClearanceToOtherCopperIsKeptOrTheOffendingTracesAreNamed) {
    // A pad between the new runs of traces 2 (1000 um) and 3 (2000 um):
    // 170 um from trace 2's edge and 130 um from trace 3's.
    kt::add(kJob, "top", API::GreatePadString(10000 * kUm, 1520 * kUm, r500, 1, 0, 0, 1));
    const std::string obstacle = "feature " + std::to_string(JOB::feature_count(kJob, "pcb", "top") - 1);
    struct Case {
        double clearance;
        bool trace2, trace3;
        const char* obstacleNet;  // trace 3 carries "N3": its own net is not kept away from
    };
    for (const Case& c : {Case{100, false, false, ""}, Case{150, false, true, ""}, Case{200, true, true, ""},
                          Case{200, true, false, "N3"}}) {
        ATTRIBUTES::set_feature_attributes(kJob, "pcb", "top", JOB::feature_count(kJob, "pcb", "top") - 1,
                                    *c.obstacleNet ? API::attr_map{{".net", c.obstacleNet}} : API::attr_map{});
        const EDIT::edit_plan p = plan(1, 0, 0, 0, c.clearance);
        EXPECT_EQ(p.error.find("trace 2 to " + obstacle) != std::string::npos, c.trace2) << c.clearance << ": " << p.error;
        EXPECT_EQ(p.error.find("trace 3 to " + obstacle) != std::string::npos, c.trace3) << c.clearance << ": " << p.error;
        EXPECT_EQ(p.error.empty(), !c.trace2 && !c.trace3);
        EXPECT_EQ(p.add.empty(), !p.error.empty()) << "a refused plan holds nothing";
    }
}

TEST_F(BusEdit, BusesItCannotMakeAreRefusedWithTheReason) {
    const int r200 = kt::symbol(kJob, "top", "r200");
    struct Case {
        const char* name;
        std::function<void(BusEdit&)> change;
        int mode;
        double pitch, lower;
        const char* reason;
    };
    const Case cases[] = {
        {"traces too close", [](BusEdit&) {}, 0, 150, 0, "trace 1 to trace 2"},
        {"zero pitch", [](BusEdit&) {}, 0, 0, 0, "pitch must be more than 0"},
        {"jogs longer than the trace", [](BusEdit&) {}, 1, 0, -15000, "trace 1 is too short"},
        {"one trace", [](BusEdit& t) { t.bus = {t.bus.back()}; }, 1, 0, 0, "at least two traces"},
        {"a pad in the bus", [](BusEdit& t) { t.bus.push_back(0); }, 1, 0, 0, "is not a line"},
        {"a branch", [r200](BusEdit& t) { t.bus.push_back(t.line(200, 800, 100, 1500, r200)); }, 1, 0, 0, "branch"},
        {"a crossing trace", [r200](BusEdit& t) { t.bus.push_back(t.line(30000, 0, 30000, 4000, r200)); }, 1, 0, 0,
         "10 degrees off"},
        // Two traces 21 degrees apart: each is 10.5 degrees off their mean.
        {"a skewed pair",
         [r200](BusEdit& t) {
             t.bus = {t.bus.back(), t.line(0, 9000, 20000, 9000 + 20000 * std::tan(21 * M_PI / 180), r200)};
         },
         1, 0, 0, "10 degrees off"},
        {"every trace on the others", [](BusEdit&) {}, 0, 10, 0, " more"},  // past eight named, the rest counted
    };
    for (const Case& c : cases) {
        SetUp();
        c.change(*this);
        const int before = JOB::feature_count(kJob, "pcb", "top");
        const EDIT::edit_plan p = plan(c.mode, c.pitch, c.lower, 0, 0);
        EXPECT_NE(p.error.find(c.reason), std::string::npos) << c.name << ": " << p.error;
        EXPECT_THROW(EDIT::apply_plan(kJob, "pcb", p), API::KernelText) << c.name;
        EXPECT_EQ(JOB::feature_count(kJob, "pcb", "top"), before) << c.name;
    }
}

}  // namespace
