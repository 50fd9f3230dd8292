// The kernel's promises under random and bad input: a call that throws leaves
// no trace (features, selection, matrix, boxes, undo history, journal), layer
// boxes follow the edits, and a saved job loads back as it was.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>

#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

const char* const kStep = "pcb";
const std::vector<std::string> kLayers = {"a", "b", "c"};
const std::vector<std::string> kSymbols = {"r100", "s50", "rect200x100", "oval300x150", "donut_r500x300",
                                           "r100000"};
// Layer boxes are clipped to this (FORMATS.md, "Boxes").
constexpr double kBoxLimit = (1 << 30) - 1;

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// What a caller can observe of a job.
struct Observed {
    std::vector<API::featureInfo> features;
    std::vector<std::vector<int>> selected;  // per step and layer
    std::vector<std::string> matrix;
    std::vector<API::reply_box> boxes;  // per step: each layer, then the profile
    std::string journal;
};

// Empty when equal, else the first part that differs.
std::string difference(const Observed& a, const Observed& b) {
    if (a.features != b.features) return "features";
    if (a.selected != b.selected) return "selection";
    if (a.matrix != b.matrix) return "matrix";
    if (!(a.boxes == b.boxes)) return "boxes";
    if (a.journal != b.journal) return "journal";
    return "";
}

// `journal`: whether the journal's contents count (they differ between jobs).
Observed observe(const std::string& job, bool journal) {
    Observed o;
    o.features = kt::snapshot(job);
    const std::vector<API::matrix_info> matrix = API::get_matrix(job);
    for (const API::matrix_info& m : matrix)
        o.matrix.push_back(std::to_string(m.row) + " " + m.name + " " + m.context + " " + m.type + " " + m.polarity);
    for (const std::string& step : JOB::list_steps(job)) {
        for (const API::matrix_info& m : matrix) {
            std::vector<API::featureInfo> sel;
            API::get_selected_feature_info(job, step, m.name, sel);
            o.selected.emplace_back();
            for (const API::featureInfo& f : sel) o.selected.back().push_back(f.index);
            o.boxes.push_back(API::layer_box(job, step, m.name));
        }
        o.boxes.push_back(API::profile_box(job, step));
    }
    if (journal) o.journal = readFile(JOB::journal_path(job));
    return o;
}

// Widens `into` by `b`; `have` tells whether `into` holds a box yet.
void unite(API::reply_box& into, bool& have, const API::reply_box& b) {
    into = have ? API::reply_box{std::min(into.xmin, b.xmin), std::min(into.ymin, b.ymin),
                                 std::max(into.xmax, b.xmax), std::max(into.ymax, b.ymax)}
                : b;
    have = true;
}

// Each layer's box is the union of its features' boxes; without a profile,
// the step's box is the union of the layers'.
void expectBoxesFollowFeatures(const std::string& job) {
    const std::vector<API::featureInfo> features = kt::snapshot(job);
    auto clip = [](double v) { return int32_t(std::max(-kBoxLimit, std::min(kBoxLimit, v))); };
    API::reply_box all{};
    bool any = false;
    for (const API::matrix_info& m : API::get_matrix(job)) {
        API::reply_box box{};
        bool found = false;
        for (const API::featureInfo& f : features)
            if (f.layer == m.name) unite(box, found, {clip(f.xmin), clip(f.ymin), clip(f.xmax), clip(f.ymax)});
        EXPECT_EQ(API::layer_box(job, kStep, m.name), box) << "layer " << m.name;
        if (found) unite(all, any, box);
    }
    if (!API::has_profile(job, kStep)) {
        EXPECT_EQ(API::profile_box(job, kStep), all);
    }
}

// A job with the layers and symbols every round starts from.
void startJob(const std::string& job) {
    kt::freshJob(job, kLayers);
    for (const std::string& l : kLayers)
        for (const std::string& s : kSymbols) kt::symbol(job, l, s);
}

// One call with the random choices made: `run` performs it on a job, `twin`
// (when set) is the journal twin the view calls first.
struct Call {
    std::string label;
    std::function<void(const std::string&)> twin;
    std::function<void(const std::string&)> run;
};

