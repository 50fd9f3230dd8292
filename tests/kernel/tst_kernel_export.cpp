// Export to Gerber X2 and Excellon: every construct written and read back
// into a fresh job gives the same features (kind, nanometres, symbol,
// polarity, angle, mirror, attributes), in order; the example boards of
// gerbv make the same round trip.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <dirent.h>
#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "TOLVA_Export.h"
#include "TOLVA_Import.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "export";
const char* const kBack = "export_back";

long long n(double v) { return std::llround(v); }

// A feature as the round trip must keep it. The dcode is left out: a
// surface written as a region has none, and Excellon carries none.
std::string describe(const API::featureInfo& f) {
    std::ostringstream o;
    std::istringstream record(f.record);
    std::vector<std::string> tokens;
    for (std::string t; record >> t;) tokens.push_back(t);
    switch (f.type) {
    case API::FT_LINE:
        o << "L " << n(f.xs) << ' ' << n(f.ys) << ' ' << n(f.xe) << ' ' << n(f.ye) << ' ' << f.symbol;
        break;
    case API::FT_PAD:
        o << "P " << n(f.xs) << ' ' << n(f.ys) << ' ' << f.symbol << " angle " << f.angle << " mirror " << f.mirror
          << " scale " << (tokens.size() > 7 ? tokens[7] : "?");
        break;
    case API::FT_ARC:
        o << "A " << n(f.xs) << ' ' << n(f.ys) << ' ' << n(f.xe) << ' ' << n(f.ye) << ' ' << n(f.xc) << ' '
          << n(f.yc) << ' ' << f.symbol << ' ' << f.direction;
        break;
    case API::FT_SURFACE:
        o << "S";
        for (size_t i = 3; i < tokens.size(); ++i) o << ' ' << tokens[i];
        break;
    default:
        o << f.record;
    }
    o << (f.polarity == API::POL_POSITIVE ? " pos" : " neg");
    for (const auto& kv : f.attributes) o << ' ' << kv.first << '=' << kv.second;
    return o.str();
}

std::vector<API::featureInfo> features(const std::string& job, const std::string& layer) {
    std::vector<API::featureInfo> out;
    API::featureInfo f;
    for (int i = 0; API::get_featureinfo_by_index(job, "pcb", layer, i, f); ++i) out.push_back(f);
    return out;
}

std::vector<std::string> described(const std::string& job, const std::string& layer) {
    std::vector<std::string> out;
    for (const API::featureInfo& f : features(job, layer)) out.push_back(describe(f));
    return out;
}

// Writes the layer in the format of its type and reads the file into layer
// `layer` of the fresh job kBack.
std::string roundTrip(const std::string& job, const std::string& layer) {
    std::string name;
    const std::string text = EXPORT::export_layer(job, "pcb", layer, name);
    kt::freshJob(kBack, {});
    if (EXPORT::export_format_for(job, layer) == "excellon") IMPORT::import_excellon(kBack, "pcb", layer, text, name);
    else IMPORT::import_gerber(kBack, "pcb", layer, text, name);
    return text;
}

// Same pixels for a layer of two jobs, over the box (micrometres).
void expectSamePixels(const std::string& a, const std::string& b, const std::string& layer, double xmin,
                      double ymin, double xmax, double ymax) {
    int w = 160, h = 160;
    API::init_canvas(w, h);
    API::zoom_to_box(xmin, ymin, xmax, ymax);
    API::draw_layer(a, "pcb", layer, 255, 255, 255, 255);
    const unsigned char* pixels = API::canvas(w, h);
    const std::vector<unsigned char> first(pixels, pixels + w * h * 4);
    API::clear_canvas();
    API::draw_layer(b, "pcb", layer, 255, 255, 255, 255);
    int cw = 0, ch = 0;
    const unsigned char* second = API::canvas(cw, ch);
    int differ = 0, painted = 0;
    for (int i = 0; i < w * h; ++i) {
        if (first[i * 4] != second[i * 4]) ++differ;
        if (first[i * 4]) ++painted;
    }
    EXPECT_GT(painted, 0);
    EXPECT_EQ(differ, 0);
}

class Export : public ::testing::Test {
protected:
    void SetUp() override { kt::freshJob(kJob, {"art"}); }
    void TearDown() override {
        for (const char* j : {kJob, kBack})
            if (JOB::job_exists(j)) JOB::delete_job(j);
    }
    int sym(const std::string& name, const std::string& layer = "art") { return kt::symbol(kJob, layer, name); }
    void add(const std::string& record, const API::attr_map& attrs = {}, const std::string& layer = "art") {
        kt::add(kJob, layer, record, attrs);
    }
    void addDrillLayers() {
        JOB::add_layer(kJob, "drill", "board", "drill", "positive");
        JOB::add_layer(kJob, "rout", "board", "rout", "positive");
    }
    void expectRoundTrip(const std::string& layer = "art") {
        const std::vector<std::string> before = described(kJob, layer);
        ASSERT_FALSE(before.empty());
        const std::string text = roundTrip(kJob, layer);
        EXPECT_EQ(described(kBack, layer), before) << text;
    }
};

