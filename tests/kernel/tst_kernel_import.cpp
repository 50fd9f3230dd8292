// Gerber import: coordinate formats, apertures, arcs, regions, polarity,
// step and repeat, macros, transformations, attributes and rejected files.
#include <gtest/gtest.h>

#include <cmath>

#include "TOLVA_Import.h"
#include "TOLVA_Measure.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "import";
const char* const kLayer = "art";

// A millimetre file with coordinates in micrometres (3.3 digits).
std::string mm33(const std::string& body) { return "%FSLAX33Y33*%\n%MOMM*%\n" + body + "\nM02*\n"; }

class GerberImport : public ::testing::Test {
protected:
    void SetUp() override { kt::freshJob(kJob, {}); }

    IMPORT::import_report load(const std::string& text) {
        return IMPORT::import_gerber(kJob, "pcb", kLayer, text, "t.gbr");
    }
    std::vector<API::featureInfo> features() {
        std::vector<API::featureInfo> out;
        API::featureInfo f;
        for (int i = 0; API::get_featureinfo_by_index(kJob, "pcb", kLayer, i, f); ++i) out.push_back(f);
        return out;
    }
    API::featureInfo last() {
        std::vector<API::featureInfo> all = features();
        EXPECT_FALSE(all.empty());
        return all.empty() ? API::featureInfo{} : all.back();
    }
};

void expectBox(const API::featureInfo& f, double xmin, double ymin, double xmax, double ymax) {
    EXPECT_NEAR(f.xmin, xmin, 2) << "xmin";
    EXPECT_NEAR(f.ymin, ymin, 2) << "ymin";
    EXPECT_NEAR(f.xmax, xmax, 2) << "xmax";
    EXPECT_NEAR(f.ymax, ymax, 2) << "ymax";
}

TEST_F(GerberImport, CoordinateFormatsAndUnits) {
    struct Case {
        const char* name;
        const char* header;
        const char* body;
        double x, y;  // nm, of the last pad
    };
    const Case cases[] = {
        {"leading zeros omitted", "%FSLAX24Y24*%%MOMM*%", "X12345Y-500D03*", 1234500, -50000},
        {"trailing zeros omitted", "%FSTAX24Y24*%%MOMM*%", "X12Y5D03*", 12e6, 50e6},
        {"inch 3.6", "%FSLAX36Y36*%%MOIN*%", "X1000000Y-250000D03*", 25.4e6, -6.35e6},
        {"G70 inch", "%FSLAX24Y24*%G70*", "X10000Y5000D03*", 25.4e6, 12.7e6},
        {"G71 mm", "%FSLAX24Y24*%G71*", "X10000Y5000D03*", 1e6, 0.5e6},
        {"incremental", "%FSLIX24Y24*%%MOMM*%", "X10000Y10000D03*X10000Y-5000D03*", 2e6, 0.5e6},
        {"modal coordinates", "%FSLAX24Y24*%%MOMM*%", "X10000Y20000D03*X30000D03*", 3e6, 2e6},
        {"decimal point", "%FSLAX24Y24*%%MOMM*%", "X1.5Y-2.25D03*", 1.5e6, -2.25e6},
        {"sequence numbers, line breaks", "%FSLAX24Y24*%%MOMM*%", "N12X100\n00Y5\r\n000D03*", 1e6, 0.5e6},
        {"image offset", "%FSLAX24Y24*%%MOMM*%%OFA1B2*%", "X0Y0D03*", 1e6, 2e6},
        {"image mirror", "%FSLAX24Y24*%%MOMM*%%MIA1B0*%", "X10000Y10000D03*", -1e6, 1e6},
        {"axis select", "%FSLAX24Y24*%%MOMM*%%ASAYBX*%", "X10000Y20000D03*", 2e6, 1e6},
        {"image rotation", "%FSLAX24Y24*%%MOMM*%%IR90*%", "X10000Y20000D03*", -2e6, 1e6},
        {"image scale then offset", "%FSLAX24Y24*%%MOMM*%%SFA2B0.5*%%OFA1B0*%", "X10000Y20000D03*", 3e6, 1e6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(std::string(c.header) + "\n%ADD10C,0.1*%\nD10*\n" + c.body + "\nM02*\n");
        API::featureInfo f = last();
        EXPECT_EQ(f.type, API::FT_PAD);
        EXPECT_DOUBLE_EQ(f.xs, c.x);
        EXPECT_DOUBLE_EQ(f.ys, c.y);
    }
}

TEST_F(GerberImport, AperturesBecomeSymbols) {
    struct Case {
        const char* prefix;  // definition and transformations
        const char* op;
        int type;
        const char* symbol;
        int angle;
    };
    const Case cases[] = {
        {"%ADD10C,0.25*%", "D03", API::FT_PAD, "r250", 0},
        {"%ADD10C,0.0125*%", "D03", API::FT_PAD, "r12.5", 0},
        {"%ADD10C,0.5X0.3*%", "D03", API::FT_PAD, "donut_r500x300", 0},
        {"%ADD10R,0.2X0.1*%", "D03", API::FT_PAD, "rect200x100", 0},
        {"%ADD10R,0.1X0.1*%", "D03", API::FT_PAD, "s100", 0},
        {"%ADD10O,0.3X0.15*%", "D03", API::FT_PAD, "oval300x150", 0},
        {"%ADD10O,0.2X0.2*%", "D03", API::FT_PAD, "r200", 0},
        {"%ADD10C,0.25*%", "D01", API::FT_LINE, "r250", 0},
        {"%ADD10R,0.2X0.1*%", "D01", API::FT_LINE, "rect200x100", 0},
        {"%ADD10R,0.2X0.1*%%LR90*%", "D03", API::FT_PAD, "rect100x200", 0},
        {"%ADD10R,0.2X0.1*%%LR30*%", "D03", API::FT_PAD, "rect200x100", 30},
        {"%ADD10C,0.1*%%LS2.5*%", "D03", API::FT_PAD, "r250", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.prefix) + " " + c.op);
        kt::freshJob(kJob, {});
        load(mm33(std::string(c.prefix) + "\nD10*\nX1000Y2000" + c.op + "*"));
        API::featureInfo f = last();
        EXPECT_EQ(f.type, c.type);
        EXPECT_EQ(f.symbol, c.symbol);
        EXPECT_EQ(f.angle, c.angle);
        EXPECT_EQ(f.polarity, API::POL_POSITIVE);
        EXPECT_EQ(f.type == API::FT_LINE ? f.xe : f.xs, 1e6);
        EXPECT_EQ(f.type == API::FT_LINE ? f.ye : f.ys, 2e6);
    }
}