// A call and its twin, both taking the job and then `args`.
template <class Twin, class Run, class... A>
Call journalled(const char* label, Twin twin, Run run, A... args) {
    return {label, [=](const std::string& j) { twin(j, args...); }, [=](const std::string& j) { run(j, args...); }};
}

class Generator {
public:
    // `dir`: where the journals live (and a file "file" that is no directory).
    Generator(unsigned seed, fs::path dir) : m_rng(seed), m_dir(std::move(dir)) {}

    static std::string journalOf(const fs::path& dir, const std::string& job) {
        return (dir / (job + ".journal")).string();
    }
    static std::string brokenJournal(const fs::path& dir) { return (dir / "missing" / "tested.journal").string(); }

    // A call against the current state of `job`.
    Call next(const std::string& job) {
        m_job = job;
        m_matrix = API::get_matrix(job);
        long total = 0;
        for (const API::matrix_info& m : m_matrix) total += JOB::feature_count(job, kStep, m.name);
        const bool grow = total < kFeatureCap;  // copies multiply the features
        switch (below(grow ? 20 : 15)) {
        case 0: return moveOrCopySelected(false);
        case 1: return specified(true);
        case 2: return selectPolygon();
        case 3: return selectOne();
        case 4: return unselect();
        case 5:
        case 6: return {"undo_last_edit", {}, [](const std::string& j) { API::undo_last_edit(j); }};
        case 7: return layerEdit();
        case 8: return matrixEdit();
        case 9: return journalPath();
        case 10: return jobEdit();
        case 11: return symbol();
        case 12:
        case 13: return selectAll();
        case 14: return moveOrCopySelected(false);
        case 15: return moveOrCopySelected(true);
        case 16: return multiCopy();
        case 17: return specified(false);
        case 18: return addFeatures();
        default: return addFeature();
        }
    }
    Call addFeature(const std::string& job) {
        m_job = job;
        m_matrix = API::get_matrix(job);
        return addFeature();
    }

private:
    Call addFeature() {
        const auto ls = layers();
        std::map<std::string, std::string> strings;
        for (const std::string& l : ls)
            if (!bad()) strings[l] = record();
        const auto a = attrs();
        const bool select = chance(50);
        const std::string s = step();
        return journalled("AddFeature", DB::AddFeature_db_save,
                          [select](const std::string& j, auto&&... args) { API::AddFeature(j, args..., select); }, s,
                          ls, strings, a);
    }
    static constexpr long kFeatureCap = 300;
    // How often a random value is out of range (a record has about six).
    static constexpr int kBadPercent = 3;

    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_rng); }
    bool chance(int percent) { return below(100) < percent; }
    bool bad() { return chance(kBadPercent); }
    template <class T>
    T pick(std::initializer_list<T> values) {
        return *(values.begin() + below(int(values.size())));
    }
    // One of the good values, or now and then one of the bad ones.
    template <class T>
    T either(std::initializer_list<T> good, std::initializer_list<T> wrong) {
        return bad() ? pick(wrong) : pick(good);
    }

    std::string step() { return bad() ? "nostep" : kStep; }
    std::string layer() { return bad() ? "zz" : m_matrix[size_t(below(int(m_matrix.size())))].name; }
    std::vector<std::string> layers() {
        std::vector<std::string> out(size_t(below(4)));
        for (std::string& l : out) l = layer();
        return out;
    }
    double coordinate() {
        if (!bad()) return std::uniform_real_distribution<double>(-2e6, 2e6)(m_rng);
        const double inf = std::numeric_limits<double>::infinity();
        return pick({1e9, -1e9, 999999999.4, -1e9 - 1, 2147483648.0, 1e300, inf, -inf,
                     std::numeric_limits<double>::quiet_NaN()});
    }
    int offset() {
        if (chance(80)) return below(4001) - 2000;
        return pick({0, 1000000, -1000000, 999999999, -1999999999, INT_MIN, INT_MAX});
    }
    int symbolIndex() { return bad() ? pick({-1, int(kSymbols.size()), INT_MAX}) : below(int(kSymbols.size())); }
    int polarity() { return either({0, 1}, {7}); }
    int mirror() { return either({0, 1}, {2, -1}); }

    std::string text() {
        std::string t(size_t(below(40) + 1), ' ');
        for (char& c : t) c = "AW1 .-_"[below(7)];
        return t;
    }
    std::string malformed() {
        if (chance(70))
            return pick<const char*>({"", "Z 1", "L 1", "P 2147483648 0 0 P 0 0 1", "S P 0 1000000000 3",
                                      "T 0 0 P 0 0 1 1 1 1 \"f\" \"\"", "P 0 0 0 P 0 0 1e-300",
                                      "A 0 0 5 5 0 0 0 P 0 CW", "P 0 0 0 P 0 0 1 extra"});
        // A good record cut short or with one byte changed.
        std::string r = API::GreatePadString(1, 2, 0, 1, 0, 0, 1);
        if (chance(50))
            r.resize(size_t(below(int(r.size()))));
        else
            r[size_t(below(int(r.size())))] = char(below(256));
        return r;
    }
    std::string record() {
        try {
            switch (bad() ? -1 : below(5)) {
            case 0:
                return API::GreateLineString(coordinate(), coordinate(), coordinate(), coordinate(), symbolIndex(),
                                             polarity(), below(20));
            case 1:
                return API::GreatePadString(coordinate(), coordinate(), symbolIndex(), polarity(), offset(), mirror(),
                                            either({0.0, 1.0, 0.5, 3.0, 1000.0}, {1e-300, -1.0, 1000.5}));
            case 2: {
                const double xc = coordinate(), yc = coordinate();
                return API::GreateArcString(coordinate(), coordinate(), coordinate(), coordinate(), xc, yc,
                                            symbolIndex(), polarity(), below(20), chance(50));
            }
            case 3: {
                std::vector<API::lPoint> points(size_t(below(7) + 1));
                for (API::lPoint& p : points) p = {coordinate(), coordinate()};
                return API::GreateSurfaceString(points, polarity(), below(20), !bad());
            }
            case 4:
                // Up to the size limits: long texts reach past 32 bits.
                return API::GreateTextString(coordinate(), coordinate(), text(), polarity(), offset(),
                                             either({1000.0, 2e5, 1e8}, {1e8 + 1, 0.0}),
                                             either({1500.0, 1e8}, {-1.0}), either({1.0, 0.0, 0.3}, {1001.0}),
                                             "std", mirror(), either({1.0, 2.0, 0.0}, {-2.0}));
            default:
                return malformed();
            }
        } catch (const API::KernelText&) {
            return malformed();  // the builder refused its input
        }
    }
    API::attr_map attrs() {
        if (chance(50)) return {};
        return {{".n", std::to_string(below(3))}};
    }

    Call addFeatures() {
        const auto ls = layers();
        std::map<std::string, std::vector<std::string>> strings;
        for (const std::string& l : ls) {
            if (bad()) continue;
            for (int k = below(4); k > 0; --k) strings[l].push_back(record());
        }
        std::vector<API::attr_map> a(size_t(below(3)));
        for (API::attr_map& m : a) m = attrs();
        const std::string s = step();
        return journalled("AddFeatures", DB::AddFeatures_db_save, API::AddFeatures, s, ls, strings, a);
    }
    Call moveOrCopySelected(bool copy) {
        const auto ls = layers();
        const int dx = offset(), dy = offset();
        const std::string s = step();
        if (copy)
            return journalled("copy_features_in_samelayer", DB::copy_features_in_samelayer_db_save,
                              API::copy_features_in_samelayer, s, ls, dx, dy);
        return journalled("move_same_layer", DB::move_same_layer_db_save, API::move_same_layer, s, ls, dx, dy);
    }
    Call multiCopy() {
        const auto ls = layers();
        std::vector<API::point> offsets(size_t(below(4)));
        for (API::point& o : offsets) o = {offset(), offset()};
        const std::string s = step();
        return journalled("multi_copy_features_in_samelayer", DB::multi_copy_features_in_samelayer_db_save,
                          API::multi_copy_features_in_samelayer, s, ls, offsets);
    }
    // Descriptions of some features, now and then stale.
    std::map<std::string, std::vector<API::featureInfo>> described() {
        std::map<std::string, std::vector<API::featureInfo>> out;
        for (int k = below(4); k > 0; --k) {
            const std::string l = layer();
            API::featureInfo f;
            const int index = below(std::max(1, l == "zz" ? 1 : JOB::feature_count(m_job, kStep, l)));
            if (l == "zz" || !API::get_featureinfo_by_index(m_job, kStep, l, index, f)) f.index = index;
            if (bad()) f.record += " ";
            if (bad()) f.index = pick({-1, INT_MAX});
            out[l].push_back(f);
        }
        return out;
    }
    Call specified(bool move) {
        const auto ls = layers();
        const auto features = described();
        const int dx = offset(), dy = offset();
        const std::string s = step();
        if (move)
            return journalled("move_specified_features", DB::move_specified_features_db_save,
                              API::move_specified_features, s, ls, features, dx, dy);
        return journalled("copy_specified_features", DB::copy_specified_features_db_save,
                          API::copy_specified_features, s, ls, features, dx, dy);
    }
    Call selectPolygon() {
        std::vector<API::point> polygon(size_t(bad() ? 0 : below(5) + 1));
        auto ordinate = [&] { return either({(below(4001) - 2000) * 1000}, {INT_MIN, INT_MAX}); };
        for (API::point& p : polygon) p = {ordinate(), ordinate()};
        const std::string l = layer();
        const int operation = either({0, 1}, {2}), clear = below(2);
        const API::select_filter filter;
        return journalled(
            "select_features", DB::select_features_db_save,
            [](const std::string& j, auto&&... args) { API::select_features(j, args...); }, std::string(kStep), l,
            polygon, filter, operation, clear);
    }
    Call selectAll() {
        const std::string l = layer();
        return journalled(
            "select_features (all)", DB::select_all_features_db_save,
            [](const std::string& j, auto&&... args) { API::select_features(j, args...); }, std::string(kStep), l);
    }
    Call selectOne() {
        const std::string l = layer();
        const int index = either({below(10)}, {-1, INT_MAX});
        return journalled("select_feature_by_id", DB::select_feature_by_id_db_save, API::select_feature_by_id,
                          std::string(kStep), l, index);
    }
    Call unselect() {
        const std::string l = layer();
        if (chance(30))
            return journalled("clear_selected_features", DB::clear_selected_features_db_save,
                              API::clear_selected_features, std::string(kStep), l);
        const auto features = described();
        const API::featureInfo f = features.empty() ? API::featureInfo{} : features.begin()->second.front();
        return journalled("unselect_feature_by_info", DB::unselect_feature_by_info_db_save,
                          API::unselect_feature_by_info, std::string(kStep), l, f);
    }
    Call layerEdit() {
        const std::string name = pick<const char*>({"n1", "n2", "a", "", "bad\x01"});
        const int position = pick({-5, -1, 0, 1, 2, 100, INT_MAX});
        const std::string s = step();
        return journalled("create_new_layer", DB::create_new_layer_db_save, API::create_new_layer, s, name, position);
    }
    Call matrixEdit() {
        API::matrix_info row = m_matrix[size_t(below(int(m_matrix.size())))];
        if (bad()) row.row = pick({0, -1, int(m_matrix.size()) + 1, INT_MIN});
        if (chance(40)) row.name = pick<const char*>({"n1", "b", "", "x\n", "r"});
        if (chance(30)) row.context = pick<const char*>({"board", "misc", "nowhere"});
        if (chance(30)) row.type = pick<const char*>({"drill", "rout", "signal", "fish"});
        if (chance(20)) row.polarity = pick<const char*>({"negative", "positive", "neutral"});
        return journalled("change_matrix", DB::change_matrix_db_save, API::change_matrix, row);
    }
    Call symbol() {
        const std::string l = layer();
        const std::string name = pick<const char*>({"r7", "s5", "q", "r0", "", "donut_r5x10", "oval30x15"});
        // Both take the index by reference.
        auto withIndex = [](auto call) {
            return [call](const std::string& j, const std::string& step, const std::string& layer,
                          const std::string& symbol) {
                int index = -1;
                call(j, step, layer, symbol, index);
            };
        };
        return journalled("create_new_symbol", withIndex(DB::create_new_symbol_db_save),
                          withIndex(API::create_new_symbol), std::string(kStep), l, name);
    }
    // The journal of the job under test becomes unusable, or usable again
    // (the twin job keeps its own).
    Call journalPath() {
        const bool broken = chance(50);
        const fs::path dir = m_dir;
        const std::string tested = m_job;
        return {"set_journal_path", {}, [=](const std::string& j) {
                    JOB::set_journal_path(j, broken && j == tested ? brokenJournal(dir) : journalOf(dir, j));
                }};
    }
    // Changes outside the undo history: profile, notes, a save to a path
    // that cannot be a directory.
    Call jobEdit() {
        switch (below(3)) {
        case 0: {
            std::vector<API::lPoint> outline(size_t(below(5) + 1));
            for (API::lPoint& p : outline) p = {coordinate(), coordinate()};
            return {"set_profile", {}, [=](const std::string& j) { JOB::set_profile(j, kStep, outline); }};
        }
        case 1: {
            const std::string l = layer();
            const double x = coordinate(), y = coordinate();
            return {"add_layer_note", {}, [=](const std::string& j) { JOB::add_layer_note(j, kStep, l, x, y, "n"); }};
        }
        default: {
            const std::string blocked = (m_dir / "file" / "dir").string();
            return {"save_job", {}, [=](const std::string& j) { JOB::save_job(j, blocked); }};
        }
        }
    }

    std::mt19937 m_rng;
    fs::path m_dir;
    std::string m_job;
    std::vector<API::matrix_info> m_matrix;
};

