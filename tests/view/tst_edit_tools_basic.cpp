// The feature-editing tools driven as a user drives them (mouse and keys on
// the view) on a small job in the real kernel: what is deleted, placed and
// drawn, that one undo takes each gesture back, what the forwards carry to
// the plug-ins, and that a tool switch in mid-gesture leaves nothing behind.
#include <gtest/gtest.h>

#include <QClipboard>

#include <QApplication>
#include <QImage>
#include <QMenu>
#include <QMouseEvent>
#include <QTest>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "ViewTool/SnapTool.h"
#include "ViewTool/DeleteTool.h"
#include "ViewTool/DrawSymbolTool.h"
#include "ViewTool/EditTool.h"
#include "ViewTool/PointTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"
#include "view_tool_fixture.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr char kJob[] = "edit_tools_job";
constexpr qint32 kUndo = 20001618;

class EditToolsTest : public viewtools::ViewToolTest {
protected:
    EditToolsTest() : ViewToolTest(kJob) {}
    // Undo compares records: selection flags are not part of them.
    void expectUndoRestores(const std::vector<API::featureInfo>& before) {
        send(kUndo);
        const std::vector<API::featureInfo> after = features("top");
        ASSERT_EQ(after.size(), before.size());
        for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(after[i].record, before[i].record) << i;
    }
    int symbolOn(const std::string& symbol) {
        int index = -1;
        API::create_new_symbol(kJob, ScopedJob::kStep, "top", symbol, index);
        return index;
    }
};

// ---- delete ---------------------------------------------------------------

TEST_F(EditToolsTest, ClickDeletesTheSmallestFeatureUnderTheCursorOnlyAndUndoBringsItBack) {
    job.addPad("top", 5e6, 5e6, "r2000");  // a pour-sized pad
    job.addPad("top", 5e6, 5e6, "r100");   // a small pad on it
    job.addPad("top", 8e6, 8e6, "r100");
    const auto before = features("top");
    send(DeleteTool::kRequestCode);
    ASSERT_NE(dynamic_cast<DeleteTool*>(view->currentTool()), nullptr);
    click(pixel(5e6, 5e6));
    const auto after = features("top");
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[0].symbol, "r2000");
    EXPECT_EQ(after[1].xs, 8e6);
    for (const char* layer : {"top", "bot"}) EXPECT_FALSE(API::is_selected(kJob, ScopedJob::kStep, layer));
    expectUndoRestores(before);
}

TEST_F(EditToolsTest, DragDeletesWhatLiesInsideTheBoxOnWorkAndAffectedLayersAsOneEdit) {
    job.addPad("top", 2e6, 2e6, "r100");
    job.addPad("top", 3e6, 3e6, "r100");
    job.addPad("top", 8e6, 8e6, "r100");
    job.addLine("top", 1.5e6, 5e6, 9e6, 5e6, "r100");  // crosses the box edge: stays
    job.addPad("bot", 2.5e6, 2.5e6, "r100");
    view->affected_layers = {"bot"};
    const auto before = features("top");
    send(DeleteTool::kRequestCode);
    auto* tool = dynamic_cast<DeleteTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    mouse(QEvent::MouseButtonPress, pixel(1e6, 1e6));
    mouse(QEvent::MouseMove, pixel(4e6, 4e6));
    // Highlighted before the release: the two pads of the work layer and the one of the affected layer.
    EXPECT_EQ(featureTotal(tool->candidates()), 3);
    EXPECT_EQ(TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, "top"), 4);
    mouse(QEvent::MouseButtonRelease, pixel(4e6, 4e6));
    const auto after = features("top");
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[0].xs, 8e6);
    EXPECT_EQ(after[1].type, API::FT_LINE);
    EXPECT_EQ(TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, "bot"), 0);
    expectUndoRestores(before);
    EXPECT_EQ(TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, "bot"), 1);
}

