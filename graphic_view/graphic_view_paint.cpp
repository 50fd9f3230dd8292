// The overlay pass: everything that changes faster than the board picture,
// painted over the background in a fixed order, once per frame.
#include <glog/logging.h>

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QThread>
#include <QtMath>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

#include "MeasureMessages.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "Widget_Common.h"
#include "core/display_unit.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr int kCrossArm = 6;       // the cross is 2 * 6 + 1 pixels long
constexpr int kCrossSquare = 4;    // the square is 2 * 4 + 1 pixels wide
constexpr int kFirstOutlineWidth = 10;
constexpr int kOutlineWidth = 5;
constexpr int kCheckPointArm = 5;
constexpr int kCheckPointEnd = 3;   // the circles on the two closest points
constexpr int kCurrentHalo = 12;    // the circle about the current check result
constexpr int kOriginRadius = 6;
constexpr char kRoutKind[] = "rout";
constexpr int kSixteenths = 16;    // QPainter arc angles are in 1/16 degree
constexpr int kEndMark = 3;        // the cross at each end of a distance
constexpr int kLabelOffset = 6;
constexpr double kMinTickPixels = 8;
constexpr int kMaxTicks = 1000;
constexpr int kShortTick = 3;
constexpr int kLongTick = 7;
constexpr double kMinGridPixels = 6;
constexpr double kMaxGridNodes = 40000;
constexpr int kSnapMark = 4;       // the snap candidate's square is 2 * 4 + 1 pixels wide
const QColor kMeasureColour(255, 255, 0);
const QColor kGridColour(128, 128, 128);

QPen whitePen() { return QPen(QColor(255, 255, 255, 255)); }

QPen outlinePen(int width) {
    QPen pen(QBrush(Qt::white), width, Qt::CustomDashLine, Qt::SquareCap, Qt::BevelJoin);
    return pen;
}

QPen markerPen() { return QPen(QBrush(Qt::gray), 1, Qt::SolidLine, Qt::RoundCap, Qt::BevelJoin); }
}  // namespace

void ViewWidget::paintEvent(QPaintEvent*) {
    // A repeat runs on a worker that holds the kernel: the GUI thread keeps
    // its event loop turning instead of waiting for it. refresh() afterwards
    // starts the loop again.
    if (m_repeatRunning) return;
    QThread::msleep(kPaintThrottleMs);  // caps the self-scheduled loop at about 20 frames a second
    QPainter painter(this);
    paintOverlays(&painter);
    update();
    painter.end();
}

// Every overlay, in the order they stack, onto any painter: the widget's own
// paint and a picture made without a display share it.
void ViewWidget::paintOverlays(QPainter* target) {
    if (!target || m_repeatRunning) return;
    QPainter& painter = *target;
    if (m_tvdiMode) draw_TVDI_items(&painter);
    paintKernelOverlays(painter);
    paintPolyline(painter);
    paintEditShapes(painter);
    paintBusPreview(painter);
    paintCompareAreas(painter);
    for (const check_points& point : m_checkPoints)
        if (checkPointInView(point)) draw_check_points(painter, point);
    if (m_currentCheckPoint.index >= 0) draw_check_points(painter, m_currentCheckPoint);
    draw_shape(&painter, m_currentMeasurement);
    for (const MeasurementShape& shape : m_measurements) draw_shape(&painter, shape);
    paintSnapGrid(painter);
    paintCrossMarker(painter);
    paintSnapCandidate(painter);
    if (m_tool) m_tool->paint(&painter);
}

