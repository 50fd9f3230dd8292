// Undo as the view uses it: every edit kind, done the way the view does it
// (create_new_symbol, then the builder, then AddFeature, ...), is taken back
// exactly: the saved job is the same, byte for byte, and so is the selection
// (which is not saved). Also many levels deep, the depth limit, failing edits
// and a journal with undos replayed on the saved starting job.
//
// A save settles the symbols registered since the last edit (FORMATS.md,
// "Undo"), so the tests save only at edit boundaries unless the settling is
// what they test.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

const char* const kJob = "undo";
const char* const kStep = "pcb";

using Selection = std::map<std::string, std::vector<int>>;  // "step/layer" -> selected indices

// What undo must restore: the saved text (features, symbol tables, attribute
// sets, matrix) and the selection.
struct State {
    std::string saved;
    Selection selected;
};

class Undo : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("tolva_undo_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        buildStart();
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        fs::remove_all(dir);
    }

    // The starting job: three layers with every feature kind, symbols and
    // attribute sets, saved to dir/start and loaded back, so that its undo
    // history is empty. Then a selection on each layer.
    void buildStart() {
        kt::freshJob(kJob, {"top", "bot", "drill"});
        const int r = kt::symbol(kJob, "top", "r200"), s = kt::symbol(kJob, "top", "s300");
        kt::add(kJob, "top", API::GreateLineString(0, 0, 50000, 0, r, API::POL_POSITIVE, 10), {{".net", "GND"}});
        for (int k = 0; k < 3; ++k)
            kt::add(kJob, "top", API::GreatePadString(k * 20000, 10000, s, API::POL_POSITIVE, 90 * k, k % 2, 1),
                    {{".comp", "U" + std::to_string(k)}});
        kt::add(kJob, "top", API::GreateArcString(10000, 0, 0, 10000, 0, 0, r, API::POL_NEGATIVE, 3, true));
        kt::add(kJob, "top",
                API::GreateSurfaceString({{0, 0}, {40000, 0}, {40000, 40000}, {0, 40000}, {0, 0},
                                          {10000, 10000}, {20000, 10000}, {20000, 20000}, {10000, 10000}},
                                         API::POL_POSITIVE, 0, true));
        kt::add(kJob, "top", API::GreateTextString(5000, 60000, "R12", API::POL_POSITIVE, 0, 2000, 3000, 1, "std", 0, 1));
        const int b = kt::symbol(kJob, "bot", "rect200x100");
        kt::add(kJob, "bot", API::GreatePadString(1000, 1000, b, API::POL_POSITIVE, 0, 0, 1));
        kt::add(kJob, "bot", API::GreatePadString(3000, 1000, b, API::POL_NEGATIVE, 0, 0, 2));
        const int d = kt::symbol(kJob, "drill", "r300");
        kt::add(kJob, "drill", API::GreatePadString(20000, 10000, d, API::POL_POSITIVE, 0, 0, 1), {{".drill", "via"}});
        JOB::save_job(kJob, (dir / "start").string());
        ASSERT_EQ(JOB::load_job((dir / "start").string()), kJob);
        ASSERT_FALSE(API::undo_last_edit(kJob));
        selectStart();
    }
    void selectStart() {
        for (int i : {1, 2, 6}) API::select_feature_by_id(kJob, kStep, "top", i);
        API::select_feature_by_id(kJob, kStep, "bot", 0);
        API::select_features(kJob, kStep, "drill");
    }

    std::string read(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    std::string saved(const std::string& job = kJob) {
        JOB::save_job(job, (dir / "compare").string());
        return read(dir / "compare" / "job.tolva");
    }
    static Selection selection(const std::string& job = kJob) {
        Selection out;
        for (const std::string& step : JOB::list_steps(job))
            for (const API::matrix_info& row : API::get_matrix(job)) {
                std::vector<API::featureInfo> sel;
                API::get_selected_feature_info(job, step, row.name, sel);
                std::vector<int>& ids = out[step + "/" + row.name];
                for (const API::featureInfo& f : sel) ids.push_back(f.index);
            }
        return out;
    }
    State state() { return {saved(), selection()}; }
    void expectState(const State& expected, const std::string& what) {
        const State now = state();
        EXPECT_TRUE(now.saved == expected.saved) << what << ": the saved job differs\n--- expected\n"
                                                 << expected.saved << "--- got\n"
                                                 << now.saved;
        EXPECT_EQ(now.selected, expected.selected) << what << ": the selection differs";
    }

    fs::path dir;
};

