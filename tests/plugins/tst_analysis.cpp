// The analysis loop through the real analysis menu, the real view, the real
// plug-in manager and the reference kernel: the operator runs the checks
// with limits, the results land in the table and on the board, the
// navigator steps through them in order and zooms to each, and bad limits,
// bad result lists and a cancelled run change nothing.
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QHeaderView>
#include <QProgressDialog>
#include <QRegularExpression>
#include <QSemaphore>
#include <QSettings>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtConcurrent>
#include <cmath>
#include <optional>

#include "AnalysisMessages.h"
#include "plugin_widgets.h"
#include "sibling_fixture.h"

using namespace siblings;
using namespace AnalysisMessages;
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
        // Limits are remembered between runs: each test starts from the
        // defaults, in settings of this process alone.
        static QTemporaryDir settingsDir;
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDir.path());
        QCoreApplication::setOrganizationName("tolva-tests");
        QCoreApplication::setApplicationName("tst_analysis");
        QSettings().clear();
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::MenuBarAnalysis);
        panel->setGeometry(0, 420, 900, 250);
        showHost();
        job.emplace("analysis_job", 40 * kMm, 30 * kMm, std::vector<std::string>{"top"});
        // Two round pads 0.3 mm apart centre to centre: a 100 µm gap.
        job->addPad("top", 5 * kMm, 5 * kMm, "r200");
        job->addPad("top", 5.3 * kMm, 5 * kMm, "r200");
        bind(job->name(), {"top"}, "top");
        deliver(PluginNames::Coordinate, PluginNames::GraphicView, 20002200);  // the view takes the unit, "MM"
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    // Opens "Run Checks...", types the spacing limits in millimetres and
    // presses OK, as the operator does.
    void startRun(double spacingError, double spacingWarning) {
        trigger("runChecks");
        auto* dialog = host.findChild<QDialog*>("checkLimits");
        ASSERT_TRUE(dialog);
        child<QDoubleSpinBox>(dialog, "spacing/error")->setValue(spacingError);
        child<QDoubleSpinBox>(dialog, "spacing/warning")->setValue(spacingWarning);
        pressOk(dialog);
    }
    // A run to its end: the status line gives the count.
    void run(double spacingError, double spacingWarning) {
        startRun(spacingError, spacingWarning);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !panel->property("tolvaBusy").toBool() && status().contains(" results: "); },
                                    10000))
            << status().toStdString();
    }
    QString status() { return child<QLabel>(panel, "analysisStatus")->text(); }
    QTableView* table() { return child<QTableView>(panel, "resultsView"); }
    int rows() { return table()->model()->rowCount(); }
    QString cell(int row, int column) { return table()->model()->index(row, column).data().toString(); }
    void sendResults(const QVariantList& results, const QString& to = PluginNames::GraphicView) {
        deliver(PluginNames::MenuBarAnalysis, to, kResults, {{kKeyResults, results}});
    }
    void trigger(const char* name) { action(panel, name)->trigger(); }

    QWidget* panel = nullptr;
    std::optional<ScopedJob> job;
};

// Typed in the dialog in the display unit, run, listed, drawn, stepped to.
TEST_F(Analysis, TheOperatorRunsTheChecksAndStepsToTheSpacingViolation) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1) << status().toStdString();
    EXPECT_EQ(cell(0, 0), "spacing");
    EXPECT_EQ(cell(0, 1), "error");
    EXPECT_EQ(cell(0, 2), "0.1000");
    EXPECT_EQ(cell(0, 3), "0.1500");
    EXPECT_EQ(cell(0, 4), "top");
    ASSERT_EQ(view->checkPoints().size(), 1);
    EXPECT_EQ(view->checkPoints().front().shape, check_points::Points);
    EXPECT_NEAR(view->checkPoints().front().value, 100 * kUm, 1);
    EXPECT_EQ(view->currentCheckPosition(), -1) << "nothing is current before the first step";

    trigger("nextResult");
    EXPECT_EQ(view->currentCheckPosition(), 0);
    // The view centres on the gap and shows it with a margin, at least a millimetre.
    const auto box = view->transform().visibleBox();
    EXPECT_NEAR((box.minX + box.maxX) / 2, 5.15 * kMm, 0.01 * kMm);
    EXPECT_NEAR((box.minY + box.maxY) / 2, 5 * kMm, 0.01 * kMm);
    EXPECT_GE(std::min(box.maxX - box.minX, box.maxY - box.minY), 1 * kMm * 0.99);
    EXPECT_LE(std::min(box.maxX - box.minX, box.maxY - box.minY), 1.5 * kMm);
    EXPECT_TRUE(status().startsWith("1/1 error spacing: 0.1000 mm (limit 0.1500 mm)")) << status().toStdString();
    EXPECT_EQ(table()->selectionModel()->selectedRows().size(), 1);
    view->areazoom(20 * kMm, 20 * kMm, 30 * kMm, 30 * kMm);
    trigger("zoomResult");
    EXPECT_EQ(view->transform().visibleBox().minX, box.minX) << "Zoom to Result goes back to it";

    // Limits the gap meets: the count falls to zero, the board is clear.
    run(0.05, 0.06);
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(view->checkPoints().isEmpty());
}

