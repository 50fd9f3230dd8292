// Selection from the view: the select tool's boxes and point lists become
// requests to the job list (with the box or point list as payload during the
// delivery); "Select None", the attribute filter and the job list's net and
// contour answers reach the kernel's selection directly.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMetaObject>
#include <QTest>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "ViewTool/SelectTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA;
using namespace TOLVA::GRAPHIC;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

const char* const kJob = "selreq_job";
const char* const kStep = ScopedJob::kStep;
using IndexSet = std::set<int>;

// The indices of the selected features of a layer, as the kernel reports them.
IndexSet selectedIn(const std::string& layer) {
    std::vector<API::featureInfo> list;
    API::get_selected_feature_info(kJob, kStep, layer, list);
    IndexSet out;
    for (const API::featureInfo& f : list) out.insert(f.index);
    return out;
}

IndexSet allOf(const std::string& layer) {
    IndexSet out;
    API::featureInfo f;
    for (int i = 0; API::get_featureinfo_by_index(kJob, kStep, layer, i, f); ++i) out.insert(i);
    return out;
}

void selectOnly(const std::string& layer, const IndexSet& indexes) {
    API::clear_selected_features(kJob, kStep, layer);
    for (int i : indexes) API::select_feature_by_id(kJob, kStep, layer, i);
}

// A pad carrying attributes (ScopedJob's pads carry none).
void addPadWithAttributes(const std::string& layer, double x, double y, const std::string& symbol,
                          const API::attr_map& attributes) {
    int index = -1;
    API::create_new_symbol(kJob, kStep, layer, symbol, index);
    const std::string record = API::GreatePadString(x, y, index, API::POL_POSITIVE, 0, 0, 0.0);
    API::AddFeature(kJob, kStep, {layer}, {{layer, record}}, attributes, false);
}

// Stands in for the job list: keeps a copy of every request and of the box
// or point list its payload points at while the delivery lasts.
class JobListStandIn {
public:
    struct Request {
        PluginMetaData msg;
        bool payloadSet = false;
        QRectF box;
        QVector<QPointF> points;
    };
    JobListStandIn() {
        QTpluginsManger4CAM::instance()->registerReceiver(
            PluginNames::JobList, [this](void*, const PluginMetaData& msg) {
                Request r{msg, msg.payload != nullptr, {}, {}};
                if (msg.payload && pointsPayload) r.points = *static_cast<const QVector<QPointF>*>(msg.payload);
                else if (msg.payload) r.box = *static_cast<const QRectF*>(msg.payload);
                r.msg.payload = nullptr;  // not valid after the delivery
                requests.push_back(r);
            });
    }
    ~JobListStandIn() { QTpluginsManger4CAM::instance()->unregisterReceiver(PluginNames::JobList); }
    bool pointsPayload = false;  // what the payload of the next requests is
    std::vector<Request> requests;
};

class SelectionRequests : public ::testing::Test {
protected:
    void SetUp() override {
        // top: 0 pad r250 +, 1 pad r250 -, 2 pad s300 +, 3 line r100 +,
        // 4 pad r250 + (outside the filter box), 5 pad r250 + .comp=U1,
        // 6 pad r250 + .comp=U2.
        job.addPad("top", 1e6, 1e6, "r250");
        job.addPad("top", 2e6, 1e6, "r250", false);
        job.addPad("top", 3e6, 1e6, "s300");
        job.addLine("top", 1e6, 2e6, 2e6, 2e6, "r100");
        job.addPad("top", 3.8e6, 2.8e6, "r250");
        addPadWithAttributes("top", 2.5e6, 2e6, "r250", {{".comp", "U1"}});
        addPadWithAttributes("top", 3e6, 2e6, "r250", {{".comp", "U2"}});
        job.addPad("bot", 1e6, 1e6, "r250");
        job.addPad("bot", 2e6, 2e6, "r250");
        job.addPad("inner", 1.5e6, 1.5e6, "r250");
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        ASSERT_NE(view, nullptr);
        view->resize(400, 300);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
        testsupport::openJobInView(view, kJob, kStep, {"top", "bot", "inner"});
        // The first draw, before a job is open, reports that there is none.
        prompts.clear();
    }
    void TearDown() override {
        delete view;
        QApplication::processEvents();
    }

