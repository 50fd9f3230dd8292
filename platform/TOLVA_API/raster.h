#pragma once
// Scanline rasteriser of the canvas. Shapes are given in board units
// (nanometres); the canvas maps the view box onto its pixels, each axis on its
// own: column i covers x in [x0 + i*sx, x0 + (i+1)*sx), row j covers y in
// (y1 - (j+1)*sy, y1 - j*sy] (rows run downwards from the top of the box).
// Exact primitives paint the pixels whose centres lie inside the shape
// (boundary included); a shape that covers no pixel centre but whose
// reference point is on the canvas paints the pixel of that point, so that
// nothing disappears.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "geometry.h"

namespace TOLVA {
namespace KERNEL {

// floor and ceil to int without a library call; arguments are clamped to
// +-2^30 first (far outside any canvas).
inline int floorInt(double x) {
    x = std::max(-1073741824.0, std::min(1073741824.0, x));
    int i = static_cast<int>(x);
    return i - (x < i);
}
inline int ceilInt(double x) {
    x = std::max(-1073741824.0, std::min(1073741824.0, x));
    int i = static_cast<int>(x);
    return i + (x > i);
}

class Raster {
public:
    Raster(uint32_t* pixels, int width, int height, const ViewBox& box);

    void setColour(uint32_t c) { m_colour = c; }
    int width() const { return m_w; }
    int height() const { return m_h; }

    // Board x to pixel-space u, board y to pixel-space v (pixel centres at
    // integer + 0.5).
    double u(double x) const { return (x - m_x0) * m_ix; }
    double v(double y) const { return (m_y1 - y) * m_iy; }
    double pixelWidth() const { return m_sx; }
    double pixelHeight() const { return m_sy; }

    // The pixel that contains the point, if it is on the canvas.
    void dot(double x, double y);
    // The pixel at pixel-space position (pu, pv), if it is on the canvas.
    void dotUV(double pu, double pv) {
        if (pu >= 0 && pv >= 0 && pu < m_w && pv < m_h)
            m_pixels[static_cast<size_t>(pv) * m_w + static_cast<size_t>(pu)] = m_colour;
    }
    // The pixel that contains pixel-space position (pu, pv).
    void dotAt(double pu, double pv) {
        if (pu >= 0 && pv >= 0 && pu < m_w && pv < m_h)
            m_pixels[static_cast<size_t>(static_cast<int>(pv)) * m_w + static_cast<int>(pu)] = m_colour;
    }

    void disc(double cx, double cy, double r);
    void annulus(double cx, double cy, double outer, double inner);
    void rect(double xmin, double ymin, double xmax, double ymax);
    // A segment with round ends of radius r (a disc when the ends coincide).
    void capsule(double x0, double y0, double x1, double y1, double r);
    void convexPolygon(const Vec* pts, int n);
    // Even-odd fill of closed rings given in board units.
    void polygon(const std::vector<std::vector<Vec>>& rings);
    // An arc of radius r around its centre line, with round ends.
    void arc(const ArcGeom& g, const Vec& s, const Vec& e, double r);
    // A line one pixel wide, for strokes thinner than a pixel.
    void hairline(double x0, double y0, double x1, double y1);
    // An arc one pixel wide.
    void hairArc(const ArcGeom& g);
    // Whether a pen of radius r is thinner than a pixel on both axes.
    bool thin(double r) const { return 2 * r < m_sx && 2 * r < m_sy; }

private:
    // Rows whose centre lies within [ylo, yhi]; false when none is on the canvas.
    bool rows(double ylo, double yhi, int& j0, int& j1) const {
        int a = ceilInt(v(yhi) - 0.5), b = floorInt(v(ylo) - 0.5);
        if (a > m_h - 1 || b < 0 || a > b) return false;
        j0 = std::max(a, 0);
        j1 = std::min(b, m_h - 1);
        return true;
    }
    double rowY(int j) const { return m_y1 - (j + 0.5) * m_sy; }
    // Paints the pixels of row j whose centres have board x in [xl, xr].
    void span(int j, double xl, double xr) { spanU(j, u(xl), u(xr)); }
    void spanU(int j, double ul, double ur) {
        int a = ceilInt(ul - 0.5), b = floorInt(ur - 0.5);
        if (a > m_w - 1 || b < 0 || a > b) return;
        int i0 = std::max(a, 0);
        int i1 = std::min(b, m_w - 1);
        uint32_t* p = m_pixels + static_cast<size_t>(j) * m_w;
        for (int i = i0; i <= i1; ++i) p[i] = m_colour;
        m_painted = true;
    }

    uint32_t* m_pixels;
    int m_w, m_h;
    double m_x0, m_y1;   // left and top of the box
    double m_sx, m_sy;   // board units per pixel
    double m_ix, m_iy;   // pixels per board unit
    uint32_t m_colour = 0xffffffffu;
    bool m_painted = false;
};

}  // namespace KERNEL
}  // namespace TOLVA
