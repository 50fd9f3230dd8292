// Typed coordinates, the relative origin and the feature search, through
// the real view, the real coordinate panel and the real plug-in manager:
// a typed point centres the view (or becomes the active tool's next point),
// the relative origin moves what the read-out says, bad values are refused
// where the operator sees it, and the cursor and visible box are answered.
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QSpinBox>
#include <QTreeWidget>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <cmath>
#include <limits>
#include <optional>

#include "../plugins/sibling_fixture.h"
#include "CoordinateMessages.h"
#include "ViewTool/SelectTool.h"

using namespace siblings;
using TOLVA::GRAPHIC::Graphic_ViewTool;
using namespace CoordinateMessages;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;

namespace {

constexpr double kMm = 1e6;
const QString kMenu = PluginNames::MenuBarActions;

// The two numbers of a read-out text ("X = 1.2345  Y = -0.5000  mm").
std::pair<double, double> numbersOf(const QString& text) {
    QRegularExpression re("X = (-?[0-9.]+).*Y = (-?[0-9.]+)", QRegularExpression::DotMatchesEverythingOption);
    const auto m = re.match(text);
    return {m.captured(1).toDouble(), m.captured(2).toDouble()};
}

class Coordinates : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::Coordinate);
        panel->setGeometry(450, 0, 400, 200);
        showHost();
        job.emplace("coordinates_job", 40 * kMm, 30 * kMm, std::vector<std::string>{"top", "bot"});
        addPad("top", 5 * kMm, 5 * kMm, {{".net", "GND"}});               // top 0
        addPad("top", 30 * kMm, 20 * kMm, {{".net", "VCC"}});             // top 1
        addPad("top", 12 * kMm, 25 * kMm, {{".net", "GND"}, {".comp", "U7"}});  // top 2
        addPad("bot", 20 * kMm, 10 * kMm, {{".net", "GND"}});             // bot 0
        bind(job->name(), {"top", "bot"}, "top");
        view->areazoom(10 * kMm, 5 * kMm, 20 * kMm, 15 * kMm);
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    void addPad(const std::string& layer, double x, double y, const TOLVA::API::attr_map& attributes) {
        int symbol = -1;
        TOLVA::API::create_new_symbol(job->name(), ScopedJob::kStep, layer, "r200", symbol);
        TOLVA::API::AddFeature(job->name(), ScopedJob::kStep, {layer},
                               {{layer, TOLVA::API::GreatePadString(x, y, symbol, TOLVA::API::POL_POSITIVE, 0, 0, 1)}},
                               attributes, false);
    }
    // Types a point in the panel and presses Enter, as the operator does.
    void typePoint(const QString& x, const QString& y) {
        type(child<QLineEdit>(panel, "typedX"), x);
        type(child<QLineEdit>(panel, "typedY"), y);
        QTest::keyClick(child<QLineEdit>(panel, "typedY"), Qt::Key_Return);
    }
    void toView(qint32 code, const QVariantMap& data = {}, const QString& from = PluginNames::Coordinate) {
        deliver(from, PluginNames::GraphicView, code, data);
    }
    QString panelMessage() { return child<QLabel>(panel, "message")->text(); }
    QString readout() { return child<QLabel>(panel, "cursorReadout")->text(); }

    QWidget* panel = nullptr;
    std::optional<ScopedJob> job;
};

// ---- typed coordinates ------------------------------------------------------------

TEST_F(Coordinates, ATypedCoordinateCentresTheViewAndKeepsTheZoom) {
    struct Case {
        const char* x;
        const char* y;
        QPointF board;
    };
    const Case cases[] = {{"25", "12.5", {25 * kMm, 12.5 * kMm}},
                          {"-3.0001", "0", {-3000100, 0}},
                          {"0.0004", "-7", {400, -7 * kMm}},
                          {"1000", "-1000", {1e9, -1e9}}};  // the board limit itself is allowed
    const double scale = view->scale();
    int history = view->getZoomINStack()->size();
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.x) + ", " + c.y);
        MessageRecorder rec;
        typePoint(c.x, c.y);
        EXPECT_EQ(view->center(), c.board);
        EXPECT_EQ(view->scale(), scale);
        EXPECT_EQ(view->crossPoint(), c.board);
        // The middle of the widget reads back the typed point exactly.
        EXPECT_EQ(view->toBoard(QPoint(view->width() / 2, view->height() / 2)), c.board);
        // One move, on the zoom history, announced with one step box; nothing refused.
        EXPECT_EQ(view->getZoomINStack()->size(), ++history);
        EXPECT_EQ(rec.withCode(10000601).size(), 1u);
        EXPECT_TRUE(rec.withCode(kRefused).empty());
        EXPECT_TRUE(panelMessage().isEmpty());
    }
    // The zoom tool's way back returns to where the operator was before.
    const QVector<QPointF> before = view->getZoomINStack()->last();
    view->redoZoomin();
    EXPECT_NEAR(view->center().x(), (before[0].x() + before[1].x()) / 2, 2);
}

