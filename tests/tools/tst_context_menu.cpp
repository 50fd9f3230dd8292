// The right-button menu driven as an operator drives it: a right click, the
// menu appears after its delay, an entry is clicked, its request goes out.
// The menu is opened many times over, in both of its modes.
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <functional>

#include "PluginNames.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;

namespace {

const QStringList kNormalEntries = {"Zoom Area",        "-",                "Measure",        "-",
                                    "Select None",      "Select Feature",   "Select Area",    "Select Polygon",
                                    "Select Layer Net", "Select Board Net", "Select Polyline", "-",
                                    "Reverse Selection"};

QStringList entriesOf(const QMenu* menu) {
    QStringList entries;
    for (const QAction* a : menu->actions()) entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
    return entries;
}

QAction* entry(const QMenu* menu, const QString& text) {
    for (QAction* a : menu->actions())
        if (a->text() == text) return a;
    return nullptr;
}

class ContextMenu : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(300, 200);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void TearDown() override { delete view; }

    void deliver(qint32 code, const QVariantMap& data = {}) {
        PluginMetaData msg(PluginNames::JobList, PluginNames::GraphicView, code);
        msg.data = data;
        recMsgFromManager(view, &msg);
    }

    // Right-clicks the view and, once the menu is up, hands it to `act`
    // (called again on every tick while it returns false, so that it can walk
    // into a sub-menu); returns the entries the menu showed when it opened.
    QStringList rightClickAnd(const std::function<bool(QMenu*)>& act) {
        QStringList shown;
        bool done = false;
        QTimer probe;
        QObject::connect(&probe, &QTimer::timeout, [&] {
            auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            if (!popup || done) return;
            if (shown.isEmpty()) shown = entriesOf(view->contextMenu());
            done = act(popup);
        });
        probe.start(10);
        QTest::mouseClick(view, Qt::RightButton, Qt::NoModifier, QPoint(40, 40));
        EXPECT_TRUE(QTest::qWaitFor([&] { return done && view->rightClickCount() == 0; }, 3000));
        return shown;
    }
    QStringList openAndClose() {
        return rightClickAnd([](QMenu* menu) {
            menu->close();
            return true;
        });
    }
    // Clicks the entry `text` of the menu that is up (or of the sub-menu
    // `subMenu` of it, which the first tick opens by a click).
    QStringList openAndClick(const QString& text, const QString& subMenu = QString()) {
        return rightClickAnd([&](QMenu* popup) {
            QAction* target = entry(popup, text);
            if (!target && !subMenu.isEmpty()) {
                if (QAction* sub = entry(popup, subMenu))
                    QTest::mouseClick(popup, Qt::LeftButton, Qt::NoModifier, popup->actionGeometry(sub).center());
                return false;
            }
            EXPECT_NE(target, nullptr) << text.toStdString();
            if (target) QTest::mouseClick(popup, Qt::LeftButton, Qt::NoModifier, popup->actionGeometry(target).center());
            return true;
        });
    }

    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

}  // namespace

TEST_F(ContextMenu, OpensAgainAndAgainWithTheSameEntries) {
    for (int opening = 0; opening < 4; ++opening) EXPECT_EQ(openAndClose(), kNormalEntries) << opening;
    EXPECT_EQ(view->contextMenu()->actions().size(), kNormalEntries.size());
}

TEST_F(ContextMenu, EveryEntryClickedInTheMenuSendsItsRequest) {
    struct Case {
        const char* text;
        QString receiver;
        qint32 code;
    };
    const Case cases[] = {
        {"Zoom Area", PluginNames::ToolbarEdit, 20000201},        {"Measure", PluginNames::ToolbarEdit, 20000247},
        {"Select Feature", PluginNames::ToolbarEdit, 20000202},   {"Select Area", PluginNames::ToolbarEdit, 20000203},
        {"Select Polygon", PluginNames::ToolbarEdit, 20000223},   {"Select Layer Net", PluginNames::ToolbarEdit, 20000244},
        {"Select Board Net", PluginNames::ToolbarEdit, 20000245}, {"Select Polyline", PluginNames::ToolbarEdit, 20000242},
        {"Reverse Selection", PluginNames::JobList, 20001639},
    };
    // One menu serves every click: each opening after the first reuses it.
    for (const Case& c : cases) {
        MessageRecorder messages;
        openAndClick(c.text);
        ASSERT_EQ(messages.entries().size(), 1u) << c.text;
        EXPECT_EQ(messages.entries()[0].msg.msgType, c.code) << c.text;
        EXPECT_EQ(messages.entries()[0].msg.receiver, c.receiver) << c.text;
        EXPECT_EQ(messages.entries()[0].msg.sender, PluginNames::GraphicView) << c.text;
    }
    // "Select None" asks nobody: the view clears the selection itself.
    MessageRecorder messages;
    openAndClick("Select None");
    EXPECT_TRUE(messages.entries().empty());
}

