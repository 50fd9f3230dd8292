// The Edit and Rout menus and the message panels beside the real view:
// copy, cut and paste through the shared buffer, undo, repeat and offset
// edits checked in the kernel, rout chains and compensation, and every
// forward of the view shown where it is addressed.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSpinBox>
#include <cstddef>
#include <functional>
#include <optional>

#include "plugin_widgets.h"
#include "sibling_fixture.h"

using namespace siblings;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;
using T = TOLVA::GRAPHIC::Graphic_ViewTool;
using TOLVA::PLUGIN::MessageLog;

namespace {

constexpr double kMm = 1e6;

// The menu declares the repeat payload without the view's header; both
// must agree byte for byte.
using ViewRepeat = ViewWidget::RepeatParameters;
static_assert(sizeof(ViewRepeat) == 24 && offsetof(ViewRepeat, countY) == 4 && offsetof(ViewRepeat, stepX) == 8 &&
                  offsetof(ViewRepeat, stepY) == 16,
              "the Edit menu's copy of the repeat payload has this layout");

// Reads a payload while the message is delivered (it is valid only then).
class PayloadTap {
public:
    PayloadTap(qint32 code, std::function<void(const void*)> read) {
        m_id = QTpluginsManger4CAM::instance()->addObserver([code, read](const QString& route, const PluginMetaData& m) {
            if (route == QLatin1String("plugin") && m.msgType == code && m.payload) read(m.payload);
        });
    }
    ~PayloadTap() { QTpluginsManger4CAM::instance()->removeObserver(m_id); }

private:
    int m_id;
};

class Menus : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        edit = load(PluginNames::MenuBarEdit);
        showHost();
    }
    int count(const std::string& job, const std::string& layer) const {
        return TOLVA::JOB::feature_count(job, ScopedJob::kStep, layer);
    }
    QWidget* edit = nullptr;
};

TEST_F(Menus, CopyAndCutFillTheSharedBufferWithTheirEditType) {
    struct Case {
        const char* action;
        int type;
    };
    for (const Case& c : {Case{"copy", 2}, Case{"cut", 0}}) {
        SCOPED_TRACE(c.action);
        ScopedJob job("menu_copy", 20 * kMm, 20 * kMm, {"top"});
        job.addPad("top", 5 * kMm, 5 * kMm, "r100");
        job.addPad("top", 8 * kMm, 5 * kMm, "r100");
        bind(job.name(), {"top"}, "top");
        TOLVA::API::select_feature_by_id(job.name(), ScopedJob::kStep, "top", 1);
        MessageRecorder rec;
        action(edit, c.action)->trigger();
        const auto sent = rec.withCode(20001416);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].data.value("type").toInt(), c.type);
        const TOLVA::UIAPI::Edit_Buffer& buffer = TOLVA::UIAPI::getEditBuffer(&host);
        EXPECT_EQ(buffer.edit_type, c.type);
        ASSERT_EQ(buffer.features.count("top"), 1u);
        ASSERT_EQ(buffer.features.at("top").size(), 1u);
        EXPECT_DOUBLE_EQ(buffer.features.at("top")[0].xs, 8 * kMm);
        EXPECT_EQ(count(job.name(), "top"), 2);
    }
}

// Paste opens the view's buffer tool; the operator's click places the copy.
TEST_F(Menus, PasteThenAClickInTheViewCopiesTheBufferThere) {
    ScopedJob job("menu_paste", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    selectAll(job.name(), "top");
    action(edit, "copy")->trigger();
    MessageRecorder rec;
    action(edit, "paste")->trigger();
    EXPECT_EQ(rec.withCode(20001417).size(), 1u);
    ASSERT_EQ(toolType(), T::EDIT_BUFFER_TOOL);
    const QPoint click(300, 80);
    const QPointF target = view->toBoard(click);
    QTest::mouseMove(view, click);
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, click);
    ASSERT_EQ(count(job.name(), "top"), 2);
    const TOLVA::API::featureInfo pasted = feature(job.name(), "top", 1);
    EXPECT_NEAR(pasted.xs, target.x(), 1.0);
    EXPECT_NEAR(pasted.ys, target.y(), 1.0);
}