TEST_F(Coordinates, AnotherSenderMayGoThereWithEitherCode) {
    toView(20001665, {{"X", 8 * kMm}, {"Y", 9 * kMm}}, PluginNames::MenuBarEdit);
    EXPECT_EQ(view->center(), QPointF(8 * kMm, 9 * kMm));
    // The Enter alone applies a point that was not applied before ...
    const int history = view->getZoomINStack()->size();
    toView(kEnterPressed, {{"X", 2 * kMm}, {"Y", 3 * kMm}});
    EXPECT_EQ(view->center(), QPointF(2 * kMm, 3 * kMm));
    EXPECT_EQ(view->getZoomINStack()->size(), history + 1);
    // ... a bare Enter confirms the point just typed, once ...
    MessageRecorder rec;
    toView(kCoordinateData, {{"X", 4 * kMm}, {"Y", 4 * kMm}});
    toView(kEnterPressed);
    EXPECT_TRUE(rec.withCode(kRefused).empty());
    EXPECT_EQ(view->center(), QPointF(4 * kMm, 4 * kMm));
    // ... and with nothing typed says so.
    toView(kEnterPressed);
    ASSERT_EQ(rec.withCode(kRefused).size(), 1u);
    EXPECT_EQ(rec.withCode(kRefused)[0].receiver, PluginNames::Coordinate);
    EXPECT_FALSE(panelMessage().isEmpty());
}

TEST_F(Coordinates, BadCoordinatesAreRefusedVisiblyAndMoveNothing) {
    struct Case {
        const char* name;
        QVariantMap data;
        const char* reason;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {"missing Y", {{"X", 1.0}}, "Y is missing"},
        {"text", {{"X", "abc"}, {"Y", 1.0}}, "X is not a number"},
        {"number as text", {{"X", 1.0}, {"Y", "12"}}, "Y is not a number"},
        {"NaN", {{"X", nan}, {"Y", 1.0}}, "X is not a number"},
        {"infinite", {{"X", 1.0}, {"Y", -inf}}, "beyond the board limit"},
        {"just beyond", {{"X", 1e9 + 1}, {"Y", 0.0}}, "beyond the board limit"},
        {"far below", {{"X", 0.0}, {"Y", -2e9}}, "beyond the board limit"},
        {"relative without origin", {{"X", 1.0}, {"Y", 1.0}, {"Relative", true}}, "needs a relative origin"},
    };
    const QPointF centre = view->center();
    const int history = view->getZoomINStack()->size();
    for (const Case& c : cases) {
        for (qint32 code : {kCoordinateData, 20001665, kEnterPressed}) {
            SCOPED_TRACE(std::string(c.name) + " " + std::to_string(code));
            LogCapture logs;
            MessageRecorder rec;
            toView(code, c.data, PluginNames::MenuBarEdit);
            EXPECT_EQ(view->center(), centre);
            EXPECT_EQ(view->getZoomINStack()->size(), history);
            EXPECT_TRUE(rec.withCode(10000601).empty());
            // The panel and the other sender both hear why.
            const auto refusals = rec.withCode(kRefused);
            ASSERT_EQ(refusals.size(), 2u);
            EXPECT_EQ(refusals[0].receiver, PluginNames::Coordinate);
            EXPECT_EQ(refusals[1].receiver, PluginNames::MenuBarEdit);
            EXPECT_EQ(refusals[0].data.value(kKeyCode).toInt(), code);
            EXPECT_TRUE(refusals[0].data.value(kKeyMessage).toString().contains(c.reason))
                << refusals[0].data.value(kKeyMessage).toString().toStdString();
            EXPECT_TRUE(panelMessage().contains(c.reason)) << panelMessage().toStdString();
            EXPECT_EQ(logs.count(google::GLOG_ERROR, c.reason), 1);
        }
    }
    // Typed in the panel: out of range is refused by the view and shown there.
    typePoint("1000.000001", "0");
    EXPECT_EQ(view->center(), centre);
    EXPECT_TRUE(panelMessage().contains("beyond the board limit")) << panelMessage().toStdString();
}