TEST_F(EditToolsTest, ShiftCollectsThenEnterDeletesAllInOneStepAndEscapeDrops) {
    job.addPad("top", 2e6, 2e6, "r100");
    job.addPad("top", 5e6, 5e6, "r100");
    job.addPad("top", 8e6, 8e6, "r100");
    const auto before = features("top");
    send(DeleteTool::kRequestCode);
    auto* tool = dynamic_cast<DeleteTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    click(pixel(2e6, 2e6), Qt::ShiftModifier);
    click(pixel(8e6, 8e6), Qt::ShiftModifier);
    click(pixel(8e6, 8e6), Qt::ShiftModifier);  // twice the same: once in the set
    EXPECT_EQ(featureTotal(tool->pending()), 2);
    EXPECT_EQ(features("top").size(), 3u);
    key(Qt::Key_Escape);
    EXPECT_EQ(featureTotal(tool->pending()), 0);
    click(pixel(2e6, 2e6), Qt::ShiftModifier);
    click(pixel(8e6, 8e6), Qt::ShiftModifier);
    mouse(QEvent::MouseMove, pixel(5e6, 5e6));
    key(Qt::Key_Return);
    const auto after = features("top");
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].xs, 5e6);
    expectUndoRestores(before);
}

TEST_F(EditToolsTest, APendingFeatureThatChangedMeanwhileIsNotDeleted) {
    job.addPad("top", 2e6, 2e6, "r100");
    job.addPad("top", 8e6, 8e6, "r100");
    send(DeleteTool::kRequestCode);
    click(pixel(2e6, 2e6), Qt::ShiftModifier);
    click(pixel(8e6, 8e6), Qt::ShiftModifier);
    // Another edit moves the first pad before Enter.
    API::select_feature_by_id(kJob, ScopedJob::kStep, "top", 0);
    API::move_same_layer(kJob, ScopedJob::kStep, {"top"}, 1000, 0);
    API::clear_selected_features(kJob, ScopedJob::kStep, "top");
    key(Qt::Key_Return);
    const auto after = features("top");
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].xs, 2e6 + 1000);
}

// Whether a pixel of the 5 x 5 square around `at` has the colour.
bool colourNear(const QImage& image, const QPoint& at, const QColor& colour) {
    for (int dx = -2; dx <= 2; ++dx)
        for (int dy = -2; dy <= 2; ++dy)
            if (image.pixelColor(at + QPoint(dx, dy)).rgb() == colour.rgb()) return true;
    return false;
}

TEST_F(EditToolsTest, PendingFeaturesAreOutlinedInTheWarningColourUntilTheToolGoes) {
    job.addPad("top", 5e6, 5e6, "r2000");
    send(DeleteTool::kRequestCode);
    view->grab();  // the first paint lays the view out: pixels are known from here on
    const QPoint leftEdge = pixel(4e6, 5e6);
    EXPECT_FALSE(colourNear(view->grab().toImage(), leftEdge, DeleteTool::kDeleteColor));
    click(pixel(5e6, 5e6), Qt::ShiftModifier);
    mouse(QEvent::MouseMove, pixel(9e6, 9e6));  // away: only the pending set is outlined
    EXPECT_TRUE(colourNear(view->grab().toImage(), leftEdge, DeleteTool::kDeleteColor));
    send(20000202);
    EXPECT_FALSE(colourNear(view->grab().toImage(), leftEdge, DeleteTool::kDeleteColor));
    EXPECT_EQ(features("top").size(), 1u);
}

// ---- draw symbol ------------------------------------------------------------

TEST_F(EditToolsTest, PadModeTakesPolarityAndAngleFromTheRequest) {
    send(DrawSymbolTool::kOpenCode, {{"symbol", "rect400x200"}, {"polarity", "NEG"}, {"angle", 90}});
    click(pixel(4e6, 4e6));
    const auto made = features("top");
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].polarity, API::POL_NEGATIVE);
    EXPECT_EQ(made[0].angle, 90);
    EXPECT_EQ(made[0].symbol, "rect400x200");
    // A request without a symbol keeps the one chosen before.
    send(DrawSymbolTool::kOpenCode);
    click(pixel(6e6, 4e6));
    ASSERT_EQ(features("top").size(), 2u);
    EXPECT_EQ(features("top")[1].symbol, "rect400x200");
    EXPECT_EQ(features("top")[1].polarity, API::POL_POSITIVE);
}