TEST_F(Menus, PasteWithAnEmptyBufferLeavesTheToolAlone) {
    testsupport::PromptRecorder prompts;
    const int before = toolType();
    action(edit, "paste")->trigger();
    EXPECT_EQ(toolType(), before);
    EXPECT_EQ(prompts.texts(), QStringList{"Buffer is empty!"});
}

// The repeat dialog's steps are typed in the display unit and reach the
// view as nanometres in its own payload layout.
TEST_F(Menus, RepeatSendsTheGridInBoardUnitsAndTheViewRepeats) {
    struct Case {
        const char* unit;
        const char* countX;
        const char* countY;
        const char* stepX;
        const char* stepY;
        ViewRepeat expected;
    };
    const Case cases[] = {
        {"MM", "3", "1", "2.5", "0", {3, 1, 2.5 * kMm, 0}},
        {"MM", "1", "2", "0", "-1.2345", {1, 2, 0, -1234500}},
        {"Inch", "2", "2", "0.1", "0.05", {2, 2, 2540000, 1270000}},
        {"Inch", "2", "1", "0.00001", "0", {2, 1, 254, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.unit) + " " + c.stepX + " " + c.stepY);
        ScopedJob job("menu_repeat", 50 * kMm, 50 * kMm, {"top"});
        job.addPad("top", 5 * kMm, 5 * kMm, "r100");
        bind(job.name(), {"top"}, "top");
        selectAll(job.name(), "top");
        TOLVA::UIAPI::setUnitString(c.unit);
        std::vector<ViewRepeat> seen;
        PayloadTap tap(20001605, [&](const void* p) { seen.push_back(*static_cast<const ViewRepeat*>(p)); });
        action(edit, "repeat")->trigger();
        auto* dialog = child<QDialog>(edit, "repeatDialog");
        ASSERT_TRUE(dialog);
        type(child<QSpinBox>(dialog, "countX"), c.countX);
        type(child<QSpinBox>(dialog, "countY"), c.countY);
        type(child<QDoubleSpinBox>(dialog, "stepX"), c.stepX);
        type(child<QDoubleSpinBox>(dialog, "stepY"), c.stepY);
        pressOk(dialog);
        ASSERT_EQ(seen.size(), 1u);
        EXPECT_EQ(seen[0].countX, c.expected.countX);
        EXPECT_EQ(seen[0].countY, c.expected.countY);
        EXPECT_DOUBLE_EQ(seen[0].stepX, c.expected.stepX);
        EXPECT_DOUBLE_EQ(seen[0].stepY, c.expected.stepY);
        EXPECT_EQ(count(job.name(), "top"), c.expected.countX * c.expected.countY);
        TOLVA::UIAPI::setUnitString("MM");
    }
}

