// Generated boards.
#include <gtest/gtest.h>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

TEST(Generate, ExactFeatureCountsSpreadOverTheLayers) {
    struct Case {
        long features;
        int signal;
        long perSignal;  // features of each signal layer
    };
    const Case cases[] = {{100000, 6, 10000}, {12345, 6, 1234}, {7, 2, 1}, {0, 6, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.features);
        if (JOB::job_exists("g")) JOB::delete_job("g");
        JOB::generate_params p;
        p.features = c.features;
        p.signal_layers = c.signal;
        JOB::generate_job("g", "pcb", p);
        auto m = API::get_matrix("g");
        ASSERT_EQ(m.size(), size_t(c.signal + 4));
        long total = 0;
        for (const auto& row : m) {
            int n = JOB::feature_count("g", "pcb", row.name);
            total += n;
            if (row.type == "signal") {
                EXPECT_EQ(n, c.perSignal) << row.name;
            }
        }
        EXPECT_EQ(total, c.features);
        EXPECT_TRUE(API::has_profile("g", "pcb"));
        EXPECT_EQ(API::profile_box("g", "pcb"), (API::reply_box{0, 0, 300000000, 200000000}));
    }
}

TEST(Generate, TheBoardHoldsEveryKindAndStaysInsideTheProfile) {
    if (JOB::job_exists("g2")) JOB::delete_job("g2");
    JOB::generate_params p;
    p.features = 20000;
    JOB::generate_job("g2", "pcb", p);
    std::map<int, int> kinds;
    int negative = 0;
    for (const auto& f : kt::snapshot("g2")) {
        ++kinds[f.type];
        negative += f.polarity == API::POL_NEGATIVE;
        EXPECT_GE(f.xs, 0);
        EXPECT_LE(f.xs, p.width_nm);
    }
    for (int t : {API::FT_LINE, API::FT_PAD, API::FT_ARC, API::FT_SURFACE, API::FT_TEXT}) EXPECT_GT(kinds[t], 0) << t;
    EXPECT_GT(negative, 0);
    auto g = API::get_graphics("g2");
    EXPECT_TRUE(std::any_of(g.begin(), g.end(), [](const API::graphic_info& i) { return i.kind == "rout"; }));
    // Rout features carry the chain attributes.
    API::featureInfo f;
    ASSERT_TRUE(API::get_featureinfo_by_index("g2", "pcb", "rout", 0, f));
    EXPECT_EQ(f.attributes.count(".rout_chain"), 1u);
}

TEST(Generate, BadParametersThrowAndLeaveNoJob) {
    JOB::generate_params p;
    p.features = -1;
    EXPECT_THROW(JOB::generate_job("bad", "pcb", p), API::KernelText);
    p.features = 10;
    p.width_nm = -5;
    EXPECT_THROW(JOB::generate_job("bad", "pcb", p), API::KernelText);
    EXPECT_FALSE(JOB::job_exists("bad"));
}

}  // namespace