TEST_F(EditToolsTest, PadLandsOnTheSnappedPointWithTheSymbolAndTheNewFeatureAttributes) {
    job.addPad("top", 3e6, 3e6, "r100");
    send(51, {{"attributes", QVariantMap{{".comp", "U7"}}}});
    send(20001653);  // snap to centres
    TOLVA::UIAPI::getCoordinate(&host).snap_on = true;
    send(DrawSymbolTool::kOpenCode, {{"symbol", "r300"}});
    ASSERT_NE(dynamic_cast<DrawSymbolTool*>(view->currentTool()), nullptr);
    click(pixel(3e6, 3e6) + QPoint(2, -1));
    const auto after = features("top");
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[1].type, API::FT_PAD);
    EXPECT_EQ(after[1].symbol, "r300");
    EXPECT_DOUBLE_EQ(after[1].xs, 3e6);
    EXPECT_DOUBLE_EQ(after[1].ys, 3e6);
    EXPECT_EQ(after[1].attributes, (API::attr_map{{".comp", "U7"}}));
    send(20001653 - 6);  // snap off again for the next tests
}

TEST_F(EditToolsTest, TheSnapToolPicksTheSnappedCentreWithSnappingOffAndSaysWhenThereIsNone) {
    job.addPad("top", 3e6, 3e6, "r100");
    send(20001653);  // the centre mode; snapping stays off for the other tools
    ASSERT_FALSE(TOLVA::UIAPI::getCoordinate(&host).snap_on);
    send(20000270, {{"Tool", 28}});
    auto* tool = dynamic_cast<SnapTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    click(pixel(3e6, 3e6) + QPoint(2, -1));
    ASSERT_TRUE(tool->picked().has_value());
    EXPECT_EQ(*tool->picked(), QPointF(3e6, 3e6));
    EXPECT_EQ(view->crossPoint(), QPointF(3e6, 3e6));
    EXPECT_EQ(QApplication::clipboard()->text(), view->Is_current_Unit_MM() ? "3.0000, 3.0000" : "0.11811, 0.11811");
    click(pixel(8e6, 8e6));
    EXPECT_EQ(*tool->picked(), QPointF(3e6, 3e6)) << "nothing to snap to far from the pad";
    send(20001653 - 6);  // snap off again for the next tests
}

TEST_F(EditToolsTest, PadPreviewFollowsTheCursorAndGoesWithTheTool) {
    send(DrawSymbolTool::kOpenCode, {{"symbol", "r2000"}});
    view->grab();  // lays the view out
    auto bluish = [](const QImage& image, const QPoint& at) {
        for (int dx = -2; dx <= 2; ++dx)
            for (int dy = -2; dy <= 2; ++dy) {
                const QColor c = image.pixelColor(at + QPoint(dx, dy));
                if (c.blue() > 100 && c.red() < 60) return true;
            }
        return false;
    };
    mouse(QEvent::MouseMove, pixel(5e6, 5e6));
    const QPoint rim = pixel(4e6, 5e6);  // the r2000 outline, 1 mm left of the cursor
    EXPECT_TRUE(bluish(view->grab().toImage(), rim));
    mouse(QEvent::MouseMove, pixel(8e6, 8e6));
    EXPECT_FALSE(bluish(view->grab().toImage(), rim));
    EXPECT_TRUE(bluish(view->grab().toImage(), pixel(7e6, 8e6)));
    send(20000202);
    EXPECT_FALSE(bluish(view->grab().toImage(), pixel(7e6, 8e6)));
    EXPECT_TRUE(features("top").empty());
}

