// The coordinate panel and the overview beside the real view: the cursor
// read-out agreeing with the view's own, the shared unit switch, typed
// coordinates in board units, and the overview's click moving the view.
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <algorithm>
#include <optional>

#include "sibling_fixture.h"

using namespace siblings;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;

namespace {

constexpr double kMm = 1e6;

// The two numbers of a read-out text ("X = 1.2345 ... Y = -0.5000 ...").
std::pair<QString, QString> numbersOf(const QString& text) {
    QRegularExpression re("X = (-?[0-9.]+).*Y = (-?[0-9.]+)", QRegularExpression::DotMatchesEverythingOption);
    const auto m = re.match(text);
    return {m.captured(1), m.captured(2)};
}

class Coordinates : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::Coordinate);
        panel->setGeometry(450, 0, 400, 200);
        showHost();
        job.emplace("coordinate_job", 30 * kMm, 20 * kMm, std::vector<std::string>{"top"});
        job->addPad("top", 5 * kMm, 5 * kMm, "r100");
        bind(job->name(), {"top"}, "top");
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    void chooseUnit(Qt::Key key) { QTest::keyClick(child<QComboBox>(panel, "unit"), key); }
    QWidget* panel = nullptr;
    std::optional<ScopedJob> job;
};

TEST_F(Coordinates, TheCursorReadoutAgreesWithTheViewsInBothUnits) {
    auto* readout = child<QLabel>(panel, "cursorReadout");
    ASSERT_TRUE(readout);
    struct Case {
        Qt::Key key;
        const char* unit;
        int decimals;
        QPoint at;
    };
    for (const Case& c : {Case{Qt::Key_Down, "inch", 5, QPoint(50, 60)}, Case{Qt::Key_Up, "mm", 4, QPoint(333, 250)},
                          Case{Qt::Key_Down, "inch", 5, QPoint(120, 10)}}) {
        SCOPED_TRACE(c.unit);
        chooseUnit(c.key);
        QTest::mouseMove(view, c.at);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !view->coordinateText().isEmpty(); }));
        const auto mine = numbersOf(readout->text());
        EXPECT_EQ(mine, numbersOf(view->coordinateText()));
        EXPECT_EQ(mine.first.section('.', 1).size(), c.decimals);
        EXPECT_TRUE(readout->text().endsWith(c.unit)) << readout->text().toStdString();
    }
}

TEST_F(Coordinates, TheUnitSwitchIsSharedAndAnnouncedToTheView) {
    MessageRecorder rec;
    chooseUnit(Qt::Key_Down);
    EXPECT_EQ(TOLVA::UIAPI::getUnitString(), "Inch");
    EXPECT_FALSE(view->Is_current_Unit_MM());
    chooseUnit(Qt::Key_Down);  // already the last entry: nothing changes, nothing is sent
    chooseUnit(Qt::Key_Up);
    EXPECT_EQ(TOLVA::UIAPI::getUnitString(), "MM");
    EXPECT_TRUE(view->Is_current_Unit_MM());
    const auto sent = rec.withCode(20002200);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].data.value("Unit").toString(), "Inch");
    EXPECT_EQ(sent[1].data.value("Unit").toString(), "MM");
}

TEST_F(Coordinates, ATypedPointGoesToTheViewInBoardUnitsThenTheEnter) {
    struct Case {
        Qt::Key unitKey;
        const char* x;
        const char* y;
        double xNm, yNm;
    };
    const Case cases[] = {{Qt::Key_Up, "1.5", "-2", 1.5 * kMm, -2 * kMm},
                          {Qt::Key_Up, "0.0003", "12.3456", 300, 12345600},
                          {Qt::Key_Down, "0.1", "-0.00007", 2540000, -1778}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.x) + " " + c.y);
        chooseUnit(c.unitKey);
        type(child<QLineEdit>(panel, "typedX"), c.x);
        type(child<QLineEdit>(panel, "typedY"), c.y);
        MessageRecorder rec;
        QTest::keyClick(child<QLineEdit>(panel, "typedY"), Qt::Key_Return);
        // The panel's two messages; the view, gone there, reports its new area to the job list.
        const auto toView = rec.to(PluginNames::GraphicView);
        ASSERT_EQ(toView.size(), 2u);
        EXPECT_EQ(toView[0].msgType, 20003201);
        EXPECT_EQ(toView[1].msgType, 20003202);
        for (const auto& msg : toView) {
            EXPECT_DOUBLE_EQ(msg.data.value("X").toDouble(), c.xNm);
            EXPECT_DOUBLE_EQ(msg.data.value("Y").toDouble(), c.yNm);
        }
        EXPECT_EQ(view->center(), QPointF(c.xNm, c.yNm));
    }
    MessageRecorder rec;
    type(child<QLineEdit>(panel, "typedX"), "abc");
    QTest::keyClick(child<QLineEdit>(panel, "typedX"), Qt::Key_Return);
    EXPECT_TRUE(rec.entries().empty());
    EXPECT_FALSE(child<QLabel>(panel, "message")->text().isEmpty());
    type(child<QLineEdit>(panel, "typedX"), "1");
    QTest::keyClick(child<QLineEdit>(panel, "typedX"), Qt::Key_Return);
    EXPECT_EQ(rec.to(PluginNames::GraphicView).size(), 2u);
    EXPECT_TRUE(child<QLabel>(panel, "message")->text().isEmpty());
}

