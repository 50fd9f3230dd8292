#pragma once
// The job list and the real view, loaded through the plug-in manager for one
// host as the application does, over a small job: a silk layer, top copper
// with pads and lines carrying nets, an inner layer, a drill layer and a
// document layer.
#include <gtest/gtest.h>

#include <QHBoxLayout>
#include <QHeaderView>
#include <QTest>
#include <QTreeWidget>
#include <set>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_Job.h"
#include "ViewTool/Graphic_ViewTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

namespace joblisttest {

using TOLVA::GRAPHIC::ViewWidget;
using testsupport::MessageRecorder;

constexpr const char* kJob = "joblist_job";
constexpr const char* kStep = "pcb";

// Features of "top", by index.
enum Top { P1 = 0, P2, L1, L2, L3, P3, P4 };

inline TOLVA::API::attr_map net(const char* name) { return {{".net", name}}; }

inline int symbol(const std::string& layer, const std::string& name) {
    int index = -1;
    TOLVA::API::create_new_symbol(kJob, kStep, layer, name, index);
    return index;
}

inline std::string pad(const std::string& layer, double x, double y, const char* sym) {
    return TOLVA::API::GreatePadString(x, y, symbol(layer, sym), TOLVA::API::POL_POSITIVE, 0, 0, 0.0);
}

inline std::string line(const std::string& layer, double x1, double y1, double x2, double y2) {
    return TOLVA::API::GreateLineString(x1, y1, x2, y2, symbol(layer, "r100"), TOLVA::API::POL_POSITIVE, 0);
}

inline void addTo(const std::string& layer, const std::vector<std::string>& strings,
                  const std::vector<TOLVA::API::attr_map>& attributes) {
    TOLVA::API::AddFeatures(kJob, kStep, {layer}, {{layer, strings}}, attributes);
}

inline void buildJob() {
    using namespace TOLVA;
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    JOB::create_job(kJob);
    JOB::create_step(kJob, kStep);
    JOB::add_layer(kJob, "silk", "board", "silk_screen", "positive");
    JOB::add_layer(kJob, "top", "board", "signal", "positive");
    JOB::add_layer(kJob, "l2", "board", "signal", "positive");
    JOB::add_layer(kJob, "drill", "board", "drill", "positive");
    JOB::add_layer(kJob, "notes", "misc", "document", "positive");
    JOB::set_profile(kJob, kStep, {{0, 0}, {20e6, 0}, {20e6, 20e6}, {0, 20e6}, {0, 0}});
    addTo("top",
          {pad("top", 4e6, 4e6, "r500"), pad("top", 16e6, 4e6, "r500"), line("top", 4e6, 10e6, 10e6, 10e6),
           line("top", 10e6, 10e6, 10e6, 16e6), line("top", 13e6, 16e6, 18e6, 16e6), pad("top", 16e6, 10e6, "r500"),
           pad("top", 16e6, 10e6, "r300")},
          {net("GND"), net("SIG1"), net("SIG1"), net("SIG1"), net("GND"), {}, {}});
    addTo("l2", {line("l2", 2e6, 18e6, 8e6, 18e6), pad("l2", 12e6, 2e6, "r500")}, {net("SIG1"), net("GND")});
    addTo("drill", {pad("drill", 4e6, 4e6, "r300")}, {net("GND")});
    addTo("silk", {line("silk", 1e6, 1e6, 3e6, 1e6)}, {});
}

inline std::set<int> selectedOn(const std::string& layer) {
    std::vector<TOLVA::API::featureInfo> list;
    TOLVA::API::get_selected_feature_info(kJob, kStep, layer, list);
    std::set<int> out;
    for (const auto& f : list) out.insert(f.index);
    return out;
}

class JobListFixture : public ::testing::Test {
protected:
    void SetUp() override {
        buildJob();
        auto* manager = QTpluginsManger4CAM::instance();
        QString error;
        list = manager->createInstance(PluginNames::JobList, &host, &error);
        ASSERT_NE(list, nullptr) << error.toStdString();
        view = dynamic_cast<ViewWidget*>(manager->createInstance(PluginNames::GraphicView, &host, &error));
        ASSERT_NE(view, nullptr) << error.toStdString();
        auto* layout = new QHBoxLayout(&host);
        layout->addWidget(list);
        layout->addWidget(view, 1);
        host.resize(800, 400);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
        tree = list->findChild<QTreeWidget*>(QStringLiteral("layerTree"));
        ASSERT_NE(tree, nullptr);
    }
    void TearDown() override {
        auto* manager = QTpluginsManger4CAM::instance();
        manager->releaseInstance(PluginNames::JobList, &host);
        manager->releaseInstance(PluginNames::GraphicView, &host);
        delete list;
        delete view;
        TOLVA::JOB::delete_job(kJob);
    }

    // Delivers a message through the manager for this host.
    void deliver(const QString& from, const QString& to, qint32 code, const QVariantMap& data = {},
                 void* payload = nullptr) {
        PluginMetaData msg(from, to, code);
        msg.data = data;
        msg.payload = payload;
        QTpluginsManger4CAM::instance()->recMegToPlugin(&host, msg);
    }
    void toJobList(qint32 code, const QVariantMap& data = {}, void* payload = nullptr) {
        deliver(PluginNames::GraphicView, PluginNames::JobList, code, data, payload);
    }
    // The host announces the job, as it does when one is opened.
    void bindJob(const QString& job = kJob, const QString& step = kStep) {
        deliver(PluginNames::GraphicEditor, PluginNames::JobList, 20001637,
                {{QStringLiteral("JobName"), job}, {QStringLiteral("Step"), step}});
    }

    // Messages the job list sent to the view with `code`, oldest first.
    std::vector<PluginMetaData> toView(qint32 code) const {
        std::vector<PluginMetaData> out;
        for (const PluginMetaData& m : messages.withCode(code))
            if (m.sender == PluginNames::JobList && m.receiver == PluginNames::GraphicView) out.push_back(m);
        return out;
    }
    int redraws() const { return int(toView(20000417).size()); }

    // The rectangle of a cell of the layer list, in viewport coordinates.
    QRect cell(const QString& layer, int column) const {
        const QRect columnRect(tree->header()->sectionViewportPosition(column), 0, tree->header()->sectionSize(column),
                               tree->viewport()->height());
        return tree->visualItemRect(row(layer)).intersected(columnRect);
    }
    QTreeWidgetItem* row(const QString& name) const {
        const auto found = tree->findItems(name, Qt::MatchExactly, 0);
        return found.isEmpty() ? nullptr : found.front();
    }

    QWidget host;
    QWidget* list = nullptr;
    ViewWidget* view = nullptr;
    QTreeWidget* tree = nullptr;
    MessageRecorder messages;
    testsupport::PromptRecorder prompts;
};

}  // namespace joblisttest
