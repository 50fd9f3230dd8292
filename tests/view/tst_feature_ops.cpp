// Feature creation through the real kernel: the layer sets of the immediate
// and batched operations, the argument orders on the way to the builders,
// the journal order, the grid repeat and the failure reports.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <cmath>
#include <functional>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr char kJob[] = "feat_job";
const QString kMultiLayer = QStringLiteral("Operation will be done on multiple layers. Continue?");
const QString kAllFeatures = QStringLiteral("Operation will be performed on ALL features. Continue?");

std::vector<API::featureInfo> featuresOf(const std::string& layer) {
    std::vector<API::featureInfo> out;
    const int n = TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, layer);
    for (int i = 0; i < n; ++i) {
        API::featureInfo f;
        API::get_featureinfo_by_index(kJob, ScopedJob::kStep, layer, i, f);
        out.push_back(f);
    }
    return out;
}

int countOn(const std::string& layer) { return TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, layer); }

class FeatureOps : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(200, 200);
        testsupport::openJobInView(view, kJob, ScopedJob::kStep, {"top", "bot"});
        view->work_layer = "top";
        prompts.clear();
    }
    void TearDown() override {
        TOLVA::DB::set_SaveFlag(false);
        delete view;
    }
    void repeat(qint32 cx, qint32 cy, double sx, double sy) {
        ViewWidget::RepeatParameters p{cx, cy, sx, sy};
        PluginMetaData msg(PluginNames::MenuBarStep, PluginNames::GraphicView, 20001605);
        msg.payload = &p;
        recMsgFromManager(view, &msg);
    }
    void selectAll(const std::string& layer) { API::select_features(kJob, ScopedJob::kStep, layer); }

    ScopedJob job{kJob, 1e7, 1e7, {"top", "bot", "inner"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

// Every add and set operation, as a caller drives it.
using Operation = std::function<void(ViewWidget&)>;
const std::vector<std::pair<const char*, Operation>>& everyOperation() {
    static const API::feature_point seg{0, 0, 1000, 0, 0, 0, 0, 0};
    static const API::feature_point arc{1000, 0, 0, 1000, 0, 0, 0, 0};
    static const std::vector<std::pair<const char*, Operation>> ops = {
        {"line", [](ViewWidget& v) { v.add_line_feature("r100", 0, 0, 1000, 0, 1, 0); }},
        {"pad", [](ViewWidget& v) { v.add_pad_feature("r100", 500, 500, 1, 0, 0); }},
        {"arc", [](ViewWidget& v) { v.add_arc_feature("r100", {1000, 0}, {0, 1000}, {0, 0}, 1, 0, false); }},
        {"surface",
         [](ViewWidget& v) { v.add_surface_feature({{0, 0}, {1000, 0}, {1000, 1000}, {0, 0}}, 1, 0, true, false); }},
        {"text",
         [](ViewWidget& v) { v.add_text_feature({100, 100}, "T", 1, 0, 5e5, 5e5, 1, "standard", 1.0, 0); }},
        {"line content", [](ViewWidget& v) { v.set_line_feature_content("r100", {seg}, 1, 0); v.add_features(); }},
        {"pad content", [](ViewWidget& v) { v.set_pad_feature_content("r100", {{1, 2}}, 1, 0, 0, 1.0); v.add_features(); }},
        {"arc content", [](ViewWidget& v) { v.set_arc_feature_content("r100", {arc}, 1, 0, true); v.add_features(); }},
        {"surface content",
         [](ViewWidget& v) {
             v.set_surface_feature_content({{0, 0}, {10, 0}, {10, 10}, {0, 0}}, 1, 0, true);
             v.add_features();
         }},
    };
    return ops;
}

TEST_F(FeatureOps, WithoutAWorkLayerNothingIsAddedAndNothingShown) {
    view->work_layer.clear();
    view->affected_layers = {"bot"};
    MessageRecorder messages;
    for (const auto& op : everyOperation()) {
        op.second(*view);
        EXPECT_EQ(countOn("top") + countOn("bot"), 0) << op.first;
        EXPECT_TRUE(view->pending_feature_strings.empty()) << op.first;
    }
    EXPECT_TRUE(prompts.requests().empty());
    EXPECT_TRUE(messages.withCode(20002401).empty());
    // The repeat speaks up only when no layer at all is active.
    repeat(2, 1, 1000, 0);
    EXPECT_FALSE(prompts.texts().contains("No active layers defined"));
    view->affected_layers.clear();
    prompts.clear();
    repeat(2, 1, 1000, 0);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].title, "Info");
    EXPECT_EQ(prompts.requests()[0].text, "No active layers defined");
}