// ---- the edits as the view makes them -------------------------------------

// create_new_symbol for each layer, the builder with that layer's index, then
// one AddFeature.
void addAsView(const std::vector<std::string>& layers, const std::string& symbol,
               const std::function<std::string(int)>& build, const API::attr_map& attrs, bool selectNew) {
    std::map<std::string, std::string> strings;
    for (const std::string& l : layers) strings[l] = build(kt::symbol(kJob, l, symbol));
    API::AddFeature(kJob, kStep, layers, strings, attrs, selectNew);
}

API::featureInfo feature(const std::string& layer, int index) {
    API::featureInfo f;
    EXPECT_TRUE(API::get_featureinfo_by_index(kJob, kStep, layer, index, f)) << layer << " " << index;
    return f;
}

// The view's rout compensation: a new layer after the rout layer, made a rout
// layer, the compensated path added and selected, then the original picked.
void routCompensation() {
    ASSERT_TRUE(API::create_new_layer(kJob, kStep, "top+1", 1));
    API::matrix_info row = API::get_matrix(kJob)[1];
    row.type = "rout";
    API::change_matrix(kJob, row);
    addAsView({"top+1"}, "r2400", [](int s) { return API::GreateLineString(-1200, -1200, 51200, -1200, s, API::POL_POSITIVE, 0); },
              {{".comp", "left"}, {".rout_chain", "1"}}, true);
    API::select_feature_by_id(kJob, kStep, "top", 0);
}

struct EditKind {
    const char* name;
    std::function<void()> edit;
    int edits;  // undo levels it makes
};

const std::vector<EditKind>& editKinds() {
    static const std::vector<EditKind> kinds = {
        {"AddFeature, new symbol and attribute set",
         [] { addAsView({"top"}, "r75", [](int s) { return API::GreateLineString(1, 2, 3000, 4000, s, API::POL_POSITIVE, 7); }, {{".feed", "12"}}, false); },
         1},
        {"AddFeature on two layers, selecting the new features",
         [] { addAsView({"top", "bot"}, "oval300x150", [](int s) { return API::GreatePadString(7000, 8000, s, API::POL_NEGATIVE, 45, 1, 0.5); }, {{".comp", "U9"}, {".smd", ""}}, true); },
         1},
        {"AddFeature with a known symbol and attribute set",
         [] { addAsView({"top"}, "s300", [](int s) { return API::GreatePadString(-5000, 0, s, API::POL_POSITIVE, 0, 0, 1); }, {{".comp", "U1"}}, false); },
         1},
        {"AddFeatures: arc, surface and text with their own attribute sets",
         [] {
             const int s = kt::symbol(kJob, "bot", "donut_r500x300");
             API::AddFeatures(kJob, kStep, {"bot"},
                              {{"bot",
                                {API::GreateArcString(0, 5000, 5000, 0, 0, 0, s, API::POL_POSITIVE, 1, false),
                                 API::GreateSurfaceString({{0, 0}, {900, 0}, {900, 900}}, API::POL_NEGATIVE, 2, true),
                                 API::GreateTextString(100, 200, "X \"1\"", API::POL_POSITIVE, 270, 1000, 1500, 0.5, "std", 1, 2)}}},
                              {{{"a", "1"}}, {{"b", "2"}, {"c", ""}}});
         },
         1},
        {"copy_features_in_samelayer", [] { API::copy_features_in_samelayer(kJob, kStep, {"top", "bot"}, 500, -700); }, 1},
        {"move_same_layer", [] { API::move_same_layer(kJob, kStep, {"top", "drill", "bot"}, -1234, 5678); }, 1},
        {"multi_copy_features_in_samelayer (a 3 x 2 grid)",
         [] {
             std::vector<API::point> grid;
             for (int i = 0; i < 3; ++i)
                 for (int j = 0; j < 2; ++j)
                     if (i || j) grid.push_back({i * 100000, j * 80000});
             API::multi_copy_features_in_samelayer(kJob, kStep, {"top", "drill"}, grid);
         },
         1},
        {"move_specified_features (cut and paste)",
         [] { API::move_specified_features(kJob, kStep, {"top", "bot"}, {{"top", {feature("top", 3), feature("top", 5)}}, {"bot", {feature("bot", 1)}}}, 9000, 9000); },
         1},
        {"copy_specified_features (copy and paste)",
         [] { API::copy_specified_features(kJob, kStep, {"top"}, {{"top", {feature("top", 6), feature("top", 0), feature("top", 4)}}}, 0, -30000); },
         1},
        {"delete_selected_features (pads and the text of top, the drill)",
         [] { API::delete_selected_features(kJob, kStep, {"top", "drill"}); }, 1},
        {"create_new_layer", [] { ASSERT_TRUE(API::create_new_layer(kJob, kStep, "extra", 0)); }, 1},
        {"change_matrix",
         [] {
             API::matrix_info row = API::get_matrix(kJob)[2];
             row.name = "rout";
             row.type = "rout";
             row.context = "misc";
             row.polarity = "negative";
             API::change_matrix(kJob, row);
         },
         1},
        {"rout compensation (new layer, matrix, AddFeature selecting, select by id)", routCompensation, 3},
    };
    return kinds;
}

