// The hole, region and profile tools driven as a user drives them (requests,
// mouse and keys on the view) on a small job in the real kernel: holes moved
// onto their pads or shown as check points, holes resized by a table,
// surfaces divided and cut, the profile drawn, each taken back by one undo,
// and a tool switch in mid-gesture that leaves nothing behind.
#include <gtest/gtest.h>

#include <cmath>

#include "AnalysisMessages.h"
#include "MeasureMessages.h"
#include "TOLVA_Edit.h"
#include "ViewTool/AllignholeTool.h"
#include "ViewTool/DeleteTool.h"
#include "ViewTool/ProfileBoundTool.h"
#include "ViewTool/RegionDivisionTool.h"
#include "graphic_view/graphic_view.h"
#include "view_tool_fixture.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;
using testsupport::MessageRecorder;

namespace {

constexpr char kJob[] = "edit_tools_regions_job";
constexpr char kStep[] = "pcb";
constexpr qint32 kUndo = 20001618;
constexpr qint32 kOpenTool = 20000270;
constexpr double kMm = 1e6;

// The area of a surface: its island less its holes (shoelace over each contour).
double surfaceArea(const std::string& layer, int index) {
    double area = 0;
    const auto contours = TOLVA::EDIT::get_surface_contours(kJob, kStep, layer, index);
    for (size_t c = 0; c < contours.size(); ++c) {
        double twice = 0;
        const auto& ring = contours[c];
        for (size_t i = 0; i < ring.size(); ++i) {
            const auto& a = ring[i];
            const auto& b = ring[(i + 1) % ring.size()];
            twice += a.x * b.y - b.x * a.y;
        }
        area += (c == 0 ? 1 : -1) * std::abs(twice) / 2;
    }
    return area;
}

class RegionToolsTest : public viewtools::ViewToolTest {
protected:
    RegionToolsTest() : ViewToolTest(kJob) {}
    void SetUp() override {
        TOLVA::JOB::add_layer(kJob, "drl", "board", "drill", "positive");
        ViewToolTest::SetUp();
    }
    void TearDown() override {
        ViewToolTest::TearDown();
        flushDeletes();
    }