TEST_F(Coordinates, APointTakingToolGetsTheTypedPointAsItsNextPoint) {
    toView(20000223, {}, PluginNames::ToolbarEdit);  // select by polygon
    ASSERT_EQ(toolType(), Graphic_ViewTool::SELECT_TOOL);
    ASSERT_TRUE(view->toolTakesPoints());
    auto* tool = qobject_cast<TOLVA::GRAPHIC::SelectTool*>(view->currentTool());
    ASSERT_TRUE(tool);
    const int history = view->getZoomINStack()->size();
    const QVector<QPointF> expected{{11 * kMm, 6 * kMm}, {19500000, 6 * kMm}, {15 * kMm, 14000100}};
    for (const QPointF& p : expected) {
        typePoint(QString::number(p.x() / kMm), QString::number(p.y() / kMm));
        // The select tool waits for a possible double click before it takes the point.
        ASSERT_TRUE(QTest::qWaitFor([&] { return tool->polygon().size() == expected.indexOf(p) + 1; }, 2000));
    }
    EXPECT_EQ(tool->polygon(), expected);
    EXPECT_EQ(view->getZoomINStack()->size(), history);  // a tool's point is not a navigation
    // The normal tool takes no points: the next typed point moves the view.
    view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
    EXPECT_FALSE(view->toolTakesPoints());
    typePoint("3", "4");
    EXPECT_EQ(view->center(), QPointF(3 * kMm, 4 * kMm));
}

// ---- relative origin and read-out --------------------------------------------------

TEST_F(Coordinates, TheRelativeOriginChangesTheReadoutAndTypedPoints) {
    const QPoint at(120, 80);
    QTest::mouseMove(view, at);
    const QPointF board = view->toBoard(at);
    auto expectReadout = [&](double x, double y) {
        const auto shown = numbersOf(readout());
        EXPECT_NEAR(shown.first, x / kMm, 0.6e-4) << readout().toStdString();
        EXPECT_NEAR(shown.second, y / kMm, 0.6e-4) << readout().toStdString();
    };
    expectReadout(board.x(), board.y());

    toView(kAnchorAtPoint, {{"X", 12 * kMm}, {"Y", -3 * kMm}}, kMenu);
    EXPECT_TRUE(view->hasRelativeOrigin());
    EXPECT_EQ(view->relativeOrigin(), QPointF(12 * kMm, -3 * kMm));
    EXPECT_TRUE(child<QLabel>(panel, "relativeOrigin")->text().contains("12.0000"));
    // An origin alone leaves the read-out absolute until relative mode is on.
    QTest::mouseMove(view, at + QPoint(1, 0));
    QTest::mouseMove(view, at);
    expectReadout(board.x(), board.y());

    MessageRecorder rec;
    QTest::mouseClick(child<QCheckBox>(panel, "relativeMode"), Qt::LeftButton);
    EXPECT_EQ(rec.withCode(kReadoutRelative).size(), 1u);
    EXPECT_TRUE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    EXPECT_TRUE(readout().contains("relative"));
    expectReadout(board.x() - 12 * kMm, board.y() + 3 * kMm);

    // Typed while the read-out is relative: measured from the origin too.
    typePoint("1", "2");
    EXPECT_EQ(view->center(), QPointF(13 * kMm, -1 * kMm));

    // Back to absolute.
    QTest::mouseClick(child<QCheckBox>(panel, "relativeMode"), Qt::LeftButton);
    EXPECT_FALSE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    EXPECT_FALSE(readout().contains("relative"));
    typePoint("1", "2");
    EXPECT_EQ(view->center(), QPointF(1 * kMm, 2 * kMm));
}

