// Coordinates as the Gerber and Excellon readers take them apart: whole
// numbers in the file's format with leading or trailing zeros omitted, signs,
// decimal points, formats wider than 64 bits, and the numbers refused.
#include <gtest/gtest.h>

#include <cmath>

#include "TOLVA_Import.h"
#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "numbers";
const char* const kLayer = "art";

class ImportNumbers : public ::testing::Test {
protected:
    void SetUp() override { kt::freshJob(kJob, {}); }

    // The file loads as one pad at (x, y) nm, to the nanometre.
    void expectOnlyPadAt(bool gerber, const std::string& text, double x, double y) {
        const std::string refused = refusal(gerber, text);
        ASSERT_EQ(refused, "");
        API::featureInfo f;
        EXPECT_FALSE(API::get_featureinfo_by_index(kJob, "pcb", kLayer, 1, f)) << "one pad";
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", kLayer, 0, f));
        EXPECT_EQ(f.type, API::FT_PAD);
        EXPECT_DOUBLE_EQ(f.xs, std::round(x));
        EXPECT_DOUBLE_EQ(f.ys, std::round(y));
    }
    // The reason the file is refused for, "" when it loads.
    std::string refusal(bool gerber, const std::string& text) {
        kt::freshJob(kJob, {});
        try {
            if (gerber) IMPORT::import_gerber(kJob, "pcb", kLayer, text, "t.gbr");
            else IMPORT::import_excellon(kJob, "pcb", kLayer, text, "t.drl");
        } catch (const API::KernelText& e) {
            return e;
        }
        return std::string();
    }
};

std::string gerberFile(const char* format, const std::string& flash) {
    return std::string("%") + format + "*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\n" + flash + "\nM02*\n";
}

std::string drillFile(const char* units, const std::string& hit) {
    return std::string("M48\n") + units + "\nT1C0.3\n%\nT1\n" + hit + "\nM30\n";
}

// Gerber pads in the format given, Excellon hits in the units given.
std::string file(bool gerber, const char* head, const char* word) {
    return gerber ? gerberFile(head, word) : drillFile(head, word);
}

TEST_F(ImportNumbers, Coordinates) {
    struct Case {
        const char* name;
        bool gerber;
        const char* head;  // Gerber: the format; Excellon: the units line
        const char* word;
        double x, y;  // nm
    };
    const Case cases[] = {
        {"leading zeros written where they may be left out", true, "FSLAX24Y24", "X012345Y-000500D03*", 1234500, -50000},
        {"trailing zeros left out", true, "FSTAX24Y24", "X12Y-5D03*", 12e6, -50e6},
        {"trailing zeros left out, all digits", true, "FSTAX24Y24", "X123456Y-000001D03*", 12.3456e6, -100},
        {"plus signs", true, "FSLAX24Y24", "X+12345Y+500D03*", 1234500, 50000},
        {"every digit of the format", true, "FSLAX24Y24", "X999999Y-999999D03*", 99.9999e6, -99.9999e6},
        {"no decimals", true, "FSLAX60Y60", "X12Y-3D03*", 12e6, -3e6},
        {"decimal points", true, "FSLAX24Y24", "X0012.250Y-.5D03*", 12.25e6, -0.5e6},
        {"decimal point last, plus sign", true, "FSLAX24Y24", "X+7.Y1.D03*", 7e6, 1e6},
        {"decimal point and more digits than the format", true, "FSLAX24Y24", "X123.4567891Y0D03*", 123.456789e6, 0},
        {"zero with a sign", true, "FSLAX24Y24", "X-0Y-0.0D03*", 0, 0},
        {"drill: leading zeros kept, signs", false, "METRIC,LZ", "X-0015Y+00025", -1.5e6, 0.25e6},
        {"drill: trailing zeros kept, leading ones written", false, "METRIC,TZ", "X-1500Y00250", -1.5e6, 0.25e6},
        {"drill: inch, leading zeros kept", false, "INCH,LZ", "X012345Y-0001", 1.2345 * 25.4e6, -0.01 * 25.4e6},
        {"drill: decimal points", false, "METRIC", "X1.5Y-.25", 1.5e6, -0.25e6},
        {"drill: decimal point last, plus sign", false, "METRIC", "X+2.Y0.125", 2e6, 0.125e6},
        {"drill: nine and nine digits", false, ";FILE_FORMAT=9:9\nMETRIC,LZ", "X000000001Y-000000002", 1e6, -2e6},
        {"drill: a format past 64 bits", false, "METRIC,LZ,0000000000.0000000000", "X00000000015Y-00000000001", 1.5e6,
         -0.1e6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectOnlyPadAt(c.gerber, file(c.gerber, c.head, c.word), c.x, c.y);
    }
}

TEST_F(ImportNumbers, NumbersRefused) {
    struct Case {
        bool gerber;
        const char* head;
        const char* word;
        const char* reason;
    };
    const char* const kFormat = "FSLAX24Y24";
    const Case cases[] = {
        {true, kFormat, "X1.2.3Y0D03*", "t.gbr:5: malformed number '1.2.3'"},
        {true, kFormat, "X+-1.0Y0D03*", "t.gbr:5: malformed number '+-1.0'"},
        {true, kFormat, "X--1Y0D03*", "t.gbr:5: malformed coordinate '--1'"},
        {true, kFormat, "X.Y0D03*", "t.gbr:5: malformed number '.'"},
        {true, kFormat, "X-Y0D03*", "t.gbr:5: malformed coordinate '-'"},
        {true, kFormat, "X1234567Y0D03*", "t.gbr:5: coordinate '1234567' has more digits than the format allows"},
        {true, kFormat, "X1000000000.5Y0D03*", "t.gbr:5: number '1000000000.5' out of range"},
        {true, kFormat, "X-1000000001.Y0D03*", "t.gbr:5: number '-1000000001.' out of range"},
        {true, kFormat, "X999999999.9Y0D03*", "t.gbr:5: the point of 'X999999999.9Y0D03' lies out of range"},
        {false, "METRIC", "X1.2.3Y0", "t.drl:6: malformed coordinate '1.2.3'"},
        {false, "METRIC", "X+-1.5Y0", "t.drl:6: malformed coordinate '+-1.5'"},
        {false, "METRIC,TZ", "X+-15Y0", "t.drl:6: malformed coordinate '+-15'"},
        {false, "METRIC,TZ", "X-Y0", "t.drl:6: malformed coordinate '-'"},
        {false, "METRIC,TZ", "X1234567Y0", "t.drl:6: coordinate '1234567' has more digits than the format allows"},
        {false, "METRIC", "X1000000.5Y0", "t.drl:6: the point of 'X1000000.5Y0' lies out of range"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.word);
        EXPECT_EQ(refusal(c.gerber, file(c.gerber, c.head, c.word)), c.reason);
    }
}

}  // namespace