class Promises : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("tolva_promises_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        std::ofstream(dir / "file") << "not a directory";
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        for (const char* job : {kTested, kTwin, kReloaded})
            if (JOB::job_exists(job)) JOB::delete_job(job);
        fs::remove_all(dir);
    }
    std::string journalOf(const std::string& job) const { return Generator::journalOf(dir, job); }

    // Runs `call` on the tested job; when it throws, nothing observable may
    // have changed. Returns whether it succeeded.
    bool attempt(const std::function<void()>& call, const std::string& label) {
        const Observed before = observe(kTested, true);
        try {
            call();
            return true;
        } catch (const API::KernelText& e) {
            EXPECT_EQ(difference(before, observe(kTested, true)), "") << label << " threw: " << e;
            return false;
        }
    }

    // The saved job, loaded under another name, shows the same features and
    // boxes: boxes are derived from the geometry, not carried along edits.
    void expectReloadsAsSaved() {
        const fs::path saved = dir / "saved";
        JOB::save_job(kTested, saved.string());
        std::string text = readFile((saved / "job.tolva").string());
        const std::string line = "job \"" + std::string(kTested) + "\"";
        text.replace(text.find(line), line.size(), "job \"" + std::string(kReloaded) + "\"");
        std::ofstream(saved / "job.tolva", std::ios::binary | std::ios::trunc) << text;
        ASSERT_EQ(JOB::load_job(saved.string()), kReloaded);
        Observed original = observe(kTested, false), reloaded = observe(kReloaded, false);
        original.selected.clear();  // the selection is not saved
        reloaded.selected.clear();
        EXPECT_EQ(difference(original, reloaded), "");
        JOB::delete_job(kReloaded);
    }

    static constexpr const char* kTested = "tested";
    static constexpr const char* kTwin = "twin";
    static constexpr const char* kReloaded = "reloaded";
    fs::path dir;
};