TEST_F(Coordinates, TheOriginComesFromWhereTheRequestSays) {
    const QPoint cursor(200, 150);
    QTest::mouseMove(view, cursor);
    struct Case {
        qint32 code;
        QVariantMap data;
        QPointF origin;
    };
    const Case cases[] = {
        {20001407, {}, {0, 0}},
        {20001408, {}, {0, 30 * kMm}},
        {20001409, {}, {40 * kMm, 30 * kMm}},
        {20001410, {}, {40 * kMm, 0}},
        {20001411, {}, {20 * kMm, 15 * kMm}},
        {20001405, {}, view->toBoard(cursor)},
        {20001406, {{"X", 5.05 * kMm}, {"Y", 4.9 * kMm}}, {5 * kMm, 5 * kMm}},  // the pad's centre
        {20002838, {{"X", 1.0}, {"Y", 2.0}}, {1, 2}},
        {20004202, {{"X", -1.0}, {"Y", -2.0}}, {-1, -2}},
        {20001412, {}, {0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code);
        view->clearRelativeOrigin();
        MessageRecorder rec;
        toView(c.code, c.data, kMenu);
        ASSERT_TRUE(view->hasRelativeOrigin());
        EXPECT_EQ(view->relativeOrigin(), c.origin);
        const auto& record = TOLVA::UIAPI::getCoordinate(&host);
        EXPECT_TRUE(record.has_relative_origin);
        EXPECT_EQ(QPointF(record.origin_x, record.origin_y), c.origin);
        const auto settings = rec.withCode(kCoordinateSettings);
        ASSERT_EQ(settings.size(), 1u);
        EXPECT_EQ(settings[0].receiver, PluginNames::Coordinate);
        EXPECT_EQ(settings[0].data.value(kKeyOriginX).toDouble(), c.origin.x());
        EXPECT_EQ(settings[0].data.value(kKeyOriginY).toDouble(), c.origin.y());
    }
    // Nothing to snap to near the point: refused, the origin stays.
    MessageRecorder rec;
    toView(20001406, {{"X", 35 * kMm}, {"Y", 5 * kMm}}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 2u);
    EXPECT_EQ(view->relativeOrigin(), QPointF(0, 0));
    toView(20000059, {{"X", "here"}}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 4u);
    // Half a point is no point, whatever the code would otherwise take.
    toView(20001407, {{"X", 1.0}}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 6u);
    EXPECT_EQ(view->relativeOrigin(), QPointF(0, 0));
    toView(20001419, {}, kMenu);
    EXPECT_FALSE(view->hasRelativeOrigin());
    EXPECT_FALSE(TOLVA::UIAPI::getCoordinate(&host).has_relative_origin);
    EXPECT_EQ(child<QLabel>(panel, "relativeOrigin")->text(), "No relative origin");
}

TEST_F(Coordinates, TheRelativeOriginIsMarkedWhereItLies) {
    const QPointF origin(15 * kMm, 10 * kMm);  // the middle of the view
    auto markAt = [&](const QPoint& p) {
        const QImage image = view->grab().toImage();
        return image.pixelColor(p) == QColor(Qt::white);
    };
    int px = 0, py = 0;
    view->db2view(origin.x(), origin.y(), px, py);
    const QPoint c(px, py);
    const QPoint onCircle = c + QPoint(6, 0), armEnd = c + QPoint(0, -11), outside = c + QPoint(20, 20);
    EXPECT_FALSE(markAt(onCircle));
    toView(kAnchorAtPoint, {{"X", origin.x()}, {"Y", origin.y()}}, kMenu);
    EXPECT_TRUE(markAt(onCircle));
    EXPECT_TRUE(markAt(armEnd));
    EXPECT_FALSE(markAt(outside));
    toView(kAnchorClear, {}, kMenu);
    EXPECT_FALSE(markAt(onCircle));
}

TEST_F(Coordinates, TheReadoutOptionsLiveInTheSharedState) {
    MessageRecorder rec;
    toView(kReadoutUnit, {{"Unit", "inch"}}, kMenu);
    EXPECT_EQ(TOLVA::UIAPI::getUnitString(), "Inch");
    EXPECT_FALSE(view->Is_current_Unit_MM());
    EXPECT_EQ(child<QComboBox>(panel, "unit")->currentIndex(), 1);
    toView(kReadoutUnit, {{"Unit", "MM"}}, kMenu);
    EXPECT_TRUE(view->Is_current_Unit_MM());
    EXPECT_EQ(child<QComboBox>(panel, "unit")->currentIndex(), 0);
    ASSERT_EQ(rec.withCode(kCoordinateSettings).size(), 2u);
    EXPECT_EQ(rec.withCode(kCoordinateSettings)[0].data.value(kKeyUnit).toString(), "Inch");
    toView(kReadoutUnit, {{"Unit", "furlong"}}, kMenu);
    EXPECT_EQ(TOLVA::UIAPI::getUnitString(), "MM");
    EXPECT_TRUE(panelMessage().contains("furlong"));
    toView(kReadoutRelative, {}, kMenu);
    EXPECT_TRUE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    EXPECT_TRUE(child<QCheckBox>(panel, "relativeMode")->isChecked());
    toView(kReadoutAbsolute, {}, kMenu);
    EXPECT_FALSE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    EXPECT_FALSE(child<QCheckBox>(panel, "relativeMode")->isChecked());
}

// ---- cursor and visible box ----------------------------------------------------------

TEST_F(Coordinates, TheCursorAndTheVisibleBoxAreAnsweredToTheSender) {
    const QPoint at(77, 201);
    QTest::mouseMove(view, at);
    const QPointF board = view->toBoard(at);
    for (qint32 code : {20001664, 20001670}) {
        SCOPED_TRACE(code);
        MessageRecorder rec;
        toView(code, {}, kMenu);
        const auto replies = rec.withCode(kMousePointReply);
        ASSERT_EQ(replies.size(), 1u);
        EXPECT_EQ(replies[0].sender, PluginNames::GraphicView);
        EXPECT_EQ(replies[0].receiver, kMenu);
        EXPECT_EQ(replies[0].data.value(kKeyX).toDouble(), board.x());
        EXPECT_EQ(replies[0].data.value(kKeyY).toDouble(), board.y());
        EXPECT_EQ(replies[0].data.value(kKeyUnit).toString(), "MM");
        EXPECT_EQ(replies[0].data.value(kKeyCode).toInt(), code);
        EXPECT_FALSE(replies[0].data.contains(kKeyRelativeX));
    }
    toView(kAnchorAtPoint, {{"X", 1 * kMm}, {"Y", 2 * kMm}}, kMenu);
    MessageRecorder rec;
    toView(20001664, {}, PluginNames::MenuBarEdit);
    ASSERT_EQ(rec.withCode(kMousePointReply).size(), 1u);
    const PluginMetaData reply = rec.withCode(kMousePointReply)[0];
    EXPECT_EQ(reply.receiver, PluginNames::MenuBarEdit);
    EXPECT_EQ(reply.data.value(kKeyRelativeX).toDouble(), board.x() - 1 * kMm);
    EXPECT_EQ(reply.data.value(kKeyRelativeY).toDouble(), board.y() - 2 * kMm);

    toView(20001656, {}, kMenu);
    const auto boxes = rec.withCode(kMouseRectReply);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].receiver, kMenu);
    const QPointF lowerLeft = view->toBoard(QPoint(0, view->height())), upperRight = view->toBoard(QPoint(view->width(), 0));
    EXPECT_EQ(boxes[0].data.value("xmin").toDouble(), lowerLeft.x());
    EXPECT_EQ(boxes[0].data.value("ymin").toDouble(), lowerLeft.y());
    EXPECT_EQ(boxes[0].data.value("xmax").toDouble(), upperRight.x());
    EXPECT_EQ(boxes[0].data.value("ymax").toDouble(), upperRight.y());
    EXPECT_LT(boxes[0].data.value("xmin").toDouble(), boxes[0].data.value("xmax").toDouble());

    // Nobody to answer: refused, nothing else sent.
    rec.clear();
    toView(20001656, {}, QString());
    toView(20001664, {}, QString());
    EXPECT_TRUE(rec.withCode(kMouseRectReply).empty());
    EXPECT_TRUE(rec.withCode(kMousePointReply).empty());
    EXPECT_EQ(rec.withCode(kRefused).size(), 2u);
}

