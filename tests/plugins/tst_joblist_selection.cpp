// Selection as the operator makes it: the select tool on the real view sends
// its requests to the job list, which selects in the kernel. Every check
// reads the selection back from the kernel.
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMouseEvent>
#include <QTreeWidget>
#include <cmath>
#include <cstdio>

#include "tst_joblist_fixture.h"

using namespace joblisttest;
using Tool = TOLVA::GRAPHIC::Graphic_ViewTool;

namespace {

using Indexes = std::set<int>;

class JobListSelection : public JobListFixture {
protected:
    void SetUp() override {
        JobListFixture::SetUp();
        if (HasFatalFailure()) return;
        bindJob();
        selectMode(20000202);
    }

    // Opens the select tool in the mode of a tool-bar request.
    void selectMode(qint32 code) {
        view->changeTool(Tool::NORMAL_TOOL);
        deliver(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        ASSERT_EQ(view->currentTool()->getType(), Tool::SELECT_TOOL);
    }
    QPoint pixel(double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return {px, py};
    }
    // Requests the view has sent the job list (its step box reports aside).
    int requests() const {
        int n = 0;
        for (const PluginMetaData& m : messages.to(PluginNames::JobList)) n += m.msgType != 10000601;
        return n;
    }
    // A click of `button` on a board point, waiting for the select tool's
    // delay; delivery is synchronous, so the request is carried out then.
    void click(double x, double y, Qt::MouseButton button = Qt::LeftButton) {
        const int before = requests();
        QTest::mouseClick(view, button, Qt::NoModifier, pixel(x, y));
        ASSERT_TRUE(QTest::qWaitFor([&] { return requests() > before; }, 2000)) << "no request sent";
    }
    void drag(double x1, double y1, double x2, double y2) {
        const int before = requests();
        const QPoint a = pixel(x1, y1), b = pixel(x2, y2);
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, a);
        QMouseEvent move(QEvent::MouseMove, b, view->mapToGlobal(b), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &move);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, b);
        ASSERT_GT(requests(), before);
    }
    void shift(bool down) {
        if (down) QTest::keyPress(view, Qt::Key_Shift);
        else QTest::keyRelease(view, Qt::Key_Shift);
    }
    void markAffected(const QString& layer) {
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, Qt::ControlModifier, cell(layer, 1).center());
    }
    int panelCount(const QString& layer) const { return row(layer)->text(3).toInt(); }
};

}  // namespace

TEST_F(JobListSelection, AClickSelectsExactlyTheFeatureUnderIt) {
    click(4e6, 4e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P1});
    EXPECT_TRUE(selectedOn("drill").empty()) << "the drill layer is shown but not affected";
    // Two pads on one spot: the later one in layer order is on top.
    click(16e6, 10e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P4}) << "without Shift the click replaces the selection";
    click(7e6, 10e6);
    EXPECT_EQ(selectedOn("top"), Indexes{L1});
    click(7e6, 7e6);
    EXPECT_TRUE(selectedOn("top").empty()) << "a click on nothing clears";
}

TEST_F(JobListSelection, ShiftAddsAndASecondClickToggles) {
    click(4e6, 4e6);
    shift(true);
    click(16e6, 4e6);
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, P2}));
    click(7e6, 10e6);
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, P2, L1}));
    click(16e6, 4e6);
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, L1})) << "a selected feature clicked again is unselected";
    shift(false);
    click(4e6, 4e6);
    EXPECT_TRUE(selectedOn("top").empty()) << "without Shift, clicking the selected feature leaves nothing";
    click(4e6, 4e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P1});
}

TEST_F(JobListSelection, AffectedLayersAreSelectedInToo) {
    markAffected("drill");
    click(4e6, 4e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P1}) << "the work layer comes first";
    EXPECT_TRUE(selectedOn("drill").empty());
    selectMode(20000203);
    drag(3e6, 3e6, 5e6, 5e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P1});
    EXPECT_EQ(selectedOn("drill"), Indexes{0});
    EXPECT_EQ(panelCount("drill"), 1);
    EXPECT_EQ(list->findChild<QLabel*>(QStringLiteral("selectedTotal"))->text(), QStringLiteral("Selected: 2"));
}