// ---- Gerber ---------------------------------------------------------------

TEST_F(Export, EveryApertureKindFlashedAndDrawn) {
    // A pad keeps its symbol. A line keeps it when the kernel strokes it with
    // the symbol (r, s, rect); oval and donut lines are stroked by a round pen
    // of the largest size, and come back with that r symbol.
    struct Case {
        const char* symbol;
        const char* line;  // the symbol of a line drawn with it, after the trip
    };
    const Case cases[] = {
        {"r250", "r250"},         {"r12.5", "r12.5"},           {"r0.001", "r0.001"},
        {"s100", "s100"},         {"s0.5", "s0.5"},             {"rect200x100", "rect200x100"},
        {"rect100x200", "rect100x200"}, {"oval300x150", "r300"}, {"oval150x300", "r300"},
        {"r100000", "r100000"},   {"donut_r500x300", "r500"},   {"donut_r0.003x0.001", "r0.003"},
    };
    double x = 0;
    std::vector<std::string> want;
    for (const Case& c : cases) {
        const int i = sym(c.symbol);
        add(API::GreatePadString(x, 1e6, i, API::POL_POSITIVE, 0, 0, 1));
        add(API::GreateLineString(x, 2e6, x + 5e5, 3e6, i, API::POL_NEGATIVE, 0));
        std::ostringstream pad, line;
        pad << "P " << n(x) << " 1000000 " << c.symbol << " angle 0 mirror 0 scale 1 pos";
        line << "L " << n(x) << " 2000000 " << n(x + 5e5) << " 3000000 " << c.line << " neg";
        want.push_back(pad.str());
        want.push_back(line.str());
        x += 1234567;
    }
    const std::string text = roundTrip(kJob, "art");
    EXPECT_EQ(described(kBack, "art"), want) << text;
}

// A pad's scale goes into its aperture's sizes.
TEST_F(Export, ScaledPadsFlashTheirScaledSize) {
    add(API::GreatePadString(0, 0, sym("rect200x100"), API::POL_POSITIVE, 0, 0, 2.5));
    add(API::GreatePadString(0, 0, sym("donut_r500x300"), API::POL_POSITIVE, 90, 1, 0.5));
    roundTrip(kJob, "art");
    EXPECT_EQ(described(kBack, "art"),
              (std::vector<std::string>{"P 0 0 rect500x250 angle 0 mirror 0 scale 1 pos",
                                        "P 0 0 donut_r250x150 angle 90 mirror 1 scale 1 pos"}));
}

TEST_F(Export, PadsTurnedAndMirrored) {
    const char* const symbols[] = {"rect200x100", "oval300x150", "s100", "r250", "donut_r500x300"};
    const int angles[] = {0, 1, 30, 45, 90, 135, 180, 270, 359};
    double y = 0;
    for (const char* s : symbols) {
        double x = 0;
        for (int angle : angles)
            for (int mirror : {0, 1}) {
                add(API::GreatePadString(x, y, sym(s), API::POL_POSITIVE, angle, mirror, 1));
                x += 1e6;
            }
        y += 1e6;
    }
    // Attributes on a turned pad travel inside its block.
    add(API::GreatePadString(-5e6, -5e6, sym("rect200x100"), API::POL_POSITIVE, 90, 1, 1),
        {{".net", "GND"}, {".comp", "U1"}, {".pin", "3"}});
    add(API::GreatePadString(-6e6, -5e6, sym("rect200x100"), API::POL_NEGATIVE, 90, 1, 1));
    expectRoundTrip();
}

