// The Step menu: panels (a board step repeated inside a panel outline, and
// rails of fiducials and tooling holes around it), the step-and-repeat
// table of the shown step, and the view's instance tools. Its panel shows
// where the view placed an instance and the offset of instance copies.
#include <glog/logging.h>

#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "PluginNames.h"
#include "TOLVA_Job.h"
#include "TOLVA_Step.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"
#include "sr_table_dialog.h"

namespace {

using namespace TOLVA::PLUGIN;
using TOLVA::STEPMENU::SrTableDialog;
namespace STEP = TOLVA::STEP;
namespace DB = TOLVA::DB;

constexpr qint32 kPlaceInstances = 20001418;
constexpr qint32 kSelectInstances = 20001420;
constexpr qint32 kMoveInstances = 20000254;
constexpr qint32 kCopyInstances = 20000256;
constexpr qint32 kRotateInstances = 20000259;
constexpr qint32 kDeleteInstances = 20000267;
constexpr qint32 kInstancePlaced = 20001681;
constexpr qint32 kCopyOffset = 20001688;
constexpr qint32 kRedraw = 20000417;
constexpr int kMostBoards = 10000;
const QStringList kQuarterTurns = {QStringLiteral("0"), QStringLiteral("90"), QStringLiteral("180"),
                                   QStringLiteral("270")};
// Panel defaults in millimetres: the rails a panel line expects.
constexpr double kDefaultMarginMm = 10;
constexpr double kDefaultSpacingMm = 2;

// Runs a kernel edit; the refusal's text, or empty when it went through.
template <class Call>
QString kernelEdit(const QString& plugin, const char* what, Call&& call) {
    try {
        call();
        return QString();
    } catch (const std::exception& e) {
        logKernelFailure(plugin, what, e.what());
        return QString::fromStdString(e.what());
    } catch (const std::string& text) {
        logKernelFailure(plugin, what, text);
        return QString::fromStdString(text);
    } catch (const char* text) {
        logKernelFailure(plugin, what, text ? text : "");
        return QString::fromUtf8(text ? text : "");
    }
}

class StepMenu : public QWidget, public PluginEndpoint {
public:
    explicit StepMenu(QWidget* host)
        : QWidget(host), PluginEndpoint(PluginNames::MenuBarStep, host), m_status(new QLabel(this)),
          m_log(new MessageLog(this)) {
        setWindowTitle(tr("Step"));
        setProperty("tolvaMenu", QStringLiteral("Step"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        m_status->setObjectName(QStringLiteral("status"));
        m_status->setWordWrap(true);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(m_status);
        layout->addWidget(m_log);
        addMenuAction(this, "newPanel", tr("New Panel..."), [this] { askPanel(); });
        addMenuAction(this, "editTable", tr("Edit Step-and-Repeat Table..."), [this] { editTable(); });
        addMenuAction(this, "addRails", tr("Add Rails..."), [this] { askRails(); });
        addMenuAction(this, "placeInstances", tr("Place Instances..."), [this] { askPlace(); });
        addMenuAction(this, "selectInstances", tr("Select Instances"), [this] { toView(kSelectInstances); });
        addMenuAction(this, "moveInstances", tr("Move Instances"), [this] { toView(kMoveInstances); });
        addMenuAction(this, "copyInstances", tr("Copy Instances"), [this] { toView(kCopyInstances); });
        addMenuAction(this, "rotateInstances", tr("Rotate Instances..."), [this] { askRotate(); });
        addMenuAction(this, "deleteInstances", tr("Delete Instances"), [this] { toView(kDeleteInstances); });
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) return;
        switch (msg.msgType) {
        case kInstancePlaced: return showPair(msg, tr("instance placed"), "Step_Repeat_point_x", "Step_Repeat_point_y",
                                              tr("Instance placed at %1, %2 %3"));
        case kCopyOffset: return showPair(msg, tr("instance copy offset"), "Copy_xoffset", "Copy_yoffset",
                                          tr("Instances copied by %1, %2 %3"));
        default: m_log->add(msg, tr("unexpected"));
        }
    }

private:
    // A point or offset of the view, in the display unit; a message
    // without both numbers is listed but changes nothing.
    void showPair(const PluginMetaData& msg, const QString& what, const char* xKey, const char* yKey,
                  const QString& text) {
        m_log->add(msg, what);
        double x = 0, y = 0;
        if (!readNumber(msg.data, QLatin1String(xKey), x) || !readNumber(msg.data, QLatin1String(yKey), y)) {
            LOG(ERROR) << pluginName().toStdString() << ": code " << msg.msgType << " without \"" << xKey
                       << "\" and \"" << yKey << "\" ignored";
            return;
        }
        const std::string unit = TOLVA::UIAPI::getUnitString();
        m_status->setText(text.arg(formatBoard(x, unit), formatBoard(y, unit), unitSuffix(unit)));
    }

    void toView(qint32 code, const QVariantMap& data = {}) { send(PluginNames::GraphicView, code, data); }

    bool needJob() {
        if (m_job.isOpen()) return true;
        m_status->setText(tr("No job is open"));
        return false;
    }

    QStringList steps() const {
        QStringList names;
        kernelCall(pluginName(), "listing the steps", [&] {
            for (const std::string& s : TOLVA::JOB::list_steps(m_job.job.toStdString()))
                names << QString::fromStdString(s);
        });
        return names;
    }

    // Shows `step` in the view: the job list opens it as it opens a job.
    void openStep(const QString& step) {
        m_job.step = step;
        send(PluginNames::JobList, TOLVA::PLUGIN::BoundJob::kCode,
             {{QStringLiteral("JobName"), m_job.job}, {QStringLiteral("Step"), step}});
    }

    void report(const QString& refusal, const QString& done) {
        m_status->setText(refusal.isEmpty() ? done : tr("Refused: %1").arg(refusal));
        if (refusal.isEmpty()) toView(kRedraw);
    }

    // ---- panels -----------------------------------------------------------------------

    void askPanel() {
        if (!needJob()) return;
        const std::string unit = TOLVA::UIAPI::getUnitString();
        const double mm = 1e6 / nanometresPer(unit);  // one millimetre in the display unit
        QStringList boards = steps();
        boards.removeAll(m_job.step);
        boards.prepend(m_job.step);  // the shown step is the likely board
        auto* dialog = new FormDialog(this, QStringLiteral("panelDialog"), tr("New Panel"));
        dialog->addChoice(QStringLiteral("panel"), tr("Panel step"), {QStringLiteral("panel")}, true);
        dialog->addChoice(QStringLiteral("board"), tr("Board step"), boards);
        const TOLVA::API::reply_box board = boardBox(m_job.step);
        const double boardW = (board.xmax - board.xmin) / nanometresPer(unit);
        const double boardH = (board.ymax - board.ymin) / nanometresPer(unit);
        dialog->addLength(QStringLiteral("width"), tr("Panel width"), unit)
            ->setValue(2 * boardW + kDefaultSpacingMm * mm + 2 * kDefaultMarginMm * mm);
        dialog->addLength(QStringLiteral("height"), tr("Panel height"), unit)
            ->setValue(2 * boardH + kDefaultSpacingMm * mm + 2 * kDefaultMarginMm * mm);
        for (const char* side : {"left", "right", "top", "bottom"})
            dialog->addLength(QStringLiteral("margin_%1").arg(QLatin1String(side)),
                              tr("Margin %1").arg(tr(side)), unit)
                ->setValue(kDefaultMarginMm * mm);
        dialog->addLength(QStringLiteral("spacing_x"), tr("Spacing X"), unit)->setValue(kDefaultSpacingMm * mm);
        dialog->addLength(QStringLiteral("spacing_y"), tr("Spacing Y"), unit)->setValue(kDefaultSpacingMm * mm);
        dialog->addCount(QStringLiteral("columns"), tr("Columns"), 0, kMostBoards, 0)->setSpecialValueText(tr("as many as fit"));
        dialog->addCount(QStringLiteral("rows"), tr("Rows"), 0, kMostBoards, 0)->setSpecialValueText(tr("as many as fit"));
        dialog->addChoice(QStringLiteral("rotation"), tr("Board rotation"), kQuarterTurns);
        dialog->present([this](const FormDialog& form) { makePanel(form); });
    }

    TOLVA::API::reply_box boardBox(const QString& step) const {
        TOLVA::API::reply_box box{};
        kernelCall(pluginName(), "reading the board's profile", [&] {
            box = TOLVA::API::profile_box(m_job.job.toStdString(), step.toStdString());
        });
        return box;
    }

    void makePanel(const FormDialog& form) {
        STEP::panel_params p;
        p.width = form.boardLength(QStringLiteral("width"));
        p.height = form.boardLength(QStringLiteral("height"));
        p.margin_left = form.boardLength(QStringLiteral("margin_left"));
        p.margin_right = form.boardLength(QStringLiteral("margin_right"));
        p.margin_top = form.boardLength(QStringLiteral("margin_top"));
        p.margin_bottom = form.boardLength(QStringLiteral("margin_bottom"));
        p.spacing_x = form.boardLength(QStringLiteral("spacing_x"));
        p.spacing_y = form.boardLength(QStringLiteral("spacing_y"));
        p.columns = form.count(QStringLiteral("columns"));
        p.rows = form.count(QStringLiteral("rows"));
        p.rotation = form.choiceText(QStringLiteral("rotation")).toInt();
        const QString panel = form.choiceText(QStringLiteral("panel"));
        const std::string job = m_job.job.toStdString(), board = form.choiceText(QStringLiteral("board")).toStdString();
        if (panel.isEmpty() || panel.toStdString() == board) {
            m_status->setText(tr("Refused: the panel needs a step name of its own"));
            return;
        }
        STEP::panel_report made;
        const QString refusal = kernelEdit(pluginName(), "creating the panel", [&] {
            if (TOLVA::DB::get_SaveFlag()) DB::create_panel_db_save(job, panel.toStdString(), board, p);
            made = STEP::create_panel(job, panel.toStdString(), board, p);
        });
        if (!refusal.isEmpty()) return report(refusal, QString());
        m_status->setText(tr("Panel \"%1\": %2 x %3 boards").arg(panel).arg(made.columns).arg(made.rows));
        openStep(panel);
    }

    void askRails() {
        if (!needJob()) return;
        const std::string unit = TOLVA::UIAPI::getUnitString();
        const STEP::rail_params defaults;
        auto* dialog = new FormDialog(this, QStringLiteral("railsDialog"), tr("Add Rails to %1").arg(m_job.step));
        dialog->addChoice(QStringLiteral("fiducial"), tr("Fiducial pad"), {QString::fromStdString(defaults.fiducial_symbol)}, true);
        dialog->addChoice(QStringLiteral("mask"), tr("Fiducial mask opening"),
                          {QString::fromStdString(defaults.fiducial_mask_symbol)}, true);
        dialog->addChoice(QStringLiteral("tooling"), tr("Tooling hole"), {QString::fromStdString(defaults.tooling_symbol)}, true);
        const double perUnit = nanometresPer(unit);
        dialog->addLength(QStringLiteral("fiducial_x_inset"), tr("Fiducial inset from the side edges"), unit)
            ->setValue(defaults.fiducial_x_inset / perUnit);
        dialog->addLength(QStringLiteral("fiducial_y_inset"), tr("Fiducial inset from the rail edges"), unit)
            ->setValue(defaults.fiducial_y_inset / perUnit);
        dialog->addLength(QStringLiteral("tooling_inset"), tr("Tooling hole inset"), unit)->setValue(defaults.tooling_inset / perUnit);
        dialog->present([this](const FormDialog& form) {
            STEP::rail_params p;
            p.fiducial_symbol = form.choiceText(QStringLiteral("fiducial")).toStdString();
            p.fiducial_mask_symbol = form.choiceText(QStringLiteral("mask")).toStdString();
            p.tooling_symbol = form.choiceText(QStringLiteral("tooling")).toStdString();
            p.fiducial_x_inset = form.boardLength(QStringLiteral("fiducial_x_inset"));
            p.fiducial_y_inset = form.boardLength(QStringLiteral("fiducial_y_inset"));
            p.tooling_inset = form.boardLength(QStringLiteral("tooling_inset"));
            const std::string job = m_job.job.toStdString(), step = m_job.step.toStdString();
            STEP::rail_report made;
            const QString refusal = kernelEdit(pluginName(), "adding rails", [&] {
                if (TOLVA::DB::get_SaveFlag()) DB::add_panel_rails_db_save(job, step, p);
                made = STEP::add_panel_rails(job, step, p);
            });
            report(refusal, tr("Rails: %1 fiducials, %2 tooling holes").arg(made.fiducials.size()).arg(made.tooling_holes.size()));
        });
    }

    // ---- the table ----------------------------------------------------------------------

    void editTable() {
        if (!needJob()) return;
        std::vector<STEP::sr_row> rows;
        if (!kernelCall(pluginName(), "reading the table", [&] {
                rows = STEP::get_sr_table(m_job.job.toStdString(), m_job.step.toStdString());
            }))
            return;
        QStringList children = steps();
        children.removeAll(m_job.step);
        auto* dialog = new SrTableDialog(this, m_job.step, rows, children, TOLVA::UIAPI::getUnitString());
        dialog->present([this](const std::vector<STEP::sr_row>& edited) {
            const std::string job = m_job.job.toStdString(), step = m_job.step.toStdString();
            const QString refusal = kernelEdit(pluginName(), "writing the table", [&] {
                if (TOLVA::DB::get_SaveFlag()) DB::set_sr_table_db_save(job, step, edited);
                STEP::set_sr_table(job, step, edited);
            });
            report(refusal, tr("Table of \"%1\": %2 rows").arg(m_job.step).arg(edited.size()));
        });
    }

    // ---- the view's instance tools ------------------------------------------------------

    void askPlace() {
        if (!needJob()) return;
        QStringList children = steps();
        children.removeAll(m_job.step);
        if (children.isEmpty()) {
            m_status->setText(tr("The job has no other step to place"));
            return;
        }
        auto* dialog = new FormDialog(this, QStringLiteral("placeDialog"), tr("Place Instances"));
        dialog->addChoice(QStringLiteral("Step"), tr("Step"), children);
        dialog->addChoice(QStringLiteral("Angle"), tr("Rotation"), kQuarterTurns);
        dialog->addChoice(QStringLiteral("Mirror"), tr("Mirror"), {tr("No"), tr("Yes")});
        dialog->present([this](const FormDialog& form) {
            toView(kPlaceInstances, {{QStringLiteral("Step"), form.choiceText(QStringLiteral("Step"))},
                                     {QStringLiteral("Angle"), form.choiceText(QStringLiteral("Angle")).toDouble()},
                                     {QStringLiteral("Mirror"), form.choiceIndex(QStringLiteral("Mirror")) == 1}});
        });
    }

    // An angle of 0 leaves the turn to a drag in the view.
    void askRotate() {
        auto* dialog = new FormDialog(this, QStringLiteral("rotateDialog"), tr("Rotate Instances"));
        dialog->addNumber(QStringLiteral("Angle"), tr("Angle, counter-clockwise (0: drag in the view)"), -360, 360, 3, 90);
        dialog->present([this](const FormDialog& form) {
            const double angle = form.number(QStringLiteral("Angle"));
            toView(kRotateInstances, angle == 0 ? QVariantMap{} : QVariantMap{{QStringLiteral("Angle"), angle}});
        });
    }

    QLabel* m_status;
    MessageLog* m_log;
    BoundJob m_job;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(StepMenu)
