// Rewriting one feature in place: attributes and symbol, each one undo step.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "TOLVA_Attributes.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "attributes";

class Attributes : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"a"});
        const int pen = kt::symbol(kJob, "a", "r100");
        kt::add(kJob, "a", API::GreatePadString(0, 0, pen, API::POL_POSITIVE, 0, 0, 1), {{".comp", "U1"}});
        kt::add(kJob, "a", API::GreateLineString(0, 0, 50000, 0, pen, API::POL_POSITIVE, 0));
        std::vector<API::lPoint> square{{0, 0}, {1000, 0}, {1000, 1000}, {0, 1000}, {0, 0}};
        kt::add(kJob, "a", API::GreateSurfaceString(square, API::POL_POSITIVE, 0, true));
    }
    API::featureInfo info(int i) {
        API::featureInfo f;
        EXPECT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "a", i, f));
        return f;
    }
};

TEST_F(Attributes, SetReplacesTheMapAsOneUndoStepAndKeepsTheRest) {
    const auto before = kt::snapshot(kJob);
    const auto serial = JOB::edit_serial(kJob);
    ATTRIBUTES::set_feature_attributes(kJob, "pcb", "a", 0, {{".net", "GND"}});
    EXPECT_EQ(info(0).attributes, (API::attr_map{{".net", "GND"}}));  // replaced, not merged
    EXPECT_EQ(info(0).xs, before[0].xs);
    EXPECT_EQ(info(1).attributes, before[1].attributes);
    EXPECT_EQ(JOB::edit_serial(kJob), serial + 1);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(kt::snapshot(kJob), before);
}

TEST_F(Attributes, TheSameMapIsNoEdit) {
    const auto serial = JOB::edit_serial(kJob);
    ATTRIBUTES::set_feature_attributes(kJob, "pcb", "a", 0, {{".comp", "U1"}});
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

TEST_F(Attributes, ChangeSymbolRedrawsTheFeatureAndUndoTakesTheNewSymbolBack) {
    const auto before = kt::snapshot(kJob);
    ATTRIBUTES::change_feature_symbol(kJob, "pcb", "a", 1, "r2000");
    const API::featureInfo line = info(1);
    EXPECT_EQ(line.symbol, "r2000");
    EXPECT_EQ(line.xe, 50000);
    EXPECT_NEAR(line.ymax - line.ymin, 2000000, 1);  // the extent follows the width
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(kt::snapshot(kJob), before);
}

TEST_F(Attributes, BadRequestsThrowAndChangeNothing) {
    const auto before = kt::snapshot(kJob);
    const auto serial = JOB::edit_serial(kJob);
    EXPECT_THROW(ATTRIBUTES::set_feature_attributes(kJob, "pcb", "a", 3, {}), API::KernelText);
    EXPECT_THROW(ATTRIBUTES::set_feature_attributes(kJob, "pcb", "a", -1, {}), API::KernelText);
    EXPECT_THROW(ATTRIBUTES::set_feature_attributes(kJob, "pcb", "nope", 0, {}), API::KernelText);
    EXPECT_THROW(ATTRIBUTES::change_feature_symbol(kJob, "pcb", "a", 2, "r100"), API::KernelText);  // a surface
    EXPECT_THROW(ATTRIBUTES::change_feature_symbol(kJob, "pcb", "a", 0, "zz9"), API::KernelText);
    EXPECT_EQ(kt::snapshot(kJob), before);
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

TEST_F(Attributes, TheJournalReplaysBothEdits) {
    const std::string path = (std::filesystem::temp_directory_path() / "tst_kernel_attributes.journal").string();
    std::filesystem::remove(path);
    JOB::set_journal_path(kJob, path);
    DB::set_SaveFlag(true);
    const API::attr_map note{{"note", "two\nlines \"q\""}};
    DB::set_feature_attributes_db_save(kJob, "pcb", "a", 0, note);
    ATTRIBUTES::set_feature_attributes(kJob, "pcb", "a", 0, note);
    DB::change_feature_symbol_db_save(kJob, "pcb", "a", 1, "r300");
    ATTRIBUTES::change_feature_symbol(kJob, "pcb", "a", 1, "r300");
    DB::set_SaveFlag(false);
    const auto edited = kt::snapshot(kJob);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_NE(kt::snapshot(kJob), edited);
    JOB::replay_journal(path);
    EXPECT_EQ(kt::snapshot(kJob), edited);
    EXPECT_EQ(info(0).attributes, note);
    EXPECT_EQ(info(1).symbol, "r300");
    JOB::set_journal_path(kJob, "");
    std::filesystem::remove(path);
}

}  // namespace
