// The analysis loop through the real analysis menu, the real view, the real
// plug-in manager and the reference kernel: the operator runs the checks
// with limits, the results land in the table and on the board, the
// navigator steps through them in order and zooms to each, and bad limits,
// bad result lists and a cancelled run change nothing.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QSemaphore>
#include <QTableView>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtConcurrent>
#include <optional>

#include "../plugins/Graphic_MenuBar_Analysis/analysis_panel.h"
#include "AnalysisMessages.h"
#include "sibling_fixture.h"

using namespace siblings;
using namespace AnalysisMessages;
using TOLVA::ANALYSIS::AnalysisPanel;
using TOLVA::ANALYSIS::Limits;
using TOLVA::GRAPHIC::check_points;
using testsupport::ScopedJob;

namespace {

constexpr double kMm = 1e6;
constexpr double kUm = 1e3;

QVariantMap result(const char* check, const char* severity, double x, double y, double value = 50 * kUm) {
    return {{kKeyCheck, check}, {kKeySeverity, severity}, {kKeyValue, value}, {kKeyLimit, 100 * kUm},
            {kKeyLocation, "point"}, {kKeyX1, x}, {kKeyY1, y}};
}

class Analysis : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = static_cast<AnalysisPanel*>(load(PluginNames::MenuBarAnalysis));
        panel->setGeometry(0, 420, 900, 250);
        showHost();
        job.emplace("analysis_job", 40 * kMm, 30 * kMm, std::vector<std::string>{"top"});
        // Two round pads 0.3 mm apart centre to centre: a 100 µm gap.
        job->addPad("top", 5 * kMm, 5 * kMm, "r200");
        job->addPad("top", 5.3 * kMm, 5 * kMm, "r200");
        bind(job->name(), {}, "top");
        deliver(PluginNames::Coordinate, PluginNames::GraphicView, 20002200);  // the view takes the unit, "MM"
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    static Limits limits(double spacingError, double spacingWarning) {
        Limits l;
        for (const auto& k : TOLVA::ANALYSIS::checkKinds()) l.insert(QLatin1String(k.key), {k.error, k.warning});
        l.insert(QStringLiteral("spacing"), {spacingError, spacingWarning});
        return l;
    }
    void runAndWait(const Limits& l) {
        ASSERT_TRUE(panel->runChecks(l)) << panel->status().toStdString();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !panel->running(); }, 10000));
        QCoreApplication::processEvents();  // the finished signal
    }
    void sendResults(const QVariantList& results) {
        deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kResults, {{kKeyResults, results}});
    }
    void trigger(const char* name) { action(panel, name)->trigger(); }

    AnalysisPanel* panel = nullptr;
    std::optional<ScopedJob> job;
};

// Typed in the dialog in the display unit, run, listed, drawn, stepped to.
TEST_F(Analysis, TheOperatorRunsTheChecksAndStepsToTheSpacingViolation) {
    trigger("runChecks");
    auto* dialog = host.findChild<QDialog*>("checkLimits");
    ASSERT_TRUE(dialog);
    child<QDoubleSpinBox>(dialog, "spacing/error")->setValue(0.15);    // mm
    child<QDoubleSpinBox>(dialog, "spacing/warning")->setValue(0.2);
    pressOk(dialog);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !panel->running() && panel->table()->results().size() == 1; }, 10000))
        << panel->status().toStdString();
    const auto& r = panel->table()->results().front();
    EXPECT_EQ(r.check, "spacing");
    EXPECT_EQ(r.level, TOLVA::CHECKS::severity::ERROR);
    EXPECT_NEAR(r.value, 100 * kUm, 1);
    EXPECT_EQ(r.limit, 150 * kUm);
    ASSERT_EQ(view->checkPoints().size(), 1);
    EXPECT_EQ(view->checkPoints().front().shape, check_points::Points);
    EXPECT_EQ(view->currentCheckPosition(), -1) << "nothing is current before the first step";

    trigger("nextResult");
    EXPECT_EQ(view->currentCheckPosition(), 0);
    // The view centres on the gap and shows it with a margin, at least a millimetre.
    const auto box = view->transform().visibleBox();
    EXPECT_NEAR((box.minX + box.maxX) / 2, 5.15 * kMm, 0.01 * kMm);
    EXPECT_NEAR((box.minY + box.maxY) / 2, 5 * kMm, 0.01 * kMm);
    EXPECT_GE(std::min(box.maxX - box.minX, box.maxY - box.minY), 1 * kMm * 0.99);
    EXPECT_LE(std::min(box.maxX - box.minX, box.maxY - box.minY), 1.5 * kMm);
    EXPECT_TRUE(panel->status().startsWith("1/1 error spacing: 0.1000 mm (limit 0.1500 mm)")) << panel->status().toStdString();
    EXPECT_EQ(panel->table()->view()->selectionModel()->selectedRows().size(), 1);

    // Widening the gap below the limit and re-running: the count falls to zero.
    runAndWait(limits(50 * kUm, 60 * kUm));
    EXPECT_EQ(panel->table()->results().size(), 0u);
    EXPECT_TRUE(view->checkPoints().isEmpty());
}

