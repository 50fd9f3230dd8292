#pragma once
// The job list: owns the open job on behalf of the view. It lists the
// job's layers, tells the view which to draw, and carries out the view's
// selection requests in the kernel.
#include <QRectF>
#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "layer_model.h"
#include "plugin_endpoint.h"
#include "selection_history.h"
#include "selection_ops.h"

class QComboBox;

namespace TOLVA {
namespace JOBLIST {

class LayerPanel;

// What a selection request carries, copied out of the message: the box or
// the point list lives only while the message is delivered.
struct RequestInput {
    qint32 code = 0;
    QVariantMap data;
    QRectF box;
    std::vector<API::point> polygon;
};

class JobListWidget : public QWidget, public PLUGIN::PluginEndpoint {
    Q_OBJECT
public:
    explicit JobListWidget(QWidget* host);

    LayerPanel* panel() const { return m_panel; }
    // The steps of the open job; choosing one shows it in the view.
    QComboBox* steps() const { return m_steps; }
    const LayerModel& model() const { return m_model; }
    const Where& where() const { return m_where; }
    bool shiftHeld() const { return m_shift; }

    // The layer sets a request reaches.
    enum class Reach { Work, Scope, ScopeAndBoard, All };
    std::vector<std::string> layersOf(Reach reach) const;
    Scope scope(Reach reach) const;

protected:
    void receive(const PluginMetaData& msg) override;

private:
    // ---- the job and the panel
    void bindJob(const PluginMetaData& msg);
    void closeJob();
    void listSteps();
    void openStep(const QString& step);
    void onShownToggled(int row, bool shown);
    void onWorkChosen(int row);
    void onAffectedToggled(int row, bool affected);
    void onHighlightChosen(int row);
    void onSnapChosen(int row);
    void onReferenceChosen(const QString& job, const QString& layer);
    void sendShownLayers();
    void sendWorkLayer();
    void askRedraw();
    void countSelected(const std::vector<std::string>& layers);
    void countAllSelected();

    // ---- requests
    bool handleSelection(const PluginMetaData& msg);
    bool handleHighlight(const PluginMetaData& msg);
    bool readInput(const PluginMetaData& msg, bool points, RequestInput& in) const;
    void withdraw(qint32 code);
    void deleteFeatures(const PluginMetaData& msg);
    void editAttributes(const PluginMetaData& msg);
    static constexpr qint32 kEditAttributes = 20001807;
    void relayStepBox(const PluginMetaData& msg);
    void takeReferenceAnswer(const PluginMetaData& msg);
    bool jobOpen(const PluginMetaData& msg) const;

    // Runs a kernel step; a failure is logged with `what` and false returned.
    bool guarded(const char* what, const std::function<void()>& step) const;

    LayerPanel* m_panel;
    QComboBox* m_steps;
    LayerModel m_model;
    SelectionHistory m_history;
    Where m_where;
    bool m_shift = false;
};

}  // namespace JOBLIST
}  // namespace TOLVA
