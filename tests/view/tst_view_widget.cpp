// The view as a plug-in object: construction state, the settings file read
// at construction, the directories it creates, and the messages it sends.
#include <gtest/gtest.h>

#include <QDir>
#include <QGuiApplication>
#include <QMessageBox>
#include <QFile>
#include <QTemporaryDir>
#include <functional>
#include <memory>

#include "PluginNames.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::LogCapture;
using testsupport::MessageRecorder;

TEST(ViewWidgetConstruction, StartsInItsInitialState) {
    QWidget host;
    std::unique_ptr<ViewWidget> view(static_cast<ViewWidget*>(GetViewInstance(&host)));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->host(), &host);
    EXPECT_EQ(view->scale(), 1.0);
    EXPECT_EQ(view->center(), QPointF(0, 0));
    EXPECT_EQ(view->angle(), 0);
    EXPECT_EQ(view->unitText(), "Inch");
    EXPECT_EQ(view->currentSnapMode(), 7);
    EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::NORMAL_TOOL);
    EXPECT_EQ(view->InitViewBar(), view.get());
    EXPECT_TRUE(view->get_popviews().isEmpty());
    EXPECT_TRUE(view->hasMouseTracking());
    EXPECT_TRUE(view->jobName().isEmpty());
    EXPECT_FALSE(view->tvdiMode());
    EXPECT_EQ(view->contextMenu(), nullptr);
}

TEST(ViewWidgetConstruction, ReadsTheSettingsFileOfTheCurrentDirectoryAndMakesItsFolders) {
    QTemporaryDir dir;
    const QString jobs = dir.filePath(QStringLiteral("jobs/a/b"));
    const QString out = dir.filePath(QStringLiteral("out"));
    QFile ini(dir.filePath(QStringLiteral("tvconfig.ini")));
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
    ini.write(QStringLiteral("[Job_Path]\npath=%1\n[Output_Path]\npath=%2\n[Resize]\nunit=mm\nvalue=0.1\n"
                             "[Profile_Dot]\nProfile_Dot=YES\n")
                  .arg(jobs, out)
                  .toUtf8());
    ini.close();
    const QString previous = QDir::currentPath();
    QDir::setCurrent(dir.path());
    LogCapture logs;
    QWidget host;
    std::unique_ptr<ViewWidget> view(static_cast<ViewWidget*>(GetViewInstance(&host)));
    QDir::setCurrent(previous);
    EXPECT_EQ(view->settings().jobPath, jobs);
    EXPECT_DOUBLE_EQ(view->settings().resizeValue, 100000);
    EXPECT_TRUE(view->settings().profileDot);
    EXPECT_TRUE(QDir(jobs).exists());
    EXPECT_TRUE(QDir(out).exists());
    EXPECT_EQ(logs.count(google::GLOG_INFO, "不存在，将自动创建！"), 2);
    // An existing or empty path is left alone, without a message.
    logs.clear();
    view->CheckDir(jobs);
    view->CheckDir(QString());
    EXPECT_EQ(logs.count(google::GLOG_INFO, "不存在"), 0);
}

TEST(ViewWidgetConstruction, WithoutSettingsFileEverythingIsEmpty) {
    QTemporaryDir dir;
    const QString previous = QDir::currentPath();
    QDir::setCurrent(dir.path());
    QWidget host;
    std::unique_ptr<ViewWidget> view(static_cast<ViewWidget*>(GetViewInstance(&host)));
    QDir::setCurrent(previous);
    EXPECT_TRUE(view->settings().jobPath.isEmpty());
    EXPECT_EQ(view->settings().exportXScale, 0);
    EXPECT_FALSE(view->settings().mirror);
}