// A mask belongs to the copper layer beside it in the matrix; nets are
// checked across the copper layers: two nets touching are a short.
TEST_F(Analysis, MasksPairWithTheNearestCopperAndNetsAreChecked) {
    for (const auto& layer : {std::make_pair("smt", "solder_mask"), std::make_pair("bottom", "signal"),
                              std::make_pair("smb", "solder_mask")})
        TOLVA::JOB::add_layer(job->name(), layer.first, "board", layer.second, "positive");
    int symbol = -1;
    TOLVA::API::create_new_symbol(job->name(), ScopedJob::kStep, "bottom", "r200", symbol);
    for (const auto& pad : {std::make_pair(20.0, "A"), std::make_pair(20.1, "B")})
        TOLVA::API::AddFeature(job->name(), ScopedJob::kStep, {"bottom"},
                               {{"bottom", TOLVA::API::GreatePadString(pad.first * kMm, 20 * kMm, symbol,
                                                                       TOLVA::API::POL_POSITIVE, 0, 0, 1)}},
                               {{".net", pad.second}}, false);
    bind(job->name(), {"top"}, "top");
    run(0.15, 0.2);
    QStringList found;
    for (int row = 0; row < rows(); ++row) found.append(cell(row, 0) + " " + cell(row, 4));
    EXPECT_TRUE(found.contains("missing_mask_opening top|smt")) << found.join(", ").toStdString();
    EXPECT_TRUE(found.contains("missing_mask_opening bottom|smb")) << found.join(", ").toStdString();
    EXPECT_FALSE(found.filter("missing_mask_opening top|smb").size()) << "smb is beside bottom";
    EXPECT_EQ(found.filter(QRegularExpression("^short ")).size(), 1) << found.join(", ").toStdString();
    auto* header = table()->horizontalHeader();
    EXPECT_EQ(table()->model()->headerData(0, Qt::Horizontal).toString(), "Check");
    EXPECT_EQ(header->count(), 7);
}

// The dialog opens with the limits of the last run.
TEST_F(Analysis, TheLimitsAreRememberedBetweenRuns) {
    run(0.15, 0.2);
    trigger("runChecks");
    auto* dialog = host.findChild<QDialog*>("checkLimits");
    ASSERT_TRUE(dialog);
    EXPECT_DOUBLE_EQ(child<QDoubleSpinBox>(dialog, "spacing/error")->value(), 0.15);
    EXPECT_DOUBLE_EQ(child<QDoubleSpinBox>(dialog, "spacing/warning")->value(), 0.2);
    EXPECT_DOUBLE_EQ(child<QDoubleSpinBox>(dialog, "pad_size/error")->value(), 0.15) << "the default";
    dialog->reject();
}

// Spacing exactly at the limit breaks nothing; one nanometre more does.
TEST_F(Analysis, ALimitEqualToTheGapIsNoViolation) {
    run(0.1, 0.1);
    EXPECT_EQ(rows(), 0) << status().toStdString();
    run(0.1001, 0.1001);
    EXPECT_EQ(rows(), 1);
}

// Errors first, then top to bottom, then left to right; previous before any
// step starts at the last; a double-clicked row becomes current.
TEST_F(Analysis, TheNavigatorStepsInSeverityThenReadingOrder) {
    sendResults({result("spacing", "warning", 1 * kMm, 9 * kMm),   // 0
                 result("spacing", "error", 8 * kMm, 2 * kMm),     // 1
                 result("spacing", "error", 2 * kMm, 2 * kMm),     // 2
                 result("line_width", "error", 5 * kMm, 7 * kMm),  // 3
                 result("pad_size", "warning", 3 * kMm, 9 * kMm),    // 4
                 result("spacing", "error", 2 * kMm, 2 * kMm),     // 5, where 2 is: after it
                 result("spacing", "error", 2 * kMm, 2 * kMm)});   // 6
    const QList<int> order = {3, 2, 5, 6, 1, 0, 4};
    auto currentIndex = [&] { return view->checkPoints()[view->currentCheckPosition()].index; };
    QList<int> seen;
    for (int i = 0; i < 8; ++i) {
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
    EXPECT_TRUE(status().contains("names no check result")) << status().toStdString();
}

// The table's double click goes to that result on the board.
TEST_F(Analysis, ADoubleClickedRowBecomesTheCurrentResult) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1);
    const QRect cellRect = table()->visualRect(table()->model()->index(0, 0));
    QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, cellRect.center());
    QTest::mouseDClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier, cellRect.center());
    EXPECT_EQ(view->currentCheckPosition(), 0);
    EXPECT_TRUE(status().startsWith("1/1 error spacing")) << status().toStdString();
}

