// Layer types guessed from the names of fabrication files that carry no
// file function.
#include <gtest/gtest.h>

#include "TOLVA_Import.h"
#include "TOLVA_Job.h"

using namespace TOLVA;

TEST(LayerTyping, NamesWithoutATellingExtension) {
    struct Case {
        const char* file;
        const char* type;
    };
    const Case cases[] = {
        {"ekf2/l0.grb", "signal"},       {"ekf2/l5.grb", "signal"},      {"layer12.gbr", "signal"},
        {"in2.gbr", "signal"},           {"gnd.grb", "power_ground"},    {"pow3.grb", "power_ground"},
        {"vcc.gbr", "power_ground"},     {"gnd_plane.art", "power_ground"},    {"stp0.grb", "solder_mask"},
        {"solderstop_top.gbr", "solder_mask"},                           {"sieb1.grb", "silk_screen"},
        {"board.slk", "silk_screen"},
        // Letters after the prefix are not a layer number.
        {"label.gbr", "document"},       {"l.gbr", "document"},          {"l1a.gbr", "document"},
        {"resplan.grb", "document"},     {"d1.grb", "document"},         {"stpx.gbr", "document"},
        {"gndtext.gbr", "document"},
    };
    for (const Case& c : cases) {
        const IMPORT::layer_guess g = IMPORT::guess_layer(c.file, "");
        EXPECT_EQ(g.type, c.type) << c.file;
        EXPECT_FALSE(g.outline) << c.file << " is no outline";
    }
}

// The file function decides before the name, copper by its kind.
TEST(LayerTyping, CopperKindsFromTheFileFunction) {
    const std::pair<const char*, const char*> cases[] = {
        {"Copper,L1,Top", "signal"},          {"Copper,L2,Inr,Signal", "signal"},
        {"Copper,L3,Inr,Plane", "power_ground"}, {"Copper,L4,Inr,Mixed", "mixed"},
        {"Soldermask,Top", "solder_mask"},    {"Plated,1,4,PTH", "drill"},
    };
    for (const auto& [function, type] : cases) EXPECT_EQ(IMPORT::guess_layer("gnd.gbr", function).type, type) << function;
}

// The outline file's segments come in any order and direction; they are
// chained end to end (within the 10 um a file's format may round away) and
// the largest closed loop becomes the step's profile.
TEST(LayerTyping, TheOutlineIsChainedInAnyOrderIntoTheProfile) {
    const std::string head = "%FSLAX33Y33*%%MOMM*%%ADD10C,0.1*%D10*";
    auto seg = [](int x1, int y1, int x2, int y2) {
        return "X" + std::to_string(x1) + "Y" + std::to_string(y1) + "D02*X" + std::to_string(x2) + "Y" +
               std::to_string(y2) + "D01*";
    };
    struct Case {
        const char* what;
        std::string body;
        bool profile;
        API::reply_box box;
    };
    const Case cases[] = {
        {"shuffled and reversed",
         seg(0, 0, 10000, 0) + seg(0, 5000, 0, 0) + seg(10000, 5000, 10000, 0) + seg(10000, 5000, 0, 5000), true,
         {0, 0, 10000000, 5000000}},
        {"a small loop first, the board after it",
         seg(1000, 1000, 2000, 1000) + seg(2000, 1000, 2000, 2000) + seg(2000, 2000, 1000, 1000) +
             seg(-3000, -1000, 8000, -1000) + seg(8000, 4000, 8000, -1000) + seg(8000, 4000, -3000, 4000) +
             seg(-3000, -1000, -3000, 4000),
         true, {-3000000, -1000000, 8000000, 4000000}},
        {"ends 5 um apart still close", seg(0, 0, 10000, 0) + seg(10000, 0, 10000, 5000) + seg(10000, 5000, 0, 5000) +
                                            seg(0, 5000, 0, 5),
         true, {0, 0, 10000000, 5000000}},
        {"a gap of 50 um leaves it open", seg(0, 0, 10000, 0) + seg(10000, 0, 10000, 5000) + seg(10000, 5000, 0, 5000) +
                                              seg(0, 5000, 0, 50),
         false, {}},
        {"segments all through one point form no loop",
         seg(0, 0, 5000, 0) + seg(0, 0, 0, 5000) + seg(0, 0, -5000, 0) + seg(0, 0, 0, -5000), false, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const char* job = "outlined";
        if (JOB::job_exists(job)) JOB::delete_job(job);
        IMPORT::import_job(job, {{"board.gko", head + c.body + "M02*"}});
        ASSERT_EQ(API::has_profile(job, "pcb"), c.profile);
        if (c.profile) {
            EXPECT_EQ(API::profile_box(job, "pcb"), c.box);
        }
    }
}

// A file that declares a negative image makes a negative layer; its features
// keep their own polarities.
TEST(LayerTyping, ANegativeFileMakesANegativeLayer) {
    const std::string body = "%FSLAX33Y33*%%MOMM*%%ADD10C,0.5*%D10*X1000Y1000D03*M02*";
    const std::pair<const char*, const char*> cases[] = {
        {"%TF.FilePolarity,Negative*%", "negative"}, {"%TF.FilePolarity,Positive*%", "positive"}, {"", "positive"}};
    for (const auto& [attribute, polarity] : cases) {
        const char* job = "polarity";
        if (JOB::job_exists(job)) JOB::delete_job(job);
        IMPORT::import_job(job, {{"gnd.gbr", std::string(attribute) + body}});
        const std::vector<API::matrix_info> rows = API::get_matrix(job);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].polarity, polarity) << attribute;
    }
}
