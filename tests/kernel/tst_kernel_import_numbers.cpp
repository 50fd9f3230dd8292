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

    // The place of the file's only pad, in nm.
    API::featureInfo onlyPad(bool gerber, const std::string& text) {
        const std::string refused = refusal(gerber, text);
        EXPECT_EQ(refused, "");
        API::featureInfo f;
        if (!refused.empty()) return f;
        EXPECT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", kLayer, 0, f));
        EXPECT_FALSE(API::get_featureinfo_by_index(kJob, "pcb", kLayer, 1, f)) << "one pad";
        API::get_featureinfo_by_index(kJob, "pcb", kLayer, 0, f);
        return f;
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

std::string gerber(const char* format, const std::string& flash) {
    return std::string("%") + format + "*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\n" + flash + "\nM02*\n";
}

std::string drill(const char* units, const std::string& hit) {
    return std::string("M48\n") + units + "\nT1C0.3\n%\nT1\n" + hit + "\nM30\n";
}

TEST_F(ImportNumbers, GerberCoordinates) {
    struct Case {
        const char* name;
        const char* format;
        const char* flash;
        double x, y;  // nm
    };
    const Case cases[] = {
        {"leading zeros written where they may be left out", "FSLAX24Y24", "X012345Y-000500D03*", 1234500, -50000},
        {"trailing zeros left out", "FSTAX24Y24", "X12Y-5D03*", 12e6, -50e6},
        {"trailing zeros left out, all digits", "FSTAX24Y24", "X123456Y-000001D03*", 12.3456e6, -100},
        {"plus signs", "FSLAX24Y24", "X+12345Y+500D03*", 1234500, 50000},
        {"every digit of the format", "FSLAX24Y24", "X999999Y-999999D03*", 99.9999e6, -99.9999e6},
        {"no decimals", "FSLAX60Y60", "X12Y-3D03*", 12e6, -3e6},
        {"decimal points", "FSLAX24Y24", "X0012.250Y-.5D03*", 12.25e6, -0.5e6},
        {"decimal point last, plus sign", "FSLAX24Y24", "X+7.Y1.D03*", 7e6, 1e6},
        {"decimal point and more digits than the format", "FSLAX24Y24", "X123.4567891Y0D03*", 123.456789e6, 0},
        {"zero with a sign", "FSLAX24Y24", "X-0Y-0.0D03*", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const API::featureInfo f = onlyPad(true, gerber(c.format, c.flash));
        EXPECT_EQ(f.type, API::FT_PAD);
        EXPECT_DOUBLE_EQ(f.xs, std::round(c.x));
        EXPECT_DOUBLE_EQ(f.ys, std::round(c.y));
    }
}

TEST_F(ImportNumbers, GerberNumbersRefused) {
    struct Case {
        const char* flash;
        const char* reason;
    };
    const Case cases[] = {
        {"X1.2.3Y0D03*", "t.gbr:5: malformed number '1.2.3'"},
        {"X+-1.0Y0D03*", "t.gbr:5: malformed number '+-1.0'"},
        {"X--1Y0D03*", "t.gbr:5: malformed coordinate '--1'"},
        {"X.Y0D03*", "t.gbr:5: malformed number '.'"},
        {"X-Y0D03*", "t.gbr:5: malformed coordinate '-'"},
        {"X1234567Y0D03*", "t.gbr:5: coordinate '1234567' has more digits than the format allows"},
        {"X1000000000.5Y0D03*", "t.gbr:5: number '1000000000.5' out of range"},
        {"X-1000000001.Y0D03*", "t.gbr:5: number '-1000000001.' out of range"},
        {"X999999999.9Y0D03*", "t.gbr:5: the point of 'X999999999.9Y0D03' lies out of range"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flash);
        EXPECT_EQ(refusal(true, gerber("FSLAX24Y24", c.flash)), c.reason);
    }
}

TEST_F(ImportNumbers, ExcellonCoordinates) {
    struct Case {
        const char* name;
        const char* units;
        const char* hit;
        double x, y;  // nm
    };
    const Case cases[] = {
        {"leading zeros kept, signs", "METRIC,LZ", "X-0015Y+00025", -1.5e6, 0.25e6},
        {"trailing zeros kept, leading ones written", "METRIC,TZ", "X-1500Y00250", -1.5e6, 0.25e6},
        {"inch, leading zeros kept", "INCH,LZ", "X012345Y-0001", 1.2345 * 25.4e6, -0.01 * 25.4e6},
        {"decimal points", "METRIC", "X1.5Y-.25", 1.5e6, -0.25e6},
        {"decimal point last, plus sign", "METRIC", "X+2.Y0.125", 2e6, 0.125e6},
        {"nine and nine digits", ";FILE_FORMAT=9:9\nMETRIC,LZ", "X000000001Y-000000002", 1e6, -2e6},
        {"a format past 64 bits", "METRIC,LZ,0000000000.0000000000", "X00000000015Y-00000000001", 1.5e6, -0.1e6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const API::featureInfo f = onlyPad(false, drill(c.units, c.hit));
        EXPECT_EQ(f.type, API::FT_PAD);
        EXPECT_DOUBLE_EQ(f.xs, std::round(c.x));
        EXPECT_DOUBLE_EQ(f.ys, std::round(c.y));
    }
}

TEST_F(ImportNumbers, ExcellonNumbersRefused) {
    struct Case {
        const char* units;
        const char* hit;
        const char* reason;
    };
    const Case cases[] = {
        {"METRIC", "X1.2.3Y0", "t.drl:6: malformed coordinate '1.2.3'"},
        {"METRIC", "X+-1.5Y0", "t.drl:6: malformed coordinate '+-1.5'"},
        {"METRIC,TZ", "X+-15Y0", "t.drl:6: malformed coordinate '+-15'"},
        {"METRIC,TZ", "X-Y0", "t.drl:6: malformed coordinate '-'"},
        {"METRIC,TZ", "X1234567Y0", "t.drl:6: coordinate '1234567' has more digits than the format allows"},
        {"METRIC", "X1000000.5Y0", "t.drl:6: the point of 'X1000000.5Y0' lies out of range"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.hit);
        EXPECT_EQ(refusal(false, drill(c.units, c.hit)), c.reason);
    }
}

}  // namespace