TEST_F(GerberImport, ArcsInEveryQuadrantBothQuadrantModes) {
    // Quarter circles of radius 1 mm about (2, 3) mm, each quadrant, both
    // directions; single-quadrant offsets are unsigned.
    const double cx = 2000, cy = 3000;  // um
    int cases = 0;
    for (int mode : {74, 75})
        for (int q = 0; q < 4; ++q)
            for (bool cw : {false, true}) {
                const double a0 = q * M_PI / 2, a1 = (q + 1) * M_PI / 2;
                const double sx = cx + 1000 * std::cos(cw ? a1 : a0), sy = cy + 1000 * std::sin(cw ? a1 : a0);
                const double ex = cx + 1000 * std::cos(cw ? a0 : a1), ey = cy + 1000 * std::sin(cw ? a0 : a1);
                double i = cx - sx, j = cy - sy;
                if (mode == 74) i = std::fabs(i), j = std::fabs(j);
                char body[200];
                std::snprintf(body, sizeof body, "G%d*%%ADD10C,0.1*%%D10*X%.0fY%.0fD02*G%s*X%.0fY%.0fI%.0fJ%.0fD01*",
                              mode, sx, sy, cw ? "02" : "03", ex, ey, i, j);
                SCOPED_TRACE(body);
                kt::freshJob(kJob, {});
                load(mm33(body));
                API::featureInfo f = last();
                EXPECT_EQ(f.type, API::FT_ARC);
                EXPECT_NEAR(f.xc, cx * 1000, 1);
                EXPECT_NEAR(f.yc, cy * 1000, 1);
                EXPECT_NEAR(f.xs, sx * 1000, 1);
                EXPECT_NEAR(f.ye, ey * 1000, 1);
                EXPECT_EQ(f.direction, cw ? "CW" : "CCW");
                ++cases;
            }
    EXPECT_EQ(cases, 16);
}

TEST_F(GerberImport, FullCircleInMultiQuadrantMode) {
    load(mm33("G75*%ADD10C,0.2*%D10*X3000Y2000D02*G02*X3000Y2000I-1000J0D01*"));
    API::featureInfo f = last();
    EXPECT_EQ(f.type, API::FT_ARC);
    EXPECT_EQ(f.xs, f.xe);
    EXPECT_EQ(f.ys, f.ye);
    EXPECT_EQ(f.xc, 2e6);
    expectBox(f, 0.9e6, 0.9e6, 3.1e6, 3.1e6);  // the whole circle with the pen
}