// Rout information, pop-view marks and the relative origin need the kernel;
// with no job bound there is nothing to ask it.
void ViewWidget::paintKernelOverlays(QPainter& painter) {
    if (m_job.isEmpty()) return;
    try {
        QStringList routLayers;
        const QStringList names = get_show_layers();
        for (const API::graphic_info& g : API::get_graphics(job()))
            if (g.kind == kRoutKind && names.contains(QString::fromStdString(g.name)))
                routLayers.append(QString::fromStdString(g.name));
        if (UIAPI::getShowPara(m_host).show_rout_info) Draw_rout_info(&painter, routLayers, m_step);
        paintPopViewMarks(painter);
        const API::reply_box profile = queryProfileBox();
        db2view(profile.xmin, profile.ymin, m_profilePixels[0], m_profilePixels[1]);
        db2view(profile.xmax, profile.ymax, m_profilePixels[2], m_profilePixels[3]);
        draw_relative_origin(&painter);
        m_lastPaintError.clear();
    } catch (...) {
        // Painted twenty times a second: report a failure once, not every frame.
        const QString text = describeFailure(std::current_exception()).text;
        if (text != m_lastPaintError) logFailure(__FILE__, __LINE__, text);
        m_lastPaintError = text;
    }
}

void ViewWidget::paintPopViewMarks(QPainter& painter) {
    painter.setPen(whitePen());
    for (Widget_PopView* pop : m_popViews) {
        const QRectF area = pop->boardArea();
        int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        db2view(area.left(), area.top(), x0, y0);
        db2view(area.right(), area.bottom(), x1, y1);
        painter.drawLine(x0, y0, x1, y0);
        painter.drawLine(x1, y0, x1, y1);
        painter.drawLine(x1, y1, x0, y1);
        painter.drawLine(x0, y1, x0, y0);
        // Leader from the mark's corner to the inset window's top-left corner.
        const QPoint inset = mapFromGlobal(pop->mapToGlobal(QPoint(0, 0)));
        painter.drawLine(QPoint(std::max(x0, x1), std::min(y0, y1)), inset);
    }
}

void ViewWidget::paintPolyline(QPainter& painter) {
    if (m_polyline.isEmpty()) return;
    painter.setPen(whitePen());
    QVector<QLine> segments;
    for (int i = 1; i < m_polyline.size(); ++i)
        segments.append(QLine(toPixel(m_polyline[i - 1]), toPixel(m_polyline[i])));
    painter.drawLines(segments);
}

void ViewWidget::paintEditShapes(QPainter& painter) {
    for (int slot = 0; slot < kEditShapeSlots; ++slot) {
        const EditShape& shape = m_editShapes[slot];
        if (!m_editShapeSet[slot] || shape.points.isEmpty()) continue;
        QVector<QPoint> pts;
        for (const QPointF& p : shape.points) pts.append(toPixel(p));
        painter.setPen(outlinePen(slot == 0 ? kFirstOutlineWidth : kOutlineWidth));
        switch (shape.kind) {
        case EditShape::Line:
            if (pts.size() >= 2) painter.drawLine(pts[0], pts[1]);
            break;
        case EditShape::TwoLines:
            for (int i = 1; i < std::min(3, pts.size()); ++i) painter.drawLine(pts[i - 1], pts[i]);
            break;
        case EditShape::Box:
            for (int i = 0; i < pts.size() && pts.size() >= 4 && i < 4; ++i) painter.drawLine(pts[i], pts[(i + 1) % 4]);
            break;
        case EditShape::Arc:
            if (pts.size() >= 3)
                draw_arc(&painter, pts[0], pts[1], pts[2], std::max(1, truncToInt(shape.width * m_scale)), shape.clockwise);
            break;
        default: break;
        }
    }
}

void ViewWidget::paintCrossMarker(QPainter& painter) {
    if (m_crossPoint.isNull()) return;
    int x = 0, y = 0;
    db2view(m_crossPoint.x(), m_crossPoint.y(), x, y);
    painter.setPen(markerPen());
    painter.drawLine(x, y + kCrossArm, x, y - kCrossArm);
    painter.drawLine(x + kCrossArm, y, x - kCrossArm, y);
    const int a = kCrossSquare;
    painter.drawLine(x - a, y - a, x + a, y - a);
    painter.drawLine(x + a, y - a, x + a, y + a);
    painter.drawLine(x + a, y + a, x - a, y + a);
    painter.drawLine(x - a, y + a, x - a, y - a);
}

