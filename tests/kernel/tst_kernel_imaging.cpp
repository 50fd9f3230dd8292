// The imaging export: images read back with libtiff against the kernel's own
// canvas, the transforms as pixel permutations, the resize by run lengths,
// the registration file, and refusals that leave the folder empty.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "TOLVA_Imaging.h"
#include "kernel_test_util.h"

namespace {

using namespace TOLVA;
namespace fs = std::filesystem;

const char* const kJob = "imaging";
constexpr double kDpi = 2540;  // 10 um a pixel
constexpr double kMm = 1e6;

struct Bits {
    int w = 0, h = 0;
    std::vector<uint8_t> on;  // one byte a pixel
    bool at(int c, int r) const { return on[size_t(r) * w + c]; }
    long count() const { return std::count(on.begin(), on.end(), 1); }
    // Lit pixels of row r.
    int run(int r) const { return int(std::count(on.begin() + long(r) * w, on.begin() + long(r + 1) * w, 1)); }
};

Bits readTiff(const std::string& path) {
    Bits b;
    TIFF* t = TIFFOpen(path.c_str(), "r");
    if (!t) return b;
    uint32_t w = 0, h = 0;
    TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(t, TIFFTAG_IMAGELENGTH, &h);
    b.w = int(w), b.h = int(h);
    b.on.assign(size_t(w) * h, 0);
    std::vector<uint8_t> row(TIFFScanlineSize(t));
    for (uint32_t r = 0; r < h; ++r) {
        TIFFReadScanline(t, row.data(), r, 0);
        for (uint32_t c = 0; c < w; ++c) b.on[size_t(r) * w + c] = (row[c >> 3] >> (7 - (c & 7))) & 1;
    }
    TIFFClose(t);
    return b;
}

class Imaging : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("tst_imaging_" + std::to_string(::getpid()));
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
    void TearDown() override { fs::remove_all(m_dir); }

    // A board of w x h mm with, on layer "top", an off-centre L of two lines,
    // a square pad, a round pad, and a surface with a hole.
    void board(double wmm, double hmm) {
        kt::freshJob(kJob, {"top", "drill"});
        JOB::set_profile(kJob, "pcb", {{0, 0}, {wmm * kMm, 0}, {wmm * kMm, hmm * kMm}, {0, hmm * kMm}});
        const int pen = kt::symbol(kJob, "top", "r50"), sq = kt::symbol(kJob, "top", "s120");
        const int rd = kt::symbol(kJob, "top", "r100");
        kt::add(kJob, "top", API::GreateLineString(0.2 * kMm, 0.2 * kMm, 0.2 * kMm, 1.1 * kMm, pen, API::POL_POSITIVE, 0));
        kt::add(kJob, "top", API::GreateLineString(0.2 * kMm, 0.2 * kMm, wmm * kMm - 0.3 * kMm, 0.25 * kMm, pen, API::POL_POSITIVE, 0));
        kt::add(kJob, "top", API::GreatePadString(0.6 * kMm, 0.9 * kMm, sq, API::POL_POSITIVE, 0, 0, 1));
        kt::add(kJob, "top", API::GreatePadString(1.2 * kMm, 0.6 * kMm, rd, API::POL_POSITIVE, 0, 0, 1));
        kt::add(kJob, "top", API::GreateSurfaceString({{1.5 * kMm, 0.8 * kMm}, {1.8 * kMm, 0.8 * kMm}, {1.8 * kMm, 1.1 * kMm},
                                                       {1.5 * kMm, 1.1 * kMm}, {1.5 * kMm, 0.8 * kMm}, {1.6 * kMm, 0.9 * kMm},
                                                       {1.7 * kMm, 0.9 * kMm}, {1.7 * kMm, 1.0 * kMm}, {1.6 * kMm, 0.9 * kMm}},
                                                      API::POL_POSITIVE, 0, true));
    }
    IMAGING::export_param param() const {
        IMAGING::export_param p;
        p.layers = {"top"};
        p.dpi = kDpi;
        p.output_dir = m_dir.string();
        return p;
    }
    Bits exportOne(const IMAGING::export_param& p) {
        const IMAGING::export_result r = IMAGING::export_layers(kJob, "pcb", p);
        return r.files.empty() ? Bits{} : readTiff(r.files[0]);
    }
    // The kernel's canvas of the frame at the image's pixel size.
    Bits canvasOf(const IMAGING::image_frame& f) {
        API::init_canvas(f.width, f.height);
        API::zoom_to_box(f.xmin / 1000, f.ymin / 1000, f.xmax / 1000, f.ymax / 1000);
        API::clear_canvas();
        API::draw_layer(kJob, "pcb", "top", 255, 255, 255, 255);
        Bits b{f.width, f.height, std::vector<uint8_t>(size_t(f.width) * f.height)};
        for (int r = 0; r < f.height; ++r)
            for (int c = 0; c < f.width; ++c) b.on[size_t(r) * f.width + c] = kt::painted(c, r);
        return b;
    }
    size_t filesInDir() const { return size_t(std::distance(fs::directory_iterator(m_dir), fs::directory_iterator())); }