// ---- effect layers and feature search -----------------------------------------------

TEST_F(Coordinates, EffectLayersNameTheLayersATypedCoordinateAppliesTo) {
    toView(kEffectLayers, {{"Layers", QStringList{"bot"}}}, kMenu);
    EXPECT_EQ(TOLVA::UIAPI::getCoordinate(&host).effect_layers, std::vector<std::string>{"bot"});
    // The origin at a feature looks on those layers: the bot pad, not the top one.
    toView(kAnchorAtFeature, {{"X", 20 * kMm}, {"Y", 10 * kMm}}, kMenu);
    EXPECT_EQ(view->relativeOrigin(), QPointF(20 * kMm, 10 * kMm));
    MessageRecorder rec;
    toView(kAnchorAtFeature, {{"X", 5 * kMm}, {"Y", 5 * kMm}}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 2u);
    toView(kEffectLayers, {{"Layers", QStringList{"bot", "inner9"}}}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 4u);
    EXPECT_TRUE(panelMessage().contains("inner9"));
    EXPECT_EQ(TOLVA::UIAPI::getCoordinate(&host).effect_layers, std::vector<std::string>{"bot"});
    toView(kEffectLayers, {}, kMenu);
    EXPECT_EQ(rec.withCode(kRefused).size(), 6u);
    toView(kEffectLayers, {{"Layers", QStringList{}}}, kMenu);  // back to the work layer
    EXPECT_TRUE(TOLVA::UIAPI::getCoordinate(&host).effect_layers.empty());
    toView(kAnchorAtFeature, {{"X", 5 * kMm}, {"Y", 5 * kMm}}, kMenu);
    EXPECT_EQ(view->relativeOrigin(), QPointF(5 * kMm, 5 * kMm));
}