TEST_F(Export, ArcsEveryQuadrantBothWaysAndFullCircles) {
    const int r = sym("r100");
    const double R = 1e6;
    int k = 0;
    for (double start : {20.0, 110.0, 200.0, 290.0})  // one start in each quadrant
        for (double sweep : {45.0, 90.0, 180.0, 300.0})
            for (bool cw : {false, true}) {
                const double cx = 5e6 * (k % 8), cy = 5e6 * (k / 8);
                const double a0 = start * M_PI / 180, a1 = (start + (cw ? -sweep : sweep)) * M_PI / 180;
                add(API::GreateArcString(n(cx + R * std::cos(a0)), n(cy + R * std::sin(a0)), n(cx + R * std::cos(a1)),
                                         n(cy + R * std::sin(a1)), cx, cy, r, API::POL_POSITIVE, 0, cw));
                ++k;
            }
    for (bool cw : {false, true}) add(API::GreateArcString(-3e6, 0, -3e6, 0, -4e6, 0, r, API::POL_POSITIVE, 0, cw));
    expectRoundTrip();
    // The kernel sweeps every arc with a round pen of the symbol's largest
    // size: an arc with a rectangle symbol comes back with that r symbol.
    kt::freshJob(kJob, {"art"});
    add(API::GreateArcString(0, -3e6, 1e6, -2e6, 0, -2e6, sym("rect200x300"), API::POL_POSITIVE, 0, true));
    roundTrip(kJob, "art");
    EXPECT_EQ(described(kBack, "art"),
              std::vector<std::string>{"A 0 -3000000 1000000 -2000000 0 -2000000 r300 CW pos"});
}

TEST_F(Export, NegativeOverPositiveInOrder) {
    const std::vector<API::lPoint> square = {{0, 0}, {4e6, 0}, {4e6, 4e6}, {0, 4e6}};
    add(API::GreateSurfaceString(square, API::POL_POSITIVE, 0, true));
    add(API::GreatePadString(1e6, 1e6, sym("r500"), API::POL_NEGATIVE, 0, 0, 1));
    add(API::GreatePadString(1e6, 1e6, sym("r200"), API::POL_POSITIVE, 0, 0, 1));
    add(API::GreateLineString(0, 2e6, 4e6, 2e6, sym("r100"), API::POL_NEGATIVE, 0));
    add(API::GreateSurfaceString({{3e6, 3e6}, {3.5e6, 3e6}, {3.5e6, 3.5e6}}, API::POL_NEGATIVE, 0, true));
    add(API::GreateArcString(3e6, 1e6, 3e6, 1e6, 3.2e6, 1e6, sym("r50"), API::POL_NEGATIVE, 0, false));
    add(API::GreateLineString(0, 3e6, 4e6, 3e6, sym("r100"), API::POL_POSITIVE, 0));
    expectRoundTrip();
    expectSamePixels(kJob, kBack, "art", -100, -100, 4100, 4100);
}

TEST_F(Export, NetComponentPinAndApertureFunction) {
    const int r = sym("r100"), rect = sym("rect300x200");
    struct Case {
        API::attr_map attrs;
    };
    const Case cases[] = {
        {{{".net", "GND"}}},
        {{{".net", "GND"}, {".aper_function", "Conductor"}}},
        {{}},  // nothing after something: every attribute deleted
        {{{".comp", "R12"}}},
        {{{".comp", "U1"}, {".pin", "14"}, {".net", "N$3"}, {".aper_function", "SMDPad,CuDef"}}},
        {{{".net", "a net, with commas and spaces"}}},
        {{{".net", "caf\xc3\xa9"}}},
        {{{".aper_function", "ViaPad"}}},
    };
    double x = 0;
    for (const Case& c : cases) {
        add(API::GreatePadString(x, 0, rect, API::POL_POSITIVE, 0, 0, 1), c.attrs);
        add(API::GreateLineString(x, 1e6, x, 2e6, r, API::POL_POSITIVE, 0), c.attrs);
        add(API::GreateArcString(x, 3e6, x, 3e6, x + 2e5, 3e6, r, API::POL_POSITIVE, 0, true), c.attrs);
        add(API::GreateSurfaceString({{x, 4e6}, {x + 5e5, 4e6}, {x, 5e6}}, API::POL_POSITIVE, 0, true), c.attrs);
        x += 1e6;
    }
    expectRoundTrip();
}

TEST_F(Export, LineDcodesKeptAsDCodes) {
    IMPORT::import_gerber(kJob, "pcb", "art",
                          "%FSLAX46Y46*%%MOMM*%%ADD11C,0.1*%%ADD25C,0.1*%%ADD12R,0.2X0.1*%"
                          "D11*X0Y0D02*X1000000Y0D01*D25*X0Y1000000D02*X1000000Y1000000D01*"
                          "D12*X0Y2000000D03*X0Y2000000D02*X1000000Y2000000D01*M02*",
                          "dcodes.gbr");
    const int r = sym("r100");
    add(API::GreateLineString(0, 3e6, 1e6, 3e6, r, API::POL_POSITIVE, 0));   // no D code of its own
    add(API::GreateLineString(0, 4e6, 1e6, 4e6, r, API::POL_POSITIVE, 11));  // D11 is r100 already
    add(API::GreateLineString(0, 5e6, 1e6, 5e6, sym("r300"), API::POL_POSITIVE, 12));  // D12 is the rectangle
    expectRoundTrip();
    std::vector<int> dcodes;
    for (const API::featureInfo& f : features(kBack, "art"))
        if (f.type == API::FT_LINE) dcodes.push_back(std::stoi(f.record.substr(f.record.rfind(' ') + 1)));
    ASSERT_EQ(dcodes.size(), 6u);
    EXPECT_EQ(dcodes[0], 11);
    EXPECT_EQ(dcodes[1], 25);
    EXPECT_EQ(dcodes[2], 12);
    EXPECT_GE(dcodes[3], 10);  // a fresh aperture or D11, both r100
    EXPECT_EQ(dcodes[4], 11);
    EXPECT_NE(dcodes[5], 12);
    EXPECT_GE(dcodes[5], 10);
}