TEST_F(JobListSelection, AreaDragSelectsWhatTheBoxMeets) {
    selectMode(20000203);
    drag(3e6, 9e6, 11e6, 11e6);  // crosses L1 and the foot of L2
    EXPECT_EQ(selectedOn("top"), (Indexes{L1, L2}));
    EXPECT_EQ(panelCount("top"), 2);
    drag(15e6, 3e6, 17e6, 5e6);
    EXPECT_EQ(selectedOn("top"), Indexes{P2}) << "a new box replaces the selection";
    shift(true);
    drag(15e6, 9e6, 17e6, 11e6);
    shift(false);
    EXPECT_EQ(selectedOn("top"), (Indexes{P2, P3, P4}));
}

// Net modes pick the ".net" of the feature under the click.
TEST_F(JobListSelection, NetModesSelectByTheNetAttribute) {
    markAffected("l2");
    struct Case {
        qint32 mode;
        double x, y;
        Indexes top, l2, drill;
    };
    const Case cases[] = {
        {20000224, 7e6, 10e6, {P2, L1, L2}, {0}, {}},       // net: work and affected layers
        {20000244, 7e6, 10e6, {P2, L1, L2}, {}, {}},        // layer net: the work layer
        {20000245, 4e6, 4e6, {P1, L3}, {1}, {0}},           // board net: every board layer
        {20000224, 16e6, 10e6, {P4}, {}, {}},               // no net: the feature alone
    };
    for (const Case& c : cases) {
        TOLVA::API::clear_selected_features(kJob, kStep, "l2");
        TOLVA::API::clear_selected_features(kJob, kStep, "drill");
        selectMode(c.mode);
        click(c.x, c.y);
        EXPECT_EQ(selectedOn("top"), c.top) << c.mode;
        EXPECT_EQ(selectedOn("l2"), c.l2) << c.mode;
        EXPECT_EQ(selectedOn("drill"), c.drill) << c.mode;
    }
}

TEST_F(JobListSelection, PolylineFollowsJoinedLines) {
    selectMode(20000242);
    click(10e6, 13e6);  // on L2, joined to L1 at (10, 10)
    EXPECT_EQ(selectedOn("top"), (Indexes{L1, L2}));
    click(15e6, 16e6);  // L3 ends 3 mm from L2
    EXPECT_EQ(selectedOn("top"), Indexes{L3});
    click(4e6, 4e6);  // a pad is no path: selected alone
    EXPECT_EQ(selectedOn("top"), Indexes{P1});
}

// A middle click undoes what the mode's left click selects there.
TEST_F(JobListSelection, MiddleClickUnselectsByMode) {
    struct Case {
        qint32 mode;
        double x, y;
        Indexes left;
    };
    const Case cases[] = {
        {20000202, 4e6, 4e6, {P2, L1, L2, L3, P3, P4}},
        {20000224, 7e6, 10e6, {P1, L3, P3, P4}},
        {20000242, 7e6, 10e6, {P1, P2, L3, P3, P4}},
    };
    for (const Case& c : cases) {
        TOLVA::API::select_features(kJob, kStep, "top");
        selectMode(c.mode);
        click(c.x, c.y, Qt::MiddleButton);
        EXPECT_EQ(selectedOn("top"), c.left) << c.mode;
        const auto requests = messages.withCode(20001640);
        ASSERT_FALSE(requests.empty());
        EXPECT_EQ(requests.back().data.value("type").toInt(), c.mode);
    }
}

TEST_F(JobListSelection, InvertReverseAndClearAll) {
    click(4e6, 4e6);
    selectMode(20000215);
    click(16e6, 10e6);  // both pads there change state
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, P3, P4}));
    click(4e6, 4e6);
    EXPECT_EQ(selectedOn("top"), (Indexes{P3, P4}));
    int before = redraws();
    view->on_counterelection();
    ASSERT_EQ(redraws(), before + 1);
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, P2, L1, L2, L3}));
    TOLVA::API::select_feature_by_id(kJob, kStep, "l2", 1);
    testsupport::doubleClick(view, Qt::RightButton, pixel(7e6, 7e6));
    ASSERT_EQ(messages.withCode(20000421).size(), 1u);
    EXPECT_TRUE(selectedOn("top").empty());
    EXPECT_TRUE(selectedOn("l2").empty()) << "a double right click clears every layer";
}