// ---- tests ------------------------------------------------------------------

TEST_F(Undo, EachEditKindIsTakenBackByteForByte) {
    for (bool selectionChanged : {false, true}) {
        for (const EditKind& k : editKinds()) {
            SCOPED_TRACE(std::string(k.name) + (selectionChanged ? ", the selection changed since" : ""));
            const State before = state();
            k.edit();
            const State after = state();
            ASSERT_NE(after.saved, before.saved) << "the edit changed nothing";
            if (selectionChanged) {
                // The user picks something else before undoing.
                for (const API::matrix_info& row : API::get_matrix(kJob)) API::clear_selected_features(kJob, kStep, row.name);
                API::select_features(kJob, kStep, "top");
                API::select_feature_by_id(kJob, kStep, "bot", 1);
                ASSERT_NE(selection(), after.selected);
            }
            for (int u = 0; u < k.edits; ++u) ASSERT_TRUE(API::undo_last_edit(kJob)) << "undo " << u;
            expectState(before, "after undo");
            EXPECT_FALSE(API::undo_last_edit(kJob)) << "undid more than the edit";
            expectState(before, "after an undo with nothing left");
        }
    }
}

TEST_F(Undo, AMixedSequenceIsUndoneOneLevelAtATime) {
    // One call each: an edit (a new level), or a change of the selection
    // only, which is part of the state the next undo returns to.
    const std::vector<std::function<void()>> sequence = {
        [] { addAsView({"top"}, "r10", [](int s) { return API::GreateLineString(0, 0, 100, 100, s, API::POL_POSITIVE, 0); }, {{".x", "1"}}, true); },
        [] { API::move_same_layer(kJob, kStep, {"top"}, 10, 10); },
        [] { API::clear_selected_features(kJob, kStep, "top"); },
        [] { API::select_feature_by_id(kJob, kStep, "top", 0); },
        [] { API::copy_features_in_samelayer(kJob, kStep, {"top"}, 0, 1000); },
        [] { ASSERT_TRUE(API::create_new_layer(kJob, kStep, "new", -1)); },
        [] { addAsView({"new", "bot"}, "r10", [](int s) { return API::GreatePadString(5, 5, s, API::POL_POSITIVE, 0, 0, 1); }, {{".x", "2"}}, false); },
        [] { API::multi_copy_features_in_samelayer(kJob, kStep, {"top", "bot"}, {{1, 0}, {2, 0}, {3, 0}}); },
        [] {
            API::matrix_info row = API::get_matrix(kJob)[3];
            row.name = "renamed";
            API::change_matrix(kJob, row);
        },
        [] { API::move_specified_features(kJob, kStep, {"renamed"}, {{"renamed", {feature("renamed", 0)}}}, -5, -5); },
        [] {
            const int s = kt::symbol(kJob, "renamed", "s20"), t = kt::symbol(kJob, "renamed", "rect20x10");
            API::AddFeatures(kJob, kStep, {"renamed"},
                             {{"renamed", {API::GreatePadString(0, 0, s, 1, 0, 0, 1), API::GreatePadString(0, 0, t, 0, 0, 0, 1)}}},
                             {{{".y", "1"}}, {{".x", "2"}}});
        },
        [] { API::copy_specified_features(kJob, kStep, {"renamed", "top"}, {{"renamed", {feature("renamed", 2)}}, {"top", {feature("top", 7)}}}, 100, 0); },
        [] { API::select_feature_by_id(kJob, kStep, "renamed", 1); },
        [] { API::delete_selected_features(kJob, kStep, {"renamed", "top"}); },
        // The rout compensation, call by call.
        [] { ASSERT_TRUE(API::create_new_layer(kJob, kStep, "top+1", 1)); },
        [] {
            API::matrix_info row = API::get_matrix(kJob)[1];
            row.type = "rout";
            API::change_matrix(kJob, row);
        },
        [] { addAsView({"top+1"}, "r2400", [](int s) { return API::GreateLineString(0, -1200, 50000, -1200, s, API::POL_POSITIVE, 0); }, {{".comp", "left"}}, true); },
        [] { API::select_feature_by_id(kJob, kStep, "top", 3); },
        [] { API::move_same_layer(kJob, kStep, {"top+1", "top"}, 0, -50); },
        [] { API::select_features(kJob, kStep, "bot"); },
        [] { API::move_same_layer(kJob, kStep, {"bot"}, 77, 0); },
        [] { API::unselect_features(kJob, kStep, "top+1"); },
    };
    std::vector<State> levels{state()};
    for (size_t k = 0; k < sequence.size(); ++k) {
        SCOPED_TRACE("call " + std::to_string(k));
        sequence[k]();
        State now = state();
        if (now.saved == levels.back().saved) {
            ASSERT_NE(now.selected, levels.back().selected) << "the call changed nothing";
            levels.back().selected = now.selected;
        } else {
            levels.push_back(now);
        }
    }
    ASSERT_EQ(levels.size(), 17u);  // sixteen edits
    for (size_t level = levels.size() - 1; level > 0; --level) {
        SCOPED_TRACE("undoing edit " + std::to_string(level));
        ASSERT_TRUE(API::undo_last_edit(kJob));
        expectState(levels[level - 1], "one level down");
    }
    EXPECT_FALSE(API::undo_last_edit(kJob));
    expectState(levels.front(), "nothing left to undo");
}