    fs::path m_dir;
};

// Both compressions give the kernel's own picture, including across strips:
// a 200 mm wide image is written in strips of about 200 rows.
TEST_F(Imaging, ImageEqualsTheKernelCanvasOfTheFrame) {
    struct Case {
        double wmm, hmm;
        IMAGING::compression c;
    };
    for (const Case& k : {Case{2, 1.5, IMAGING::compression::ccitt_g4}, Case{2, 1.5, IMAGING::compression::packbits},
                          Case{200, 5, IMAGING::compression::ccitt_g4}}) {
        board(k.wmm, k.hmm);
        IMAGING::export_param p = param();
        p.compress = k.c;
        const Bits image = exportOne(p);
        const IMAGING::image_frame f = IMAGING::export_frame(kJob, "pcb", p);
        ASSERT_EQ(image.w, int(k.wmm * 100));
        ASSERT_EQ(image.h, int(k.hmm * 100));
        const Bits canvas = canvasOf(f);
        EXPECT_GT(image.count(), 100);
        EXPECT_EQ(image.on, canvas.on) << k.wmm << " mm";
        if (k.wmm > 100) {
            // Turned a quarter, the 200 mm side runs down the image, in strips
            // of board columns: image (c, r) is board cell (W - 1 - r, c).
            p.rotate = 90;
            p.name_format = "turned";
            const Bits turned = exportOne(p);
            ASSERT_EQ(turned.w, canvas.h);
            long mismatches = 0;
            for (int r = 0; r < turned.h; ++r)
                for (int c = 0; c < turned.w; ++c) mismatches += turned.at(c, r) != canvas.at(canvas.w - 1 - r, c);
            EXPECT_EQ(mismatches, 0);
        }
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
}

// Mirror and rotation move pixels and nothing else; negative inverts them;
// board_to_image agrees with where the pixels went.
TEST_F(Imaging, MirrorRotationAndNegativeArePixelPermutations) {
    board(2, 1.5);
    const Bits plain = exportOne(param());
    struct Case {
        int rotate;
        bool mirror, negative;
    };
    for (const Case& k : {Case{90, false, false}, Case{180, false, false}, Case{270, false, false},
                          Case{0, true, false}, Case{90, true, false}, Case{0, false, true}}) {
        IMAGING::export_param p = param();
        p.rotate = k.rotate, p.mirror = k.mirror, p.negative = k.negative;
        p.name_format = "{layer}_" + std::to_string(k.rotate) + (k.mirror ? "m" : "") + (k.negative ? "n" : "");
        const Bits image = exportOne(p);
        const IMAGING::image_frame f = IMAGING::export_frame(kJob, "pcb", p);
        const bool turned = k.rotate % 180 != 0;
        ASSERT_EQ(image.w, turned ? plain.h : plain.w);
        ASSERT_EQ(image.h, turned ? plain.w : plain.h);
        long mismatches = 0;
        for (int r = 0; r < plain.h; ++r)
            for (int c = 0; c < plain.w; ++c) {
                // The plain pixel's centre, through the board, into the image.
                double x = 0, y = 0, px = 0, py = 0;
                IMAGING::image_to_board(IMAGING::export_frame(kJob, "pcb", param()), param(), c + 0.5, r + 0.5, x, y);
                IMAGING::board_to_image(f, p, x, y, px, py);
                mismatches += image.at(int(px), int(py)) != (plain.at(c, r) != k.negative);
            }
        EXPECT_EQ(mismatches, 0) << "rotate " << k.rotate << " mirror " << k.mirror << " negative " << k.negative;
    }
    // Turned a quarter counter-clockwise, the board's top-right corner is the image's top-left.
    IMAGING::export_param p = param();
    p.rotate = 90;
    double px = -1, py = -1;
    IMAGING::board_to_image(IMAGING::export_frame(kJob, "pcb", p), p, 2 * kMm, 1.5 * kMm, px, py);
    EXPECT_DOUBLE_EQ(px, 0);
    EXPECT_DOUBLE_EQ(py, 0);
}

// Scale compensation stretches the board along its own axis: the image grows
// by the factor and the round pad's run across grows with it.
TEST_F(Imaging, ScaleCompensationStretchesAlongItsAxis) {
    board(2, 1.5);
    IMAGING::export_param p = param();
    p.x_scale = 2;
    const Bits wide = exportOne(p);
    EXPECT_EQ(wide.w, 400);
    EXPECT_EQ(wide.h, 150);
    // The round pad (100 um) at (1.2, 0.6) mm: row 90 from the top crosses its centre.
    int lit = 0;
    for (int c = 220; c < 260; ++c) lit += wide.at(c, 90);
    EXPECT_EQ(lit, 20);
    p.x_scale = 1;
    p.y_scale = 0.5;
    p.name_format = "short";
    const Bits flat = exportOne(p);
    EXPECT_EQ(flat.w, 200);
    EXPECT_EQ(flat.h, 75);
    // The round pad now crosses row 45 (0.9 mm from the top at 20 um a row), 10 columns wide.
    lit = 0;
    for (int c = 100; c < 140; ++c) lit += flat.at(c, 45);
    EXPECT_EQ(lit, 10);
}

// The resize grows pads and surfaces by its value on each side and shrinks
// clearances by as much; a shrink past a symbol's size leaves the feature out.
TEST_F(Imaging, ResizeGrowsEachSideByItsValue) {
    kt::freshJob(kJob, {"top"});
    JOB::set_profile(kJob, "pcb", {{0, 0}, {1 * kMm, 0}, {1 * kMm, 1 * kMm}, {0, 1 * kMm}});
    kt::add(kJob, "top", API::GreatePadString(0.3 * kMm, 0.5 * kMm, kt::symbol(kJob, "top", "r100"), API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "top", API::GreateSurfaceString({{0.6 * kMm, 0.4 * kMm}, {0.8 * kMm, 0.4 * kMm}, {0.8 * kMm, 0.6 * kMm},
                                                   {0.6 * kMm, 0.6 * kMm}},
                                                  API::POL_POSITIVE, 0, true));
    kt::add(kJob, "top", API::GreatePadString(0.3 * kMm, 0.8 * kMm, kt::symbol(kJob, "top", "s40"), API::POL_POSITIVE, 0, 0, 1));
    // A clearance in the surface, and a ring whose hole shrinks as it grows.
    kt::add(kJob, "top", API::GreatePadString(0.7 * kMm, 0.5 * kMm, kt::symbol(kJob, "top", "r60"), API::POL_NEGATIVE, 0, 0, 1));
    kt::add(kJob, "top", API::GreatePadString(0.3 * kMm, 0.2 * kMm, kt::symbol(kJob, "top", "donut_r200x100"), API::POL_POSITIVE, 0, 0, 1));
    struct Case {
        double resize;
        int pad, surface, small, ring;  // lit pixels across the middles (rows 49, 19, 79 and 80)
    };
    for (const Case& k : {Case{0, 10, 14, 4, 20}, Case{20000, 14, 22, 8, 36}, Case{-30000, 4, 2, 0, 0}}) {
        IMAGING::export_param p = param();
        p.resize = k.resize;
        p.name_format = "r" + std::to_string(int(k.resize));
        const Bits b = exportOne(p);
        int pad = 0, surface = 0;
        for (int c = 0; c < 50; ++c) pad += b.at(c, 49);
        for (int c = 50; c < 100; ++c) surface += b.at(c, 49);
        EXPECT_EQ(pad, k.pad) << k.resize;
        EXPECT_EQ(surface, k.surface) << k.resize;
        EXPECT_EQ(b.run(19), k.small) << k.resize;
        EXPECT_EQ(b.run(79) + b.run(80), k.ring) << k.resize;
    }
}

TEST_F(Imaging, RegistrationFileNamesTheHolesInPixelsAndBoardUnits) {
    board(2, 1.5);
    IMAGING::export_param p = param();
    p.layers = {"top", "drill"};
    p.rotate = 90;
    p.global_holes = {{0.5 * kMm, 0.5 * kMm, 0.3 * kMm}, {1.5 * kMm, 1.0 * kMm, 0.3 * kMm}};
    p.area_holes = {{1.0 * kMm, 1.0 * kMm, 0.2 * kMm}};
    const IMAGING::export_result r = IMAGING::export_layers(kJob, "pcb", p);
    ASSERT_EQ(r.files.size(), 2u);
    EXPECT_EQ(fs::path(r.files[1]).filename().string(), "imaging_pcb_drill.tif");
    std::ifstream in(r.registration);
    std::stringstream text;
    text << in.rdbuf();
    const std::string json = text.str();
    // (0.5, 0.5) mm turned a quarter: column (1.5 - 0.5) mm = 100 px, row (2 - 0.5) mm = 150 px.
    EXPECT_NE(json.find("{\"index\": 1, \"x_nm\": 500000, \"y_nm\": 500000, \"diameter_nm\": 300000, \"x_px\": 100, \"y_px\": 150}"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"area_holes\": [\n    {\"index\": 1, \"x_nm\": 1000000, \"y_nm\": 1000000, \"diameter_nm\": 200000, \"x_px\": 50, \"y_px\": 100}"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"images\": [\"imaging_pcb_top.tif\", \"imaging_pcb_drill.tif\"]"), std::string::npos);
    EXPECT_NE(json.find("\"width_px\": 150,\n  \"height_px\": 200"), std::string::npos) << json;
    EXPECT_EQ(filesInDir(), 3u);
}

TEST_F(Imaging, RefusalsLeaveNoFile) {
    board(2, 1.5);
    struct Case {
        const char* what;
        void (*spoil)(IMAGING::export_param&);
    };
    const Case cases[] = {
        {"resolution", [](IMAGING::export_param& p) { p.dpi = 0; }},
        {"resolution", [](IMAGING::export_param& p) { p.dpi = -300; }},
        {"scale", [](IMAGING::export_param& p) { p.x_scale = 0; }},
        {"scale", [](IMAGING::export_param& p) { p.y_scale = -1; }},
        {"scale", [](IMAGING::export_param& p) { p.x_scale = std::numeric_limits<double>::infinity(); }},
        {"rotation", [](IMAGING::export_param& p) { p.rotate = 45; }},
        {"nosuch", [](IMAGING::export_param& p) { p.layers = {"top", "nosuch"}; }},
        {"no layer", [](IMAGING::export_param& p) { p.layers.clear(); }},
        {"does not exist", [](IMAGING::export_param& p) { p.output_dir += "/missing"; }},
        {"same file", [](IMAGING::export_param& p) { p.layers = {"top", "drill"}, p.name_format = "{job}"; }},
    };
    for (const Case& k : cases) {
        IMAGING::export_param p = param();
        k.spoil(p);
        try {
            IMAGING::export_layers(kJob, "pcb", p);
            ADD_FAILURE() << k.what << " was not refused";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find(k.what), std::string::npos) << e;
        }
        EXPECT_EQ(filesInDir(), 0u) << k.what;
    }
    // A cancelled export takes its finished images back too.
    IMAGING::export_param p = param();
    p.layers = {"top", "drill"};
    EXPECT_THROW(IMAGING::export_layers(kJob, "pcb", p, [](long done, long) { return done < 150; }), API::KernelText);
    EXPECT_EQ(filesInDir(), 0u);
}

// A folder nobody may create files in (not even root): /proc.
TEST_F(Imaging, FolderThatCannotBeWrittenIsRefused) {
    board(2, 1.5);
    IMAGING::export_param p = param();
    p.output_dir = "/proc";
    try {
        IMAGING::export_layers(kJob, "pcb", p);
        ADD_FAILURE() << "not refused";
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("cannot be written"), std::string::npos) << e;
    }
}