QPoint ViewWidget::toPixel(const QPointF& board) {
    int px = 0, py = 0;
    db2view(board.x(), board.y(), px, py);
    return {px, py};
}

// ---- overlay helpers ---------------------------------------------------------

void ViewWidget::setRelativeOrigin(const QPointF& origin) {
    m_relativeOrigin = origin;
    m_hasRelativeOrigin = true;
}

// The relative origin: a white circled cross whose arms reach past the
// circle, so that the point stays visible over a pad of the same size.
// Nothing is drawn until an origin is set.
void ViewWidget::draw_relative_origin(QPainter* painter) {
    if (!m_hasRelativeOrigin) return;
    const QPoint c = toPixel(m_relativeOrigin);
    constexpr int arm = 2 * kOriginRadius;
    painter->setPen(whitePen());
    painter->setBrush(Qt::NoBrush);
    painter->drawEllipse(c, kOriginRadius, kOriginRadius);
    painter->drawLine(c.x() - arm, c.y(), c.x() + arm, c.y());
    painter->drawLine(c.x(), c.y() - arm, c.x(), c.y() + arm);
}

// A check result in the colour of its severity: a cross on a point, the
// two closest points joined and marked, a ring about a hole, the outline of
// an area (its corners mapped one by one, so that it turns with the view).
// Every mark keeps a few pixels however far the view is zoomed out; the
// current result is drawn wider, circled and labelled on a dark ground.
void ViewWidget::draw_check_points(QPainter& painter, const check_points& point) {
    painter.setPen(QPen(point.color, point.current ? 2 : 1));
    painter.setBrush(Qt::NoBrush);
    const QPoint c = toPixel(point.position);
    auto cross = [&](const QPoint& p) {
        painter.drawLine(p.x() - kCheckPointArm, p.y() - kCheckPointArm, p.x() + kCheckPointArm, p.y() + kCheckPointArm);
        painter.drawLine(p.x() - kCheckPointArm, p.y() + kCheckPointArm, p.x() + kCheckPointArm, p.y() - kCheckPointArm);
    };
    if (!point.box.isEmpty()) {
        const QRectF& b = point.box;
        painter.drawPolygon(QPolygon({toPixel(b.topLeft()), toPixel(b.topRight()), toPixel(b.bottomRight()),
                                      toPixel(b.bottomLeft())}));
    }
    switch (point.shape) {
    case check_points::Points: {
        const QPoint o = toPixel(point.other);
        painter.drawLine(c, o);
        for (const QPoint& p : {c, o}) painter.drawEllipse(p, kCheckPointEnd, kCheckPointEnd);
        break;
    }
    case check_points::Ring: {
        const int r = std::max(kCheckPointEnd, int(std::lround(QLineF(point.position, point.other).length() * m_scale)));
        painter.drawEllipse(c, r, r);
        cross(c);
        break;
    }
    case check_points::Area:
        if (point.box.isEmpty()) cross(c);
        break;
    default:
        cross(c);
    }
    if (!point.current) {
        if (!point.text.isEmpty()) painter.drawText(c + QPoint(kCheckPointArm + 2, -kCheckPointArm), point.text);
        return;
    }
    // Two closest points are circled and labelled at their middle.
    const QPoint focus = point.shape == check_points::Points ? (c + toPixel(point.other)) / 2 : c;
    painter.drawEllipse(focus, kCurrentHalo, kCurrentHalo);
    if (point.text.isEmpty()) return;
    const QFontMetrics metrics(painter.font());
    QRect label = metrics.boundingRect(point.text).adjusted(-3, -2, 3, 2);
    label.moveTopLeft(focus + QPoint(kCurrentHalo + 4, -kCurrentHalo - label.height()));
    label.moveLeft(std::min(label.left(), width() - label.width()));
    label.moveTop(std::max(label.top(), 0));
    painter.fillRect(label, QColor(0, 0, 0, 200));
    painter.drawText(label, Qt::AlignCenter, point.text);
}

