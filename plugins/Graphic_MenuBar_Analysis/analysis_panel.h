#pragma once
// The analysis menu and its results dock: runs the checks with the
// operator's limits behind a progress dialog that can be cancelled, lists
// the results, hands them to the view and steps through them there, and
// exports them as CSV.
#include <QFutureWatcher>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <memory>
#include <vector>

#include "check_plan.h"
#include "plugin_widgets.h"
#include "results_table.h"

class QLabel;
class QProgressDialog;

namespace TOLVA {
namespace ANALYSIS {

// What a run brought back.
struct RunOutcome {
    std::vector<CHECKS::check_result> results;
    bool cancelled = false;
    QString error;  // the first check that failed, and why
};

class AnalysisPanel : public QWidget, public PLUGIN::PluginEndpoint {
public:
    explicit AnalysisPanel(QWidget* host);
    ~AnalysisPanel() override;

    // Starts a run of every check the step's layers call for; false (with
    // the reason in the status line) when nothing can run.
    bool runChecks(const Limits& limits);
    bool running() const { return m_watcher.isRunning(); }
    // Asks the running checks to stop after the one in progress.
    void cancelRun() { m_cancel = true; }
    // Writes the results shown as CSV; a failure is told in the status line.
    void exportCsv(const QString& path);
    ResultsTable* table() const { return m_table; }
    QString status() const;

protected:
    void receive(const PluginMetaData& msg) override;

private:
    void askLimits();
    void askCsvPath();
    void finishRun();
    void clearResults();
    void store(const std::vector<CHECKS::check_result>& results);
    void showStoredResults();
    void takeViewResults(const PluginMetaData& msg);
    void askCompare();
    void showNetOfResult();
    void showResults(const std::vector<CHECKS::check_result>& results);
    void toView(qint32 code, const QVariantMap& data = {});
    void setStatus(const QString& text);

    PLUGIN::BoundJob m_bound;
    ResultsTable* m_table;
    QLabel* m_status;
    std::atomic<bool> m_cancel{false};
    QFutureWatcher<RunOutcome> m_watcher;
    QPointer<QProgressDialog> m_progress;
    QTimer m_progressTimer;
    std::atomic<int> m_started{0};  // the plan entry the worker is on
    QStringList m_labels;           // the plan's entries, for the dialog
    bool m_stepAfterRun = false;
};

}  // namespace ANALYSIS
}  // namespace TOLVA
