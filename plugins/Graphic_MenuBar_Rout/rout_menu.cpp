// The Rout menu: making a rout chain of the selected lines and arcs of the
// work layer or drawing one with the rout tool, showing and optimising the
// order the chains are cut in, and compensating a rout layer's chains onto
// another layer.
// The layer lists come from the matrix of the job the host announces.
#include <QAction>
#include <QActionGroup>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QVBoxLayout>
#include <cmath>
#include <algorithm>
#include <limits>
#include <utility>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using TOLVA::PLUGIN::addMenuAction;

using namespace TOLVA::PLUGIN;

constexpr qint32 kCreateChain = 20003901;
constexpr qint32 kCompensate = 20003910;
constexpr qint32 kChainApplied = 20003909;
// The chain order: asked for and answered with 20003902 ("Chains": one map
// per chain in cutting order, "AirTravel" in board units); 20003903 hands
// the view a new order ("Order") or asks it to find the shortest
// ("Optimise", on "Layer" or the work layer). Keys in Graphic_view_Rout.cpp.
constexpr qint32 kChainOrder = 20003902;
constexpr qint32 kNewChainOrder = 20003903;
// Opens the rout tool, or hands it "commit", "reverse" or "drop" ("Action").
constexpr qint32 kDrawChain = 20003905;
// The chain the rout tool is drawing ("Layer", "Indices", "Reversed", "Closed").
constexpr qint32 kChainBeingDrawn = 20003908;
constexpr double kNanometresPerMillimetre = 1e6;
constexpr int kLargest = std::numeric_limits<int>::max();
const char kRoutType[] = "rout";

class RoutMenu : public QWidget, public PluginEndpoint {
public:
    explicit RoutMenu(QWidget* host)
        : QWidget(host), PluginEndpoint(PluginNames::MenuBarRout, host), m_status(new QLabel(this)) {
        setWindowTitle(tr("Rout"));
        setProperty("tolvaMenu", QStringLiteral("Rout"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        m_status->setObjectName(QStringLiteral("status"));
        m_status->setWordWrap(true);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(m_status);
        layout->addStretch();
        addMenuAction(this, "createChain", tr("Create Chain..."), [this] { askChain(); });
        addMenuAction(this, "compensate", tr("Compensate..."), [this] { askCompensate(); });
        addMenuAction(this, "drawChain", tr("Draw Chain"), [this] { drawAction(QStringLiteral("open")); });
        addMenuAction(this, "reverseChain", tr("Reverse Chain"), [this] { drawAction(QStringLiteral("reverse")); });
        addMenuAction(this, "commitChain", tr("Apply Chain"), [this] { drawAction(QStringLiteral("commit")); });
        addMenuAction(this, "chainOrder", tr("Chain Order"), [this] { send(PluginNames::GraphicView, kChainOrder); });
        addMenuAction(this, "optimiseOrder", tr("Optimise Chain Order"),
                      [this] { send(PluginNames::GraphicView, kNewChainOrder, {{QStringLiteral("Optimise"), true}}); });
        addDisplayActions(host);
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) return readLayers();
        if (msg.msgType == kChainApplied) {
            ++m_chainsApplied;
            m_status->setText(tr("Rout chain applied (%1 in this session)").arg(m_chainsApplied));
        } else if (msg.msgType == kChainOrder) {
            showOrder(msg.data);
        } else if (msg.msgType == kChainBeingDrawn) {
            const int pieces = msg.data.value(QStringLiteral("Indices")).toList().size();
            m_status->setText(tr("Chain being drawn on %1: %2 pieces")
                                  .arg(msg.data.value(QStringLiteral("Layer")).toString())
                                  .arg(pieces));
        }
    }

private:
    // What the view shows of the chains, kept in the host's shared state
    // (the view reads it each frame): the chains over the rout layers, and
    // the cutter's band as a filled band, its centre line or its outline.
    void addDisplayActions(QWidget* host) {
        QAction* show = addMenuAction(this, "showChains", tr("Show Chains"), [] {});
        show->setCheckable(true);
        show->setChecked(TOLVA::UIAPI::getShowPara(host).show_rout_info);
        connect(show, &QAction::toggled, this, [host](bool on) {
            TOLVA::UIAPI::ShowPara para = TOLVA::UIAPI::getShowPara(host);
            para.show_rout_info = on;
            TOLVA::UIAPI::setShowPara(host, para);
        });
        auto* bands = new QActionGroup(this);
        const std::pair<const char*, QString> modes[] = {{"bandFilled", tr("Band Filled")},
                                                         {"bandCentre", tr("Band as Centre Line")},
                                                         {"bandOutline", tr("Band as Outline")}};
        for (int mode = 0; mode < 3; ++mode) {
            QAction* band = addMenuAction(this, modes[mode].first, modes[mode].second,
                                          [host, mode] { TOLVA::UIAPI::setWidth(host, mode); });
            band->setCheckable(true);
            band->setChecked(TOLVA::UIAPI::getWidth(host) == mode);
            bands->addAction(band);
        }
    }

    void drawAction(const QString& action) {
        send(PluginNames::GraphicView, kDrawChain, {{QStringLiteral("Action"), action}});
    }

    void showOrder(const QVariantMap& data) {
        const int chains = data.value(QStringLiteral("Chains")).toList().size();
        const double travel = data.value(QStringLiteral("AirTravel")).toDouble() / kNanometresPerMillimetre;
        m_status->setText(tr("%1 chains, air travel %2 mm").arg(chains).arg(travel, 0, 'f', 3));
    }

    // Rout layers first: they are the sources a compensation can start from.
    void readLayers() {
        m_routLayers.clear();
        m_otherLayers.clear();
        if (m_job.job.isEmpty()) return;
        kernelCall(pluginName(), "reading the matrix", [&] {
            for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(m_job.job.toStdString()))
                (row.type == kRoutType ? m_routLayers : m_otherLayers) << QString::fromStdString(row.name);
        });
    }

