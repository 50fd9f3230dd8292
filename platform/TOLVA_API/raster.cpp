// Scanline primitives (see raster.h).
#include "raster.h"

#include <limits>

namespace TOLVA {
namespace KERNEL {

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();

struct Interval {
    double lo, hi;
};

// Sorts a handful of elements in place.
template <class T, class Less>
void smallSort(T* a, int n, Less less) {
    for (int i = 1; i < n; ++i) {
        T x = a[i];
        int k = i;
        for (; k > 0 && less(x, a[k - 1]); --k) a[k] = a[k - 1];
        a[k] = x;
    }
}
}  // namespace

DiscTable::DiscTable(const DiscPen& pen, int stride) {
    // Decisions closer than this to a pixel boundary are left to the exact
    // computation, so that rounding never makes the table disagree with it.
    constexpr double kMargin = 1e-7;
    constexpr double kStep = 1.0 / kSteps;
    struct RowRange {
        int dj;
        bool none, exact;   // outside for every centre; in or out depending on it
        double hmin, hmax;  // half width over the cell's rows (pixels)
    };
    std::vector<RowRange> rows;
    m_cells.resize(kSteps * kSteps);
    for (int qv = 0; qv < kSteps; ++qv) {
        // The rows that some centre of this band reaches, relative to iv, and
        // how wide the disc is on each over the band.
        const double fv0 = qv * kStep, fv1 = fv0 + kStep;
        rows.clear();
        const int dj0 = ceilInt(fv0 - 0.5 - pen.rv - kMargin), dj1 = floorInt(fv1 - 0.5 + pen.rv + kMargin);
        for (int dj = dj0; dj <= dj1; ++dj) {
            const double dva = dj + 0.5 - fv1, dvb = dj + 0.5 - fv0;
            const double nearest = dva <= 0 && dvb >= 0 ? 0 : std::min(std::fabs(dva), std::fabs(dvb));
            const double farthest = std::max(std::fabs(dva), std::fabs(dvb));
            const double h2max = pen.ru2 - nearest * nearest * pen.kv;
            const double h2min = pen.ru2 - farthest * farthest * pen.kv;
            RowRange r{dj, h2max < -kMargin, false, 0, 0};
            if (!r.none) {
                r.exact = h2min < kMargin;
                if (!r.exact) {
                    r.hmin = std::sqrt(h2min);
                    r.hmax = std::sqrt(h2max);
                }
            }
            rows.push_back(r);
        }
        for (int qu = 0; qu < kSteps; ++qu) {
            const double fu0 = qu * kStep, fu1 = fu0 + kStep;
            Cell& cell = m_cells[qv * kSteps + qu];
            cell.firstSpan = static_cast<uint16_t>(m_spans.size());
            cell.firstExact = static_cast<uint16_t>(m_exact.size());
            cell.painted = false;
            for (const RowRange& r : rows) {
                if (r.none) continue;
                bool exact = r.exact;
                int a = 0, b = -1;
                if (!exact) {
                    // First column: ceil(fu - 0.5 - hu); last: floor(fu - 0.5 + hu).
                    a = ceilInt(fu0 - 0.5 - r.hmax - kMargin);
                    b = floorInt(fu0 - 0.5 + r.hmin - kMargin);
                    exact = a != ceilInt(fu1 - 0.5 - r.hmin + kMargin) || b != floorInt(fu1 - 0.5 + r.hmax + kMargin);
                }
                if (exact) {
                    m_exact.push_back(static_cast<int8_t>(r.dj));
                } else if (a <= b) {
                    m_spans.push_back({r.dj * stride + a, b - a + 1});
                    cell.painted = true;
                }
            }
            cell.spans = static_cast<uint8_t>(m_spans.size() - cell.firstSpan);
            cell.exactRows = static_cast<uint8_t>(m_exact.size() - cell.firstExact);
        }
    }
}

// The box's left and top edges on a grid of 2^-20 nanometre: a board
// coordinate (a whole number below 2^32) less the edge is then exact, so a
// feature moved by whole nanometres lands exactly that far away in pixels
// too, whatever the view.
static double onGrid(double edge) {
    constexpr double kGrid = 1048576.0;
    return std::fabs(edge) < 4.0e9 ? std::round(edge * kGrid) / kGrid : edge;
}

Raster::Raster(uint32_t* pixels, int width, int height, const ViewBox& box)
    : m_pixels(pixels), m_w(width), m_h(height), m_x0(onGrid(box.xmin)), m_y1(onGrid(box.ymax)) {
    m_sx = (box.xmax - box.xmin) / std::max(width, 1);
    m_sy = (box.ymax - box.ymin) / std::max(height, 1);
    m_ix = 1.0 / m_sx;
    m_iy = 1.0 / m_sy;
    m_wd = width;
    m_hd = height;
    m_wInner = width - 1.0;
    m_hInner = height - 1.0;
    m_uInside = width - kHairlineMargin;
    m_vInside = height - kHairlineMargin;
}

void Raster::dot(double x, double y) { dotAt(u(x), v(y)); }

void Raster::rectClipped(double ul, double ur, double vt, double vb, double pu, double pv) {
    const int j0 = std::max(ceilInt(vt - 0.5), 0), j1 = std::min(floorInt(vb - 0.5), m_h - 1);
    const int a = std::max(ceilInt(ul - 0.5), 0), b = std::min(floorInt(ur - 0.5), m_w - 1);
    rectRows(j0, j1, a, b, pu, pv);
}

void Raster::rectRows(int j0, int j1, int a, int b, double pu, double pv) {
    m_painted = j0 <= j1 && a <= b;
    if (!m_painted) {
        dotAt(pu, pv);
        return;
    }
    uint32_t* p = m_pixels + static_cast<size_t>(j0) * m_w + a;
    for (int j = j0; j <= j1; ++j, p += m_w) fillSpan(p, b - a + 1, m_colour, m_colour2);
}

void Raster::annulus(double cx, double cy, double outer, double inner) {
    m_painted = false;
    int j0, j1;
    if (rows(cy - outer, cy + outer, j0, j1)) {
        const double uc = u(cx), o2 = outer * outer, i2 = inner * inner;
        for (int j = j0; j <= j1; ++j) {
            double dy = rowY(j) - cy, d2 = dy * dy;
            if (d2 > o2) continue;
            double ho = std::sqrt(o2 - d2) * m_ix;
            if (d2 >= i2) {
                spanU(j, uc - ho, uc + ho);
                continue;
            }
            // Centres strictly inside the hole stay clear.
            double hi = std::sqrt(i2 - d2) * m_ix;
            spanU(j, uc - ho, uc - hi);
            spanU(j, uc + hi, uc + ho);
        }
    }
}

void Raster::capsule(double x0, double y0, double x1, double y1, double r) {
    const bool horizontal = y0 == y1, vertical = x0 == x1 && !horizontal;
    if (horizontal || vertical) {
        // Lines along an axis: one interval per row without the band algebra.
        const double ua = u(x0), ub = u(x1), va = v(y0), vb = v(y1);
        capsuleAxisUV(std::min(ua, ub), std::max(ua, ub), std::min(va, vb), std::max(va, vb), discPen(r));
        return;
    }
    m_painted = false;
    int j0, j1;
    if (rows(std::min(y0, y1) - r, std::max(y0, y1) + r, j0, j1)) {
        const double dx = x1 - x0, dy = y1 - y0;
        const double l2 = dx * dx + dy * dy, rl = r * std::sqrt(l2), r2 = r * r;
        const double idx = dx != 0 ? 1.0 / dx : 0, idy = dy != 0 ? 1.0 / dy : 0;
        for (int j = j0; j <= j1; ++j) {
            const double y = rowY(j);
            double lo = kInf, hi = -kInf;
            double t = y - y0;
            if (t * t <= r2) {
                double h = std::sqrt(r2 - t * t);
                lo = std::min(lo, x0 - h);
                hi = std::max(hi, x0 + h);
            }
            double t1 = y - y1;
            if (t1 * t1 <= r2) {
                double h = std::sqrt(r2 - t1 * t1);
                lo = std::min(lo, x1 - h);
                hi = std::max(hi, x1 + h);
            }
            if (l2 > 0) {
                // The band between the two ends: 0 <= (p - p0).d <= |d|^2 and
                // |(p - p0) x d| <= r |d|, solved for x on this row.
                double blo = -kInf, bhi = kInf;
                bool empty = false;
                if (dx != 0) {
                    double a = -t * dy * idx, b = (l2 - t * dy) * idx;
                    blo = std::max(blo, std::min(a, b));
                    bhi = std::min(bhi, std::max(a, b));
                } else {
                    empty = t * dy < 0 || t * dy > l2;
                }
                if (dy != 0) {
                    double a = (t * dx - rl) * idy, b = (t * dx + rl) * idy;
                    blo = std::max(blo, std::min(a, b));
                    bhi = std::min(bhi, std::max(a, b));
                } else {
                    empty = empty || std::fabs(t * dx) > rl;
                }
                if (!empty && blo <= bhi) {
                    lo = std::min(lo, x0 + blo);
                    hi = std::max(hi, x0 + bhi);
                }
            }
            if (lo <= hi) spanU(j, u(lo), u(hi));
        }
    }
}

void Raster::convexPolygon(const Vec* pts, int n) {
    m_painted = false;
    double ylo = pts[0].y, yhi = pts[0].y;
    for (int i = 1; i < n; ++i) {
        ylo = std::min(ylo, pts[i].y);
        yhi = std::max(yhi, pts[i].y);
    }
    int j0, j1;
    if (rows(ylo, yhi, j0, j1)) {
        for (int j = j0; j <= j1; ++j) {
            const double y = rowY(j);
            double lo = kInf, hi = -kInf;
            for (int i = 0; i < n; ++i) {
                const Vec& a = pts[i];
                const Vec& b = pts[(i + 1) % n];
                if ((y < a.y && y < b.y) || (y > a.y && y > b.y)) continue;
                if (a.y == b.y) {
                    lo = std::min({lo, a.x, b.x});
                    hi = std::max({hi, a.x, b.x});
                } else {
                    double x = a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y);
                    lo = std::min(lo, x);
                    hi = std::max(hi, x);
                }
            }
            if (lo <= hi) spanU(j, u(lo), u(hi));
        }
    }
}

