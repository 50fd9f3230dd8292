#pragma once
// Scanline rasteriser of the canvas. Shapes are given in board units
// (nanometres); the canvas maps the view box onto its pixels, each axis on its
// own: column i covers x in [x0 + i*sx, x0 + (i+1)*sx), row j covers y in
// (y1 - (j+1)*sy, y1 - j*sy] (rows run downwards from the top of the box).
// Exact primitives paint the pixels whose centres lie inside the shape
// (boundary included) and tell whether they painted any (painted()): a
// feature that covers no pixel centre paints the pixel of its first point
// instead (the painter's job, except for discs and rectangles, which are only
// drawn as pads and do it at their centre themselves), so that nothing whose
// first point is on the canvas disappears.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
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
// The same for arguments known to lie within the canvas (give or take a pixel).
inline int floorNear(double x) {
    int i = static_cast<int>(x);
    return i - (x < i);
}
inline int ceilNear(double x) {
    int i = static_cast<int>(x);
    return i + (x > i);
}

// Sets n >= 1 pixels from p on. Spans of a few pixels, the bulk at a
// whole-board view, take two or four overlapping 8-byte stores.
inline void fillSpan(uint32_t* p, int n, uint32_t c, uint64_t c2) {
    if (n <= 4) {
        if (n == 1) {
            *p = c;
            return;
        }
        std::memcpy(p, &c2, 8);
        std::memcpy(p + n - 2, &c2, 8);
        return;
    }
    if (n <= 8) {
        std::memcpy(p, &c2, 8);
        std::memcpy(p + 2, &c2, 8);
        std::memcpy(p + n - 4, &c2, 8);
        std::memcpy(p + n - 2, &c2, 8);
        return;
    }
    if (n <= 16) {
        for (int k = 0; k < 8; k += 2) std::memcpy(p + k, &c2, 8);
        for (int k = 8; k > 0; k -= 2) std::memcpy(p + n - k, &c2, 8);
        return;
    }
    std::fill_n(p, n, c);
}

// A round pen in pixel space: the radius in columns and rows, and what a
// row's half width needs (half width^2 = ru2 - dv^2 * kv, dv in rows).
struct DiscPen {
    double ru = 0, rv = 0;  // radius in pixels across and down
    double ru2 = 0;         // ru squared
    double kv = 0;          // (rows to columns)^2: (pixel height / pixel width)^2
};

// The spans of a small disc for every sub-pixel position of its centre on a
// grid of kSteps x kSteps. For a centre at (iu + fu, iv + fv), iu and iv
// whole, the cell of (fu, fv) lists the spans that are inside for every
// centre of the cell, as offsets from pixel (iu, iv) on a canvas `stride`
// pixels wide, and the rows whose ends vary over the cell: those are worked
// out for the actual centre. For discs of at most kMaxRadius pixels.
class DiscTable {
public:
    static constexpr int kSteps = 32;
    static constexpr double kMaxRadius = 8;

    struct Span {
        int32_t offset;  // from pixel (iu, iv)
        int32_t count;
    };
    struct Cell {
        uint16_t firstSpan;
        uint8_t spans;
        uint8_t exactRows;
        uint16_t firstExact;
        bool painted;  // some span is always painted
    };

    DiscTable(const DiscPen& pen, int stride);
    const Cell& cell(double fu, double fv) const {
        return m_cells[static_cast<int>(fv * kSteps) * kSteps + static_cast<int>(fu * kSteps)];
    }
    const Span* spans() const { return m_spans.data(); }
    const int8_t* exactRows() const { return m_exact.data(); }  // rows relative to iv

private:
    std::vector<Cell> m_cells;
    std::vector<Span> m_spans;
    std::vector<int8_t> m_exact;
};

class Raster {
public:
    Raster(uint32_t* pixels, int width, int height, const ViewBox& box);