TEST_F(Menus, OffsetMovesOrCopiesTheSelectionByTheTypedAmount) {
    struct Case {
        const char* action;
        qint32 code;
        const char* dx;
        const char* dy;
        double dxNm, dyNm;
        int featuresAfter;
    };
    const Case cases[] = {{"moveByOffset", 20001402, "1.25", "-0.5", 1250000, -500000, 2},
                          {"copyByOffset", 20001403, "-0.3", "3", -300000, 3 * kMm, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.action);
        ScopedJob job("menu_offset", 20 * kMm, 20 * kMm, {"top"});
        job.addPad("top", 5 * kMm, 5 * kMm, "r100");
        job.addPad("top", 9 * kMm, 9 * kMm, "r100");
        bind(job.name(), {"top"}, "top");
        TOLVA::API::select_feature_by_id(job.name(), ScopedJob::kStep, "top", 0);
        MessageRecorder rec;
        action(edit, c.action)->trigger();
        auto* dialog = child<QDialog>(edit, "offsetDialog");
        ASSERT_TRUE(dialog);
        type(child<QDoubleSpinBox>(dialog, "dx"), c.dx);
        type(child<QDoubleSpinBox>(dialog, "dy"), c.dy);
        pressOk(dialog);
        const auto sent = rec.withCode(c.code);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_DOUBLE_EQ(sent[0].data.value("dx").toDouble(), c.dxNm);
        EXPECT_DOUBLE_EQ(sent[0].data.value("dy").toDouble(), c.dyNm);
        ASSERT_EQ(count(job.name(), "top"), c.featuresAfter);
        // The unselected pad stays where it was.
        bool untouchedFound = false, offsetFound = false;
        for (int i = 0; i < c.featuresAfter; ++i) {
            const TOLVA::API::featureInfo f = feature(job.name(), "top", i);
            untouchedFound = untouchedFound || (f.xs == 9 * kMm && f.ys == 9 * kMm);
            offsetFound = offsetFound || (f.xs == 5 * kMm + c.dxNm && f.ys == 5 * kMm + c.dyNm);
        }
        EXPECT_TRUE(untouchedFound);
        EXPECT_TRUE(offsetFound);
    }
}

