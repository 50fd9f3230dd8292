// DFM repairs: duplicate holes and pads enlarged for their annular ring.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "TOLVA_Repair.h"
#include "kernel_test_util.h"

using namespace TOLVA;
using CHECKS::check_result;
namespace fs = std::filesystem;

namespace {

const char* const kJob = "repair";
constexpr double kUm = 1000;

void freshBoard() {
    kt::freshJob(kJob, {"top", "bottom"});
    JOB::add_layer(kJob, "drill", "board", "drill", "positive");
}

std::string pad(const std::string& layer, double x, double y, const std::string& symbol, int angle = 0) {
    return API::GreatePadString(x, y, kt::symbol(kJob, layer, symbol), API::POL_POSITIVE, angle, 0, 1);
}

// Layer and index of each feature of a result, as "layer:index" words.
std::string refs(const check_result& r) {
    std::string out;
    for (const MEASURE::feature_ref& f : r.features) out += (out.empty() ? "" : " ") + f.layer + ":" + std::to_string(f.index);
    return out;
}

std::string savedText(const std::string& dir) {
    JOB::save_job(kJob, dir);
    std::ifstream in(fs::path(dir) / "job.tolva", std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class Repair : public ::testing::Test {
protected:
    void SetUp() override {
        freshBoard();
        dir = fs::temp_directory_path() / ("tolva_repair_" + std::to_string(::getpid()));
        fs::remove_all(dir);
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        fs::remove_all(dir);
    }
    // The job's saved text before `change` and after it was undone must be
    // the same bytes: features, symbols and attribute sets alike.
    template <class Change>
    void expectUndoRestores(Change&& change) {
        const std::string before = savedText((dir / "before").string());
        const auto features = kt::snapshot(kJob);
        change();
        EXPECT_NE(kt::snapshot(kJob), features);
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(kt::snapshot(kJob), features);
        EXPECT_EQ(savedText((dir / "after").string()), before);
    }
    fs::path dir;
};

TEST_F(Repair, DuplicateHolesGoOverlappingOnesAreOnlyReported) {
    API::AddFeatures(kJob, "pcb", {"drill"},
                     {{"drill",
                       {pad("drill", 1e6, 1e6, "r300"), pad("drill", 3e6, 1e6, "r300"), pad("drill", 1e6, 1e6, "r300"),
                        pad("drill", 3.2e6, 1e6, "r300"), pad("drill", 1e6, 1e6, "r300"),
                        pad("drill", 1e6, 1e6, "r200")}}},
                     {});
    std::vector<check_result> r;
    expectUndoRestores([&] { r = REPAIR::remove_duplicate_holes(kJob, "pcb", {"drill"}); });
    r = REPAIR::remove_duplicate_holes(kJob, "pcb", {"drill"});
    ASSERT_EQ(r.size(), 4u);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"duplicate_hole_removed", "drill:0 drill:2"},
        {"duplicate_hole_removed", "drill:0 drill:4"},
        {"overlapping_holes", "drill:0 drill:5"},  // same centre, other diameter
        {"overlapping_holes", "drill:1 drill:3"},
    };
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(r[i].check, expected[i].first) << i;
        EXPECT_EQ(refs(r[i]), expected[i].second) << i;
    }
    EXPECT_EQ(r[0].value, 300 * kUm);
    EXPECT_EQ(r[0].location.a.x, 1e6);
    EXPECT_EQ(JOB::feature_count(kJob, "pcb", "drill"), 4);
    // Nothing left to remove: no edit.
    const unsigned long long serial = JOB::edit_serial(kJob);
    EXPECT_EQ(REPAIR::remove_duplicate_holes(kJob, "pcb", {"drill"}).size(), 2u);
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

// Holes of 300 um (radius 150) against the pads of "top"; a ring of 100 um
// asks for a 500 um pad around a centred hole.
struct RingBoard {
    RingBoard() {
        auto hole = [&](double x) { return pad("drill", x, 1e6, "r300"); };
        std::vector<std::string> holes;
        for (int i = 0; i < 8; ++i) holes.push_back(hole(1e6 + 2e6 * i));
        std::vector<API::attr_map> holeAttrs(8);
        holeAttrs[6] = {{".drill", "non_plated"}};
        API::AddFeatures(kJob, "pcb", {"drill"}, {{"drill", holes}}, holeAttrs);
        const int r50 = kt::symbol(kJob, "top", "r50");
        const API::attr_map a{{".net", "A"}}, b{{".net", "B"}};
        API::AddFeatures(
            kJob, "pcb", {"top"},
            {{"top",
              {
                  pad("top", 1e6, 1e6, "r400", 0),              // 0: hole 0, centred
                  pad("top", 3e6 + 10 * kUm, 1e6, "s400", 45),  // 1: hole 1, off centre, turned
                  pad("top", 5e6, 1e6, "r400"),                 // 2: hole 2, a foreign track near
                  API::GreateLineString(5e6 + 345 * kUm, 0, 5e6 + 345 * kUm, 2e6, r50, API::POL_POSITIVE, 0),
                  pad("top", 7e6, 1e6, "r400"),                 // 4: hole 3, its own net's track near
                  API::GreateLineString(7e6 + 285 * kUm, 0, 7e6 + 285 * kUm, 2e6, r50, API::POL_POSITIVE, 0),
                  pad("top", 11e6, 1e6, "oval600x400"),         // 6: hole 5 (hole 4 has no pad)
                  pad("top", 13e6, 1e6, "r350"),                // 7: hole 6, not plated
                  pad("top", 15e6, 1e6, "r600"),                // 8: hole 7, ring enough
              }}},
            {a, a, a, b, b, b, a, a, a});
        API::AddFeatures(kJob, "pcb", {"bottom"}, {{"bottom", {pad("bottom", 1e6, 1e6, "r400")}}}, {});
    }
};

TEST_F(Repair, PadsGrowForTheirRingWhereTheClearanceAllows) {
    RingBoard board;
    std::vector<check_result> r;
    expectUndoRestores([&] { r = REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 100 * kUm, 100 * kUm); });
    r = REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top", "bottom"}, 100 * kUm, 100 * kUm);
    struct Expect {
        const char* check;
        const char* refs;
        double value, limit;
    };
    const double ring = 100 * kUm, gap = 100 * kUm;
    const std::vector<Expect> top = {
        {"ring_repaired", "drill:0 top:0", 50 * kUm, ring},
        // 10 um off the centre of a square turned by 45 degrees: 10 / sqrt 2
        // towards two of its sides.
        {"ring_repaired", "drill:1 top:1", (50 - 10 / std::sqrt(2.0)) * kUm, ring},
        // r400 -> r500 grows by 50: the track's edge, 145 um from the pad's
        // edge less its own 25, is 70 um away then.
        {"ring_not_repaired", "drill:2 top:2 top:3", 70 * kUm, gap},
        {"ring_repaired", "drill:3 top:4", 50 * kUm, ring},
        {"ring_not_repaired", "drill:4", 0, ring},
        {"ring_not_repaired", "drill:5 top:6", 50 * kUm, ring},
    };
    ASSERT_GE(r.size(), top.size() + 1);
    for (size_t i = 0; i < top.size(); ++i) {
        EXPECT_EQ(r[i].check, top[i].check) << i;
        EXPECT_EQ(refs(r[i]), top[i].refs) << i;
        EXPECT_NEAR(r[i].value, top[i].value, 1) << i;
        EXPECT_EQ(r[i].limit, top[i].limit) << i;
    }
    EXPECT_EQ(r[top.size()].check, "ring_repaired");
    EXPECT_EQ(refs(r[top.size()]), "drill:0 bottom:0");

