// Step and repeat in the view, driven by requests and the mouse: placing
// instances of a child step by clicking, picking instances by click and box,
// and the instance edits, each read back from the kernel's table and each
// taken back by one undo.
#include <QImage>
#include <algorithm>
#include <cmath>
#include <tuple>

#include "TOLVA_Edit.h"
#include "TOLVA_Step.h"
#include "ViewTool/SRSelectTool.h"
#include "ViewTool/StepRepeatTool.h"
#include "graphic_view/step_repeat.h"
#include "view_tool_fixture.h"

using namespace viewtools;
using TOLVA::GRAPHIC::Graphic_ViewTool;
using TOLVA::GRAPHIC::InstanceSelect;
using TOLVA::GRAPHIC::SRSelectTool;
using TOLVA::GRAPHIC::StepRepeatTool;
using testsupport::MessageRecorder;
namespace STEP = TOLVA::STEP;

namespace {

constexpr double kMm = 1e6;
constexpr char kChild[] = "board";
constexpr qint32 kGridSnap = 20001652;
constexpr qint32 kSnapOff = 20001647;

class StepRepeatView : public ViewToolTest {
protected:
    StepRepeatView() : ViewToolTest("sr_view") {}
    void SetUp() override {
        ViewToolTest::SetUp();
        TOLVA::JOB::create_step(m_jobName, kChild);
        TOLVA::JOB::set_profile(m_jobName, kChild, {{0, 0}, {2 * kMm, 0}, {2 * kMm, kMm}, {0, kMm}, {0, 0}});
    }
    void TearDown() override {
        send(kSnapOff);
        ViewToolTest::TearDown();
    }
    // Three columns and two rows of the child: instance (ix, iy) covers
    // x 1 + 3 ix .. 3 + 3 ix, y 1 + 2 iy .. 2 + 2 iy (mm).
    void setGrid() {
        STEP::sr_row row;
        row.child = kChild;
        row.x = row.y = kMm;
        row.dx = 3 * kMm;
        row.dy = 2 * kMm;
        row.nx = 3;
        row.ny = 2;
        STEP::set_sr_table(m_jobName, ScopedJob::kStep, {row});
    }
    std::vector<STEP::sr_instance> instances() { return STEP::list_instances(m_jobName, ScopedJob::kStep); }
    // The selection as (ix, iy) of the one row of setGrid().
    std::vector<std::pair<int, int>> selectedCells() {
        std::vector<std::pair<int, int>> cells;
        for (const STEP::sr_instance& i : view->selectedInstances()) cells.emplace_back(i.ix, i.iy);
        std::sort(cells.begin(), cells.end());
        return cells;
    }
    QPoint centreOf(int ix, int iy) { return pixel((2 + 3 * ix) * kMm, (1.5 + 2 * iy) * kMm); }
    void useGridSnap() {
        send(kGridSnap);
        TOLVA::UIAPI::getCoordinate(&host).snap_on = true;
        TOLVA::UIAPI::SnapGrid grid;
        grid.pitch_x = grid.pitch_y = kMm;
        TOLVA::UIAPI::setSnapGrid(&host, grid);
    }
};

// Placements compared as the operator sees them.
std::vector<std::tuple<std::string, double, double, double>> placements(const std::vector<STEP::sr_instance>& all) {
    std::vector<std::tuple<std::string, double, double, double>> out;
    for (const STEP::sr_instance& i : all) out.emplace_back(i.child, i.x, i.y, i.angle);
    std::sort(out.begin(), out.end());
    return out;
}

TEST_F(StepRepeatView, AClickPlacesOneInstanceWhereClickedSnappedAndReportsThePoint) {
    struct Case {
        bool snap;
        double x, y;  // where the click is, board units
    };
    for (const Case c : {Case{true, 3.1 * kMm, 4.15 * kMm}, Case{false, 6.3 * kMm, 2.2 * kMm}}) {
        SCOPED_TRACE(c.snap ? "grid snap" : "no snap");
        if (c.snap) {
            useGridSnap();
        } else {
            send(kSnapOff);
            TOLVA::UIAPI::getCoordinate(&host).snap_on = false;
        }
        send(StepRepeatTool::kRequestCode, {{"Step", kChild}, {"Angle", 90}});
        auto* tool = dynamic_cast<StepRepeatTool*>(view->currentTool());
        ASSERT_TRUE(tool);
        EXPECT_EQ(tool->getType(), Graphic_ViewTool::SELECT_TOOL);
        const QPoint at = pixel(c.x, c.y);
        const QPointF expected = c.snap ? QPointF(3 * kMm, 4 * kMm) : view->toBoard(at);
        mouse(QEvent::MouseMove, at);
        EXPECT_EQ(tool->cursorPoint(), expected);  // the preview stands where the click will place

        MessageRecorder rec;
        click(at);
        const std::vector<STEP::sr_row> rows = STEP::get_sr_table(m_jobName, ScopedJob::kStep);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].child, kChild);
        EXPECT_DOUBLE_EQ(rows[0].x, expected.x());
        EXPECT_DOUBLE_EQ(rows[0].y, expected.y());
        EXPECT_EQ(rows[0].nx * rows[0].ny, 1);
        EXPECT_DOUBLE_EQ(rows[0].angle, 90);
        EXPECT_FALSE(rows[0].mirror) << "not mirrored unless asked";
        const auto toMenu = rec.withCode(20001681);
        ASSERT_EQ(toMenu.size(), 1u);
        EXPECT_EQ(toMenu[0].receiver, PluginNames::MenuBarStep);
        EXPECT_DOUBLE_EQ(toMenu[0].data["Step_Repeat_point_x"].toDouble(), expected.x());
        EXPECT_DOUBLE_EQ(toMenu[0].data["Step_Repeat_point_y"].toDouble(), expected.y());
        const auto toReadout = rec.withCode(20003205);
        ASSERT_EQ(toReadout.size(), 1u);
        EXPECT_EQ(toReadout[0].receiver, PluginNames::Coordinate);
        EXPECT_DOUBLE_EQ(toReadout[0].data["X"].toDouble(), expected.x());
        EXPECT_DOUBLE_EQ(toReadout[0].data["Y"].toDouble(), expected.y());