TEST_F(Coordinates, ASearchZoomsToTheFirstFeatureAndStepsThroughTheOthers) {
    const double scaleBefore = view->scale();
    MessageRecorder rec;
    toView(kSearchFeature, {{"Mode", "attribute"}, {"Attribute", ".net"}, {"Value", "GND"},
                            {"Layers", QStringList{"top", "bot"}}}, kMenu);
    struct Stop {
        const char* mode;
        QPointF centre;
        int position;
        const char* layer;
        int index;
    };
    const Stop first{"", {5 * kMm, 5 * kMm}, 1, "top", 0};
    const Stop stops[] = {{"next", {12 * kMm, 25 * kMm}, 2, "top", 2},
                          {"next", {20 * kMm, 10 * kMm}, 3, "bot", 0},
                          {"next", {5 * kMm, 5 * kMm}, 1, "top", 0},  // round again
                          {"previous", {20 * kMm, 10 * kMm}, 3, "bot", 0},
                          {"previous", {12 * kMm, 25 * kMm}, 2, "top", 2}};
    auto check = [&](const Stop& s) {
        SCOPED_TRACE(s.position);
        EXPECT_NEAR(view->center().x(), s.centre.x(), 2);
        EXPECT_NEAR(view->center().y(), s.centre.y(), 2);
        EXPECT_EQ(view->crossPoint(), s.centre);
        EXPECT_EQ(view->currentSearchHit() + 1, s.position);
        const auto replies = rec.withCode(kSearchResult);
        ASSERT_FALSE(replies.empty());
        const PluginMetaData& r = replies.back();
        EXPECT_EQ(r.receiver, kMenu);
        EXPECT_EQ(r.data.value(kKeyCount).toInt(), 3);
        EXPECT_EQ(r.data.value(kKeyPosition).toInt(), s.position);
        EXPECT_EQ(r.data.value(kKeyLayer).toString(), s.layer);
        EXPECT_EQ(r.data.value(kKeyIndex).toInt(), s.index);
        EXPECT_EQ(r.data.value(kKeyX).toDouble(), s.centre.x());
        int px = 0, py = 0;
        view->db2view(s.centre.x(), s.centre.y(), px, py);
        EXPECT_EQ(QPoint(px, py), QPoint(view->width() / 2, view->height() / 2));
    };
    check(first);
    // A 0.2 mm pad is shown at least 2 mm wide: zoomed in from the 10 mm view.
    EXPECT_GT(view->scale(), scaleBefore);
    const int history = view->getZoomINStack()->size();
    for (const Stop& s : stops) {
        toView(kSearchFeature, {{"Mode", s.mode}}, kMenu);
        check(s);
    }
    // Every stop is on the zoom history: going back retraces them.
    EXPECT_EQ(view->getZoomINStack()->size(), history + 5);
    view->redoZoomin();
    EXPECT_NEAR(view->center().x(), 20 * kMm, 2);
    EXPECT_NEAR(view->center().y(), 10 * kMm, 2);
}

TEST_F(Coordinates, SearchesBySymbolIndexAndOnTheCoordinateLayers) {
    MessageRecorder rec;
    toView(kSearchFeature, {{"Mode", "index"}, {"Index", 0}}, kMenu);
    EXPECT_EQ(view->crossPoint(), QPointF(5 * kMm, 5 * kMm));
    toView(kSearchFeature, {{"Mode", "index"}, {"Index", 1}}, kMenu);  // the work layer, top
    ASSERT_EQ(rec.withCode(kSearchResult).size(), 2u);
    EXPECT_EQ(rec.withCode(kSearchResult)[1].data.value(kKeyCount).toInt(), 1);
    EXPECT_EQ(view->crossPoint(), QPointF(30 * kMm, 20 * kMm));
    toView(kSearchFeature, {{"Mode", "symbol"}, {"Symbol", "r200"}, {"Layers", QStringList{"top", "bot"}}}, kMenu);
    EXPECT_EQ(rec.withCode(kSearchResult).back().data.value(kKeyCount).toInt(), 4);
    toView(kEffectLayers, {{"Layers", QStringList{"bot"}}}, kMenu);
    toView(kSearchFeature, {{"Mode", "attribute"}, {"Attribute", ".net"}}, kMenu);
    EXPECT_EQ(rec.withCode(kSearchResult).back().data.value(kKeyCount).toInt(), 1);
    EXPECT_EQ(view->crossPoint(), QPointF(20 * kMm, 10 * kMm));
    toView(kSearchFeature, {{"Mode", "attribute"}, {"Attribute", ".comp"}, {"Value", "U7"},
                            {"Layers", QStringList{"top"}}}, kMenu);
    EXPECT_EQ(view->crossPoint(), QPointF(12 * kMm, 25 * kMm));
}

