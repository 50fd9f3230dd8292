// The Step menu beside the real view and job list: a panel made through its
// dialog, the table editor, the instance tools it opens, and what it shows
// of the view's step-and-repeat forwards.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSpinBox>
#include <QTableWidget>

#include "TOLVA_Step.h"
#include "ViewTool/SRSelectTool.h"
#include "ViewTool/StepRepeatTool.h"
#include "plugin_widgets.h"
#include "sibling_fixture.h"

using namespace siblings;
using testsupport::ScopedJob;
using TOLVA::GRAPHIC::SRSelectTool;
using TOLVA::GRAPHIC::StepRepeatTool;
namespace STEP = TOLVA::STEP;

namespace {

constexpr double kMm = 1e6;
constexpr char kJob[] = "step_menu";

class StepMenu : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        jobList = load(PluginNames::JobList);
        menu = load(PluginNames::MenuBarStep);
        showHost();
        job = std::make_unique<ScopedJob>(kJob, 10 * kMm, 10 * kMm, std::vector<std::string>{"top"});
        bind(kJob, {"top"}, "top");
    }
    void TearDown() override {
        job.reset();
        SiblingTest::TearDown();
    }
    QDialog* dialog(const char* name) {
        QDialog* d = menu->findChild<QDialog*>(QLatin1String(name));
        EXPECT_TRUE(d) << name;
        return d;
    }
    void setLength(QDialog* d, const char* key, double value) {
        auto* box = child<QDoubleSpinBox>(d, key);
        if (box) box->setValue(value);
    }
    void setCount(QDialog* d, const char* key, int value) {
        auto* box = child<QSpinBox>(d, key);
        if (box) box->setValue(value);
    }
    QString status() { return child<QLabel>(menu, "status")->text(); }
    void makePanel(int columns, int rows) {
        action(menu, "newPanel")->trigger();
        QDialog* d = dialog("panelDialog");
        ASSERT_TRUE(d);
        setLength(d, "width", 50);
        setLength(d, "height", 40);
        for (const char* key : {"margin_left", "margin_right", "margin_top", "margin_bottom"}) setLength(d, key, 5);
        setLength(d, "spacing_x", 2);
        setLength(d, "spacing_y", 2);
        setCount(d, "columns", columns);
        setCount(d, "rows", rows);
        pressOk(d);
    }

    QWidget* jobList = nullptr;
    QWidget* menu = nullptr;
    std::unique_ptr<ScopedJob> job;
};

TEST_F(StepMenu, ANewPanelHoldsTheCountedBoardsAndOpensInTheView) {
    struct Case {
        int columns, rows;          // asked; 0 is "as many as fit"
        int wantColumns, wantRows;  // 40 x 30 mm inside the margins, 10 mm boards 2 mm apart
    };
    for (const Case c : {Case{0, 2, 3, 2}, Case{1, 0, 1, 2}}) {
        SCOPED_TRACE(testing::Message() << c.columns << " x " << c.rows);
        bind(kJob, {"top"}, "top");
        makePanel(c.columns, c.rows);
        const std::vector<STEP::sr_row> rows = STEP::get_sr_table(kJob, "panel");
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].child, ScopedJob::kStep);
        EXPECT_EQ(rows[0].nx, c.wantColumns);
        EXPECT_EQ(rows[0].ny, c.wantRows);
        EXPECT_EQ(STEP::list_instances(kJob, "panel").size(), size_t(c.wantColumns * c.wantRows));
        EXPECT_TRUE(status().contains(QStringLiteral("%1 x %2").arg(c.wantColumns).arg(c.wantRows)));
        EXPECT_EQ(view->stepName(), "panel");
        auto* steps = child<QComboBox>(jobList, "steps");
        ASSERT_TRUE(steps);
        EXPECT_EQ(steps->currentText(), "panel");
        EXPECT_GE(steps->findText(ScopedJob::kStep), 0);
    }
}

TEST_F(StepMenu, ThePanelOfMoreBoardsThanFitIsRefusedAndSaysWhy) {
    makePanel(9, 1);
    EXPECT_TRUE(status().startsWith("Refused"));
    EXPECT_EQ(view->stepName(), ScopedJob::kStep);
}

TEST_F(StepMenu, ChoosingAStepInTheJobListShowsItInTheViewAndTellsTheMenu) {
    makePanel(0, 0);
    ASSERT_EQ(view->stepName(), "panel");
    auto* steps = child<QComboBox>(jobList, "steps");
    ASSERT_TRUE(steps);
    const int board = steps->findText(ScopedJob::kStep);
    ASSERT_GE(board, 0);
    steps->activated(board);
    EXPECT_EQ(view->stepName(), ScopedJob::kStep);
    // The menu edits the table of the step the view shows now.
    action(menu, "editTable")->trigger();
    QDialog* d = dialog("srTableDialog");
    ASSERT_TRUE(d);
    EXPECT_TRUE(d->windowTitle().endsWith(ScopedJob::kStep));
    d->reject();
}

