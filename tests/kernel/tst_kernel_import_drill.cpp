// Excellon import (units, zero modes, formats, tools, slots, rout, repeats,
// plating), layer typing, and importing a whole set of files into a job.
#include <gtest/gtest.h>

#include "TOLVA_Import.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "drills";
const char* const kLayer = "drill";

class DrillImport : public ::testing::Test {
protected:
    void SetUp() override { kt::freshJob(kJob, {}); }

    IMPORT::import_report load(const std::string& text) {
        return IMPORT::import_excellon(kJob, "pcb", kLayer, text, "t.drl");
    }
    std::vector<API::featureInfo> features() {
        std::vector<API::featureInfo> out;
        API::featureInfo f;
        for (int i = 0; API::get_featureinfo_by_index(kJob, "pcb", kLayer, i, f); ++i) out.push_back(f);
        return out;
    }
};

TEST_F(DrillImport, UnitsZeroModesAndFormats) {
    struct Case {
        const char* name;
        const char* header;
        const char* hit;
        double x, y;  // nm
    };
    const Case cases[] = {
        {"metric, trailing zeros kept", "METRIC,TZ", "X1500Y-250", 1.5e6, -0.25e6},
        {"metric, leading zeros kept", "METRIC,LZ", "X0015Y00025", 1.5e6, 0.25e6},
        {"inch, leading zeros kept", "INCH,LZ", "X01Y0015", 25.4e6, 3.81e6},
        {"inch, trailing zeros kept", "INCH,TZ", "X10000Y1500", 25.4e6, 3.81e6},
        {"file format 4:2", ";FILE_FORMAT=4:2\nMETRIC,LZ", "X0012Y0001", 12e6, 1e6},
        {"format template", "METRIC,LZ,00.0000", "X01Y0015", 1e6, 0.15e6},
        {"decimal point", "METRIC", "X1.5Y2.0", 1.5e6, 2e6},
        {"M71 metric", "M71", "X1.5Y2.0", 1.5e6, 2e6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(std::string("M48\n") + c.header + "\nT1C0.5\n%\nT1\n" + c.hit + "\nM30\n");
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0].type, API::FT_PAD);
        EXPECT_DOUBLE_EQ(all[0].xs, c.x);
        EXPECT_DOUBLE_EQ(all[0].ys, c.y);
    }
}

// Tools sized before any unit take the unit the file declares next, as long
// as nothing was drilled in the assumed one.
TEST_F(DrillImport, ToolSizesBeforeTheUnit) {
    struct Case {
        const char* name;
        const char* text;
        const char* symbol;
    };
    const Case cases[] = {
        {"M71 after the header", "M48\nT01C.864\n%\nG90\nM71\nT01\nX40500Y6270\nM30\n", "r864"},
        {"METRIC after the tools", "M48\nT01C.864\nMETRIC\n%\nT01\nX40500Y6270\nM30\n", "r864"},
        {"M72 after the header", "M48\nT01C.034\n%\nM72\nT01\nX40500Y6270\nM30\n", "r863.6"},
        {"no unit at all: inches", "M48\nT01C.034\n%\nT01\nX40500Y6270\nM30\n", "r863.6"},
        {"M71 after a hit: too late", "M48\nT01C.034\n%\nT01\nX40500Y6270\nM71\nM30\n", "r863.6"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(c.text);
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0].symbol, c.symbol);
    }
}

TEST_F(DrillImport, ToolsHitsRepeatsAndPlating) {
    IMPORT::import_report r = load(
        "M48\nINCH,TZ\n;TYPE=PLATED\nT1C0.0125\n;TYPE=NON_PLATED\nT2C0.125\n"
        "; #@! TA.AperFunction,Plated,PTH,ViaDrill\nT3C0.008\n%\n"
        "T1\nX10000Y10000\nY20000\nR3X5000\nT2\nX0Y0\nT3\nX-10000Y0\nM30\n");
    EXPECT_EQ(r.type, "drill");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 7u);
    struct Hit {
        double x, y;  // inch
        const char* symbol;
        const char* drill;
    };
    const Hit hits[] = {
        {1, 1, "r317.5", "plated"},   {1, 2, "r317.5", "plated"},       {1.5, 2, "r317.5", "plated"},
        {2, 2, "r317.5", "plated"},   {2.5, 2, "r317.5", "plated"},     {0, 0, "r3175", "non_plated"},
        {-1, 0, "r203.2", "via"},
    };
    for (size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(all[i].type, API::FT_PAD);
        EXPECT_NEAR(all[i].xs, hits[i].x * 25.4e6, 0.5);
        EXPECT_NEAR(all[i].ys, hits[i].y * 25.4e6, 0.5);
        EXPECT_EQ(all[i].symbol, hits[i].symbol);
        EXPECT_EQ(all[i].attributes.at(".drill"), hits[i].drill);
    }
}