TEST_F(Undo, TheLast64EditsAreKept) {
    const int pen = kt::symbol(kJob, "bot", "r1");
    std::vector<std::string> levels{saved()};
    for (int k = 0; k < 70; ++k) {
        kt::add(kJob, "bot", API::GreatePadString(k * 1000, 0, pen, API::POL_POSITIVE, 0, 0, 1), {{"k", std::to_string(k)}});
        levels.push_back(saved());
    }
    for (int k = 70; k > 6; --k) {
        ASSERT_TRUE(API::undo_last_edit(kJob)) << k;
        ASSERT_EQ(saved(), levels[size_t(k - 1)]) << "after undoing edit " << k;
    }
    EXPECT_FALSE(API::undo_last_edit(kJob));
    EXPECT_EQ(saved(), levels[6]);  // the symbol went with the first edit, which is no longer kept
}

TEST_F(Undo, AFailingEditLeavesTheSavedJobAndTheUndoHistoryAsTheyWere) {
    const std::string bad = "P 0 0 0 P 0 0";  // cut short
    struct Case {
        const char* what;
        std::function<void()> call;
    };
    const std::string good = API::GreatePadString(1, 1, 0, API::POL_POSITIVE, 0, 0, 1);
    const Case cases[] = {
        {"bad record", [&] { API::AddFeature(kJob, kStep, {"top"}, {{"top", bad}}, {{"new", "set"}}, false); }},
        {"bad record on the second layer, selecting",
         [&] { API::AddFeature(kJob, kStep, {"top", "bot"}, {{"top", good}, {"bot", bad}}, {{"new", "set"}}, true); }},
        {"last of many records bad, each with a new attribute set",
         [&] { API::AddFeatures(kJob, kStep, {"top"}, {{"top", {good, good, bad}}}, {{{"n", "1"}}, {{"n", "2"}}, {{"n", "3"}}}); }},
        {"symbol missing from the layer", [&] { API::AddFeature(kJob, kStep, {"drill"}, {{"drill", API::GreatePadString(0, 0, 5, 1, 0, 0, 1)}}, {}, false); }},
        {"unknown layer in AddFeature", [&] { API::AddFeature(kJob, kStep, {"top", "zz"}, {{"top", good}, {"zz", good}}, {}, false); }},
        {"unknown layer in a move", [&] { API::move_same_layer(kJob, kStep, {"top", "zz"}, 1, 1); }},
        {"move out of range", [&] { API::move_same_layer(kJob, kStep, {"top"}, 0, -2000000000); }},
        {"copy out of range", [&] { API::copy_features_in_samelayer(kJob, kStep, {"bot", "top"}, 1999999999, 0); }},
        {"one grid offset out of range",
         [&] { API::multi_copy_features_in_samelayer(kJob, kStep, {"top"}, {{10, 10}, {1999999999, 0}}); }},
        {"stale feature to paste",
         [&] {
             API::featureInfo f = feature("top", 1);
             f.record += " ";
             API::move_specified_features(kJob, kStep, {"top"}, {{"top", {feature("top", 2), f}}}, 5, 5);
         }},
        {"specified feature moved out of range",
         [&] { API::copy_specified_features(kJob, kStep, {"top"}, {{"top", {feature("top", 0)}}}, 999999999, 0); }},
        {"unnamed new layer", [&] { API::create_new_layer(kJob, kStep, "", 0); }},
        {"matrix row out of range",
         [&] {
             API::matrix_info row = API::get_matrix(kJob)[0];
             row.row = 9;
             API::change_matrix(kJob, row);
         }},
    };
    // One edit, so that "no new level" shows: a single undo goes back to the start.
    const State start = state();
    addAsView({"top"}, "r55", [](int s) { return API::GreatePadString(3, 3, s, API::POL_POSITIVE, 0, 0, 1); }, {{"first", "edit"}}, true);
    const State edited = state();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_THROW(c.call(), API::KernelText);
        expectState(edited, "after the failed call");
    }
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(start, "after one undo");
    EXPECT_FALSE(API::undo_last_edit(kJob));
    // Calls that change nothing are no edits either.
    API::clear_selected_features(kJob, kStep, "bot");
    API::move_same_layer(kJob, kStep, {"bot"}, 10, 10);  // nothing selected there
    EXPECT_FALSE(API::create_new_layer(kJob, kStep, "top", -1));  // exists
    API::AddFeature(kJob, kStep, {}, {}, {}, true);
    EXPECT_FALSE(API::undo_last_edit(kJob));
}