TEST_F(JobListSelection, PolygonAndClipAreaRequests) {
    QVector<QPointF> triangle{{3e6, 3e6}, {17e6, 3e6}, {10e6, 11e6}};
    for (qint32 code : {20000223, 20002001}) {
        TOLVA::API::clear_selected_features(kJob, kStep, "top");
        toJobList(code, {}, &triangle);
        EXPECT_EQ(selectedOn("top"), (Indexes{P1, P2, L1, L2})) << code;
    }
    QVector<QPointF> two{{0, 0}, {1e6, 1e6}};
    toJobList(20000223, {}, &two);
    EXPECT_EQ(selectedOn("top"), (Indexes{P1, P2, L1, L2})) << "two points make no polygon";
}

// The select tool's withdraw restores the selection before each step, one
// step at a time.
TEST_F(JobListSelection, WithdrawRestoresThePreviousSelection) {
    click(4e6, 4e6);
    shift(true);
    click(16e6, 4e6);
    shift(false);
    click(7e6, 10e6);
    ASSERT_EQ(selectedOn("top"), Indexes{L1});
    const std::vector<Indexes> expected{{P1, P2}, {P1}, {}};
    for (const Indexes& e : expected) {
        const int before = redraws();
        view->delete_last_edit();
        ASSERT_EQ(messages.withCode(10000518).empty(), false);
        EXPECT_EQ(redraws(), before + 1);
        EXPECT_EQ(selectedOn("top"), e);
    }
    testsupport::LogCapture log;
    view->delete_last_edit();
    EXPECT_TRUE(log.contains("no selection step to withdraw"));
    EXPECT_TRUE(selectedOn("top").empty());
    toJobList(10000515);
    EXPECT_TRUE(log.contains("nothing to withdraw"));
}

// The delete requests on the work and affected layers: a box takes what it
// meets, a double click the topmost feature, "Selection" the selection; each
// is one undo step, and the selection steps recorded before cannot be
// withdrawn any more (their indices are gone).
TEST_F(JobListSelection, DeleteRequestsTakeFeaturesAsOneUndoStepEach) {
    using TOLVA::JOB::feature_count;
    markAffected("drill");
    click(7e6, 10e6);  // L1, a selection step to withdraw
    QRectF aroundP1(QPointF(3e6, 3e6), QSizeF(2e6, 2e6));
    int before = redraws();
    toJobList(20000403, {}, &aroundP1);
    EXPECT_EQ(redraws(), before + 1);
    EXPECT_EQ(feature_count(kJob, kStep, "top"), 6);
    EXPECT_EQ(feature_count(kJob, kStep, "drill"), 0) << "the affected drill layer loses its hole";
    EXPECT_EQ(feature_count(kJob, kStep, "l2"), 2) << "a layer outside the scope keeps its features";
    TOLVA::API::featureInfo first;
    ASSERT_TRUE(TOLVA::API::get_featureinfo_by_index(kJob, kStep, "top", 0, first));
    EXPECT_EQ(first.xs, 16e6) << "P2 is now the first feature";
    testsupport::LogCapture log;
    view->delete_last_edit();
    EXPECT_TRUE(log.contains("no selection step to withdraw"));

    QRectF onP4(QPointF(15.9e6, 9.9e6), QSizeF(0.2e6, 0.2e6));
    toJobList(20000404, {}, &onP4);
    EXPECT_EQ(feature_count(kJob, kStep, "top"), 5) << "only the topmost of the two pads there";
    ASSERT_TRUE(TOLVA::API::get_featureinfo_by_index(kJob, kStep, "top", 4, first));
    EXPECT_EQ(first.symbol, "r500") << "the larger pad below stays";

    click(7e6, 10e6);
    toJobList(20000403, {{"Selection", true}});
    EXPECT_EQ(feature_count(kJob, kStep, "top"), 4);
    EXPECT_TRUE(selectedOn("top").empty());

    for (int expected : {5, 6}) {
        ASSERT_TRUE(TOLVA::API::undo_last_edit(kJob));
        EXPECT_EQ(feature_count(kJob, kStep, "top"), expected);
    }
    ASSERT_TRUE(TOLVA::API::undo_last_edit(kJob));
    EXPECT_EQ(feature_count(kJob, kStep, "top"), 7);
    EXPECT_EQ(feature_count(kJob, kStep, "drill"), 1);
}