    void askChain() {
        const std::string unit = TOLVA::UIAPI::getUnitString();
        auto* dialog = new FormDialog(this, QStringLiteral("chainDialog"), tr("Create Chain"));
        dialog->addCount(QStringLiteral("chain"), tr("Chain number (0: next free)"), 0, kLargest, 0);
        dialog->addLength(QStringLiteral("size"), tr("Tool size (0: the symbol's)"), unit)->setMinimum(0);
        dialog->addChoice(QStringLiteral("comp"), tr("Compensation"), {tr("None"), tr("Right"), tr("Left")});
        dialog->addCount(QStringLiteral("feed"), tr("Feed"), 0, kLargest, 0);
        dialog->addCount(QStringLiteral("speed"), tr("Speed"), 0, kLargest, 0);
        dialog->present([this](const FormDialog& form) { sendChain(form); });
    }

    // Chain number and tool size are left out when not given: the view then
    // takes the next free number and each feature's own symbol size.
    void sendChain(const FormDialog& form) {
        QVariantMap data{{QStringLiteral("comp"), form.choiceIndex(QStringLiteral("comp"))},
                         {QStringLiteral("feed"), form.count(QStringLiteral("feed"))},
                         {QStringLiteral("speed"), form.count(QStringLiteral("speed"))}};
        if (const int chain = form.count(QStringLiteral("chain"))) data.insert(QStringLiteral("chain"), chain);
        const double size = form.boardLength(QStringLiteral("size"));
        if (size > 0) data.insert(QStringLiteral("size"), int(std::min(size, double(kLargest))));
        send(PluginNames::GraphicView, kCreateChain, data);
    }

    void askCompensate() {
        auto* dialog = new FormDialog(this, QStringLiteral("compensateDialog"), tr("Compensate"));
        dialog->addChoice(QStringLiteral("source"), tr("Source layer"), m_routLayers + m_otherLayers);
        dialog->addChoice(QStringLiteral("des"), tr("Destination layer"), m_otherLayers + m_routLayers, true)
            ->setCurrentText(QString());
        dialog->addChoice(QStringLiteral("type"), tr("A new destination layer is"), {tr("Document"), tr("Rout")});
        dialog->present([this](const FormDialog& form) {
            send(PluginNames::GraphicView, kCompensate,
                 {{QStringLiteral("source"), form.choiceText(QStringLiteral("source"))},
                  {QStringLiteral("des"), form.choiceText(QStringLiteral("des"))},
                  {QStringLiteral("type"), form.choiceIndex(QStringLiteral("type"))}});
        });
    }

    QLabel* m_status;
    BoundJob m_job;
    QStringList m_routLayers;
    QStringList m_otherLayers;
    int m_chainsApplied = 0;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(RoutMenu)
