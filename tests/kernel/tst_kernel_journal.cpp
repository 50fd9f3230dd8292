// The journal: twins write replayable lines; a replay on the starting job
// reproduces the edited job.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

const char* const kJob = "journal";

class Journal : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("tolva_journal_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        kt::freshJob(kJob, {"top", "bot"});
        JOB::set_profile(kJob, "pcb", {{0, 0}, {1e6, 0}, {1e6, 1e6}, {0, 1e6}});
        JOB::save_job(kJob, (dir / "start").string());
        JOB::set_journal_path(kJob, (dir / "edits.journal").string());
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        fs::remove_all(dir);
    }
    std::vector<std::string> lines() {
        std::ifstream in(dir / "edits.journal");
        std::vector<std::string> out;
        for (std::string l; std::getline(in, l);) out.push_back(l);
        return out;
    }
    fs::path dir;
};

// What the view does for every journalled call: the twin, then the call.
int newSymbol(const char* layer, const char* name) {
    int index = -1;
    DB::create_new_symbol_db_save(kJob, "pcb", layer, name, index);
    API::create_new_symbol(kJob, "pcb", layer, name, index);
    return index;
}

void addOne(const std::string& layer, const std::string& rec, const API::attr_map& attrs, bool select) {
    DB::AddFeature_db_save(kJob, "pcb", {layer}, {{layer, rec}}, attrs);
    API::AddFeature(kJob, "pcb", {layer}, {{layer, rec}}, attrs, select);
}

TEST_F(Journal, ReplayOfMixedEditsReproducesTheJob) {
    DB::set_SaveFlag(true);
    int r = newSymbol("top", "r200");
    int s = newSymbol("bot", "s300");
    DB::GreateLineString_db_save(0, 0, 5000, 0, r, 1, 0);
    addOne("top", API::GreateLineString(0, 0, 5000, 0, r, 1, 0), {{".comp", "U1"}}, false);
    addOne("top", API::GreatePadString(100, 100, r, 1, 0, 0, 1), {}, true);  // selected as added
    DB::move_same_layer_db_save(kJob, "pcb", {"top"}, 10, 20);
    API::move_same_layer(kJob, "pcb", {"top"}, 10, 20);
    std::vector<std::string> pads = {API::GreatePadString(1, 2, s, 0, 90, 1, 1), API::GreatePadString(3, 4, s, 1, 0, 0, 2)};
    DB::AddFeatures_db_save(kJob, "pcb", {"bot"}, {{"bot", pads}}, {{{"k", "v"}}});
    API::AddFeatures(kJob, "pcb", {"bot"}, {{"bot", pads}}, {{{"k", "v"}}});
    const std::vector<API::point> poly = {{-10, -10}, {-10, 10}, {5, 10}, {5, -10}};
    DB::select_features_db_save(kJob, "pcb", "bot", poly, {}, 0, 1);
    API::select_features(kJob, "pcb", "bot", poly, {}, 0, 1);
    DB::multi_copy_features_in_samelayer_db_save(kJob, "pcb", {"bot"}, {{100, 0}, {200, 0}});
    API::multi_copy_features_in_samelayer(kJob, "pcb", {"bot"}, {{100, 0}, {200, 0}});
    API::featureInfo f;
    API::get_featureinfo_by_index(kJob, "pcb", "top", 0, f);
    std::map<std::string, std::vector<API::featureInfo>> spec = {{"top", {f}}};
    DB::copy_specified_features_db_save(kJob, "pcb", {"top"}, spec, -7, -7);
    API::copy_specified_features(kJob, "pcb", {"top"}, spec, -7, -7);
    DB::create_new_layer_db_save(kJob, "pcb", "drl", -1);
    API::create_new_layer(kJob, "pcb", "drl", -1);
    API::matrix_info row = API::get_matrix(kJob)[2];
    row.type = "drill";
    row.context = "board";
    DB::change_matrix_db_save(kJob, row);
    API::change_matrix(kJob, row);
    DB::copy_features_in_samelayer_db_save(kJob, "pcb", {"bot"}, 0, 1);
    API::copy_features_in_samelayer(kJob, "pcb", {"bot"}, 0, 1);
    API::undo_last_edit(kJob);  // journalled by the kernel itself
    // A call that fails is journalled too and fails again on replay.
    DB::move_same_layer_db_save(kJob, "pcb", {"nolayer"}, 1, 1);
    EXPECT_THROW(API::move_same_layer(kJob, "pcb", {"nolayer"}, 1, 1), API::KernelText);
    DB::set_SaveFlag(false);

    const std::vector<API::featureInfo> edited = kt::snapshot(kJob);
    const auto editedMatrix = API::get_matrix(kJob);
    ASSERT_EQ(edited.size(), 2u + 1u + 2u + 2u * 2u);  // top: 2 + copy; bot: 2 + 2 copies x 2

    // Back to the start, then replay.
    ASSERT_EQ(JOB::load_job((dir / "start").string()), kJob);
    JOB::set_journal_path(kJob, (dir / "edits.journal").string());
    EXPECT_EQ(kt::snapshot(kJob).size(), 0u);
    const size_t journalled = lines().size();
    JOB::replay_journal((dir / "edits.journal").string());
    EXPECT_EQ(lines().size(), journalled);  // a replay writes nothing
    EXPECT_EQ(kt::snapshot(kJob), edited);
    auto m = API::get_matrix(kJob);
    ASSERT_EQ(m.size(), editedMatrix.size());
    for (size_t i = 0; i < m.size(); ++i) {
        EXPECT_EQ(m[i].name, editedMatrix[i].name);
        EXPECT_EQ(m[i].type, editedMatrix[i].type);
    }
}

TEST_F(Journal, NothingIsWrittenWhileTheFlagIsOffAndTwinsWithoutAJobFollowTheLastOne) {
    DB::profile_box_db_save(kJob, "pcb");
    EXPECT_TRUE(lines().empty());
    DB::set_SaveFlag(true);
    EXPECT_TRUE(DB::get_SaveFlag());
    DB::profile_box_db_save(kJob, "pcb");
    API::select_param p;
    p.texts = false;
    DB::set_select_param_db_save(p);
    int w = 3, h = 4;
    DB::get_Canvas_Size_db_save(w, h);
    auto l = lines();
    ASSERT_EQ(l.size(), 3u);
    EXPECT_EQ(l[0], "profile_box \"journal\" \"pcb\"");
    EXPECT_EQ(l[1], "set_select_param 1 1 1 1 0 1 1 0");
    EXPECT_EQ(l[2], "get_Canvas_Size 3 4");
}

TEST_F(Journal, ACorruptJournalIsRejectedWithItsLineAndChangesNothing) {
    {
        std::ofstream out(dir / "bad.journal");
        out << "create_new_symbol \"journal\" \"pcb\" \"top\" \"r100\" -1\n";
        out << "move_same_layer \"journal\" \"pcb\" 1 \"top\" ten 0\n";
    }
    try {
        JOB::replay_journal((dir / "bad.journal").string());
        FAIL() << "no error";
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("bad.journal:2"), std::string::npos) << e;
    }
    int index = -1;
    API::create_new_symbol(kJob, "pcb", "top", "s5", index);
    EXPECT_EQ(index, 0);  // r100 was not registered
}

TEST_F(Journal, DefaultPathLiesBesideTheJob) {
    JOB::set_journal_path(kJob, "");
    EXPECT_EQ(JOB::journal_path(kJob), (dir / "start").string() + "/journal.journal");
}

}  // namespace
