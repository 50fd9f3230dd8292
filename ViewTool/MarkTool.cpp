#include "MarkTool.h"

#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "FeatureOutline.h"
#include "Widget_Common.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "MARK_TOOL";
constexpr char kInitLine[] = "MARK_TOOL : INIT";
}  // namespace

MarkTool::MarkTool(ViewWidget* view) : EditingTool(view, MARK_TOOL, kPrefix, kInitLine) {}

void MarkTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kMarkCode) logTypeError(kPrefix);
}

void MarkTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    m_view->update();
}

void MarkTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_view->placeMark(snappedBoardPoint(event->pos()));
}

// The mark's outer size (pad and clearance) around the cursor; the
// dialog's defaults until it has been opened.
void MarkTool::paint(QPainter* painter) {
    if (!m_cursor) return;
    const Widget_MarkSetting* setting = m_view->existingMarkSetting();
    const MarkSpec spec = setting ? setting->spec() : MarkSpec();
    const double radius = std::max(1.0, (spec.size / 2 + spec.clearance) * m_view->scale());
    const QPointF centre = toPixel(*m_cursor);
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1, Qt::DashLine));
    painter->setBrush(Qt::NoBrush);
    if (spec.square)
        painter->drawRect(QRectF(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius));
    else
        painter->drawEllipse(centre, radius, radius);
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