// Undo reaches the kernel through the view's editing tool that made the edit.
TEST_F(Menus, UndoTakesBackTheMoveToolsTypedOffset) {
    QWidget* moveBar = load(PluginNames::ToolbarMove);
    ScopedJob job("menu_undo", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    selectAll(job.name(), "top");
    action(moveBar, "moveByOffset")->trigger();
    auto* dialog = child<QDialog>(moveBar, "offsetDialog");
    ASSERT_TRUE(dialog);
    type(child<QDoubleSpinBox>(dialog, "dx"), "1");
    pressOk(dialog);
    ASSERT_DOUBLE_EQ(feature(job.name(), "top", 0).xs, 6 * kMm);
    MessageRecorder rec;
    action(edit, "undo")->trigger();
    EXPECT_EQ(rec.withCode(20001618).size(), 1u);
    EXPECT_DOUBLE_EQ(feature(job.name(), "top", 0).xs, 5 * kMm);
}

struct ForwardCase {
    std::function<void(ViewWidget*)> send;
    qint32 code;
    const char* what;
    const char* data;
    const char* last;
};

TEST_F(Menus, EveryForwardOfTheViewIsListedWithWhatItIs) {
    const QPointF p(1.5 * kMm, -2 * kMm);
    const ForwardCase cases[] = {
        {[&](ViewWidget* v) { v->forwardPointInfo(p); }, 20001802, "point", "x=1500000, y=-2000000",
         "point: X = 1.5000  Y = -2.0000 mm"},
        {[&](ViewWidget* v) { v->forwardMovePointInfo(p); }, 20001803, "move point", "x=1500000, y=-2000000",
         "move point: X = 1.5000  Y = -2.0000 mm"},
        {[&](ViewWidget* v) { v->forwardCopyPointInfo(p); }, 20001805, "copy point", "x=1500000, y=-2000000",
         "copy point: X = 1.5000  Y = -2.0000 mm"},
        {[](ViewWidget* v) { v->forwardAttributePointInfo(PluginNames::MenuBarEdit, 20001807, {{".net", "VCC"}}); },
         20001807, "feature attributes", ".net=VCC", "feature attributes: .net=VCC"},
        {[&](ViewWidget* v) { v->forwardCreateSymbolPointInfo(p); }, 20001809, "create symbol point",
         "x=1500000, y=-2000000", "create symbol point: X = 1.5000  Y = -2.0000 mm"},
        {[](ViewWidget* v) { v->forwardChangeSymbolPointInfo(PluginNames::MenuBarEdit, "s300"); }, 20001811,
         "symbol", "symbol=s300", "symbol: symbol=s300"},
        {[](ViewWidget* v) { v->forwardChangeTextPointInfo("REV A", false); }, 20001812, "text",
         "polarity=NEG, text=REV A", "text: polarity=NEG, text=REV A"},
        {[&](ViewWidget* v) { v->forwardSubstitutePointInfo(p); }, 20001814, "substitute point",
         "x=1500000, y=-2000000", "substitute point: X = 1.5000  Y = -2.0000 mm"},
    };
    auto* log = child<MessageLog>(edit, "messageLog");
    auto* last = child<QLabel>(edit, "lastForward");
    ASSERT_TRUE(log && last);
    int row = 0;
    for (const ForwardCase& c : cases) {
        SCOPED_TRACE(c.code);
        c.send(view);
        EXPECT_EQ(log->rowText(row++), (QStringList{QString::number(c.code), c.what, c.data}));
        EXPECT_EQ(last->text(), c.last);
    }
    // A point read in inches, and a point without numbers shown as it came.
    TOLVA::UIAPI::setUnitString("Inch");
    view->forwardPointInfo(QPointF(2.54e6, 0));
    EXPECT_EQ(last->text(), "point: X = 0.10000  Y = 0.00000 inch");
    deliver(PluginNames::GraphicView, PluginNames::MenuBarEdit, 20001802, {{"x", "left"}});
    EXPECT_EQ(last->text(), "point: x=left");
    deliver(PluginNames::GraphicView, PluginNames::MenuBarEdit, 20001899);
    EXPECT_EQ(log->rowText(log->topLevelItemCount() - 1), (QStringList{"20001899", "unexpected", ""}));
}

// ---- the Rout menu ------------------------------------------------------------

class RoutMenu : public Menus {
protected:
    void SetUp() override {
        Menus::SetUp();
        rout = load(PluginNames::MenuBarRout);
        job.emplace("menu_rout", 40 * kMm, 40 * kMm, std::vector<std::string>{"top"});
        TOLVA::JOB::add_layer(job->name(), "rt", "board", "rout", "positive");
        job->addLine("rt", 1 * kMm, 1 * kMm, 30 * kMm, 1 * kMm, "r2000");
        job->addLine("rt", 30 * kMm, 1 * kMm, 30 * kMm, 20 * kMm, "r2000");
        bind(job->name(), {"rt"}, "rt");
        selectAll(job->name(), "rt");
    }
    void TearDown() override {
        Menus::TearDown();
        job.reset();
    }
    // Fills and accepts the chain dialog.
    void createChain(const char* chain, const char* size, int comp, const char* feed, const char* speed) {
        action(rout, "createChain")->trigger();
        auto* dialog = child<QDialog>(rout, "chainDialog");
        ASSERT_TRUE(dialog);
        type(child<QSpinBox>(dialog, "chain"), chain);
        type(child<QDoubleSpinBox>(dialog, "size"), size);
        child<QComboBox>(dialog, "comp")->setCurrentIndex(comp);
        type(child<QSpinBox>(dialog, "feed"), feed);
        type(child<QSpinBox>(dialog, "speed"), speed);
        pressOk(dialog);
    }
    QWidget* rout = nullptr;
    std::optional<ScopedJob> job;
};

TEST_F(RoutMenu, ChainRequestsCarryTheViewsKeysAndTheViewAnswers) {
    struct Case {
        const char* chain;
        const char* size;
        int comp;
        QVariantMap expected;
    };
    const Case cases[] = {
        {"0", "0", 0, {{"comp", 0}, {"feed", 10}, {"speed", 20}}},
        {"3", "0.2", 1, {{"chain", 3}, {"size", 200000}, {"comp", 1}, {"feed", 10}, {"speed", 20}}},
        {"0", "2", 2, {{"size", 2000000}, {"comp", 2}, {"feed", 10}, {"speed", 20}}},
    };
    auto* status = child<QLabel>(rout, "status");
    ASSERT_TRUE(status);
    int applied = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.chain + std::string(" ") + c.size);
        selectAll(job->name(), "rt");
        MessageRecorder rec;
        createChain(c.chain, c.size, c.comp, "10", "20");
        const auto sent = rec.withCode(20003901);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].data, c.expected);
        EXPECT_EQ(rec.withCode(20003909).size(), 1u);
        EXPECT_EQ(status->text(), QString("Rout chain applied (%1 in this session)").arg(++applied));
    }
}