    uint32_t colour() const { return m_colour; }
    void setColour(uint32_t c) {
        m_colour = c;
        m_colour2 = c * 0x100000001ull;
    }
    int width() const { return m_w; }
    int height() const { return m_h; }
    // The same as numbers, for comparisons in pixel space.
    double widthU() const { return m_wd; }
    double heightV() const { return m_hd; }

    // Board x to pixel-space u, board y to pixel-space v (pixel centres at
    // integer + 0.5). Divided, not multiplied by the reciprocal: the quotient
    // is correctly rounded, so a point that lies exactly on a pixel centre or
    // edge is computed there wherever it is on the board, and a picture moved
    // by whole pixels is the picture of the features moved.
    double u(double x) const { return (x - m_x0) / m_sx; }
    double v(double y) const { return (m_y1 - y) / m_sy; }
    double pixelWidth() const { return m_sx; }
    double pixelsPerUnitX() const { return m_ix; }
    double pixelsPerUnitY() const { return m_iy; }
    double pixelHeight() const { return m_sy; }

    // The pixel that contains the point, if it is on the canvas.
    void dot(double x, double y);
    // Whether the last primitive painted a pixel (hairlines: on the canvas).
    bool painted() const { return m_painted; }
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

    // The round pen of radius r (board units) at this scale.
    DiscPen discPen(double r) const {
        DiscPen p;
        p.ru = r * m_ix;
        p.rv = r * m_iy;
        p.ru2 = p.ru * p.ru;
        const double k = m_sy * m_ix;
        p.kv = k * k;
        return p;
    }

    void disc(double cx, double cy, double r) { discUV(u(cx), v(cy), discPen(r)); }
    // A disc centred at pixel-space (uc, vc).
    void discUV(double uc, double vc, const DiscPen& pen) {
        if (vc - pen.rv >= 0 && vc + pen.rv <= m_h && uc - pen.ru >= 0 && uc + pen.ru <= m_w)
            discRows<false>(uc, vc, pen, ceilNear(vc - pen.rv - 0.5), floorNear(vc + pen.rv - 0.5));
        else
            discRows<true>(uc, vc, pen, std::max(ceilInt(vc - pen.rv - 0.5), 0),
                           std::min(floorInt(vc + pen.rv - 0.5), m_h - 1));
    }
    // The same with the disc's table (built from the same pen).
    void discUV(double uc, double vc, const DiscPen& pen, const DiscTable& table) {
        // The table's rows and columns reach at most one pixel beyond the disc's.
        if (vc - pen.rv >= 1 && vc + pen.rv <= m_hInner && uc - pen.ru >= 1 && uc + pen.ru <= m_wInner)
            discFromTable(uc, vc, pen, table);
        else
            discUV(uc, vc, pen);
    }
    // A disc at least one pixel inside the canvas, from its table.
    void discFromTable(double uc, double vc, const DiscPen& pen, const DiscTable& table) {
        const int iu = static_cast<int>(uc), iv = static_cast<int>(vc);
        const DiscTable::Cell& c = table.cell(uc - iu, vc - iv);
        uint32_t* const origin = m_pixels + static_cast<size_t>(iv) * m_w + iu;
        const uint32_t colour = m_colour;
        const uint64_t colour2 = m_colour2;
        const DiscTable::Span* s = table.spans() + c.firstSpan;
        for (int k = 0; k < c.spans; ++k) fillSpan(origin + s[k].offset, s[k].count, colour, colour2);
        bool painted = c.painted;
        const int8_t* e = table.exactRows() + c.firstExact;
        for (int k = 0; k < c.exactRows; ++k) {
            const int j = iv + e[k];
            painted |= discRow<false>(uc, vc, pen, j, m_pixels + static_cast<size_t>(j) * m_w);
        }
        m_painted = painted;
        if (!painted) dotAt(uc, vc);
    }

