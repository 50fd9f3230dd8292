#include "navigation.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>

namespace TOLVA {
namespace GRAPHIC {
namespace {

constexpr double kSnakeMargin = 0.2;       // margin around the profile, each side
constexpr double kSnakeExtent = 1.4;       // profile plus both margins
constexpr double kSnakeFarCorner = 1.2;    // profile plus one margin

// The padding, in pixels, that centres the limited dimension; 0 when the
// scale is not finite (a zero extent) so nothing converts infinity to int.
int centringPad(int pixels, double scale, double extent) {
    if (!std::isfinite(scale)) return 0;
    return truncToInt((pixels - scale * extent) / 2.0);
}

}  // namespace

void fitScaleOnly(ViewTransform& t, int w, int h, int x1, int y1, int x2, int y2) {
    const FitScale f = fitScale(w, h, x1, y1, x2, y2);
    t.setScale(f.scale);  // min of the two ratios is the value fitScale returns
}

void fitIntBox(ViewTransform& t, API::reply_box& box) {
    const int w = t.width(), h = t.height();
    const FitScale f = fitScale(w, h, box.xmin, box.ymin, box.xmax, box.ymax);
    t.setScale(f.scale);
    t.centerOnLowerLeft(w, h, box.xmin, box.ymin);
    // Only the lower limit applies to the padding scale.
    const double s = std::max(f.scale, ScaleLimits::minimum);
    if (std::isfinite(s)) {
        if (f.fitsWidth) {
            const int pad = centringPad(h, s, box.ymax - box.ymin);
            box.ymin = truncToInt(box.ymin - pad / s);
            box.ymax = truncToInt(box.ymax - pad / s);
        } else {
            const int pad = centringPad(w, s, box.xmax - box.xmin);
            box.xmin = truncToInt(box.xmin - pad / s);
            box.xmax = truncToInt(box.xmax - pad / s);
        }
    }
    fitScaleOnly(t, w, h, box.xmin, box.ymin, box.xmax, box.ymax);
    t.centerOnLowerLeft(w, h, box.xmin, box.ymin);
}

void fitDoubleBoxScale(ViewTransform& t, double& x1, double& y1, double& x2, double& y2) {
    const int w = t.width(), h = t.height();
    const FitScale f = fitScale(w, h, truncToInt(x1), truncToInt(y1), truncToInt(x2), truncToInt(y2));
    t.setScale(f.scale);
    t.centerOnLowerLeft(w, h, truncToInt(x1), truncToInt(y1));
    const double s = std::max(f.scale, ScaleLimits::minimum);
    if (!std::isfinite(s)) return;
    if (f.fitsWidth) {
        const int pad = centringPad(h, s, y2 - y1);
        y1 -= pad * s;
        y2 -= pad * s;
    } else {
        const int pad = centringPad(w, s, x2 - x1);
        x1 -= pad * s;
        x2 -= pad * s;
    }
}

void fitDoubleBox(ViewTransform& t, double x1, double y1, double x2, double y2) {
    fitDoubleBoxScale(t, x1, y1, x2, y2);
    fitScaleOnly(t, t.width(), t.height(), truncToInt(x1), truncToInt(y1), truncToInt(x2), truncToInt(y2));
    t.centerOnLowerLeft(t.width(), t.height(), truncToInt(x1), truncToInt(y1));
}

void areaZoom(ViewTransform& t, double x1, double y1, double x2, double y2) {
    fitDoubleBoxScale(t, x1, y1, x2, y2);
    fitScaleOnly(t, t.width(), t.height(), truncToInt(x1), truncToInt(y1), truncToInt(x2), truncToInt(y2));
    t.setCenter((x1 + x2) / 2, (y1 + y2) / 2);
}

void zoomAbout(ViewTransform& t, const QPointF& pos, double factor) {
    double X = 0, Y = 0;
    t.toBoard(truncToInt(pos.x()), truncToInt(pos.y()), X, Y);
    t.setScale(t.scale() * factor);
    const double s = t.scale();
    const double ex = (pos.x() - t.width() / 2) / s;
    const double ey = (pos.y() - t.height() / 2) / s;
    switch (t.angle()) {
    case 0: t.setCenter(X - ex, Y + ey); break;
    case 90: t.setCenter(X - ey, Y - ex); break;
    case 180: t.setCenter(X + ex, Y - ey); break;
    case 270: t.setCenter(X + ey, Y + ex); break;
    default: break;
    }
}

BoardBox pannedBox(const ViewTransform& t, int dx, int dy) {
    double xa = 0, ya = 0, xb = 0, yb = 0;
    t.toBoard(-dx, t.height() - dy, xa, ya);
    t.toBoard(t.width() - dx, -dy, xb, yb);
    return {std::min(xa, xb), std::min(ya, yb), std::max(xa, xb), std::max(ya, yb)};
}

BoardBox centredBox(const ViewTransform& t, double x, double y) {
    const double hw = (1 / t.scale()) * t.width() / 2;
    const double hh = (1 / t.scale()) * t.height() / 2;
    return {x - hw, y - hh, x + hw, y + hh};
}

BoardBox snakeLeftBottomBox(const ViewTransform& t, double length, double width) {
    const double inv = 1 / t.scale();
    const double x = -kSnakeMargin * length, y = -kSnakeMargin * width;
    return {x, y, x + inv * t.width(), y + inv * t.height()};
}

BoardBox snakeRightTopBox(const ViewTransform& t, double length, double width) {
    const double inv = 1 / t.scale();
    const double x = kSnakeFarCorner * length, y = kSnakeFarCorner * width;
    return {x - inv * t.width(), y - inv * t.height(), x, y};
}

BoardBox snakeMiddleBox(const ViewTransform& t, double length, double width) {
    const double inv = 1 / t.scale();
    // Integer halves of the profile extent.
    const double cx = truncToInt(length) / 2;
    const double cy = truncToInt(width) / 2;
    return {cx - inv * t.width() / 2, cy - inv * t.height() / 2, cx + inv * t.width() / 2,
            cy + inv * t.height() / 2};
}

int buildSnakeTour(const ViewTransform& t, double length, double width, SnakeLists& lists) {
    const double inv = 1 / t.scale();
    const double viewW = inv * t.width(), viewH = inv * t.height();
    if (!(viewW > 0) || !(viewH > 0) || !std::isfinite(viewW) || !std::isfinite(viewH)) {
        LOG(WARNING) << "snake1: the view has no area (" << t.width() << " x " << t.height()
                     << " pixels); no tour built";
        return 0;
    }
    const double colsD = std::ceil(length * kSnakeExtent / viewW);
    const double rowsD = std::ceil(width * kSnakeExtent / viewH);
    // The row list has one entry per column, so the larger count bounds both lists.
    if (!std::isfinite(colsD) || !std::isfinite(rowsD) || colsD * std::max(rowsD, colsD) > kMaxSnakePoints) {
        LOG(ERROR) << "snake1: a tour of " << colsD << " x " << rowsD
                   << " views is more than memory can hold; no tour built";
        return 0;
    }
    const int cols = static_cast<int>(colsD);
    const int rows = static_cast<int>(rowsD);
    // One view per column or row: no overlap to share out.
    const double ox = cols > 1 ? (cols * viewW - length * kSnakeExtent) / (cols - 1) : 0.0;
    const double oy = rows > 1 ? (rows * viewH - width * kSnakeExtent) / (rows - 1) : 0.0;
    const double x0 = viewW / 2 - length * kSnakeMargin;
    const double y0 = viewH / 2 - width * kSnakeMargin;
    auto columnX = [&](int i) { return x0 + i * (viewW - ox); };
    auto rowY = [&](int j) { return y0 + j * (viewH - oy); };
    for (int i = 0; i < cols; ++i) lists.columns.append(columnX(i));
    // The row list keeps one entry per column, as it always has.
    for (int j = 0; j < cols; ++j) lists.rows.append(rowY(j));
    for (int j = 0, k = 1; j < rows; ++j, ++k) {
        const bool forward = (k % 2) == 1;
        for (int i = 0; i < cols; ++i) {
            lists.scratch = QPointF(columnX(forward ? i : cols - 1 - i), rowY(j));
            lists.points.append(lists.scratch);
            lists.scratch = QPointF(0, 0);
        }
    }
    return rows;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
