// Feature search: by index, by attribute (name alone or name and value), by
// symbol, across layers in the order given, with a limit; the feature
// nearest a point; unknown names and empty queries refused.
#include <gtest/gtest.h>

#include <cmath>

#include "TOLVA_Search.h"
#include "kernel_test_util.h"

using namespace TOLVA;
using SEARCH::found_feature;
using SEARCH::search_kind;
using SEARCH::search_query;

namespace {

const char kJob[] = "search_job";

class KernelSearch : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"top", "bot", "empty"});
        const int r100 = kt::symbol(kJob, "top", "r100");
        const int s200 = kt::symbol(kJob, "top", "s200");
        // top: 0 pad r100 net A, 1 pad s200 net B, 2 line r100 net A + comp U1, 3 pad r100 no attribute
        kt::add(kJob, "top", API::GreatePadString(1000000, 2000000, r100, API::POL_POSITIVE, 0, 0, 1), {{".net", "A"}});
        kt::add(kJob, "top", API::GreatePadString(5000000, 2000000, s200, API::POL_POSITIVE, 0, 0, 1), {{".net", "B"}});
        kt::add(kJob, "top", API::GreateLineString(0, 0, 4000000, 0, r100, API::POL_POSITIVE, 0),
                {{".net", "A"}, {".comp", "U1"}});
        kt::add(kJob, "top", API::GreatePadString(9000000, 9000000, r100, API::POL_NEGATIVE, 0, 0, 1));
        const int bot100 = kt::symbol(kJob, "bot", "r100");
        kt::add(kJob, "bot", API::GreatePadString(3000000, 3000000, bot100, API::POL_POSITIVE, 0, 0, 1), {{".net", "A"}});
    }
    void TearDown() override { JOB::delete_job(kJob); }

    static std::vector<std::pair<std::string, int>> refs(const std::vector<found_feature>& found) {
        std::vector<std::pair<std::string, int>> out;
        for (const found_feature& f : found) out.emplace_back(f.layer, f.index);
        return out;
    }
    static search_query attribute(const std::string& name, const std::string& value) {
        search_query q;
        q.kind = search_kind::BY_ATTRIBUTE;
        q.attribute = name;
        q.value = value;
        return q;
    }
};

using Refs = std::vector<std::pair<std::string, int>>;

TEST_F(KernelSearch, FindsByAttributeNameAndValueAcrossLayersInOrder) {
    struct Case {
        const char* name;
        const char* value;
        std::vector<std::string> layers;
        Refs expected;
    };
    const Case cases[] = {
        {".net", "A", {"top", "bot"}, {{"top", 0}, {"top", 2}, {"bot", 0}}},
        {".net", "A", {"bot", "top"}, {{"bot", 0}, {"top", 0}, {"top", 2}}},
        {".net", "B", {"top", "bot"}, {{"top", 1}}},
        {".net", "", {"top"}, {{"top", 0}, {"top", 1}, {"top", 2}}},  // any value
        {".comp", "U1", {"top", "bot"}, {{"top", 2}}},
        {".net", "a", {"top", "bot"}, {}},  // values compare exactly
        {".comp", "", {"empty"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.value);
        EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", c.layers, attribute(c.name, c.value))), c.expected);
    }
}

TEST_F(KernelSearch, FindsBySymbolAndByIndex) {
    search_query q;
    q.kind = search_kind::BY_SYMBOL;
    q.symbol = "r100";
    EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, q)),
              (Refs{{"top", 0}, {"top", 2}, {"top", 3}, {"bot", 0}}));
    q.symbol = "s200";
    EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, q)), (Refs{{"top", 1}}));
    q.symbol = "r999";
    EXPECT_TRUE(SEARCH::find_features(kJob, "pcb", {"top"}, q).empty());

    search_query byIndex;
    struct Case {
        int index;
        Refs expected;
    };
    for (const Case& c : {Case{0, {{"top", 0}, {"bot", 0}}}, Case{3, {{"top", 3}}}, Case{4, {}}, Case{-1, {}}}) {
        byIndex.index = c.index;
        EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, byIndex)), c.expected) << c.index;
    }
}