    // Where the tools put a click: the board point under the pixel, on the nanometre grid.
    QPointF landed(double x, double y) {
        const QPointF p = view->toBoard(pixel(x, y));
        return {std::round(p.x()), std::round(p.y())};
    }
    // As the platform delivers a double click: press, release, double click, release.
    void doubleClick(const QPoint& at) {
        click(at);
        mouse(QEvent::MouseButtonDblClick, at);
        mouse(QEvent::MouseButtonRelease, at);
    }
    API::featureInfo feature(const std::string& layer, int index) { return features(layer).at(size_t(index)); }
    void addSurface(const std::vector<API::lPoint>& outline) {
        API::AddFeature(kJob, kStep, {"top"}, {{"top", API::GreateSurfaceString(outline, API::POL_POSITIVE, 0, true)}},
                        {}, false);
    }
    // A 6 mm square from (2, 2) mm.
    void addSquare() { addSurface({{2 * kMm, 2 * kMm}, {8 * kMm, 2 * kMm}, {8 * kMm, 8 * kMm}, {2 * kMm, 8 * kMm}, {2 * kMm, 2 * kMm}}); }
    bool anyEditShape() const {
        for (int slot = 0; slot < 4; ++slot)
            if (view->editShape(slot)) return true;
        return false;
    }
    // One undo takes an edit back whole; a gesture that changed nothing made
    // no edit (the job's serial stands) and leaves nothing to undo.
    void expectUndoRestores(const std::string& layer, const std::vector<std::string>& before,
                            unsigned long long serialBefore) {
        if (TOLVA::JOB::edit_serial(kJob) != serialBefore) send(kUndo);
        EXPECT_EQ(records(layer), before);
    }
};

// ---- holes -----------------------------------------------------------------

struct AlignCase {
    const char* name;
    double offset;     // of the hole from its pad's centre
    QVariant tolerance;  // "Tolerance" of the request; invalid: the default 0.1 mm
    bool moves;
};

class AlignHole : public RegionToolsTest, public ::testing::WithParamInterface<AlignCase> {};

TEST_P(AlignHole, AClickMovesAHoleWithinTheToleranceOntoItsPadOrShowsItAsACheckPoint) {
    const AlignCase c = GetParam();
    job.addPad("top", 5 * kMm, 5 * kMm, "r1000");
    job.addPad("drl", 5 * kMm + c.offset, 5 * kMm, "r300");
    const auto before = records("drl");
    const auto serial = TOLVA::JOB::edit_serial(kJob);
    QVariantMap data{{"Mode", "align"}};
    if (c.tolerance.isValid()) data.insert("Tolerance", c.tolerance);
    send(AllignholeTool::kRequestCode, data);
    ASSERT_NE(dynamic_cast<AllignholeTool*>(view->currentTool()), nullptr);
    MessageRecorder messages;
    click(pixel(5 * kMm + c.offset, 5 * kMm));
    EXPECT_EQ(feature("drl", 0).xs, c.moves ? 5 * kMm : 5 * kMm + c.offset);
    ASSERT_EQ(view->checkPoints().size(), c.moves ? 0 : 1);
    if (!c.moves) {
        EXPECT_EQ(view->checkPoints().front().check, "hole_not_aligned");
        EXPECT_EQ(view->checkPoints().front().position, QPointF(5 * kMm + c.offset, 5 * kMm));
    }
    const auto dfm = messages.to(PluginNames::MenuBarDFM);
    ASSERT_EQ(dfm.size(), 1u);
    EXPECT_EQ(dfm[0].msgType, AnalysisMessages::kCurrent);
    EXPECT_EQ(dfm[0].data.value("Aligned").toInt(), c.moves ? 1 : 0);
    EXPECT_EQ(dfm[0].data.value(AnalysisMessages::kKeyCount).toInt(), c.moves ? 0 : 1);
    EXPECT_EQ(TOLVA::JOB::edit_serial(kJob) != serial, c.moves);
    expectUndoRestores("drl", before, serial);
}

INSTANTIATE_TEST_SUITE_P(Offsets, AlignHole,
                         ::testing::Values(AlignCase{"within", 50e3, {}, true},
                                           AlignCase{"atTheTolerance", 100e3, {}, true},
                                           AlignCase{"beyond", 101e3, {}, false},
                                           AlignCase{"widerTolerance", 300e3, 300e3, true},
                                           AlignCase{"zeroTolerance", 1e3, 0.0, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RegionToolsTest, ABoxAlignsTheHolesInsideItAsOneEditAndEnterTheSelectedOnes) {
    job.addPad("top", 3 * kMm, 3 * kMm, "r1000");
    job.addPad("top", 6 * kMm, 6 * kMm, "r1000");
    job.addPad("drl", 3 * kMm + 40e3, 3 * kMm - 30e3, "r300");
    job.addPad("drl", 6 * kMm - 60e3, 6 * kMm, "r300");
    job.addPad("drl", 9 * kMm, 9 * kMm, "r300");  // outside the box and on no pad
    const auto before = records("drl");
    send(kOpenTool, {{"Tool", 17}});
    drag(pixel(2 * kMm, 2 * kMm), pixel(7 * kMm, 7 * kMm));
    EXPECT_EQ(feature("drl", 0).xs, 3 * kMm);
    EXPECT_EQ(feature("drl", 0).ys, 3 * kMm);
    EXPECT_EQ(feature("drl", 1).xs, 6 * kMm);
    EXPECT_EQ(feature("drl", 2).xs, 9 * kMm);
    EXPECT_TRUE(view->checkPoints().isEmpty());
    send(kUndo);
    EXPECT_EQ(records("drl"), before);  // both holes back in one step

    select("drl", 2);
    key(Qt::Key_Return);
    ASSERT_EQ(view->checkPoints().size(), 1);  // no pad under it
    EXPECT_EQ(view->checkPoints().front().position, QPointF(9 * kMm, 9 * kMm));
    EXPECT_EQ(records("drl"), before);
}

struct ResizeCase {
    const char* name;
    QVariant sizes;
    bool selectedOnly;
    std::vector<std::string> symbols;  // of the three holes afterwards
};

class ResizeHoles : public RegionToolsTest, public ::testing::WithParamInterface<ResizeCase> {};

TEST_P(ResizeHoles, TheRequestResizesTheHolesOfTheTableAsOneUndoStep) {
    const ResizeCase c = GetParam();
    job.addPad("drl", 2 * kMm, 2 * kMm, "r300");
    job.addPad("drl", 4 * kMm, 2 * kMm, "r300");
    job.addPad("drl", 6 * kMm, 2 * kMm, "r500");
    select("drl", 1);
    const auto before = records("drl");
    const auto serial = TOLVA::JOB::edit_serial(kJob);
    send(AllignholeTool::kRequestCode, {{"Mode", "resize"}, {"Sizes", c.sizes}, {"Selected", c.selectedOnly}});
    ASSERT_NE(dynamic_cast<AllignholeTool*>(view->currentTool()), nullptr);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(feature("drl", i).symbol, c.symbols[size_t(i)]) << i;
    expectUndoRestores("drl", before, serial);
}

INSTANTIATE_TEST_SUITE_P(
    Tables, ResizeHoles,
    ::testing::Values(ResizeCase{"text", "300000:350000", false, {"r350", "r350", "r500"}},
                      ResizeCase{"texts", QStringList{"500000:600000", "300000:250000"}, false, {"r250", "r250", "r600"}},
                      ResizeCase{"pairs", QVariantList{QVariantList{300e3, 320e3}}, false, {"r320", "r320", "r500"}},
                      ResizeCase{"selectedOnly", "300000:350000,500000:600000", true, {"r300", "r350", "r500"}},
                      ResizeCase{"malformed", "300000-350000", false, {"r300", "r300", "r500"}}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- surfaces --------------------------------------------------------------

class DivideSurface : public RegionToolsTest, public ::testing::WithParamInterface<bool> {};

TEST_P(DivideSurface, ACutLineAcrossASurfaceMakesTwoWhoseAreasSumToTheOriginal) {
    const bool byDoubleClick = GetParam();
    addSquare();
    const double area = surfaceArea("top", 0);
    const auto before = records("top");
    send(kOpenTool, {{"Tool", 26}});
    auto* tool = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->mode(), 0);
    click(pixel(5 * kMm, 5 * kMm));
    EXPECT_EQ(tool->surface(), 0);
    click(pixel(4 * kMm, 1 * kMm));
    mouse(QEvent::MouseMove, pixel(5 * kMm, 9 * kMm));
    ASSERT_NE(view->editShape(1), nullptr);  // the rubber band follows the cursor
    EXPECT_EQ(view->editShape(1)->points.last(), view->toBoard(pixel(5 * kMm, 9 * kMm)));
    if (byDoubleClick) {
        doubleClick(pixel(5 * kMm, 9 * kMm));
    } else {
        click(pixel(5 * kMm, 9 * kMm));
        key(Qt::Key_Return);
    }
    ASSERT_EQ(TOLVA::JOB::feature_count(kJob, kStep, "top"), 2);
    const double left = surfaceArea("top", 0), right = surfaceArea("top", 1);
    EXPECT_GT(left, area / 4);
    EXPECT_GT(right, area / 4);
    EXPECT_DOUBLE_EQ(left + right, area);
    EXPECT_FALSE(anyEditShape());
    send(kUndo);
    EXPECT_EQ(records("top"), before);
}

INSTANTIATE_TEST_SUITE_P(Finish, DivideSurface, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "doubleClick" : "enter"; });

// The edit tool's "Divide" selects the surface alone and opens the tool.
TEST_F(RegionToolsTest, ASurfaceSelectedAloneIsTakenAsPickedSoThatTheFirstClickStartsTheCut) {
    addSquare();
    select("top", 0);
    send(kOpenTool, {{"Tool", 26}});
    auto* tool = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->surface(), 0);
    click(pixel(5 * kMm, 1 * kMm));
    click(pixel(5 * kMm, 9 * kMm));
    key(Qt::Key_Return);
    EXPECT_EQ(TOLVA::JOB::feature_count(kJob, kStep, "top"), 2);
}

TEST_F(RegionToolsTest, AClosedOutlineCutsAHoleOutOfTheSurface) {
    addSquare();
    const auto before = records("top");
    send(kOpenTool, {{"Tool", 27}});
    auto* tool = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->mode(), 1);
    EXPECT_EQ(tool->getType(), Graphic_ViewTool::REGION_DIVISION_TOOL);
    click(pixel(3 * kMm, 3 * kMm));
    const QPointF a = landed(4 * kMm, 4 * kMm), b = landed(6 * kMm, 6 * kMm);
    for (const QPointF& p : {QPointF(4, 4), QPointF(6, 4), QPointF(6, 6), QPointF(4, 6)}) click(pixel(p.x() * kMm, p.y() * kMm));
    key(Qt::Key_Return);
    const auto contours = TOLVA::EDIT::get_surface_contours(kJob, kStep, "top", 0);
    ASSERT_EQ(contours.size(), 2u);
    EXPECT_DOUBLE_EQ(surfaceArea("top", 0), 36 * kMm * kMm - (b.x() - a.x()) * (b.y() - a.y()));
    send(kUndo);
    EXPECT_EQ(records("top"), before);
}

TEST_F(RegionToolsTest, ACutThatMissesTheSurfaceIsToldAndChangesNothing) {
    addSquare();
    const auto before = records("top");
    const auto serial = TOLVA::JOB::edit_serial(kJob);
    send(kOpenTool, {{"Tool", 26}});
    click(pixel(5 * kMm, 5 * kMm));
    click(pixel(1 * kMm, 9 * kMm));
    MessageRecorder messages;
    click(pixel(9 * kMm, 9.5 * kMm));
    key(Qt::Key_Return);
    EXPECT_EQ(records("top"), before);
    EXPECT_EQ(TOLVA::JOB::edit_serial(kJob), serial);
    const auto notices = messages.withCode(MeasureMessages::kNotice);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_FALSE(notices[0].data.value("Text").toString().isEmpty());
    EXPECT_TRUE(prompts.texts().isEmpty());  // told, not asked
}

TEST_F(RegionToolsTest, EscapeTakesBackTheLastPointAndASecondEscapeTheWholeGesture) {
    addSquare();
    send(kOpenTool, {{"Tool", 26}});
    auto* tool = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    click(pixel(5 * kMm, 5 * kMm));
    for (double x : {1.0, 3.0, 9.0}) click(pixel(x * kMm, 1 * kMm));
    key(Qt::Key_Escape);
    EXPECT_EQ(tool->cutPoints().size(), 2);
    EXPECT_EQ(tool->cutPoints().last(), landed(3 * kMm, 1 * kMm));
    key(Qt::Key_Escape);
    EXPECT_TRUE(tool->cutPoints().isEmpty());
    EXPECT_EQ(tool->surface(), -1);
    EXPECT_FALSE(anyEditShape());
}

// ---- profile ---------------------------------------------------------------

class ProfileRect : public RegionToolsTest, public ::testing::WithParamInterface<double> {};

TEST_P(ProfileRect, ADraggedRectangleBecomesTheProfileAndTheFitShowsIt) {
    const double radius = GetParam();
    const API::reply_box old = API::profile_box(kJob, kStep);
    send(kOpenTool, {{"Tool", 16}, {"Radius", radius}});
    auto* tool = dynamic_cast<ProfileBoundTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->cornerRadius(), radius);
    const QPointF a = landed(1 * kMm, 5 * kMm), b = landed(7 * kMm, 2 * kMm);
    drag(pixel(1 * kMm, 5 * kMm), pixel(7 * kMm, 2 * kMm));
    const API::reply_box box = API::profile_box(kJob, kStep);
    EXPECT_EQ(box.xmin, int(a.x()));
    EXPECT_EQ(box.ymin, int(b.y()));
    EXPECT_EQ(box.xmax, int(b.x()));
    EXPECT_EQ(box.ymax, int(a.y()));
    EXPECT_FALSE(anyEditShape());
    send(20001637, {{"JobName", kJob}, {"Step", kStep}});  // the fit to the profile
    EXPECT_NEAR(view->center().x(), (a.x() + b.x()) / 2, 0.05 * kMm);
    EXPECT_NEAR(view->center().y(), (a.y() + b.y()) / 2, 0.05 * kMm);
    send(kUndo);
    const API::reply_box back = API::profile_box(kJob, kStep);
    EXPECT_EQ(std::vector<int>({back.xmin, back.ymin, back.xmax, back.ymax}),
              std::vector<int>({old.xmin, old.ymin, old.xmax, old.ymax}));
}

