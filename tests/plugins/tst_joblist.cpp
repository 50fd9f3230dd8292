// The job list's layer panel and the messages it exchanges: the first view
// it gives the view when a job is bound, the operator's clicks in the list,
// its context menu and the relays it carries.
#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QStyle>
#include <QStyleOptionViewItem>

#include "LayerPalette.h"
#include "tst_joblist_fixture.h"

using namespace joblisttest;

namespace {

QStringList names(const QVariant& v) { return v.toStringList(); }
QList<int> ints(const QVariant& v) {
    QList<int> out;
    for (const QVariant& x : v.toList()) out.append(x.toInt());
    return out;
}

class JobListPanel : public JobListFixture {
protected:
    // Where the check box of a cell is drawn.
    QPoint checkBox(const QString& layer, int column) const {
        QStyleOptionViewItem option;
        option.initFrom(tree);
        option.rect = cell(layer, column);
        option.features = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
        return tree->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, tree).center();
    }
    void clickCell(const QString& layer, int column, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, modifiers, cell(layer, column).center());
    }
    void clickCheck(const QString& layer, int column) {
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, Qt::NoModifier, checkBox(layer, column));
    }
    PluginMetaData lastShown() const {
        const auto shown = toView(54);
        return shown.empty() ? PluginMetaData() : shown.back();
    }
    QMenu* openMenuOn(const QString& layer) {
        const QPoint at = cell(layer, 1).center();
        QContextMenuEvent event(QContextMenuEvent::Mouse, at, tree->viewport()->mapToGlobal(at));
        QApplication::sendEvent(tree->viewport(), &event);
        return list->findChild<QMenu*>();
    }
    static QAction* action(QMenu* menu, const QString& text) {
        for (QAction* a : menu->actions())
            if (a->text() == text) return a;
        return nullptr;
    }
};

QStringList rowNames(QTreeWidget* tree) {
    QStringList out;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) out.append(tree->topLevelItem(i)->text(0));
    return out;
}

}  // namespace

TEST_F(JobListPanel, BindingListsTheMatrixAndGivesTheViewTheFirstView) {
    EXPECT_EQ(tree->topLevelItemCount(), 0);
    EXPECT_EQ(list->windowTitle(), QStringLiteral("Layers"));
    EXPECT_EQ(list->property("tolvaDockArea").toString(), QStringLiteral("left"));
    bindJob();
    EXPECT_EQ(rowNames(tree), (QStringList{"silk", "top", "l2", "drill", "notes"}));
    EXPECT_EQ(row("drill")->text(1), QStringLiteral("drill"));
    EXPECT_EQ(row("silk")->text(1), QStringLiteral("silk_screen"));
    // Shown, bound, then the work layer: in that order and nothing else to the view.
    QList<qint32> codes;
    for (const auto& e : messages.entries())
        if (e.msg.sender == PluginNames::JobList && e.msg.receiver == PluginNames::GraphicView) codes.append(e.msg.msgType);
    EXPECT_EQ(codes, (QList<qint32>{54, 20001637, 55}));
    const PluginMetaData shown = lastShown();
    EXPECT_EQ(names(shown.data.value("LayerList")), (QStringList{"top", "drill"}));
    EXPECT_EQ(ints(shown.data.value("ColorList")), (QList<int>{0, 1}));
    EXPECT_EQ(names(shown.data.value("AffectedLayers")), QStringList{"top"});
    EXPECT_EQ(toView(20001637).at(0).data.value("JobName").toString(), QString(kJob));
    EXPECT_EQ(toView(20001637).at(0).data.value("Step").toString(), QString(kStep));
    EXPECT_EQ(toView(55).at(0).data.value("clayer").toString(), QStringLiteral("top"));
    // The real view took them.
    EXPECT_EQ(view->get_show_layers(), (QStringList{"top", "drill"}));
    EXPECT_EQ(view->work_layer, "top");
    // The panel: shown layers checked, the work layer bold, swatches in the view's colours.
    EXPECT_EQ(row("top")->checkState(0), Qt::Checked);
    EXPECT_EQ(row("drill")->checkState(0), Qt::Checked);
    EXPECT_EQ(row("l2")->checkState(0), Qt::Unchecked);
    EXPECT_TRUE(row("top")->font(0).bold());
    EXPECT_FALSE(row("drill")->font(0).bold());
    EXPECT_EQ(row("top")->icon(0).pixmap(8, 8).toImage().pixelColor(4, 4), LayerPalette::color(0));
    EXPECT_EQ(row("drill")->icon(0).pixmap(8, 8).toImage().pixelColor(4, 4), LayerPalette::color(1));
}