// The display choices go to the host's shared state, which the view reads
// each frame: the chains appear and go with Show Chains, and the band's
// mode is the one last chosen, its action checked alone.
TEST_F(RoutMenu, ShowChainsAndTheBandChoiceSetWhatTheViewDraws) {
    createChain("0", "2", 0, "10", "20");
    showHost();
    const QImage hidden = view->grab().toImage();
    QAction* show = action(rout, "showChains");
    ASSERT_TRUE(show->isCheckable());
    EXPECT_FALSE(show->isChecked());
    show->trigger();
    EXPECT_TRUE(TOLVA::UIAPI::getShowPara(&host).show_rout_info);
    EXPECT_NE(view->grab().toImage(), hidden);
    const std::pair<const char*, int> bands[] = {{"bandOutline", 2}, {"bandCentre", 1}, {"bandFilled", 0}};
    for (const auto& band : bands) {
        action(rout, band.first)->trigger();
        EXPECT_EQ(TOLVA::UIAPI::getWidth(&host), band.second) << band.first;
        for (const auto& other : bands)
            EXPECT_EQ(action(rout, other.first)->isChecked(), other.second == band.second) << other.first;
    }
    show->trigger();
    EXPECT_FALSE(TOLVA::UIAPI::getShowPara(&host).show_rout_info);
    EXPECT_EQ(view->grab().toImage(), hidden);
}

TEST_F(RoutMenu, CompensateOffersTheMatrixAndCreatesTheDestination) {
    bind(job->name(), {"rt"}, "rt");
    selectAll(job->name(), "rt");
    createChain("0", "2", 1, "0", "0");
    MessageRecorder rec;
    action(rout, "compensate")->trigger();
    auto* dialog = child<QDialog>(rout, "compensateDialog");
    ASSERT_TRUE(dialog);
    auto* source = child<QComboBox>(dialog, "source");
    ASSERT_EQ(source->count(), 2);  // the job was announced twice: each layer once
    EXPECT_EQ(source->itemText(0), "rt");  // rout layers first
    EXPECT_EQ(source->itemText(1), "top");
    type(child<QComboBox>(dialog, "des"), "rt_comp");
    child<QComboBox>(dialog, "type")->setCurrentIndex(1);
    pressOk(dialog);
    const auto sent = rec.withCode(20003910);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].data, (QVariantMap{{"source", "rt"}, {"des", "rt_comp"}, {"type", 1}}));
    bool created = false;
    for (const auto& row : TOLVA::API::get_matrix(job->name()))
        created = created || (row.name == "rt_comp" && row.type == "rout");
    EXPECT_TRUE(created);
    EXPECT_EQ(count(job->name(), "rt_comp"), 2);
}

// ---- the message panels -----------------------------------------------------------

// Imaging Mode turns the view's export overlay (the image frame over the
// board) on and off.
TEST_F(Menus, ImagingModeShowsTheExportFrameUntilTurnedOff) {
    ScopedJob job("menu_imaging", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 10 * kMm, 10 * kMm, "r2000");
    bind(job.name(), {"top"}, "top");
    QWidget* actions = load(PluginNames::MenuBarActions);
    QAction* mode = action(actions, "imagingMode");
    ASSERT_TRUE(mode->isCheckable());
    const QImage plain = view->grab().toImage();
    MessageRecorder rec;
    mode->trigger();
    EXPECT_TRUE(mode->isChecked());
    EXPECT_EQ(rec.withCode(20004401).size(), 1u);
    EXPECT_NE(view->grab().toImage(), plain);
    mode->trigger();
    EXPECT_FALSE(mode->isChecked());
    EXPECT_EQ(view->grab().toImage(), plain);
}