// The immediate adds never ask; each layer of the set gets exactly one
// feature, the work layer first, a layer named twice once.
TEST_F(FeatureOps, ImmediateAddsReachEveryLayerOfTheSetOnce) {
    struct Case {
        std::vector<std::string> affected;
        int top, bot, inner;
    };
    const Case cases[] = {
        {{}, 1, 0, 0},
        {{"top"}, 1, 0, 0},
        {{"bot"}, 1, 1, 0},
        {{"bot", "bot"}, 1, 1, 0},
        {{"inner", "top", "bot"}, 1, 1, 1},
    };
    for (const auto& op : everyOperation()) {
        if (std::string(op.first).find("content") != std::string::npos) continue;
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(op.first) + " with " + std::to_string(c.affected.size()) + " affected");
            const int top = countOn("top"), bot = countOn("bot"), inner = countOn("inner");
            view->affected_layers = c.affected;
            MessageRecorder messages;
            op.second(*view);
            EXPECT_EQ(countOn("top") - top, c.top);
            EXPECT_EQ(countOn("bot") - bot, c.bot);
            EXPECT_EQ(countOn("inner") - inner, c.inner);
            EXPECT_TRUE(prompts.requests().empty());
            // The layer matrix hears of the change through the job-update path.
            const auto updates = messages.withCode(20002401);
            ASSERT_EQ(updates.size(), 1u);
            EXPECT_EQ(updates[0].receiver, PluginNames::Matrix);
            EXPECT_EQ(updates[0].sender, PluginNames::GraphicView);
            EXPECT_EQ(updates[0].data.value("DstType").toString(), "Matrix");
            EXPECT_EQ(updates[0].data.value("JobName").toString(), kJob);
            for (const auto& e : messages.entries())
                if (e.msg.msgType == 20002401) {
                    EXPECT_EQ(e.route, "job");
                }
        }
    }
}

// The pad's second and third ints and the text's last double and int
// change places on their way to the builders.
TEST_F(FeatureOps, ArgumentsReachTheBuildersInTheirOrder) {
    view->add_pad_feature("r100", 1000, 2000, API::POL_NEGATIVE, 1, 90);
    view->add_text_feature({3000, 4000}, "AB", API::POL_POSITIVE, 45, 2e5, 3e5, 1.0, "standard", 2.0, 1);
    view->add_line_feature("s200", 10, 20, 30, 40, API::POL_NEGATIVE, 7);
    view->add_arc_feature("r100", {1000, 0}, {0, 1000}, {0, 0}, API::POL_POSITIVE, 3, true);
    view->set_pad_feature_content("r100", {{5000, 6000}}, API::POL_POSITIVE, 1, 180, 2.0);
    view->add_features();
    const auto f = featuresOf("top");
    ASSERT_EQ(f.size(), 5u);
    EXPECT_EQ(f[0].type, API::FT_PAD);
    EXPECT_EQ(f[0].polarity, API::POL_NEGATIVE);
    EXPECT_EQ(f[0].angle, 90);
    EXPECT_EQ(f[0].mirror, 1);
    EXPECT_EQ(f[1].type, API::FT_TEXT);
    EXPECT_EQ(f[1].text, "AB");
    EXPECT_EQ(f[1].angle, 45);
    EXPECT_EQ(f[1].mirror, 1);
    EXPECT_DOUBLE_EQ(f[1].xs, 3000);
    EXPECT_EQ(f[2].symbol, "s200");
    EXPECT_DOUBLE_EQ(f[2].xe, 30);
    EXPECT_DOUBLE_EQ(f[2].ye, 40);
    EXPECT_EQ(f[2].polarity, API::POL_NEGATIVE);
    EXPECT_EQ(f[3].direction, "CW");
    EXPECT_EQ(f[4].angle, 180);
    EXPECT_EQ(f[4].mirror, 1);
    EXPECT_NE(f[4].record.find(" 2"), std::string::npos) << f[4].record;  // the content's scale is passed on
}

TEST_F(FeatureOps, SurfaceFlagSelectsTheNewFeatures) {
    view->affected_layers = {"bot"};
    view->add_surface_feature({{0, 0}, {1000, 0}, {1000, 1000}, {0, 0}}, 1, 0, true, true);
    view->add_surface_feature({{0, 0}, {2000, 0}, {2000, 2000}, {0, 0}}, 1, 0, true, false);
    for (const char* layer : {"top", "bot"}) {
        std::vector<API::featureInfo> selected;
        API::get_selected_feature_info(kJob, ScopedJob::kStep, layer, selected);
        ASSERT_EQ(selected.size(), 1u) << layer;
        EXPECT_DOUBLE_EQ(selected[0].xmax, 1000) << layer;
    }
}