// The tested job gets every call, its twin only the calls that succeeded on
// it. A call that throws must leave the tested job as it was; so both keep
// equal states and undo histories, which undoing them in step shows.
TEST_F(Promises, ACallThatThrowsLeavesNoTrace) {
    constexpr unsigned kRounds = 100;
    constexpr int kFirstAdds = 12, kCallsPerRound = 48;  // together below the undo depth
    DB::set_SaveFlag(true);
    size_t failed = 0, succeeded = 0;
    for (unsigned seed = 1; seed <= kRounds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        for (const char* job : {kTested, kTwin}) {
            startJob(job);
            JOB::set_journal_path(job, journalOf(job));
            fs::remove(journalOf(job));
        }
        Generator gen(seed, dir);
        for (int k = 0; k < kFirstAdds + kCallsPerRound; ++k) {
            const Call call = k < kFirstAdds ? gen.addFeature(kTested) : gen.next(kTested);
            if (call.twin) attempt([&] { call.twin(kTested); }, call.label + " (twin)");
            if (!attempt([&] { call.run(kTested); }, call.label)) {
                ++failed;
                continue;
            }
            ++succeeded;
            if (call.twin) call.twin(kTwin);
            ASSERT_NO_THROW(call.run(kTwin)) << call.label << " succeeded on the tested job only";
            expectBoxesFollowFeatures(kTested);
        }
        expectReloadsAsSaved();
        JOB::set_journal_path(kTested, journalOf(kTested));
        for (int depth = 0;; ++depth) {
            ASSERT_EQ(difference(observe(kTested, false), observe(kTwin, false)), "") << "after undo " << depth;
            const bool more = API::undo_last_edit(kTested);
            ASSERT_EQ(API::undo_last_edit(kTwin), more) << "after undo " << depth;
            if (!more) break;
        }
    }
    // The mix exercises both sides.
    EXPECT_GT(failed, kRounds * kCallsPerRound / 4);
    EXPECT_GT(succeeded, kRounds * kCallsPerRound / 4);
}

