// The line edit, pull and rotate tools and the typed transform, driven by
// requests, mouse and keys on a small job in the real kernel: what a gesture
// leaves pending, what Enter makes of it, and that joined traces stay joined.
#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "TOLVA_Edit.h"
#include "ViewTool/LineEditTool.h"
#include "ViewTool/PullTool.h"
#include "ViewTool/RotateTool.h"
#include "view_tool_fixture.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;

namespace {

constexpr qint32 kUndo = 20001618;
constexpr qint32 kMoveEnd = 20000211, kMoveEndAlone = 20001404, kSplit = 20000213, kJoin = 20000216,
                 kArcToLine = 20000240;
constexpr qint32 kPullPlain = 20000219, kTypedPullPlain = 20000221, kTypedPull45 = 20000222, kCommitPull = 20000260;
constexpr qint32 kTransform = 20000271, kDelete = 20000206, kBusEdit = 20000272;
constexpr double kPixelSlack = 1e5;  // two pixels of the 200-pixel view of a 10 mm board

QPointF start(const API::featureInfo& f) { return {f.xs, f.ys}; }
QPointF end(const API::featureInfo& f) { return {f.xe, f.ye}; }

// How often each end point occurs among the lines: a connected open trace
// has exactly two points that occur once.
std::map<std::pair<double, double>, int> endCounts(const std::vector<API::featureInfo>& lines) {
    std::map<std::pair<double, double>, int> counts;
    for (const API::featureInfo& f : lines) {
        ++counts[{f.xs, f.ys}];
        ++counts[{f.xe, f.ye}];
    }
    return counts;
}

std::vector<std::pair<double, double>> looseEnds(const std::vector<API::featureInfo>& lines) {
    std::vector<std::pair<double, double>> loose;
    for (const auto& point : endCounts(lines))
        if (point.second == 1) loose.push_back(point.first);
    return loose;
}

double directionDegrees(const API::featureInfo& f) { return std::atan2(f.ye - f.ys, f.xe - f.xs) * 180 / M_PI; }

class LineToolsTest : public viewtools::ViewToolTest {
protected:
    LineToolsTest() : ViewToolTest("line_tools_job") {}
    // Up, across and down: the middle line (index 1) runs to +x between two
    // vertical neighbours.
    void addUTrace() {
        job.addLine("top", 2e6, 1e6, 2e6, 3e6, "r100");
        job.addLine("top", 2e6, 3e6, 6e6, 3e6, "r100");
        job.addLine("top", 6e6, 3e6, 6e6, 1e6, "r100");
    }
};

// ---- line edit ------------------------------------------------------------

TEST_F(LineToolsTest, AMovedEndWaitsForEnterAndTakesTheJoinedLineAlong) {
    job.addLine("top", 2e6, 2e6, 5e6, 2e6, "r100");
    job.addLine("top", 5e6, 2e6, 5e6, 6e6, "r100");
    const auto before = records("top");
    send(kMoveEnd);
    ASSERT_NE(dynamic_cast<LineEditTool*>(view->currentTool()), nullptr);
    drag(pixel(5e6, 2e6), pixel(6e6, 3e6));
    EXPECT_EQ(records("top"), before) << "nothing is made before Enter";
    ASSERT_NE(view->editShape(0), nullptr) << "the moved line is outlined";
    key(Qt::Key_Enter);
    const auto after = features("top");
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(start(after[0]), QPointF(2e6, 2e6));
    EXPECT_NEAR(after[0].xe, 6e6, kPixelSlack);
    EXPECT_NEAR(after[0].ye, 3e6, kPixelSlack);
    EXPECT_EQ(end(after[0]), start(after[1])) << "the joined line follows the moved end";
    EXPECT_EQ(end(after[1]), QPointF(5e6, 6e6));
    EXPECT_EQ(view->editShape(0), nullptr);
    send(kUndo);
    EXPECT_EQ(records("top"), before);
}

TEST_F(LineToolsTest, AnEndMovedAloneLeavesItsNeighbourAndEscapeDropsAPendingMove) {
    job.addLine("top", 2e6, 2e6, 5e6, 2e6, "r100");
    job.addLine("top", 5e6, 2e6, 5e6, 6e6, "r100");
    send(kMoveEndAlone);
    drag(pixel(5e6, 2e6), pixel(6e6, 3e6));
    key(Qt::Key_Escape);
    EXPECT_EQ(view->editShape(0), nullptr);
    key(Qt::Key_Enter);
    EXPECT_EQ(end(features("top")[0]), QPointF(5e6, 2e6)) << "Escape dropped the move";

    drag(pixel(5e6, 2e6), pixel(6e6, 3e6));
    key(Qt::Key_Enter);
    const auto after = features("top");
    EXPECT_NEAR(after[0].xe, 6e6, kPixelSlack);
    EXPECT_EQ(start(after[1]), QPointF(5e6, 2e6));
}

TEST_F(LineToolsTest, SplitJoinAndArcToLineByClicks) {
    job.addLine("top", 1e6, 5e6, 9e6, 5e6, "r100");
    send(kSplit);
    click(pixel(5e6, 5e6));
    key(Qt::Key_Enter);
    auto lines = features("top");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(end(lines[0]), start(lines[1]));
    EXPECT_NEAR(lines[0].xe, 5e6, kPixelSlack);
    EXPECT_EQ(lines[0].ye, 5e6) << "the split point lies on the line";
    EXPECT_EQ(end(lines[1]), QPointF(9e6, 5e6));

    send(kJoin);
    click(pixel(3e6, 5e6));
    click(pixel(7e6, 5e6));
    key(Qt::Key_Enter);
    lines = features("top");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(start(lines[0]), QPointF(1e6, 5e6));
    EXPECT_EQ(end(lines[0]), QPointF(9e6, 5e6));

    job.addArc("top", 4e6, 7e6, 6e6, 7e6, 5e6, 7e6, "r100", true);  // over the top, through (5, 8) mm
    send(kArcToLine);
    click(pixel(5e6, 8e6));
    key(Qt::Key_Enter);
    lines = features("top");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].type, API::FT_LINE);
    EXPECT_EQ(start(lines[1]), QPointF(4e6, 7e6));
    EXPECT_EQ(end(lines[1]), QPointF(6e6, 7e6));
}