TEST_F(StepMenu, TheTableEditorWritesWhatIsTypedAndKeepsABadRowOpen) {
    makePanel(2, 2);
    action(menu, "editTable")->trigger();
    QDialog* d = dialog("srTableDialog");
    ASSERT_TRUE(d);
    auto* table = child<QTableWidget>(d, "table");
    ASSERT_EQ(table->rowCount(), 1);
    EXPECT_EQ(table->item(0, 5)->text(), "2");
    QTest::mouseClick(child<QPushButton>(d, "addRow"), Qt::LeftButton);
    ASSERT_EQ(table->rowCount(), 2);
    table->item(1, 1)->setText("20.5");  // X in mm
    table->item(1, 2)->setText("3");
    table->item(1, 5)->setText("0");  // no columns: refused
    auto* buttons = d->findChild<QDialogButtonBox*>("buttons");
    QTest::mouseClick(buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);
    EXPECT_TRUE(d->isVisible());
    EXPECT_FALSE(child<QLabel>(d, "error")->text().isEmpty());
    EXPECT_EQ(STEP::get_sr_table(kJob, "panel").size(), 1u);
    table->item(1, 5)->setText("1");
    pressOk(d);
    const std::vector<STEP::sr_row> rows = STEP::get_sr_table(kJob, "panel");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_DOUBLE_EQ(rows[1].x, 20.5 * kMm);
    EXPECT_DOUBLE_EQ(rows[1].y, 3 * kMm);
    EXPECT_EQ(rows[1].child, ScopedJob::kStep);
    EXPECT_TRUE(TOLVA::API::undo_last_edit(kJob));  // one undo step
    EXPECT_EQ(STEP::get_sr_table(kJob, "panel").size(), 1u);
}

TEST_F(StepMenu, TheInstanceEntriesOpenTheViewsToolsAndEditTheSelection) {
    makePanel(2, 1);
    action(menu, "selectInstances")->trigger();
    ASSERT_TRUE(dynamic_cast<SRSelectTool*>(view->currentTool()));
    view->selectAllInstances();
    ASSERT_EQ(view->selectedInstances().size(), 2u);
    action(menu, "moveInstances")->trigger();
    auto* tool = dynamic_cast<SRSelectTool*>(view->currentTool());
    ASSERT_TRUE(tool);
    EXPECT_EQ(tool->mode(), SRSelectTool::MoveMode);
    action(menu, "copyInstances")->trigger();
    EXPECT_EQ(tool->mode(), SRSelectTool::CopyMode);  // re-configured, not replaced

    action(menu, "rotateInstances")->trigger();
    QDialog* d = dialog("rotateDialog");
    ASSERT_TRUE(d);
    child<QDoubleSpinBox>(d, "Angle")->setValue(180);
    pressOk(d);
    for (const STEP::sr_instance& i : STEP::list_instances(kJob, "panel")) EXPECT_DOUBLE_EQ(i.angle, 180);

    action(menu, "deleteInstances")->trigger();
    EXPECT_TRUE(STEP::list_instances(kJob, "panel").empty());

    action(menu, "placeInstances")->trigger();
    d = dialog("placeDialog");
    ASSERT_TRUE(d);
    child<QComboBox>(d, "Angle")->setCurrentText("270");
    pressOk(d);
    auto* place = dynamic_cast<StepRepeatTool*>(view->currentTool());
    ASSERT_TRUE(place);
    EXPECT_EQ(place->childStep(), ScopedJob::kStep);
    EXPECT_DOUBLE_EQ(place->angle(), 270);
}

TEST_F(StepMenu, ThePlacedPointAndTheCopyOffsetAreShownInTheDisplayUnit) {
    struct Case {
        qint32 code;
        QVariantMap data;
        const char* shown;  // empty: a malformed message changes nothing
    };
    const Case cases[] = {
        {20001681, {{"Step_Repeat_point_x", 3 * kMm}, {"Step_Repeat_point_y", -4.5 * kMm}}, "3.0000, -4.5000 mm"},
        {20001688, {{"Copy_xoffset", 25.4 * kMm}, {"Copy_yoffset", 0}}, "25.4000, 0.0000 mm"},
        {20001681, {{"Step_Repeat_point_x", 1 * kMm}}, ""},
    };
    for (const Case& c : cases) {
        const QString before = status();
        deliver(PluginNames::GraphicView, PluginNames::MenuBarStep, c.code, c.data);
        if (*c.shown) EXPECT_TRUE(status().endsWith(c.shown)) << status().toStdString();
        else EXPECT_EQ(status(), before);
    }
    EXPECT_EQ(child<TOLVA::PLUGIN::MessageLog>(menu, "messageLog")->topLevelItemCount(), 3);
}

}  // namespace