INSTANTIATE_TEST_SUITE_P(Radii, ProfileRect, ::testing::Values(0.0, 0.5 * kMm));

// A polygon by the mode key, or started by a Shift click in rectangle mode.
class ProfilePolygon : public RegionToolsTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ProfilePolygon, ClicksClosedByADoubleClickBecomeTheProfile) {
    const bool byShift = GetParam();
    const API::reply_box before = API::profile_box(kJob, kStep);
    send(kOpenTool, byShift ? QVariantMap{{"Tool", 16}} : QVariantMap{{"Tool", 16}, {"Mode", "polygon"}});
    const QPointF a = landed(2 * kMm, 1 * kMm), b = landed(6 * kMm, 3 * kMm), c = landed(3 * kMm, 7 * kMm);
    click(pixel(2 * kMm, 1 * kMm), byShift ? Qt::ShiftModifier : Qt::NoModifier);
    click(pixel(6 * kMm, 3 * kMm));
    doubleClick(pixel(3 * kMm, 7 * kMm));
    const API::reply_box box = API::profile_box(kJob, kStep);
    EXPECT_EQ(box.xmin, int(a.x()));
    EXPECT_EQ(box.ymin, int(a.y()));
    EXPECT_EQ(box.xmax, int(b.x()));
    EXPECT_EQ(box.ymax, int(c.y()));
    ASSERT_TRUE(API::undo_last_edit(kJob)) << "the polygon is one undo step";
    EXPECT_EQ(API::profile_box(kJob, kStep), before);
}

