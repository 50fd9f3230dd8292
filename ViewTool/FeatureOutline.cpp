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
    painter.setPen(QPen(kOutlineColor, 0));  // cosmetic: one pixel at any scale
    painter.setBrush(Qt::NoBrush);
    for (const auto& layer : features)
        for (const API::featureInfo& f : layer.second) drawOutline(painter, f);
    return preview;
}

void drawPreviewAt(QPainter* painter, const QPixmap& preview, const QPolygonF& corners) {
    painter->save();
    painter->setPen(QPen(kOutlineColor, 1, Qt::DashLine));
    painter->setBrush(Qt::NoBrush);
    painter->drawPolygon(corners);
    QTransform stretch;
    const QPolygonF image(QVector<QPointF>{QPointF(0, 0), QPointF(preview.width(), 0),
                                           QPointF(preview.width(), preview.height()), QPointF(0, preview.height())});
    // A box squeezed to a line or a point has no mapping: only its outline shows.
    if (!preview.isNull() && QTransform::quadToQuad(image, corners, stretch)) {
        painter->setTransform(stretch, true);
        painter->drawPixmap(0, 0, preview);
    }
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
