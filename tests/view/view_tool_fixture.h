#pragma once
// A view on a small job in the real kernel, driven as a user drives it:
// requests through the message entry point, mouse and keys on the widget,
// and the job's features read back from the kernel.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMouseEvent>
#include <QTest>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

namespace viewtools {

using TOLVA::GRAPHIC::ViewWidget;
using testsupport::ScopedJob;

class ViewToolTest : public ::testing::Test {
protected:
    explicit ViewToolTest(const char* job) : m_jobName(job), job(job, 1e7, 1e7, {"top", "bot"}) {}

    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(200, 200);
        testsupport::openJobInView(view, m_jobName, ScopedJob::kStep, {"top", "bot"});
        view->work_layer = "top";
        TOLVA::UIAPI::getCoordinate(&host).snap_on = false;
    }
    void TearDown() override { delete view; }

    void send(qint32 code, const QVariantMap& data = {}) {
        PluginMetaData msg(PluginNames::MenuBarEdit, PluginNames::GraphicView, code);
        msg.data = data;
        recMsgFromManager(view, &msg);
    }
    QPoint pixel(double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return {px, py};
    }
    void mouse(QEvent::Type type, const QPoint& at, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, view->mapToGlobal(at), button, held, mods);
        QApplication::sendEvent(view, &event);
    }
    void click(const QPoint& at, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        mouse(QEvent::MouseButtonPress, at, mods);
        mouse(QEvent::MouseButtonRelease, at, mods);
    }
    void drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        mouse(QEvent::MouseButtonPress, from, mods);
        mouse(QEvent::MouseMove, (from + to) / 2, mods);
        mouse(QEvent::MouseMove, to, mods);
        mouse(QEvent::MouseButtonRelease, to, mods);
    }
    void key(Qt::Key k) { QTest::keyClick(view, k); }
    std::vector<TOLVA::API::featureInfo> features(const std::string& layer) {
        std::vector<TOLVA::API::featureInfo> all;
        const int n = TOLVA::JOB::feature_count(m_jobName, ScopedJob::kStep, layer);
        for (int i = 0; i < n; ++i) {
            TOLVA::API::featureInfo f;
            TOLVA::API::get_featureinfo_by_index(m_jobName, ScopedJob::kStep, layer, i, f);
            all.push_back(f);
        }
        return all;
    }
    // The records of the layer, for comparing the job before and after.
    std::vector<std::string> records(const std::string& layer) {
        std::vector<std::string> out;
        for (const TOLVA::API::featureInfo& f : features(layer)) out.push_back(f.record);
        return out;
    }
    void select(const std::string& layer, int index) {
        TOLVA::API::select_feature_by_id(m_jobName, ScopedJob::kStep, layer, index);
    }
    void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    std::string m_jobName;
    ScopedJob job;
    QWidget host;
    ViewWidget* view = nullptr;
    testsupport::PromptRecorder prompts;
};

}  // namespace viewtools
