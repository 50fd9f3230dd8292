// The feature edits that travel between the view and its sibling plug-ins:
// the edit tool's menu forwards a picked feature, the Edit menu changes its
// symbol or text or substitutes a symbol for a group, the job list edits its
// attributes, and the edit tool bar opens the tools; each edit checked in
// the kernel and taken back by one undo.
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QTableWidget>

#include "TOLVA_API.h"
#include "ViewTool/DeleteTool.h"
#include "ViewTool/DrawSymbolTool.h"
#include "ViewTool/EditTool.h"
#include "ViewTool/MoveAndCopy.h"
#include "sibling_fixture.h"

using namespace siblings;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;
using TOLVA::GRAPHIC::DeleteTool;
using TOLVA::GRAPHIC::DrawSymbolTool;
using TOLVA::GRAPHIC::EditTool;
using TOLVA::GRAPHIC::MoveAndCopy;
namespace API = TOLVA::API;

namespace {

constexpr double kMm = 1e6;
constexpr qint32 kUndo = 20001618;

class FeatureMenus : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        edit = load(PluginNames::MenuBarEdit);
        jobList = load(PluginNames::JobList);
        toolbar = load(PluginNames::ToolbarEdit);
        showHost();
    }
    QPoint pixel(double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return {px, py};
    }
    // Opens the edit tool, clicks the feature at (x, y) and chooses `entry`.
    void chooseFromEditMenu(double x, double y, const QString& entry) {
        deliver(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20000270, {{"Tool", 25}});
        auto* tool = dynamic_cast<EditTool*>(view->currentTool());
        ASSERT_TRUE(tool);
        QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, pixel(x, y));
        ASSERT_TRUE(tool->menu());
        QAction* chosen = nullptr;
        for (QAction* a : tool->menu()->actions())
            if (a->text() == entry) chosen = a;
        ASSERT_TRUE(chosen) << entry.toStdString();
        chosen->trigger();
        tool->menu()->close();
    }
    static void setChoice(QDialog* dialog, const char* key, const QString& text) {
        auto* box = child<QComboBox>(dialog, key);
        ASSERT_TRUE(box);
        if (box->isEditable())
            type(box->lineEdit(), text);
        else
            box->setCurrentText(text);
    }
    API::featureInfo at(const std::string& job, int index) { return feature(job, "top", index); }
    int count(const std::string& job) { return TOLVA::JOB::feature_count(job, ScopedJob::kStep, "top"); }
    void undo() { deliver(PluginNames::MenuBarEdit, PluginNames::GraphicView, kUndo); }

    QWidget* edit = nullptr;
    QWidget* jobList = nullptr;
    QWidget* toolbar = nullptr;
};