TEST_F(LineToolsTest, JoiningLinesThatDoNotMeetIsRefusedAndChangesNothing) {
    job.addLine("top", 1e6, 5e6, 3e6, 5e6, "r100");
    job.addLine("top", 6e6, 5e6, 9e6, 5e6, "r100");
    const auto before = records("top");
    send(kJoin);
    click(pixel(2e6, 5e6));
    click(pixel(7e6, 5e6));
    auto* tool = dynamic_cast<LineEditTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    ASSERT_TRUE(tool->pendingPlan());
    EXPECT_FALSE(tool->pendingPlan()->error.empty());
    key(Qt::Key_Enter);
    EXPECT_EQ(records("top"), before);
}

// ---- pull -----------------------------------------------------------------

TEST_F(LineToolsTest, ADraggedPullStretchesBothNeighboursOnEnter) {
    addUTrace();
    const auto before = records("top");
    send(kPullPlain);
    ASSERT_NE(dynamic_cast<PullTool*>(view->currentTool()), nullptr);
    drag(pixel(4e6, 3e6), pixel(4e6, 4e6));
    EXPECT_EQ(records("top"), before);
    key(Qt::Key_Enter);
    const auto after = features("top");
    ASSERT_EQ(after.size(), 3u);
    EXPECT_NEAR(after[1].ys, 4e6, kPixelSlack);
    EXPECT_EQ(after[1].ys, after[1].ye) << "pulled straight sideways";
    EXPECT_EQ(after[1].xs, 2e6);
    EXPECT_EQ(end(after[0]), start(after[1]));
    EXPECT_EQ(end(after[1]), start(after[2]));
    EXPECT_EQ(start(after[0]), QPointF(2e6, 1e6));
    EXPECT_EQ(end(after[2]), QPointF(6e6, 1e6));
    send(kUndo);
    EXPECT_EQ(records("top"), before);
}

TEST_F(LineToolsTest, ATypedPullOfTheSelectedLineIsExactAndPositiveToItsLeft) {
    addUTrace();
    select("top", 1);
    send(kPullPlain);
    send(kTypedPullPlain, {{QStringLiteral("Offset"), 1e6}});
    EXPECT_EQ(features("top")[1].ys, 3e6) << "a typed pull also waits";
    send(kCommitPull);
    const auto after = features("top");
    EXPECT_EQ(start(after[1]), QPointF(2e6, 4e6));
    EXPECT_EQ(end(after[1]), QPointF(6e6, 4e6));
    EXPECT_EQ(end(after[0]), QPointF(2e6, 4e6));
    EXPECT_EQ(start(after[2]), QPointF(6e6, 4e6));
}

