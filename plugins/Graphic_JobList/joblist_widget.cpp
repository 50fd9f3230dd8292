#include "joblist_widget.h"

#include "attribute_editor.h"

#include <glog/logging.h>

#include <QComboBox>
#include <QSignalBlocker>
#include <QStringList>
#include <QVBoxLayout>
#include <algorithm>
#include <exception>

#include "PluginNames.h"
#include "TOLVA_Job.h"
#include "layer_panel.h"

namespace TOLVA {
namespace JOBLIST {

namespace {
using Reach = JobListWidget::Reach;

const QString kSingle = QStringLiteral("is_single_select");
const QString kType = QStringLiteral("type");
constexpr qint32 kFeatureMode = 20000202;
constexpr qint32 kNetMode = 20000224;
constexpr qint32 kPolylineMode = 20000242;
constexpr qint32 kRedraw = 20000417;
constexpr qint32 kBindJob = 20001637;
constexpr qint32 kSelectToolWithdraw = 10000518;

std::string text(const QVariantMap& data) {
    QStringList parts;
    for (auto it = data.cbegin(); it != data.cend(); ++it)
        parts.append(it.key() + QLatin1Char('=') + it.value().toString());
    return parts.join(QStringLiteral(", ")).toStdString();
}

// ---- the selection requests -------------------------------------------------------

enum class Payload { None, Box, Points };
using Run = void (*)(const Scope&, const RequestInput&, const LayerModel&);

struct SelectionRequest {
    qint32 code;
    Payload payload;
    Reach reach;
    const char* name;
    Run run;
};

void runClick(const Scope& s, const RequestInput& in, const LayerModel&) { clickSelect(s, toReplyBox(in.box)); }
void runArea(const Scope& s, const RequestInput& in, const LayerModel&) { polygonSelect(s, boxPolygon(in.box)); }
void runPolygon(const Scope& s, const RequestInput& in, const LayerModel&) { polygonSelect(s, in.polygon); }
void runInvert(const Scope& s, const RequestInput& in, const LayerModel&) { invertInBox(s, toReplyBox(in.box)); }
void runPolyline(const Scope& s, const RequestInput& in, const LayerModel&) {
    polylineRequest(s, toReplyBox(in.box), 0);
}
void runNet(const Scope& s, const RequestInput& in, const LayerModel&) {
    netRequest(s, toReplyBox(in.box), NetReach::Scope, {}, 0);
}
void runBoardNet(const Scope& s, const RequestInput& in, const LayerModel& m) {
    netRequest(s, toReplyBox(in.box), NetReach::Board, m.boardLayers(), 0);
}
// A click of the select tool, or a box when the request says it is none.
void runSelectRequest(const Scope& s, const RequestInput& in, const LayerModel& m) {
    if (in.data.value(kSingle, true).toBool()) runClick(s, in, m);
    else runArea(s, in, m);
}
// Undoes at the box what the named select mode would have selected there.
void runUnselect(const Scope& s, const RequestInput& in, const LayerModel&) {
    switch (in.data.value(kType).toInt()) {
    case kFeatureMode: polygonUnselect(s, boxPolygon(in.box)); break;
    case kNetMode: netRequest(s, toReplyBox(in.box), NetReach::Scope, {}, 1); break;
    case kPolylineMode: polylineRequest(s, toReplyBox(in.box), 1); break;
    default: break;
    }
}
void runReverse(const Scope& s, const RequestInput&, const LayerModel&) {
    for (const std::string& layer : s.layers) reverseSelection(s.where, layer);
}
void runClearAll(const Scope& s, const RequestInput&, const LayerModel&) { clearLayers(s.where, s.layers); }

const SelectionRequest kSelectionRequests[] = {
    {20000401, Payload::Box, Reach::Scope, "select feature", runSelectRequest},
    {20000402, Payload::Box, Reach::Scope, "select by double click", runClick},
    {20000203, Payload::Box, Reach::Scope, "select area", runArea},
    {20000215, Payload::Box, Reach::Scope, "invert selection in box", runInvert},
    {20000224, Payload::Box, Reach::Scope, "select net", runNet},
    {20000244, Payload::Box, Reach::Work, "select layer net", runNet},
    {20000245, Payload::Box, Reach::ScopeAndBoard, "select board net", runBoardNet},
    {20000242, Payload::Box, Reach::Scope, "select polyline", runPolyline},
    {20001640, Payload::Box, Reach::Scope, "unselect", runUnselect},
    {20000223, Payload::Points, Reach::Scope, "select polygon", runPolygon},
    {20002001, Payload::Points, Reach::Scope, "select clip area", runPolygon},
    {20001639, Payload::None, Reach::Work, "reverse selection", runReverse},
    {20000421, Payload::None, Reach::All, "clear selection", runClearAll},
};

const SelectionRequest* selectionRequest(qint32 code) {
    for (const SelectionRequest& r : kSelectionRequests)
        if (r.code == code) return &r;
    return nullptr;
}

bool knownUnselectMode(const QVariantMap& data) {
    bool ok = false;
    const int mode = data.value(kType).toInt(&ok);
    return ok && (mode == kFeatureMode || mode == kNetMode || mode == kPolylineMode);
}

bool isHighlight(qint32 code) { return code == 20000414 || code == 20000415 || code == 20000416 || code == 20004403; }
bool isWithdraw(qint32 code) { return code >= 10000513 && code <= kSelectToolWithdraw; }
bool isHoleRequest(qint32 code) { return code == 10000507 || code == 10000508 || code == 10000605; }
constexpr qint32 kDeleteBox = 20000403;
constexpr qint32 kDeleteDoubleClick = 20000404;
bool isDelete(qint32 code) { return code == kDeleteBox || code == kDeleteDoubleClick; }
}  // namespace

JobListWidget::JobListWidget(QWidget* host)
    : QWidget(host), PluginEndpoint(PluginNames::JobList, host), m_panel(new LayerPanel(this)),
      m_steps(new QComboBox(this)) {
    setWindowTitle(tr("Layers"));
    setProperty("tolvaDockArea", QStringLiteral("left"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_steps->setObjectName(QStringLiteral("steps"));
    layout->addWidget(m_steps);
    layout->addWidget(m_panel);
    connect(m_steps, QOverload<int>::of(&QComboBox::activated), this,
            [this](int index) { openStep(m_steps->itemText(index)); });
    connect(m_panel, &LayerPanel::shownToggled, this, &JobListWidget::onShownToggled);
    connect(m_panel, &LayerPanel::workChosen, this, &JobListWidget::onWorkChosen);
    connect(m_panel, &LayerPanel::affectedToggled, this, &JobListWidget::onAffectedToggled);
    connect(m_panel, &LayerPanel::highlightChosen, this, &JobListWidget::onHighlightChosen);
    connect(m_panel, &LayerPanel::snapChosen, this, &JobListWidget::onSnapChosen);
    connect(m_panel, &LayerPanel::referenceChosen, this, &JobListWidget::onReferenceChosen);
    m_panel->setReferenceSource([this] {
        QMap<QString, QStringList> sources;
        guarded("listing the other open jobs", [&] {
            for (const std::string& job : JOB::list_jobs()) {
                if (job == m_where.job) continue;
                QStringList& layers = sources[QString::fromStdString(job)];
                for (const API::matrix_info& row : API::get_matrix(job)) layers.append(QString::fromStdString(row.name));
            }
        });
        return sources;
    });
    m_panel->sync(m_model);
}

bool JobListWidget::guarded(const char* what, const std::function<void()>& step) const {
    try {
        step();
        return true;
    } catch (const std::exception& e) {
        LOG(ERROR) << "JOBLIST: " << what << " failed: " << e.what();
    } catch (const API::KernelText& t) {
        LOG(ERROR) << "JOBLIST: " << what << " failed: " << t;
    } catch (const char* t) {
        LOG(ERROR) << "JOBLIST: " << what << " failed: " << (t ? t : "");
    }
    return false;
}

// ---- dispatch ---------------------------------------------------------------------

void JobListWidget::receive(const PluginMetaData& msg) {
    const qint32 code = msg.msgType;
    if (handleSelection(msg) || handleHighlight(msg)) return;
    if (code == kBindJob) bindJob(msg);
    else if (code == 20000405) m_shift = true;
    else if (code == 20000406) m_shift = false;
    else if (code == 20001817) countAllSelected();
    else if (isWithdraw(code)) withdraw(code);
    else if (code == 10000601) relayStepBox(msg);
    else if (code == 20001701) takeReferenceAnswer(msg);
    else if (code == 20001630) LOG(INFO) << "JOBLIST: request relayed by the view from " << msg.sender.toStdString();
    else if (isHoleRequest(code)) LOG(INFO) << "JOBLIST: hole request " << code << " (" << text(msg.data) << ")";
    else if (isDelete(code)) deleteFeatures(msg);
    else if (code == kEditAttributes) editAttributes(msg);
    else LOG(INFO) << "JOBLIST: code " << code << " from " << msg.sender.toStdString() << " ignored";
}

// A picked feature's attributes, relayed by the edit menu from the view:
// the editor opens without waiting and writes on OK.
void JobListWidget::editAttributes(const PluginMetaData& msg) {
    if (!jobOpen(msg)) return;
    auto* editor = new AttributeEditor(this, m_where, msg.data);
    editor->open();
}

bool JobListWidget::jobOpen(const PluginMetaData& msg) const {
    bool open = !m_where.job.empty() && !m_model.empty();
    if (open) guarded("looking up the job", [&] { open = JOB::job_exists(m_where.job); });
    if (!open) LOG(WARNING) << "JOBLIST: code " << msg.msgType << " ignored: no job is open";
    return open;
}

bool JobListWidget::readInput(const PluginMetaData& msg, bool points, RequestInput& in) const {
    in.code = msg.msgType;
    in.data = msg.data;
    if (!msg.payload) {
        LOG(ERROR) << "JOBLIST: code " << msg.msgType << " without its payload ignored";
        return false;
    }
    if (points) {
        if (toPolygon(*static_cast<const QVector<QPointF>*>(msg.payload), in.polygon)) return true;
        LOG(ERROR) << "JOBLIST: code " << msg.msgType << " needs at least three finite points";
        return false;
    }
    in.box = *static_cast<const QRectF*>(msg.payload);
    if (usableBox(in.box)) return true;
    LOG(ERROR) << "JOBLIST: code " << msg.msgType << " with an empty or non-finite box ignored";
    return false;
}

std::vector<std::string> JobListWidget::layersOf(Reach reach) const {
    switch (reach) {
    case Reach::Work: return m_model.workRow() < 0 ? std::vector<std::string>{}
                                                    : std::vector<std::string>{m_model.workName().toStdString()};
    case Reach::Scope: return m_model.scopeLayers();
    case Reach::ScopeAndBoard: {
        std::vector<std::string> layers = m_model.scopeLayers();
        for (const std::string& board : m_model.boardLayers())
            if (std::find(layers.begin(), layers.end(), board) == layers.end()) layers.push_back(board);
        return layers;
    }
    case Reach::All: return m_model.allLayers();
    }
    return {};
}

Scope JobListWidget::scope(Reach reach) const { return {m_where, layersOf(reach), m_shift}; }

// Each request records the selection it may change first, so that the
// select tool's withdraw can take it back.
bool JobListWidget::handleSelection(const PluginMetaData& msg) {
    const SelectionRequest* request = selectionRequest(msg.msgType);
    if (!request) return false;
    if (!jobOpen(msg)) return true;
    RequestInput in;
    if (request->payload != Payload::None && !readInput(msg, request->payload == Payload::Points, in)) return true;
    if (msg.msgType == 20001640 && !knownUnselectMode(msg.data)) {
        LOG(ERROR) << "JOBLIST: unselect request without a known \"type\" ignored (" << text(msg.data) << ")";
        return true;
    }
    const Scope s = scope(request->reach);
    if (s.layers.empty()) {
        LOG(WARNING) << "JOBLIST: " << request->name << " ignored: no layer to act on";
        return true;
    }
    guarded(request->name, [&] {
        m_history.record(m_where, s.layers);
        request->run(s, in, m_model);
    });
    askRedraw();
    countSelected(s.layers);
    return true;
}

// A highlight click names the layer of the feature under it as the view's
// highlight layer; the unhighlight request clears it.
bool JobListWidget::handleHighlight(const PluginMetaData& msg) {
    if (!isHighlight(msg.msgType)) return false;
    if (!jobOpen(msg)) return true;
    QString layer;
    if (msg.msgType != 20000416) {
        RequestInput in;
        if (!readInput(msg, false, in)) return true;
        Hit hit;
        bool found = false;
        guarded("finding the feature to highlight",
                [&] { found = topmostHit(m_where, m_model.lookupLayers(), toReplyBox(in.box), hit); });
        if (!found) {
            LOG(INFO) << "JOBLIST: no feature to highlight at the box";
            return true;
        }
        layer = QString::fromStdString(hit.layer);
    }
    send(PluginNames::GraphicView, 57, {{QStringLiteral("highlight_layer"), layer}});
    askRedraw();
    return true;
}

void JobListWidget::withdraw(qint32 code) {
    if (code != kSelectToolWithdraw) {
        LOG(INFO) << "JOBLIST: nothing to withdraw for the tool of code " << code;
        return;
    }
    bool withdrawn = false;
    guarded("withdrawing the last selection step", [&] { withdrawn = m_history.withdraw(); });
    if (!withdrawn) {
        LOG(INFO) << "JOBLIST: no selection step to withdraw";
        return;
    }
    askRedraw();
    countAllSelected();
}

// The delete tool's box (20000403) takes what it meets, its double click
// (20000404) the topmost feature; a 20000403 with "Selection" set and no box
// (the Delete key) takes the selection. All on the work and affected layers,
// as one undo step. Deleting renumbers the features, so the recorded
// selection steps cannot be withdrawn afterwards.
void JobListWidget::deleteFeatures(const PluginMetaData& msg) {
    if (!jobOpen(msg)) return;
    const bool selection = msg.msgType == kDeleteBox && msg.data.value(QStringLiteral("Selection")).toBool();
    RequestInput in;
    if (!selection && !readInput(msg, false, in)) return;
    const Scope s = scope(Reach::Scope);
    if (s.layers.empty()) {
        LOG(WARNING) << "JOBLIST: delete request ignored: no layer to act on";
        return;
    }
    guarded("deleting features", [&] {
        if (msg.msgType == kDeleteDoubleClick) pickTopmost(s, toReplyBox(in.box));
        else if (!selection) pickInBox(s, in.box);
        kernel::deleteSelected(m_where, s.layers);
    });
    m_history.clear();
    askRedraw();
    countAllSelected();
}

void JobListWidget::relayStepBox(const PluginMetaData& msg) { send(PluginNames::MiniMap, msg.msgType, msg.data); }

void JobListWidget::takeReferenceAnswer(const PluginMetaData& msg) {
    const QVariant layers = msg.data.value(QStringLiteral("LayerName"));
    if (!layers.canConvert<QString>()) {
        LOG(ERROR) << "JOBLIST: reference answer without \"LayerName\" ignored";
        return;
    }
    m_panel->setReference(layers.toString());
}

// ---- the job ---------------------------------------------------------------------

void JobListWidget::bindJob(const PluginMetaData& msg) {
    const QString job = msg.data.value(QStringLiteral("JobName")).toString();
    const QString step = msg.data.value(QStringLiteral("Step")).toString();
    if (job.isEmpty() && step.isEmpty()) {
        closeJob();
        return;
    }
    std::vector<API::matrix_info> matrix;
    bool known = false;
    guarded("opening the job", [&] {
        if (!JOB::job_exists(job.toStdString())) return;
        const std::vector<std::string> steps = JOB::list_steps(job.toStdString());
        known = std::find(steps.begin(), steps.end(), step.toStdString()) != steps.end();
        if (known) matrix = API::get_matrix(job.toStdString());
    });
    if (!known) {
        LOG(ERROR) << "JOBLIST: job \"" << job.toStdString() << "\" step \"" << step.toStdString()
                   << "\" is not open in the kernel";
        return;
    }
    m_where = {job.toStdString(), step.toStdString()};
    m_model.reset(matrix);
    m_history.clear();
    m_panel->setReference(QString());
    countAllSelected();
    listSteps();
    sendShownLayers();
    send(PluginNames::GraphicView, kBindJob, {{QStringLiteral("JobName"), job}, {QStringLiteral("Step"), step}});
    sendWorkLayer();
}

// A job's steps: its boards and the panels that repeat them.
void JobListWidget::listSteps() {
    const QSignalBlocker quiet(m_steps);
    m_steps->clear();
    guarded("listing the steps", [&] {
        if (m_where.job.empty()) return;
        for (const std::string& step : JOB::list_steps(m_where.job)) m_steps->addItem(QString::fromStdString(step));
    });
    m_steps->setCurrentText(QString::fromStdString(m_where.step));
}

// Another step of the open job goes to the view as a job does; the step
// menu hears it too, since it edits the shown step's table.
void JobListWidget::openStep(const QString& step) {
    if (m_where.job.empty() || step.toStdString() == m_where.step) return;
    const QVariantMap names{{QStringLiteral("JobName"), QString::fromStdString(m_where.job)}, {QStringLiteral("Step"), step}};
    PluginMetaData msg(pluginName(), pluginName(), kBindJob);
    msg.data = names;
    bindJob(msg);
    send(PluginNames::MenuBarStep, kBindJob, names);
}

void JobListWidget::closeJob() {
    m_where = {};
    m_steps->clear();
    m_model.clear();
    m_history.clear();
    m_shift = false;
    m_panel->sync(m_model);
    sendShownLayers();
    askRedraw();
}

void JobListWidget::sendShownLayers() {
    send(PluginNames::GraphicView, 54,
         {{QStringLiteral("LayerList"), m_model.shownNames()},
          {QStringLiteral("ColorList"), m_model.colorList()},
          {QStringLiteral("AffectedLayers"), m_model.affectedNames()}});
}

void JobListWidget::sendWorkLayer() {
    send(PluginNames::GraphicView, 55, {{QStringLiteral("clayer"), m_model.workName()}});
}

void JobListWidget::askRedraw() { send(PluginNames::GraphicView, kRedraw); }

void JobListWidget::countSelected(const std::vector<std::string>& layers) {
    for (const std::string& layer : layers) {
        const int row = m_model.indexOf(QString::fromStdString(layer));
        int count = 0;
        if (guarded("counting the selected features",
                    [&] { count = JOB::selected_count(m_where.job, m_where.step, layer); }))
            m_model.setSelectedCount(row, count);
    }
    m_panel->sync(m_model);
}

void JobListWidget::countAllSelected() {
    if (m_where.job.empty()) return;
    countSelected(m_model.allLayers());
}

// ---- the operator's choices in the panel ----------------------------------------------

void JobListWidget::onShownToggled(int row, bool shown) {
    if (m_model.setShown(row, shown)) {
        sendShownLayers();
        askRedraw();
    }
    m_panel->sync(m_model);
}

void JobListWidget::onWorkChosen(int row) {
    if (m_model.setWork(row)) {
        sendShownLayers();
        sendWorkLayer();
        askRedraw();
    }
    m_panel->sync(m_model);
}

void JobListWidget::onAffectedToggled(int row, bool affected) {
    if (row != m_model.workRow() && m_model.setAffected(row, affected)) {
        sendShownLayers();
        askRedraw();
    }
    m_panel->sync(m_model);
}

void JobListWidget::onHighlightChosen(int row) {
    if (!m_model.valid(row)) return;
    send(PluginNames::GraphicView, 57, {{QStringLiteral("highlight_layer"), m_model.rows()[row].name}});
    askRedraw();
}

void JobListWidget::onSnapChosen(int row) {
    if (!m_model.valid(row)) return;
    send(PluginNames::GraphicView, 56, {{QStringLiteral("snap_layer"), m_model.rows()[row].name}});
}

// The reference is drawn from the step of the same name when the other job
// has one, else from its first step.
void JobListWidget::onReferenceChosen(const QString& job, const QString& layer) {
    QString step;
    guarded("choosing a reference layer", [&] {
        const std::vector<std::string> steps = JOB::list_steps(job.toStdString());
        if (std::find(steps.begin(), steps.end(), m_where.step) != steps.end()) step = QString::fromStdString(m_where.step);
        else if (!steps.empty()) step = QString::fromStdString(steps.front());
    });
    if (step.isEmpty()) {
        LOG(ERROR) << "JOBLIST: job \"" << job.toStdString() << "\" has no step to reference";
        return;
    }
    send(PluginNames::GraphicView, 58,
         {{QStringLiteral("RefJobName"), job}, {QStringLiteral("RefStepName"), step},
          {QStringLiteral("RefLayerList"), QStringList{layer}}});
    askRedraw();
}

}  // namespace JOBLIST
}  // namespace TOLVA

TOLVA_PLUGIN_ENTRY(TOLVA::JOBLIST::JobListWidget)