TEST_F(EditToolsTest, ThreeClicksAndEnterGiveTwoJoinedLinesInOneUndoStep) {
    send(DrawSymbolTool::kOpenCode, {{"symbol", "r200"}});
    send(DrawSymbolTool::kLineModeCode);
    auto* tool = dynamic_cast<DrawSymbolTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    ASSERT_EQ(tool->mode(), DrawSymbolTool::LineMode);
    const QPoint a = pixel(2e6, 2e6), b = pixel(6e6, 2e6), c = pixel(6e6, 7e6);
    click(a);
    click(b);
    click(c);
    EXPECT_TRUE(features("top").empty());  // nothing before the end
    key(Qt::Key_Return);
    const auto lines = features("top");
    ASSERT_EQ(lines.size(), 2u);
    for (const auto& l : lines) {
        EXPECT_EQ(l.type, API::FT_LINE);
        EXPECT_EQ(l.symbol, "r200");
    }
    const QPointF a0 = view->toBoard(a), b0 = view->toBoard(b), c0 = view->toBoard(c);
    EXPECT_DOUBLE_EQ(lines[0].xs, a0.x());
    EXPECT_DOUBLE_EQ(lines[0].xe, b0.x());
    EXPECT_DOUBLE_EQ(lines[1].xs, lines[0].xe);  // joined
    EXPECT_DOUBLE_EQ(lines[1].ys, lines[0].ye);
    EXPECT_DOUBLE_EQ(lines[1].ye, c0.y());
    send(kUndo);
    EXPECT_TRUE(features("top").empty());
}

TEST_F(EditToolsTest, ShiftPointMakesAnArcThroughItAndEscapeTakesBackTheLastVertex) {
    send(DrawSymbolTool::kOpenCode, {{"symbol", "r100"}, {"mode", "line"}});
    click(pixel(2e6, 5e6));
    click(pixel(5e6, 8e6), Qt::ShiftModifier);  // through
    click(pixel(8e6, 5e6));
    click(pixel(8e6, 2e6));
    key(Qt::Key_Escape);  // drops the last vertex
    key(Qt::Key_Return);
    const auto made = features("top");
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].type, API::FT_ARC);
    EXPECT_EQ(made[0].direction, "CW");  // over the top from left to right
    EXPECT_NEAR(made[0].xc, 5e6, 1e5);
    EXPECT_NEAR(made[0].yc, 5e6, 1e5);
}

TEST_F(EditToolsTest, ArcThroughThreePointsFindsTheCircleAndItsTurn) {
    const auto cw = arcThrough({-1, 0}, {0, 1}, {1, 0});
    ASSERT_TRUE(cw);
    EXPECT_NEAR(cw->centre.x(), 0, 1e-9);
    EXPECT_NEAR(cw->centre.y(), 0, 1e-9);
    EXPECT_TRUE(cw->clockwise);
    const auto ccw = arcThrough({1, 0}, {0, 1}, {-1, 0});
    ASSERT_TRUE(ccw);
    EXPECT_FALSE(ccw->clockwise);
    EXPECT_FALSE(arcThrough({0, 0}, {1, 1}, {2, 2}));
}

TEST_F(EditToolsTest, SymbolNamesGiveTheirOutline) {
    EXPECT_EQ(symbolShape("r250")->width, 250000);
    EXPECT_FALSE(symbolShape("rect250x100")->round);
    EXPECT_EQ(symbolShape("rect250x100")->height, 100000);
    EXPECT_FALSE(symbolShape("rect250"));
    EXPECT_FALSE(symbolShape("r250x3"));
    EXPECT_FALSE(symbolShape("q1"));
}

TEST_F(EditToolsTest, SurfaceOutlineClosesIntoOneSurface) {
    send(DrawSymbolTool::kOpenCode, {{"mode", "surface"}});
    click(pixel(2e6, 2e6));
    click(pixel(6e6, 2e6));
    click(pixel(6e6, 6e6));
    key(Qt::Key_Return);
    const auto made = features("top");
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].type, API::FT_SURFACE);
}

// ---- a tool switch in mid-gesture ------------------------------------------------

TEST_F(EditToolsTest, SwitchingToolsMidGestureLeavesNoPreviewAndNoEdit) {
    job.addPad("top", 2e6, 2e6, "r100");
    // Half a polyline.
    send(DrawSymbolTool::kOpenCode, {{"symbol", "r200"}, {"mode", "line"}});
    click(pixel(2e6, 5e6));
    click(pixel(6e6, 5e6));
    mouse(QEvent::MouseMove, pixel(7e6, 7e6));
    // A pending deletion.
    send(DeleteTool::kRequestCode);
    click(pixel(2e6, 2e6), Qt::ShiftModifier);
    // A reference point of a move.
    send(PointTool::kMoveCode);
    mouse(QEvent::MouseMove, pixel(3e6, 3e6));
    click(pixel(3e6, 3e6));
    EXPECT_FALSE(view->crossPoint().isNull());
    send(20000202);  // select
    flushDeletes();
    key(Qt::Key_Return);
    EXPECT_EQ(features("top").size(), 1u);
    EXPECT_TRUE(view->pending_feature_strings.empty());
    EXPECT_TRUE(view->crossPoint().isNull());
    EXPECT_FALSE(API::is_selected(kJob, ScopedJob::kStep, "top"));
}