TEST_F(Coordinates, TheStepRepeatPointIsShownAndOfferedForTyping) {
    view->forwardStepRepeatPointInfo(QPointF(2.5 * kMm, -1 * kMm));
    EXPECT_EQ(child<QLabel>(panel, "stepRepeatPoint")->text(),
              "Step-and-repeat point: X = 2.5000  Y = -1.0000  mm");
    EXPECT_EQ(child<QLineEdit>(panel, "typedX")->text(), "2.5000");
    EXPECT_EQ(child<QLineEdit>(panel, "typedY")->text(), "-1.0000");
    chooseUnit(Qt::Key_Down);
    EXPECT_EQ(child<QLineEdit>(panel, "typedX")->text(), "0.09843");
    deliver(PluginNames::GraphicView, PluginNames::Coordinate, 20003205, {{"X", "east"}});
    EXPECT_EQ(child<QLineEdit>(panel, "typedX")->text(), "0.09843");
}

// ---- the overview --------------------------------------------------------------

class Overview : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        map = load(PluginNames::MiniMap);
        map->setGeometry(450, 0, 300, 300);
        showHost();
        job.emplace("overview_job", 40 * kMm, 20 * kMm, std::vector<std::string>{"top", "bot"});
        job->addPad("top", 5 * kMm, 5 * kMm, "r100");
        job->addPad("top", 35 * kMm, 15 * kMm, "r100");
        job->addLine("bot", 1 * kMm, 1 * kMm, 39 * kMm, 1 * kMm, "r100");
        bind(job->name(), {"top", "bot"}, "top");
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    QRectF visible() const { return map->property("visibleArea").toRectF(); }
    QWidget* map = nullptr;
    std::optional<ScopedJob> job;
};

TEST_F(Overview, TheStepIsReadOnceAndTheViewsAreaFollowed) {
    EXPECT_EQ(map->property("featureCount").toInt(), 3);
    ASSERT_FALSE(visible().isEmpty());
    view->areazoom(10 * kMm, 5 * kMm, 20 * kMm, 10 * kMm);
    const QRectF after = visible();
    EXPECT_NEAR(after.center().x(), 15 * kMm, 0.01 * kMm);
    EXPECT_NEAR(after.center().y(), 7.5 * kMm, 0.01 * kMm);
    QTest::mouseMove(view, QPoint(100, 100));
    const QPointF cursor = map->property("cursorPoint").toPointF();
    EXPECT_EQ(cursor, view->toBoard(QPoint(100, 100)));
}

// A click sends the view a box of the visible size centred where it
// landed; right of and above the middle mean larger x and larger y.
TEST_F(Overview, AClickMovesTheViewsAreaThere) {
    view->areazoom(10 * kMm, 5 * kMm, 20 * kMm, 10 * kMm);
    const QSizeF size = visible().size();
    struct Case {
        QPoint at;
        int xSign, ySign;
    };
    const QPoint middle(150, 150);
    QPointF previousCentre;
    for (const Case& c : {Case{middle, 0, 0}, Case{middle + QPoint(60, 0), 1, 0}, Case{middle + QPoint(0, -40), 0, 1},
                          Case{middle + QPoint(-50, 30), -1, -1}}) {
        SCOPED_TRACE(c.at.x() * 1000 + c.at.y());
        MessageRecorder rec;
        QTest::mouseClick(map, Qt::LeftButton, Qt::NoModifier, c.at);
        const auto sent = rec.withCode(20000264);
        ASSERT_EQ(sent.size(), 1u);
        const QRectF box(QPointF(sent[0].data.value("xmin").toDouble(), sent[0].data.value("ymin").toDouble()),
                         QPointF(sent[0].data.value("xmax").toDouble(), sent[0].data.value("ymax").toDouble()));
        EXPECT_NEAR(box.width(), size.width(), 1.0);
        EXPECT_NEAR(box.height(), size.height(), 1.0);
        const QPointF centre = box.center();
        if (c.xSign == 0 && c.ySign == 0) {
            EXPECT_NEAR(centre.x(), 20 * kMm, 1.0);  // the middle of the board
            EXPECT_NEAR(centre.y(), 10 * kMm, 1.0);
        }
        if (c.xSign) {
            EXPECT_EQ(centre.x() > 20 * kMm, c.xSign > 0);
        }
        if (c.ySign) {
            EXPECT_EQ(centre.y() > 10 * kMm, c.ySign > 0);
        }
        // The view went there and reported it back.
        EXPECT_NEAR(visible().center().x(), centre.x(), 0.01 * size.width());
        EXPECT_NEAR(visible().center().y(), centre.y(), 0.01 * size.height());
    }
}