    // The pixels whose centres lie in [ul, ur] x [vt, vb] (pixel space);
    // the pixel of (pu, pv), the pad's centre, when there is none. The centre
    // is passed rather than taken halfway between the sides, which may round
    // into the next pixel.
    void rectUV(double ul, double ur, double vt, double vb, double pu, double pv) {
        if (ul >= 0 && vt >= 0 && ur <= m_wd && vb <= m_hd)
            rectRows(ceilNear(vt - 0.5), floorNear(vb - 0.5), ceilNear(ul - 0.5), floorNear(ur - 0.5), pu, pv);
        else
            rectClipped(ul, ur, vt, vb, pu, pv);
    }
    void annulus(double cx, double cy, double outer, double inner);
    // A segment with round ends of radius r (a disc when the ends coincide).
    // Like the other outlines below, it leaves the fallback pixel to the caller.
    void capsule(double x0, double y0, double x1, double y1, double r);
    // The same for a segment along an axis (ua == ub or va == vb), in pixel
    // space, ua <= ub and va <= vb, with the pen of radius r; paints nothing
    // (m_painted false) when no pixel centre is inside.
    void capsuleAxisUV(double ua, double ub, double va, double vb, const DiscPen& pen) {
        if (ua - pen.ru >= 0 && ub + pen.ru <= m_wd && va - pen.rv >= 0 && vb + pen.rv <= m_hd)
            capsuleRows<false>(ua, ub, va, vb, pen, ceilNear(va - pen.rv - 0.5), floorNear(vb + pen.rv - 0.5));
        else
            capsuleRows<true>(ua, ub, va, vb, pen, std::max(ceilInt(va - pen.rv - 0.5), 0),
                              std::min(floorInt(vb + pen.rv - 0.5), m_h - 1));
    }
    void convexPolygon(const Vec* pts, int n);
    // Even-odd fill of closed rings given in board units.
    void polygon(const std::vector<std::vector<Vec>>& rings);
    // An arc of radius r around its centre line, with round ends.
    void arc(const ArcGeom& g, const Vec& s, const Vec& e, double r);
    // A line one pixel wide, for strokes thinner than a pixel.
    void hairline(double x0, double y0, double x1, double y1) { hairlineUV(u(x0), v(y0), u(x1), v(y1)); }
    void hairlineUV(double u0, double v0, double u1, double v1) {
        m_painted = true;  // unless hairlineClipped finds no pixel on the canvas
        const double ulo = std::min(u0, u1), uhi = std::max(u0, u1);
        const double vlo = std::min(v0, v1), vhi = std::max(v0, v1);
        if (ulo >= kHairlineMargin && vlo >= kHairlineMargin && uhi <= m_uInside && vhi <= m_vInside)
            hairlineInside(u0, v0, u1, v1, ulo, uhi, vlo, vhi);
        else
            hairlineClipped(u0, v0, u1, v1, ulo, uhi, vlo, vhi);
    }
    // A hairline at least kHairlineMargin inside the canvas, given its ends
    // and their least and greatest coordinates.
    void hairlineInside(double u0, double v0, double u1, double v1, double ulo, double uhi, double vlo,
                        double vhi);
    // An arc one pixel wide.
    void hairArc(const ArcGeom& g);
    // Whether a pen of radius r is thinner than a pixel on both axes.
    bool thin(double r) const { return 2 * r < m_sx && 2 * r < m_sy; }

private:
    // One pixel per column (or row) whose centre the segment spans, and both
    // end pixels, so that joined strokes stay joined. The position across
    // stays between the ends' (up to rounding), so a segment at least
    // kHairlineMargin inside the canvas needs no test per pixel.
    static constexpr double kHairlineMargin = 0.01;
    void hairlineClipped(double u0, double v0, double u1, double v1, double ulo, double uhi, double vlo,
                         double vhi);
    void rectClipped(double ul, double ur, double vt, double vb, double pu, double pv);
    // Rows j0..j1, columns a..b (on the canvas), or the pixel of (pu, pv) when empty.
    void rectRows(int j0, int j1, int a, int b, double pu, double pv);