    API::featureInfo info;
    const std::vector<std::pair<int, std::string>> symbols = {{0, "r500"}, {1, "s514.2"}, {2, "r400"}, {4, "r500"}};
    for (const auto& s : symbols) {
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "top", s.first, info));
        EXPECT_EQ(info.symbol, s.second) << s.first;
    }
    // What the ring check still finds: the holes that could not be helped,
    // and the non-plated one the repair leaves alone.
    std::vector<int> left;
    for (const check_result& c : CHECKS::annular_ring(kJob, "pcb", "drill", {"top"}, {ring, ring}))
        left.push_back(c.features[0].index);
    EXPECT_EQ(left, (std::vector<int>{2, 4, 5, 6}));
}

TEST_F(Repair, ASquarePadTurned45DegreesGrowsAlongItsOwnSides) {
    // 50 um off the centre in x and in y: 70.7 um along one of the pad's
    // own axes, so the ring there is 500 - 70.7 - 150 um, and the side
    // that gives 400 um is 2 * (70.7 + 150 + 400) um, rounded up.
    API::AddFeatures(kJob, "pcb", {"drill"}, {{"drill", {pad("drill", 2.05e6, 2.05e6, "r300")}}}, {});
    API::AddFeatures(kJob, "pcb", {"top"}, {{"top", {pad("top", 2e6, 2e6, "s1000", 45)}}}, {});
    const std::vector<check_result> r = REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 400 * kUm, 100 * kUm);
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].check, "ring_repaired");
    EXPECT_NEAR(r[0].value, (350 - 50 * std::sqrt(2.0)) * kUm, 1);
    API::featureInfo info;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "top", 0, info));
    EXPECT_EQ(info.symbol, "s1241.5");
    EXPECT_EQ(info.angle, 45);
}