TEST(ViewWidgetMessages, ForwardOperationsAddressTheirReceivers) {
    QWidget host;
    std::unique_ptr<ViewWidget> view(static_cast<ViewWidget*>(GetViewInstance(&host)));
    struct Case {
        std::function<void()> send;
        QStringList receivers;
        QList<qint32> codes;
        QStringList keys;  // of the first message
    };
    const QPointF p(12, -34);
    const std::vector<Case> cases = {
        {[&] { view->forwardPointInfo(p); }, {PluginNames::MenuBarEdit}, {20001802}, {"x", "y"}},
        {[&] { view->forwardMovePointInfo(p); }, {PluginNames::MenuBarEdit}, {20001803}, {"x", "y"}},
        {[&] { view->forwardCopyPointInfo(p); }, {PluginNames::MenuBarEdit}, {20001805}, {"x", "y"}},
        {[&] { view->forwardCreateSymbolPointInfo(p); }, {PluginNames::MenuBarEdit}, {20001809}, {"x", "y"}},
        {[&] { view->forwardSubstitutePointInfo(p); }, {PluginNames::MenuBarEdit}, {20001814}, {"x", "y"}},
        {[&] { view->forwardAttributePointInfo(PluginNames::MenuBarDFM, 20001828, {{".comp", "left"}}); },
         {PluginNames::MenuBarDFM}, {20001828}, {".comp"}},
        {[&] { view->forwardFilterAttributePointInfo("Polarity"); }, {PluginNames::MenuBarActions}, {20000060},
         {"AttributeType"}},
        {[&] { view->forwardChangeSymbolPointInfo(PluginNames::ToolbarEdit, "r250"); }, {PluginNames::ToolbarEdit},
         {20001811}, {"symbol"}},
        {[&] { view->forwardChangeTextPointInfo("ABC", false); }, {PluginNames::MenuBarEdit}, {20001812},
         {"polarity", "text"}},
        {[&] { view->forwardStepRepeatPointInfo(p); }, {PluginNames::MenuBarStep, PluginNames::Coordinate},
         {20001681, 20003205}, {"Step_Repeat_point_x", "Step_Repeat_point_y"}},
        {[&] { view->forwardSRcopypcsoffsetInfo(1.5, 2.5); }, {PluginNames::MenuBarStep}, {20001688},
         {"Copy_xoffset", "Copy_yoffset"}},
        {[&] { view->sendJobListChangeSelectedIcon(); }, {PluginNames::JobList}, {20001817}, {}},
    };
    for (const Case& c : cases) {
        MessageRecorder messages;
        c.send();
        ASSERT_EQ(int(messages.entries().size()), c.codes.size()) << c.codes.first();
        for (int i = 0; i < c.codes.size(); ++i) {
            EXPECT_EQ(messages.entries()[i].msg.receiver, c.receivers[i]);
            EXPECT_EQ(messages.entries()[i].msg.msgType, c.codes[i]);
            EXPECT_EQ(messages.entries()[i].msg.sender, PluginNames::GraphicView);
        }
        EXPECT_EQ(QStringList(messages.entries()[0].msg.data.keys()), c.keys) << c.codes.first();
    }
    MessageRecorder messages;
    view->forwardChangeTextPointInfo("ABC", false);
    EXPECT_EQ(messages.entries()[0].msg.data.value("polarity").toString(), "NEG");
}

// Without a screen nobody could answer a modal box: each is logged and
// answered at once, questions with their default or the cautious button.
TEST(UnattendedPrompts, AreAnsweredAtOnceWithoutAScreen) {
    ASSERT_EQ(QGuiApplication::platformName(), "offscreen");
    namespace prompt = TOLVA::GRAPHIC::prompt;
    using B = QMessageBox;
    LogCapture logs;
    struct Case { B::StandardButtons buttons; B::StandardButton defaultButton, answer; };
    static const Case cases[] = {{B::Yes | B::No, B::NoButton, B::No},
                                 {B::Yes | B::No, B::Yes, B::Yes},
                                 {B::Ok | B::Cancel, B::NoButton, B::Cancel},
                                 {B::Ok, B::NoButton, B::Ok}};
    for (const Case& c : cases)
        EXPECT_EQ(prompt::ask({nullptr, "Information", "Continue?", c.buttons, c.defaultButton}), c.answer);
    // The view's own boxes go the same way.
    QWidget host;
    auto* view = static_cast<ViewWidget*>(GetViewInstance(&host));
    PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, 20001637);
    bind.data.insert(QStringLiteral("JobName"), QStringLiteral("only_a_job"));
    recMsgFromManager(view, &bind);
    EXPECT_TRUE(logs.contains("Job name is empty or Step name is empty!"));
    delete view;
}