TEST_F(JobListSelection, HighlightNamesTheLayerUnderTheClick) {
    selectMode(20000227);
    click(12e6, 2e6);  // only l2 has a feature there, and l2 is hidden
    EXPECT_TRUE(toView(57).empty());
    int before = redraws();
    click(4e6, 4e6);
    ASSERT_EQ(toView(57).size(), 1u);
    EXPECT_EQ(toView(57)[0].data.value("highlight_layer").toString(), QStringLiteral("top"));
    EXPECT_EQ(redraws(), before + 1) << "the view is asked to show the highlight";
    before = redraws();
    click(4e6, 4e6, Qt::MiddleButton);
    ASSERT_EQ(toView(57).size(), 2u);
    EXPECT_EQ(redraws(), before + 1);
    EXPECT_EQ(toView(57)[1].data.value("highlight_layer").toString(), QString());
}

// Malformed requests change nothing and bring nothing down.
TEST_F(JobListSelection, MalformedRequestsChangeNothing) {
    click(4e6, 4e6);
    testsupport::LogCapture log;
    const int before = redraws();
    QRectF nan(QPointF(std::nan(""), 0), QSizeF(1, 1));
    QRectF box(QPointF(0, 0), QSizeF(20e6, 20e6));
    toJobList(20000401, {{"is_single_select", true}});              // no payload
    toJobList(20000203, {{"is_single_select", false}}, &nan);       // not finite
    toJobList(20001640, {{"type", "feature"}}, &box);               // no mode
    toJobList(20001640, {{"type", 20000203}}, &box);                // not an unselect mode
    toJobList(20000223);                                            // no points
    toJobList(20000403);                                            // a delete box without its box
    toJobList(20000404, {{"Selection", true}});                     // only the box request takes the selection
    toJobList(55555555);
    EXPECT_EQ(selectedOn("top"), Indexes{P1});
    EXPECT_EQ(redraws(), before);
    EXPECT_GE(log.count(google::GLOG_ERROR), 7);
    EXPECT_EQ(TOLVA::JOB::feature_count(kJob, kStep, "top"), 7) << "nothing was deleted";
    bindJob("", "");
    toJobList(20000203, {{"is_single_select", false}}, &box);
    toJobList(20001639);
    view->delete_last_edit();
    EXPECT_EQ(selectedOn("top"), Indexes{P1}) << "with no job open nothing is selected";
    EXPECT_TRUE(log.contains("no job is open"));
}

TEST_F(JobListSelection, TheViewsOwnSelectionChangesUpdateTheCounts) {
    TOLVA::API::select_features(kJob, kStep, "l2");
    EXPECT_EQ(panelCount("l2"), 0);
    toJobList(20001817);
    EXPECT_EQ(panelCount("l2"), 2);
    EXPECT_EQ(list->findChild<QLabel*>(QStringLiteral("selectedTotal"))->text(), QStringLiteral("Selected: 2"));
}

// Each selection call is journalled before it is made, so that replaying the
// journal on a cleared selection gives the operator's selection back.
TEST_F(JobListSelection, TheJournalReplaysToTheSameSelection) {
    const std::string path = (QDir::tempPath() + QStringLiteral("/joblist_selection.journal")).toStdString();
    std::remove(path.c_str());
    TOLVA::JOB::set_journal_path(kJob, path);
    TOLVA::DB::set_SaveFlag(true);
    click(4e6, 4e6);
    shift(true);
    click(7e6, 10e6);
    shift(false);
    view->on_counterelection();
    TOLVA::DB::set_SaveFlag(false);
    const Indexes made = selectedOn("top");
    ASSERT_EQ(made, (Indexes{P2, L2, L3, P3, P4}));
    TOLVA::API::clear_selected_features(kJob, kStep, "top");
    TOLVA::JOB::replay_journal(path);
    EXPECT_EQ(selectedOn("top"), made);
    std::remove(path.c_str());
}