TEST_F(FeatureMenus, ChangeSymbolFromTheEditToolRedrawsThePadAndUndoTakesItBack) {
    ScopedJob job("feature_symbol", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    chooseFromEditMenu(5 * kMm, 5 * kMm, "Change Symbol...");
    auto* dialog = child<QDialog>(edit, "changeSymbolDialog");
    ASSERT_TRUE(dialog);
    EXPECT_EQ(child<QComboBox>(dialog, "symbol")->currentText(), "r100");  // the feature's own
    setChoice(dialog, "symbol", "s500");
    pressOk(dialog);
    EXPECT_EQ(at(job.name(), 0).symbol, "s500");
    EXPECT_EQ(at(job.name(), 0).xs, 5 * kMm);
    undo();
    EXPECT_EQ(at(job.name(), 0).symbol, "r100");
}

TEST_F(FeatureMenus, ChangeSymbolOfAFeatureThatChangedSincePickedDoesNothing) {
    ScopedJob job("feature_stale", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    chooseFromEditMenu(5 * kMm, 5 * kMm, "Change Symbol...");
    auto* dialog = child<QDialog>(edit, "changeSymbolDialog");
    ASSERT_TRUE(dialog);
    // Meanwhile the pad moved.
    selectAll(job.name(), "top");
    API::move_same_layer(job.name(), ScopedJob::kStep, {"top"}, 1000, 0);
    setChoice(dialog, "symbol", "r900");
    pressOk(dialog);
    EXPECT_EQ(at(job.name(), 0).symbol, "r100");
}

TEST_F(FeatureMenus, ChangeTextSetsContentAndPolarityInOneStep) {
    ScopedJob job("feature_text", 20 * kMm, 20 * kMm, {"top"});
    const std::string record = API::GreateTextString(4 * kMm, 4 * kMm, "OLD", API::POL_POSITIVE, 0, 1 * kMm,
                                                     1 * kMm, 1, "standard", 0, 1);
    API::AddFeature(job.name(), ScopedJob::kStep, {"top"}, {{"top", record}}, {{".comp", "J1"}}, false);
    bind(job.name(), {"top"}, "top");
    const API::featureInfo before = at(job.name(), 0);
    chooseFromEditMenu((before.xmin + before.xmax) / 2, (before.ymin + before.ymax) / 2, "Change Text...");
    auto* dialog = child<QDialog>(edit, "changeTextDialog");
    ASSERT_TRUE(dialog);
    setChoice(dialog, "text", "NEW");
    setChoice(dialog, "polarity", "NEG");
    pressOk(dialog);
    ASSERT_EQ(count(job.name()), 1);
    const API::featureInfo after = at(job.name(), 0);
    EXPECT_EQ(after.text, "NEW");
    EXPECT_EQ(after.polarity, API::POL_NEGATIVE);
    EXPECT_EQ(after.xs, before.xs);
    EXPECT_EQ(after.attributes, before.attributes);
    undo();
    EXPECT_EQ(at(job.name(), 0).record, before.record);
}

TEST_F(FeatureMenus, SubstituteReplacesTheSelectedGroupByOnePadAtThePickedPoint) {
    ScopedJob job("feature_substitute", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 4 * kMm, 4 * kMm, "r100");
    job.addPad("top", 6 * kMm, 4 * kMm, "r100");
    job.addPad("top", 15 * kMm, 15 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    API::select_feature_by_id(job.name(), ScopedJob::kStep, "top", 0);
    API::select_feature_by_id(job.name(), ScopedJob::kStep, "top", 1);
    action(edit, "substitute")->trigger();
    const QPoint where = pixel(5 * kMm, 4 * kMm);
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, where);
    auto* dialog = child<QDialog>(edit, "substituteDialog");
    ASSERT_TRUE(dialog);
    setChoice(dialog, "symbol", "r2000");
    pressOk(dialog);
    ASSERT_EQ(count(job.name()), 2);
    const API::featureInfo pad = at(job.name(), 1);
    EXPECT_EQ(pad.symbol, "r2000");
    EXPECT_NEAR(pad.xs, view->toBoard(where).x(), 1);
    EXPECT_EQ(at(job.name(), 0).xs, 15 * kMm);
    undo();
    EXPECT_EQ(count(job.name()), 3);
}

TEST_F(FeatureMenus, TheJobListEditsThePickedFeaturesAttributesAsOneUndoStep) {
    ScopedJob job("feature_attributes", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    API::AddFeature(job.name(), ScopedJob::kStep, {"top"},
                    {{"top", API::GreatePadString(9 * kMm, 9 * kMm, 0, API::POL_POSITIVE, 0, 0, 1)}},
                    {{".net", "GND"}, {".comp", "R1"}}, false);
    bind(job.name(), {"top"}, "top");
    chooseFromEditMenu(9 * kMm, 9 * kMm, "Attributes...");
    auto* editor = child<QDialog>(jobList, "attributeEditor");
    ASSERT_TRUE(editor);
    auto* table = child<QTableWidget>(editor, "attributes");
    ASSERT_EQ(table->rowCount(), 2);
    for (int row = 0; row < table->rowCount(); ++row)
        if (table->item(row, 0)->text() == ".net") table->item(row, 1)->setText("VCC");
    QTest::mouseClick(child<QPushButton>(editor, "addAttribute"), Qt::LeftButton);
    table->item(2, 0)->setText(".pad_usage");
    table->item(2, 1)->setText("via");
    QPointer<QDialog> closing(editor);
    QTest::mouseClick(editor->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return closing.isNull(); }, 2000));
    EXPECT_EQ(at(job.name(), 1).attributes,
              (API::attr_map{{".comp", "R1"}, {".net", "VCC"}, {".pad_usage", "via"}}));
    EXPECT_TRUE(at(job.name(), 0).attributes.empty());
    undo();
    EXPECT_EQ(at(job.name(), 1).attributes, (API::attr_map{{".comp", "R1"}, {".net", "GND"}}));
}

TEST_F(FeatureMenus, TheToolBarOpensTheEditToolsAndTheEditMenuAsksItForMove) {
    ScopedJob job("feature_toolbar", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    click(toolbar, "deleteFeatures");
    EXPECT_TRUE(dynamic_cast<DeleteTool*>(view->currentTool()));
    EXPECT_TRUE(action(toolbar, "deleteFeatures")->toolTip().contains("Del"));
    EXPECT_FALSE(action(toolbar, "deleteFeatures")->icon().isNull());
    type(child<QLineEdit>(toolbar, "drawSymbol"), "rect300x100");
    click(toolbar, "drawLine");
    auto* draw = dynamic_cast<DrawSymbolTool*>(view->currentTool());
    ASSERT_TRUE(draw);
    EXPECT_EQ(draw->mode(), DrawSymbolTool::LineMode);
    EXPECT_EQ(view->currentSymbol(), "rect300x100");
    // The edit tool's Move: the pad alone selected, the tool bar's button
    // pressed and the move tool open.
    chooseFromEditMenu(5 * kMm, 5 * kMm, "Move...");
    EXPECT_TRUE(dynamic_cast<MoveAndCopy*>(view->currentTool()));
    EXPECT_TRUE(action(toolbar, "moveFeatures")->isChecked());
    std::vector<API::featureInfo> selected;
    API::get_selected_feature_info(job.name(), ScopedJob::kStep, "top", selected);
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected[0].index, 0);
}

}  // namespace