// Whether a check point's marks fall in the window: the list may hold
// thousands, most of them far outside a zoomed-in view.
bool ViewWidget::checkPointInView(const check_points& point) {
    const QRectF extent = point.extent();
    const QRect pixels = QRect(toPixel(extent.topLeft()), toPixel(extent.bottomRight())).normalized();
    return pixels.adjusted(-kCurrentHalo, -kCurrentHalo, kCurrentHalo, kCurrentHalo).intersects(rect());
}

// The areas of a layer comparison, filled half-transparent: the first
// layer's own in magenta, the second's in cyan. The areas of one side never
// overlap, so their outlines and holes fill as one even-odd path.
void ViewWidget::paintCompareAreas(QPainter& painter) {
    static const QColor colours[2] = {QColor(255, 0, 255), QColor(0, 255, 255)};
    for (int side = 0; side < 2; ++side) {
        if (m_compareAreas[side].isEmpty()) continue;
        QPainterPath path;
        path.setFillRule(Qt::OddEvenFill);
        for (const QPolygonF& ring : m_compareAreas[side]) {
            QPolygon pixels;
            pixels.reserve(ring.size());
            for (const QPointF& p : ring) pixels.append(toPixel(p));
            if (pixels.boundingRect().adjusted(-1, -1, 1, 1).intersects(rect())) path.addPolygon(pixels);
        }
        QColor fill = colours[side];
        fill.setAlpha(110);
        // The outline keeps an area thinner than a pixel in sight.
        painter.setPen(QPen(colours[side], 1));
        painter.setBrush(fill);
        painter.drawPath(path);
    }
    painter.setBrush(Qt::NoBrush);
}

// A measurement in its own colour: the segments, ruler ticks at a round step
// of the display unit (never closer than kMinTickPixels), end marks on a
// distance, the arms of an angle, and the label by the last point.
void ViewWidget::draw_shape(QPainter* painter, const MeasurementShape& shape) {
    if (shape.isEmpty()) return;
    QVector<QPoint> pts;
    for (const QPointF& p : shape.points) pts.append(toPixel(p));
    painter->setPen(QPen(kMeasureColour, 1));
    switch (shape.kind) {
    case MeasurementShape::Line:
    case MeasurementShape::Polyline:
    case MeasurementShape::Angle:
        for (int i = 1; i < pts.size(); ++i) painter->drawLine(pts[i - 1], pts[i]);
        break;
    case MeasurementShape::Ruler:
        for (int i = 1; i < pts.size(); ++i) {
            painter->drawLine(pts[i - 1], pts[i]);
            paintRulerTicks(*painter, shape.points[i - 1], shape.points[i]);
        }
        break;
    case MeasurementShape::Distance:
        if (pts.size() >= 2) painter->drawLine(pts[0], pts[1]);
        for (const QPoint& p : pts) {
            painter->drawLine(p - QPoint(kEndMark, kEndMark), p + QPoint(kEndMark, kEndMark));
            painter->drawLine(p - QPoint(kEndMark, -kEndMark), p + QPoint(kEndMark, -kEndMark));
        }
        break;
    case MeasurementShape::Box:
        if (pts.size() >= 2) painter->drawRect(QRect(pts[0], pts[1]).normalized());
        break;
    case MeasurementShape::Circle:
        if (pts.size() >= 2) {
            const int r = truncToInt(QLineF(pts[0], pts[1]).length());
            painter->drawEllipse(pts[0], r, r);
        }
        break;
    default: break;
    }
    if (!shape.label.isEmpty()) painter->drawText(labelPosition(*painter, pts.last(), shape.label), shape.label);
}

