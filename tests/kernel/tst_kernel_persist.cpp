// Saving and loading jobs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

class Persist : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("tolva_persist_" + std::to_string(::getpid()));
        fs::remove_all(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string read(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    fs::path dir;
};

TEST_F(Persist, SaveAndLoadKeepEverything) {
    JOB::generate_params p;
    p.features = 3000;
    p.width_nm = 50e6;
    p.height_nm = 40e6;
    if (JOB::job_exists("gen")) JOB::delete_job("gen");
    JOB::generate_job("gen", "pcb", p);
    JOB::add_layer_note("gen", "pcb", "top", 1000, 2000, "see \"here\"");
    const auto features = kt::snapshot("gen");
    const auto matrix = API::get_matrix("gen");
    const auto profile = API::profile_box("gen", "pcb");
    JOB::save_job("gen", dir.string());
    EXPECT_FALSE(fs::exists(dir / "job.tolva.tmp"));
    const std::string saved = read(dir / "job.tolva");
    JOB::delete_job("gen");

    EXPECT_EQ(JOB::load_job(dir.string()), "gen");
    EXPECT_EQ(kt::snapshot("gen"), features);
    ASSERT_EQ(API::get_matrix("gen").size(), matrix.size());
    for (size_t i = 0; i < matrix.size(); ++i) {
        EXPECT_EQ(API::get_matrix("gen")[i].name, matrix[i].name);
        EXPECT_EQ(API::get_matrix("gen")[i].type, matrix[i].type);
    }
    EXPECT_EQ(API::profile_box("gen", "pcb"), profile);
    // Saving the loaded job again gives the same text.
    JOB::save_job("gen", (dir / "again").string());
    EXPECT_EQ(read(dir / "again" / "job.tolva"), saved);
}

TEST_F(Persist, AnAttributeSetWithNoEntriesLoadsAsNoAttributes) {
    // save_job never writes an empty set (features without attributes refer
    // to set 0), but the format allows a count of 0, as another writer or a
    // hand edit may leave it.
    kt::freshJob("attrs", {"a"});
    const int s = kt::symbol("attrs", "a", "r100");
    kt::add("attrs", "a", API::GreatePadString(1000, 2000, s, 1, 0, 0, 1), {{".smd", ""}});
    kt::add("attrs", "a", API::GreatePadString(3000, 2000, s, 1, 0, 0, 1), {});
    JOB::save_job("attrs", dir.string());
    std::string text = read(dir / "job.tolva");
    const size_t at = text.find("attrs 1 1 \".smd\" \"\"\n");
    ASSERT_NE(at, std::string::npos) << text;
    text.replace(at, text.find('\n', at) - at, "attrs 1 0");
    std::ofstream(dir / "job.tolva", std::ios::binary | std::ios::trunc) << text;
    JOB::delete_job("attrs");

    try {
        ASSERT_EQ(JOB::load_job(dir.string()), "attrs");
    } catch (const API::KernelText& e) {
        FAIL() << e;
    }
    API::featureInfo f;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(API::get_featureinfo_by_index("attrs", "pcb", "a", i, f));
        EXPECT_TRUE(f.attributes.empty()) << i;
    }
}

TEST_F(Persist, CorruptOrTruncatedFilesNameTheLineAndLoadNothing) {
    kt::freshJob("small", {"a"});
    int s = kt::symbol("small", "a", "r100");
    for (int k = 0; k < 3; ++k) kt::add("small", "a", API::GreatePadString(k, k, s, 1, 0, 0, 1));
    JOB::save_job("small", dir.string());
    const std::string good = read(dir / "job.tolva");
    JOB::delete_job("small");
    std::vector<std::string> lines;
    std::stringstream ss(good);
    for (std::string l; std::getline(ss, l);) lines.push_back(l);
    ASSERT_GE(lines.size(), 8u);
    struct Case {
        const char* what;
        std::string text;
        std::string where;
    };
    auto join = [](const std::vector<std::string>& ls, size_t upto) {
        std::string out;
        for (size_t i = 0; i < upto && i < ls.size(); ++i) out += ls[i] + "\n";
        return out;
    };
    std::vector<std::string> badRecord = lines;
    badRecord[lines.size() - 3] = "F 0 P 1 2 7 P 0 0 1";  // symbol 7 does not exist
    std::vector<std::string> badHeader = lines;
    badHeader[0] = "tolva-job 99";
    // The features line, 1-based, and the same with a count far past the file.
    const size_t featuresAt = size_t(std::find_if(lines.begin(), lines.end(), [](const std::string& l) {
                                         return l.rfind("features ", 0) == 0;
                                     }) - lines.begin()) + 1;
    ASSERT_LE(featuresAt, lines.size());
    std::vector<std::string> hugeCount = lines;
    hugeCount[featuresAt - 1] = "features \"a\" 1000000001";
    std::vector<std::string> noJobLine = lines;
    noJobLine.erase(noJobLine.begin() + 1);
    const Case cases[] = {
        {"without its end", join(lines, lines.size() - 1), ":" + std::to_string(lines.size()) + ":"},
        {"cut inside the features", join(lines, lines.size() - 2), ":" + std::to_string(featuresAt) + ":"},
        {"corrupt count", join(hugeCount, hugeCount.size()), ":" + std::to_string(featuresAt) + ":"},
        {"no job line", join(noJobLine, noJobLine.size()), ":2:"},
        {"bad record", join(badRecord, badRecord.size()), ":" + std::to_string(lines.size() - 2) + ":"},
        {"bad header", join(badHeader, badHeader.size()), ":1:"},
        {"empty", "", ":1:"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        {
            std::ofstream out(dir / "job.tolva", std::ios::binary | std::ios::trunc);
            out << c.text;
        }
        try {
            JOB::load_job(dir.string());
            ADD_FAILURE() << "loaded";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find("job.tolva" + c.where), std::string::npos) << e;
        }
        EXPECT_FALSE(JOB::job_exists("small"));
    }
    EXPECT_THROW(JOB::load_job((dir / "missing").string()), API::KernelText);
}

}  // namespace