void Raster::polygon(const std::vector<std::vector<Vec>>& rings) {
    m_painted = false;
    std::vector<PolyEdge>& edges = m_edges;
    edges.clear();
    double vmin = kInf, vmax = -kInf;
    for (const auto& ring : rings) {
        const size_t n = ring.size();
        for (size_t i = 0; i < n; ++i) {
            double ua = u(ring[i].x), va = v(ring[i].y);
            double ub = u(ring[(i + 1) % n].x), vb = v(ring[(i + 1) % n].y);
            if (va == vb) continue;
            if (va > vb) {
                std::swap(ua, ub);
                std::swap(va, vb);
            }
            edges.push_back({va, vb, ua, ub - ua, vb - va});
            vmin = std::min(vmin, va);
            vmax = std::max(vmax, vb);
        }
    }
    if (!edges.empty()) {
        std::sort(edges.begin(), edges.end(), [](const PolyEdge& a, const PolyEdge& b) { return a.vtop < b.vtop; });
        const int j0 = std::max(ceilInt(vmin - 0.5), 0), j1 = std::min(floorInt(vmax - 0.5), m_h - 1);
        std::vector<const PolyEdge*>& active = m_active;
        std::vector<double>& xs = m_xs;
        active.clear();
        size_t next = 0;
        // Edges that end above the first row never become active.
        const double vfirst = j0 + 0.5;
        while (next < edges.size() && edges[next].vtop <= vfirst) {
            if (edges[next].vbot > vfirst) active.push_back(&edges[next]);
            ++next;
        }
        for (int j = j0; j <= j1; ++j) {
            const double vc = j + 0.5;
            while (next < edges.size() && edges[next].vtop <= vc) active.push_back(&edges[next++]);
            // Each edge covers the rows whose centre lies in [vtop, vbot).
            xs.clear();
            size_t kept = 0;
            for (const PolyEdge* e : active) {
                if (e->vbot <= vc) continue;
                active[kept++] = e;
                xs.push_back(e->utop + (vc - e->vtop) * e->du / e->dv);
            }
            active.resize(kept);
            if (xs.size() <= 32)
                smallSort(xs.data(), static_cast<int>(xs.size()), [](double a, double b) { return a < b; });
            else
                std::sort(xs.begin(), xs.end());
            uint32_t* const row = m_pixels + static_cast<size_t>(j) * m_w;
            for (size_t k = 0; k + 1 < xs.size(); k += 2) {
                // Centres in [xs[k], xs[k+1]).
                const int c0 = std::max(ceilInt(xs[k] - 0.5), 0), c1 = std::min(ceilInt(xs[k + 1] - 0.5) - 1, m_w - 1);
                if (c0 > c1) continue;
                fillSpan(row + c0, c1 - c0 + 1, m_colour, m_colour2);
                m_painted = true;
            }
        }
    }
}

