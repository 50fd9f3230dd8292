// Generated boards: the matrix an operator expects, a count near the one
// asked for, the same board for the same seed, and copper that hangs
// together (drills on pads, octilinear traces ending on vias of their net,
// clearances and reliefs in the planes, nets on every copper feature).
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

using Features = std::vector<API::featureInfo>;
using Key = std::pair<long long, long long>;

Key at(double x, double y) { return {std::llround(x), std::llround(y)}; }

Features layerFeatures(const std::string& job, const std::string& layer) {
    Features out;
    API::featureInfo f;
    for (int i = 0; API::get_featureinfo_by_index(job, "pcb", layer, i, f); ++i) out.push_back(f);
    return out;
}

std::string netOf(const API::featureInfo& f) {
    auto it = f.attributes.find(".net");
    return it == f.attributes.end() ? std::string() : it->second;
}

bool isCopper(const API::matrix_info& row) { return row.type == "signal" || row.type == "power_ground"; }

// One generated job per parameter set, made once for all the tests that read it.
const std::string& board(long features, int signalLayers = 6, unsigned seed = 1) {
    static std::map<std::tuple<long, int, unsigned>, std::string> made;
    std::string& name = made[{features, signalLayers, seed}];
    if (name.empty()) {
        name = "gen_" + std::to_string(features) + "_" + std::to_string(signalLayers) + "_" + std::to_string(seed);
        if (JOB::job_exists(name)) JOB::delete_job(name);
        JOB::generate_params p;
        p.features = features;
        p.signal_layers = signalLayers;
        p.seed = seed;
        JOB::generate_job(name, "pcb", p);
    }
    return name;
}

long totalFeatures(const std::string& job) {
    long total = 0;
    for (const auto& row : API::get_matrix(job)) total += JOB::feature_count(job, "pcb", row.name);
    return total;
}

TEST(Generate, MatrixRowsForEachStack) {
    struct Case {
        int signal;
        std::vector<std::string> rows;  // name:type
    };
    const Case cases[] = {
        {6, {"sst:silk_screen", "smt:solder_mask", "top:signal", "l2:power_ground", "l3:signal", "l4:signal",
             "l5:power_ground", "bottom:signal", "smb:solder_mask", "ssb:silk_screen", "drill:drill", "rout:rout"}},
        {4, {"sst:silk_screen", "smt:solder_mask", "top:signal", "l2:power_ground", "l3:power_ground",
             "bottom:signal", "smb:solder_mask", "ssb:silk_screen", "drill:drill", "rout:rout"}},
        {8, {"sst:silk_screen", "smt:solder_mask", "top:signal", "l2:power_ground", "l3:signal", "l4:signal",
             "l5:power_ground", "l6:signal", "l7:power_ground", "bottom:signal", "smb:solder_mask",
             "ssb:silk_screen", "drill:drill", "rout:rout"}},
        {2, {"sst:silk_screen", "smt:solder_mask", "top:signal", "bottom:signal", "smb:solder_mask",
             "ssb:silk_screen", "drill:drill", "rout:rout"}},
        {1, {"sst:silk_screen", "smt:solder_mask", "top:signal", "smb:solder_mask", "ssb:silk_screen", "drill:drill",
             "rout:rout"}},
        {0, {"sst:silk_screen", "smt:solder_mask", "smb:solder_mask", "ssb:silk_screen", "drill:drill", "rout:rout"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.signal);
        const std::string& job = board(20000, c.signal);
        std::vector<std::string> rows;
        for (const auto& row : API::get_matrix(job)) {
            EXPECT_EQ(row.context, "board") << row.name;
            rows.push_back(row.name + ":" + row.type);
        }
        EXPECT_EQ(rows, c.rows);
        EXPECT_NEAR(double(totalFeatures(job)), 20000.0, 2000.0);
    }
}

TEST(Generate, CountLandsNearTheTarget) {
    struct Case {
        long features;
        int signal;
        unsigned seed;
    };
    const Case cases[] = {{20000, 6, 1}, {20000, 6, 9}, {200000, 6, 1}, {200000, 2, 3}, {1000000, 6, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.features) + " features, seed " + std::to_string(c.seed));
        const std::string& job = board(c.features, c.signal, c.seed);
        EXPECT_NEAR(double(totalFeatures(job)), double(c.features), 0.1 * c.features);
        EXPECT_EQ(API::profile_box(job, "pcb"), (API::reply_box{0, 0, 300000000, 200000000}));
    }
    if (JOB::job_exists(board(1000000))) JOB::delete_job(board(1000000));
}

