// The edit buffer, same-layer offsets, offset edits and undo, through the
// real kernel: which layers are asked about, what the kernel moves, and that
// undo gives back the saved job byte for byte.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <functional>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;
using T = Graphic_ViewTool;

namespace {

constexpr char kJob[] = "buffer_job";
const QString kMulti = QStringLiteral("Operation will be done on multiple layers, Continue?");
const QString kAll = QStringLiteral("Operation will be performed on All features.Continue?");
const QString kOutside = QStringLiteral("Some features have been selected outside box. Continue?");

API::featureInfo featureAt(const std::string& layer, int index) {
    API::featureInfo f;
    API::get_featureinfo_by_index(kJob, ScopedJob::kStep, layer, index, f);
    return f;
}
int countOn(const std::string& layer) { return TOLVA::JOB::feature_count(kJob, ScopedJob::kStep, layer); }

// Every file of a saved job, by name.
std::map<QString, QByteArray> savedBytes() {
    QTemporaryDir dir;
    dir.setAutoRemove(true);
    TOLVA::JOB::save_job(kJob, dir.path().toStdString());
    std::map<QString, QByteArray> files;
    QDir d(dir.path());
    for (const QString& name : d.entryList(QDir::Files)) {
        QFile f(d.filePath(name));
        f.open(QIODevice::ReadOnly);
        files[name] = f.readAll();
    }
    return files;
}

class EditBufferTest : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(200, 200);
        testsupport::openJobInView(view, kJob, ScopedJob::kStep, {"top", "bot"});
        job.addPad("top", 1000, 1000, "r100");
        job.addPad("top", 5000, 5000, "r100");
        job.addPad("bot", 1000, 1000, "r100");
        view->work_layer = "top";
        prompts.clear();
    }
    void TearDown() override {
        view->clear_eidt_buffer();
        delete view;
    }
    TOLVA::UIAPI::Edit_Buffer& buffer() { return TOLVA::UIAPI::getEditBuffer(&host); }
    void select(const std::string& layer, int index) {
        API::select_feature_by_id(kJob, ScopedJob::kStep, layer, index);
    }
    void send(qint32 code, const QVariantMap& data = {}) {
        PluginMetaData msg(PluginNames::MenuBarEdit, PluginNames::GraphicView, code);
        msg.data = data;
        recMsgFromManager(view, &msg);
    }

    ScopedJob job{kJob, 1e7, 1e7, {"top", "bot", "inner"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

// Which questions the layer check asks, and what it answers.
TEST_F(EditBufferTest, LayerCheckAsksOnlyWhatApplies) {
    struct Case {
        std::string work;
        std::vector<std::string> affected;
        bool selectFirst;
        bool askAll;
        std::vector<QMessageBox::StandardButton> answers;
        QStringList asked;
        bool result;
        std::vector<std::string> layers;  // affected first, the work layer last
    };
    const Case cases[] = {
        {"", {}, false, true, {}, {"There are no active layers!"}, false, {}},
        {"top", {}, true, true, {}, {}, true, {"top"}},
        {"top", {"top"}, false, false, {}, {}, true, {"top"}},
        {"top", {}, false, true, {QMessageBox::No}, {kAll}, false, {"top"}},
        {"top", {}, false, true, {QMessageBox::Yes}, {kAll}, true, {"top"}},
        {"top", {"bot"}, true, true, {QMessageBox::Cancel}, {kMulti}, false, {"bot", "top"}},
        {"top", {"bot"}, false, true, {QMessageBox::Yes, QMessageBox::Yes}, {kMulti, kAll}, true, {"bot", "top"}},
        {"", {"bot", "inner"}, false, false, {QMessageBox::Yes}, {kMulti}, true, {"bot", "inner"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        for (const char* layer : {"top", "bot", "inner"}) API::clear_selected_features(kJob, ScopedJob::kStep, layer);
        if (c.selectFirst) select("top", 0);
        view->work_layer = c.work;
        view->affected_layers = c.affected;
        prompts.clear();
        for (auto a : c.answers) prompts.queue(a);
        std::vector<std::string> layers;
        EXPECT_EQ(view->check_active_layers(layers, c.askAll), c.result);
        EXPECT_EQ(prompts.texts(), c.asked);
        if (!c.asked.isEmpty()) {
            EXPECT_EQ(prompts.requests()[0].title, "Information");
        }
        EXPECT_EQ(layers, c.layers);
    }
}

TEST_F(EditBufferTest, PasteOfAnEmptyBufferSaysSoAndKeepsTheTool) {
    const T* before = view->currentTool();
    send(20001417);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].title, "ERROR!");
    EXPECT_EQ(prompts.requests()[0].text, "Buffer is empty!");
    EXPECT_EQ(view->currentTool(), before);
}

TEST_F(EditBufferTest, CopyFillsTheBufferAndUnselects) {
    select("top", 1);
    view->affected_layers = {"bot"};
    select("bot", 0);
    prompts.queue(QMessageBox::Yes);
    view->get_copy_or_cut_features();
    ASSERT_EQ(buffer().features.size(), 2u);
    EXPECT_EQ(buffer().features["top"].size(), 1u);
    EXPECT_EQ(buffer().features["top"][0].index, 1);
    EXPECT_EQ(buffer().features["bot"].size(), 1u);
    EXPECT_FALSE(API::is_selected(kJob, ScopedJob::kStep, "top"));
    EXPECT_FALSE(API::is_selected(kJob, ScopedJob::kStep, "bot"));
}

// The kernel gets the move of the box centres, truncated toward zero.
TEST_F(EditBufferTest, PasteMovesOrCopiesByTheTruncatedCentreDisplacement) {
    struct Case {
        int editType;
        double shift;
        int topCount;
        double movedX;  // x of feature 1 after the paste
    };
    const Case cases[] = {{0, 10.6, 2, 5010}, {0, -10.6, 2, 4990}, {2, 10.6, 3, 5000}, {2, -10.6, 3, 5000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        ScopedJob fresh{kJob, 1e7, 1e7, {"top", "bot"}};
        fresh.addPad("top", 1000, 1000, "r100");
        fresh.addPad("top", 5000, 5000, "r100");
        select("top", 1);
        view->get_copy_or_cut_features();
        buffer().edit_type = c.editType;
        buffer().boxes = {QRectF(0, 0, 100, 100), QRectF(c.shift, 0, 100, 100)};
        view->receive_Buffer_CpyAndCut();
        EXPECT_EQ(countOn("top"), c.topCount);
        EXPECT_DOUBLE_EQ(featureAt("top", 1).xs, c.movedX);
        if (c.editType == 2) {
            EXPECT_DOUBLE_EQ(featureAt("top", 2).xs, 5000 + std::trunc(c.shift));
        }
        EXPECT_TRUE(prompts.requests().empty());
    }
}

TEST_F(EditBufferTest, PasteNeedsTwoBoxes) {
    select("top", 0);
    view->get_copy_or_cut_features();
    buffer().edit_type = 2;
    buffer().boxes = {QRectF(0, 0, 10, 10)};
    LogCapture logs;
    view->receive_Buffer_CpyAndCut();
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "move rect list size is not fit!"), 1);
    EXPECT_EQ(countOn("top"), 2);
}

// A feature changed after the copy makes the buffer stale: nothing is copied,
// the buffer is emptied, and the next paste request says it is empty.
TEST_F(EditBufferTest, StaleCopyBufferIsEmptiedInsteadOfPasted) {
    select("top", 0);
    select("top", 1);
    view->get_copy_or_cut_features();
    select("top", 1);
    API::move_same_layer(kJob, ScopedJob::kStep, {"top"}, 1, 0);  // feature 1 is no longer what was copied
    buffer().edit_type = 2;
    buffer().boxes = {QRectF(0, 0, 10, 10), QRectF(100, 0, 10, 10)};
    view->receive_Buffer_CpyAndCut();
    EXPECT_EQ(countOn("top"), 2);
    EXPECT_TRUE(buffer().features.empty());
    EXPECT_TRUE(buffer().boxes.empty());
    send(20001417);
    EXPECT_EQ(prompts.texts(), QStringList{"Buffer is empty!"});
}

TEST_F(EditBufferTest, ClearingTheBufferResetsEveryMember) {
    select("top", 0);
    view->get_copy_or_cut_features();
    buffer().edit_type = 2;
    buffer().boxes = {QRectF(0, 0, 1, 1)};
    buffer().preview = QPixmap(4, 4);
    LogCapture logs;
    view->clear_eidt_buffer();
    EXPECT_TRUE(buffer().features.empty());
    EXPECT_EQ(buffer().edit_type, -1);
    EXPECT_TRUE(buffer().preview.isNull());
    EXPECT_TRUE(buffer().boxes.empty());
    EXPECT_TRUE(logs.contains("GRAPHIC_VIEW_EDIT_BUFFER: the buffer has been cleared"));
}

TEST_F(EditBufferTest, FeatureExistsOnlyWhenEveryMemberStillMatches) {
    const API::featureInfo f = featureAt("top", 1);
    EXPECT_TRUE(view->is_feature_isExist("top", f));
    API::featureInfo other = f;
    other.xs += 1e-9;
    EXPECT_FALSE(view->is_feature_isExist("top", other));
    other = f;
    other.index = 7;
    EXPECT_FALSE(view->is_feature_isExist("top", other));
    other = f;
    other.mirror = 1;
    EXPECT_FALSE(view->is_feature_isExist("top", other));
}

TEST_F(EditBufferTest, SameLayerOffsetsByTwoBoxes) {
    struct Case {
        bool copy;
        double shift;
        int count;
        double x1;
    };
    const Case cases[] = {{false, 10.6, 2, 5010}, {false, -10.6, 2, 4990}, {true, 10.6, 3, 5000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        ScopedJob fresh{kJob, 1e7, 1e7, {"top", "bot"}};
        fresh.addPad("top", 1000, 1000, "r100");
        fresh.addPad("top", 5000, 5000, "r100");
        fresh.addPad("bot", 5000, 5000, "r100");
        select("top", 1);
        view->affected_layers = {"bot"};
        const QList<QRectF> boxes{QRectF(0, 0, 10, 10), QRectF(c.shift, 2 * c.shift, 10, 10)};
        if (c.copy) view->receive_CopyOffset_box(boxes);
        else view->receive_MoveOffset_box(boxes);
        EXPECT_EQ(countOn("top"), c.count);
        EXPECT_DOUBLE_EQ(featureAt("top", 1).xs, c.x1);
        EXPECT_DOUBLE_EQ(featureAt("top", c.count - 1).ys, 5000 + std::trunc(2 * c.shift));
        // Only layers with a selection are touched.
        EXPECT_DOUBLE_EQ(featureAt("bot", 0).xs, 5000);
        EXPECT_EQ(countOn("bot"), 1);
    }
}

TEST_F(EditBufferTest, OffsetMoveOrCopyOfTheSelectionUnselectsAfterwards) {
    select("top", 0);
    view->receive_tool_edit_copy_and_cut(-20.9, 30.2, nullptr, false);
    EXPECT_DOUBLE_EQ(featureAt("top", 0).xs, 980);
    EXPECT_DOUBLE_EQ(featureAt("top", 0).ys, 1030);
    EXPECT_FALSE(API::is_selected(kJob, ScopedJob::kStep, "top"));
    select("top", 1);
    view->receive_tool_edit_copy_and_cut(5, 0, nullptr, true);
    EXPECT_EQ(countOn("top"), 3);
    EXPECT_DOUBLE_EQ(featureAt("top", 2).xs, 5005);
    EXPECT_DOUBLE_EQ(featureAt("top", 1).xs, 5000);
}

// get_offset asks in its order and stops at the first refusal.
TEST_F(EditBufferTest, OffsetRequestAsksInOrder) {
    struct Case {
        qint32 code;
        bool selectOutside;
        std::vector<QMessageBox::StandardButton> answers;
        QStringList asked;
        double x1;  // feature 1 of top afterwards
        int count;
    };
    const Case cases[] = {
        // Choosing all features selects one outside the box, which asks again.
        {20001402, false, {QMessageBox::Yes, QMessageBox::Yes, QMessageBox::Yes}, {kMulti, kAll, kOutside}, 5100, 2},
        {20001402, false, {QMessageBox::Cancel}, {kMulti}, 5000, 2},
        {20001402, false, {QMessageBox::Yes, QMessageBox::No}, {kMulti, kAll}, 5000, 2},
        {20001402, true, {QMessageBox::Yes, QMessageBox::No}, {kMulti, kOutside}, 5000, 2},
        {20001402, true, {QMessageBox::Yes, QMessageBox::Yes}, {kMulti, kOutside}, 5100, 2},
        {20001403, true, {QMessageBox::Yes, QMessageBox::Yes}, {kMulti, kOutside}, 5000, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        ScopedJob fresh{kJob, 1e7, 1e7, {"top", "bot"}};
        fresh.addPad("top", 1000, 1000, "r100");
        fresh.addPad("top", 5000, 5000, "r100");
        if (c.selectOutside) select("top", 1);
        view->affected_layers = {"bot"};
        prompts.clear();
        for (auto a : c.answers) prompts.queue(a);
        send(c.code, {{"dx", 100.7}, {"dy", 0.0}, {"xmin", 0}, {"ymin", 0}, {"xmax", 2000}, {"ymax", 2000}});
        EXPECT_EQ(prompts.texts(), c.asked);
        EXPECT_DOUBLE_EQ(featureAt("top", 1).xs, c.x1);
        EXPECT_EQ(countOn("top"), c.count);
    }
}

// Each edge of the working box counts on its own: a selected feature inside
// in x but not in y (or the other way) is outside.
TEST_F(EditBufferTest, OffsetBoxEdgesAreReadEachByItsKey) {
    struct Case {
        double xmin, ymin, xmax, ymax;
        bool asked;
    };
    // In micrometres; the selected pad spans 4.95 to 5.05 mm in both axes.
    const Case cases[] = {
        {0, 4000, 6000, 6000, false}, {4000, 0, 6000, 6000, false}, {4900, 4900, 5100, 5100, false},
        {0, 0, 6000, 4500, true},     {0, 0, 4500, 6000, true},     {5000, 0, 6000, 6000, true},
        {0, 5000, 6000, 6000, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        ScopedJob fresh{kJob, 1e7, 1e7, {"top"}};
        fresh.addPad("top", 1e6, 1e6, "r100");
        fresh.addPad("top", 5e6, 5e6, "r100");
        select("top", 1);
        view->affected_layers = {};
        prompts.clear();
        prompts.queue(QMessageBox::No);
        send(20001402, {{"dx", 100.0}, {"dy", 0.0}, {"xmin", c.xmin * 1e3}, {"ymin", c.ymin * 1e3},
                        {"xmax", c.xmax * 1e3}, {"ymax", c.ymax * 1e3}});
        EXPECT_EQ(prompts.texts().contains(kOutside), c.asked);
        EXPECT_DOUBLE_EQ(featureAt("top", 1).xs, c.asked ? 5e6 : 5e6 + 100);
    }
}

// Without "dx" and "dy" the operator shows the offset with two boxes: the
// same-layer tool opens, and a second request keeps it open.
TEST_F(EditBufferTest, OffsetWithoutDisplacementOpensTheSameLayerTool) {
    ScopedJob fresh{kJob, 1e7, 1e7, {"top"}};
    fresh.addPad("top", 1e6, 1e6, "r100");
    select("top", 0);
    view->affected_layers = {};
    view->changeTool(T::NORMAL_TOOL);
    for (qint32 code : {20001402, 20001403}) {
        send(code, {});
        ASSERT_NE(view->currentTool(), nullptr);
        EXPECT_EQ(view->currentTool()->getType(), T::MOVE_COPY_SAME_LAYER_TOOL) << code;
    }
    EXPECT_DOUBLE_EQ(featureAt("top", 0).xs, 1e6) << "nothing moves before the boxes are drawn";
}

TEST_F(EditBufferTest, DeleteLastEditAsksTheJobListByToolAndRotation) {
    struct Case {
        T::GRAPHIC_TOOL_TYPE tool;
        int rotations;
        qint32 code;  // 0: nothing sent
    };
    const Case cases[] = {
        {T::TEXT_INFO_TOOL, 0, 10000515},      {T::PROFILE_BOUND_TOOL, 0, 10000516},
        {T::REGION_DIVISION_TOOL, 0, 10000513}, {T::REGION_DIVISION_TOOL, 1, 10000514},
        {T::REGION_DIVISION_TOOL, 2, 10000513}, {T::REGION_DIVISION_TOOL, 3, 10000514},
        {T::SELECT_TOOL, 0, 10000518},          {T::NORMAL_TOOL, 0, 0},
        {T::ZOOMIN_TOOL, 1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(&c - cases));
        while (view->angle() != 0) view->doRotate();
        for (int i = 0; i < c.rotations; ++i) view->doRotate();
        view->changeTool(T::NORMAL_TOOL);
        if (c.tool != T::NORMAL_TOOL) view->changeTool(c.tool);
        MessageRecorder messages;
        view->delete_last_edit();
        if (c.code == 0) {
            EXPECT_TRUE(messages.entries().empty());
            continue;
        }
        ASSERT_EQ(messages.entries().size(), 1u);
        EXPECT_EQ(messages.entries()[0].msg.msgType, c.code);
        EXPECT_EQ(messages.entries()[0].msg.receiver, PluginNames::JobList);
    }
}

TEST_F(EditBufferTest, MiddleButtonEndsTheEditingTool) {
    view->changeTool(T::MOVE_COPY_SAME_LAYER_TOOL);
    MessageRecorder messages;
    view->RecieveMidbuttonclick();
    EXPECT_NE(view->currentTool()->getType(), T::MOVE_COPY_SAME_LAYER_TOOL);
    EXPECT_EQ(messages.withCode(20001817).size(), 1u);
}

// Undo after each kind of edit gives back the saved job byte for byte.
TEST_F(EditBufferTest, UndoGivesBackTheSavedJob) {
    const std::vector<std::pair<const char*, std::function<void()>>> edits = {
        {"add line", [&] { view->add_line_feature("r333", 0, 0, 100, 100, 1, 0); }},
        {"add surface", [&] { view->add_surface_feature({{0, 0}, {10, 0}, {10, 10}, {0, 0}}, 1, 0, true, true); }},
        {"add batch",
         [&] {
             view->set_pad_feature_content("s77", {{1, 1}, {2, 2}}, 1, 0, 0, 1.0);
             view->add_features();
         }},
        {"paste copy",
         [&] {
             select("top", 0);
             view->get_copy_or_cut_features();
             buffer().edit_type = 2;
             buffer().boxes = {QRectF(0, 0, 1, 1), QRectF(50, 50, 1, 1)};
             view->receive_Buffer_CpyAndCut();
         }},
        {"offset move", [&] { select("top", 1); view->receive_tool_edit_copy_and_cut(7, 7, nullptr, false); }},
        {"same-layer copy",
         [&] { select("top", 1); view->receive_CopyOffset_box({QRectF(0, 0, 1, 1), QRectF(3, 3, 1, 1)}); }},
        {"repeat",
         [&] {
             select("top", 0);
             ViewWidget::RepeatParameters p{2, 2, 300, 300};
             PluginMetaData msg(PluginNames::MenuBarStep, PluginNames::GraphicView, 20001605);
             msg.payload = &p;
             recMsgFromManager(view, &msg);
         }},
    };
    view->affected_layers = {"bot"};
    for (const auto& edit : edits) {
        SCOPED_TRACE(edit.first);
        for (const char* layer : {"top", "bot"}) API::clear_selected_features(kJob, ScopedJob::kStep, layer);
        const auto before = savedBytes();
        const int count = countOn("top");
        edit.second();
        ASSERT_NE(savedBytes(), before) << "the edit changed nothing";
        EXPECT_TRUE(view->undoLastEdit());
        EXPECT_EQ(savedBytes(), before);
        EXPECT_EQ(countOn("top"), count);
    }
}

}  // namespace