// The view registers the symbol first; when its AddFeature then fails, the
// symbol is left over. It was registered after the last edit, so undoing that
// edit takes it back too, and the next edit that succeeds owns it.
TEST_F(Undo, SymbolsRegisteredAfterTheLastEditGoWithItOrWithTheNext) {
    const State start = state();
    API::move_same_layer(kJob, kStep, {"top"}, 100, 0);
    const State moved = state();
    const int s = kt::symbol(kJob, "bot", "s999");
    EXPECT_THROW(API::AddFeature(kJob, kStep, {"bot"}, {{"bot", "P 1 1 " + std::to_string(s) + " X 0 0 1"}}, {}, false),
                 API::KernelText);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(start, "the move and the left-over symbol undone");

    API::move_same_layer(kJob, kStep, {"top"}, 100, 0);
    kt::symbol(kJob, "bot", "s999");
    EXPECT_THROW(API::move_same_layer(kJob, kStep, {"top"}, 2000000000, 0), API::KernelText);
    addAsView({"bot"}, "s999", [](int i) { return API::GreatePadString(1, 1, i, API::POL_POSITIVE, 0, 0, 1); }, {}, false);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(moved, "the add and its symbol undone, the move kept");
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(start, "both undone");
}

// A save writes out the symbols registered since the last edit: from then on
// they belong to that edit, not to the next one, so each undo returns to a
// saved state. On a job without undo history they stay.
TEST_F(Undo, ASaveBetweenRegisteringAndAddingKeepsEachLevelAsSaved) {
    const State start = state();
    API::move_same_layer(kJob, kStep, {"top"}, 0, 100);
    const int s = kt::symbol(kJob, "top", "oval10x5");
    const State savedWithSymbol = state();  // saves: the symbol now belongs to the move
    kt::add(kJob, "top", API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, 1));
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(savedWithSymbol, "the add undone, the saved symbol kept");
    ASSERT_TRUE(API::undo_last_edit(kJob));
    expectState(start, "the move undone, with the symbol registered after it");

    // A job that never had an edit: symbols registered and saved are its start.
    kt::freshJob("fresh", {"a"});
    kt::symbol("fresh", "a", "r1");
    const std::string fresh = saved("fresh");
    kt::add("fresh", "a", API::GreatePadString(0, 0, kt::symbol("fresh", "a", "r2"), API::POL_POSITIVE, 0, 0, 1));
    ASSERT_TRUE(API::undo_last_edit("fresh"));
    EXPECT_EQ(saved("fresh"), fresh);
    EXPECT_FALSE(API::undo_last_edit("fresh"));
    JOB::delete_job("fresh");
}

