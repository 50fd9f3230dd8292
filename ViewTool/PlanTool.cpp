#include "PlanTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "TOLVA_API.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr int kHandlePixels = 7;
constexpr int kRefusalOffsetPixels = 16;
const QColor kRefusalColour(255, 96, 96);
const QColor kOldOutlineColour(160, 160, 160, 200);

QPointF startOf(const API::featureInfo& f) { return {f.xs, f.ys}; }
QPointF endOf(const API::featureInfo& f) { return {f.xe, f.ye}; }
QPointF centreOf(const API::featureInfo& f) { return {f.xc, f.yc}; }

// The edit shape of a line or an arc of a plan; nothing for other kinds.
std::optional<EditShape> editShapeOf(const API::featureInfo& f) {
    EditShape shape;
    shape.width = std::max(f.xsize, 0.0);
    if (f.type == API::FT_LINE) {
        shape.kind = EditShape::Line;
        shape.points = {startOf(f), endOf(f)};
        return shape;
    }
    if (f.type == API::FT_ARC) {
        shape.kind = EditShape::Arc;
        shape.points = {startOf(f), endOf(f), centreOf(f)};
        shape.clockwise = f.direction == "CW";
        return shape;
    }
    return std::nullopt;
}
}  // namespace

double signedOffset(const QPointF& a, const QPointF& b, const QPointF& p) {
    const QPointF d = b - a;
    const double length = std::hypot(d.x(), d.y());
    if (length == 0) return 0;
    const QPointF r = p - a;
    return (d.x() * r.y() - d.y() * r.x()) / length;
}

PlanTool::PlanTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine)
    : EditingTool(view, type, logPrefix, initLine), m_filtered(view) {
    // The view's key handler does not hand keys to the tools: Escape is
    // taken here, before it, and passed on unchanged.
    if (view) view->installEventFilter(this);
}

PlanTool::~PlanTool() {
    if (m_filtered) {
        m_filtered->removeEventFilter(this);
        // A tool switched away in the middle of an edit leaves no outline.
        if (m_plan) m_view->clearEditShapes();
    }
}

bool PlanTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_filtered || event->type() != QEvent::KeyPress || m_view->currentTool() != this) return false;
    if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape) return false;
    if (m_plan)
        dropPlan();
    else
        escapeGesture();
    m_view->update();
    return false;
}

std::string PlanTool::job() const { return m_view->jobName().toStdString(); }
std::string PlanTool::step() const { return m_view->stepName().toStdString(); }

EDIT::edit_plan PlanTool::refusal(const QString& text) {
    EDIT::edit_plan plan;
    plan.error = text.toStdString();
    return plan;
}

void PlanTool::showPlan(std::optional<EDIT::edit_plan> plan) {
    m_plan = std::move(plan);
    m_view->clearEditShapes();
    if (m_plan && m_plan->error.empty()) {
        // The view's four edit-shape lists take the first lines and arcs;
        // paint() draws whatever the plan has beyond them.
        int slot = 0;
        for (const API::featureInfo& f : m_plan->add) {
            if (slot == 4) break;
            if (const std::optional<EditShape> shape = editShapeOf(f)) m_view->setEditShape(slot++, *shape);
        }
    }
    m_view->update();
}

void PlanTool::dropPlan() { showPlan(std::nullopt); }

bool PlanTool::commitPlan() {
    if (!m_plan) return false;
    if (!m_plan->error.empty()) {
        LOG(WARNING) << m_prefix << ": edit refused: " << m_plan->error;
        return false;
    }
    const EDIT::edit_plan plan = *m_plan;
    dropPlan();
    if (plan.add.empty() && plan.remove.empty()) return false;
    std::vector<int> indices;
    try {
        if (DB::get_SaveFlag()) DB::apply_plan_db_save(job(), step(), plan);
        indices = EDIT::apply_plan(job(), step(), plan);
    } catch (...) {
        reportFailure(m_view, __FILE__, __LINE__, std::current_exception(), QObject::tr("Information"));
        return false;
    }
    m_view->draw();
    m_view->refresh();
    planMade(indices);
    return true;
}

void PlanTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    commitPlan();
}

void PlanTool::paint(QPainter* painter) {
    drawHandles(painter);
    if (!m_plan) return;
    if (!m_plan->error.empty()) {
        drawRefusal(painter, QString::fromStdString(m_plan->error));
        return;
    }
    painter->save();
    QPen pen(Qt::white, 1, Qt::DashLine);
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    int shaped = 0;
    for (size_t i = 0; i < m_plan->add.size(); ++i) {
        const API::featureInfo& f = m_plan->add[i];
        if (editShapeOf(f) && shaped < 4) {
            ++shaped;  // drawn by the view's edit shapes
            continue;
        }
        if (f.type == API::FT_LINE) {
            painter->drawLine(toPixel(startOf(f)), toPixel(endOf(f)));
        } else if (f.type == API::FT_ARC) {
            m_view->draw_arc(painter, toPixel(startOf(f)), toPixel(endOf(f)), toPixel(centreOf(f)), 1,
                             f.direction == "CW");
        } else if (i < m_plan->contours.size()) {
            for (const std::vector<API::lPoint>& contour : m_plan->contours[i]) {
                QPolygon polygon;
                for (const API::lPoint& p : contour) polygon << toPixel(QPointF(p.x, p.y));
                painter->drawPolygon(polygon);
            }
        } else {
            painter->drawRect(QRectF(toPixel(QPointF(f.xmin, f.ymax)), toPixel(QPointF(f.xmax, f.ymin))));
        }
    }
    painter->restore();
}

void PlanTool::drawHandles(QPainter* painter) const {
    const std::vector<QPointF> points = handles();
    if (points.empty()) return;
    painter->save();
    painter->setPen(QPen(Qt::white, 1));
    painter->setBrush(kOldOutlineColour);
    for (const QPointF& p : points) {
        QRect square(0, 0, kHandlePixels, kHandlePixels);
        square.moveCenter(toPixel(p));
        painter->drawRect(square);
    }
    painter->restore();
}

void PlanTool::drawRefusal(QPainter* painter, const QString& text) const {
    painter->save();
    painter->setPen(kRefusalColour);
    painter->drawText(m_cursorPixel + QPoint(kRefusalOffsetPixels, -kRefusalOffsetPixels), text);
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