TEST_F(Export, SurfacesSingleContour) {
    const std::vector<std::vector<API::lPoint>> outlines = {
        {{0, 0}, {1e6, 0}, {1e6, 1e6}},                               // counter-clockwise
        {{0, 0}, {0, 1e6}, {1e6, 1e6}, {1e6, 0}},                     // clockwise
        {{1, 1}, {999999, 3}, {500001, 777777}, {250000, 123457}},    // odd nanometres, concave
        {{-999999999, -999999999}, {999999999, -999999999}, {0, 999999999}},  // the kernel's range
    };
    for (const auto& o : outlines) add(API::GreateSurfaceString(o, API::POL_POSITIVE, 0, true), {{".net", "S"}});
    expectRoundTrip();
}

// The reader keeps a region's contour with cut-ins as one ring: a surface
// with holes comes back as one contour running into each hole and back,
// which fills the same area. Everything else about it must hold.
TEST_F(Export, SurfacesWithHolesFillTheSameArea) {
    struct Case {
        const char* name;
        std::vector<std::vector<API::lPoint>> rings;
    };
    const Case cases[] = {
        {"one hole", {{{0, 0}, {4e6, 0}, {4e6, 4e6}, {0, 4e6}}, {{1e6, 1e6}, {2e6, 1e6}, {2e6, 2e6}, {1e6, 2e6}}}},
        {"two holes, one running the same way as the outline",
         {{{0, 0}, {4e6, 0}, {4e6, 4e6}, {0, 4e6}},
          {{5e5, 5e5}, {5e5, 1.5e6}, {1.5e6, 1.5e6}, {1.5e6, 5e5}},
          {{2.5e6, 2.5e6}, {3.5e6, 2.5e6}, {3.5e6, 3.5e6}, {2.5e6, 3.5e6}}}},
        {"an island in a hole",
         {{{0, 0}, {4e6, 0}, {4e6, 4e6}, {0, 4e6}},
          {{5e5, 5e5}, {3.5e6, 5e5}, {3.5e6, 3.5e6}, {5e5, 3.5e6}},
          {{1.5e6, 1.5e6}, {2.5e6, 1.5e6}, {2.5e6, 2.5e6}, {1.5e6, 2.5e6}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {"art"});
        std::vector<API::lPoint> points;
        for (const auto& ring : c.rings) {
            points.insert(points.end(), ring.begin(), ring.end());
            points.push_back(ring.front());
        }
        add(API::GreateSurfaceString(points, API::POL_POSITIVE, 0, true), {{".net", "plane"}});
        const std::string text = roundTrip(kJob, "art");
        // Holes are cut in, not cleared: the file has no clear polarity.
        EXPECT_EQ(text.find("%LPC"), std::string::npos);
        const std::vector<API::featureInfo> back = features(kBack, "art");
        ASSERT_EQ(back.size(), 1u) << text;
        EXPECT_EQ(back[0].type, API::FT_SURFACE);
        EXPECT_EQ(back[0].polarity, API::POL_POSITIVE);
        EXPECT_EQ(back[0].attributes, (API::attr_map{{".net", "plane"}}));
        EXPECT_EQ(back[0].xmin, 0);
        EXPECT_EQ(back[0].ymax, 4e6);
        expectSamePixels(kJob, kBack, "art", -100, -100, 4100, 4100);
    }
}

TEST_F(Export, TextsAsStrokesOfTheFont) {
    add(API::GreateTextString(1e6, 1e6, "R12", API::POL_POSITIVE, 90, 1e6, 1.5e6, 1, "standard", 0, 1),
        {{".net", "silk"}});
    roundTrip(kJob, "art");
    const std::vector<API::featureInfo> back = features(kBack, "art");
    ASSERT_GT(back.size(), 3u);
    for (const API::featureInfo& f : back) {
        EXPECT_EQ(f.type, API::FT_LINE);
        EXPECT_EQ(f.symbol, back[0].symbol);
        EXPECT_EQ(f.attributes.at(".net"), "silk");
    }
    expectSamePixels(kJob, kBack, "art", -2000, -1000, 4000, 5000);
}

TEST_F(Export, InchFilesComeBackToTheNanometre) {
    // 2.5 inch format: 0.00001 inch is 254 nm; sizes in inches.
    IMPORT::import_gerber(kJob, "pcb", "art",
                          "%FSLAX25Y25*%%MOIN*%%ADD10C,0.0123*%%ADD11R,0.02X0.01*%G75*"
                          "D10*X100000Y-33333D02*X123457Y55555D01*G03X150000Y55555I13272J0D01*"
                          "D11*X-7D03*M02*",
                          "inch.gbr");
    expectRoundTrip();
    const std::vector<API::featureInfo> back = features(kBack, "art");
    EXPECT_EQ(back[0].symbol, "r312.42");
    EXPECT_EQ(back[0].xs, 25400000);
    EXPECT_EQ(back[0].ys, -8466582);  // -0.33333 inch
}

TEST_F(Export, FileAttributesFollowTheMatrix) {
    kt::freshJob(kJob, {});
    struct Row {
        const char* name;
        const char* type;
        const char* function;  // expected .FileFunction
    };
    const Row rows[] = {
        {"smt", "solder_mask", "Soldermask,Top"}, {"top", "signal", "Copper,L1,Top,Signal"},
        {"gnd", "power_ground", "Copper,L2,Inr,Plane"}, {"bot", "signal", "Copper,L3,Bot,Signal"},
        {"smb", "solder_mask", "Soldermask,Bot"}, {"ssb", "silk_screen", "Legend,Bot"},
        {"spb", "solder_paste", "Paste,Bot"}, {"outline", "document", "Profile,NP"},
        {"notes", "document", "Other,Drawing"},
    };
    for (const Row& r : rows) JOB::add_layer(kJob, r.name, "board", r.type, "positive");
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const std::string text = EXPORT::export_gerber(kJob, "pcb", r.name);
        EXPECT_NE(text.find(std::string("%TF.FileFunction,") + r.function + "*%"), std::string::npos) << text;
        EXPECT_NE(text.find("%TF.FilePolarity,Positive*%"), std::string::npos);
        EXPECT_NE(text.find("%TF.GenerationSoftware,"), std::string::npos);
        EXPECT_NE(text.find("%TF.CreationDate,"), std::string::npos);
        EXPECT_NE(text.find("%FSLAX46Y46*%"), std::string::npos);
        EXPECT_NE(text.find("%MOMM*%"), std::string::npos);
        EXPECT_EQ(text.substr(text.size() - 5), "M02*\n");
    }
    // Given attributes win over derived ones.
    EXPORT::export_options options;
    options.file_attributes[".FileFunction"] = "Copper,L1,Top";
    options.creation_date = "2024-01-02T03:04:05+00:00";
    const std::string text = EXPORT::export_gerber(kJob, "pcb", "gnd", options);
    EXPECT_NE(text.find("%TF.FileFunction,Copper,L1,Top*%"), std::string::npos);
    EXPECT_NE(text.find("%TF.CreationDate,2024-01-02T03:04:05+00:00*%"), std::string::npos);
}

TEST_F(Export, FormatAndFileNameByLayerType) {
    addDrillLayers();
    JOB::add_layer(kJob, "a/b:c", "misc", "document", "positive");
    struct Case {
        const char* layer;
        const char* format;
        const char* file;
    };
    const Case cases[] = {{"art", "gerber", "art.gbr"},
                          {"drill", "excellon", "drill.drl"},
                          {"rout", "excellon", "rout.rou"},
                          {"a/b:c", "gerber", "a_b_c.gbr"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.layer);
        EXPECT_EQ(EXPORT::export_format_for(kJob, c.layer), c.format);
        EXPECT_EQ(EXPORT::export_file_name(kJob, c.layer), c.file);
        std::string name;
        const std::string text = EXPORT::export_layer(kJob, "pcb", c.layer, name);
        EXPECT_EQ(name, c.file);
        EXPECT_EQ(IMPORT::detect_format(text), c.format);
    }
    // The drill file's function follows its holes' plating.
    auto function = [&](const char* layer) {
        const std::string text = EXPORT::export_excellon(kJob, "pcb", layer);
        const size_t at = text.find("TF.FileFunction,");
        return at == std::string::npos ? std::string() : text.substr(at + 16, text.find('\n', at) - at - 16);
    };
    EXPECT_EQ(function("drill"), "Plated,1,1,PTH");
    EXPECT_EQ(function("rout"), "NonPlated,1,1,NPTH,Rout");
    add(API::GreatePadString(0, 0, sym("r300", "drill"), API::POL_POSITIVE, 0, 0, 1), {{".drill", "non_plated"}},
        "drill");
    EXPECT_EQ(function("drill"), "NonPlated,1,1,NPTH");
    add(API::GreatePadString(0, 0, sym("r300", "drill"), API::POL_POSITIVE, 0, 0, 1), {{".drill", "via"}}, "drill");
    EXPECT_EQ(function("drill"), "Plated,1,1,PTH");
}

TEST_F(Export, UnknownJobStepOrLayerThrowsAText) {
    std::string name;
    EXPECT_THROW(EXPORT::export_gerber("nope", "pcb", "art"), API::KernelText);
    EXPECT_THROW(EXPORT::export_gerber(kJob, "nope", "art"), API::KernelText);
    EXPECT_THROW(EXPORT::export_gerber(kJob, "pcb", "nope"), API::KernelText);
    EXPECT_THROW(EXPORT::export_excellon(kJob, "pcb", "nope"), API::KernelText);
    EXPECT_THROW(EXPORT::export_layer(kJob, "pcb", "nope", name), API::KernelText);
    EXPECT_THROW(EXPORT::export_file_name("nope", "art"), API::KernelText);
    EXPECT_THROW(EXPORT::export_job("nope", "pcb"), API::KernelText);
    try {
        EXPORT::export_gerber(kJob, "pcb", "nope");
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("nope"), std::string::npos);
    }
}