// Beside `anchor`, above and to the right, or moved to the other side where
// the text would leave the picture, so that a measurement near the edge
// stays readable.
QPoint ViewWidget::labelPosition(const QPainter& painter, const QPoint& anchor, const QString& text) {
    const QFontMetrics metrics = painter.fontMetrics();
    const int w = metrics.horizontalAdvance(text);
    const int deviceWidth = painter.device() ? painter.device()->width() : width();
    QPoint at = anchor + QPoint(kLabelOffset, -kLabelOffset);
    if (at.x() + w > deviceWidth) at.setX(std::max(0, anchor.x() - kLabelOffset - w));
    if (at.y() - metrics.ascent() < 0) at.setY(anchor.y() + kLabelOffset + metrics.ascent());
    return at;
}

// Ticks across a ruler segment at 1, 2 or 5 times a power of ten of the
// display unit, from its start; every fifth a longer one.
void ViewWidget::paintRulerTicks(QPainter& painter, const QPointF& from, const QPointF& to) {
    const double length = QLineF(from, to).length();
    if (length <= 0 || m_scale <= 0) return;
    const double perUnit = DisplayUnit::of(Is_current_Unit_MM()).perUnit;
    const double minStep = kMinTickPixels / m_scale / perUnit;  // display units
    double step = std::pow(10.0, std::floor(std::log10(minStep)));
    for (double factor : {1.0, 2.0, 5.0, 10.0})
        if (step * factor >= minStep) {
            step *= factor;
            break;
        }
    const double stepBoard = step * perUnit;
    const int count = int(std::min(double(kMaxTicks), std::floor(length / stepBoard)));
    const QPointF along = (to - from) / length;
    const QPoint end = toPixel(to);
    for (int i = 0; i <= count; ++i) {
        const QPoint at = toPixel(from + along * (i * stepBoard));
        QLineF normal = QLineF(at, end).normalVector();
        if (normal.length() <= 0) continue;
        normal.setLength(i % 5 == 0 ? kLongTick : kShortTick);
        painter.drawLine(normal);
    }
}

// The snap grid's nodes as dots, when it is shown and not too dense to see.
void ViewWidget::paintSnapGrid(QPainter& painter) {
    const UIAPI::SnapGrid grid = UIAPI::getSnapGrid(m_host);
    if (!grid.shown || grid.pitch_x * m_scale < kMinGridPixels || grid.pitch_y * m_scale < kMinGridPixels) return;
    const BoardBox visible = transform().visibleBox();
    const double minX = visible.minX, minY = visible.minY, maxX = visible.maxX, maxY = visible.maxY;
    const double i0 = std::ceil((minX - grid.origin_x) / grid.pitch_x), i1 = std::floor((maxX - grid.origin_x) / grid.pitch_x);
    const double j0 = std::ceil((minY - grid.origin_y) / grid.pitch_y), j1 = std::floor((maxY - grid.origin_y) / grid.pitch_y);
    if ((i1 - i0 + 1) * (j1 - j0 + 1) > kMaxGridNodes) return;
    painter.setPen(QPen(kGridColour, 1));
    QVector<QPoint> nodes;
    for (double i = i0; i <= i1; ++i)
        for (double j = j0; j <= j1; ++j)
            nodes.append(toPixel(QPointF(grid.origin_x + i * grid.pitch_x, grid.origin_y + j * grid.pitch_y)));
    painter.drawPoints(nodes.constData(), nodes.size());
}