// Undoing an add takes the features out of the layer's spatial index without
// rebuilding it, unless the index had folded them into its main tree: either
// way boxes and queries follow.
TEST_F(Undo, TheSpatialIndexFollowsUndoneAdds) {
    auto inBox = [](const API::reply_box& b) {
        std::vector<API::featureInfo> list;
        API::get_features_in_box(kJob, kStep, "bot", b, list);
        std::vector<int> out;
        for (const API::featureInfo& f : list) out.push_back(f.index);
        return out;
    };
    const API::reply_box start = API::layer_box(kJob, kStep, "bot");  // builds the index
    const API::reply_box far{90000000, 90000000, 90000100, 90000100};
    for (int count : {1, 3, 5000}) {  // the last more than the index keeps aside
        SCOPED_TRACE(std::to_string(count) + " added");
        // As the view does: the symbol before each add (an undo takes it back).
        int pen = kt::symbol(kJob, "bot", "r1");
        std::vector<std::string> pads;
        for (int k = 0; k < count; ++k) pads.push_back(API::GreatePadString(9e7, 9e7 + k * 1e4, pen, 1, 0, 0, 1));
        API::AddFeatures(kJob, kStep, {"bot"}, {{"bot", pads}}, {});
        EXPECT_EQ(inBox(far), std::vector<int>{2});  // the first one added
        EXPECT_FALSE(API::layer_box(kJob, kStep, "bot") == start);
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(API::layer_box(kJob, kStep, "bot"), start);
        EXPECT_TRUE(inBox(far).empty());
        EXPECT_EQ(API::select_features(kJob, kStep, "bot", {{89000000, 89000000}, {89000000, 99000000}, {99000000, 99000000}}, {}, 0, 1).selected, 0);
        // Added again at the same indices, elsewhere: found there only.
        pen = kt::symbol(kJob, "bot", "r1");
        kt::add(kJob, "bot", API::GreatePadString(-5e7, 0, pen, 1, 0, 0, 1));
        EXPECT_TRUE(inBox(far).empty());
        EXPECT_EQ(inBox({-50000100, -100, -49999900, 100}), std::vector<int>{2});
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(API::layer_box(kJob, kStep, "bot"), start);
    }
}