TEST_F(LineToolsTest, APullWith45DegreeCornersOfAStraightTraceKeepsItConnectedAtMultiplesOf45) {
    job.addLine("top", 1e6, 3e6, 3e6, 3e6, "r100");
    job.addLine("top", 3e6, 3e6, 6e6, 3e6, "r100");
    job.addLine("top", 6e6, 3e6, 8e6, 3e6, "r100");
    select("top", 1);
    send(kPullPlain);
    send(kTypedPull45, {{QStringLiteral("Offset"), 1e6}});
    send(kCommitPull);
    const auto after = features("top");
    ASSERT_GT(after.size(), 3u) << "diagonals were put in";
    const auto loose = looseEnds(after);
    ASSERT_EQ(loose.size(), 2u);
    EXPECT_EQ(loose[0], std::make_pair(1e6, 3e6));
    EXPECT_EQ(loose[1], std::make_pair(8e6, 3e6));
    for (const API::featureInfo& f : after) {
        const double d = directionDegrees(f);
        EXPECT_NEAR(d, 45 * std::round(d / 45), 1e-3) << f.record;
    }
    bool pulled = false;
    for (const API::featureInfo& f : after) pulled = pulled || (f.ys == 4e6 && f.ye == 4e6);
    EXPECT_TRUE(pulled) << "the pulled segment runs 1 mm to the left";
}

TEST_F(LineToolsTest, SwitchingToolsInTheMiddleOfAPullLeavesNoOutlineAndNoEdit) {
    job.addLine("top", 2e6, 3e6, 6e6, 3e6, "r100");
    const auto before = records("top");
    send(kPullPlain);
    mouse(QEvent::MouseButtonPress, pixel(4e6, 3e6));
    mouse(QEvent::MouseMove, pixel(4e6, 5e6));
    ASSERT_NE(view->editShape(0), nullptr);
    send(kDelete);
    flushDeletes();
    EXPECT_EQ(view->editShape(0), nullptr);
    mouse(QEvent::MouseButtonRelease, pixel(4e6, 5e6));
    EXPECT_EQ(records("top"), before);
}

// ---- transforms -----------------------------------------------------------

TEST_F(LineToolsTest, TypedTransformsTurnAndMirrorTheSelectionExactly) {
    struct Case {
        const char* what;
        QVariantMap data;
        QPointF lineStart, lineEnd;
        const char* arcDirection;
    };
    const Case cases[] = {
        {"a quarter turn about a typed point",
         {{"Angle", 90}, {"PivotX", 5e6}, {"PivotY", 5e6}},
         {5e6, 6e6},
         {5e6, 8e6},
         "CCW"},
        {"a mirror in x about the selection's centre flips the arc",
         {{"MirrorX", true}},
         {8e6, 5e6},
         {6e6, 5e6},
         "CW"},
        {"a half turn then a move", {{"Angle", 180}, {"PivotX", 5e6}, {"PivotY", 5e6}, {"Dx", 1e6}}, {5e6, 5e6}, {3e6, 5e6}, "CCW"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        job.addLine("top", 6e6, 5e6, 8e6, 5e6, "r100");
        job.addArc("top", 6e6, 5e6, 8e6, 5e6, 7e6, 5e6, "r100", false);
        select("top", 0);
        select("top", 1);
        send(kTransform, c.data);
        const auto after = features("top");
        ASSERT_EQ(after.size(), 2u);
        EXPECT_EQ(start(after[0]), c.lineStart);
        EXPECT_EQ(end(after[0]), c.lineEnd);
        EXPECT_EQ(after[1].direction, c.arcDirection);
        send(kUndo);
        API::clear_selected_features(m_jobName, testsupport::ScopedJob::kStep, "top");
        TOLVA::API::select_features(m_jobName, testsupport::ScopedJob::kStep, "top");
        TOLVA::API::delete_selected_features(m_jobName, testsupport::ScopedJob::kStep, {"top"});
    }
}

TEST_F(LineToolsTest, TheRotateToolTurnsTheSelectionByTheSweptWholeDegrees) {
    job.addLine("top", 4e6, 5e6, 6e6, 5e6, "r100");
    select("top", 0);
    send(kTransform, {{QStringLiteral("Interactive"), true}});
    auto* tool = dynamic_cast<RotateTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->getType(), 29);
    EXPECT_EQ(tool->pivot(), QPointF(5e6, 5e6)) << "the selection's centre";
    drag(pixel(8e6, 5e6), pixel(5e6, 8e6));
    const auto after = features("top");
    EXPECT_EQ(start(after[0]), QPointF(5e6, 4e6));
    EXPECT_EQ(end(after[0]), QPointF(5e6, 6e6));
    send(kUndo);
    EXPECT_EQ(start(features("top")[0]), QPointF(4e6, 5e6));
}

}  // namespace

