#include "SnapTool.h"

#include <QApplication>
#include <QClipboard>
#include <QMouseEvent>

#include "graphic_view/core/display_unit.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "SNAP_TOOL";
constexpr char kInitLine[] = "SNAP_TOOL:\tInit";
}  // namespace

SnapTool::SnapTool(ViewWidget* view) : EditingTool(view, SNAP_TOOL, kPrefix, kInitLine) {}

std::optional<QPointF> SnapTool::snapUnder(const QPoint& pixel) const {
    double x = 0, y = 0;
    m_view->view2db(pixel.x(), pixel.y(), x, y);
    const QPointF point(x, y);
    QPointF snapped;
    // A box of one board unit: the search reaches as far as the shared snap size.
    if (!m_view->on_snap_mode_point_check(QRectF(point, QSizeF(1, 1)), point, snapped)) return std::nullopt;
    return snapped;
}

void SnapTool::mouseMove(QMouseEvent* event) {
    event->accept();  // the view marks the snap candidate itself
    m_view->update();
}

void SnapTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    const std::optional<QPointF> point = snapUnder(event->pos());
    if (!point) {
        m_view->sendMeasureNotice(tr("Nothing to snap to here in the current snap mode"));
        return;
    }
    m_picked = point;
    m_view->setCrossPoint(*point);
    const DisplayUnit unit = DisplayUnit::of(m_view->Is_current_Unit_MM());
    const QString xy = unit.number(point->x()) + QStringLiteral(", ") + unit.number(point->y());
    m_view->sendMeasureNotice(tr("Snap point X, Y = %1 %2").arg(xy, QLatin1String(unit.suffix)));
    if (QClipboard* clipboard = QApplication::clipboard()) clipboard->setText(xy);
    m_view->update();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