TEST_F(ContextMenu, SetTextAfterOpeningsRelabelsEachEntryByIdentity) {
    openAndClose();
    view->setText();
    openAndClose();
    view->setText();
    const QStringList entries = openAndClose();
    QStringList expected = kNormalEntries;
    expected.last() = "Counter Election";
    EXPECT_EQ(entries, expected);
    // The relabelled entry still sends its own request.
    MessageRecorder messages;
    openAndClick("Counter Election");
    EXPECT_EQ(messages.codes(), QList<qint32>{20001639});
}

TEST_F(ContextMenu, ModesAlternateWithTheTvdiFlagAtEachOpening) {
    EXPECT_EQ(openAndClose(), kNormalEntries);
    deliver(20004402);
    EXPECT_EQ(openAndClose(), QStringList{"Set Global Hole"});
    EXPECT_EQ(openAndClose(), QStringList{"Set Global Hole"});
    deliver(20004402);
    EXPECT_EQ(openAndClose(), kNormalEntries);
    deliver(20004402);
    EXPECT_EQ(openAndClose(), QStringList{"Set Global Hole"});
}

// The hole entries follow the export session the TVDI messages report:
// a drill layer and export layers enable the sub-menu; area holes wait for a
// global positioning hole, which the menu itself can add.
TEST_F(ContextMenu, HoleEntriesFollowTheExportSession) {
    const auto holeMenuState = [&](bool& subEnabled, bool& areaEnabled) {
        rightClickAnd([&](QMenu* menu) {
            QMenu* sub = menu->actions().value(0) ? menu->actions()[0]->menu() : nullptr;
            subEnabled = sub && sub->isEnabled();
            areaEnabled = sub && entry(sub, "Set Area Hole") && entry(sub, "Set Area Hole")->isEnabled();
            menu->close();
            return true;
        });
    };
    bool sub = true, area = true;
    deliver(20004402);  // TVDI mode without a session: nothing to pick holes from
    holeMenuState(sub, area);
    EXPECT_FALSE(sub);
    EXPECT_FALSE(area);

    deliver(20004402);
    deliver(20004402, {{ViewWidget::kHoleLayerKey, "drill"}, {ViewWidget::kExportLayersKey, QStringList{"top"}}});
    holeMenuState(sub, area);
    EXPECT_TRUE(sub);
    EXPECT_FALSE(area);

    MessageRecorder messages;
    openAndClick("Add Positioning Hole", "Set Global Hole");
    EXPECT_EQ(messages.codes(), QList<qint32>{10000507});
    holeMenuState(sub, area);
    EXPECT_TRUE(sub);
    EXPECT_TRUE(area);
    messages.clear();
    openAndClick("Set Area Hole", "Set Global Hole");
    EXPECT_EQ(messages.codes(), QList<qint32>{10000508});

    // Leaving TVDI mode ends the session; a count of holes alone is not enough.
    deliver(20004402);
    deliver(20004402, {{ViewWidget::kPositioningHolesKey, 2}});
    holeMenuState(sub, area);
    EXPECT_FALSE(sub);
    EXPECT_FALSE(area);
    // A later message completes the session; keys it leaves out keep their state.
    deliver(20004402);
    deliver(20004402, {{ViewWidget::kPositioningHolesKey, 1}, {ViewWidget::kHoleLayerKey, "drill"},
                       {ViewWidget::kExportLayersKey, QStringList{"top", "bot"}}});
    holeMenuState(sub, area);
    EXPECT_TRUE(sub);
    EXPECT_TRUE(area);
}

TEST_F(ContextMenu, FurtherRightPressesWithinTheDelayOpenItOnce) {
    int openings = 0;
    QTimer probe;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            ++openings;
            menu->close();
        }
    });
    probe.start(5);
    // Presses far enough apart in time not to make a double click, all
    // within the menu's delay, each restarting it.
    QTest::mousePress(view, Qt::RightButton, Qt::NoModifier, QPoint(40, 40));
    QTest::mouseRelease(view, Qt::RightButton, Qt::NoModifier, QPoint(40, 40));
    QTest::mousePress(view, Qt::RightButton, Qt::NoModifier, QPoint(90, 60), 50);
    QTest::mouseRelease(view, Qt::RightButton, Qt::NoModifier, QPoint(90, 60));
    EXPECT_EQ(openings, 0);
    QTest::qWait(3 * ViewWidget::kMenuDelayMs);
    EXPECT_EQ(openings, 1);
    EXPECT_EQ(view->rightClickCount(), 0);
}
