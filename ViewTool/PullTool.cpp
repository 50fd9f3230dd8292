#include "PullTool.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <cmath>

#include "TOLVA_API.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "PULL_TOOL";
constexpr char kInitLine[] = "PULL_TOOL : INIT";
const QString kOffsetKey = QStringLiteral("Offset");

constexpr qint32 kPlainCodes[] = {20000219, 20000249, 20004203};
constexpr qint32 kDiagonalCodes[] = {20000220, 20000250, 20004204};
constexpr qint32 kTypedPlainCode = 20000221;
constexpr qint32 kTypedDiagonalCode = 20000222;
constexpr qint32 kCommitCode = 20000260;

template <size_t N>
bool oneOf(qint32 code, const qint32 (&codes)[N]) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

QPointF startOf(const API::featureInfo& f) { return {f.xs, f.ys}; }
QPointF endOf(const API::featureInfo& f) { return {f.xe, f.ye}; }
}  // namespace

PullTool::PullTool(ViewWidget* view) : PlanTool(view, PULL_TOOL, kPrefix, kInitLine) {}

bool PullTool::actsOnActiveTool(qint32 code, Corners current) {
    if (code == kTypedPlainCode || code == kTypedDiagonalCode || code == kCommitCode) return true;
    if (oneOf(code, kPlainCodes)) return current != Plain;
    if (oneOf(code, kDiagonalCodes)) return current != Diagonal45;
    return false;
}

void PullTool::setWorkParam(PluginMetaData* msg) {
    const qint32 code = msg ? msg->msgType : 0;
    if (oneOf(code, kPlainCodes) || oneOf(code, kDiagonalCodes)) {
        const Corners corners = oneOf(code, kPlainCodes) ? Plain : Diagonal45;
        if (corners != m_corners) dropPlan();
        m_corners = corners;
    } else if (code == kTypedPlainCode || code == kTypedDiagonalCode) {
        pullByTypedOffset(*msg, code == kTypedPlainCode ? Plain : Diagonal45);
    } else if (code == kCommitCode) {
        commitPlan();
    } else {
        logTypeError(kPrefix);
        return;
    }
    m_lastParam = *msg;
}

void PullTool::pullByTypedOffset(const PluginMetaData& msg, Corners corners) {
    bool readable = false;
    const double offset = msg.data.value(kOffsetKey).toDouble(&readable);
    if (!readable || !std::isfinite(offset)) {
        LOG(ERROR) << kPrefix << ": a typed pull needs a number in \"Offset\"; ignored";
        return;
    }
    m_corners = corners;
    if (!m_picked) m_picked = selectedLine();
    if (!m_picked) {
        LOG(WARNING) << kPrefix << ": no line to pull: pick one, or select one line of the work layer";
        return;
    }
    showPlan(pullBy(offset));
}

std::optional<PickedFeature> PullTool::selectedLine() const {
    const std::string layer = m_view->work_layer;
    if (layer.empty()) return std::nullopt;
    std::vector<API::featureInfo> selected;
    try {
        API::get_selected_feature_info(job(), step(), layer, selected);
    } catch (...) {
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        return std::nullopt;
    }
    if (selected.size() != 1 || selected.front().type != API::FT_LINE) return std::nullopt;
    return PickedFeature{layer, selected.front()};
}

void PullTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = m_cursorPixel = event->pos();
    m_leftHeld = m_dragging = false;
    if (m_view->work_layer.empty()) return;
    std::optional<PickedFeature> picked = pickFeature(*m_view, m_pressPixel, {m_view->work_layer});
    if (!picked || picked->info.type != API::FT_LINE) return;
    dropPlan();
    m_picked = std::move(picked);
    m_pressOffset = signedOffset(startOf(m_picked->info), endOf(m_picked->info), m_view->toBoard(m_pressPixel));
    m_leftHeld = true;
    m_view->update();
}

void PullTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (!m_leftHeld || !(event->buttons() & Qt::LeftButton)) return;
    if (!m_dragging && !beyondClickSlack(m_pressPixel, m_cursorPixel)) return;
    m_dragging = true;
    showPlan(pullTo(snappedBoardPoint(m_cursorPixel)));
}

void PullTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    m_cursorPixel = event->pos();
    if (!m_dragging) return;  // a click only picks the line
    m_dragging = false;
    showPlan(pullTo(snappedBoardPoint(m_cursorPixel)));
}

EDIT::edit_plan PullTool::pullTo(const QPointF& to) const {
    if (!m_picked) return {};
    const double offset = std::round(signedOffset(startOf(m_picked->info), endOf(m_picked->info), to) - m_pressOffset);
    if (offset == 0) return {};  // back where it was grabbed: nothing to show
    return pullBy(offset);
}

EDIT::edit_plan PullTool::pullBy(double offset) const {
    return planOrRefusal([&] {
        return EDIT::plan_pull(job(), step(), m_picked->layer, m_picked->info.index, offset, int(m_corners));
    });
}

void PullTool::planMade(const std::vector<int>&) { escapeGesture(); }

void PullTool::escapeGesture() {
    m_picked.reset();
    m_leftHeld = m_dragging = false;
}

std::vector<QPointF> PullTool::handles() const {
    if (!m_picked) return {};
    return {startOf(m_picked->info), endOf(m_picked->info)};
}

}  // namespace GRAPHIC
}  // namespace TOLVA