// Grown surfaces keep their own rings: a second surface, with a hole, after
// a first one; a clearance drawn with the layer's first symbol shrinks.
TEST_F(Imaging, ResizeKeepsEachSurfacesRingsAndShrinksEveryClearance) {
    kt::freshJob(kJob, {"top"});
    JOB::set_profile(kJob, "pcb", {{0, 0}, {1 * kMm, 0}, {1 * kMm, 1 * kMm}, {0, 1 * kMm}});
    const int clear = kt::symbol(kJob, "top", "r100"), square = kt::symbol(kJob, "top", "s300");
    kt::add(kJob, "top", API::GreateSurfaceString({{0.05 * kMm, 0.05 * kMm}, {0.35 * kMm, 0.05 * kMm}, {0.2 * kMm, 0.35 * kMm}},
                                                  API::POL_POSITIVE, 0, true));
    kt::add(kJob, "top", API::GreateSurfaceString({{0.5 * kMm, 0.5 * kMm}, {0.8 * kMm, 0.5 * kMm}, {0.8 * kMm, 0.8 * kMm},
                                                   {0.5 * kMm, 0.8 * kMm}, {0.5 * kMm, 0.5 * kMm}, {0.6 * kMm, 0.6 * kMm},
                                                   {0.7 * kMm, 0.6 * kMm}, {0.7 * kMm, 0.7 * kMm}, {0.6 * kMm, 0.7 * kMm},
                                                   {0.6 * kMm, 0.6 * kMm}},
                                                  API::POL_POSITIVE, 0, true));
    kt::add(kJob, "top", API::GreatePadString(0.25 * kMm, 0.75 * kMm, square, API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "top", API::GreatePadString(0.25 * kMm, 0.75 * kMm, clear, API::POL_NEGATIVE, 0, 0, 1));
    struct Case {
        double resize;
        int pad, ring;  // lit pixels across the cleared pad (row 25) and the holed surface (row 35)
    };
    for (const Case& k : {Case{0, 20, 20}, Case{20000, 28, 28}}) {
        IMAGING::export_param p = param();
        p.resize = k.resize;
        p.name_format = "g" + std::to_string(int(k.resize));
        const Bits b = exportOne(p);
        ASSERT_EQ(b.w, 100);
        int pad = 0, ring = 0;
        for (int c = 0; c < 45; ++c) pad += b.at(c, 25);
        for (int c = 45; c < 100; ++c) ring += b.at(c, 35);
        EXPECT_EQ(pad, k.pad) << k.resize;
        EXPECT_EQ(ring, k.ring) << k.resize;
        EXPECT_FALSE(b.at(65, 35)) << "the hole stays open, " << k.resize;
        EXPECT_TRUE(b.at(20, 85)) << "the first surface, " << k.resize;
    }
}

// Each layer's file takes its place in the list as {index}, from 1.
TEST_F(Imaging, IndexPlaceholderCountsTheLayersFromOne) {
    board(2, 1.5);
    IMAGING::export_param p = param();
    p.layers = {"top", "drill"};
    p.name_format = "{index}";
    const IMAGING::export_result r = IMAGING::export_layers(kJob, "pcb", p);
    ASSERT_EQ(r.files.size(), 2u);
    EXPECT_EQ(fs::path(r.files[0]).filename(), "1.tif");
    EXPECT_EQ(fs::path(r.files[1]).filename(), "2.tif");
}

// What a machine reads before the pixels: 1 = exposed, the resolution, the
// compression asked for, strips of the strip buffer's rows.
TEST_F(Imaging, TagsNameResolutionCompressionAndStrips) {
    board(2, 1.5);
    IMAGING::export_param p = param();
    p.dpi = 1270;
    p.compress = IMAGING::compression::packbits;
    TIFF* t = TIFFOpen(IMAGING::export_layers(kJob, "pcb", p).files[0].c_str(), "r");
    ASSERT_NE(t, nullptr);
    uint16_t photometric = 0, compression = 0, unit = 0;
    float xres = 0, yres = 0;
    uint32_t rows = 0;
    TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(t, TIFFTAG_COMPRESSION, &compression);
    TIFFGetField(t, TIFFTAG_RESOLUTIONUNIT, &unit);
    TIFFGetField(t, TIFFTAG_XRESOLUTION, &xres);
    TIFFGetField(t, TIFFTAG_YRESOLUTION, &yres);
    TIFFGetField(t, TIFFTAG_ROWSPERSTRIP, &rows);
    TIFFClose(t);
    EXPECT_EQ(photometric, PHOTOMETRIC_MINISBLACK);
    EXPECT_EQ(compression, COMPRESSION_PACKBITS);
    EXPECT_EQ(unit, RESUNIT_INCH);
    EXPECT_EQ(xres, 1270.f);
    EXPECT_EQ(yres, 1270.f);
    EXPECT_EQ(rows, 75u);  // the whole 1.5 mm at 50 um a pixel fits one strip
}

TEST(ImagingNames, PlaceholdersAndUnsafeCharacters) {
    EXPECT_EQ(IMAGING::image_file_name("{job}-{step}-{layer}@{dpi}_{index}", "j", "s", "l/1", 2540, 3), "j-s-l_1@2540_3.tif");
    EXPECT_EQ(IMAGING::image_file_name("", "j", "s", "l", 1000, 1), "j_s_l.tif");
    EXPECT_EQ(IMAGING::image_file_name("{layer}.tiff", "j", "s", "top", 1000, 1), "top.tiff");
}

}  // namespace