void Raster::arc(const ArcGeom& g, const Vec& s, const Vec& e, double r) {
    m_painted = false;
    const double ro = g.radius + r, ri = std::max(g.radius - r, 0.0);
    const bool full = g.full;
    const double c0 = g.ux0, s0 = g.uy0, c1 = g.ux1, s1 = g.uy1;
    int j0, j1;
    double ylo = std::min({g.cy - ro, s.y - r, e.y - r}), yhi = std::max({g.cy + ro, s.y + r, e.y + r});
    if (rows(ylo, yhi, j0, j1)) {
        Interval pieces[8];
        for (int j = j0; j <= j1; ++j) {
            const double y = rowY(j), dy = y - g.cy;
            int n = 0;
            for (const Vec* p : {&s, &e}) {
                double t = y - p->y;
                if (t * t <= r * r) {
                    double h = std::sqrt(r * r - t * t);
                    pieces[n++] = {p->x - h, p->x + h};
                }
            }
            if (dy * dy <= ro * ro) {
                double xo = std::sqrt(ro * ro - dy * dy);
                Interval ring[2];
                int m = 0;
                if (dy * dy < ri * ri) {
                    double xi = std::sqrt(ri * ri - dy * dy);
                    ring[m++] = {g.cx - xo, g.cx - xi};
                    ring[m++] = {g.cx + xi, g.cx + xo};
                } else {
                    ring[m++] = {g.cx - xo, g.cx + xo};
                }
                for (int k = 0; k < m; ++k) {
                    if (full) {
                        pieces[n++] = ring[k];
                        continue;
                    }
                    // The sweep's boundary rays cut the row at no more than two
                    // places. The row through the centre is cut at the centre
                    // (both rays start there), so that each half is judged by
                    // its own direction: the centre itself tests as inside
                    // every sweep, and would otherwise take the whole row in.
                    double cuts[4] = {ring[k].lo, 0, 0, ring[k].hi};
                    int nc = 1;
                    for (auto cs : {std::make_pair(c0, s0), std::make_pair(c1, s1)}) {
                        if (cs.second == 0 || dy / cs.second < 0) continue;
                        double x = g.cx + dy * cs.first / cs.second;
                        if (x > ring[k].lo && x < ring[k].hi) cuts[nc++] = x;
                    }
                    cuts[nc++] = ring[k].hi;
                    smallSort(cuts + 1, nc - 2, [](double a, double b) { return a < b; });
                    for (int c = 0; c + 1 < nc; ++c) {
                        double mid = 0.5 * (cuts[c] + cuts[c + 1]);
                        if (g.containsAngle(mid, y)) pieces[n++] = {cuts[c], cuts[c + 1]};
                    }
                }
            }
            if (n == 0) continue;
            smallSort(pieces, n, [](const Interval& a, const Interval& b) { return a.lo < b.lo; });
            Interval cur = pieces[0];
            for (int k = 1; k < n; ++k) {
                if (pieces[k].lo <= cur.hi) {
                    cur.hi = std::max(cur.hi, pieces[k].hi);
                } else {
                    spanU(j, u(cur.lo), u(cur.hi));
                    cur = pieces[k];
                }
            }
            spanU(j, u(cur.lo), u(cur.hi));
        }
    }
}