        EXPECT_TRUE(TOLVA::API::undo_last_edit(m_jobName));  // the placement is one undo step
        EXPECT_TRUE(STEP::get_sr_table(m_jobName, ScopedJob::kStep).empty());
        key(Qt::Key_Escape);
        EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::NORMAL_TOOL);
    }
}

TEST_F(StepRepeatView, APlacingRequestWithoutAStepOrNamingTheShownStepPlacesNothing) {
    for (const QVariantMap& data : {QVariantMap{}, QVariantMap{{"Step", ScopedJob::kStep}}}) {
        testsupport::LogCapture logs;
        send(StepRepeatTool::kRequestCode, data);
        ASSERT_TRUE(dynamic_cast<StepRepeatTool*>(view->currentTool()));
        click(pixel(5 * kMm, 5 * kMm));
        EXPECT_TRUE(STEP::get_sr_table(m_jobName, ScopedJob::kStep).empty());
        EXPECT_GE(logs.count(google::GLOG_ERROR, "STEP_REPEAT_TOOL"), 1);
    }
}

TEST_F(StepRepeatView, AClickPicksTheInstanceUnderItAndABoxTheInstancesWhollyInside) {
    setGrid();
    send(20001420);
    ASSERT_TRUE(dynamic_cast<SRSelectTool*>(view->currentTool()));
    EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::SR_SELECT_TOOL);
    using Cells = std::vector<std::pair<int, int>>;
    // Covers (0, 0) and (1, 0) whole, (2, 0) and the upper row in part.
    drag(pixel(0.5 * kMm, 0.5 * kMm), pixel(7.5 * kMm, 3.5 * kMm));
    EXPECT_EQ(selectedCells(), (Cells{{0, 0}, {1, 0}}));
    click(centreOf(2, 1));
    EXPECT_EQ(selectedCells(), (Cells{{2, 1}}));
    click(centreOf(0, 0), Qt::ShiftModifier);
    EXPECT_EQ(selectedCells(), (Cells{{0, 0}, {2, 1}}));
    click(centreOf(2, 1), Qt::ControlModifier);
    EXPECT_EQ(selectedCells(), (Cells{{0, 0}}));
    click(pixel(9.5 * kMm, 9.5 * kMm));  // where no instance is
    EXPECT_TRUE(selectedCells().empty());
    send(20001425);  // every instance
    EXPECT_EQ(selectedCells().size(), 6u);
    send(20001421);  // the unselect mode takes away whatever it picks
    click(centreOf(1, 1));
    EXPECT_EQ(selectedCells().size(), 5u);
}