TEST_F(DrillImport, InlineToolsWithoutHeader) {
    load("METRIC\n; caf\xc3\xa9 tools\nT1C0.5\nX1.0Y1.0\nT2C0.8\nX2.0Y1.0\nM30\n");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].symbol, "r500");
    EXPECT_EQ(all[1].symbol, "r800");
    EXPECT_EQ(all[1].xs, 2e6);
}

// A file that defines a T0 drills with it; elsewhere T0 unloads the tool.
TEST_F(DrillImport, ADefinedT0IsATool) {
    load("M48\nMETRIC,TZ\nT0C0.15\nT1C0.3\n%\nT0\nX1.0Y1.0\nT1\nX2.0Y1.0\nM30\n");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].symbol, "r150");
    EXPECT_EQ(all[1].symbol, "r300");
    EXPECT_THROW(load("M48\nMETRIC,TZ\nT1C0.3\n%\nT1\nT0\nX2.0Y1.0\nM30\n"), API::KernelText);
}

TEST_F(DrillImport, HeaderRunningIntoTheBodyEndsThere) {
    IMPORT::import_report r = load("M48\nMETRIC,TZ\nT1C0.5\nT1\nX1000Y2000\nM30\n");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].xs, 1e6);
    EXPECT_EQ(all[0].ys, 2e6);
    EXPECT_FALSE(r.warnings.empty());
}

TEST_F(DrillImport, SlotsAndRoutPaths) {
    load("M48\nMETRIC\nT1C1.0\n%\nT1\nX1.0Y1.0G85X3.0Y1.0\n"
         "G00X0Y0\nM15\nG01X5.0Y0\nG02X6.0Y1.0A1.0\nG03X7.0Y2.0I0J1.0\nM16\n"
         "G00X10.0Y0\nM15\nG01X12.0Y0\nM17\nM30\n");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 5u);
    struct Expect {
        int type;
        double xs, ys, xe, ye, xc, yc;  // mm
        const char* direction;
        const char* chain;
    };
    const Expect want[] = {
        {API::FT_LINE, 1, 1, 3, 1, 0, 0, "", nullptr},
        {API::FT_LINE, 0, 0, 5, 0, 0, 0, "", "1"},
        {API::FT_ARC, 5, 0, 6, 1, 6, 0, "CW", "1"},   // the shorter way round: centre right of the chord
        {API::FT_ARC, 6, 1, 7, 2, 6, 2, "CCW", "1"},
        {API::FT_LINE, 10, 0, 12, 0, 0, 0, "", "2"},
    };
    for (size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(i);
        const Expect& w = want[i];
        EXPECT_EQ(all[i].type, w.type);
        EXPECT_EQ(all[i].symbol, "r1000");
        EXPECT_NEAR(all[i].xs, w.xs * 1e6, 1);
        EXPECT_NEAR(all[i].ys, w.ys * 1e6, 1);
        EXPECT_NEAR(all[i].xe, w.xe * 1e6, 1);
        EXPECT_NEAR(all[i].ye, w.ye * 1e6, 1);
        if (w.type == API::FT_ARC) {
            EXPECT_NEAR(all[i].xc, w.xc * 1e6, 1);
            EXPECT_NEAR(all[i].yc, w.yc * 1e6, 1);
            EXPECT_EQ(all[i].direction, w.direction);
        }
        if (w.chain) EXPECT_EQ(all[i].attributes.at(".rout_chain"), w.chain);
        else EXPECT_EQ(all[i].attributes.count(".rout_chain"), 0u);
    }
}