// The picture: the board fits the widget with a 5% margin (44 x 24 mm into
// 300 x 300 pixels); cells are shaded by how many features they hold, the
// fullest at full strength, and the profile is outlined.
TEST_F(Overview, ThePictureShadesCellsByDensityAndOutlinesTheProfile) {
    for (int i = 0; i < 3; ++i) job->addPad("bot", 35 * kMm, 15 * kMm, "r100");
    deliver(PluginNames::GraphicEditor, PluginNames::MiniMap, 20001637,
            {{"JobName", QString::fromStdString(job->name())}, {"Step", ScopedJob::kStep}});
    ASSERT_EQ(map->property("featureCount").toInt(), 6);
    view->areazoom(0, 0, 1, 1);  // a frame too small to cover any pixel checked below
    const double s = 300.0 / 44;
    auto pixel = [&](double xMm, double yMm) {
        const QImage image = map->grab().toImage();
        return image.pixelColor(int(150 + (xMm - 20) * s), int(150 - (yMm - 10) * s));
    };
    const QColor background(20, 20, 28);
    // Points inside the grid cells of the pads at (35, 15) and (5, 5).
    EXPECT_EQ(pixel(35.3, 15.15), QColor(90, 170, 255));  // four features: the fullest cell
    const QColor sparse = pixel(5.3, 5.15);                // one feature
    EXPECT_NE(sparse, background);
    EXPECT_LT(sparse.blue(), 255);
    EXPECT_EQ(pixel(20, 15), background);  // inside the board, no feature
    EXPECT_EQ(pixel(-1, 10), background);  // in the margin
    const QImage image = map->grab().toImage();
    bool edge = false;  // the left edge of the profile, within a pixel
    for (int x = int(150 - 20 * s) - 1; x <= int(150 - 20 * s) + 1; ++x)
        edge = edge || image.pixelColor(x, 150) == QColor(230, 230, 230);
    EXPECT_TRUE(edge);
}

TEST_F(Overview, ADragMovesTheViewOnceWhereItEnds) {
    MessageRecorder rec;
    QTest::mousePress(map, Qt::LeftButton, Qt::NoModifier, QPoint(100, 150));
    QMouseEvent move(QEvent::MouseMove, QPointF(200, 150), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(map, &move);
    EXPECT_TRUE(rec.withCode(20000264).empty());
    QTest::mouseRelease(map, Qt::LeftButton, Qt::NoModifier, QPoint(200, 150));
    EXPECT_EQ(rec.withCode(20000264).size(), 1u);
}

TEST_F(Overview, MalformedReportsChangeNothing) {
    const QRectF before = visible();
    deliver(PluginNames::JobList, PluginNames::MiniMap, 10000601, {{"xmin", 1}, {"ymin", "low"}});
    deliver(PluginNames::GraphicView, PluginNames::MiniMap, 10000000, {{"x", 5}});
    // Only the view's area report moves the frame, whoever else carries a box.
    deliver(PluginNames::GraphicView, PluginNames::JobList, 10000602,
            {{"xmin", 0}, {"ymin", 0}, {"xmax", 1}, {"ymax", 1}});
    EXPECT_EQ(visible(), before);
    deliver(PluginNames::JobList, PluginNames::MiniMap, 10000601,
            {{"xmin", 4 * kMm}, {"ymin", 3 * kMm}, {"xmax", 2 * kMm}, {"ymax", 1 * kMm}});
    EXPECT_EQ(visible(), QRectF(QPointF(2 * kMm, 1 * kMm), QPointF(4 * kMm, 3 * kMm)));
    // A closed job leaves an empty overview that ignores clicks.
    deliver(PluginNames::GraphicEditor, PluginNames::MiniMap, 20001637, {{"JobName", ""}, {"Step", ""}});
    EXPECT_EQ(map->property("featureCount").toInt(), 0);
    MessageRecorder rec;
    QTest::mouseClick(map, Qt::LeftButton, Qt::NoModifier, QPoint(150, 150));
    EXPECT_TRUE(rec.withCode(20000264).empty());
}

}  // namespace