// ---- forwards to the plug-ins ------------------------------------------------------

TEST_F(EditToolsTest, PointToolAnswersMoveWithBothPointsAndTheDisplacement) {
    MessageRecorder messages;
    send(PointTool::kMoveCode);
    ASSERT_NE(dynamic_cast<PointTool*>(view->currentTool()), nullptr);
    const QPoint from = pixel(2e6, 2e6), to = pixel(5e6, 3e6);
    click(from);
    EXPECT_TRUE(messages.withCode(PointTool::kMoveCode).empty());
    mouse(QEvent::MouseMove, to);
    EXPECT_EQ(view->crossPoint(), view->toBoard(to));  // the marker follows
    click(to);
    const auto sent = messages.withCode(PointTool::kMoveCode);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].receiver, PluginNames::MenuBarEdit);
    const QPointF a = view->toBoard(from), b = view->toBoard(to);
    EXPECT_DOUBLE_EQ(sent[0].data["from_x"].toDouble(), a.x());
    EXPECT_DOUBLE_EQ(sent[0].data["y"].toDouble(), b.y());
    EXPECT_DOUBLE_EQ(sent[0].data["dx"].toDouble(), b.x() - a.x());
    EXPECT_DOUBLE_EQ(sent[0].data["dy"].toDouble(), b.y() - a.y());
}

TEST_F(EditToolsTest, CopyPointStartsOverAfterEscape) {
    MessageRecorder messages;
    send(PointTool::kCopyCode);
    // A message the tool does not know leaves its request as it was.
    PluginMetaData stranger(PluginNames::JobList, PluginNames::GraphicView, 20000202);
    view->currentTool()->setWorkParam(&stranger);
    EXPECT_EQ(dynamic_cast<PointTool*>(view->currentTool())->request(), PointTool::kCopyCode);
    click(pixel(1e6, 1e6));
    key(Qt::Key_Escape);  // forgets the reference
    click(pixel(2e6, 2e6));
    EXPECT_TRUE(messages.withCode(PointTool::kCopyCode).empty());
    click(pixel(5e6, 2e6));
    const auto sent = messages.withCode(PointTool::kCopyCode);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_DOUBLE_EQ(sent[0].data["from_x"].toDouble(), view->toBoard(pixel(2e6, 2e6)).x());
    EXPECT_DOUBLE_EQ(sent[0].data["dx"].toDouble(),
                     view->toBoard(pixel(5e6, 2e6)).x() - view->toBoard(pixel(2e6, 2e6)).x());
}

TEST_F(EditToolsTest, PointRequestAnswersEachClickAndAMarkerPlacedByRequestOutlivesTheTool) {
    MessageRecorder messages;
    send(PointTool::kPointCode);
    const QPoint at = pixel(3e6, 4e6);
    click(at);
    click(at);
    const auto sent = messages.withCode(PointTool::kPointCode);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(QPointF(sent[1].data["x"].toDouble(), sent[1].data["y"].toDouble()), view->toBoard(at));
    std::vector<API::point> marker{{1000, 2000}};
    PluginMetaData centre(PluginNames::JobList, PluginNames::GraphicView, 20001822);
    centre.payload = &marker;
    recMsgFromManager(view, &centre);
    send(20000202);
    flushDeletes();
    EXPECT_EQ(view->crossPoint(), QPointF(1000, 2000));
}