TEST_F(DrillImport, RoutWithoutToolDownStartsAChainAtEachMove) {
    IMPORT::import_report r = load("M48\nMETRIC\nT1C1.0\n%\nT1\nG00X0.0Y0.0\nG01X1.0\nX1.0Y1.0\n"
                                   "G00X5.0Y0.0\nG01X6.0\nM30\n");
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 3u);
    const char* chains[] = {"1", "1", "2"};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(all[i].attributes.at(".rout_chain"), chains[i]) << i;
    EXPECT_EQ(all[1].xs, 1e6);  // continues from the previous end
    EXPECT_EQ(all[1].ye, 1e6);
    ASSERT_EQ(r.warnings.size(), 1u);
    EXPECT_NE(r.warnings[0].find("M15"), std::string::npos) << r.warnings[0];
}

TEST_F(DrillImport, MalformedFilesThrowWithFileAndLineAndChangeNothing) {
    struct Case {
        const char* name;
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"undefined tool", "M48\nMETRIC\nT1C0.3\n%\nT5\nX1.0Y1.0\nM30\n", "t.drl:5: tool T5 is not defined"},
        {"hit before a tool", "M48\nMETRIC\nT1C0.3\n%\nX1.0Y1.0\nM30\n", "t.drl:5: "},
        {"truncated", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0Y1.0\n", "without M30"},
        {"header not closed", "M48\nMETRIC\nT1C0.3\n", "header (M48) is not closed"},
        {"garbage bytes", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0\xff\xfeY1.0\nM30\n", "t.drl:6: unexpected byte 0xff"},
        {"bad tool diameter", "M48\nMETRIC\nT1C\n%\nM30\n", "t.drl:3: malformed tool diameter"},
        {"bad coordinate", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0.0Y1\nM30\n", "t.drl:6: malformed coordinate"},
        {"repeat without a hit", "M48\nMETRIC\nT1C0.3\n%\nT1\nR3X1.0\nM30\n", "t.drl:6: repeat without"},
        {"a Gerber file", "%FSLAX33Y33*%\n%MOMM*%\nM02*\n", "not excellon"},
    };
    load("M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0Y1.0\nM30\n");
    const unsigned long long serial = JOB::edit_serial(kJob);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            load(c.text);
            ADD_FAILURE() << "no error";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find("t.drl"), std::string::npos) << e;
            EXPECT_NE(e.find(c.message), std::string::npos) << e;
        }
        EXPECT_EQ(JOB::feature_count(kJob, "pcb", kLayer), 1);
        EXPECT_EQ(JOB::edit_serial(kJob), serial);
    }
}

TEST_F(DrillImport, GarbageNeverHangsOrCrashes) {
    // Every prefix of a valid file, and each with a byte flipped: each either
    // loads or throws a text.
    const std::string good = "M48\n;FILE_FORMAT=3:3\nMETRIC,LZ\nT1C0.3\n%\nT1\nX001Y002\nR3X1\n"
                             "X1.0Y1.0G85X2.0Y2.0\nG00X0Y0\nM15\nG02X6.0Y1.0A1.0\nG03X7Y2I0J1\nM16\nM30\n";
    const auto [loaded, thrown] = kt::loadDamaged(good, 2, 0x21, [](const std::string& text) {
        IMPORT::import_excellon(kJob, "pcb", kLayer, text, "t.drl");
    });
    EXPECT_GT(thrown, 0);
    EXPECT_GE(loaded, 1);
    EXPECT_NO_THROW(IMPORT::import_excellon(kJob, "pcb", kLayer, good, "t.drl"));
}

TEST(LayerGuess, FromNamesAndFileFunctions) {
    struct Case {
        const char* file;
        const char* function;
        const char* type;
        bool outline;
    };
    const Case cases[] = {
        {"board.GTL", "", "signal", false},          {"board.gbs", "", "solder_mask", false},
        {"board.gto", "", "silk_screen", false},     {"board.gbp", "", "solder_paste", false},
        {"board.g2", "", "signal", false},           {"board.GKO", "", "document", true},
        {"x/Edge_Cuts.gbr", "", "document", true},   {"board.drl", "", "drill", false},
        {"board-NPTH.txt", "", "drill", false},      {"notes.gbr", "", "document", false},
        {"a.gbr", "Copper,L2,Inr", "signal", false}, {"a.gbr", "Soldermask,Top", "solder_mask", false},
        {"a.gbr", "Legend,Bot", "silk_screen", false}, {"a.gbr", "Paste,Top", "solder_paste", false},
        {"a.gbr", "Profile,NP", "document", true},   {"a.drl", "NonPlated,1,2,NPTH,Rout", "rout", false},
        {"a.drl", "Plated,1,2,PTH", "drill", false}, {"board.gtl", "Legend,Top", "silk_screen", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " " + c.function);
        IMPORT::layer_guess g = IMPORT::guess_layer(c.file, c.function);
        EXPECT_EQ(g.type, c.type);
        EXPECT_EQ(g.outline, c.outline);
        EXPECT_EQ(IMPORT::guess_layer_type(c.file, c.function), c.type);
    }
    EXPECT_EQ(IMPORT::layer_name_for("/tmp/gerbers/Board-F_Cu.GTL"), "board-f_cu");
}

