#pragma once
// The sibling plug-ins loaded by file name beside the real view, as the
// host loads them, on a plain host widget; a small kernel job bound to all
// of them as the host binds a job.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolBar>
#include <QWidget>
#include <memory>
#include <vector>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

namespace siblings {

using TOLVA::GRAPHIC::ViewWidget;

class SiblingTest : public ::testing::Test {
protected:
    void SetUp() override {
        host.resize(900, 700);
        TOLVA::UIAPI::resetHost(&host);
        TOLVA::UIAPI::setUnitString("MM");
        TOLVA::UIAPI::getEditBuffer(&host) = TOLVA::UIAPI::Edit_Buffer();
    }
    void TearDown() override {
        for (auto it = loaded.rbegin(); it != loaded.rend(); ++it) {
            QTpluginsManger4CAM::instance()->releaseInstance(it->first, &host);
            delete it->second;
        }
        loaded.clear();
        TOLVA::UIAPI::resetHost(&host);
        TOLVA::UIAPI::setUnitString("MM");
    }

    QWidget* load(const QString& name) {
        QString error;
        QWidget* widget = QTpluginsManger4CAM::instance()->createInstance(name, &host, &error);
        EXPECT_NE(widget, nullptr) << name.toStdString() << ": " << error.toStdString();
        if (widget) loaded.emplace_back(name, widget);
        return widget;
    }
    ViewWidget* loadView() {
        view = static_cast<ViewWidget*>(load(PluginNames::GraphicView));
        view->setGeometry(0, 100, 400, 300);
        return view;
    }
    void showHost() {
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }

    // What the host and the job list do when a job opens: every plug-in
    // hears the job; the view is shown the layers and given a work layer.
    void bind(const std::string& jobName, const QStringList& shown, const QString& workLayer) {
        for (const auto& entry : loaded) {
            if (entry.first == PluginNames::GraphicView) continue;
            deliver(PluginNames::GraphicEditor, entry.first, 20001637,
                    {{"JobName", QString::fromStdString(jobName)}, {"Step", testsupport::ScopedJob::kStep}});
        }
        if (!view) return;
        testsupport::openJobInView(view, jobName, testsupport::ScopedJob::kStep, shown);
        PluginMetaData work(PluginNames::JobList, PluginNames::GraphicView, 55);
        work.data.insert("clayer", workLayer);
        recMsgFromManager(view, &work);
    }

    void deliver(const QString& from, const QString& to, qint32 code, const QVariantMap& data = {},
                 void* payload = nullptr) {
        PluginMetaData msg(from, to, code);
        msg.data = data;
        msg.payload = payload;
        QTpluginsManger4CAM::instance()->recMegToPlugin(&host, msg);
    }

    static QAction* action(QWidget* plugin, const char* name) {
        for (QAction* a : plugin->actions())
            if (a->objectName() == QLatin1String(name)) return a;
        ADD_FAILURE() << "no action " << name;
        return nullptr;
    }
    // Clicks the tool button of a tool-bar action.
    static void click(QWidget* toolbar, const char* name) {
        QAction* a = action(toolbar, name);
        ASSERT_TRUE(a);
        QWidget* button = static_cast<QToolBar*>(toolbar)->widgetForAction(a);
        ASSERT_TRUE(button);
        QTest::mouseClick(button, Qt::LeftButton);
    }
    template <class W>
    static W* child(QWidget* parent, const char* name) {
        W* w = parent->findChild<W*>(QLatin1String(name));
        EXPECT_TRUE(w) << "no child " << name;
        return w;
    }
    // Replaces the text of a field as the operator does: select all, type.
    static void type(QWidget* field, const QString& text) {
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
    }
    static void pressOk(QDialog* dialog) {
        auto* buttons = dialog->findChild<QDialogButtonBox*>("buttons");
        ASSERT_TRUE(buttons);
        QPointer<QDialog> closing(dialog);
        QTest::mouseClick(buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);
        // The dialog deletes itself; the next one of that name is a new one.
        ASSERT_TRUE(QTest::qWaitFor([&] { return closing.isNull(); }, 2000));
    }

    int toolType() const { return view->currentTool()->getType(); }

    QWidget host;
    ViewWidget* view = nullptr;
    std::vector<std::pair<QString, QWidget*>> loaded;
};

// The first feature of a layer, read back from the kernel.
inline TOLVA::API::featureInfo feature(const std::string& job, const std::string& layer, int index) {
    TOLVA::API::featureInfo info;
    TOLVA::API::get_featureinfo_by_index(job, testsupport::ScopedJob::kStep, layer, index, info);
    return info;
}

inline void selectAll(const std::string& job, const std::string& layer) {
    TOLVA::API::select_features(job, testsupport::ScopedJob::kStep, layer);
}

}  // namespace siblings
