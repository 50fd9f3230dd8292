// Step and repeat in the view: the requests that open the instance tools,
// the instance selection (kept here, drawn by the tools), and the instance
// edits, each one kernel edit and so one undo step.
#include <glog/logging.h>

#include <cmath>
#include <iterator>

#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "TOLVA_Step.h"
#include "graphic_view.h"
#include "step_repeat.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
using T = Graphic_ViewTool;

constexpr qint32 kMoveInstances = 20000254;
constexpr qint32 kCopyInstances = 20000256;
constexpr qint32 kRotateInstances = 20000259;
constexpr qint32 kDeleteInstances = 20000267;
constexpr qint32 kSelectAllInstances = 20001425;
// The codes that only re-configure an open instance tool.
constexpr qint32 kInstanceModeCodes[] = {20001420, 20001421, kSelectAllInstances,
                                         kMoveInstances, kCopyInstances, kRotateInstances};

// A number of the request's data; false when it is missing or not finite.
bool readFinite(const QVariantMap& data, const QString& key, double& out) {
    bool ok = false;
    out = data.value(key).toDouble(&ok);
    return ok && std::isfinite(out);
}
}  // namespace

const QString ViewWidget::kInstanceStepKey = QStringLiteral("Step");
const QString ViewWidget::kInstanceAngleKey = QStringLiteral("Angle");
const QString ViewWidget::kInstanceMirrorKey = QStringLiteral("Mirror");
const QString ViewWidget::kInstanceDxKey = QStringLiteral("dx");
const QString ViewWidget::kInstanceDyKey = QStringLiteral("dy");

StepRepeatState& ViewWidget::stepRepeatState() {
    if (!m_stepRepeat) m_stepRepeat = std::make_shared<StepRepeatState>();
    return *m_stepRepeat;
}

// ---- requests ----------------------------------------------------------------------

// The tool reports the select tool's type, so a request never switches it
// off: each one starts placing afresh, with the step it names.
void ViewWidget::change_step_repeat_tool(PluginMetaData msg) { openToolFromRequest(msg, T::STEP_REPEAT_TOOL, nullptr, 0); }

void ViewWidget::change_SRselect_tool(PluginMetaData msg) {
    if (msg.msgType == kSelectAllInstances) selectAllInstances();
    openToolFromRequest(msg, T::SR_SELECT_TOOL, kInstanceModeCodes, int(std::size(kInstanceModeCodes)));
}

// Delete acts at once; a rotate with "Angle", a move or copy with "dx" and
// "dy" (board units) too. Without values the instance tool opens in that
// mode and the operator drags.
void ViewWidget::change_SR_Edit_tool(PluginMetaData msg) {
    const bool typedOffset = msg.data.contains(kInstanceDxKey) || msg.data.contains(kInstanceDyKey);
    double a = 0, dx = 0, dy = 0;
    switch (msg.msgType) {
    case kDeleteInstances: deleteSelectedInstances(); return;
    case kRotateInstances:
        if (!msg.data.contains(kInstanceAngleKey)) break;
        if (!readFinite(msg.data, kInstanceAngleKey, a)) return refuseRequest(msg, tr("\"Angle\" is not a number"));
        rotateSelectedInstances(a);
        return;
    case kMoveInstances:
    case kCopyInstances:
        if (!typedOffset) break;
        if (!readFinite(msg.data, kInstanceDxKey, dx) || !readFinite(msg.data, kInstanceDyKey, dy))
            return refuseRequest(msg, tr("the offset needs \"dx\" and \"dy\" as numbers"));
        if (msg.msgType == kMoveInstances) moveSelectedInstances(dx, dy);
        else copySelectedInstances(dx, dy);
        return;
    default: break;
    }
    openToolFromRequest(msg, T::SR_SELECT_TOOL, kInstanceModeCodes, int(std::size(kInstanceModeCodes)));
}

// ---- the selection -----------------------------------------------------------------

std::vector<STEP::sr_instance> ViewWidget::readInstances() {
    std::vector<STEP::sr_instance> all;
    if (m_job.isEmpty()) return all;
    guarded(__FILE__, __LINE__, [&] { all = STEP::list_instances(job(), step()); });
    return all;
}

// An edit or an undo renumbers the table: the selection is found again by
// placement whenever the job changed since it was read.
const std::vector<STEP::sr_instance>& ViewWidget::selectedInstances() {
    StepRepeatState& state = stepRepeatState();
    if (m_job.isEmpty()) {
        state.selected.clear();
        return state.selected;
    }
    unsigned long long serial = state.serial;
    try {
        serial = JOB::edit_serial(job());
    } catch (...) {
        state.selected.clear();
        return state.selected;
    }
    if (serial != state.serial) {
        state.serial = serial;
        state.profiles.clear();
        if (!state.selected.empty()) state.selected = findPlacements(readInstances(), state.selected);
    }
    return state.selected;
}

void ViewWidget::setInstanceSelection(std::vector<STEP::sr_instance> instances) {
    selectedInstances();  // brings the serial up to date
    stepRepeatState().selected = std::move(instances);
    update();
}