// A bad record is left out, a list of only bad records is refused and the
// shown results stay; stepping with nothing shown is refused.
TEST_F(Analysis, MalformedResultListsChangeNothingShown) {
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kNext);
    EXPECT_TRUE(status().contains("run the checks first")) << status().toStdString();

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
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kResults, {{kKeyResults, 42}});
    EXPECT_EQ(view->checkPoints().size(), 1) << "\"Results\" that is not a list";
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kResults, {{kKeyJob, "x"}});
    EXPECT_EQ(view->checkPoints().size(), 1);
    EXPECT_TRUE(status().contains("no \"Results\" list")) << status().toStdString();

    sendResults({});
    EXPECT_TRUE(view->checkPoints().isEmpty()) << "an empty list clears";
}

TEST_F(Analysis, BadLimitsAreRefusedBeforeAnyCheckRuns) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1);
    for (const auto& bad : {std::make_pair(0.0, 1.0), std::make_pair(-5.0, 1.0), std::make_pair(0.2, 0.1)}) {
        startRun(bad.first, bad.second);
        EXPECT_TRUE(status().contains("Limits of spacing refused")) << status().toStdString();
    }
    EXPECT_EQ(rows(), 1);
    EXPECT_EQ(view->checkPoints().size(), 1);
}

// The worker pool is held busy so that the run is cancelled before its first
// check, whatever the machine's speed.
TEST_F(Analysis, ACancelledRunLeavesThePreviousResults) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1);
    QThreadPool* pool = QThreadPool::globalInstance();
    QSemaphore release;
    QList<QFuture<void>> blockers;
    for (int i = 0; i < pool->maxThreadCount(); ++i) blockers.append(QtConcurrent::run([&] { release.acquire(); }));
    startRun(0.05, 0.06);
    auto* progress = host.findChild<QProgressDialog*>("checksProgress");
    ASSERT_TRUE(progress);
    auto* cancel = progress->findChild<QPushButton*>();
    ASSERT_TRUE(cancel);
    cancel->click();
    release.release(pool->maxThreadCount());
    for (QFuture<void>& f : blockers) f.waitForFinished();
    ASSERT_TRUE(QTest::qWaitFor([&] { return status().contains("cancelled"); }, 10000)) << status().toStdString();
    EXPECT_EQ(rows(), 1);
    EXPECT_EQ(view->checkPoints().size(), 1);
}