TEST(Generate, TheSameSeedGivesTheSameBoard) {
    if (JOB::job_exists("again")) JOB::delete_job("again");
    JOB::generate_params p;
    p.features = 20000;
    JOB::generate_job("again", "pcb", p);
    EXPECT_EQ(kt::snapshot("again"), kt::snapshot(board(20000)));
    EXPECT_NE(kt::snapshot(board(20000, 6, 9)), kt::snapshot(board(20000)));
}

// Plated and via drills sit on a top pad wider than the hole; the tooling
// holes have no copper but a clearance in the top pour.
TEST(Generate, DrillsSitOnTopPads) {
    const std::string& job = board(20000);
    std::map<Key, double> pads, clearances;  // widest positive pad and negative pad at each centre
    for (const auto& f : layerFeatures(job, "top")) {
        if (f.type != API::FT_PAD) continue;
        double& widest = (f.polarity == API::POL_POSITIVE ? pads : clearances)[at(f.xs, f.ys)];
        widest = std::max(widest, f.xmax - f.xmin);
    }
    std::map<std::string, int> kinds;
    for (const auto& d : layerFeatures(job, "drill")) {
        ASSERT_EQ(d.type, API::FT_PAD);
        const std::string kind = d.attributes.count(".drill") ? d.attributes.at(".drill") : "";
        ++kinds[kind];
        const double hole = d.xmax - d.xmin;
        const Key k = at(d.xs, d.ys);
        if (kind == "non_plated") {
            EXPECT_EQ(pads.count(k), 0u) << "copper in a tooling hole at " << d.xs << ", " << d.ys;
            EXPECT_GT(clearances[k], hole) << "no clearance round the tooling hole at " << d.xs << ", " << d.ys;
            continue;
        }
        ASSERT_TRUE(kind == "via" || kind == "plated") << "drill kind '" << kind << "'";
        ASSERT_EQ(pads.count(k), 1u) << kind << " drill without a top pad at " << d.xs << ", " << d.ys;
        EXPECT_GT(pads[k], hole) << kind << " drill wider than its pad at " << d.xs << ", " << d.ys;
    }
    EXPECT_GT(kinds["via"], 100);
    EXPECT_GT(kinds["plated"], 4);
    EXPECT_GE(kinds["non_plated"], 3);
}

// Every line of every copper layer runs at 0, 45, 90 or 135 degrees, and on
// the inner routing layers each end meets a via of its own net or another
// trace of it: a bus that joined the wrong pins, or missed a via by a
// nanometre, shows here.
TEST(Generate, TracesAreOctilinearAndEndOnTheirNet) {
    const std::string& job = board(20000);
    int lines = 0, diagonal = 0, innerEnds = 0;
    for (const auto& row : API::get_matrix(job)) {
        if (!isCopper(row)) continue;
        const Features fs = layerFeatures(job, row.name);
        // Via centres and line ends: how many of each net meet at each point.
        std::map<Key, std::map<std::string, int>> ends;
        for (const auto& f : fs)
            if (f.polarity == API::POL_POSITIVE && (f.type == API::FT_PAD || f.type == API::FT_LINE)) {
                ++ends[at(f.xs, f.ys)][netOf(f)];
                if (f.type == API::FT_LINE) ++ends[at(f.xe, f.ye)][netOf(f)];
            }
        for (const auto& f : fs) {
            if (f.type != API::FT_LINE) continue;
            ++lines;
            const long long dx = std::llround(f.xe - f.xs), dy = std::llround(f.ye - f.ys);
            ASSERT_TRUE(dx == 0 || dy == 0 || std::llabs(dx) == std::llabs(dy))
                << row.name << ": " << f.record;
            diagonal += dx != 0 && dy != 0;
            if (row.name == "top" || row.name == "bottom" || f.polarity != API::POL_POSITIVE) continue;
            for (Key end : {at(f.xs, f.ys), at(f.xe, f.ye)}) {
                ++innerEnds;
                const auto& nets = ends[end];
                EXPECT_TRUE(nets.size() == 1 && nets.begin()->second >= 2)
                    << row.name << ": " << f.record << " ends alone or where " << nets.size() << " nets meet";
            }
        }
    }
    EXPECT_GT(lines, 1000);
    EXPECT_GT(diagonal, 100);
    EXPECT_GT(innerEnds, 200);
}