    void send(PluginMetaData& msg) { recMsgFromManager(view, &msg); }
    // Opens the select tool in the filter mode of `code` with `data` as the settings.
    SelectTool* openFilter(qint32 code, const QVariantMap& data) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        PluginMetaData msg(PluginNames::ToolbarMove, PluginNames::GraphicView, code);
        msg.data = data;
        send(msg);
        return qobject_cast<SelectTool*>(view->currentTool());
    }
    // A rubber-band drag between two board points, as the operator makes it.
    void dragBoard(const QPointF& from, const QPointF& to) {
        int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        view->db2view(from.x(), from.y(), x0, y0);
        view->db2view(to.x(), to.y(), x1, y1);
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(x0, y0));
        QMouseEvent move(QEvent::MouseMove, QPoint(x1, y1), view->mapToGlobal(QPoint(x1, y1)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &move);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(x1, y1));
    }
    // The drag box of the filter tests: features 0-3, 5 and 6 of "top" and
    // both pads of "bot" lie in it, feature 4 of "top" does not.
    void dragFilterBox() { dragBoard({0.5e6, 0.5e6}, {3.5e6, 2.5e6}); }

    ScopedJob job{kJob, 4e6, 3e6, {"top", "bot", "inner", "edge"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

QString describe(const QVariantMap& data) {
    QStringList parts;
    for (auto it = data.cbegin(); it != data.cend(); ++it)
        parts << it.key() + "=" + it.value().toString() + "(" + it.value().typeName() + ")";
    return parts.join(", ");
}

}  // namespace

// Every receive slot sends exactly one request to the job list: its code, at
// most its one data entry, and the slot's argument as payload.
TEST_F(SelectionRequests, EachReceiveSlotSendsItsRequestWithTheArgumentAsPayload) {
    view->changeTool(Graphic_ViewTool::SELECT_TOOL);
    ASSERT_EQ(view->currentTool()->getType(), Graphic_ViewTool::SELECT_TOOL);
    struct Case {
        const char* slot;
        bool points;     // the argument is a QVector<QPointF>
        qint32 code;
        const char* key;  // nullptr: no data entry
        QVariant value;
    };
    const Case cases[] = {
        {"receive_rect_text_box", false, 20000203, "is_single_select", false},
        {"receive_unselect_text_box", false, 20001640, "type", 20000202},
        {"receive_text_box_mid_doubleClick", false, 20000407, nullptr, {}},
        {"receive_select_invert_text_box", false, 20000215, nullptr, {}},
        {"receive_change_polarity_textbox", false, 20000235, nullptr, {}},
        {"receive_polygon_box", true, 20000223, nullptr, {}},
        {"receive_clip_area_box", true, 20002001, nullptr, {}},
        {"receive_net_selection_box", false, 20000224, nullptr, {}},
        {"receive_net_unselection_box", false, 20001640, "type", 20000224},
        {"receive_select_polyLine_box", false, 20000242, nullptr, {}},
        {"receive_unselect_polyLine_box", false, 20001640, "type", 20000242},
        {"receive_select_BoardNet_box", false, 20000245, nullptr, {}},
        {"receive_select_LayerNet_box", false, 20000244, nullptr, {}},
        {"receive_HighLightTextBox", false, 20000414, "is_single_select", true},
        {"receive_HighLightTextBox_double", false, 20000415, "is_single_select", false},
        {"receive_unHighlightTextBox", false, 20000416, "is_single_select", false},
        {"receive_HightLight_Rect_Box", false, 20004403, "is_single_select", false},
        // With the select tool active.
        {"receive_text_box", false, 20000401, "is_single_select", true},
        {"receive_text_box_doubleClick", false, 20000402, nullptr, {}},
    };
    JobListStandIn jobList;
    int n = 0;
    for (const Case& c : cases) {
        ++n;
        // Each case its own argument, so a payload left over from another case shows.
        const QRectF box(QPointF(-1250.5 * n, 300.25 + n), QPointF(4100.75 + n, 9000.5 * n));
        const QVector<QPointF> points{{-10.5 * n, 20.25}, {30.75, -40.0 * n}, {50.0 + n, 60.5}};
        jobList.requests.clear();
        jobList.pointsPayload = c.points;
        MessageRecorder messages;
        const bool invoked = c.points ? QMetaObject::invokeMethod(view, c.slot, Qt::DirectConnection,
                                                                  Q_ARG(QVector<QPointF>, points))
                                      : QMetaObject::invokeMethod(view, c.slot, Qt::DirectConnection,
                                                                  Q_ARG(QRectF, box));
        ASSERT_TRUE(invoked) << c.slot;
        ASSERT_EQ(messages.entries().size(), 1u) << c.slot << ": one message in all";
        ASSERT_EQ(jobList.requests.size(), 1u) << c.slot;
        const JobListStandIn::Request& r = jobList.requests[0];
        EXPECT_EQ(r.msg.msgType, c.code) << c.slot;
        EXPECT_EQ(r.msg.sender, PluginNames::GraphicView) << c.slot;
        EXPECT_EQ(r.msg.receiver, PluginNames::JobList) << c.slot;
        if (c.key) {
            ASSERT_EQ(r.msg.data.keys(), QStringList{c.key}) << c.slot << ": " << describe(r.msg.data).toStdString();
            const QVariant v = r.msg.data.value(c.key);
            EXPECT_EQ(v.userType(), c.value.userType()) << c.slot << ": " << describe(r.msg.data).toStdString();
            EXPECT_EQ(v, c.value) << c.slot;
        } else {
            EXPECT_TRUE(r.msg.data.isEmpty()) << c.slot << ": " << describe(r.msg.data).toStdString();
        }
        ASSERT_TRUE(r.payloadSet) << c.slot;
        if (c.points)
            EXPECT_EQ(r.points, points) << c.slot;
        else
            EXPECT_EQ(r.box, box) << c.slot;
    }
}

// A click box reaches the job list with the code of the active tool; the
// double click only with the delete and select tools.
TEST_F(SelectionRequests, ClickAndDoubleClickRequestsFollowTheActiveTool) {
    using T = Graphic_ViewTool;
    struct Case {
        bool doubleClick;
        T::GRAPHIC_TOOL_TYPE tool;
        qint32 code;  // 0: nothing is sent
        bool single;  // carries "is_single_select" true, and nothing else
    };
    const Case cases[] = {
        {false, T::TEXT_INFO_TOOL, 10000203, false},  {false, T::PROFILE_BOUND_TOOL, 10000204, false},
        {false, T::ALLIGN_HOLE_TOOL, 10000505, false}, {false, T::SELECT_TOOL, 20000401, true},
        {false, T::MOVE_COPY_TOOL, 20000401, true},    {false, T::DELETE_TOOL, 20000403, false},
        {false, T::LINE_EDIT_TOOL, 20000211, false},   {false, T::ZOOMIN_TOOL, 0, false},
        {false, T::NORMAL_TOOL, 0, false},             {false, T::RULER_TOOL, 0, false},
        {true, T::DELETE_TOOL, 20000404, false},       {true, T::SELECT_TOOL, 20000402, false},
        {true, T::LINE_EDIT_TOOL, 0, false},           {true, T::MOVE_COPY_TOOL, 0, false},
        {true, T::NORMAL_TOOL, 0, false},
    };
    JobListStandIn jobList;
    for (const Case& c : cases) {
        const std::string what = std::string(c.doubleClick ? "double click, tool " : "click, tool ") +
                                 std::to_string(c.tool);
        view->changeTool(T::NORMAL_TOOL);
        if (c.tool != T::NORMAL_TOOL) view->changeTool(c.tool);
        ASSERT_EQ(view->currentTool()->getType(), c.tool) << what;
        const QRectF box(QPointF(1000.5, -2000.25), QPointF(1500.75 + c.tool, -1200.5));
        jobList.requests.clear();
        MessageRecorder messages;
        if (c.doubleClick)
            view->receive_text_box_doubleClick(box);
        else
            view->receive_text_box(box);
        if (c.code == 0) {
            EXPECT_TRUE(messages.entries().empty()) << what << ": sent " << messages.codes().value(0);
            continue;
        }
        ASSERT_EQ(messages.entries().size(), 1u) << what;
        ASSERT_EQ(jobList.requests.size(), 1u) << what;
        const JobListStandIn::Request& r = jobList.requests[0];
        EXPECT_EQ(r.msg.msgType, c.code) << what;
        EXPECT_EQ(r.msg.sender, PluginNames::GraphicView) << what;
        if (c.single) {
            ASSERT_EQ(r.msg.data.keys(), QStringList{"is_single_select"}) << what;
            EXPECT_EQ(r.msg.data.value("is_single_select").userType(), int(QMetaType::Bool)) << what;
            EXPECT_TRUE(r.msg.data.value("is_single_select").toBool()) << what;
        } else {
            EXPECT_TRUE(r.msg.data.isEmpty()) << what << ": " << describe(r.msg.data).toStdString();
        }
        ASSERT_TRUE(r.payloadSet) << what;
        EXPECT_EQ(r.box, box) << what;
    }
}

// "Select None" of the context menu clears the selection of the work layer
// and the affected layers in the kernel itself; no request goes out.
TEST_F(SelectionRequests, SelectNoneClearsWorkAndAffectedLayersWithoutAMessage) {
    struct Case {
        std::string work;
        std::vector<std::string> affected;
        std::set<std::string> cleared;
    };
    const Case cases[] = {
        {"top", {"bot"}, {"top", "bot"}},
        {"top", {}, {"top"}},
        {"", {"bot", "inner"}, {"bot", "inner"}},
        {"inner", {"inner"}, {"inner"}},
        {"bot", {"top", "inner"}, {"top", "bot", "inner"}},
    };
    const std::string layers[] = {"top", "bot", "inner"};
    for (const Case& c : cases) {
        for (const std::string& l : layers) API::select_features(kJob, kStep, l);  // everything selected
        view->work_layer = c.work;
        view->affected_layers = c.affected;
        MessageRecorder messages;
        view->on_select_none();
        for (const std::string& l : layers) {
            const IndexSet expected = c.cleared.count(l) ? IndexSet{} : allOf(l);
            EXPECT_EQ(selectedIn(l), expected) << "work '" << c.work << "', layer " << l;
        }
        EXPECT_TRUE(messages.entries().empty()) << "work '" << c.work << "': sent " << messages.codes().value(0);
    }
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
}

// The settings of the filter come with the request that opens the filter
// mode; a drag selects the features of the work layer in the box that pass.
TEST_F(SelectionRequests, AttributeFilterSelectsOnlyWhatPasses) {
    using Entries = std::set<std::pair<std::string, std::string>>;
    struct Case {
        const char* name;
        QVariantMap data;
        Entries include, exclude;
        IndexSet selected;
    };
    const Case cases[] = {
        {"positive", {{"Polarity", "POS"}}, {{"Polarity", "POS"}}, {}, {0, 2, 3, 5, 6}},
        {"negative", {{"Polarity", "NEG"}}, {{"Polarity", "NEG"}}, {}, {1}},
        {"symbol", {{"SymbolText", "r250"}}, {{"SymbolText", "r250"}}, {}, {0, 1, 5, 6}},
        {"positive r250",
         {{"Polarity", "POS"}, {"SymbolText", "r250"}},
         {{"Polarity", "POS"}, {"SymbolText", "r250"}},
         {},
         {0, 5, 6}},
        {"any .comp", {{"Attributes", QVariantMap{{".comp", ""}}}}, {{".comp", ""}}, {}, {5, 6}},
        {".comp U2", {{"Attributes", QVariantMap{{".comp", "U2"}}}}, {{".comp", "U2"}}, {}, {6}},
        {"not negative", {{"Exclude", QVariantMap{{"Polarity", "NEG"}}}}, {}, {{"Polarity", "NEG"}}, {0, 2, 3, 5, 6}},
        {"not r250", {{"Exclude", QVariantMap{{"SymbolText", "r250"}}}}, {}, {{"SymbolText", "r250"}}, {2, 3}},
        {"r250 without .comp",
         {{"SymbolText", "r250"}, {"Exclude", QVariantMap{{".comp", ""}}}},
         {{"SymbolText", "r250"}},
         {{".comp", ""}},
         {0, 1}},
        {"s300 and .comp", {{"SymbolText", "s300"}, {"Attributes", QVariantMap{{".comp", ""}}}},
         {{"SymbolText", "s300"}, {".comp", ""}}, {}, {}},
        {"no condition", {{"Polarity", ""}}, {}, {}, {0, 1, 2, 3, 5, 6}},
    };
    view->work_layer = "top";
    for (const Case& c : cases) {
        API::clear_selected_features(kJob, kStep, "top");
        SelectTool* tool = openFilter(20000061, c.data);
        ASSERT_NE(tool, nullptr) << c.name;
        ASSERT_EQ(tool->selectMode(), SelectTool::FilterFirstSelect) << c.name;
        const API::select_filter& taken = view->attributeFilter();
        EXPECT_EQ(Entries(taken.include.begin(), taken.include.end()), c.include) << c.name;
        EXPECT_EQ(Entries(taken.exclude.begin(), taken.exclude.end()), c.exclude) << c.name;
        EXPECT_EQ(taken.include.size(), c.include.size()) << c.name << ": repeated include entries";
        EXPECT_EQ(taken.exclude.size(), c.exclude.size()) << c.name << ": repeated exclude entries";
        dragFilterBox();
        EXPECT_EQ(selectedIn("top"), c.selected) << c.name;
        EXPECT_EQ(selectedIn("bot"), IndexSet{}) << c.name << ": only the work layer";
    }
    // A request without settings keeps the ones taken before.
    API::clear_selected_features(kJob, kStep, "top");
    openFilter(20000062, {{"SymbolText", "s300"}});
    openFilter(20000061, {});
    ASSERT_EQ(view->attributeFilter().include.size(), 1u);
    EXPECT_EQ(view->attributeFilter().include[0], std::make_pair(std::string("SymbolText"), std::string("s300")));
    dragFilterBox();
    EXPECT_EQ(selectedIn("top"), (IndexSet{2}));
}

// The move tool bar learns what the filter did: the code tells first or
// next and select or unselect; "LayerName", "count" and "dropped" the rest.
TEST_F(SelectionRequests, FilterReportsToTheMoveToolBarByModeAndDropsExcludedSelection) {
    struct Case {
        const char* name;
        qint32 mode;
        QVariantMap filter;
        IndexSet before, after;
        qint32 code;  // 0: no message to the move tool bar
        int count, dropped;
    };
    const IndexSet all{0, 1, 2, 3, 4, 5, 6};
    const QVariantMap positive{{"Polarity", "POS"}};
    const Case cases[] = {
        {"first select", 20000061, positive, {}, {0, 2, 3, 5, 6}, 20000061, 5, 0},
        {"next select", 20000062, positive, {4}, {0, 2, 3, 4, 5, 6}, 20000062, 5, 0},
        {"first unselect", 20000063, positive, all, {1, 4}, 20000063, 0, 0},
        {"next unselect", 20000064, positive, all, {1, 4}, 20000064, 0, 0},
        {"excluded selection dropped", 20000062, {{"Exclude", QVariantMap{{"Polarity", "NEG"}}}}, all,
         {0, 2, 3, 4, 5, 6}, 20000062, 5, 1},
        {"excluded .comp dropped", 20000061, {{"Exclude", QVariantMap{{".comp", "U1"}}}}, {5, 6},
         {0, 1, 2, 3, 6}, 20000061, 5, 1},
        {"nothing passes", 20000061, {{"SymbolText", "r999"}}, {4}, {4}, 0, 0, 0},
        {"nothing in the box", 20000062, {{"Polarity", ""}}, {}, {}, 0, 0, 0},
    };
    view->work_layer = "top";
    for (const Case& c : cases) {
        selectOnly("top", c.before);
        ASSERT_NE(openFilter(c.mode, c.filter), nullptr) << c.name;
        MessageRecorder messages;
        if (std::string(c.name) == "nothing in the box")
            dragBoard({0.1e6, 2.6e6}, {0.4e6, 2.9e6});
        else
            dragFilterBox();
        EXPECT_EQ(selectedIn("top"), c.after) << c.name;
        const auto toToolbar = messages.to(PluginNames::ToolbarMove);
        if (c.code == 0) {
            EXPECT_TRUE(toToolbar.empty()) << c.name << ": sent " << toToolbar[0].msgType;
            continue;
        }
        ASSERT_EQ(toToolbar.size(), 1u) << c.name;
        const PluginMetaData& m = toToolbar[0];
        EXPECT_EQ(m.msgType, c.code) << c.name;
        EXPECT_EQ(m.sender, PluginNames::GraphicView) << c.name;
        EXPECT_EQ(m.data.keys(), (QStringList{"LayerName", "count", "dropped"})) << c.name;
        EXPECT_EQ(m.data.value("LayerName").toString(), "top") << c.name;
        EXPECT_EQ(m.data.value("count").toInt(), c.count) << c.name;
        EXPECT_EQ(m.data.value("dropped").toInt(), c.dropped) << c.name;
    }
}

// The box becomes the kernel polygon (left, bottom), (left, top), (right,
// top), (right, bottom) with each coordinate truncated toward zero: a pad
// touching the truncated edge is taken, one a nanometre beyond it is not,
// although rounding the box outwards would reach it.
TEST_F(SelectionRequests, FilterBoxIsTruncatedTowardZero) {
    const double L = -1000000, T = -2000000, R = 5000000, B = 4000000;  // after truncation
    const QRectF box(QPointF(L - 0.9, T - 0.7), QPointF(R + 0.9, B + 0.7));
    // Pads of 2 µm (radius 1000 nm) on each side: touching, then 1 nm beyond.
    const QPointF touching[] = {{L - 1000, 1e6}, {R + 1000, 1e6}, {2e6, T - 1000}, {2e6, B + 1000}};
    const QPointF beyond[] = {{L - 1001, 1.5e6}, {R + 1001, 1.5e6}, {2.5e6, T - 1001}, {2.5e6, B + 1001}};
    for (const QPointF& p : touching) job.addPad("edge", p.x(), p.y(), "r2");
    for (const QPointF& p : beyond) job.addPad("edge", p.x(), p.y(), "r2");
    const IndexSet touchingIds{0, 1, 2, 3}, beyondIds{4, 5, 6, 7};
    view->work_layer = "edge";

    namespace fs = std::filesystem;
    const fs::path journal = fs::temp_directory_path() / ("selreq_" + std::to_string(::getpid()) + ".journal");
    fs::remove(journal);
    JOB::set_journal_path(kJob, journal.string());
    struct Case {
        bool select;
        IndexSet before, after;
        const char* operation;
    };
    const Case cases[] = {
        {true, {}, touchingIds, "0"},
        {false, {0, 1, 2, 3, 4, 5, 6, 7}, beyondIds, "1"},
    };
    for (const Case& c : cases) {
        selectOnly("edge", c.before);
        fs::remove(journal);
        DB::set_SaveFlag(true);
        view->send_filter_selection_info(box, true, c.select);
        DB::set_SaveFlag(false);
        EXPECT_EQ(selectedIn("edge"), c.after) << "select " << c.select;
        // The kernel's journal shows the polygon as it was handed over.
        std::ifstream in(journal);
        std::string line, call;
        for (std::string l; std::getline(in, l);)
            if (l.rfind("select_features ", 0) == 0) line = l;
        ASSERT_FALSE(line.empty()) << "select " << c.select;
        std::istringstream tokens(line);
        std::string jobName, stepName, layer, count;
        tokens >> call >> jobName >> stepName >> layer >> count;
        EXPECT_EQ(layer, "\"edge\"");
        ASSERT_EQ(count, "4") << line;
        std::vector<long long> xy(8);
        for (long long& v : xy) tokens >> v;
        EXPECT_EQ(xy, (std::vector<long long>{-1000000, 4000000, -1000000, -2000000, 5000000, -2000000, 5000000,
                                               4000000}))
            << line;
        std::string includes, excludes, operation, clearFirst;
        tokens >> includes >> excludes >> operation >> clearFirst;
        EXPECT_EQ(operation, c.operation) << line;
        EXPECT_EQ(clearFirst, "0") << line;
    }
    JOB::set_journal_path(kJob, "");
    fs::remove(journal);
}

// Without a work layer the filter neither selects nor reports anything.
TEST_F(SelectionRequests, FilterWithoutWorkLayerDoesNothing) {
    view->work_layer.clear();
    view->affected_layers = {"top", "bot"};
    selectOnly("top", {4});
    ASSERT_NE(openFilter(20000061, {{"Polarity", ""}}), nullptr);
    MessageRecorder messages;
    dragFilterBox();
    view->send_filter_selection_info(QRectF(QPointF(0, 0), QPointF(4e6, 3e6)), false, false);
    EXPECT_EQ(selectedIn("top"), (IndexSet{4}));
    EXPECT_EQ(selectedIn("bot"), IndexSet{});
    // (The drag itself reports the pointer to the mini map.)
    EXPECT_TRUE(messages.to(PluginNames::ToolbarMove).empty());
    EXPECT_TRUE(messages.to(PluginNames::JobList).empty());
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
}

// The job list answers a net or contour request with the features of one
// layer to select (or, with "Select" false, to unselect).
TEST_F(SelectionRequests, NetAndContourAnswersApplyExactlyTheNamedFeatures) {
    struct Case {
        const char* name;
        QVariantMap data;
        IndexSet topBefore, botBefore, topAfter, botAfter;
    };
    const IndexSet allTop{0, 1, 2, 3, 4, 5, 6};
    const Case cases[] = {
        {"select by default", {{"LayerName", "top"}, {"Indexes", QVariantList{1, 3}}}, {5}, {}, {1, 3, 5}, {}},
        {"select", {{"LayerName", "bot"}, {"Indexes", QVariantList{0}}, {"Select", true}}, {}, {}, {}, {0}},
        {"unselect",
         {{"LayerName", "top"}, {"Indexes", QVariantList{0, 4, 6}}, {"Select", false}},
         allTop, {0, 1}, {1, 2, 3, 5}, {0, 1}},
        {"unselect what is not selected",
         {{"LayerName", "bot"}, {"Indexes", QVariantList{1}}, {"Select", false}}, {2}, {0}, {2}, {0}},
        {"no indexes", {{"LayerName", "top"}, {"Indexes", QVariantList{}}}, {2}, {1}, {2}, {1}},
    };
    view->work_layer = "top";
    for (qint32 code : {ViewWidget::kNetAnswerCode, ViewWidget::kContourAnswerCode}) {
        for (const Case& c : cases) {
            selectOnly("top", c.topBefore);
            selectOnly("bot", c.botBefore);
            PluginMetaData answer(PluginNames::JobList, PluginNames::GraphicView, code);
            answer.data = c.data;
            send(answer);
            EXPECT_EQ(selectedIn("top"), c.topAfter) << code << " " << c.name;
            EXPECT_EQ(selectedIn("bot"), c.botAfter) << code << " " << c.name;
        }
    }
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
}

// An answer without a layer is logged as an error and changes nothing.
TEST_F(SelectionRequests, AnswerWithoutLayerIsLoggedAndIgnored) {
    view->work_layer = "top";
    for (qint32 code : {ViewWidget::kNetAnswerCode, ViewWidget::kContourAnswerCode}) {
        for (bool select : {true, false}) {
            selectOnly("top", {2});
            selectOnly("bot", {1});
            LogCapture log;
            PluginMetaData answer(PluginNames::JobList, PluginNames::GraphicView, code);
            answer.data = {{"Indexes", QVariantList{0, 1, 2}}, {"Select", select}};
            send(answer);
            EXPECT_EQ(log.count(google::GLOG_ERROR), 1) << code << " select " << select;
            EXPECT_EQ(selectedIn("top"), (IndexSet{2})) << code << " select " << select;
            EXPECT_EQ(selectedIn("bot"), (IndexSet{1})) << code << " select " << select;
        }
    }
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
}

// An index the layer does not have is a failure the operator is shown; the
// features the answer does not name keep their state.
TEST_F(SelectionRequests, AnswerWithAnIndexOutOfRangeShowsTheFailure) {
    struct Case {
        const char* name;
        bool select;
        IndexSet before;
    };
    // The answer is checked whole before anything changes: no feature moves,
    // not even those named before the bad index.
    const Case cases[] = {
        {"select", true, {2}},
        {"unselect", false, {0, 1, 2, 3, 4, 5, 6}},
    };
    view->work_layer = "top";
    for (qint32 code : {ViewWidget::kNetAnswerCode, ViewWidget::kContourAnswerCode}) {
        for (const Case& c : cases) {
            selectOnly("top", c.before);
            prompts.clear();
            PluginMetaData answer(PluginNames::JobList, PluginNames::GraphicView, code);
            answer.data = {{"LayerName", "top"}, {"Indexes", QVariantList{1, 99, 3}}, {"Select", c.select}};
            send(answer);
            EXPECT_EQ(prompts.requests().size(), 1u) << code << " " << c.name << ": the failure box";
            EXPECT_EQ(selectedIn("top"), c.before) << code << " " << c.name;
        }
    }
}