// Numbers sort as numbers, the filter keeps one severity or one check, and
// the CSV holds every result in nanometres with separators quoted.
TEST_F(Analysis, TheTableSortsFiltersAndExports) {
    QVariantMap a = result("spacing", "error", 1.5, -2, 10 * kMm), b = result("spacing", "warning", 1.5, -2, 2 * kMm),
                c = result("line_width", "error", 1.5, -2, 3 * kMm);
    a[kKeyLayers] = QStringList{"top,inner"};
    a[kKeyFeatures] = QVariantList{QVariantMap{{kKeyLayer, "top"}, {kKeyIndex, 0}}};
    sendResults({a, b, c}, PluginNames::MenuBarAnalysis);
    table()->sortByColumn(2, Qt::AscendingOrder);
    EXPECT_EQ((QStringList{cell(0, 2), cell(1, 2), cell(2, 2)}), (QStringList{"2.0000", "3.0000", "10.0000"}));
    auto* filter = child<QComboBox>(panel, "resultsFilter");
    filter->setCurrentIndex(2);  // warnings
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(cell(0, 1), "warning");
    filter->setCurrentIndex(filter->findText("line_width"));
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(cell(0, 0), "line_width");
    filter->setCurrentIndex(0);
    EXPECT_EQ(rows(), 3);

    QTemporaryDir dir;
    auto exportTo = [&](const QString& path) {
        trigger("exportResults");
        auto* dialog = host.findChild<QDialog*>("exportResults");
        ASSERT_TRUE(dialog);
        child<QComboBox>(dialog, "path")->setEditText(path);
        pressOk(dialog);
    };
    exportTo(dir.filePath("results.csv"));
    QFile file(dir.filePath("results.csv"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << status().toStdString();
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "check,severity,value_nm,limit_nm,layers,location,x1,y1,x2,y2,features");
    EXPECT_EQ(lines[1], "spacing,error,10000000,100000,\"top,inner\",point,1.5,-2,0,0,top#0");
    EXPECT_EQ(lines[2], "spacing,warning,2000000,100000,,point,1.5,-2,0,0,");
    exportTo(dir.filePath("missing/dir/results.csv"));
    EXPECT_TRUE(status().startsWith("Cannot write")) << status().toStdString();
}

// On an empty board: the two closest points joined in the error colour,
// the ring of an annular ring about its hole.
TEST_F(Analysis, ResultsAreDrawnByKindInTheirSeverityColour) {
    bind(job->name(), {}, "top");
    view->areazoom(0, 0, 10 * kMm, 10 * kMm);
    QVariantMap gap = result("spacing", "error", 2 * kMm, 5 * kMm);
    gap[kKeyLocation] = "points";
    gap[kKeyX2] = 4 * kMm;
    gap[kKeyY2] = 5 * kMm;
    QVariantMap ring = result("annular_ring", "warning", 7 * kMm, 3 * kMm);
    ring[kKeyLocation] = "points";
    ring[kKeyX2] = 8 * kMm;
    ring[kKeyY2] = 3 * kMm;
    QVariantMap longGap = result("spacing", "error", 1 * kMm, 8 * kMm);  // runs far out of the window
    longGap[kKeyLocation] = "points";
    longGap[kKeyX2] = 100 * kMm;
    longGap[kKeyY2] = 8 * kMm;
    sendResults({gap, ring, longGap});
    const QImage img = view->grab().toImage();
    auto pixel = [&](double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return QColor(img.pixel(px, py));
    };
    EXPECT_EQ(pixel(3 * kMm, 5 * kMm), QColor(255, 64, 64)) << "the gap's middle";
    EXPECT_NE(pixel(3 * kMm, 5.5 * kMm), QColor(255, 64, 64));
    EXPECT_EQ(pixel(2 * kMm, 8 * kMm), QColor(255, 64, 64)) << "a gap with one end outside the window";
    int onRing = 0;
    for (const QPointF& p : {QPointF(6 * kMm, 3 * kMm), QPointF(7 * kMm, 4 * kMm), QPointF(7 * kMm, 2 * kMm)})
        for (double d : {-0.05 * kMm, 0.0, 0.05 * kMm}) onRing += pixel(p.x() + d, p.y() + d) == QColor(255, 200, 0);
    EXPECT_GE(onRing, 3) << "the ring through the pad's nearest point, all round";
    for (int i = 0; i < 3; ++i) trigger("nextResult");  // the two errors, then the ring
    const auto box = view->transform().visibleBox();
    EXPECT_NEAR((box.minX + box.maxX) / 2, 7 * kMm, 0.01 * kMm) << "centred on the hole";
    EXPECT_NEAR((box.minY + box.maxY) / 2, 3 * kMm, 0.01 * kMm);
    EXPECT_GE(box.maxX - box.minX, 8 * kMm * 0.99) << "four times the ring's 2 mm";
}

// A layer against itself shows nothing; against a copy moved by 10 µm,
// both edges, in the two colours, listed back in the menu's table.
TEST_F(Analysis, ComparingLayersShowsTheAreasEachHasAlone) {
    TOLVA::JOB::add_layer(job->name(), "moved", "board", "signal", "positive");
    job->addPad("moved", 5 * kMm, 5 * kMm, "r200");
    job->addPad("moved", 5.31 * kMm, 5 * kMm, "r200");
    auto compare = [&](const char* second) {
        deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kLayerCompare,
                {{kKeyLayer1, "top"}, {kKeyLayer2, second}});
    };
    // Through the menu's dialog, with its default tolerance of a micrometre.
    trigger("compareLayers");
    auto* dialog = host.findChild<QDialog*>("compareLayers");
    ASSERT_TRUE(dialog);
    child<QComboBox>(dialog, "Layer2")->setEditText("moved");
    pressOk(dialog);
    EXPECT_EQ(view->compareAreas(0).size(), 1);
    compare("top");
    EXPECT_TRUE(view->compareAreas(0).isEmpty());
    EXPECT_TRUE(view->compareAreas(1).isEmpty());
    EXPECT_EQ(rows(), 0);
    compare("moved");
    EXPECT_EQ(view->compareAreas(0).size(), 1) << "the left edge, in top only";
    EXPECT_EQ(view->compareAreas(1).size(), 1) << "the right edge, in the moved copy only";
    EXPECT_EQ(rows(), 2);
    EXPECT_EQ(view->checkPoints().size(), 2);
    EXPECT_TRUE(status().startsWith("top against moved")) << status().toStdString();
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kLayerCompare, {{kKeyLayer1, "top"}});
    EXPECT_EQ(view->compareAreas(0).size(), 1) << "a request without the second layer changes nothing";
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kLayerCompare, {{kKeyClear, true}});
    EXPECT_TRUE(view->compareAreas(0).isEmpty());
}