// The calls that write to the journal (the twins, and AddFeature with
// select_new and undo_last_edit for their own lines) when it cannot be
// opened or written: each throws and leaves the job, its undo history and
// the journal as they were.
TEST_F(Promises, AJournalThatCannotBeWrittenChangesNothing) {
    startJob(kTested);
    const int pen = 0;
    auto pad = [&](int x) { return API::GreatePadString(x, 0, pen, API::POL_POSITIVE, 0, 0, 1); };
    JOB::set_journal_path(kTested, journalOf(kTested));
    DB::set_SaveFlag(true);
    kt::add(kTested, "a", pad(0));
    kt::add(kTested, "a", pad(1000));
    API::select_feature_by_id(kTested, kStep, "a", 0);
    struct Case {
        const char* what;
        std::function<void()> run;
    };
    const Case cases[] = {
        {"AddFeature selecting the new feature",
         [&] { API::AddFeature(kTested, kStep, {"a", "b"}, {{"a", pad(5)}, {"b", pad(6)}}, {{"k", "v"}}, true); }},
        {"undo_last_edit", [&] { API::undo_last_edit(kTested); }},
        {"AddFeature twin", [&] { DB::AddFeature_db_save(kTested, kStep, {"a"}, {{"a", pad(5)}}, {}); }},
        {"move twin", [&] { DB::move_same_layer_db_save(kTested, kStep, {"a"}, 1, 1); }},
    };
    // Missing folder, a folder, a device that is always full (write fails).
    const std::string unusable[] = {Generator::brokenJournal(dir), dir.string(), "/dev/full"};
    for (const std::string& path : unusable) {
        if (path == "/dev/full" && !fs::exists(path)) continue;
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.what) + " into " + path);
            JOB::set_journal_path(kTested, journalOf(kTested));
            const Observed before = observe(kTested, true);
            JOB::set_journal_path(kTested, path);
            EXPECT_THROW(c.run(), API::KernelText);
            JOB::set_journal_path(kTested, journalOf(kTested));
            EXPECT_EQ(difference(before, observe(kTested, true)), "");
        }
    }
    // Adding to no layer is no edit and writes nothing.
    const Observed before = observe(kTested, true);
    for (bool select : {false, true}) API::AddFeature(kTested, kStep, {}, {}, {}, select);
    API::AddFeatures(kTested, kStep, {"a"}, {{"a", {}}}, {});
    EXPECT_EQ(difference(before, observe(kTested, true)), "");
    // So the last edit is still the second pad.
    EXPECT_TRUE(API::undo_last_edit(kTested));
    EXPECT_EQ(JOB::feature_count(kTested, kStep, "a"), 1);
}

}  // namespace