TEST_F(EditToolsTest, SubstitutePointCarriesTheSelectedFeatures) {
    job.addPad("top", 2e6, 2e6, "r100");
    job.addPad("top", 4e6, 2e6, "r100");
    API::select_feature_by_id(kJob, ScopedJob::kStep, "top", 1);
    MessageRecorder messages;
    send(PointTool::kSubstituteCode);
    click(pixel(3e6, 3e6));
    const auto sent = messages.withCode(PointTool::kSubstituteCode);
    ASSERT_EQ(sent.size(), 1u);
    const QVariantList list = sent[0].data["features"].toList();
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0].toMap()["layer"].toString(), "top");
    EXPECT_EQ(list[0].toMap()["index"].toInt(), 1);
    EXPECT_EQ(list[0].toMap()["record"].toString().toStdString(), features("top")[1].record);
}

TEST_F(EditToolsTest, EditToolMenuOffersTheKindsEditsAndForwardsTheFeature) {
    API::AddFeature(kJob, ScopedJob::kStep, {"top"},
                    {{"top", API::GreatePadString(5e6, 5e6, symbolOn("r300"), API::POL_POSITIVE, 0, 0, 1)}},
                    {{".net", "GND"}, {".comp", "U2"}}, false);
    job.addPad("top", 9e6, 9e6, "r100");
    send(20000270, {{"Tool", 25}});
    auto* tool = dynamic_cast<EditTool*>(view->currentTool());
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->getType(), Graphic_ViewTool::SELECT_TOOL);
    click(pixel(5e6, 5e6));
    QMenu* menu = tool->menu();
    ASSERT_NE(menu, nullptr);
    QStringList texts;
    for (QAction* a : menu->actions()) texts << a->text();
    EXPECT_TRUE(texts.contains("Change Symbol..."));
    EXPECT_TRUE(texts.contains("Rotate..."));
    EXPECT_FALSE(texts.contains("Pull"));  // lines only
    EXPECT_FALSE(texts.contains("Divide"));  // surfaces only
    EXPECT_FALSE(texts.contains("Change Text..."));
    MessageRecorder messages;
    for (QAction* a : menu->actions())
        if (a->text() == "Change Symbol..." || a->text() == "Attributes..." || a->text() == "Filter by Attributes")
            a->trigger();
    const auto sent = messages.withCode(20001811);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].data["symbol"].toString(), "r300");
    EXPECT_EQ(sent[0].data["layer"].toString(), "top");
    EXPECT_EQ(sent[0].data["index"].toInt(), 0);
    EXPECT_EQ(sent[0].data["record"].toString().toStdString(), features("top")[0].record);
    const auto attributes = messages.withCode(20001807);
    ASSERT_EQ(attributes.size(), 1u);
    EXPECT_EQ(attributes[0].receiver, PluginNames::MenuBarEdit);
    EXPECT_EQ(attributes[0].data["attributes"].toMap(), (QVariantMap{{".comp", "U2"}, {".net", "GND"}}));
    const auto filter = messages.withCode(20000060);
    ASSERT_EQ(filter.size(), 1u);
    EXPECT_EQ(filter[0].receiver, PluginNames::MenuBarActions);
    EXPECT_EQ(filter[0].data["AttributeType"].toString(), ".comp,.net");
    // Rotate: the pad alone selected, the view asked for the rotate tool.
    API::select_feature_by_id(kJob, ScopedJob::kStep, "top", 1);
    for (QAction* a : menu->actions())
        if (a->text() == "Rotate...") a->trigger();
    const auto rotate = messages.withCode(20000271);
    ASSERT_EQ(rotate.size(), 1u);
    EXPECT_EQ(rotate[0].receiver, PluginNames::GraphicView);
    EXPECT_TRUE(rotate[0].data["Interactive"].toBool());
    std::vector<API::featureInfo> selected;
    API::get_selected_feature_info(kJob, ScopedJob::kStep, "top", selected);
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected[0].index, 0);
    menu->close();
    // Delete from the menu: gone, and back with one undo.
    click(pixel(5e6, 5e6));
    ASSERT_NE(tool->menu(), nullptr);
    for (QAction* a : tool->menu()->actions())
        if (a->text() == "Delete") a->trigger();
    EXPECT_EQ(features("top").size(), 1u);
    send(kUndo);
    EXPECT_EQ(features("top").size(), 2u);
    if (tool->menu()) tool->menu()->close();
}

}  // namespace