TEST_F(StepRepeatView, EachInstanceEditChangesTheTableAsAskedAndOneUndoTakesItBack) {
    struct Case {
        const char* name;
        qint32 code;
        QVariantMap data;
        bool drag;
        int countChange;
    };
    const Case cases[] = {
        {"move by drag", 20000254, {}, true, 0},
        {"copy by drag", 20000256, {}, true, 1},
        {"typed copy", 20000256, {{"dx", 0.5 * kMm}, {"dy", 7 * kMm}}, false, 1},
        {"typed rotate", 20000259, {{"Angle", 90}}, false, 0},
        {"rotate by drag", 20000259, {}, true, 0},
        {"delete", 20000267, {}, false, -1},
    };
    setGrid();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        send(20001420);
        click(centreOf(1, 0));
        ASSERT_EQ(view->selectedInstances().size(), 1u);
        const STEP::sr_instance chosen = view->selectedInstances()[0];
        const auto before = instances();
        MessageRecorder rec;
        send(c.code, c.data);
        // A drag a quarter turn round the instance's centre (5, 1.5 mm) in
        // steps of 15 degrees (rotate), or from the centre 1 mm left and
        // 4 mm up (move, copy).
        const bool rotate = c.code == 20000259;
        const QPoint from = rotate ? pixel(8 * kMm, 1.5 * kMm) : centreOf(1, 0);
        const QPoint to = rotate ? pixel(5 * kMm, 4.5 * kMm) : pixel(4 * kMm, 5.5 * kMm);
        if (c.drag) drag(from, to, rotate ? Qt::ShiftModifier : Qt::NoModifier);
        const QPointF offset = c.data.contains("dx") ? QPointF(c.data["dx"].toDouble(), c.data["dy"].toDouble())
                                                     : view->toBoard(to) - view->toBoard(from);
        const auto after = instances();
        ASSERT_EQ(int(after.size()), int(before.size()) + c.countChange);
        STEP::sr_instance expected = chosen;
        if (c.code == 20000259) expected = TOLVA::GRAPHIC::turnedBy({chosen}, 90)[0];
        else expected = TOLVA::GRAPHIC::movedBy({chosen}, offset.x(), offset.y())[0];
        if (c.code != 20000267) {
            EXPECT_EQ(TOLVA::GRAPHIC::findPlacements(after, {expected}).size(), 1u);
            ASSERT_EQ(view->selectedInstances().size(), 1u);  // the selection follows the edit
            EXPECT_TRUE(TOLVA::GRAPHIC::samePlacement(view->selectedInstances()[0], expected));
        } else {
            EXPECT_TRUE(TOLVA::GRAPHIC::findPlacements(after, {chosen}).empty());
            EXPECT_TRUE(view->selectedInstances().empty());
        }
        const auto offsets = rec.withCode(20001688);
        ASSERT_EQ(offsets.size(), c.code == 20000256 ? 1u : 0u);
        if (!offsets.empty()) {
            EXPECT_DOUBLE_EQ(offsets[0].data["Copy_xoffset"].toDouble(), offset.x());
            EXPECT_DOUBLE_EQ(offsets[0].data["Copy_yoffset"].toDouble(), offset.y());
        }
        ASSERT_TRUE(TOLVA::API::undo_last_edit(m_jobName));
        EXPECT_EQ(placements(instances()), placements(before));
    }
}