// Positive copper carries its net (fiducials excepted); what cuts the pours
// carries none. GND, supplies and signals all appear.
TEST(Generate, CopperCarriesNets) {
    const std::string& job = board(20000);
    std::set<std::string> names;
    int fiducials = 0;
    for (const auto& row : API::get_matrix(job)) {
        if (!isCopper(row)) continue;
        for (const auto& f : layerFeatures(job, row.name)) {
            if (f.type == API::FT_TEXT) continue;
            if (f.polarity == API::POL_NEGATIVE) {
                EXPECT_EQ(netOf(f), "") << row.name << ": " << f.record;
                continue;
            }
            if (f.attributes.count(".fiducial")) {
                ++fiducials;
                continue;
            }
            const std::string net = netOf(f);
            ASSERT_FALSE(net.empty()) << row.name << ": " << f.record;
            names.insert(net);
            if (f.type == API::FT_SURFACE) {
                EXPECT_TRUE(net == "GND" || net[0] == '+') << row.name << ": " << net;
            }
        }
    }
    EXPECT_GT(fiducials, 0);
    EXPECT_TRUE(names.count("GND"));
    EXPECT_TRUE(names.count("+3V3"));
    EXPECT_TRUE(std::any_of(names.begin(), names.end(), [](const std::string& n) { return n.rfind("N$", 0) == 0; }));
    EXPECT_GT(names.size(), 200u);
}

// In the GND plane every hole of another net has an antipad, every plated
// GND hole a thermal relief of four negative arcs round it, and GND vias
// join the plane solidly (nothing round them).
TEST(Generate, PlanesClearForeignHolesAndRelieveGround) {
    const std::string& job = board(20000);
    std::map<Key, std::string> netAt;  // the top pad's net at each hole
    for (const auto& f : layerFeatures(job, "top"))
        if (f.type == API::FT_PAD && f.polarity == API::POL_POSITIVE) netAt[at(f.xs, f.ys)] = netOf(f);
    std::map<Key, int> antipads, arcs;
    bool plane = false;
    for (const auto& f : layerFeatures(job, "l2")) {
        if (f.type == API::FT_SURFACE) plane = plane || netOf(f) == "GND";
        if (f.polarity != API::POL_NEGATIVE) continue;
        if (f.type == API::FT_PAD) ++antipads[at(f.xs, f.ys)];
        if (f.type == API::FT_ARC) ++arcs[at(f.xc, f.yc)];
    }
    EXPECT_TRUE(plane);
    int reliefs = 0;
    for (const auto& d : layerFeatures(job, "drill")) {
        const std::string kind = d.attributes.at(".drill");
        if (kind == "non_plated") continue;
        const Key k = at(d.xs, d.ys);
        const bool ground = netAt[k] == "GND";
        EXPECT_EQ(antipads[k], ground ? 0 : 1) << kind << " of " << netAt[k] << " at " << d.xs << ", " << d.ys;
        EXPECT_EQ(arcs[k], ground && kind == "plated" ? 4 : 0) << kind << " of " << netAt[k];
        reliefs += arcs[k] == 4;
    }
    EXPECT_GT(reliefs, 4);
}

// Four GND lines of one width from a point, pointing four ways that cancel
// out: a thermal relief's spokes (a trace from the pad is another width).
bool hasSpokes(const std::map<std::string, std::vector<Key>>& lines) {
    for (const auto& group : lines) {
        long long sx = 0, sy = 0;
        for (const Key& d : group.second) {
            sx += d.first;
            sy += d.second;
        }
        if (group.second.size() == 4 && sx == 0 && sy == 0) return true;
    }
    return false;
}

