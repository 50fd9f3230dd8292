#include "analysis_panel.h"

#include <glog/logging.h>

#include <QAction>
#include <QDir>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>
#include <QtConcurrent>

#include "AnalysisMessages.h"
#include "CoordinateMessages.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Results.h"
#include "UIAPICommon.h"

namespace TOLVA {
namespace ANALYSIS {

namespace {

namespace AM = AnalysisMessages;
using PLUGIN::addMenuAction;

const std::string kResultSet = "analysis";
constexpr int kProgressMs = 100;  // how often the progress dialog follows the run

QString summary(const std::vector<CHECKS::check_result>& results) {
    const long errors = std::count_if(results.begin(), results.end(),
                                      [](const CHECKS::check_result& r) { return r.level == CHECKS::severity::ERROR; });
    return QObject::tr("%1 results: %2 errors, %3 warnings")
        .arg(results.size())
        .arg(errors)
        .arg(long(results.size()) - errors);
}

// Works through the plan on a worker thread; each call locks the kernel
// only while it runs, so the view goes on drawing between calls. Progress
// goes to `report` on the panel's own thread.
RunOutcome runPlan(const std::string& job, const std::string& step, const std::vector<PlannedCheck>& plan,
                   std::atomic<bool>* cancel, std::atomic<int>* started) {
    RunOutcome out;
    for (size_t i = 0; i < plan.size() && !*cancel; ++i) {
        *started = int(i);
        try {
            QElapsedTimer clock;
            clock.start();
            const CHECKS::run_report report = CHECKS::run_checks(job, step, {plan[i].task}, nullptr, cancel);
            out.results.insert(out.results.end(), report.results.begin(), report.results.end());
            LOG(INFO) << "ANALYSIS: " << plan[i].label.toStdString() << ": " << report.results.size() << " results in "
                      << clock.elapsed() << " ms";
        } catch (const std::exception& e) {
            out.error = plan[i].label + QStringLiteral(": ") + QString::fromUtf8(e.what());
            return out;
        } catch (const std::string& text) {
            out.error = plan[i].label + QStringLiteral(": ") + QString::fromStdString(text);
            return out;
        }
    }
    out.cancelled = *cancel;
    return out;
}

}  // namespace

AnalysisPanel::AnalysisPanel(QWidget* host)
    : QWidget(host),
      PluginEndpoint(PluginNames::MenuBarAnalysis, host),
      m_table(new ResultsTable(this)),
      m_status(new QLabel(tr("No checks run yet"), this)) {
    setWindowTitle(tr("Analysis"));
    setProperty("tolvaMenu", QStringLiteral("Analysis"));
    setProperty("tolvaDockArea", QStringLiteral("bottom"));
    m_status->setObjectName(QStringLiteral("analysisStatus"));
    addMenuAction(this, "runChecks", tr("Run Checks..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K), [this] { askLimits(); });
    addMenuAction(this, "nextResult", tr("Next Result"), QKeySequence(Qt::Key_F8), [this] { toView(AM::kNext); });
    addMenuAction(this, "previousResult", tr("Previous Result"), QKeySequence(Qt::SHIFT | Qt::Key_F8), [this] { toView(AM::kPrevious); });
    addMenuAction(this, "zoomResult", tr("Zoom to Result"), [this] { toView(AM::kZoomToCurrent); });
    addMenuAction(this, "clearResults", tr("Clear Results"), [this] { clearResults(); });
    addMenuAction(this, "exportResults", tr("Export Results to CSV..."), [this] { askCsvPath(); });
    addMenuAction(this, "showNet", tr("Highlight Net of Result"), [this] { showNetOfResult(); });
    addMenuAction(this, "compareLayers", tr("Compare Layers..."), [this] { askCompare(); });

    auto* buttons = new QHBoxLayout;
    for (QAction* action : actions()) {
        auto* button = new QPushButton(action->text().remove(QLatin1String("...")), this);
        button->setObjectName(action->objectName() + QStringLiteral("Button"));
        connect(button, &QPushButton::clicked, action, &QAction::trigger);
        buttons->addWidget(button);
    }
    buttons->addWidget(m_status, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addLayout(buttons);
    layout->addWidget(m_table, 1);
    m_table->onActivated([this](int index) { toView(AM::kGoTo, {{AM::kKeyIndex, index}}); });
    connect(&m_watcher, &QFutureWatcher<RunOutcome>::finished, this, [this] { finishRun(); });
    connect(&m_progressTimer, &QTimer::timeout, this, [this] {
        const int at = m_started;
        if (!m_progress || at < 0 || at >= m_labels.size()) return;
        m_progress->setValue(at);
        m_progress->setLabelText(m_labels[at]);
    });
}

AnalysisPanel::~AnalysisPanel() {
    m_cancel = true;
    m_watcher.waitForFinished();
}

QString AnalysisPanel::status() const { return m_status->text(); }

void AnalysisPanel::setStatus(const QString& text) {
    m_status->setText(text);
    LOG(INFO) << "ANALYSIS: " << text.toStdString();
}

void AnalysisPanel::toView(qint32 code, const QVariantMap& data) { send(PluginNames::GraphicView, code, data); }

void AnalysisPanel::receive(const PluginMetaData& msg) {
    if (m_bound.take(msg)) {
        showStoredResults();
        return;
    }
    if (msg.msgType == AM::kResults) {
        takeViewResults(msg);
    } else if (msg.msgType == AM::kRun) {
        m_stepAfterRun = runChecks(rememberedLimits()) && msg.data.value(AM::kKeyNext).toBool();
    } else if (msg.msgType == AM::kCurrent) {
        m_table->selectResult(msg.data.value(AM::kKeyIndex).toInt());
        setStatus(msg.data.value(AM::kKeyText).toString());
    } else if (msg.msgType == CoordinateMessages::kRefused) {
        setStatus(msg.data.value(CoordinateMessages::kKeyMessage).toString());
    }
}

// The limits of every check in the display unit, remembered between runs.
void AnalysisPanel::askLimits() {
    const std::string unit = UIAPI::getUnitString();
    const double per = PLUGIN::nanometresPer(unit);
    const Limits limits = rememberedLimits();
    auto* dialog = new PLUGIN::FormDialog(this, QStringLiteral("checkLimits"), tr("Run Checks"));
    for (const CheckKind& k : checkKinds()) {
        const QString key = QLatin1String(k.key);
        const CHECKS::check_params p = limits.value(key);
        dialog->addLength(key + QStringLiteral("/error"), tr("%1, error below").arg(tr(k.title)), unit)->setValue(p.error_limit / per);
        dialog->addLength(key + QStringLiteral("/warning"), tr("%1, warning below").arg(tr(k.title)), unit)->setValue(p.warning_limit / per);
    }
    dialog->present([this](const PLUGIN::FormDialog& form) {
        Limits chosen;
        for (const CheckKind& k : checkKinds()) {
            const QString key = QLatin1String(k.key);
            chosen.insert(key, {form.boardLength(key + QStringLiteral("/error")), form.boardLength(key + QStringLiteral("/warning"))});
        }
        rememberLimits(chosen);
        runChecks(chosen);
    });
}

bool AnalysisPanel::runChecks(const Limits& limits) {
    if (running()) {
        setStatus(tr("Checks are running already"));
        return false;
    }
    if (!m_bound.isOpen()) {
        setStatus(tr("No job is open"));
        return false;
    }
    const std::string job = m_bound.job.toStdString(), step = m_bound.step.toStdString();
    std::vector<PlannedCheck> plan;
    const bool planned = PLUGIN::kernelCall(pluginName(), "planning the checks", [&] {
        plan = planChecks(API::get_matrix(job), API::has_profile(job, step), limits);
    });
    if (!planned || plan.empty()) {
        setStatus(planned ? tr("No copper or drill layer to check") : tr("The job cannot be read"));
        return false;
    }
    // Limits the kernel would refuse are refused here, before any check runs.
    for (auto it = limits.begin(); it != limits.end(); ++it) {
        const CHECKS::check_params& p = it.value();
        if (!(p.error_limit > 0 && p.warning_limit >= p.error_limit && std::isfinite(p.warning_limit))) {
            setStatus(tr("Limits of %1 refused: both must be positive and the warning limit not below the error limit")
                          .arg(it.key()));
            return false;
        }
    }
    m_cancel = false;
    m_progress = new QProgressDialog(tr("Running checks"), tr("Cancel"), 0, int(plan.size()), this);
    m_progress->setObjectName(QStringLiteral("checksProgress"));
    m_progress->setWindowModality(Qt::WindowModal);
    m_progress->setMinimumDuration(300);
    connect(m_progress, &QProgressDialog::canceled, this, [this] { m_cancel = true; });
    setStatus(tr("Running %1 checks").arg(plan.size()));
    setProperty("tolvaBusy", true);
    // The worker only counts; the dialog is read from that count on this
    // thread, so nothing crosses threads but two atomics.
    m_started = 0;
    m_labels.clear();
    for (const PlannedCheck& p : plan) m_labels.append(p.label);
    m_progressTimer.start(kProgressMs);
    m_watcher.setFuture(QtConcurrent::run([this, job, step, plan] { return runPlan(job, step, plan, &m_cancel, &m_started); }));
    return true;
}

void AnalysisPanel::finishRun() {
    m_progressTimer.stop();
    delete m_progress;  // at once: the next run's dialog is the only one
    setProperty("tolvaBusy", false);
    const bool step = std::exchange(m_stepAfterRun, false);
    const RunOutcome out = m_watcher.result();
    if (!out.error.isEmpty()) {
        setStatus(tr("Checks stopped: %1; the previous results stay").arg(out.error));
        return;
    }
    if (out.cancelled) {
        setStatus(tr("Checks cancelled; the previous results stay"));
        return;
    }
    showResults(out.results);
    toView(AM::kResults, {{AM::kKeyResults, AM::toVariantList(out.results)}, {AM::kKeyJob, m_bound.job},
                          {AM::kKeyStep, m_bound.step}});
    store(out.results);
    if (step && !out.results.empty()) toView(AM::kNext);
}

void AnalysisPanel::clearResults() {
    showResults({});
    toView(AM::kClear);
    if (!m_bound.isOpen()) return;
    PLUGIN::kernelCall(pluginName(), "clearing the results", [&] {
        RESULTS::clear_results(m_bound.job.toStdString(), m_bound.step.toStdString(), kResultSet);
    });
}

// The results are kept with the job, so that they come back with it.
void AnalysisPanel::store(const std::vector<CHECKS::check_result>& results) {
    PLUGIN::kernelCall(pluginName(), "storing the results", [&] {
        RESULTS::set_results(m_bound.job.toStdString(), m_bound.step.toStdString(), kResultSet, results);
    });
}

// A job that comes with results from its last run shows them again.
void AnalysisPanel::showStoredResults() {
    std::vector<CHECKS::check_result> stored;
    bool ran = false;
    if (!PLUGIN::kernelCall(pluginName(), "reading the stored results", [&] {
            const std::string job = m_bound.job.toStdString(), step = m_bound.step.toStdString();
            const API::str_list sets = RESULTS::result_sets(job, step);
            ran = std::find(sets.begin(), sets.end(), kResultSet) != sets.end();
            stored = RESULTS::get_results(job, step, kResultSet);
        }))
        return;
    if (!ran) {
        m_table->setResults({}, UIAPI::getUnitString());
        setStatus(tr("No checks run yet"));
        return;
    }
    showResults(stored);
    if (stored.empty()) return;
    toView(AM::kResults, {{AM::kKeyResults, AM::toVariantList(stored)}, {AM::kKeyJob, m_bound.job},
                          {AM::kKeyStep, m_bound.step}});
}

// The view's answer to a layer compare: its areas as the list to review.
void AnalysisPanel::takeViewResults(const PluginMetaData& msg) {
    std::vector<CHECKS::check_result> results;
    for (const QVariant& item : msg.data.value(AM::kKeyResults).toList()) {
        CHECKS::check_result r;
        if (AM::fromVariant(item.toMap(), r)) results.push_back(r);
    }
    showResults(results);
    const QString title = msg.data.value(AM::kKeyTitle).toString();
    if (!title.isEmpty()) setStatus(title + QStringLiteral(": ") + status());
}

// The net of the selected result's first feature, highlighted across the
// copper and drill layers.
void AnalysisPanel::showNetOfResult() {
    const QModelIndexList rows = m_table->view()->selectionModel()->selectedRows();
    const int index = rows.isEmpty() ? -1 : m_table->resultAt(rows.front().row());
    if (index < 0 || m_table->results()[size_t(index)].features.empty()) {
        setStatus(tr("Select a result with a feature first"));
        return;
    }
    const MEASURE::feature_ref& f = m_table->results()[size_t(index)].features.front();
    toView(AM::kShowNet, {{AM::kKeyLayer, QString::fromStdString(f.layer)}, {AM::kKeyIndex, f.index}});
}

// Two layers of the step, or a layer of another job against one of this
// job (a revision against the last): the view compares and shows them.
void AnalysisPanel::askCompare() {
    if (!m_bound.isOpen()) {
        setStatus(tr("No job is open"));
        return;
    }
    QStringList layers;
    PLUGIN::kernelCall(pluginName(), "reading the layers", [&] {
        for (const API::matrix_info& row : API::get_matrix(m_bound.job.toStdString()))
            layers.append(QString::fromStdString(row.name));
    });
    const std::string unit = UIAPI::getUnitString();
    auto* dialog = new PLUGIN::FormDialog(this, QStringLiteral("compareLayers"), tr("Compare Layers"));
    dialog->addChoice(AM::kKeyLayer1, tr("Layer"), layers);
    dialog->addChoice(AM::kKeyJob2, tr("Against job"), {m_bound.job}, true);
    dialog->addChoice(AM::kKeyLayer2, tr("Layer"), layers, true);
    dialog->addLength(AM::kKeyTolerance, tr("Tolerance"), unit)->setValue(0.001 * 1e6 / PLUGIN::nanometresPer(unit));
    dialog->present([this](const PLUGIN::FormDialog& form) {
        toView(AM::kLayerCompare, {{AM::kKeyLayer1, form.choiceText(AM::kKeyLayer1)},
                                   {AM::kKeyLayer2, form.choiceText(AM::kKeyLayer2)},
                                   {AM::kKeyJob2, form.choiceText(AM::kKeyJob2)},
                                   {AM::kKeyStep2, m_bound.step},
                                   {AM::kKeyTolerance, form.boardLength(AM::kKeyTolerance)}});
    });
}

void AnalysisPanel::showResults(const std::vector<CHECKS::check_result>& results) {
    m_table->setResults(results, UIAPI::getUnitString());
    setStatus(summary(results));
}

void AnalysisPanel::askCsvPath() {
    auto* dialog = new PLUGIN::FormDialog(this, QStringLiteral("exportResults"), tr("Export Results"));
    dialog->addChoice(QStringLiteral("path"), tr("File"), {QDir::current().filePath(QStringLiteral("analysis_results.csv"))}, true);
    dialog->present([this](const PLUGIN::FormDialog& form) { exportCsv(form.choiceText(QStringLiteral("path"))); });
}

void AnalysisPanel::exportCsv(const QString& path) {
    QFile file(path);
    const QByteArray text = resultsCsv(m_table->results()).toUtf8();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text) || file.write(text) != text.size()) {
        setStatus(tr("Cannot write %1: %2").arg(path, file.errorString()));
        return;
    }
    setStatus(tr("%1 results written to %2").arg(m_table->results().size()).arg(path));
}

}  // namespace ANALYSIS
}  // namespace TOLVA

TOLVA_PLUGIN_ENTRY(TOLVA::ANALYSIS::AnalysisPanel)