// The results of a run come back with the job; a duplicate hole removed by
// the DFM menu is listed on the view and undone whole.
TEST_F(Analysis, ResultsStayWithTheJobAndRepairsReachTheView) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1);
    sendResults({}, PluginNames::MenuBarAnalysis);
    ASSERT_EQ(rows(), 0);
    bind(job->name(), {"top"}, "top");
    EXPECT_EQ(rows(), 1) << "read back from the job";

    QWidget* dfm = load(PluginNames::MenuBarDFM);
    action(dfm, "removeDuplicateHoles")->trigger();
    EXPECT_EQ(child<QLabel>(dfm, "dfmStatus")->text(), "No job is open");
    bind(job->name(), {"top"}, "top");
    action(dfm, "removeDuplicateHoles")->trigger();
    EXPECT_EQ(child<QLabel>(dfm, "dfmStatus")->text(), "Nothing to repair: no drill layer");
    TOLVA::JOB::add_layer(job->name(), "drill", "board", "drill", "positive");
    for (int i = 0; i < 2; ++i) job->addPad("drill", 10 * kMm, 10 * kMm, "r300");
    bind(job->name(), {"top"}, "top");
    action(dfm, "removeDuplicateHoles")->trigger();
    EXPECT_EQ(TOLVA::JOB::feature_count(job->name(), ScopedJob::kStep, "drill"), 1);
    ASSERT_EQ(view->checkPoints().size(), 1);
    EXPECT_EQ(view->checkPoints().front().check, "duplicate_hole_removed");
    EXPECT_EQ(child<QLabel>(dfm, "dfmStatus")->text(), "Duplicate holes: 1 changed, 0 left for the operator");
    ASSERT_TRUE(TOLVA::API::undo_last_edit(job->name()));
    EXPECT_EQ(TOLVA::JOB::feature_count(job->name(), ScopedJob::kStep, "drill"), 2);
    // The feature attributes the view forwards while a DFM check is open are listed.
    auto* log = child<TOLVA::PLUGIN::MessageLog>(dfm, "messageLog");
    for (const qint32 code : {20001807, 20001828}) deliver(PluginNames::GraphicView, PluginNames::MenuBarDFM, code);
    ASSERT_EQ(log->topLevelItemCount(), 2);
    EXPECT_EQ(log->rowText(0).mid(0, 2), (QStringList{"20001807", "feature attributes"}));
    EXPECT_EQ(log->rowText(1).mid(0, 2), (QStringList{"20001828", "feature attributes"}));
}

// The net of a result's feature is highlighted: the two pads of the gap are
// apart, so only the first is selected; a trace joining them makes it both.
TEST_F(Analysis, TheNetOfAResultIsHighlighted) {
    run(0.15, 0.2);
    ASSERT_EQ(rows(), 1);
    trigger("showNet");
    EXPECT_TRUE(status().contains("Select a result")) << status().toStdString();
    table()->selectRow(0);
    auto selected = [&] {
        std::vector<TOLVA::API::featureInfo> list;
        TOLVA::API::get_selected_feature_info(job->name(), ScopedJob::kStep, "top", list);
        return list.size();
    };
    trigger("showNet");
    EXPECT_EQ(selected(), 1u);
    deliver(PluginNames::MenuBarAnalysis, PluginNames::GraphicView, kShowNet, {{kKeyLayer, "top"}, {kKeyIndex, -1}});
    EXPECT_TRUE(status().contains("Net display refused")) << status().toStdString();
    EXPECT_EQ(selected(), 1u);
    job->addLine("top", 5 * kMm, 5 * kMm, 5.3 * kMm, 5 * kMm, "r100");
    trigger("showNet");
    EXPECT_EQ(selected(), 3u);
}

}  // namespace
