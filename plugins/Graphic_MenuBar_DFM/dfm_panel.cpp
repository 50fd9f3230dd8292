// The DFM menu: the repairs, each one edit of the job that undo takes back
// whole, with what it changed and what it could not handed to the view as
// results to step through and kept with the job; and the panel that lists
// the feature attributes the view forwards while a DFM check is open.
#include <QAction>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLayout>

#include "AnalysisMessages.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Repair.h"
#include "TOLVA_Results.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using TOLVA::PLUGIN::addMenuAction;

namespace AM = AnalysisMessages;
using TOLVA::PLUGIN::FormDialog;

constexpr qint32 kRedraw = 20000417;
const std::string kResultSet = "dfm";

bool onBoard(const TOLVA::API::matrix_info& row) { return row.context == "board"; }
bool isCopper(const TOLVA::API::matrix_info& row) {
    return onBoard(row) && (row.type == "signal" || row.type == "power_ground" || row.type == "mixed");
}

class DfmPanel : public TOLVA::PLUGIN::ReceivedMessagesPanel {
public:
    explicit DfmPanel(QWidget* host)
        : ReceivedMessagesPanel(PluginNames::MenuBarDFM, host, tr("DFM"),
                                {{20001807, tr("feature attributes")}, {20001828, tr("feature attributes")}}),
          m_status(new QLabel(tr("No repair run yet"), this)) {
        setProperty("tolvaMenu", QStringLiteral("DFM"));
        m_status->setObjectName(QStringLiteral("dfmStatus"));
        layout()->addWidget(m_status);
        addMenuAction(this, "removeDuplicateHoles", tr("Remove Duplicate Holes"), [this] { removeDuplicateHoles(); });
        addMenuAction(this, "enlargePads", tr("Enlarge Pads for Annular Ring..."), [this] { askRing(); });
    }
    QString status() const { return m_status->text(); }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_bound.take(msg)) return;
        if (msg.msgType == AM::kCurrent) {
            m_status->setText(msg.data.value(AM::kKeyText).toString());
            return;
        }
        ReceivedMessagesPanel::receive(msg);
    }

private:

    // The board layers of one kind, by name.
    TOLVA::API::str_list layers(bool (*kind)(const TOLVA::API::matrix_info&)) const {
        TOLVA::API::str_list out;
        TOLVA::PLUGIN::kernelCall(pluginName(), "reading the layers", [&] {
            for (const auto& row : TOLVA::API::get_matrix(m_bound.job.toStdString()))
                if (kind(row)) out.push_back(row.name);
        });
        return out;
    }
    static bool isDrill(const TOLVA::API::matrix_info& row) { return onBoard(row) && row.type == "drill"; }

    void removeDuplicateHoles() {
        const TOLVA::API::str_list drills = layers(isDrill);
        if (!ready(!drills.empty(), tr("no drill layer"))) return;
        repair(tr("Duplicate holes"), [&] {
            return TOLVA::REPAIR::remove_duplicate_holes(job(), step(), drills);
        });
    }

    void askRing() {
        const TOLVA::API::str_list drills = layers(isDrill), copper = layers(isCopper);
        if (!ready(!drills.empty() && !copper.empty(), tr("no drill or copper layer"))) return;
        const std::string unit = TOLVA::UIAPI::getUnitString();
        const double per = TOLVA::PLUGIN::nanometresPer(unit);
        auto* dialog = new FormDialog(this, QStringLiteral("enlargePadsDialog"), tr("Enlarge Pads for Annular Ring"));
        dialog->addChoice(QStringLiteral("drill"), tr("Drill layer"), AM::toStringList(drills));
        dialog->addLength(QStringLiteral("ring"), tr("Minimum ring"), unit)->setValue(100e3 / per);
        dialog->addLength(QStringLiteral("clearance"), tr("Minimum clearance"), unit)->setValue(100e3 / per);
        dialog->present([this, copper](const FormDialog& form) {
            const std::string drill = form.choiceText(QStringLiteral("drill")).toStdString();
            const double ring = form.boardLength(QStringLiteral("ring")), clearance = form.boardLength(QStringLiteral("clearance"));
            repair(tr("Annular rings"), [&] {
                return TOLVA::REPAIR::enlarge_pads_for_ring(job(), step(), drill, copper, ring, clearance);
            });
        });
    }

    bool ready(bool layersFound, const QString& missing) {
        if (!m_bound.isOpen()) m_status->setText(tr("No job is open"));
        else if (!layersFound) m_status->setText(tr("Nothing to repair: %1").arg(missing));
        return m_bound.isOpen() && layersFound;
    }

    // Runs one repair; its results go to the view and stay with the job, and
    // the view draws the changed board.
    template <class Call>
    void repair(const QString& what, Call&& call) {
        std::vector<TOLVA::CHECKS::check_result> results;
        const bool done = TOLVA::PLUGIN::kernelCall(pluginName(), "repairing", [&] {
            results = call();
            TOLVA::RESULTS::set_results(job(), step(), kResultSet, results);
        });
        if (!done) {
            m_status->setText(tr("%1: the repair was refused (see the log); nothing changed").arg(what));
            return;
        }
        const long unfixed = std::count_if(results.begin(), results.end(), [](const auto& r) {
            return r.level == TOLVA::CHECKS::severity::ERROR && r.check != "duplicate_hole_removed";
        });
        m_status->setText(tr("%1: %2 changed, %3 left for the operator").arg(what).arg(long(results.size()) - unfixed).arg(unfixed));
        send(PluginNames::GraphicView, AM::kDfmResults,
             {{AM::kKeyResults, AM::toVariantList(results)}, {AM::kKeyJob, m_bound.job}, {AM::kKeyStep, m_bound.step}});
        send(PluginNames::GraphicView, kRedraw);
    }

    std::string job() const { return m_bound.job.toStdString(); }
    std::string step() const { return m_bound.step.toStdString(); }

    TOLVA::PLUGIN::BoundJob m_bound;
    QLabel* m_status;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(DfmPanel)