// Spacing exactly at the limit breaks nothing; one nanometre more does.
TEST_F(Analysis, ALimitEqualToTheGapIsNoViolation) {
    runAndWait(limits(100 * kUm, 100 * kUm));
    EXPECT_EQ(panel->table()->results().size(), 0u) << panel->status().toStdString();
    runAndWait(limits(100 * kUm + 1, 100 * kUm + 1));
    EXPECT_EQ(panel->table()->results().size(), 1u);
}

// Errors first, then top to bottom, then left to right; previous before any
// step starts at the last; a double-clicked row becomes current.
TEST_F(Analysis, TheNavigatorStepsInSeverityThenReadingOrder) {
    sendResults({result("spacing", "warning", 1 * kMm, 9 * kMm),   // 0
                 result("spacing", "error", 8 * kMm, 2 * kMm),     // 1
                 result("spacing", "error", 2 * kMm, 2 * kMm),     // 2
                 result("line_width", "error", 5 * kMm, 7 * kMm),  // 3
                 result("pad_size", "warning", 3 * kMm, 9 * kMm)});
    const QList<int> order = {3, 2, 1, 0, 4};
    auto currentIndex = [&] { return view->checkPoints()[view->currentCheckPosition()].index; };
    QList<int> seen;
    for (int i = 0; i < 6; ++i) {
        trigger("nextResult");
        seen.append(currentIndex());
    }
    EXPECT_EQ(seen, order + QList<int>{3}) << "wraps after the last";
    trigger("previousResult");
    EXPECT_EQ(currentIndex(), 4) << "previous from the first is the last";

    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kGoTo, {{kKeyIndex, 1}});
    EXPECT_EQ(currentIndex(), 1);
    const auto before = view->transform();
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kGoTo, {{kKeyIndex, 9}});
    EXPECT_EQ(currentIndex(), 1) << "an unknown index changes nothing";
    EXPECT_EQ(view->transform(), before);
    EXPECT_TRUE(panel->status().contains("names no check result")) << panel->status().toStdString();
}

// A bad record is left out, a list of only bad records is refused and the
// shown results stay; stepping with nothing shown is refused.
TEST_F(Analysis, MalformedResultListsChangeNothingShown) {
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kNext);
    EXPECT_TRUE(panel->status().contains("run the checks first")) << panel->status().toStdString();

    QVariantMap noPoint = result("spacing", "error", 0, 0);
    noPoint.remove(kKeyX1);
    QVariantMap badSeverity = result("spacing", "fatal", 0, 0);
    QVariantMap nanValue = result("spacing", "error", 0, 0, std::nan(""));
    QVariantMap boxWithoutCorner = result("spacing", "error", 0, 0);
    boxWithoutCorner[kKeyLocation] = "box";
    sendResults({noPoint, result("spacing", "error", 1 * kMm, 1 * kMm), badSeverity, nanValue, boxWithoutCorner});
    ASSERT_EQ(view->checkPoints().size(), 1);
    EXPECT_EQ(view->checkPoints().front().index, 1);

    for (const QVariantList& bad : {QVariantList{noPoint}, QVariantList{QVariant(42)}}) {
        sendResults(bad);
        EXPECT_EQ(view->checkPoints().size(), 1) << "the shown results stay";
    }
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kResults, {{kKeyJob, "x"}});
    EXPECT_EQ(view->checkPoints().size(), 1);
    EXPECT_TRUE(panel->status().contains("no \"Results\" list")) << panel->status().toStdString();

    sendResults({});
    EXPECT_TRUE(view->checkPoints().isEmpty()) << "an empty list clears";
}

TEST_F(Analysis, BadLimitsAreRefusedBeforeAnyCheckRuns) {
    runAndWait(limits(150 * kUm, 200 * kUm));
    ASSERT_EQ(panel->table()->results().size(), 1u);
    for (const auto& bad : {std::make_pair(0.0, 1.0), std::make_pair(-5.0, 1.0), std::make_pair(std::nan(""), 1.0),
                            std::make_pair(200 * kUm, 100 * kUm)}) {
        EXPECT_FALSE(panel->runChecks(limits(bad.first, bad.second)));
        EXPECT_TRUE(panel->status().contains("Limits of spacing refused")) << panel->status().toStdString();
    }
    EXPECT_EQ(panel->table()->results().size(), 1u);
    EXPECT_EQ(view->checkPoints().size(), 1);
}