// A long feature is shown whole, whichever way it runs.
TEST_F(Coordinates, ASearchShowsTheWholeFeature) {
    int symbol = -1;
    TOLVA::API::create_new_symbol(job->name(), ScopedJob::kStep, "bot", "r200", symbol);
    struct Case {
        QPointF from, to;
        const char* name;
    };
    for (const Case& c : {Case{{35 * kMm, 2 * kMm}, {35 * kMm, 28 * kMm}, "J1"}, Case{{2 * kMm, 27 * kMm}, {38 * kMm, 27 * kMm}, "J2"}}) {
        SCOPED_TRACE(c.name);
        TOLVA::API::AddFeature(job->name(), ScopedJob::kStep, {"bot"},
                               {{"bot", TOLVA::API::GreateLineString(c.from.x(), c.from.y(), c.to.x(), c.to.y(), symbol,
                                                                     TOLVA::API::POL_POSITIVE, 0)}},
                               {{".comp", c.name}}, false);
        toView(kSearchFeature, {{"Mode", "attribute"}, {"Attribute", ".comp"}, {"Value", c.name}, {"Layers", QStringList{"bot"}}}, kMenu);
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        view->real_box(minX, minY, maxX, maxY);
        EXPECT_LE(minX, std::min(c.from.x(), c.to.x()) - 0.1 * kMm);
        EXPECT_GE(maxX, std::max(c.from.x(), c.to.x()) + 0.1 * kMm);
        EXPECT_LE(minY, std::min(c.from.y(), c.to.y()) - 0.1 * kMm);
        EXPECT_GE(maxY, std::max(c.from.y(), c.to.y()) + 0.1 * kMm);
        // Not far beyond: the narrower side of the view shows three times its extent (with the pen).
        EXPECT_LT(std::min(maxX - minX, maxY - minY), 3.01 * (QLineF(c.from, c.to).length() + 0.2 * kMm));
    }
}

// A typed point is exact: with snapping on, the paste still lands where typed,
// not on the pad next to it.
TEST_F(Coordinates, ATypedPointIsNotSnapped) {
    TOLVA::API::select_feature_by_id(job->name(), ScopedJob::kStep, "top", 0);
    toView(20001416, {{"type", 2}}, PluginNames::MenuBarEdit);  // copy
    toView(20001417, {}, PluginNames::MenuBarEdit);               // paste: click to place
    ASSERT_EQ(toolType(), Graphic_ViewTool::EDIT_BUFFER_TOOL);
    ASSERT_TRUE(view->toolTakesPoints());
    TOLVA::UIAPI::getCoordinate(&host).snap_on = true;
    toView(20001653, {}, PluginNames::ToolbarEdit);  // snap to centres
    ASSERT_EQ(view->currentSnapMode(), TOLVA::UIAPI::SNAP_CENTER);
    typePoint("30.05", "20");  // 0.05 mm beside the pad at (30, 20) mm
    EXPECT_TRUE(TOLVA::UIAPI::getCoordinate(&host).snap_on);  // held off for the click only
    TOLVA::API::featureInfo pasted;
    ASSERT_TRUE(TOLVA::API::get_featureinfo_by_index(job->name(), ScopedJob::kStep, "top", 3, pasted));
    EXPECT_EQ(QPointF(pasted.xs, pasted.ys), QPointF(30.05 * kMm, 20 * kMm));
}

TEST_F(Coordinates, ASearchThatFindsNothingSaysSo) {
    const QPointF centre = view->center();
    const QPointF cross = view->crossPoint();
    LogCapture logs;
    MessageRecorder rec;
    toView(kSearchFeature, {{"Mode", "attribute"}, {"Attribute", ".net"}, {"Value", "NOPE"},
                            {"Layers", QStringList{"top", "bot"}}}, kMenu);
    ASSERT_EQ(rec.withCode(kSearchResult).size(), 1u);
    const PluginMetaData r = rec.withCode(kSearchResult)[0];
    EXPECT_EQ(r.receiver, kMenu);
    EXPECT_EQ(r.data.value(kKeyCount).toInt(), 0);
    EXPECT_TRUE(r.data.value(kKeyMessage).toString().contains("No feature found")) << r.data.value(kKeyMessage).toString().toStdString();
    EXPECT_TRUE(logs.contains("No feature found"));
    EXPECT_EQ(view->center(), centre);
    EXPECT_EQ(view->crossPoint(), cross);
    // Stepping with no results, and malformed searches, are refused.
    struct Case {
        QVariantMap data;
        const char* reason;
    };
    const Case cases[] = {{{{"Mode", "next"}}, "No search to step through"},
                          {{{"Mode", "colour"}}, "unknown search mode"},
                          {{{"Mode", "index"}, {"Index", -2}}, "Index"},
                          {{{"Mode", "index"}}, "Index"},
                          {{{"Mode", "attribute"}}, "Attribute"},
                          {{{"Mode", "symbol"}, {"Symbol", "  "}}, "Symbol"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reason);
        MessageRecorder bad;
        toView(kSearchFeature, c.data, kMenu);
        ASSERT_EQ(bad.withCode(kRefused).size(), 2u);
        EXPECT_TRUE(bad.withCode(kRefused)[1].data.value(kKeyMessage).toString().contains(c.reason));
        EXPECT_EQ(view->center(), centre);
    }
    // With the job closed there is nothing to search.
    deliver(PluginNames::JobList, PluginNames::GraphicView, 20001637, {{"JobName", ""}, {"Step", ""}});
    MessageRecorder closed;
    toView(kSearchFeature, {{"Mode", "index"}, {"Index", 0}}, kMenu);
    ASSERT_EQ(closed.withCode(kRefused).size(), 2u);
    EXPECT_TRUE(closed.withCode(kRefused)[1].data.value(kKeyMessage).toString().contains("no job is open"));
    EXPECT_TRUE(closed.withCode(kSearchResult).empty());
}