TEST_F(KernelSearch, ReportsBoxAndCentre) {
    search_query q;
    q.index = 1;
    const auto pad = SEARCH::find_features(kJob, "pcb", {"top"}, q);
    ASSERT_EQ(pad.size(), 1u);
    EXPECT_DOUBLE_EQ(pad[0].x, 5000000);
    EXPECT_DOUBLE_EQ(pad[0].y, 2000000);
    EXPECT_EQ(pad[0].box, (API::reply_box{4900000, 1900000, 5100000, 2100000}));
    q.index = 2;  // the line: the middle of its box
    const auto line = SEARCH::find_features(kJob, "pcb", {"top"}, q);
    ASSERT_EQ(line.size(), 1u);
    EXPECT_DOUBLE_EQ(line[0].x, 2000000);
    EXPECT_DOUBLE_EQ(line[0].y, 0);
    EXPECT_EQ(line[0].box, (API::reply_box{-50000, -50000, 4050000, 50000}));
    // The same record as the kernel's own description.
    API::featureInfo info;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "top", 2, info));
    EXPECT_EQ(line[0].box, (API::reply_box{int(info.xmin), int(info.ymin), int(info.xmax), int(info.ymax)}));
}

TEST_F(KernelSearch, StopsAtTheLimit) {
    const auto q = attribute(".net", "A");
    EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, q, 2)), (Refs{{"top", 0}, {"top", 2}}));
    EXPECT_EQ(refs(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, q, 1)), (Refs{{"top", 0}}));
    EXPECT_EQ(SEARCH::find_features(kJob, "pcb", {"top", "bot"}, q, 0).size(), 3u);
}

TEST_F(KernelSearch, RefusesUnknownNamesAndEmptyQueries) {
    EXPECT_THROW(SEARCH::find_features("no_job", "pcb", {"top"}, search_query{}), API::KernelText);
    EXPECT_THROW(SEARCH::find_features(kJob, "no_step", {"top"}, search_query{}), API::KernelText);
    // A bad layer anywhere in the list is refused before anything is found.
    EXPECT_THROW(SEARCH::find_features(kJob, "pcb", {"top", "nope"}, search_query{}), API::KernelText);
    EXPECT_THROW(SEARCH::find_features(kJob, "pcb", {"top"}, attribute("", "A")), API::KernelText);
    search_query q;
    q.kind = search_kind::BY_SYMBOL;
    EXPECT_THROW(SEARCH::find_features(kJob, "pcb", {"top"}, q), API::KernelText);
    q.kind = static_cast<search_kind>(7);
    EXPECT_THROW(SEARCH::find_features(kJob, "pcb", {"top"}, q), API::KernelText);
}

TEST_F(KernelSearch, NearestFeatureWithinTheRadius) {
    found_feature f;
    // Near the pad at (5, 2) mm; the line's centre (2, 0) is farther.
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top", "bot"}, 4950000, 2000000, 200000, f));
    EXPECT_EQ(f.layer, "top");
    EXPECT_EQ(f.index, 1);
    // Both the line and the pad at (1, 2) mm are within 2.1 mm of (1, 1.5) mm;
    // the pad's centre is nearer than the line's middle.
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 1000000, 1500000, 2100000, f));
    EXPECT_EQ(f.index, 0);
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 2100000, 10000, 100000, f));
    EXPECT_EQ(f.index, 2);
    // Along y = 2 mm the x distance decides: the pad at 5 mm, not the one at 1 mm.
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 4900000, 2000000, 4000000, f));
    EXPECT_EQ(f.index, 1);
    // A zero radius finds what the point itself lies on.
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 1000000, 2000000, 0, f));
    EXPECT_EQ(f.index, 0);
    // The bot pad only from the bot layer.
    EXPECT_FALSE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 3000000, 3000000, 10000, f));
    ASSERT_TRUE(SEARCH::nearest_feature(kJob, "pcb", {"top", "bot"}, 3000000, 3000000, 10000, f));
    EXPECT_EQ(f.layer, "bot");
    EXPECT_FALSE(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 20000000, 20000000, 1000, f));
    EXPECT_THROW(SEARCH::nearest_feature(kJob, "pcb", {"top"}, std::nan(""), 0, 10, f), API::KernelText);
    EXPECT_THROW(SEARCH::nearest_feature(kJob, "pcb", {"top"}, 0, 0, -1, f), API::KernelText);
}

}  // namespace