// A small square where a click would snap to, in the colour of the snap mode.
void ViewWidget::paintSnapCandidate(QPainter& painter) {
    if (!m_hasSnapCandidate || !takesPoints()) return;
    const QPoint c = toPixel(m_snapCandidate);
    painter.setPen(QPen(snapModeColour(m_snapMode), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(QRect(c - QPoint(kSnapMark, kSnapMark), QSize(2 * kSnapMark, 2 * kSnapMark)));
}

QColor ViewWidget::snapModeColour(int mode) {
    static const QColor colours[] = {
        QColor(0, 255, 255),    // centre
        QColor(255, 0, 255),    // skeleton
        QColor(255, 160, 0),    // edge
        QColor(255, 60, 60),    // intersection
        QColor(0, 200, 0),      // grid
        QColor(80, 140, 255),   // midpoint
        QColor(255, 255, 160),  // profile
    };
    return mode >= 0 && mode < int(std::size(colours)) ? colours[mode] : QColor(Qt::white);
}

// ---- measurement list ------------------------------------------------------------

void ViewWidget::recordMeasurement(const MeasurementShape& shape, const QVariantMap& result, bool replacesCurrent) {
    if (!replacesCurrent && !m_currentMeasurement.isEmpty()) m_measurements.append(m_currentMeasurement);
    m_currentMeasurement = shape;
    sendTo(PluginNames::Coordinate, MeasureMessages::kResult, result);
}

void ViewWidget::clearMeasurements() {
    m_currentMeasurement = MeasurementShape();
    m_measurements.clear();
}

void ViewWidget::sendMeasureNotice(const QString& text) {
    sendTo(PluginNames::Coordinate, MeasureMessages::kNotice, {{QStringLiteral("Text"), text}});
}

std::vector<std::string> ViewWidget::measureLayers() const {
    std::vector<std::string> layers;
    if (!work_layer.empty()) layers.push_back(work_layer);
    for (const ShownLayer& shown : m_shownLayers) {
        const std::string name = shown.name.toStdString();
        if (std::find(layers.begin(), layers.end(), name) == layers.end()) layers.push_back(name);
    }
    return layers;
}

void ViewWidget::draw_arc(QPainter* painter, const QPointF& start, const QPointF& end, const QPointF& centre,
                          int width, bool clockwise) {
    QRectF rect;
    double startAngle = 0, spanAngle = 0;
    painter->setPen(QPen(QBrush(Qt::white), width, Qt::SolidLine, Qt::RoundCap));
    arcGeometry(clockwise, start, end, centre, rect, startAngle, spanAngle);
    painter->drawArc(rect, truncToInt(startAngle * kSixteenths), truncToInt(spanAngle * kSixteenths));
}

// The arc from start to end about centre in widget pixels (y down): the
// bounding square of its circle and its angles in degrees, counter-clockwise
// as the screen shows them. A closed arc is a full circle.
void ViewWidget::arcGeometry(bool clockwise, const QPointF& start, const QPointF& end, const QPointF& centre,
                             QRectF& rect, double& startAngle, double& spanAngle) {
    const double r = QLineF(centre, start).length();
    rect = QRectF(centre.x() - r, centre.y() - r, 2 * r, 2 * r);
    startAngle = QLineF(centre, start).angle();
    const double endAngle = QLineF(centre, end).angle();
    // The line angles count counter-clockwise as the screen shows them, and
    // the view shows the board's up as up: a board arc turns the same way
    // on screen (a negative span is clockwise).
    double span = clockwise ? startAngle - endAngle : endAngle - startAngle;
    while (span <= 0) span += 360.0;
    spanAngle = clockwise ? -span : span;
}

void ViewWidget::draw_center(PluginMetaData msg) {
    if (m_tool && m_tool->getType() == Graphic_ViewTool::POINT_TOOL) clear_current_cross_point();
    // The point list travels as the payload: a std::vector of kernel points.
    const auto* points = static_cast<const std::vector<API::point>*>(msg.payload);
    if (!points || points->empty()) {
        LOG(ERROR) << "draw_center: no point in the message; ignored";
        return;
    }
    m_crossPoint = QPointF(points->front().x, points->front().y);
}

void ViewWidget::clear_current_cross_point() { m_crossPoint = QPointF(); }

void ViewWidget::setEditShape(int slot, const EditShape& shape) {
    if (slot < 0 || slot >= kEditShapeSlots) return;
    m_editShapes[slot] = shape;
    m_editShapeSet[slot] = true;
}

void ViewWidget::clearEditShapes() {
    for (bool& set : m_editShapeSet) set = false;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