TEST_F(GerberImport, RegionContoursBecomeSurfaces) {
    load(mm33("G36*X0Y0D02*G01*X1000Y0D01*X1000Y1000D01*X0Y1000D01*X0Y0D01*"
              "X2000Y0D02*X4000Y0D01*X4000Y500D01*X2000Y500D01*X2000Y0D01*G37*"
              "G75*G36*X6000Y0D02*G03*X6000Y0I1000J0D01*G37*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 3u);
    for (const API::featureInfo& f : all) EXPECT_EQ(f.type, API::FT_SURFACE);
    expectBox(all[0], 0, 0, 1e6, 1e6);
    expectBox(all[1], 2e6, 0, 4e6, 0.5e6);
    expectBox(all[2], 6e6, -1e6, 8e6, 1e6);  // a circular region, flattened
    // Flattened to within a micrometre of the circle: a polygon of n sides
    // inside it falls short of its area by about (2/3) x sagitta x perimeter.
    for (double r : {1.0, 5.0, 20.0}) {
        SCOPED_TRACE(r);
        kt::freshJob(kJob, {});
        const std::string d = std::to_string(static_cast<int>(r * 1000));
        load(mm33("G75*G36*X" + d + "Y0D02*G03*X" + d + "Y0I-" + d + "J0D01*G37*"));
        const double area = MEASURE::surface_area(kJob, "pcb", {kLayer, 0}) / 1e12;
        EXPECT_LT(area, M_PI * r * r);
        EXPECT_GT(area, M_PI * r * r - 2.0 / 3 * 1e-3 * 2 * M_PI * r) << "flattened coarser than a micrometre";
    }
}

// A hole drawn as a cut-in becomes a hole of the surface: the bridge to it
// is no part of the outline (it would add twice its length to the
// perimeter), and a contour touching itself at a corner splits there.
TEST_F(GerberImport, RegionCutInsBecomeHoles) {
    struct Case {
        const char* name;
        const char* region;
        double perimeter, area;  // mm, mm2
    };
    const Case cases[] = {
        {"square hole by a cut-in",
         "X0Y0D02*X10000Y0D01*X10000Y10000D01*X0Y10000D01*X0Y5000D01*X3000Y5000D01*X3000Y3000D01*"
         "X7000Y3000D01*X7000Y7000D01*X3000Y7000D01*X3000Y5000D01*X0Y5000D01*X0Y0D01*",
         56, 84},
        {"two holes on one bridge",
         "X0Y0D02*X10000Y0D01*X10000Y10000D01*X0Y10000D01*X0Y5000D01*X1000Y5000D01*X1000Y4000D01*"
         "X3000Y4000D01*X3000Y6000D01*X1000Y6000D01*X1000Y5000D01*X5000Y5000D01*X5000Y4000D01*"
         "X7000Y4000D01*X7000Y6000D01*X5000Y6000D01*X5000Y5000D01*X1000Y5000D01*X0Y5000D01*X0Y0D01*",
         56, 92},
        {"two squares meeting at a corner",
         "X0Y0D02*X1000Y0D01*X1000Y1000D01*X2000Y1000D01*X2000Y2000D01*X1000Y2000D01*X1000Y1000D01*"
         "X0Y1000D01*X0Y0D01*",
         8, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(mm33(std::string("G01*G36*") + c.region + "G37*"));
        ASSERT_EQ(features().size(), 1u);
        const MEASURE::feature_ref surface{kLayer, 0};
        EXPECT_NEAR(MEASURE::surface_perimeter(kJob, "pcb", surface), c.perimeter * 1e6, 1);
        EXPECT_NEAR(MEASURE::surface_area(kJob, "pcb", surface), c.area * 1e12, 1e3);
    }
}

// Some writers pad a file with NUL bytes after its end; a NUL inside the
// file is still an error.
TEST_F(GerberImport, NulPaddingAfterTheEndIsIgnored) {
    std::string padded = mm33("%ADD10C,0.5*%\nD10*\nX1000Y1000D03*");
    padded.append(64, '\0');
    EXPECT_EQ(load(padded).features, 1);
    std::string inside = mm33("%ADD10C,0.5*%\nD10*\nX1000Y1000D03*");
    inside.insert(inside.find("D10*"), 1, '\0');
    EXPECT_THROW(load(inside), API::KernelText);
    EXPECT_EQ(features().size(), 1u);
}

// Old writers give a square one size.
TEST_F(GerberImport, ARectangleWithOneSizeIsASquare) {
    const IMPORT::import_report r = load(mm33("%ADD74R,0.035*%\nD74*\nX1000Y1000D03*"));
    EXPECT_EQ(r.features, 1);
    EXPECT_EQ(last().symbol, "s35");
    EXPECT_FALSE(r.warnings.empty());
}

// A definition that cannot be read is left out while nothing uses it.
TEST_F(GerberImport, AnUnreadableApertureIsAnErrorOnlyWhenUsed) {
    const IMPORT::import_report r = load(mm33("%ADD125R,0.03260.326*%\n%ADD10C,0.5*%\nD10*\nX1000Y1000D03*"));
    EXPECT_EQ(r.features, 1);
    ASSERT_FALSE(r.warnings.empty());
    EXPECT_NE(r.warnings.front().find("0.03260.326"), std::string::npos) << r.warnings.front();
    EXPECT_THROW(load(mm33("%ADD125R,0.03260.326*%\nD125*\nX1000Y1000D03*")), API::KernelText);
    EXPECT_EQ(features().size(), 1u);
}

TEST_F(GerberImport, ClearPolarityKeepsFileOrder) {
    load(mm33("%ADD10C,1*%%ADD11C,0.5*%D10*X0Y0D03*%LPC*%D11*X0Y0D03*%LPD*%X5000Y0D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 3u);
    const int expected[] = {API::POL_POSITIVE, API::POL_NEGATIVE, API::POL_POSITIVE};
    const char* symbols[] = {"r1000", "r500", "r500"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(all[i].polarity, expected[i]) << i;
        EXPECT_EQ(all[i].symbol, symbols[i]) << i;
    }
    EXPECT_EQ(all[2].xs, 5e6);
}

TEST_F(GerberImport, StepAndRepeatCopiesKeepDarkThenClear) {
    load(mm33("%ADD10C,1*%%ADD11C,0.5*%%SRX2Y2I5J3*%D10*X0Y0D03*%LPC*%D11*X0Y0D03*%SR*%%LPD*%D10*X9000Y9000D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 9u);
    const double xs[] = {0, 0, 5e6, 5e6, 0, 0, 5e6, 5e6};
    const double ys[] = {0, 0, 0, 0, 3e6, 3e6, 3e6, 3e6};
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(all[i].xs, xs[i]);
        EXPECT_EQ(all[i].ys, ys[i]);
        EXPECT_EQ(all[i].polarity, i % 2 ? API::POL_NEGATIVE : API::POL_POSITIVE);
    }
    EXPECT_EQ(all[8].xs, 9e6);  // after the block: not repeated
}

TEST_F(GerberImport, MacroPrimitivesFlattenToSurfaces) {
    struct Case {
        const char* name;
        const char* macro;  // the body after "%AMM*"
        const char* args;
        size_t surfaces;
        int polarity;  // of the first surface
        double xmin, ymin, xmax, ymax;  // mm, the first surface's box
    };
    const Case cases[] = {
        {"circle", "1,1,$1,$2,0", "2X0.5", 1, API::POL_POSITIVE, -0.5, -1, 1.5, 1},
        {"vector line", "20,1,0.2,0,0,1,0,0", "", 1, API::POL_POSITIVE, 0, -0.1, 1, 0.1},
        {"vector line rotated", "20,1,0.2,0,0,1,0,90", "", 1, API::POL_POSITIVE, -0.1, 0, 0.1, 1},
        {"centre line rotated about the origin", "21,1,1,0.5,1,0,90", "", 1, API::POL_POSITIVE, -0.25, 0.5, 0.25, 1.5},
        {"lower-left line", "22,1,1,0.5,1,2,0", "", 1, API::POL_POSITIVE, 1, 2, 2, 2.5},
        {"outline", "4,1,3,0,0,1,0,1,1,0,0,0", "", 1, API::POL_POSITIVE, 0, 0, 1, 1},
        {"polygon", "5,1,4,0,0,2,0", "", 1, API::POL_POSITIVE, -1, -1, 1, 1},
        {"polygon rotated", "5,1,4,0,0,2,45", "", 1, API::POL_POSITIVE, -M_SQRT1_2, -M_SQRT1_2, M_SQRT1_2, M_SQRT1_2},
        {"thermal: four quarters", "7,0,0,2,1,0.2,0", "", 4, API::POL_POSITIVE, 0.1, 0.1, std::sqrt(0.99), std::sqrt(0.99)},
        {"exposure off after on: a ring", "1,1,2,0,0*1,0,1,0,0", "", 1, API::POL_POSITIVE, -1, -1, 1, 1},
        {"exposure off cutting in two", "21,1,2,1,0,0,0*21,0,0.5,2,0,0,0", "", 2, API::POL_POSITIVE, 0.25, -0.5, 1, 0.5},
        {"variables and arithmetic", "$3=$1x2+-$2*21,1,$3,(1+1)/4,0,-$2,0", "0.5X0.25", 1, API::POL_POSITIVE,
         -0.375, -0.5, 0.375, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        const std::string ad = std::string("%ADD10M") + (*c.args ? "," : "") + c.args + "*%";
        load(mm33(std::string("%AMM*") + c.macro + "*%" + ad + "D10*X0Y0D03*"));
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), c.surfaces);
        EXPECT_EQ(all[0].type, API::FT_SURFACE);
        EXPECT_EQ(all[0].polarity, c.polarity);
        expectBox(all[0], c.xmin * 1e6, c.ymin * 1e6, c.xmax * 1e6, c.ymax * 1e6);
    }
}

// Draws whose aperture no stroke symbol shows become the exact area the
// aperture sweeps; circles and axis-parallel rectangles stay lines.
TEST_F(GerberImport, DrawsSweepTheirAperture) {
    struct Case {
        const char* name;
        const char* body;
        int type;
        double xmin, ymin, xmax, ymax;  // mm
    };
    const double h = M_SQRT1_2, c30 = std::cos(30.5 * M_PI / 180), s30 = std::sin(30.5 * M_PI / 180);
    const Case cases[] = {
        {"rectangle turned 45 degrees", "%ADD10R,1X1*%%LR45*%D10*X0Y0D02*X10000Y0D01*", API::FT_SURFACE, -h, -h, 10 + h, h},
        {"rectangle turned 30.5 degrees", "%ADD10R,2X0.01*%%LR30.5*%D10*X0Y0D02*X0Y10000D01*", API::FT_SURFACE,
         -(c30 + 0.005 * s30), -(s30 + 0.005 * c30), c30 + 0.005 * s30, 10 + s30 + 0.005 * c30},
        {"rectangle turned 90 degrees stays a line", "%ADD10R,2X1*%%LR90*%D10*X0Y0D02*X10000Y0D01*", API::FT_LINE,
         -0.5, -1, 10.5, 1},
        {"obround along its length", "%ADD10O,2X1*%D10*X0Y0D02*X10000Y0D01*", API::FT_SURFACE, -1, -0.5, 11, 0.5},
        {"obround as round as a circle stays a line", "%ADD10O,1X1*%D10*X0Y0D02*X10000Y0D01*", API::FT_LINE, -0.5,
         -0.5, 10.5, 0.5},
        {"polygon", "%ADD10P,2X4X45*%D10*X0Y0D02*X10000Y0D01*", API::FT_SURFACE, -h, -h, 10 + h, h},
        {"macro", "%AMSQ*21,1,1,1,0,0,0*%%ADD10SQ*%D10*X0Y0D02*X10000Y0D01*", API::FT_SURFACE, -0.5, -0.5, 10.5, 0.5},
        {"macro ring", "%AMRING*1,1,2,0,0*1,0,1,0,0*%%ADD10RING*%D10*X0Y0D02*X10000Y0D01*", API::FT_SURFACE, -1, -1, 11, 1},
        {"macro drawn to its own point", "%AMSQ*21,1,1,1,0,0,0*%%ADD10SQ*%D10*X3000Y0D02*X3000Y0D01*",
         API::FT_SURFACE, 2.5, -0.5, 3.5, 0.5},
        {"rectangle along a quarter arc", "%ADD10R,1X1*%D10*G75*X0Y0D02*G02X5000Y5000I5000J0D01*", API::FT_SURFACE,
         -0.5, -0.5, 5.5, 5.5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(mm33(c.body));
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0].type, c.type);
        EXPECT_NEAR(all[0].xmin, c.xmin * 1e6, 1000) << "xmin";
        EXPECT_NEAR(all[0].ymin, c.ymin * 1e6, 1000) << "ymin";
        EXPECT_NEAR(all[0].xmax, c.xmax * 1e6, 1000) << "xmax";
        EXPECT_NEAR(all[0].ymax, c.ymax * 1e6, 1000) << "ymax";
    }
}

// A quarter turn of the image, or swapped axes, lay rectangles on their side.
TEST_F(GerberImport, ImageTransformsTurnRectangles) {
    struct Case {
        const char* name;
        const char* prefix;
        const char* line, *pad;  // symbols
        int padAngle;
        double xe, ye;  // mm, the line's end
    };
    const Case cases[] = {
        {"none", "", "rect2000x1000", "rect2000x1000", 0, 10, 0},
        {"turned a quarter", "%IR90*%", "rect1000x2000", "rect2000x1000", 90, 0, 10},
        {"half a turn", "%IR180*%", "rect2000x1000", "rect2000x1000", 180, -10, 0},
        {"axes swapped", "%ASAYBX*%", "rect1000x2000", "rect2000x1000", 90, 0, 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(mm33(std::string(c.prefix) + "%ADD10R,2X1*%D10*X0Y0D02*X10000Y0D01*X0Y0D03*"));
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), 2u);
        EXPECT_EQ(all[0].type, API::FT_LINE);
        EXPECT_EQ(all[0].symbol, c.line);
        EXPECT_NEAR(all[0].xe, c.xe * 1e6, 1);
        EXPECT_NEAR(all[0].ye, c.ye * 1e6, 1);
        EXPECT_EQ(all[1].symbol, c.pad);
        EXPECT_EQ(all[1].angle, c.padAngle);
    }
}

// Writers' slips read as the writer meant them.
TEST_F(GerberImport, TolerantReadings) {
    // Coordinates before any operation only set the point.
    IMPORT::import_report r = load(mm33("%ADD10C,0.1*%D10*X1000Y2000*X3000D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].type, API::FT_PAD);
    EXPECT_DOUBLE_EQ(all[0].xs, 3e6);
    EXPECT_DOUBLE_EQ(all[0].ys, 2e6);
    // A word after the last '*' of an extended command is dropped with a warning.
    kt::freshJob(kJob, {});
    r = load(mm33("%ADD10C,0.5*X0.7%\nD10*X0Y0D03*"));
    all = features();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].symbol, "r500");
    ASSERT_FALSE(r.warnings.empty());
    EXPECT_NE(r.warnings[0].find("'X0.7'"), std::string::npos) << r.warnings[0];
    // Sizes ending in a separator.
    kt::freshJob(kJob, {});
    load(mm33("%ADD14C,0.25X*%D14*X0Y0D03*"));
    all = features();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].symbol, "r250");
}

// Exposure off makes a hole in the aperture only: a ring flashed over a pad
// leaves the pad whole, and a clear flash of the ring clears the ring alone.
TEST_F(GerberImport, ExposureOffMakesAHoleInTheApertureOnly) {
    load(mm33("%AMRING*1,1,2,0,0*1,0,1,0,0*%%ADD10RING*%%ADD11C,1.5*%"
              "D11*X2000Y2000D03*D10*X2000Y2000D03*%LPC*%X5000Y2000D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 3u);
    // One surface each, its outline and its hole, positive then negative.
    EXPECT_EQ(all[1].record.compare(0, 9, "S P 10 2 "), 0) << all[1].record.substr(0, 20);
    EXPECT_EQ(all[2].record.compare(0, 9, "S N 10 2 "), 0) << all[2].record.substr(0, 20);
    // 10 um per pixel over (0, 0)-(7, 4) mm.
    API::init_canvas(700, 400);
    API::zoom_to_box(0, 0, 7000, 4000);
    API::draw_layer(kJob, "pcb", kLayer, 255, 255, 255, 255);
    auto at = [](double xmm, double ymm) { return kt::painted(int(xmm * 100), 399 - int(ymm * 100)); };
    EXPECT_TRUE(at(2, 2)) << "the pad under the ring's hole";
    EXPECT_TRUE(at(2.6, 2)) << "the pad under the ring";
    EXPECT_TRUE(at(2.9, 2)) << "the ring beyond the pad";
    EXPECT_FALSE(at(3.1, 2)) << "beyond the ring";
    EXPECT_FALSE(at(5.9, 2)) << "the clear ring over nothing";
}

TEST_F(GerberImport, BlockAperturesPlaceTheirFeatures) {
    load(mm33("%ABD12*%%ADD11C,0.5*%%ADD13C,0.2*%D11*X0Y0D03*%LPC*%D13*X1000Y0D03*%LPD*%%AB*%"
              "D12*X5000Y5000D03*%LPC*%X9000Y0D03*%LPD*%%LR90*%X0Y9000D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 6u);
    struct Expect {
        double x, y;  // mm
        const char* symbol;
        int polarity;
    };
    const Expect want[] = {
        {5, 5, "r500", API::POL_POSITIVE}, {6, 5, "r200", API::POL_NEGATIVE},   // as defined
        {9, 0, "r500", API::POL_NEGATIVE}, {10, 0, "r200", API::POL_POSITIVE},  // flashed clear: toggled
        {0, 9, "r500", API::POL_POSITIVE}, {0, 10, "r200", API::POL_NEGATIVE},  // rotated a quarter turn
    };
    for (size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_NEAR(all[i].xs, want[i].x * 1e6, 1);
        EXPECT_NEAR(all[i].ys, want[i].y * 1e6, 1);
        EXPECT_EQ(all[i].symbol, want[i].symbol);
        EXPECT_EQ(all[i].polarity, want[i].polarity);
    }
}

// A block flashed turned or scaled turns and scales what it holds: pads and
// rectangle pens with it, exactly where the turn is a fraction of a degree.
TEST_F(GerberImport, BlockFlashesTurnAndScaleTheirSymbols) {
    const std::string block = "%ABD12*%%ADD11R,2X1*%%ADD13C,0.5*%D11*X0Y0D02*X4000Y0D01*X0Y0D03*D13*X1000Y1000D03*%AB*%D12*";
    struct Case {
        const char* name;
        const char* transform;
        int line, pad;  // feature types
        const char* lineSymbol, *padSymbol, *roundSymbol;
        int padAngle;
    };
    const Case cases[] = {
        {"as defined", "", API::FT_LINE, API::FT_PAD, "rect2000x1000", "rect2000x1000", "r500", 0},
        {"a quarter turn", "%LR90*%", API::FT_LINE, API::FT_PAD, "rect1000x2000", "rect2000x1000", "r500", 90},
        {"scaled", "%LS2*%", API::FT_LINE, API::FT_PAD, "rect4000x2000", "rect4000x2000", "r1000", 0},
        {"turned 30 degrees", "%LR30*%", API::FT_SURFACE, API::FT_PAD, "", "rect2000x1000", "r500", 30},
        {"turned 12.5 degrees", "%LR12.5*%", API::FT_SURFACE, API::FT_SURFACE, "", "", "r500", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        load(mm33(block + c.transform + "X10000Y0D03*"));
        std::vector<API::featureInfo> all = features();
        ASSERT_EQ(all.size(), 3u);
        EXPECT_EQ(all[0].type, c.line);
        EXPECT_EQ(all[0].symbol, c.lineSymbol);
        EXPECT_EQ(all[1].type, c.pad);
        EXPECT_EQ(all[1].symbol, c.padSymbol);
        if (c.pad == API::FT_PAD) {
            EXPECT_EQ(all[1].angle, c.padAngle);
        }
        EXPECT_EQ(all[2].symbol, c.roundSymbol);
    }
    // The turned pen sweeps the turned rectangle: 4 mm along 30 degrees.
    kt::freshJob(kJob, {});
    load(mm33(block + "%LR30*%X0Y0D03*"));
    const API::featureInfo line = features()[0];
    const double c30 = std::cos(M_PI / 6), s30 = std::sin(M_PI / 6);
    EXPECT_NEAR(line.xmax, (4 * c30 + c30 + 0.5 * s30) * 1e6, 1000);
    EXPECT_NEAR(line.ymin, -(s30 + 0.5 * c30) * 1e6, 1000);
}

TEST_F(GerberImport, ArcWithoutOffsetsIsDrawnStraight) {
    IMPORT::import_report r = load(mm33("G75*%ADD10C,0.1*%D10*X0Y0D02*G02*X1000Y0D01*"));
    API::featureInfo f = last();
    EXPECT_EQ(f.type, API::FT_LINE);
    EXPECT_EQ(f.xe, 1e6);
    EXPECT_EQ(r.warnings.size(), 1u);
}

TEST_F(GerberImport, MacroFlashesMirrorThenRotateThenScale) {
    // A triangle (0,0) (1,0) (1,1) mm through the aperture transformations.
    struct Case {
        const char* transform;
        double xmin, ymin, xmax, ymax;  // mm
    };
    const Case cases[] = {
        {"", 0, 0, 1, 1},
        {"%LMX*%", -1, 0, 0, 1},
        {"%LMY*%", 0, -1, 1, 0},
        {"%LR90*%", -1, 0, 0, 1},
        {"%LS2*%", 0, 0, 2, 2},
        {"%LMX*%%LR90*%", -1, -1, 0, 0},  // rotating first would give (0, 0, 1, 1)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.transform);
        kt::freshJob(kJob, {});
        load(mm33(std::string("%AMT*4,1,3,0,0,1,0,1,1,0,0,0*%%ADD10T*%") + c.transform + "D10*X5000Y5000D03*"));
        API::featureInfo f = last();
        EXPECT_EQ(f.type, API::FT_SURFACE);
        expectBox(f, (5 + c.xmin) * 1e6, (5 + c.ymin) * 1e6, (5 + c.xmax) * 1e6, (5 + c.ymax) * 1e6);
    }
}

TEST_F(GerberImport, NegativeImageClearsOutOfADarkField) {
    load(mm33("%IPNEG*%%ADD10C,1*%%ADD11R,2X1*%D10*X0Y0D03*D11*X5000Y0D03*%LPC*%X5000Y3000D03*"));
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0].type, API::FT_SURFACE);
    EXPECT_EQ(all[0].polarity, API::POL_POSITIVE);
    // Covers every object with its aperture.
    EXPECT_LE(all[0].xmin, -0.5e6);
    EXPECT_LE(all[0].ymin, -0.5e6);
    EXPECT_GE(all[0].xmax, 6e6);
    EXPECT_GE(all[0].ymax, 3.5e6);
    const int polarity[] = {API::POL_NEGATIVE, API::POL_NEGATIVE, API::POL_POSITIVE};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(all[i + 1].polarity, polarity[i]) << i;
}

TEST_F(GerberImport, FlashesWithoutAPadSymbolAreExactSurfaces) {
    struct Case {
        const char* prefix;
        int contours;                   // the hole is the second
        double xmin, ymin, xmax, ymax;  // mm about the flash point
    };
    const double c = std::cos(M_PI / 8), s = std::sin(M_PI / 8);
    const Case cases[] = {
        {"%ADD10P,1X4*%", 1, -0.5, -0.5, 0.5, 0.5},
        {"%ADD10P,1X4X0X0.2*%", 2, -0.5, -0.5, 0.5, 0.5},
        {"%ADD10R,2X1X0.5*%", 2, -1, -0.5, 1, 0.5},
        {"%ADD10O,2X1X0.5*%", 2, -1, -0.5, 1, 0.5},
        {"%ADD10O,1X2X0.5*%", 2, -0.5, -1, 0.5, 1},
        {"%ADD10C,1X0.4X0.2*%", 2, -0.5, -0.5, 0.5, 0.5},
        {"%ADD10R,2X1*%%LR22.5*%", 1, -(c + s / 2), -(s + c / 2), c + s / 2, s + c / 2},
        {"%ADD10R,2X1X0.5*%%LS0.5*%", 2, -0.5, -0.25, 0.5, 0.25},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.prefix);
        kt::freshJob(kJob, {});
        load(mm33(std::string(k.prefix) + "D10*X1000Y1000D03*"));
        API::featureInfo f = last();
        ASSERT_EQ(f.type, API::FT_SURFACE);
        expectBox(f, (1 + k.xmin) * 1e6, (1 + k.ymin) * 1e6, (1 + k.xmax) * 1e6, (1 + k.ymax) * 1e6);
        // "S <pol> <dcode> <contours> ..."
        EXPECT_EQ(f.record.compare(0, 9, "S P 10 " + std::to_string(k.contours) + " "), 0) << f.record.substr(0, 20);
    }
}

TEST_F(GerberImport, X2AttributesReachTheFeatures) {
    IMPORT::import_report r = load(mm33(
        "%TF.FileFunction,Copper,L1,Top*%%TA.AperFunction,SMDPad,CuDef*%%ADD10C,0.2*%%TD.AperFunction*%"
        "%ADD11C,0.3*%%TO.N,Net 1*%%TO.P,U1,7*%D10*X0Y0D03*%TD*%D11*X1000Y0D03*"));
    EXPECT_EQ(r.file_attributes[".FileFunction"], "Copper,L1,Top");
    EXPECT_EQ(r.type, "signal");
    EXPECT_EQ(r.features, 2);
    std::vector<API::featureInfo> all = features();
    ASSERT_EQ(all.size(), 2u);
    const API::attr_map first{{".net", "Net 1"}, {".comp", "U1"}, {".pin", "7"}, {".aper_function", "SMDPad,CuDef"}};
    EXPECT_EQ(all[0].attributes, first);
    EXPECT_TRUE(all[1].attributes.empty());
}

TEST_F(GerberImport, X2AttributesInComments) {
    IMPORT::import_report r = load(
        "G04 #@! TF.FileFunction,Soldermask,Top*\n%FSLAX46Y46*%\n%MOMM*%\n"
        "G04 #@! TA.AperFunction,SMDPad,CuDef*\n%ADD10C,0.100000*%\nG04 #@! TD*\n"
        "D10*\nG04 #@! TO.N,/USB D+*\nX1000000Y-500000D03*\nM02*\n");
    EXPECT_EQ(r.file_attributes[".FileFunction"], "Soldermask,Top");
    EXPECT_EQ(r.type, "solder_mask");
    const API::attr_map want{{".net", "/USB D+"}, {".aper_function", "SMDPad,CuDef"}};
    EXPECT_EQ(last().attributes, want);
    EXPECT_EQ(last().ys, -0.5e6);
}

TEST_F(GerberImport, OneFileIsOneUndoStepAppendedToTheLayer) {
    load(mm33("%ADD10C,0.1*%D10*X0Y0D03*"));
    load(mm33("%ADD10C,0.1*%D10*X0Y0D03*X1000Y0D03*"));
    EXPECT_EQ(JOB::feature_count(kJob, "pcb", kLayer), 3);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(JOB::feature_count(kJob, "pcb", kLayer), 1);
}

TEST_F(GerberImport, MalformedFilesThrowWithFileAndLineAndChangeNothing) {
    struct Case {
        const char* name;
        std::string text;
        const char* message;  // part of the text thrown
    };
    const Case cases[] = {
        {"unterminated word", "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX100Y100D03", "t.gbr:5: truncated"},
        {"no end of file", "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX100Y100D03*\n", "without M02"},
        {"unclosed extended command", "%FSLAX33Y33*%\n%MOMM*\n", "t.gbr:2: truncated"},
        {"garbage bytes", "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX1\x01\x02Y1D03*\nM02*\n", "t.gbr:5: unexpected byte 0x01"},
        {"a byte above ASCII in the data", "%FSLAX33Y33*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX1\x80Y1D03*\nM02*\n",
         "t.gbr:5: unexpected byte 0x80"},
        {"block aperture without a D code", "%FSLAX33Y33*%\n%MOMM*%\n%ABX12*%\n%AB*%\nM02*\n",
         "t.gbr:3: malformed block aperture 'ABX12'"},
        {"unknown D code", "%FSLAX33Y33*%\n%MOMM*%\nD99*\nM02*\n", "t.gbr:3: unknown D code D99"},
        {"flash before an aperture", "%FSLAX33Y33*%\n%MOMM*%\nX0Y0D03*\nM02*\n", "t.gbr:3: "},
        {"coordinates before FS", "%MOMM*%\n%ADD10C,1*%\nD10*\nX0Y0D03*\nM02*\n", "t.gbr:4: coordinate data before"},
        {"unknown macro primitive", "%FSLAX33Y33*%\n%MOMM*%\n%AMQ*9,1*%\n%ADD10Q*%\nD10*\nX0Y0D03*\nM02*\n",
         "t.gbr:6: unknown macro primitive 9"},
        {"unbalanced expression", "%FSLAX33Y33*%\n%MOMM*%\n%AMQ*1,1,(1+2,0,0*%\n%ADD10Q*%\nD10*\nX0Y0D03*\nM02*\n",
         "t.gbr:6: missing ')'"},
        {"macro with exposure off metres wide",
         "%FSLAX33Y33*%\n%MOMM*%\n%AMQ*1,1,3,0,0*21,0,20000,2,0,0,5*%\n%ADD10Q*%\nD10*\nX0Y0D03*\nM02*\n",
         "t.gbr:6: aperture macro reaches out of range"},
        {"macro arithmetic overflowing to infinity",
         "%FSLAX33Y33*%\n%MOMM*%\n%AMQ*$2=$1x$1x$1x$1*1,1,$2,0,0*%\n%ADD10Q,1000000*%\nD10*\nX0Y0D03*\nM02*\n",
         "t.gbr:6: expression '$1x$1x$1x$1' out of range"},
        {"a step and repeat pitch of 1e300", "%FSLAX33Y33*%\n%MOMM*%\n%SRX2Y1I1e300J0*%\nM02*\n",
         "t.gbr:3: number '1e300' out of range"},
        {"a thermal swept along a full circle",
         "%FSLAX33Y33*%\n%MOMM*%\n%AMT*7,0,0,1.8,1.2,0.2,0*%\n%ADD10T*%\nD10*\nG75*\nX0Y0D02*\n"
         "G03X0Y0I10000J0D01*\nM02*\n",
         "t.gbr:8: draw with a shaped aperture too complex to sweep"},
        {"unclosed block aperture", "%FSLAX33Y33*%\n%MOMM*%\n%ABD12*%\nM02*\n", "t.gbr:4: block aperture D12 is not closed"},
        {"unclosed region", "%FSLAX33Y33*%\n%MOMM*%\nG36*\nX0Y0D02*\nM02*\n", "inside a region"},
        {"too many digits", "%FSLAX23Y23*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX1234567Y0D03*\nM02*\n", "t.gbr:5: "},
        {"not a Gerber file", "hello world\n", "neither a Gerber nor an Excellon"},
        {"an Excellon file", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0Y1.0\nM30\n", "not gerber"},
    };
    load(mm33("%ADD10C,0.1*%D10*X0Y0D03*"));
    const unsigned long long serial = JOB::edit_serial(kJob);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            load(c.text);
            ADD_FAILURE() << "no error";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find("t.gbr"), std::string::npos) << e;
            EXPECT_NE(e.find(c.message), std::string::npos) << e;
        }
        EXPECT_EQ(JOB::feature_count(kJob, "pcb", kLayer), 1);
        EXPECT_EQ(JOB::edit_serial(kJob), serial);
    }
    // A good file for a missing step does not leave a new layer behind.
    EXPECT_THROW(IMPORT::import_gerber(kJob, "nope", "other", mm33(""), "t.gbr"), API::KernelText);
    EXPECT_EQ(API::get_matrix(kJob).size(), 1u);
}

// Step and repeat, nested block flashes and drill repeat codes multiply a
// few bytes of text; past the budget the file is refused, naming the line
// whose expansion would not fit, and nothing reaches the job.
TEST_F(GerberImport, ExpansionsPastTheBudgetAreRefused) {
    struct Budget {
        size_t previous = IMPORT::set_import_budget(size_t(1) << 20);
        ~Budget() { IMPORT::set_import_budget(previous); }
    } budget;
    std::string pads = "%ABD12*%%ADD10C,0.1*%D10*";
    for (int i = 0; i < 50; ++i) pads += "X" + std::to_string(i * 100) + "Y0D03*";
    pads += "%AB*%";
    auto nested = [&](int flashes) {
        std::string text = "%ABD13*%D12*";
        for (int i = 0; i < flashes; ++i) text += "X0Y" + std::to_string(i * 100) + "D03*";
        return mm33(pads + text + "%AB*%D13*X0Y0D03*");
    };
    struct Case {
        const char* name;
        std::string text;
        bool gerber;
        int features;       // when it fits
        const char* where;  // where the refusal is reported, when it does not
    };
    const Case cases[] = {
        {"step and repeat that fits", mm33("%ADD10C,0.1*%D10*%SRX10Y10I1J1*%X0Y0D03*X1Y0D03*%SR*%"), true, 200, ""},
        {"step and repeat past it", mm33("%ADD10C,0.1*%D10*%SRX100Y100I1J1*%X0Y0D03*X1Y0D03*%SR*%"), true, 0, "t.gbr:3:"},
        {"nested blocks that fit", nested(2), true, 100, ""},
        {"nested blocks past it", nested(200), true, 0, "t.gbr:3:"},
        {"drill repeat that fits", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0Y1.0\nR5X0.1\nM30\n", false, 6, ""},
        {"drill repeat past it", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.0Y1.0\nR99999X0.1\nM30\n", false, 0, "t.drl:7:"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kt::freshJob(kJob, {});
        try {
            const IMPORT::import_report r =
                c.gerber ? load(c.text) : IMPORT::import_excellon(kJob, "pcb", kLayer, c.text, "t.drl");
            EXPECT_EQ(*c.where, '\0') << "loaded";
            EXPECT_EQ(r.features, c.features);
        } catch (const API::KernelText& e) {
            EXPECT_NE(*c.where, '\0') << "refused: " << e;
            EXPECT_NE(e.find(std::string(c.where) + " the file expands past the import budget of 1 MB"),
                      std::string::npos)
                << e;
            EXPECT_TRUE(API::get_matrix(kJob).empty());
        }
    }
}

TEST_F(GerberImport, GarbageNeverHangsOrCrashes) {
    // Every prefix of a valid file, and the file with bytes flipped: each
    // either loads or throws a text.
    const std::string good = mm33("%AMM*1,1,$1,0,0*%%ADD10M,1*%%ADD11C,0.1*%D10*X0Y0D03*D11*G75*G36*X0Y0D02*"
                                  "G03*X0Y0I500J0D01*G37*%SRX2Y1I1J1*%X100Y100D03*%SR*%");
    const auto [loaded, thrown] = kt::loadDamaged(good, 3, 0x5a, [](const std::string& text) {
        IMPORT::import_gerber(kJob, "pcb", kLayer, text, "t.gbr");
    });
    EXPECT_GT(thrown, 0);
    EXPECT_GE(loaded, 1);  // the whole file, at least
    EXPECT_NO_THROW(IMPORT::import_gerber(kJob, "pcb", kLayer, good, "t.gbr"));
}

}  // namespace