TEST_F(FeatureOps, SymbolAttributesAreReplacedAsAWhole) {
    PluginMetaData msg(PluginNames::MenuBarEdit, PluginNames::GraphicView, 51);
    msg.data.insert("attributes", QVariantMap{{".smd", ""}, {".net_name", "GND"}});
    recMsgFromManager(view, &msg);
    view->add_pad_feature("r100", 0, 0, 1, 0, 0);
    msg.data.insert("attributes", QVariantMap{{".fiducial", "yes"}});
    recMsgFromManager(view, &msg);
    view->add_pad_feature("r100", 100, 0, 1, 0, 0);
    const auto f = featuresOf("top");
    ASSERT_EQ(f.size(), 2u);
    EXPECT_EQ(f[0].attributes, (API::attr_map{{".smd", ""}, {".net_name", "GND"}}));
    EXPECT_EQ(f[1].attributes, (API::attr_map{{".fiducial", "yes"}}));
}

// Batches accumulate per layer until add_features; a multi-layer batch asks
// once, and Cancel throws the whole batch away.
TEST_F(FeatureOps, BatchesAccumulateAndAskBeforeAMultiLayerStore) {
    const API::feature_point a{0, 0, 1000, 0, 0, 0, 0, 0}, b{0, 100, 1000, 100, 0, 0, 0, 0};
    struct Case {
        std::vector<std::string> affected;
        QMessageBox::StandardButton answer;
        int questions, top, bot;
    };
    const Case cases[] = {
        {{"top"}, QMessageBox::Ok, 0, 3, 0},
        {{"bot"}, QMessageBox::Ok, 1, 3, 3},
        {{"bot"}, QMessageBox::Cancel, 1, 0, 0},
        {{"top", "bot"}, QMessageBox::Ok, 1, 3, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        const int top = countOn("top"), bot = countOn("bot");
        view->affected_layers = c.affected;
        prompts.clear();
        if (c.questions) prompts.queue(c.answer);
        view->set_line_feature_content("r100", {a, b}, 1, 0);
        view->set_line_feature_content("r100", {a}, 1, 0);
        ASSERT_FALSE(view->pending_feature_strings.empty());
        EXPECT_EQ(view->pending_feature_strings[0].size(), 3u);
        EXPECT_EQ(countOn("top"), top);  // nothing stored before add_features
        view->add_features();
        EXPECT_EQ(int(prompts.requests().size()), c.questions);
        if (c.questions) {
            EXPECT_EQ(prompts.requests()[0].text, kMultiLayer);
            EXPECT_EQ(prompts.requests()[0].title, "Information");
        }
        EXPECT_EQ(countOn("top") - top, c.top);
        EXPECT_EQ(countOn("bot") - bot, c.bot);
        EXPECT_TRUE(view->pending_feature_strings.empty());
    }
}

TEST_F(FeatureOps, ConfirmationFollowsTheLayerSet) {
    struct Case {
        std::string work;
        std::vector<std::string> affected;
        bool asks;
        bool result;  // with Cancel as the answer
    };
    const Case cases[] = {
        {"", {}, false, false},          {"top", {}, false, true},        {"top", {"top"}, false, true},
        {"top", {"bot"}, true, false},   {"top", {"top", "bot"}, true, false},
        {"top", {"top", "top"}, true, false},
    };
    for (const Case& c : cases) {
        view->work_layer = c.work;
        view->affected_layers = c.affected;
        prompts.clear();
        prompts.queue(QMessageBox::Cancel);
        EXPECT_EQ(view->add_feature_confirm(), c.result) << int(&c - cases);
        EXPECT_EQ(prompts.requests().size(), c.asks ? 1u : 0u) << int(&c - cases);
    }
}

TEST_F(FeatureOps, JournalTwinsComeImmediatelyBeforeTheirCalls) {
    QTemporaryDir dir;
    const std::string path = (dir.path() + "/feat.journal").toStdString();
    TOLVA::JOB::set_journal_path(kJob, path);
    TOLVA::DB::set_SaveFlag(true);
    view->affected_layers = {"bot"};
    view->add_line_feature("r100", 0, 0, 1000, 0, 1, 0);
    TOLVA::DB::set_SaveFlag(false);
    QFile file(QString::fromStdString(path));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList calls;
    for (const QString& line : QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts))
        calls << line.section(' ', 0, 0);
    // draw() journals its own queries after the edit.
    EXPECT_EQ(calls.mid(0, 5), (QStringList{"create_new_symbol", "GreateLineString", "create_new_symbol", "GreateLineString",
                                  "AddFeature"}));
}

