#include "LineEditTool.h"

#include <QMouseEvent>
#include <algorithm>
#include <cmath>
#include <limits>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "LINE_EDIT_TOOL";
constexpr char kInitLine[] = "LINE_EDIT_TOOL : INIT";

struct ModeCode {
    qint32 code;
    LineEditTool::Mode mode;
};
constexpr ModeCode kModes[] = {
    {20000211, LineEditTool::MoveEnd},    {20001404, LineEditTool::MoveEndAlone}, {20000212, LineEditTool::MoveSegment},
    {20000213, LineEditTool::Split},      {20000216, LineEditTool::Join},         {20000237, LineEditTool::MoveVertex},
    {20000238, LineEditTool::AddVertex},  {20000239, LineEditTool::ArcRadius},    {20000240, LineEditTool::ArcToLine},
};

API::lPoint lp(const QPointF& p) { return {p.x(), p.y()}; }
QPointF qp(const API::lPoint& p) { return {p.x, p.y}; }
double distance(const QPointF& a, const QPointF& b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); }

double segmentDistance(const QPointF& a, const QPointF& b, const QPointF& p) {
    const QPointF d = b - a;
    const double length2 = d.x() * d.x() + d.y() * d.y();
    if (length2 == 0) return distance(a, p);
    const double t = std::clamp(((p.x() - a.x()) * d.x() + (p.y() - a.y()) * d.y()) / length2, 0.0, 1.0);
    return distance(a + t * d, p);
}

// The radius of the circle through three points; infinite when they are in line.
double circumradius(const QPointF& a, const QPointF& b, const QPointF& c) {
    const double twiceArea = std::abs((b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x()));
    if (twiceArea == 0) return std::numeric_limits<double>::infinity();
    return distance(a, b) * distance(b, c) * distance(c, a) / (2 * twiceArea);
}

bool isLineOrArc(const API::featureInfo& f) { return f.type == API::FT_LINE || f.type == API::FT_ARC; }

bool modeIsClick(LineEditTool::Mode m) {
    return m == LineEditTool::Split || m == LineEditTool::Join || m == LineEditTool::ArcToLine;
}
}  // namespace

LineEditTool::LineEditTool(ViewWidget* view) : PlanTool(view, LINE_EDIT_TOOL, kPrefix, kInitLine) {}

std::optional<LineEditTool::Mode> LineEditTool::modeOf(qint32 code) {
    for (const ModeCode& m : kModes)
        if (m.code == code) return m.mode;
    return std::nullopt;
}

void LineEditTool::setWorkParam(PluginMetaData* msg) {
    const std::optional<Mode> mode = msg ? modeOf(msg->msgType) : std::nullopt;
    if (!mode) {
        logTypeError(kPrefix);
        return;
    }
    m_lastParam = *msg;
    if (*mode == m_mode) return;
    m_mode = *mode;
    dropPlan();
    escapeGesture();
}

std::optional<PickedFeature> LineEditTool::pickOnWorkLayer(const QPoint& pixel) const {
    if (m_view->work_layer.empty()) return std::nullopt;
    return pickFeature(*m_view, pixel, {m_view->work_layer});
}

void LineEditTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = m_cursorPixel = event->pos();
    m_pressBoard = m_view->toBoard(m_pressPixel);
    m_leftHeld = true;
    m_dragging = false;
    if (modeIsClick(m_mode)) return;
    // A press near a handle of the picked feature drags it again; anywhere
    // else picks afresh.
    std::optional<PickedFeature> picked = pickOnWorkLayer(m_pressPixel);
    if (!picked) {
        m_leftHeld = false;
        return;
    }
    const bool samePick = m_picked && m_picked->info.index == picked->info.index && m_picked->layer == picked->layer;
    if (!samePick) {
        dropPlan();
        m_picked = std::move(picked);
        m_contours.clear();
        if (m_picked->info.type == API::FT_SURFACE) {
            try {
                m_contours = EDIT::get_surface_contours(job(), step(), m_picked->layer, m_picked->info.index);
            } catch (...) {
                m_contours.clear();
            }
        }
    }
    if (!grabHandle(m_pressBoard)) m_leftHeld = false;
    m_view->update();
}