INSTANTIATE_TEST_SUITE_P(Start, ProfilePolygon, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "shiftClick" : "modeKey"; });

TEST_F(RegionToolsTest, EnterMakesTheProfileFromTheSelectedLinesOfTheWorkLayer) {
    const double c[][4] = {{1, 1, 4, 1}, {4, 1, 4, 3}, {4, 3, 1, 3}, {1, 3, 1, 1}};
    for (const auto& l : c) job.addLine("top", l[0] * kMm, l[1] * kMm, l[2] * kMm, l[3] * kMm, "r100");
    job.addLine("top", 6 * kMm, 6 * kMm, 9 * kMm, 9 * kMm, "r100");  // not selected: not part of it
    for (int i = 0; i < 4; ++i) select("top", i);
    send(kOpenTool, {{"Tool", 16}, {"Mode", "features"}});
    key(Qt::Key_Return);
    const API::reply_box box = API::profile_box(kJob, kStep);
    EXPECT_EQ(std::vector<int>({box.xmin, box.ymin, box.xmax, box.ymax}),
              std::vector<int>({int(1 * kMm), int(1 * kMm), int(4 * kMm), int(3 * kMm)}));
    send(kUndo);
    EXPECT_EQ(API::profile_box(kJob, kStep).xmax, int(10 * kMm));
}