TEST_F(StepRepeatView, EscapeDropsADragAndTheSelectedInstancesAreDrawnHighlighted) {
    setGrid();
    send(20001420);
    click(centreOf(0, 0));
    send(20000254);
    auto* tool = dynamic_cast<SRSelectTool*>(view->currentTool());
    ASSERT_TRUE(tool);
    EXPECT_EQ(tool->mode(), SRSelectTool::MoveMode);
    const auto before = placements(instances());
    mouse(QEvent::MouseButtonPress, centreOf(0, 0));
    mouse(QEvent::MouseMove, pixel(5 * kMm, 8 * kMm));
    EXPECT_TRUE(tool->dragging());
    key(Qt::Key_Escape);
    EXPECT_FALSE(tool->dragging());
    mouse(QEvent::MouseButtonRelease, pixel(5 * kMm, 8 * kMm));
    EXPECT_EQ(placements(instances()), before);

    // A move drag shows where the instance goes as a dashed, unfilled outline:
    // 3 mm right and 6.5 mm up, x 4 .. 6 mm, y 7.5 .. 8.5 mm.
    const QImage still = view->grab().toImage();
    mouse(QEvent::MouseButtonPress, centreOf(0, 0));
    mouse(QEvent::MouseMove, pixel(5 * kMm, 8 * kMm));
    ASSERT_TRUE(tool->dragging());
    QImage moving = view->grab().toImage();
    int onEdge = 0;
    for (int x = pixel(4.2 * kMm, 0).x(); x < pixel(5.8 * kMm, 0).x(); ++x)
        for (int dy = -1; dy <= 1; ++dy) onEdge += moving.pixelColor(x, pixel(0, 7.5 * kMm).y() + dy) == QColor(255, 255, 0);
    EXPECT_GT(onEdge, 3);
    EXPECT_EQ(moving.pixelColor(pixel(4.7 * kMm, 8.1 * kMm)), still.pixelColor(pixel(4.7 * kMm, 8.1 * kMm)));
    // Another mode asked for meanwhile drops the drag: the release changes nothing.
    send(20000256);
    ASSERT_EQ(view->currentTool(), tool);
    EXPECT_EQ(tool->mode(), SRSelectTool::CopyMode);
    EXPECT_FALSE(tool->dragging());
    mouse(QEvent::MouseButtonRelease, pixel(5 * kMm, 8 * kMm));
    EXPECT_EQ(placements(instances()), before);

    const QImage picture = view->grab().toImage();
    const QColor selected = picture.pixelColor(centreOf(0, 0));
    const QColor other = picture.pixelColor(centreOf(1, 0));
    EXPECT_GT(selected.red() + selected.green(), other.red() + other.green());  // the yellow tint
}