// ---- Excellon -------------------------------------------------------------

TEST_F(Export, DrillHitsToolsAndPlating) {
    addDrillLayers();
    struct Hit {
        double x, y;
        const char* symbol;
        const char* drill;  // nullptr: no plating known
    };
    // Unplated tools after plated ones, and one diameter in two platings.
    const Hit hits[] = {
        {1e6, 1e6, "r300", "plated"},   {2e6, 1e6, "r300", "plated"},     {3e6, 1e6, "r1000", "non_plated"},
        {4e6, 1e6, "r300", "non_plated"}, {5e6, 1e6, "r200", "via"},      {6e6, 1e6, "r250", nullptr},
        {7e6, -1, "r0.001", nullptr},  {-999999999, 999999999, "r300", "plated"}, {1e6, 2e6, "r300", "plated"},
    };
    for (const Hit& h : hits) {
        API::attr_map a;
        if (h.drill) a[".drill"] = h.drill;
        add(API::GreatePadString(h.x, h.y, sym(h.symbol, "drill"), API::POL_POSITIVE, 0, 0, 1), a, "drill");
    }
    expectRoundTrip("drill");
}

TEST_F(Export, SlotsAndRoutChains) {
    addDrillLayers();
    const int t = sym("r1000", "rout"), t2 = sym("r2000", "rout");
    const API::attr_map one{{".rout_chain", "1"}}, two{{".rout_chain", "2"}}, three{{".rout_chain", "3"}};
    add(API::GreateLineString(1e6, 1e6, 3e6, 1e6, t, API::POL_POSITIVE, 0), {}, "rout");  // a slot
    add(API::GreateLineString(0, 0, 5e6, 0, t, API::POL_POSITIVE, 0), one, "rout");
    add(API::GreateArcString(5e6, 0, 6e6, 1e6, 6e6, 0, t, API::POL_POSITIVE, 0, true), one, "rout");
    add(API::GreateArcString(6e6, 1e6, 7e6, 2e6, 6e6, 2e6, t, API::POL_POSITIVE, 0, false), one, "rout");
    add(API::GreateLineString(10e6, 0, 12e6, 0, t, API::POL_POSITIVE, 0), two, "rout");
    add(API::GreateLineString(12e6, 0, 12e6, 3e6, t, API::POL_POSITIVE, 0), two, "rout");
    // A full circle, then a chain with another tool, then a hit among them.
    add(API::GreateArcString(20e6, 0, 20e6, 0, 21e6, 0, t, API::POL_POSITIVE, 0, false), three, "rout");
    add(API::GreateLineString(30e6, 0, 31e6, 1, t2, API::POL_POSITIVE, 0), {{".rout_chain", "4"}}, "rout");
    add(API::GreatePadString(40e6, 0, t2, API::POL_POSITIVE, 0, 0, 1), {}, "rout");
    add(API::GreateLineString(50e6, 0, 51e6, 0, t2, API::POL_POSITIVE, 0), {{".rout_chain", "5"}}, "rout");
    add(API::GreateLineString(2e6, 5e6, 2e6, 8e6, t2, API::POL_POSITIVE, 0), {}, "rout");  // another slot
    expectRoundTrip("rout");
    const std::string text = roundTrip(kJob, "rout");
    for (const char* word : {"M48", "METRIC", "G85", "G00", "M15", "G01", "G02", "G03", "M16", "M17", "M30"})
        EXPECT_NE(text.find(word), std::string::npos) << word;
}