void Raster::hairlineInside(double u0, double v0, double u1, double v1, double ulo, double uhi, double vlo,
                            double vhi) {
    const double du = u1 - u0, dv = v1 - v0;
    uint32_t* const pixels = m_pixels;
    const size_t w = static_cast<size_t>(m_w);
    const uint32_t c = m_colour;
    if (dv == 0) {
        // Along a row: the columns from the one of the left end to the one
        // of the right end, ends included.
        const int a = static_cast<int>(ulo), b = static_cast<int>(uhi);
        fillSpan(pixels + static_cast<size_t>(static_cast<int>(v0)) * w + a, b - a + 1, c, m_colour2);
        return;
    }
    if (du == 0) {
        // Along a column, likewise.
        const int a = static_cast<int>(vlo), b = static_cast<int>(vhi);
        uint32_t* p = pixels + static_cast<size_t>(a) * w + static_cast<int>(u0);
        for (int j = a; j <= b; ++j, p += w) *p = c;
        return;
    }
    pixels[static_cast<size_t>(static_cast<int>(v0)) * w + static_cast<int>(u0)] = c;
    pixels[static_cast<size_t>(static_cast<int>(v1)) * w + static_cast<int>(u1)] = c;
    if (std::fabs(du) >= std::fabs(dv)) {
        const int i0 = ceilNear(ulo - 0.5), i1 = floorNear(uhi - 0.5);
        const double k = dv / du;
        double pv = v0 + (i0 + 0.5 - u0) * k;
        for (int i = i0; i <= i1; ++i, pv += k) pixels[static_cast<size_t>(static_cast<int>(pv)) * w + i] = c;
    } else {
        const int j0 = ceilNear(vlo - 0.5), j1 = floorNear(vhi - 0.5);
        const double k = du / dv;
        double pu = u0 + (j0 + 0.5 - v0) * k;
        uint32_t* row = pixels + static_cast<size_t>(j0) * w;
        for (int j = j0; j <= j1; ++j, pu += k, row += w) row[static_cast<int>(pu)] = c;
    }
}