// A fit shows a panel a little smaller when that puts its instances whole
// pixels apart (the kernel then copies one instance's picture to the
// others); a step without instances keeps the plain fit.
TEST_F(StepRepeatView, APanelIsFittedAtAWholePixelScaleAndAPlainStepIsNot) {
    view->resize(190, 190);  // 10 mm over 190 pixels: not whole nanometres
    const TOLVA::API::reply_box box = TOLVA::API::profile_box(m_jobName, ScopedJob::kStep);
    const double plainNmPerPixel = std::max((box.xmax - box.xmin) / double(view->width()),
                                            (box.ymax - box.ymin) / double(view->height()));
    for (const bool panel : {true, false}) {
        if (panel) setGrid();
        else STEP::set_sr_table(m_jobName, ScopedJob::kStep, {});
        ASSERT_TRUE(view->Graphic_view_init(QString::fromLatin1(m_jobName.c_str()), ScopedJob::kStep));
        const double nm = 1.0 / view->scale();
        // The box's corners on the widget, its far edges included.
        const QRect shown = view->rect().adjusted(0, 0, 1, 1);
        EXPECT_TRUE(shown.contains(pixel(box.xmin, box.ymin)) && shown.contains(pixel(box.xmax, box.ymax)))
            << panel << " " << nm;
        if (!panel) {
            EXPECT_NEAR(nm, plainNmPerPixel, 1e-6);
            continue;
        }
        // The pitches (3 and 2 mm) share 1 mm: a pixel of whole nanometres
        // that divides it, a little larger than the plain fit's.
        EXPECT_DOUBLE_EQ(nm, std::round(nm));
        EXPECT_EQ(static_cast<long long>(kMm) % std::llround(nm), 0) << nm;
        EXPECT_GT(nm, plainNmPerPixel);
        EXPECT_LE(nm, 1.25 * plainNmPerPixel);
    }
}

// The highlight follows the child's outline when an edit changes it.
TEST_F(StepRepeatView, TheSelectedOutlineFollowsAnEditOfTheChildsProfile) {
    setGrid();
    send(20001420);
    click(centreOf(1, 0));
    ASSERT_EQ(view->selectedInstanceOutlines().size(), 1);
    EXPECT_DOUBLE_EQ(view->selectedInstanceOutlines()[0].boundingRect().width(), 2 * kMm);
    TOLVA::EDIT::set_profile_rect(m_jobName, kChild, 0, 0, 2.5 * kMm, kMm, 0);
    ASSERT_EQ(view->selectedInstanceOutlines().size(), 1);
    EXPECT_DOUBLE_EQ(view->selectedInstanceOutlines()[0].boundingRect().width(), 2.5 * kMm);
}

// A typed move or copy needs both offsets as numbers; one alone is refused
// and changes nothing rather than opening the tool.
TEST_F(StepRepeatView, ATypedOffsetWithOneNumberOnlyIsRefused) {
    setGrid();
    send(20001420);
    click(centreOf(1, 0));
    const auto before = placements(instances());
    for (const QVariantMap& data : {QVariantMap{{"dx", kMm}}, QVariantMap{{"dy", kMm}}, QVariantMap{{"dx", kMm}, {"dy", "up"}}}) {
        MessageRecorder rec;
        send(20000254, data);
        const auto refused = rec.withCode(20003212);
        ASSERT_FALSE(refused.empty()) << data.firstKey().toStdString();
        EXPECT_TRUE(refused[0].data["Message"].toString().contains("\"dx\" and \"dy\""));
        EXPECT_EQ(placements(instances()), before);
    }
}

// The same placement: within 2 nm on each axis and the same turn modulo a
// full one; beyond either, another.
TEST(StepRepeatPlacement, SameWithinTwoNanometresAndTheSameTurn) {
    struct Case {
        double dx, dy, angle, otherAngle;
        bool mirror, same;
    } cases[] = {
        {2, 0, 0, 0, false, true},     {0, -2, 0, 0, false, true},    {2.5, 0, 0, 0, false, false},
        {0, 0, 0, 360, false, true},   {0, 0, 1e-6, 0, false, false}, {0, 0, 1e-7, 0, false, true},
        {0, 0, 270, -90, false, true}, {0, 0, 0, 0, true, false},
    };
    for (const Case& c : cases) {
        STEP::sr_instance a;
        a.child = kChild;
        a.x = 1e6;
        a.y = 2e6;
        a.angle = c.angle;
        STEP::sr_instance b = a;
        b.x += c.dx;
        b.y += c.dy;
        b.angle = c.otherAngle;
        b.mirror = c.mirror;
        EXPECT_EQ(TOLVA::GRAPHIC::samePlacement(a, b), c.same) << c.dx << " " << c.dy << " " << c.angle << " " << c.mirror;
    }
}

}  // namespace