// A matrix without copper or drill still gets a work layer: its first row.
TEST_F(JobListPanel, ABoardWithoutCopperTakesItsFirstRowAsWorkLayer) {
    TOLVA::JOB::create_job("joblist_plain");
    TOLVA::JOB::create_step("joblist_plain", kStep);
    TOLVA::JOB::add_layer("joblist_plain", "doc", "misc", "document", "positive");
    TOLVA::JOB::add_layer("joblist_plain", "mask", "board", "solder_mask", "positive");
    bindJob("joblist_plain");
    EXPECT_EQ(names(lastShown().data.value("LayerList")), QStringList{"doc"});
    EXPECT_EQ(toView(55).back().data.value("clayer").toString(), QStringLiteral("doc"));
    TOLVA::JOB::delete_job("joblist_plain");
}

TEST_F(JobListPanel, ClickingARowMakesItTheShownBoldWorkLayer) {
    bindJob();
    messages.clear();
    clickCell("l2", 1);
    ASSERT_EQ(toView(55).size(), 1u);
    EXPECT_EQ(toView(55)[0].data.value("clayer").toString(), QStringLiteral("l2"));
    EXPECT_EQ(view->work_layer, "l2");
    // Shown in matrix order, in the lowest colour no shown layer has.
    EXPECT_EQ(names(lastShown().data.value("LayerList")), (QStringList{"top", "l2", "drill"}));
    EXPECT_EQ(ints(lastShown().data.value("ColorList")), (QList<int>{0, 2, 1}));
    EXPECT_EQ(names(lastShown().data.value("AffectedLayers")), QStringList{"l2"});
    EXPECT_TRUE(row("l2")->font(0).bold());
    EXPECT_FALSE(row("top")->font(0).bold());
    EXPECT_EQ(redraws(), 1);
    // The same row again changes nothing.
    messages.clear();
    clickCell("l2", 1);
    EXPECT_TRUE(toView(55).empty());
    EXPECT_TRUE(toView(54).empty());
}

// Hiding a layer recolours none of the others, and a layer shown again
// gets its own colour back while it is free.
TEST_F(JobListPanel, CheckBoxesShowAndHideWithStableColours) {
    bindJob();
    struct Step {
        const char* layer;
        QStringList shown;
        QList<int> colours;
    };
    const Step steps[] = {
        {"l2", {"top", "l2", "drill"}, {0, 2, 1}},
        {"top", {"l2", "drill"}, {2, 1}},
        {"silk", {"silk", "l2", "drill"}, {0, 2, 1}},
        {"top", {"silk", "top", "l2", "drill"}, {0, 3, 2, 1}},
        {"drill", {"silk", "top", "l2"}, {0, 3, 2}},
    };
    for (const Step& s : steps) {
        messages.clear();
        clickCheck(s.layer, 0);
        ASSERT_EQ(toView(54).size(), 1u) << s.layer;
        EXPECT_EQ(names(lastShown().data.value("LayerList")), s.shown) << s.layer;
        EXPECT_EQ(ints(lastShown().data.value("ColorList")), s.colours) << s.layer;
        EXPECT_EQ(redraws(), 1) << s.layer;
        EXPECT_TRUE(toView(55).empty()) << "a check box is no choice of the work layer";
        EXPECT_EQ(view->get_show_layers(), s.shown);
    }
    EXPECT_EQ(row("top")->icon(0).pixmap(8, 8).toImage().pixelColor(4, 4), LayerPalette::color(3));
}

TEST_F(JobListPanel, CtrlClickAndTheAffectedColumnToggleAffectedLayers) {
    bindJob();
    messages.clear();
    clickCell("l2", 1, Qt::ControlModifier);
    EXPECT_EQ(names(lastShown().data.value("AffectedLayers")), (QStringList{"top", "l2"}));
    EXPECT_TRUE(toView(55).empty());
    EXPECT_EQ(row("l2")->checkState(2), Qt::Checked);
    EXPECT_EQ(view->affected_layers, (std::vector<std::string>{"top", "l2"}));
    clickCheck("drill", 2);
    EXPECT_EQ(names(lastShown().data.value("AffectedLayers")), (QStringList{"top", "l2", "drill"}));
    clickCell("l2", 1, Qt::ControlModifier);
    EXPECT_EQ(names(lastShown().data.value("AffectedLayers")), (QStringList{"top", "drill"}));
    // The work layer is always affected; unticking it changes nothing.
    messages.clear();
    clickCheck("top", 2);
    EXPECT_TRUE(toView(54).empty());
    EXPECT_EQ(row("top")->checkState(2), Qt::Checked);
}