void Raster::hairlineClipped(double u0, double v0, double u1, double v1, double ulo, double uhi, double vlo,
                             double vhi) {
    const double du = u1 - u0, dv = v1 - v0;
    auto onCanvas = [this](double pu, double pv) { return pu >= 0 && pv >= 0 && pu < m_w && pv < m_h; };
    m_painted = onCanvas(u0, v0) || onCanvas(u1, v1);
    dotAt(u0, v0);
    dotAt(u1, v1);
    if (std::fabs(du) >= std::fabs(dv)) {
        if (du == 0) return;
        const int i0 = std::max(ceilInt(ulo - 0.5), 0);
        const int i1 = std::min(floorInt(uhi - 0.5), m_w - 1);
        if (i0 > i1) return;
        const double k = dv / du;
        double pv = v0 + (i0 + 0.5 - u0) * k;
        for (int i = i0; i <= i1; ++i, pv += k)
            if (pv >= 0 && pv < m_h) {
                m_pixels[static_cast<size_t>(static_cast<int>(pv)) * m_w + i] = m_colour;
                m_painted = true;
            }
    } else {
        const int j0 = std::max(ceilInt(vlo - 0.5), 0);
        const int j1 = std::min(floorInt(vhi - 0.5), m_h - 1);
        if (j0 > j1) return;
        const double k = du / dv;
        double pu = u0 + (j0 + 0.5 - v0) * k;
        uint32_t* row = m_pixels + static_cast<size_t>(j0) * m_w;
        for (int j = j0; j <= j1; ++j, pu += k, row += m_w)
            if (pu >= 0 && pu < m_w) {
                row[static_cast<int>(pu)] = m_colour;
                m_painted = true;
            }
    }
}