TEST_F(Export, InchDrillFileComesBackToTheNanometre) {
    addDrillLayers();
    IMPORT::import_excellon(kJob, "pcb", "drill",
                            "M48\nINCH,LZ\n;TYPE=PLATED\nT1C0.0125\n;TYPE=NON_PLATED\nT2C0.125\n%\n"
                            "T1\nX010000Y010000\nY020000\nR3X005000\nT2\nX-012345Y000001\nM30\n",
                            "inch.drl");
    expectRoundTrip("drill");
}

// Constructs a drill file cannot hold are left out and said so in the file.
TEST_F(Export, DrillFileLeavesOutWhatItCannotHold) {
    addDrillLayers();
    add(API::GreatePadString(0, 0, sym("r300", "drill"), API::POL_POSITIVE, 0, 0, 1), {}, "drill");
    add(API::GreatePadString(0, 0, sym("r300", "drill"), API::POL_NEGATIVE, 0, 0, 1), {}, "drill");
    add(API::GreateSurfaceString({{0, 0}, {1e6, 0}, {0, 1e6}}, API::POL_POSITIVE, 0, true), {}, "drill");
    // An oval hole is a slot between the centres of its round ends.
    add(API::GreatePadString(5e6, 5e6, sym("oval3000x1000", "drill"), API::POL_POSITIVE, 90, 0, 1), {}, "drill");
    const std::string text = roundTrip(kJob, "drill");
    EXPECT_NE(text.find("1 negative features not written"), std::string::npos);
    EXPECT_NE(text.find("1 surfaces and texts not written"), std::string::npos);
    const std::vector<std::string> back = described(kBack, "drill");
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0], "P 0 0 r300 angle 0 mirror 0 scale 1 pos");
    EXPECT_EQ(back[1], "L 5000000 4000000 5000000 6000000 r1000 pos");
}