bool LineEditTool::grabHandle(const QPointF& at) {
    const API::featureInfo& f = m_picked->info;
    switch (m_mode) {
    case MoveEnd:
    case MoveEndAlone:
        if (!isLineOrArc(f)) return false;
        m_end = distance(at, {f.xe, f.ye}) < distance(at, {f.xs, f.ys}) ? 1 : 0;
        return true;
    case MoveSegment: return f.type == API::FT_LINE;
    case ArcRadius: return f.type == API::FT_ARC;
    case MoveVertex:
    case AddVertex: {
        double best = std::numeric_limits<double>::infinity();
        for (size_t c = 0; c < m_contours.size(); ++c) {
            const std::vector<API::lPoint>& contour = m_contours[c];
            for (size_t v = 0; v < contour.size(); ++v) {
                const QPointF p = qp(contour[v]), next = qp(contour[(v + 1) % contour.size()]);
                const double d = m_mode == MoveVertex ? distance(at, p) : segmentDistance(p, next, at);
                if (d < best) {
                    best = d;
                    m_contour = int(c);
                    m_vertex = int(v);
                }
            }
        }
        return best < std::numeric_limits<double>::infinity();
    }
    default: return false;
    }
}

void LineEditTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (!m_leftHeld || !(event->buttons() & Qt::LeftButton) || modeIsClick(m_mode) || !m_picked) return;
    if (!m_dragging && !beyondClickSlack(m_pressPixel, m_cursorPixel)) return;
    m_dragging = true;
    showPlan(dragPlan(snappedBoardPoint(m_cursorPixel)));
}

EDIT::edit_plan LineEditTool::dragPlan(const QPointF& to) const {
    const std::string& layer = m_picked->layer;
    const API::featureInfo& f = m_picked->info;
    return planOrRefusal([&] {
        switch (m_mode) {
        case MoveEnd:
        case MoveEndAlone: return EDIT::plan_line_end(job(), step(), layer, f.index, m_end, lp(to), m_mode == MoveEnd);
        case MoveSegment: {
            const QPointF shift = to - m_pressBoard;
            return EDIT::plan_move_segment(job(), step(), layer, f.index, shift.x(), shift.y(), true);
        }
        case MoveVertex:
        case AddVertex:
            return EDIT::plan_surface_vertex(job(), step(), layer, f.index, m_contour, m_vertex, lp(to),
                                             m_mode == AddVertex);
        case ArcRadius: {
            EDIT::edit_plan refused;
            const double radius = circumradius({f.xs, f.ys}, {f.xe, f.ye}, to);
            if (!std::isfinite(radius)) {
                refused.error = "the arc cannot run through a point in line with its ends";
                return refused;
            }
            return EDIT::plan_arc_radius(job(), step(), layer, f.index, radius);
        }
        default: return EDIT::edit_plan{};
        }
    });
}

void LineEditTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    m_cursorPixel = event->pos();
    if (m_dragging) {
        m_dragging = false;
        showPlan(dragPlan(snappedBoardPoint(m_cursorPixel)));
        return;
    }
    if (modeIsClick(m_mode)) {
        EDIT::edit_plan plan = clickPlan(m_cursorPixel);
        if (!plan.error.empty() || !plan.add.empty() || !plan.remove.empty()) showPlan(std::move(plan));
    }
}

EDIT::edit_plan LineEditTool::clickPlan(const QPoint& pixel) {
    std::optional<PickedFeature> picked = pickOnWorkLayer(pixel);
    if (!picked) return {};
    const std::string layer = picked->layer;
    const int index = picked->info.index;
    if (m_mode == Join) {
        // The first click remembers a line, the second joins it with another.
        if (!m_firstOfJoin || m_firstOfJoin->info.index == index) {
            m_picked = m_firstOfJoin = std::move(picked);
            dropPlan();
            return {};
        }
        const int first = m_firstOfJoin->info.index;
        m_picked = std::move(picked);
        return planOrRefusal([&] { return EDIT::plan_join(job(), step(), layer, first, index); });
    }
    m_picked = std::move(picked);
    const QPointF at = snappedBoardPoint(pixel);
    if (m_mode == Split) return planOrRefusal([&] { return EDIT::plan_split(job(), step(), layer, index, lp(at)); });
    return planOrRefusal([&] { return EDIT::plan_arc_to_line(job(), step(), layer, index); });
}

void LineEditTool::planMade(const std::vector<int>&) {
    // Indices may have moved: pick afresh for the next edit.
    escapeGesture();
}

void LineEditTool::escapeGesture() {
    m_picked.reset();
    m_firstOfJoin.reset();
    m_contours.clear();
    m_leftHeld = m_dragging = false;
}

std::vector<QPointF> LineEditTool::handles() const {
    std::vector<QPointF> points;
    if (!m_picked) return points;
    const API::featureInfo& f = m_picked->info;
    if (isLineOrArc(f)) {
        points = {{f.xs, f.ys}, {f.xe, f.ye}};
        if (f.type == API::FT_ARC) points.emplace_back(f.xc, f.yc);
    }
    for (const std::vector<API::lPoint>& contour : m_contours)
        for (const API::lPoint& p : contour) points.push_back(qp(p));
    return points;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