// ---- switching -------------------------------------------------------------

struct MidGesture {
    const char* name;
    QVariantMap open;
    void (*start)(RegionToolsTest& t);
};

class ToolSwitch : public RegionToolsTest, public ::testing::WithParamInterface<MidGesture> {
public:
    void startCut() {
        click(pixel(5 * kMm, 5 * kMm));
        click(pixel(1 * kMm, 1 * kMm));
        mouse(QEvent::MouseMove, pixel(9 * kMm, 9 * kMm));
    }
    void startDrag() {
        mouse(QEvent::MouseButtonPress, pixel(1 * kMm, 1 * kMm));
        mouse(QEvent::MouseMove, pixel(6 * kMm, 6 * kMm));
    }
};

TEST_P(ToolSwitch, ASwitchInMidGestureLeavesNoEditShapeAndNoEdit) {
    addSquare();
    job.addPad("drl", 5 * kMm, 5 * kMm, "r300");
    const auto serial = TOLVA::JOB::edit_serial(kJob);
    send(kOpenTool, GetParam().open);
    GetParam().start(*this);
    ASSERT_TRUE(anyEditShape());
    send(DeleteTool::kRequestCode);
    flushDeletes();
    EXPECT_FALSE(anyEditShape());
    EXPECT_EQ(TOLVA::JOB::edit_serial(kJob), serial);
}