TEST_F(Menus, PanelsListWhatTheViewForwardsToThem) {
    QWidget* dfm = load(PluginNames::MenuBarDFM);
    QWidget* step = load(PluginNames::MenuBarStep);
    QWidget* actions = load(PluginNames::MenuBarActions);
    bind("no_such_job", {}, "");
    struct Case {
        QWidget* panel;
        std::function<void()> send;
        QStringList row;
    };
    const Case cases[] = {
        {dfm, [&] { view->forwardAttributePointInfo(PluginNames::MenuBarDFM, 20001807, {{".pad", "smd"}}); },
         {"20001807", "feature attributes", ".pad=smd"}},
        {dfm, [&] { view->forwardAttributePointInfo(PluginNames::MenuBarDFM, 20001828, {}); },
         {"20001828", "feature attributes", ""}},
        {step, [&] { view->forwardStepRepeatPointInfo(QPointF(1, 2)); },
         {"20001681", "instance placed", "Step_Repeat_point_x=1, Step_Repeat_point_y=2"}},
        {step, [&] { view->forwardSRcopypcsoffsetInfo(-3, 4.5); },
         {"20001688", "instance copy offset", "Copy_xoffset=-3, Copy_yoffset=4.5"}},
        {actions, [&] { view->forwardFilterAttributePointInfo(".smd"); },
         {"20000060", "filter attribute type", "AttributeType=.smd"}},
        {actions,
         [&] {
             deliver(PluginNames::JobList, PluginNames::GraphicView, 58,
                     {{"RefJobName", "ref"}, {"RefStepName", "pcb"}, {"RefLayerList", QStringList{"top", "gtl"}}});
         },
         {"20001702", "reference layers", "JobName=ref, LayerName=top,gtl, StepName=pcb"}},
        {actions, [&] { deliver(PluginNames::GraphicView, PluginNames::MenuBarActions, 20001630); },
         {"20001630", "unexpected", ""}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.row.join(' ').toStdString());
        auto* log = child<MessageLog>(c.panel, "messageLog");
        ASSERT_TRUE(log);
        const int before = log->topLevelItemCount();
        c.send();
        ASSERT_EQ(log->topLevelItemCount(), before + 1);
        EXPECT_EQ(log->rowText(before), c.row);
    }
    // The job announcement every plug-in hears is not listed.
    EXPECT_EQ(child<MessageLog>(dfm, "messageLog")->topLevelItemCount(), 2);
    EXPECT_EQ(child<MessageLog>(step, "messageLog")->topLevelItemCount(), 2);
    EXPECT_EQ(child<MessageLog>(actions, "messageLog")->topLevelItemCount(), 3);
    EXPECT_EQ(dfm->property("tolvaDockArea").toString(), "bottom");
}

TEST_F(Menus, TheLogKeepsOnlyItsNewestRows) {
    QWidget* dfm = load(PluginNames::MenuBarDFM);
    auto* log = child<MessageLog>(dfm, "messageLog");
    for (int i = 0; i < MessageLog::kMaxRows + 3; ++i)
        deliver(PluginNames::GraphicView, PluginNames::MenuBarDFM, 20001807, {{"n", i}});
    ASSERT_EQ(log->topLevelItemCount(), MessageLog::kMaxRows);
    EXPECT_EQ(log->rowText(0)[2], "n=3");
    EXPECT_EQ(log->rowText(MessageLog::kMaxRows - 1)[2], QString("n=%1").arg(MessageLog::kMaxRows + 2));
}

}  // namespace