namespace {

class SurfaceEditTest : public viewtools::ViewToolTest {
protected:
    SurfaceEditTest() : ViewToolTest("surface_edit_job") {}
    void SetUp() override {
        ViewToolTest::SetUp();
        const std::vector<API::lPoint> square{{2e6, 2e6}, {8e6, 2e6}, {8e6, 8e6}, {2e6, 8e6}, {2e6, 2e6}};
        API::AddFeature(m_jobName, testsupport::ScopedJob::kStep, {"top"},
                        {{"top", API::GreateSurfaceString(square, API::POL_POSITIVE, 0, true)}}, {}, false);
    }
    std::vector<API::lPoint> outline() {
        return TOLVA::EDIT::get_surface_contours(m_jobName, testsupport::ScopedJob::kStep, "top", 0).at(0);
    }
    static bool near(const API::lPoint& p, double x, double y) {
        return std::abs(p.x - x) <= kPixelSlack && std::abs(p.y - y) <= kPixelSlack;
    }
};

TEST_F(SurfaceEditTest, AVertexDraggedMovesAndAnEdgeDraggedGainsOne) {
    send(20000237);  // move a vertex
    drag(pixel(8e6, 8e6), pixel(9e6, 9e6));
    key(Qt::Key_Enter);
    std::vector<API::lPoint> moved = outline();
    ASSERT_EQ(moved.size(), 4u);
    EXPECT_EQ(std::count_if(moved.begin(), moved.end(), [](const API::lPoint& p) { return near(p, 9e6, 9e6); }), 1);

    send(20000238);  // add a vertex on the bottom edge
    drag(pixel(5e6, 2e6), pixel(5e6, 1e6));
    key(Qt::Key_Enter);
    const std::vector<API::lPoint> grown = outline();
    ASSERT_EQ(grown.size(), 5u);
    EXPECT_EQ(std::count_if(grown.begin(), grown.end(), [](const API::lPoint& p) { return near(p, 5e6, 1e6); }), 1);
}

// What the pending edit looks like on the painted view: the picked line's
// handles, and a refused edit's reason by the cursor instead of an outline.
TEST_F(LineToolsTest, ThePaintedViewShowsHandlesAndARefusalsReason) {
    job.addLine("top", 2e6, 5e6, 4e6, 5e6, "r100");
    job.addLine("top", 6e6, 5e6, 8e6, 5e6, "r100");
    send(kJoin);
    view->grab();  // the first paint lays the view out
    click(pixel(3e6, 5e6));
    const QImage picked = view->grab().toImage();
    const QColor handle = picked.pixelColor(pixel(2e6, 5e6));
    // The handle's grey lies over the line's colour: green and blue equal and well above nothing.
    EXPECT_TRUE(handle.green() > 80 && handle.green() == handle.blue())
        << "a grey handle on the line's end, not the layer's colour: " << handle.name().toStdString();

    click(pixel(7e6, 5e6));  // does not meet the first: refused
    const QImage refused = view->grab().toImage();
    const QPoint cursor = pixel(7e6, 5e6);
    int reddish = 0;
    for (int x = cursor.x() + 16; x < std::min(refused.width(), cursor.x() + 200); ++x)
        for (int y = std::max(0, cursor.y() - 32); y < cursor.y() - 8; ++y) {
            const QColor c = refused.pixelColor(x, y);
            reddish += c.red() > 200 && c.green() > 50 && c.green() < 150 && c.blue() > 50 && c.blue() < 150;
        }
    EXPECT_GT(reddish, 0) << "the refusal's text is drawn by the cursor";
}

}  // namespace