TEST_F(Repair, APadEnlargedFirstCountsEnlargedForItsNeighbour) {
    // Pads 580 um apart: one grown to r500 keeps 130 um to the other, both
    // grown would keep only 80.
    API::AddFeatures(kJob, "pcb", {"drill"}, {{"drill", {pad("drill", 1e6, 1e6, "r300"), pad("drill", 1.58e6, 1e6, "r300")}}}, {});
    API::AddFeatures(kJob, "pcb", {"top"}, {{"top", {pad("top", 1e6, 1e6, "r400"), pad("top", 1.58e6, 1e6, "r400")}}},
                     {{{".net", "A"}}, {{".net", "B"}}});
    const std::vector<check_result> r = REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 100 * kUm, 100 * kUm);
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].check, "ring_repaired");
    EXPECT_EQ(r[1].check, "ring_not_repaired");
    EXPECT_EQ(refs(r[1]), "drill:1 top:1 top:0");
    EXPECT_NEAR(r[1].value, 80 * kUm, 1);
}

TEST_F(Repair, APadInAPourKeepsItsClearanceInsideTheCut) {
    // A pour over both holes, cut around each pad: r700 (350 um) leaves a
    // r500 pad 100 um, r650 only 75.
    const int r700 = kt::symbol(kJob, "top", "r700"), r650 = kt::symbol(kJob, "top", "r650");
    API::AddFeatures(kJob, "pcb", {"drill"}, {{"drill", {pad("drill", 1e6, 1e6, "r300"), pad("drill", 3e6, 1e6, "r300")}}}, {});
    API::AddFeatures(kJob, "pcb", {"top"},
                     {{"top",
                       {API::GreateSurfaceString({{0, 0}, {4e6, 0}, {4e6, 2e6}, {0, 2e6}, {0, 0}}, API::POL_POSITIVE, 0, true),
                        API::GreatePadString(1e6, 1e6, r700, API::POL_NEGATIVE, 0, 0, 1),
                        API::GreatePadString(3e6, 1e6, r650, API::POL_NEGATIVE, 0, 0, 1), pad("top", 1e6, 1e6, "r400"),
                        pad("top", 3e6, 1e6, "r400")}}},
                     {{{".net", "GND"}}, {}, {}, {{".net", "A"}}, {{".net", "B"}}});
    const std::vector<check_result> r = REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 100 * kUm, 100 * kUm);
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].check, "ring_repaired");
    EXPECT_EQ(r[1].check, "ring_not_repaired");
    EXPECT_EQ(refs(r[1]), "drill:1 top:4 top:2");
    EXPECT_NEAR(r[1].value, 75 * kUm, 1);
}

TEST_F(Repair, BadLimitsAndNamesAreRefusedAndNothingChanges) {
    RingBoard board;
    const auto features = kt::snapshot(kJob);
    const unsigned long long serial = JOB::edit_serial(kJob);
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    for (double bad : {0.0, -5.0, nan, inf}) {
        EXPECT_THROW(REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, bad, 1000), API::KernelText) << bad;
        EXPECT_THROW(REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 1000, bad), API::KernelText) << bad;
    }
    EXPECT_THROW(REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top", "drill"}, 1000, 1000), API::KernelText);
    EXPECT_THROW(REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"nolayer"}, 1000, 1000), API::KernelText);
    EXPECT_THROW(REPAIR::remove_duplicate_holes(kJob, "pcb", {"drill", "nolayer"}), API::KernelText);
    EXPECT_THROW(REPAIR::remove_duplicate_holes(kJob, "nostep", {"drill"}), API::KernelText);
    EXPECT_EQ(kt::snapshot(kJob), features);
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

TEST_F(Repair, TheJournalReplaysARepair) {
    RingBoard board;
    const std::string journal = (dir / "repair.journal").string();
    fs::create_directories(dir);
    JOB::set_journal_path(kJob, journal);
    DB::set_SaveFlag(true);
    DB::enlarge_pads_for_ring_db_save(kJob, "pcb", "drill", {"top"}, 100 * kUm, 100 * kUm);
    REPAIR::enlarge_pads_for_ring(kJob, "pcb", "drill", {"top"}, 100 * kUm, 100 * kUm);
    DB::set_SaveFlag(false);
    const auto repaired = kt::snapshot(kJob);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_NE(kt::snapshot(kJob), repaired);
    JOB::replay_journal(journal);
    EXPECT_EQ(kt::snapshot(kJob), repaired);
}

}  // namespace