// A failing kernel call: the operation's own line in the log, the kernel's
// text in a box titled "Info", nothing stored.
TEST_F(FeatureOps, KernelFailureReportsTheOperation) {
    struct Case {
        const char* log;
        Operation op;
    };
    const Case cases[] = {
        {"add line feature Error.", [](ViewWidget& v) { v.add_line_feature("nonsense", 0, 0, 1, 1, 1, 0); }},
        {"add pad feature Error.", [](ViewWidget& v) { v.add_pad_feature("r100", 1e12, 0, 1, 0, 0); }},
        {"set arc feature content Error.",
         [](ViewWidget& v) { v.set_arc_feature_content("q7", {API::feature_point{}}, 1, 0, true); }},
    };
    for (const Case& c : cases) {
        prompts.clear();
        LogCapture logs;
        c.op(*view);
        EXPECT_EQ(logs.count(google::GLOG_ERROR, c.log), 1) << c.log;
        ASSERT_EQ(prompts.requests().size(), 1u) << c.log;
        EXPECT_EQ(prompts.requests()[0].title, "Info");
        EXPECT_FALSE(prompts.requests()[0].text.isEmpty());
        EXPECT_EQ(countOn("top"), 0);
    }
}

// ---- repeat ----------------------------------------------------------------------

TEST_F(FeatureOps, RepeatCopiesTheSelectionOnATruncatedGrid) {
    job.addPad("top", 1000, 1000, "r100");
    job.addPad("bot", 1000, 1000, "r100");
    selectAll("top");
    repeat(3, 2, 2.9, -10.6);
    const auto f = featuresOf("top");
    ASSERT_EQ(f.size(), 6u);
    // Row by row, the origin skipped: x offsets 0, 2, 5 and y offsets 0, -10.
    const double xs[] = {1000, 1002, 1005, 1000, 1002, 1005};
    const double ys[] = {1000, 1000, 1000, 990, 990, 990};
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_DOUBLE_EQ(f[i].xs, xs[i]) << i;
        EXPECT_DOUBLE_EQ(f[i].ys, ys[i]) << i;
    }
    EXPECT_EQ(countOn("bot"), 1);
    EXPECT_TRUE(prompts.requests().empty());
}

TEST_F(FeatureOps, RepeatOfOneByOneCopiesNothingAndCallsNoCopy) {
    job.addPad("top", 1000, 1000, "r100");
    selectAll("top");
    QTemporaryDir dir;
    const std::string path = (dir.path() + "/rep.journal").toStdString();
    TOLVA::JOB::set_journal_path(kJob, path);
    TOLVA::DB::set_SaveFlag(true);
    repeat(1, 1, 5000, 5000);
    TOLVA::DB::set_SaveFlag(false);
    EXPECT_EQ(countOn("top"), 1);
    QFile file(QString::fromStdString(path));
    const QString journal = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    EXPECT_FALSE(journal.contains("multi_copy_features_in_samelayer"));
}

TEST_F(FeatureOps, RepeatRefusesBadParametersBeforeCopying) {
    job.addPad("top", 1000, 1000, "r100");
    selectAll("top");
    struct Case {
        qint32 cx, cy;
        double sx;
    };
    const Case cases[] = {{0, 3, 100}, {3, -1, 100}, {-2, -2, 100}, {4000, 4000, 1}, {2, 1, std::nan("")}};
    for (const Case& c : cases) {
        prompts.clear();
        repeat(c.cx, c.cy, c.sx, 0);
        EXPECT_EQ(prompts.requests().size(), 1u) << c.cx << "x" << c.cy;
        EXPECT_EQ(countOn("top"), 1);
    }
    LogCapture logs;
    PluginMetaData nullPayload(PluginNames::MenuBarStep, PluginNames::GraphicView, 20001605);
    recMsgFromManager(view, &nullPayload);
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "repeat"), 1);
    EXPECT_EQ(countOn("top"), 1);
}

TEST_F(FeatureOps, RepeatOfNothingSelectedAsksForAllFeatures) {
    job.addPad("top", 0, 0, "r100");
    job.addPad("top", 0, 500, "r100");
    prompts.queue(QMessageBox::Cancel);
    repeat(2, 1, 1000, 0);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].text, kAllFeatures);
    EXPECT_EQ(countOn("top"), 2);
    prompts.clear();
    prompts.queue(QMessageBox::Ok);
    repeat(2, 1, 1000, 0);
    EXPECT_EQ(countOn("top"), 4);
    // The operator's select parameters are given back after the whole-layer selection.
    EXPECT_TRUE(API::get_select_param() == API::select_param{});
}

TEST_F(FeatureOps, RepeatOnOtherLayersAsksFirst) {
    job.addPad("top", 0, 0, "r100");
    job.addPad("bot", 0, 0, "r100");
    selectAll("top");
    selectAll("bot");
    view->affected_layers = {"bot"};
    prompts.queue(QMessageBox::Cancel);
    repeat(2, 1, 1000, 0);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].text, kMultiLayer);
    EXPECT_EQ(countOn("top") + countOn("bot"), 2);
    repeat(2, 1, 1000, 0);  // the fallback answer is OK
    EXPECT_EQ(countOn("top"), 2);
    EXPECT_EQ(countOn("bot"), 2);
}

}  // namespace