TEST_F(JobListPanel, ContextMenuNamesHighlightAndSnapLayers) {
    bindJob();
    struct Case {
        const char* entry;
        qint32 code;
        const char* key;
    };
    const Case cases[] = {{"Highlight layer", 57, "highlight_layer"}, {"Snap layer", 56, "snap_layer"}};
    for (const Case& c : cases) {
        QMenu* menu = openMenuOn("l2");
        ASSERT_NE(menu, nullptr);
        EXPECT_EQ(action(menu, "Reference layer"), nullptr) << "no other job is open";
        QAction* entry = action(menu, c.entry);
        ASSERT_NE(entry, nullptr) << c.entry;
        messages.clear();
        entry->trigger();
        ASSERT_EQ(toView(c.code).size(), 1u) << c.entry;
        EXPECT_EQ(toView(c.code)[0].data.value(c.key).toString(), QStringLiteral("l2"));
        menu->close();
    }
    EXPECT_EQ(view->snapLayer(), "l2");
    EXPECT_EQ(view->highlightLayers(1), QStringList{"l2"});
}

TEST_F(JobListPanel, ReferenceLayerFromAnotherOpenJob) {
    testsupport::ScopedJob other("joblist_other", 1e6, 1e6, {"outer", "inner"});
    bindJob();
    QMenu* menu = openMenuOn("top");
    ASSERT_NE(menu, nullptr);
    QAction* reference = action(menu, "Reference layer");
    ASSERT_NE(reference, nullptr);
    ASSERT_NE(reference->menu(), nullptr);
    QAction* jobEntry = action(reference->menu(), "joblist_other");
    ASSERT_NE(jobEntry, nullptr);
    QAction* layerEntry = action(jobEntry->menu(), "inner");
    ASSERT_NE(layerEntry, nullptr);
    messages.clear();
    layerEntry->trigger();
    ASSERT_EQ(toView(58).size(), 1u);
    const QVariantMap data = toView(58)[0].data;
    EXPECT_EQ(data.value("RefJobName").toString(), QStringLiteral("joblist_other"));
    EXPECT_EQ(data.value("RefStepName").toString(), QString(kStep));
    EXPECT_EQ(names(data.value("RefLayerList")), QStringList{"inner"});
    // The view's answer (20001701) shows in the panel.
    auto* label = list->findChild<QLabel*>(QStringLiteral("referenceLayers"));
    ASSERT_NE(label, nullptr);
    EXPECT_TRUE(label->text().contains("inner")) << label->text().toStdString();
    menu->close();
}

TEST_F(JobListPanel, RelaysAndLoggedRequests) {
    bindJob();
    testsupport::LogCapture log;
    messages.clear();
    const QVariantMap stepBox{{"xmin", 1.5}, {"ymin", -2.0}, {"xmax", 30.0}, {"ymax", 40.0},
                              {"scale", 0.001}, {"center_x", 15.0}, {"center_y", 19.0}, {"level", 3}};
    toJobList(10000601, stepBox);
    const auto relayed = messages.to(PluginNames::MiniMap);
    ASSERT_EQ(relayed.size(), 1u);
    EXPECT_EQ(relayed[0].sender, PluginNames::JobList);
    EXPECT_EQ(relayed[0].msgType, 10000601);
    EXPECT_EQ(relayed[0].data, stepBox);
    toJobList(10000605, {{"HoleKind", "plum"}});
    EXPECT_TRUE(log.contains("HoleKind=plum"));
    toJobList(20001630);
    EXPECT_TRUE(log.contains("relayed"));
    toJobList(20001701, {{"LayerName", "a,b"}});
    EXPECT_EQ(list->findChild<QLabel*>(QStringLiteral("referenceLayers"))->text(), QStringLiteral("Reference: a,b"));
    toJobList(20001701, {{"Other", 1}});
    EXPECT_EQ(list->findChild<QLabel*>(QStringLiteral("referenceLayers"))->text(), QStringLiteral("Reference: a,b"));
}

// Closing the job (empty names) empties the list and the view's layers;
// names the kernel does not know change nothing.
TEST_F(JobListPanel, ClosingAndUnknownJobs) {
    bindJob();
    messages.clear();
    bindJob("no_such_job", kStep);
    bindJob(kJob, "no_such_step");
    bindJob(kJob, "");
    EXPECT_TRUE(messages.to(PluginNames::GraphicView).empty());
    EXPECT_EQ(tree->topLevelItemCount(), 5);
    bindJob("", "");
    EXPECT_EQ(tree->topLevelItemCount(), 0);
    EXPECT_TRUE(names(lastShown().data.value("LayerList")).isEmpty());
    EXPECT_TRUE(view->get_show_layers().isEmpty());
    EXPECT_TRUE(toView(20001637).empty());
}