const char* const kTop = "%FSLAX33Y33*%%MOMM*%%TF.FileFunction,Copper,L1,Top*%%ADD10C,0.2*%D10*X1000Y1000D03*M02*";
const char* const kOutline =
    "%FSLAX33Y33*%%MOMM*%%ADD10C,0*%D10*X0Y0D02*X10000Y0D01*X10000Y5000D01*X0Y5000D01*X0Y0D01*"
    "X2000Y2000D02*X3000Y2000D01*X3000Y3000D01*X2000Y2000D01*M02*";
const char* const kDrill = "M48\nMETRIC,TZ\nT1C0.3\n%\nT1\nX2000Y2000\nM30\n";

TEST(JobImport, OneLayerPerFileTypedAndTheProfileFromTheOutline) {
    const char* job = "imported";
    if (JOB::job_exists(job)) JOB::delete_job(job);
    std::vector<IMPORT::import_report> reports =
        IMPORT::import_job(job, {{"cam/top.gbr", kTop}, {"cam/board.gko", kOutline}, {"cam/board.drl", kDrill}});
    ASSERT_EQ(reports.size(), 3u);
    std::vector<API::matrix_info> rows = API::get_matrix(job);
    ASSERT_EQ(rows.size(), 3u);
    const char* names[] = {"top", "board", "board_2"};
    const char* types[] = {"signal", "document", "drill"};
    const int counts[] = {1, 7, 1};
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rows[i].name, names[i]);
        EXPECT_EQ(rows[i].type, types[i]);
        EXPECT_EQ(JOB::feature_count(job, "pcb", names[i]), counts[i]);
        EXPECT_EQ(reports[i].layer, names[i]);
    }
    EXPECT_TRUE(reports[1].outline);
    ASSERT_TRUE(API::has_profile(job, "pcb"));
    // The largest loop, not the small triangle inside it.
    EXPECT_EQ(API::profile_box(job, "pcb"), (API::reply_box{0, 0, 10000000, 5000000}));
    JOB::delete_job(job);
}

TEST(JobImport, ProfileFollowsRoundedCorners) {
    const char* job = "rounded";
    if (JOB::job_exists(job)) JOB::delete_job(job);
    // A 10 x 5 mm outline with 1 mm corner arcs, drawn in two pieces out of order.
    const char* outline =
        "%FSLAX33Y33*%%MOMM*%%TF.FileFunction,Profile,NP*%%ADD10C,0.1*%D10*G75*"
        "X10000Y4000D02*G01*X10000Y1000D01*G02*X9000Y0I-1000J0D01*G01*X1000Y0D01*G02*X0Y1000I0J1000D01*"
        "G01*X0Y4000D02*G02*X1000Y5000I1000J0D01*G01*X9000Y5000D01*G02*X10000Y4000I0J-1000D01*"
        "G01*X0Y1000D02*X0Y4000D01*M02*";
    IMPORT::import_job(job, {{"edges.gbr", outline}});
    ASSERT_TRUE(API::has_profile(job, "pcb"));
    EXPECT_EQ(API::profile_box(job, "pcb"), (API::reply_box{0, 0, 10000000, 5000000}));
    JOB::delete_job(job);
}

TEST(JobImport, AnyBadFileLeavesNoJob) {
    const char* job = "never";
    if (JOB::job_exists(job)) JOB::delete_job(job);
    for (const char* bad : {"hello\n", "M48\nMETRIC\nT1C0.3\n%\nT2\nX1Y1\nM30\n"}) {
        SCOPED_TRACE(bad);
        try {
            IMPORT::import_job(job, {{"top.gbr", kTop}, {"bad.txt", bad}});
            ADD_FAILURE() << "no error";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find("bad.txt"), std::string::npos) << e;
        }
        EXPECT_FALSE(JOB::job_exists(job));
    }
}

}  // namespace