// A deletion closes the indices up: each survivor is found at its new index
// by a query of its own box, the deleted ones nowhere; an undo puts every
// feature back at the index it had, and the queries follow again.
TEST_F(Undo, TheSpatialIndexFollowsDeletionsAndTheirUndo) {
    const int pen = kt::symbol(kJob, "bot", "r1");
    std::vector<std::string> pads;
    for (int k = 0; k < 6000; ++k) pads.push_back(API::GreatePadString(9e7 + k * 1e4, 9e7, pen, 1, 0, 0, 1));
    API::AddFeatures(kJob, kStep, {"bot"}, {{"bot", pads}}, {});  // indices 2 .. 6001
    auto at = [](int k) {
        const int x = 90000000 + k * 10000;
        std::vector<API::featureInfo> list;
        API::get_features_in_box(kJob, kStep, "bot", {x - 100, 89999900, x + 100, 90000100}, list);
        std::vector<int> out;
        for (const API::featureInfo& f : list) out.push_back(f.index);
        return out;
    };
    ASSERT_EQ(at(10), std::vector<int>{12});  // builds the index
    API::clear_selected_features(kJob, kStep, "bot");
    for (int k = 0; k < 6000; k += 2) API::select_feature_by_id(kJob, kStep, "bot", 2 + k);
    API::select_feature_by_id(kJob, kStep, "bot", 0);
    API::delete_selected_features(kJob, kStep, {"bot"});
    EXPECT_EQ(JOB::feature_count(kJob, kStep, "bot"), 2 + 6000 - 3001);
    EXPECT_TRUE(at(10).empty());
    EXPECT_EQ(at(11), std::vector<int>{13 - 7});  // index 0 and six of pads 0..10 went
    EXPECT_EQ(at(5999), std::vector<int>{6001 - 3001});
    API::featureInfo first;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, kStep, "bot", 0, first));
    EXPECT_EQ(first.xs, 3000) << "the negative pad at index 1 moved up to 0";
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(at(10), std::vector<int>{12});
    EXPECT_EQ(at(11), std::vector<int>{13});
    std::vector<API::featureInfo> selected;
    API::get_selected_feature_info(kJob, kStep, "bot", selected);
    ASSERT_EQ(selected.size(), 3001u) << "the deleted features come back selected";
    EXPECT_EQ(selected.front().index, 0);
    EXPECT_EQ(selected.back().index, 2 + 5998);
}