void ViewWidget::receive_SR_Select_box(QRectF box, InstanceSelect how) {
    if (m_job.isEmpty() || box.isNull()) return;
    std::vector<STEP::sr_instance> picked;
    // A click box is 2 x kClickBoxRadius pixels wide; one pixel more allows for rounding.
    const double clickSide = (2 * kClickBoxRadius + 1) / m_scale;
    const bool isClick = box.width() <= clickSide && box.height() <= clickSide;
    const bool ok = guarded(__FILE__, __LINE__, [&] {
        if (isClick) {
            bool found = false;
            const STEP::sr_instance hit = STEP::instance_at(job(), step(), box.center().x(), box.center().y(), found);
            if (found) picked.push_back(hit);
        } else {
            picked = STEP::instances_in_box(job(), step(), box.left(), box.top(), box.right(), box.bottom(), true);
        }
    });
    if (!ok) return;
    setInstanceSelection(combineSelection(selectedInstances(), picked, how));
}

void ViewWidget::selectAllInstances() { setInstanceSelection(readInstances()); }

void ViewWidget::clearInstanceSelection() { setInstanceSelection({}); }

QPolygonF ViewWidget::stepOutline(const QString& stepName) {
    StepRepeatState& state = stepRepeatState();
    auto known = state.profiles.find(stepName);
    if (known != state.profiles.end()) return known->second;
    QPolygonF outline;
    try {
        for (const API::lPoint& p : EDIT::get_profile(job(), stepName.toStdString())) outline << QPointF(p.x, p.y);
    } catch (...) {
        outline.clear();  // a step that is not there has no outline to show
    }
    state.profiles[stepName] = outline;
    return outline;
}

QPolygonF ViewWidget::instanceOutline(const STEP::sr_instance& instance) {
    const QPolygonF profile = stepOutline(QString::fromStdString(instance.child));
    if (profile.isEmpty()) return QPolygonF(placedBox(instance));
    return placeOutline(profile, QPointF(instance.x, instance.y), instance.angle, instance.mirror);
}

QVector<QPolygonF> ViewWidget::selectedInstanceOutlines() {
    QVector<QPolygonF> outlines;
    for (const STEP::sr_instance& i : selectedInstances()) outlines.append(instanceOutline(i));
    return outlines;
}

// ---- edits -------------------------------------------------------------------------

bool ViewWidget::placeStepInstance(const QString& child, const QPointF& at, double angle, bool mirror) {
    if (m_job.isEmpty() || child.isEmpty()) {
        LOG(ERROR) << "GRAPHIC_VIEW: no step instance placed: " << (m_job.isEmpty() ? "no job is open" : "no step named");
        return false;
    }
    STEP::sr_row row;
    row.child = child.toStdString();
    row.x = at.x();
    row.y = at.y();
    row.angle = angle;
    row.mirror = mirror;
    const bool ok = guarded(__FILE__, __LINE__, [&] {
        if (DB::get_SaveFlag()) DB::add_sr_row_db_save(job(), step(), row);
        STEP::add_sr_row(job(), step(), row);
    });
    if (!ok) return false;
    redrawAfterEdit();
    forwardStepRepeatPointInfo(at);
    return true;
}

// Runs one instance edit on the selection and finds the selection again
// where the edit put it (`after`: the placements it expects).
bool ViewWidget::editSelectedInstances(const char* what, const std::function<void(const std::vector<STEP::sr_ref>&)>& edit,
                                       const std::vector<STEP::sr_instance>& after) {
    const std::vector<STEP::sr_instance> selected = selectedInstances();
    if (selected.empty()) {
        LOG(WARNING) << "GRAPHIC_VIEW: no instance is selected to " << what;
        return false;
    }
    if (!guarded(__FILE__, __LINE__, [&] { edit(refsOf(selected)); })) return false;
    setInstanceSelection(findPlacements(readInstances(), after));
    redrawAfterEdit();
    return true;
}

bool ViewWidget::moveSelectedInstances(double dx, double dy) {
    const auto edit = [&](const std::vector<STEP::sr_ref>& refs) {
        if (DB::get_SaveFlag()) DB::move_instances_db_save(job(), step(), refs, dx, dy);
        STEP::move_instances(job(), step(), refs, dx, dy);
    };
    return editSelectedInstances("move", edit, movedBy(selectedInstances(), dx, dy));
}

// The copies become the selection, so that a second copy steps on from them.
bool ViewWidget::copySelectedInstances(double dx, double dy) {
    const auto edit = [&](const std::vector<STEP::sr_ref>& refs) {
        if (DB::get_SaveFlag()) DB::copy_instances_db_save(job(), step(), refs, dx, dy);
        STEP::copy_instances(job(), step(), refs, dx, dy);
    };
    if (!editSelectedInstances("copy", edit, movedBy(selectedInstances(), dx, dy))) return false;
    forwardSRcopypcsoffsetInfo(dx, dy);
    return true;
}

bool ViewWidget::rotateSelectedInstances(double angle) {
    const auto edit = [&](const std::vector<STEP::sr_ref>& refs) {
        if (DB::get_SaveFlag()) DB::rotate_instances_db_save(job(), step(), refs, angle);
        STEP::rotate_instances(job(), step(), refs, angle);
    };
    return editSelectedInstances("rotate", edit, turnedBy(selectedInstances(), angle));
}

bool ViewWidget::deleteSelectedInstances() {
    const auto edit = [&](const std::vector<STEP::sr_ref>& refs) {
        if (DB::get_SaveFlag()) DB::delete_instances_db_save(job(), step(), refs);
        STEP::delete_instances(job(), step(), refs);
    };
    return editSelectedInstances("delete", edit, {});
}

}  // namespace GRAPHIC
}  // namespace TOLVA