INSTANTIATE_TEST_SUITE_P(
    Tools, ToolSwitch,
    ::testing::Values(MidGesture{"cut", {{"Tool", 26}}, [](RegionToolsTest& t) { static_cast<ToolSwitch&>(t).startCut(); }},
                      MidGesture{"cutOut", {{"Tool", 27}}, [](RegionToolsTest& t) { static_cast<ToolSwitch&>(t).startCut(); }},
                      MidGesture{"profile", {{"Tool", 16}}, [](RegionToolsTest& t) { static_cast<ToolSwitch&>(t).startDrag(); }},
                      MidGesture{"holes", {{"Tool", 17}}, [](RegionToolsTest& t) { static_cast<ToolSwitch&>(t).startDrag(); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(RegionToolsTest, TheOpenToolRequestRefusesOtherToolsAndSwitchesBetweenRegionModes) {
    send(kOpenTool, {{"Tool", 26}});
    ASSERT_NE(dynamic_cast<RegionDivisionTool*>(view->currentTool()), nullptr);
    for (const QVariant& bad : {QVariant(2), QVariant("x"), QVariant()}) {
        send(kOpenTool, {{"Tool", bad}});
        auto* still = dynamic_cast<RegionDivisionTool*>(view->currentTool());
        ASSERT_NE(still, nullptr) << bad.toString().toStdString();
        EXPECT_EQ(still->mode(), 0);
    }
    send(kOpenTool, {{"Tool", 27}});
    auto* cutOut = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(cutOut, nullptr);
    EXPECT_EQ(cutOut->mode(), 1);
    send(kOpenTool, {{"Tool", 26}});
    auto* cut = dynamic_cast<RegionDivisionTool*>(view->currentTool());
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->mode(), 0);
    send(kOpenTool, {{"Tool", 26}});  // asked again: switched off
    EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::NORMAL_TOOL);
}

}  // namespace

namespace {

// A hand's shake while clicking draws no box; Escape in the middle of a box
// takes the box away, and the release that follows aligns nothing.
TEST_F(RegionToolsTest, AShakeDrawsNoAlignBoxAndEscapeDropsAStartedOne) {
    job.addPad("top", 5 * kMm, 5 * kMm, "r1000");
    job.addPad("drl", 5.05 * kMm, 5 * kMm, "r300");
    const auto before = records("drl");
    send(AllignholeTool::kRequestCode, {{"Mode", "align"}});
    mouse(QEvent::MouseButtonPress, pixel(4 * kMm, 4 * kMm));
    mouse(QEvent::MouseMove, pixel(4 * kMm, 4 * kMm) + QPoint(1, 0));
    EXPECT_FALSE(anyEditShape());
    mouse(QEvent::MouseMove, pixel(6 * kMm, 6 * kMm));
    ASSERT_TRUE(anyEditShape());
    key(Qt::Key_Escape);
    EXPECT_FALSE(anyEditShape());
    mouse(QEvent::MouseButtonRelease, pixel(6 * kMm, 6 * kMm));
    EXPECT_EQ(records("drl"), before);
}

}  // namespace