// ---- whole jobs and example boards ---------------------------------------------

// What a format carries of a feature's attributes: Gerber the net,
// component, pin and aperture function; Excellon the plating and the rout
// chain.
std::string carried(const API::featureInfo& f, bool excellon) {
    API::featureInfo g = f;
    g.attributes.clear();
    for (const auto& kv : f.attributes) {
        const bool kept = excellon ? kv.first == ".drill" || kv.first == ".rout_chain"
                                   : kv.first == ".net" || kv.first == ".comp" || kv.first == ".pin" ||
                                         kv.first == ".aper_function";
        if (kept) g.attributes.insert(kv);
    }
    return describe(g);
}

// The features of a layer in two jobs, as far as the layer's format
// carries them. A surface of several contours is written as one contour
// with cut-ins, and the reader splits a contour into rings wherever it
// returns to a point it passed: where a hole touches its outline, or a
// writer's cut-in does not run back over its own points, the rings come back
// cut differently. Such a surface must keep its polarity, attributes and
// box, and the layer must paint the same pixels.
void expectSameLayer(const std::string& a, const std::string& b, const std::string& layer, bool excellon) {
    const std::vector<API::featureInfo> want = features(a, layer), got = features(b, layer);
    ASSERT_EQ(got.size(), want.size());
    int differ = 0, cutIn = 0;
    for (size_t k = 0; k < want.size(); ++k) {
        const std::string x = carried(want[k], excellon), y = carried(got[k], excellon);
        if (x == y) continue;
        const bool rings = want[k].type == API::FT_SURFACE && got[k].type == API::FT_SURFACE &&
                           (x.compare(0, 4, "S 1 ") != 0 || y.compare(0, 4, "S 1 ") != 0);
        if (rings && got[k].polarity == want[k].polarity &&
            got[k].attributes == want[k].attributes && got[k].xmin == want[k].xmin &&
            got[k].ymin == want[k].ymin && got[k].xmax == want[k].xmax && got[k].ymax == want[k].ymax) {
            ++cutIn;
            continue;
        }
        if (differ++ < 3)
            ADD_FAILURE() << "feature " << k << " box " << want[k].xmin << " " << want[k].ymin << " " << want[k].xmax
                          << " " << want[k].ymax << " / " << got[k].xmin << " " << got[k].ymin << " " << got[k].xmax
                          << " " << got[k].ymax << "\nwant " << x << "\ngot  " << y;
    }
    EXPECT_EQ(differ, 0);
    if (cutIn) {
        const API::reply_box box = API::layer_box(a, "pcb", layer);
        expectSamePixels(a, b, layer, box.xmin / 1000.0, box.ymin / 1000.0, box.xmax / 1000.0, box.ymax / 1000.0);
    }
}