namespace {

TEST_F(LineToolsTest, TheOtherCornerModeReconfiguresAnActivePull) {
    send(kPullPlain);
    send(20000220);
    const auto* pull = dynamic_cast<PullTool*>(view->currentTool());
    ASSERT_NE(pull, nullptr) << "not switched off";
    EXPECT_EQ(pull->corners(), PullTool::Diagonal45);
    send(20000220);
    EXPECT_EQ(dynamic_cast<PullTool*>(view->currentTool()), nullptr) << "the mode it has switches it off";
}

}  // namespace
namespace {

TEST_F(LineToolsTest, AnArcDraggedThroughThePointerGetsTheRadiusOfThatCircle) {
    // A minor arc under its chord: ends (4, 5) and (6, 5) mm, centre (5, 6).
    job.addArc("top", 4e6, 5e6, 6e6, 5e6, 5e6, 6e6, "r100", false);
    send(20000239);
    drag(pixel(5e6, 6e6 - std::sqrt(2.0) * 1e6), pixel(5e6, 4.2e6));
    key(Qt::Key_Enter);
    const API::featureInfo arc = features("top").at(0);
    // Through (5, 4.2): a sagitta of 0.8 on a half chord of 1 gives 1.025 mm.
    EXPECT_NEAR(std::hypot(arc.xs - arc.xc, arc.ys - arc.yc), 1.025e6, 6e4);
    EXPECT_EQ(start(arc), QPointF(4e6, 5e6));
    EXPECT_EQ(end(arc), QPointF(6e6, 5e6));
}

// ---- bus edit ---------------------------------------------------------------

TEST_F(LineToolsTest, ABusEditIsShownOnTheBoardUntilMadeOrDroppedAndIsOneUndoStep) {
    for (double y : {2e6, 3e6, 7e6}) job.addLine("top", 1e6, y, 9e6, y, "r100");
    for (int i = 0; i < 3; ++i) select("top", i);
    const auto before = records("top");
    view->grab();  // the first paint lays the view out
    const QPoint middleRun = pixel(5e6, 4.5e6);  // the middle trace spread between the outer two
    const auto previewShown = [&] {
        const QColor c = view->grab().toImage().pixelColor(middleRun);
        return c.red() > 100 && c.green() > 70 && c.blue() < 60;
    };
    EXPECT_FALSE(previewShown());

    send(kBusEdit, {{"Mode", 1}, {"Preview", true}});
    EXPECT_EQ(records("top"), before) << "a preview changes nothing";
    EXPECT_TRUE(previewShown());
    {
        const QColor beside = view->grab().toImage().pixelColor(pixel(5e6, 5.2e6));
        EXPECT_FALSE(beside.red() > 100 && beside.green() > 70 && beside.blue() < 60) << "as wide as the trace";
    }
    send(kBusEdit, {{"Cancel", true}});
    EXPECT_FALSE(previewShown());

    send(kBusEdit, {{"Mode", 0}, {"Pitch", 1e4}, {"Preview", true}});  // 10 um apart: the traces overlap
    EXPECT_FALSE(previewShown()) << "a refused bus shows nothing";
    send(kBusEdit, {{"Mode", 0}, {"Pitch", 1e4}});
    EXPECT_EQ(records("top"), before);
    for (const char* key : {"Pitch", "Lower", "Upper", "Clearance"}) {
        send(kBusEdit, {{"Mode", 1}, {key, "wide"}});  // a length that is not a number
        EXPECT_EQ(records("top"), before) << key;
    }

    send(kBusEdit, {{"Mode", 1}});
    std::vector<double> runs;
    for (const auto& f : features("top"))
        if (f.ys == f.ye && f.xe - f.xs > 4e6) runs.push_back(f.ys);
    std::sort(runs.begin(), runs.end());
    EXPECT_EQ(runs, (std::vector<double>{2e6, 4.5e6, 7e6}));
    EXPECT_FALSE(previewShown()) << "the made bus replaces its preview";
    TOLVA::API::undo_last_edit(m_jobName);
    EXPECT_EQ(records("top"), before);
}

}  // namespace
