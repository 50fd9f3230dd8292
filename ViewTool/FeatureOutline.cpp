#include "FeatureOutline.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QTransform>
#include <algorithm>
#include <cmath>

namespace TOLVA {
namespace GRAPHIC {

const QColor kOutlineColor(255, 255, 0);
const QColor kBoxFrameColor(255, 255, 255);

namespace {
constexpr double kFullTurn = 6.283185307179586;  // 2 pi
// Enough segments for an arc to look round at the preview's size.
constexpr int kSegmentsPerTurn = 64;
constexpr int kMinArcSegments = 8;

bool isArcClockwise(const API::featureInfo& f) { return f.direction == "CW"; }

// The arc's sweep from its start to its end in radians, signed by its
// direction (board y upwards); equal end points make a full circle.
double arcSweep(const API::featureInfo& f) {
    const double a0 = std::atan2(f.ys - f.yc, f.xs - f.xc);
    const double a1 = std::atan2(f.ye - f.yc, f.xe - f.xc);
    double sweep = a1 - a0;
    if (isArcClockwise(f)) {
        while (sweep >= 0) sweep -= kFullTurn;
    } else {
        while (sweep <= 0) sweep += kFullTurn;
    }
    return sweep;
}

QPainterPath arcPath(const API::featureInfo& f) {
    const double radius = std::hypot(f.xs - f.xc, f.ys - f.yc);
    const double a0 = std::atan2(f.ys - f.yc, f.xs - f.xc);
    const double sweep = arcSweep(f);
    const int segments = std::max(kMinArcSegments, int(std::ceil(kSegmentsPerTurn * std::abs(sweep) / kFullTurn)));
    QPainterPath path(QPointF(f.xs, f.ys));
    for (int i = 1; i <= segments; ++i) {
        const double a = a0 + sweep * i / segments;
        path.lineTo(f.xc + radius * std::cos(a), f.yc + radius * std::sin(a));
    }
    return path;
}

QRectF extentOf(const API::featureInfo& f) {
    return QRectF(QPointF(std::min(f.xmin, f.xmax), std::min(f.ymin, f.ymax)),
                  QPointF(std::max(f.xmin, f.xmax), std::max(f.ymin, f.ymax)));
}

void drawOutline(QPainter& painter, const API::featureInfo& f) {
    switch (f.type) {
    case API::FT_LINE: painter.drawLine(QPointF(f.xs, f.ys), QPointF(f.xe, f.ye)); break;
    case API::FT_ARC: painter.drawPath(arcPath(f)); break;
    default: painter.drawRect(extentOf(f)); break;
    }
}

// Every outline in board units, whatever the painter's transform makes of them.
void drawOutlines(QPainter& painter, const FeatureMap& features, const QColor& colour = kOutlineColor) {
    painter.setPen(QPen(colour, 0));  // cosmetic: one pixel at any scale
    painter.setBrush(Qt::NoBrush);
    for (const auto& layer : features)
        for (const API::featureInfo& f : layer.second) drawOutline(painter, f);
}

std::size_t featureCount(const FeatureMap& features) {
    std::size_t n = 0;
    for (const auto& layer : features) n += layer.second.size();
    return n;
}

// The corners of a board box and of an image, both in the order of
// EditingTool::onView: the image's top row is the board box's top edge.
QPolygonF boardCorners(const QRectF& box) {
    return QPolygonF(QVector<QPointF>{box.bottomLeft(), box.bottomRight(), box.topRight(), box.topLeft()});
}

QPolygonF imageCorners(const QPixmap& image) {
    return QPolygonF(QVector<QPointF>{QPointF(0, 0), QPointF(image.width(), 0), QPointF(image.width(), image.height()),
                                      QPointF(0, image.height())});
}
}  // namespace

std::optional<QRectF> featureExtent(const FeatureMap& features) {
    std::optional<QRectF> extent;
    for (const auto& layer : features)
        for (const API::featureInfo& f : layer.second) extent = extent ? extent->united(extentOf(f)) : extentOf(f);
    return extent;
}

QPixmap outlinePreview(const FeatureMap& features, const QRectF& extent) {
    const double longer = std::max(extent.width(), extent.height());
    if (!(longer > 0)) return {};
    const double scale = kOutlinePreviewPixels / longer;
    const QSize size(std::max(1, int(std::ceil(extent.width() * scale))),
                     std::max(1, int(std::ceil(extent.height() * scale))));
    QPixmap preview(size);
    preview.fill(Qt::transparent);
    QPainter painter(&preview);
    painter.setRenderHint(QPainter::Antialiasing);
    // Board units to image pixels: x from the left edge, y flipped so that
    // the board's top (largest y) is the image's first row.
    painter.setTransform(QTransform(scale, 0, 0, -scale, -extent.left() * scale, extent.bottom() * scale));
    drawOutlines(painter, features);
    return preview;
}

void drawBoxFrame(QPainter* painter, const QPolygonF& corners) {
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1, Qt::DashLine));
    painter->setBrush(Qt::NoBrush);
    painter->drawPolygon(corners);
    painter->restore();
}

void drawOutlinesAt(QPainter* painter, const FeatureMap& features, const QRectF& extent, const QPixmap& preview,
                    const QPolygonF& corners, const QColor& colour) {
    drawBoxFrame(painter, corners);
    const bool asLines = featureCount(features) <= kMostOutlinesPerFrame;
    // Where `extent` (or the image of it) lies on the view, corner for corner.
    const QPolygonF source = asLines ? boardCorners(extent) : imageCorners(preview);
    QTransform onView;
    // A box squeezed to a line or a point has no mapping: only its frame shows.
    if (!QTransform::quadToQuad(source, corners, onView)) return;
    painter->save();
    painter->setTransform(onView, true);
    if (asLines)
        drawOutlines(*painter, features, colour);
    else if (!preview.isNull()) {
        painter->setRenderHint(QPainter::SmoothPixmapTransform);  // thin lines fade rather than vanish
        painter->drawPixmap(0, 0, preview);
    }
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