// In the top pour, a GND pad is cleared and bridged back by four GND spokes
// from its centre; a pad of any other net is cleared and left alone.
TEST(Generate, TopPourRelievesGroundPadsAndClearsTheRest) {
    const std::string& job = board(20000);
    std::map<Key, std::map<std::string, std::vector<Key>>> spokes;  // GND lines from each point, by symbol
    std::map<Key, int> cleared;
    std::vector<API::featureInfo> pads;
    for (const auto& f : layerFeatures(job, "top")) {
        if (f.type == API::FT_LINE && f.polarity == API::POL_POSITIVE && netOf(f) == "GND")
            spokes[at(f.xs, f.ys)][f.symbol].push_back(at(f.xe - f.xs, f.ye - f.ys));
        if (f.type == API::FT_PAD && f.polarity == API::POL_NEGATIVE) ++cleared[at(f.xs, f.ys)];
        if (f.type == API::FT_PAD && f.attributes.count(".smd")) pads.push_back(f);
    }
    int relieved = 0, isolated = 0;
    for (const auto& p : pads) {
        const Key k = at(p.xs, p.ys);
        if (!cleared[k]) continue;  // inside a package's cut-out: no pour round it
        if (netOf(p) == "GND") {
            EXPECT_TRUE(hasSpokes(spokes[k])) << p.record;
            ++relieved;
        } else {
            EXPECT_TRUE(spokes[k].empty()) << netOf(p) << ": " << p.record;
            ++isolated;
        }
    }
    EXPECT_GT(relieved, 50);
    EXPECT_GT(isolated, 50);
}

// A bus joins one component pin to one pin of the neighbouring component
// or connector: each net routed on an inner layer has exactly two component
// pads (those with a mask opening) on the top.
TEST(Generate, BusNetsJoinTwoPins) {
    const std::string& job = board(20000);
    std::set<std::string> bused;
    for (const char* layer : {"l3", "l4"})
        for (const auto& f : layerFeatures(job, layer))
            if (f.type == API::FT_LINE) bused.insert(netOf(f));
    std::set<Key> openings;
    for (const auto& f : layerFeatures(job, "smt")) openings.insert(at(f.xs, f.ys));
    std::map<std::string, int> pins;
    for (const auto& f : layerFeatures(job, "top"))
        if (f.type == API::FT_PAD && openings.count(at(f.xs, f.ys)) && bused.count(netOf(f))) ++pins[netOf(f)];
    ASSERT_GT(bused.size(), 20u);
    for (const std::string& net : bused) EXPECT_EQ(pins[net], 2) << net;
}

// Small counts and small boards still give a job: nothing for no features,
// the outline at least for a few, and everything inside the profile.
TEST(Generate, SmallCountsAndSmallBoards) {
    struct Case {
        long features;
        double width, height;
        int signal;
        long atMost;  // features
    };
    const Case cases[] = {{0, 300e6, 200e6, 6, 0}, {7, 300e6, 200e6, 2, 8}, {1999, 300e6, 200e6, 6, 2200},
                          {5000, 1e6, 1e6, 4, 5500}, {20000, 20e6, 15e6, 8, 22000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.features) + " features on " + std::to_string(c.width));
        if (JOB::job_exists("small")) JOB::delete_job("small");
        JOB::generate_params p;
        p.features = c.features;
        p.width_nm = c.width;
        p.height_nm = c.height;
        p.signal_layers = c.signal;
        JOB::generate_job("small", "pcb", p);
        EXPECT_TRUE(API::has_profile("small", "pcb"));
        EXPECT_LE(totalFeatures("small"), c.atMost);
        if (c.features > 0) {
            EXPECT_GT(totalFeatures("small"), 0);
        }
        for (const auto& f : kt::snapshot("small")) {
            ASSERT_GE(f.xmin, -1000000) << f.layer << ": " << f.record;  // the rout bit's half width at most
            ASSERT_LE(f.xmax, c.width + 1000000) << f.layer << ": " << f.record;
            ASSERT_GE(f.xs, 0) << f.layer << ": " << f.record;
            ASSERT_LE(f.ys, c.height) << f.layer << ": " << f.record;
        }
    }
}