// The worker pool is held busy so that the run is cancelled before its first
// check, whatever the machine's speed.
TEST_F(Analysis, ACancelledRunLeavesThePreviousResults) {
    runAndWait(limits(150 * kUm, 200 * kUm));
    ASSERT_EQ(panel->table()->results().size(), 1u);
    QThreadPool* pool = QThreadPool::globalInstance();
    QSemaphore release;
    QList<QFuture<void>> blockers;
    for (int i = 0; i < pool->maxThreadCount(); ++i) blockers.append(QtConcurrent::run([&] { release.acquire(); }));
    ASSERT_TRUE(panel->runChecks(limits(50 * kUm, 60 * kUm)));
    panel->cancelRun();
    release.release(pool->maxThreadCount());
    for (QFuture<void>& f : blockers) f.waitForFinished();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !panel->running(); }, 10000));
    QCoreApplication::processEvents();
    EXPECT_TRUE(panel->status().contains("cancelled")) << panel->status().toStdString();
    EXPECT_EQ(panel->table()->results().size(), 1u);
    EXPECT_EQ(view->checkPoints().size(), 1);
}

// Numbers sort as numbers, the filter keeps one severity, and the CSV holds
// every result in nanometres with separators quoted.
TEST_F(Analysis, TheTableSortsFiltersAndExports) {
    std::vector<TOLVA::CHECKS::check_result> results(3);
    const double values[] = {10 * kMm, 2 * kMm, 3 * kMm};
    for (int i = 0; i < 3; ++i) {
        results[i].check = i == 2 ? "line_width" : "spacing";
        results[i].level = i == 1 ? TOLVA::CHECKS::severity::WARNING : TOLVA::CHECKS::severity::ERROR;
        results[i].value = values[i];
        results[i].limit = 20 * kMm;
        results[i].layers = {i == 0 ? "top,inner" : "top"};
        results[i].features = {{"top", i}};
        results[i].location.a = {1.5, -2};
    }
    auto* table = panel->table();
    table->setResults(results, "MM");
    table->view()->sortByColumn(TOLVA::ANALYSIS::ResultsTable::ValueColumn, Qt::AscendingOrder);
    EXPECT_EQ((QList<int>{table->resultAt(0), table->resultAt(1), table->resultAt(2)}), (QList<int>{1, 2, 0}));
    table->filter()->setCurrentIndex(2);  // warnings
    EXPECT_EQ(table->shownRows(), 1);
    EXPECT_EQ(table->resultAt(0), 1);
    table->filter()->setCurrentIndex(table->filter()->findText("line_width"));
    EXPECT_EQ(table->shownRows(), 1);
    EXPECT_EQ(table->resultAt(0), 2);

    QTemporaryDir dir;
    const QString path = dir.filePath("results.csv");
    ASSERT_TRUE(panel->exportCsv(path));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "check,severity,value_nm,limit_nm,layers,location,x1,y1,x2,y2,features");
    EXPECT_EQ(lines[1], "spacing,error,10000000,20000000,\"top,inner\",point,1.5,-2,0,0,top#0");
    EXPECT_EQ(lines[2], "spacing,warning,2000000,20000000,top,point,1.5,-2,0,0,top#1");
    EXPECT_FALSE(panel->exportCsv(dir.filePath("missing/dir/results.csv")));
    EXPECT_TRUE(panel->status().startsWith("Cannot write")) << panel->status().toStdString();
}

// On an empty board: the two closest points joined in the error colour,
// the ring of an annular ring about its hole.
TEST_F(Analysis, ResultsAreDrawnByKindInTheirSeverityColour) {
    view->areazoom(0, 0, 10 * kMm, 10 * kMm);
    QVariantMap gap = result("spacing", "error", 2 * kMm, 5 * kMm);
    gap[kKeyLocation] = "points";
    gap[kKeyX2] = 4 * kMm;
    gap[kKeyY2] = 5 * kMm;
    QVariantMap ring = result("annular_ring", "warning", 7 * kMm, 3 * kMm);
    ring[kKeyLocation] = "points";
    ring[kKeyX2] = 8 * kMm;
    ring[kKeyY2] = 3 * kMm;
    sendResults({gap, ring});
    const QImage img = view->grab().toImage();
    auto pixel = [&](double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return QColor(img.pixel(px, py));
    };
    EXPECT_EQ(pixel(3 * kMm, 5 * kMm), QColor(255, 64, 64)) << "the gap's middle";
    EXPECT_NE(pixel(3 * kMm, 5.5 * kMm), QColor(255, 64, 64));
    int onRing = 0;
    for (const QPointF& p : {QPointF(6 * kMm, 3 * kMm), QPointF(7 * kMm, 4 * kMm), QPointF(7 * kMm, 2 * kMm)})
        for (double d : {-0.05 * kMm, 0.0, 0.05 * kMm}) onRing += pixel(p.x() + d, p.y() + d) == QColor(255, 200, 0);
    EXPECT_GE(onRing, 3) << "the ring through the pad's nearest point, all round";
}

}  // namespace