// The journal of a session with undos, replayed on the saved starting job
// loaded afresh, gives the same saved job and selection.
TEST_F(Undo, AJournalWithUndosReplaysToTheSameJob) {
    const std::string journal = (dir / "session.journal").string();
    JOB::set_journal_path(kJob, journal);
    DB::set_SaveFlag(true);
    auto symbol = [](const std::string& layer, const std::string& name) {
        int index = -1;
        DB::create_new_symbol_db_save(kJob, kStep, layer, name, index);
        API::create_new_symbol(kJob, kStep, layer, name, index);
        return index;
    };
    auto add = [&](const std::string& layer, const std::string& name, const API::attr_map& attrs, bool select) {
        const int s = symbol(layer, name);
        DB::GreatePadString_db_save(4000, 4000, s, API::POL_POSITIVE, 30, 0);
        const std::string rec = API::GreatePadString(4000, 4000, s, API::POL_POSITIVE, 30, 0, 1);
        DB::AddFeature_db_save(kJob, kStep, {layer}, {{layer, rec}}, attrs);
        API::AddFeature(kJob, kStep, {layer}, {{layer, rec}}, attrs, select);
    };
    auto move = [](const std::vector<std::string>& layers, int dx, int dy) {
        DB::move_same_layer_db_save(kJob, kStep, layers, dx, dy);
        API::move_same_layer(kJob, kStep, layers, dx, dy);
    };
    auto selectId = [](const std::string& layer, int index) {
        DB::select_feature_by_id_db_save(kJob, kStep, layer, index);
        API::select_feature_by_id(kJob, kStep, layer, index);
    };

    add("top", "r123", {{".new", "1"}}, true);
    move({"top"}, 10, 0);
    API::undo_last_edit(kJob);  // the move
    API::undo_last_edit(kJob);  // the add, its symbol and attribute set
    add("top", "r124", {{".new", "2"}}, true);
    DB::copy_features_in_samelayer_db_save(kJob, kStep, {"top"}, 0, 300);
    API::copy_features_in_samelayer(kJob, kStep, {"top"}, 0, 300);
    DB::clear_selected_features_db_save(kJob, kStep, "top");
    API::clear_selected_features(kJob, kStep, "top");
    selectId("top", 0);
    DB::multi_copy_features_in_samelayer_db_save(kJob, kStep, {"top"}, {{1000, 0}, {2000, 0}});
    API::multi_copy_features_in_samelayer(kJob, kStep, {"top"}, {{1000, 0}, {2000, 0}});
    DB::create_new_layer_db_save(kJob, kStep, "comp", 1);
    API::create_new_layer(kJob, kStep, "comp", 1);
    API::matrix_info row = API::get_matrix(kJob)[1];
    row.type = "rout";
    DB::change_matrix_db_save(kJob, row);
    API::change_matrix(kJob, row);
    add("comp", "r2000", {{".comp", "right"}}, true);
    selectId("top", 2);
    API::undo_last_edit(kJob);  // the compensated path, and the selection made after it
    const std::map<std::string, std::vector<API::featureInfo>> paste = {{"top", {feature("top", 6), feature("top", 1)}}};
    DB::move_specified_features_db_save(kJob, kStep, {"top"}, paste, -20, -20);
    API::move_specified_features(kJob, kStep, {"top"}, paste, -20, -20);
    const std::map<std::string, std::vector<API::featureInfo>> copy = {{"drill", {feature("drill", 0)}}};
    DB::copy_specified_features_db_save(kJob, kStep, {"drill"}, copy, 0, 500);
    API::copy_specified_features(kJob, kStep, {"drill"}, copy, 0, 500);
    DB::delete_selected_features_db_save(kJob, kStep, {"top"});
    API::delete_selected_features(kJob, kStep, {"top"});
    selectId("top", 1);
    DB::delete_selected_features_db_save(kJob, kStep, {"top"});
    API::delete_selected_features(kJob, kStep, {"top"});
    API::undo_last_edit(kJob);  // the second deletion
    const std::vector<std::string> recs = {API::GreatePadString(0, 0, 0, 0, 0, 0, 1), "L broken"};
    DB::AddFeatures_db_save(kJob, kStep, {"bot"}, {{"bot", recs}}, {{{"a", "b"}}});
    EXPECT_THROW(API::AddFeatures(kJob, kStep, {"bot"}, {{"bot", recs}}, {{{"a", "b"}}}), API::KernelText);
    symbol("bot", "s4");  // left over, then taken back by the undo of the copy
    API::undo_last_edit(kJob);
    DB::set_SaveFlag(false);
    const State edited = state();
    ASSERT_NE(edited.saved, read(dir / "start" / "job.tolva"));

    JOB::delete_job(kJob);
    ASSERT_EQ(JOB::load_job((dir / "start").string()), kJob);
    JOB::set_journal_path(kJob, journal);
    selectStart();  // the selection is not saved; the session started with it
    JOB::replay_journal(journal);
    expectState(edited, "after the replay");
}

}  // namespace
