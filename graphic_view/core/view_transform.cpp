#include "view_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace TOLVA {
namespace GRAPHIC {

double ScaleLimits::minimum = 9e-07;
double ScaleLimits::maximum = 0.05;

double clampScale(double scale) {
    if (std::isnan(scale)) return ScaleLimits::minimum;
    if (scale > ScaleLimits::maximum) scale = ScaleLimits::maximum;
    if (scale < ScaleLimits::minimum) scale = ScaleLimits::minimum;
    return scale;
}

double roundToUnit(double value) {
    if (!std::isfinite(value)) return 0.0;
    constexpr double kLimit = 9.2e18;  // inside the int64 range
    if (std::fabs(value) >= kLimit) return value;
    return static_cast<double>(std::llround(value));
}

int truncToInt(double value) {
    if (std::isnan(value)) return 0;
    if (value >= static_cast<double>(std::numeric_limits<int>::max())) return std::numeric_limits<int>::max();
    if (value <= static_cast<double>(std::numeric_limits<int>::min())) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

bool ViewTransform::isValid() const {
    return m_width > 0 && m_height > 0 && std::isfinite(m_scale) && m_scale > 0 &&
           std::isfinite(m_cx) && std::isfinite(m_cy) &&
           (m_angle == 0 || m_angle == 90 || m_angle == 180 || m_angle == 270);
}

bool ViewTransform::toBoard(int px, int py, double& x, double& y) const {
    const double inv = 1.0 / m_scale;
    const double dx = static_cast<double>(px - m_width / 2) * inv;
    const double dy = static_cast<double>(py - m_height / 2) * inv;
    switch (m_angle) {
    case 0: x = m_cx + dx; y = m_cy - dy; break;
    case 90: x = m_cx + dy; y = m_cy + dx; break;
    case 180: x = m_cx - dx; y = m_cy + dy; break;
    case 270: x = m_cx - dy; y = m_cy - dx; break;
    default: x = 0; y = 0; return false;
    }
    x = roundToUnit(x);
    y = roundToUnit(y);
    return true;
}

bool ViewTransform::toPixel(double x, double y, int& px, int& py) const {
    double rx = 0, ry = 0;
    // Pixel positions are taken against the whole-unit centre, not the raw one.
    if (!toBoard(m_width / 2, m_height / 2, rx, ry)) return false;
    const double s = m_scale;
    const int hw = m_width / 2;
    const int hh = m_height / 2;
    switch (m_angle) {
    case 0: px = hw + truncToInt(s * (x - rx)); py = hh - truncToInt(s * (y - ry)); break;
    case 90: px = hw + truncToInt(s * (y - ry)); py = hh + truncToInt(s * (x - rx)); break;
    case 180: px = hw - truncToInt(s * (x - rx)); py = hh + truncToInt(s * (y - ry)); break;
    case 270: px = hw - truncToInt(s * (y - ry)); py = hh - truncToInt(s * (x - rx)); break;
    default: return false;
    }
    return true;
}

BoardBox ViewTransform::visibleBox() const {
    double xa = 0, ya = 0, xb = 0, yb = 0;
    toBoard(0, m_height, xa, ya);
    toBoard(m_width, 0, xb, yb);
    return {std::min(xa, xb), std::min(ya, yb), std::max(xa, xb), std::max(ya, yb)};
}

void ViewTransform::centerOnLowerLeft(int w, int h, int x0, int y0) {
    const double inv = 1.0 / m_scale;
    if (m_angle % 180 != 0) {
        m_cx = x0 + (inv * h) / 2;
        m_cy = y0 + (inv * w) / 2;
    } else {
        m_cx = x0 + (inv * w) / 2;
        m_cy = y0 + (inv * h) / 2;
    }
}

bool ViewTransform::operator==(const ViewTransform& o) const {
    return m_width == o.m_width && m_height == o.m_height && m_scale == o.m_scale &&
           m_cx == o.m_cx && m_cy == o.m_cy && m_angle == o.m_angle;
}

void boardFromInput(int height, int width, double scale, double cx, double cy, int px, int py,
                    double& x, double& y) {
    ViewTransform(width, height, scale, cx, cy, 0).toBoard(px, py, x, y);
}

FitScale fitScale(int w, int h, int x1, int y1, int x2, int y2) {
    // Differences in int as the kernel boxes are ints; a zero extent gives +inf.
    const double sx = w / static_cast<double>(std::llabs(static_cast<long long>(x2) - x1));
    const double sy = h / static_cast<double>(std::llabs(static_cast<long long>(y2) - y1));
    if (sx > sy) return {sy, false};
    return {sx, true};
}

std::vector<API::point> boxCorners(const BoardBox& b) {
    const int x0 = truncToInt(b.minX), y0 = truncToInt(b.minY);
    const int x1 = truncToInt(b.maxX), y1 = truncToInt(b.maxY);
    return {{x0, y0}, {x0, y1}, {x1, y1}, {x1, y0}};
}

}  // namespace GRAPHIC
}  // namespace TOLVA