TEST_F(Export, WholeJobThroughImportJob) {
    JOB::generate_params params;
    params.signal_layers = 4;
    params.features = 3000;
    params.width_nm = 60e6;
    params.height_nm = 40e6;
    JOB::delete_job(kJob);
    JOB::generate_job(kJob, "pcb", params);
    const std::vector<IMPORT::import_file> files = EXPORT::export_job(kJob, "pcb");
    const std::vector<API::matrix_info> matrix = API::get_matrix(kJob);
    ASSERT_EQ(files.size(), matrix.size());
    if (JOB::job_exists(kBack)) JOB::delete_job(kBack);
    IMPORT::import_job(kBack, files);
    const std::vector<API::matrix_info> back = API::get_matrix(kBack);
    ASSERT_EQ(back.size(), matrix.size());
    for (size_t i = 0; i < matrix.size(); ++i) {
        const API::matrix_info& row = matrix[i];
        SCOPED_TRACE(row.name);
        EXPECT_EQ(back[i].name, row.name);
        // The file function carries the copper's kind (signal, plane, mixed).
        EXPECT_EQ(back[i].type, row.type);
        const bool excellon = row.type == "drill" || row.type == "rout";
        bool texts = false;
        for (const API::featureInfo& f : features(kJob, row.name)) texts = texts || f.type == API::FT_TEXT;
        if (texts) {  // written as strokes: the same pixels instead
            const API::reply_box b = API::layer_box(kJob, "pcb", row.name);
            expectSamePixels(kJob, kBack, row.name, b.xmin / 1000.0, b.ymin / 1000.0, b.xmax / 1000.0,
                             b.ymax / 1000.0);
            continue;
        }
        expectSameLayer(kJob, kBack, row.name, excellon);
    }
}

// Every example board of gerbv that the reader takes: read, written, read
// again into a fresh job, the same features.
TEST(ExportExamples, EveryExampleFileRoundTrips) {
    const std::string root = "/usr/share/doc/gerbv/examples";
    DIR* top = opendir(root.c_str());
    if (!top) GTEST_SKIP() << root << " is missing (Debian package gerbv)";
    std::vector<std::string> paths;
    std::vector<std::string> dirs{root};
    closedir(top);
    while (!dirs.empty()) {
        const std::string dir = dirs.back();
        dirs.pop_back();
        DIR* d = opendir(dir.c_str());
        if (!d) continue;
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name == "." || name == "..") continue;
            const std::string path = dir + "/" + name;
            if (e->d_type == DT_DIR) {
                dirs.push_back(path);
                continue;
            }
            const size_t dot = name.rfind('.');
            std::string ext = dot == std::string::npos ? "" : name.substr(dot + 1);
            for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            static const std::set<std::string> wanted = {"gbr", "grb", "gbx", "ger", "exc", "drl", "ncd", "txt"};
            if (wanted.count(ext)) paths.push_back(path);
        }
        closedir(d);
    }
    std::sort(paths.begin(), paths.end());
    int tried = 0;
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        std::ifstream in(path, std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        const std::string text = buffer.str();
        const std::string format = IMPORT::detect_format(text);
        if (format.empty()) continue;
        kt::freshJob(kJob, {});
        try {
            if (format == "gerber") IMPORT::import_gerber(kJob, "pcb", "l", text, path);
            else IMPORT::import_excellon(kJob, "pcb", "l", text, path);
        } catch (const API::KernelText&) {
            continue;  // a file the reader refuses
        }
        ++tried;
        const std::string out = format == "gerber" ? EXPORT::export_gerber(kJob, "pcb", "l")
                                                   : EXPORT::export_excellon(kJob, "pcb", "l");
        kt::freshJob(kBack, {});
        try {
            if (format == "gerber") IMPORT::import_gerber(kBack, "pcb", "l", out, path);
            else IMPORT::import_excellon(kBack, "pcb", "l", out, path);
        } catch (const API::KernelText& e) {
            ADD_FAILURE() << "written file refused: " << e;
            continue;
        }
        expectSameLayer(kJob, kBack, "l", format == "excellon");
    }
    std::printf("%d example files read, written and read again\n", tried);
    EXPECT_GT(tried, 20);
    for (const char* j : {kJob, kBack})
        if (JOB::job_exists(j)) JOB::delete_job(j);
}

}  // namespace