    // The rows j0..j1 of a disc; without Clip every span is on the canvas.
    template <bool Clip>
    void discRows(double uc, double vc, const DiscPen& pen, int j0, int j1) {
        bool painted = false;
        uint32_t* row = m_pixels + static_cast<size_t>(j0) * m_w;
        for (int j = j0; j <= j1; ++j, row += m_w) painted |= discRow<Clip>(uc, vc, pen, j, row);
        m_painted = painted;
        if (!painted) dotAt(uc, vc);
    }
    // Row j of a disc (row points at its first pixel); whether it painted.
    template <bool Clip>
    bool discRow(double uc, double vc, const DiscPen& pen, int j, uint32_t* row) {
        const double dv = j + 0.5 - vc;
        const double h2 = pen.ru2 - dv * dv * pen.kv;
        if (h2 < 0) return false;
        const double hu = std::sqrt(h2), ucl = uc - 0.5;
        int a, b;
        if (Clip) {
            a = std::max(ceilInt(ucl - hu), 0);
            b = std::min(floorInt(ucl + hu), m_w - 1);
        } else {
            a = ceilNear(ucl - hu);
            b = floorNear(ucl + hu);
        }
        if (a > b) return false;
        fillSpan(row + a, b - a + 1, m_colour, m_colour2);
        return true;
    }
    // Rows j0..j1 of an axis capsule: the pen's half width at the row's
    // distance from the segment, around the segment's columns.
    template <bool Clip>
    void capsuleRows(double ua, double ub, double va, double vb, const DiscPen& pen, int j0, int j1) {
        bool painted = false;
        uint32_t* row = m_pixels + static_cast<size_t>(j0) * m_w;
        for (int j = j0; j <= j1; ++j, row += m_w) {
            const double vc = j + 0.5;
            const double dv = vc < va ? vc - va : vc > vb ? vc - vb : 0.0;
            const double h2 = pen.ru2 - dv * dv * pen.kv;
            if (h2 < 0) continue;
            const double hu = std::sqrt(h2);
            int a, b;
            if (Clip) {
                a = std::max(ceilInt(ua - hu - 0.5), 0);
                b = std::min(floorInt(ub + hu - 0.5), m_w - 1);
            } else {
                a = ceilNear(ua - hu - 0.5);
                b = floorNear(ub + hu - 0.5);
            }
            if (a > b) continue;
            fillSpan(row + a, b - a + 1, m_colour, m_colour2);
            painted = true;
        }
        m_painted = painted;
    }

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
        fillSpan(m_pixels + static_cast<size_t>(j) * m_w + i0, i1 - i0 + 1, m_colour, m_colour2);
        m_painted = true;
    }

    uint32_t* m_pixels;
    int m_w, m_h;
    double m_x0, m_y1;   // left and top of the box
    double m_sx, m_sy;   // board units per pixel
    double m_ix, m_iy;   // pixels per board unit
    double m_wd, m_hd;          // width and height
    double m_wInner, m_hInner;  // width and height less a pixel
    double m_uInside, m_vInside;  // width and height less the hairline margin
    // Scratch space of polygon fills, kept between them.
    // An edge's crossing with a row is utop + (v - vtop) * du / dv: the
    // product first and one division, so that a crossing that lies exactly
    // on a pixel centre (common on a power-of-two grid) comes out exactly.
    struct PolyEdge {
        double vtop, vbot, utop, du, dv;
    };
    std::vector<PolyEdge> m_edges;
    std::vector<const PolyEdge*> m_active;
    std::vector<double> m_xs;
    uint32_t m_colour = 0xffffffffu;
    uint64_t m_colour2 = ~0ull;  // two pixels of m_colour
    bool m_painted = false;
};

}  // namespace KERNEL
}  // namespace TOLVA