// ---- reachable from the menus ----------------------------------------------------------

class CoordinateMenus : public Coordinates {
protected:
    void SetUp() override {
        Coordinates::SetUp();
        actions = load(PluginNames::MenuBarActions);
    }
    // Picks a combo box entry by its text, typing it when the box is editable.
    static void choose(QDialog* dialog, const char* key, const QString& text) {
        auto* box = child<QComboBox>(dialog, key);
        ASSERT_TRUE(box);
        if (box->isEditable()) {
            type(box->lineEdit(), text);
            return;
        }
        const int index = box->findText(text);
        ASSERT_GE(index, 0) << text.toStdString();
        box->setCurrentIndex(index);
    }
    QWidget* actions = nullptr;
};

TEST_F(CoordinateMenus, FindFeatureAsksWithoutBlockingAndStepsThroughWhatItFound) {
    struct Case {
        const char* mode;
        const char* name;
        const char* value;
        int index;
        const char* layers;
        int count;
        QPointF first;
    };
    const Case cases[] = {
        {"attribute", ".net", "GND", 0, "top, bot", 3, {5 * kMm, 5 * kMm}},
        {"attribute", ".comp", "", 0, "", 1, {12 * kMm, 25 * kMm}},  // the work layer
        {"symbol", "r200", "", 0, "bot", 1, {20 * kMm, 10 * kMm}},
        {"index", "", "", 1, "top", 1, {30 * kMm, 20 * kMm}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.mode) + " " + c.name);
        MessageRecorder rec;
        action(actions, "findFeature")->trigger();
        auto* dialog = child<QDialog>(actions, "searchDialog");
        ASSERT_TRUE(dialog);
        choose(dialog, "Mode", c.mode);
        choose(dialog, "Attribute", c.name);
        choose(dialog, "Value", c.value);
        type(child<QSpinBox>(dialog, "Index"), QString::number(c.index));
        choose(dialog, "Layers", c.layers);
        pressOk(dialog);
        const auto asked = rec.withCode(kSearchFeature);
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(asked[0].sender, PluginNames::MenuBarActions);
        const auto found = rec.withCode(kSearchResult);
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0].receiver, PluginNames::MenuBarActions);
        EXPECT_EQ(found[0].data.value(kKeyCount).toInt(), c.count);
        EXPECT_EQ(view->crossPoint(), c.first);
    }
    // The last search found one feature: next stays on it. The panel lists the answers.
    action(actions, "findNext")->trigger();
    EXPECT_EQ(view->crossPoint(), QPointF(30 * kMm, 20 * kMm));
    auto* log = actions->findChild<QTreeWidget*>();
    ASSERT_TRUE(log);
    ASSERT_GE(log->topLevelItemCount(), 5);
    const QTreeWidgetItem* last = log->topLevelItem(log->topLevelItemCount() - 1);
    QStringList columns;
    for (int i = 0; i < last->columnCount(); ++i) columns << last->text(i);
    EXPECT_TRUE(columns.join(' ').contains("feature search")) << columns.join(' ').toStdString();
}

TEST_F(CoordinateMenus, TheCoordinatesMenuSetsTheOriginAndTheReadout) {
    struct Case {
        const char* action;
        bool hasOrigin;
        QPointF origin;
    };
    const Case cases[] = {{"originLowerLeft", true, {0, 0}},
                          {"originUpperRight", true, {40 * kMm, 30 * kMm}},
                          {"originProfileCentre", true, {20 * kMm, 15 * kMm}},
                          {"clearOrigin", false, {}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.action);
        action(panel, c.action)->trigger();
        EXPECT_EQ(view->hasRelativeOrigin(), c.hasOrigin);
        if (c.hasOrigin) {
            EXPECT_EQ(view->relativeOrigin(), c.origin);
        }
    }
    QAction* relative = action(panel, "relativeReadout");
    ASSERT_TRUE(relative && relative->isCheckable());
    relative->trigger();
    EXPECT_TRUE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    EXPECT_TRUE(child<QCheckBox>(panel, "relativeMode")->isChecked());
    relative->trigger();
    EXPECT_FALSE(TOLVA::UIAPI::getCoordinate(&host).relative_mode);
    // The operator's way into the entry: what is there is selected, ready to be typed over.
    auto* typedX = child<QLineEdit>(panel, "typedX");
    typedX->setText("12");
    typedX->deselect();
    action(panel, "goToCoordinate")->trigger();
    EXPECT_EQ(typedX->selectedText(), "12");
}

}  // namespace