// Surface-mount pads have a slightly larger opening in the mask, vias are
// tented; the silk names every component once.
TEST(Generate, MaskOpeningsAndReferenceDesignators) {
    const std::string& job = board(20000);
    std::map<Key, double> openings;
    for (const auto& f : layerFeatures(job, "smt")) openings[at(f.xs, f.ys)] = f.xmax - f.xmin;
    int smd = 0;
    for (const auto& f : layerFeatures(job, "top")) {
        if (f.type != API::FT_PAD || !f.attributes.count(".smd")) continue;
        ++smd;
        const Key k = at(f.xs, f.ys);
        ASSERT_EQ(openings.count(k), 1u) << f.record;
        EXPECT_GT(openings[k], f.xmax - f.xmin) << f.record;
        EXPECT_LT(openings[k], f.xmax - f.xmin + 200000) << f.record;
    }
    EXPECT_GT(smd, 500);
    std::map<char, int> prefixes;
    std::set<std::string> names;
    // A designator: U, R, C or J, then a number without leading zero.
    auto designator = [](const std::string& t) {
        return t.size() >= 2 && std::string("URCJ").find(t[0]) != std::string::npos && t[1] >= '1' && t[1] <= '9' &&
               t.find_first_not_of("0123456789", 1) == std::string::npos;
    };
    for (const auto& f : layerFeatures(job, "sst")) {
        if (f.type != API::FT_TEXT || !designator(f.text)) continue;
        ++prefixes[f.text[0]];
        EXPECT_TRUE(names.insert(f.text).second) << f.text << " twice";
    }
    for (char p : {'U', 'R', 'C', 'J'}) EXPECT_GT(prefixes[p], 0) << p;
}

// The rout is one closed chain of lines and arcs round the board, and the
// profile (read back from the saved job) follows the same rounded corners.
TEST(Generate, ProfileAndRoutShareTheRoundedOutline) {
    const std::string& job = board(20000);
    const Features rout = layerFeatures(job, "rout");
    ASSERT_FALSE(rout.empty());
    struct Circle {
        double x, y, r;
    };
    std::vector<Circle> corners;
    for (size_t i = 0; i < rout.size(); ++i) {
        const auto& f = rout[i];
        const auto& next = rout[(i + 1) % rout.size()];
        EXPECT_EQ(at(f.xe, f.ye), at(next.xs, next.ys)) << "the chain breaks after " << f.record;
        EXPECT_EQ(f.attributes.count(".rout_chain"), 1u);
        if (f.type == API::FT_ARC) corners.push_back({f.xc, f.yc, std::hypot(f.xs - f.xc, f.ys - f.yc)});
    }
    ASSERT_EQ(corners.size(), 4u);

    const fs::path dir = fs::temp_directory_path() / ("tolva_generate_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    JOB::save_job(job, dir.string());
    std::ifstream in(dir / "job.tolva");
    std::string line;
    std::vector<std::pair<double, double>> profile;
    while (std::getline(in, line)) {
        if (line.rfind("profile ", 0) != 0) continue;
        std::istringstream words(line.substr(8));
        size_t n = 0;
        words >> n;
        profile.resize(n);
        for (auto& p : profile) words >> p.first >> p.second;
    }
    fs::remove_all(dir);
    ASSERT_GT(profile.size(), 8u);
    int rounded = 0;
    for (const auto& p : profile) {
        const bool edge = p.first == 0 || p.second == 0 || p.first == 300000000 || p.second == 200000000;
        const bool onCorner = std::any_of(corners.begin(), corners.end(), [&](const Circle& c) {
            return std::abs(std::hypot(p.first - c.x, p.second - c.y) - c.r) < 2;
        });
        EXPECT_TRUE(edge || onCorner) << p.first << ", " << p.second;
        rounded += onCorner && !edge;
    }
    EXPECT_GE(rounded, 4);
}

TEST(Generate, BadParametersThrowAndLeaveNoJob) {
    JOB::generate_params p;
    p.features = -1;
    EXPECT_THROW(JOB::generate_job("bad", "pcb", p), API::KernelText);
    p.features = 10;
    p.width_nm = -5;
    EXPECT_THROW(JOB::generate_job("bad", "pcb", p), API::KernelText);
    p.width_nm = 300e6;
    p.signal_layers = 65;
    EXPECT_THROW(JOB::generate_job("bad", "pcb", p), API::KernelText);
    EXPECT_FALSE(JOB::job_exists("bad"));
}

}  // namespace