void Raster::hairArc(const ArcGeom& g) {
    // Chords short enough to stay within a quarter pixel of the circle: n of
    // them, n = ceil(sweep / step) with step = 2 acos(t). Below a half turn,
    // cos(sweep / 2)^2 = (1 + cos sweep) / 2 and cos(sweep / 4)^2 =
    // (1 + cos(sweep / 2)) / 2 tell one or two chords apart without angles.
    const double rpx = g.radius * std::max(m_ix, m_iy);
    const double x0 = g.cx + g.radius * g.ux0, y0 = g.cy + g.radius * g.uy0;
    const double x1 = g.cx + g.radius * g.ux1, y1 = g.cy + g.radius * g.uy1;
    int n = 1;
    double half = 0;  // cos(sweep / 2), for two chords
    if (rpx > 0.5) {
        const double t = 1 - 0.25 / rpx;
        const bool halfTurn = !g.minor || g.ux0 * g.uy1 - g.uy0 * g.ux1 <= 0;
        if (!halfTurn) {
            half = std::sqrt((1 + g.ux0 * g.ux1 + g.uy0 * g.uy1) / 2);
            if (half >= t) {
                n = 1;
            } else if ((1 + half) / 2 >= t * t) {
                n = 2;
            } else {
                n = std::min(4096, ceilInt(g.sweep() / (2 * std::acos(t))));
            }
        } else {
            n = std::max(1, std::min(4096, ceilInt(g.sweep() / (2 * std::acos(t)))));
        }
    }
    double pu = u(x0), pv = v(y0);
    if (n == 2 && half > 0) {
        // The middle of the arc lies along the bisector of its two rays.
        const double bx = g.ux0 + g.ux1, by = g.uy0 + g.uy1, k = g.radius / std::sqrt(bx * bx + by * by);
        const double mu = u(g.cx + bx * k), mv = v(g.cy + by * k);
        hairlineUV(pu, pv, mu, mv);
        const bool first = m_painted;
        hairlineUV(mu, mv, u(x1), v(y1));
        m_painted |= first;
        return;
    }
    // The chord ends: the first ray's point turned by sweep / n at a time,
    // the last one exactly on the last ray.
    double ox = g.radius * g.ux0, oy = g.radius * g.uy0;
    double c = 1, s = 0;
    if (n > 1) {
        const double sweep = g.sweep();
        c = std::cos(sweep / n);
        s = std::sin(sweep / n);
    }
    bool any = false;
    for (int i = 1; i <= n; ++i) {
        double x, y;
        if (i == n) {
            x = x1;
            y = y1;
        } else {
            const double r = ox * c - oy * s;
            oy = ox * s + oy * c;
            ox = r;
            x = g.cx + ox;
            y = g.cy + oy;
        }
        const double qu = u(x), qv = v(y);
        hairlineUV(pu, pv, qu, qv);
        any |= m_painted;
        pu = qu;
        pv = qv;
    }
    m_painted = any;
}

}  // namespace KERNEL
}  // namespace TOLVA
