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

Raster::Raster(uint32_t* pixels, int width, int height, const ViewBox& box)
    : m_pixels(pixels), m_w(width), m_h(height), m_x0(box.xmin), m_y1(box.ymax) {
    m_sx = (box.xmax - box.xmin) / std::max(width, 1);
    m_sy = (box.ymax - box.ymin) / std::max(height, 1);
    m_ix = 1.0 / m_sx;
    m_iy = 1.0 / m_sy;
}

void Raster::dot(double x, double y) { dotAt(u(x), v(y)); }

void Raster::disc(double cx, double cy, double r) {
    m_painted = false;
    int j0, j1;
    if (rows(cy - r, cy + r, j0, j1)) {
        const double uc = u(cx), r2 = r * r;
        // The half widths of a batch of rows first (independent square
        // roots overlap), then their spans.
        constexpr int kBatch = 16;
        double half[kBatch];
        for (int j = j0; j <= j1; j += kBatch) {
            const int n = std::min(kBatch, j1 - j + 1);
            for (int k = 0; k < n; ++k) {
                const double dy = rowY(j + k) - cy;
                half[k] = std::sqrt(std::max(r2 - dy * dy, 0.0));
            }
            for (int k = 0; k < n; ++k) {
                const double dy = rowY(j + k) - cy;
                if (dy * dy > r2) continue;
                const double hu = half[k] * m_ix;
                spanU(j + k, uc - hu, uc + hu);
            }
        }
    }
    if (!m_painted) dot(cx, cy);
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
    if (!m_painted) dot(cx + (outer + inner) / 2, cy);
}

void Raster::rect(double xmin, double ymin, double xmax, double ymax) {
    m_painted = false;
    int j0, j1;
    if (rows(ymin, ymax, j0, j1)) {
        const double ul = u(xmin), ur = u(xmax);
        for (int j = j0; j <= j1; ++j) spanU(j, ul, ur);
    }
    if (!m_painted) dot((xmin + xmax) / 2, (ymin + ymax) / 2);
}

void Raster::capsule(double x0, double y0, double x1, double y1, double r) {
    m_painted = false;
    int j0, j1;
    const bool horizontal = y0 == y1, vertical = x0 == x1 && !horizontal;
    if ((horizontal || vertical) && rows(std::min(y0, y1) - r, std::max(y0, y1) + r, j0, j1)) {
        // Lines along an axis: one interval per row without the band algebra.
        const double xa = std::min(x0, x1), xb = std::max(x0, x1);
        const double ya = std::min(y0, y1), yb = std::max(y0, y1), r2 = r * r;
        for (int j = j0; j <= j1; ++j) {
            const double y = rowY(j);
            if (vertical && y >= ya && y <= yb) {
                spanU(j, u(x0 - r), u(x0 + r));
                continue;
            }
            const double t = horizontal ? y - y0 : (y < ya ? y - ya : y - yb);
            const double h2 = r2 - t * t;
            if (h2 < 0) continue;
            const double h = std::sqrt(h2);
            spanU(j, u(xa - h), u(xb + h));
        }
    } else if (!horizontal && !vertical && rows(std::min(y0, y1) - r, std::max(y0, y1) + r, j0, j1)) {
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
    if (!m_painted) dot(x0, y0);
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
    if (!m_painted) dot(pts[0].x, pts[0].y);
}

void Raster::polygon(const std::vector<std::vector<Vec>>& rings) {
    m_painted = false;
    struct Edge {
        double vtop, vbot, utop, slope;
    };
    std::vector<Edge> edges;
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
            edges.push_back({va, vb, ua, (ub - ua) / (vb - va)});
            vmin = std::min(vmin, va);
            vmax = std::max(vmax, vb);
        }
    }
    if (!edges.empty()) {
        std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.vtop < b.vtop; });
        double a = std::ceil(vmin - 0.5), b = std::floor(vmax - 0.5);
        if (a <= m_h - 1 && b >= 0 && a <= b) {
            int j0 = static_cast<int>(std::max(a, 0.0)), j1 = static_cast<int>(std::min(b, m_h - 1.0));
            std::vector<const Edge*> active;
            std::vector<double> xs;
            size_t next = 0;
            for (int j = j0; j <= j1; ++j) {
                const double vc = j + 0.5;
                while (next < edges.size() && edges[next].vtop <= vc) active.push_back(&edges[next++]);
                // Each edge covers the rows whose centre lies in [vtop, vbot).
                active.erase(std::remove_if(active.begin(), active.end(),
                                            [vc](const Edge* e) { return e->vbot <= vc; }),
                             active.end());
                xs.clear();
                for (const Edge* e : active) xs.push_back(e->utop + (vc - e->vtop) * e->slope);
                std::sort(xs.begin(), xs.end());
                for (size_t k = 0; k + 1 < xs.size(); k += 2) {
                    // Centres in [xs[k], xs[k+1]).
                    double c0 = std::ceil(xs[k] - 0.5), c1 = std::ceil(xs[k + 1] - 0.5) - 1;
                    if (c0 > m_w - 1 || c1 < 0 || c0 > c1) continue;
                    int i0 = static_cast<int>(std::max(c0, 0.0)), i1 = static_cast<int>(std::min(c1, m_w - 1.0));
                    std::fill_n(m_pixels + static_cast<size_t>(j) * m_w + i0, i1 - i0 + 1, m_colour);
                    m_painted = true;
                }
            }
        }
    }
    if (!m_painted && !rings.empty() && !rings[0].empty()) dot(rings[0][0].x, rings[0][0].y);
}

void Raster::arc(const ArcGeom& g, const Vec& s, const Vec& e, double r) {
    m_painted = false;
    const double ro = g.radius + r, ri = std::max(g.radius - r, 0.0);
    const bool full = g.sweep >= kTwoPi;
    const double a0 = g.start, a1 = g.start + g.sweep;
    const double c0 = std::cos(a0), s0 = std::sin(a0), c1 = std::cos(a1), s1 = std::sin(a1);
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
                    // The sweep's boundary rays cut the row at no more than two places.
                    double cuts[4] = {ring[k].lo, 0, 0, ring[k].hi};
                    int nc = 1;
                    for (auto cs : {std::make_pair(c0, s0), std::make_pair(c1, s1)}) {
                        if (cs.second == 0 || dy / cs.second <= 0) continue;
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
    if (!m_painted) dot(s.x, s.y);
}

void Raster::hairline(double x0, double y0, double x1, double y1) {
    const double u0 = u(x0), v0 = v(y0), u1 = u(x1), v1 = v(y1);
    const double du = u1 - u0, dv = v1 - v0;
    // Both end pixels, so that joined strokes stay joined.
    dotAt(u0, v0);
    dotAt(u1, v1);
    // One pixel per column (or row) whose centre the segment spans.
    if (std::fabs(du) >= std::fabs(dv)) {
        if (du == 0) return;
        const int i0 = std::max(ceilInt(std::min(u0, u1) - 0.5), 0);
        const int i1 = std::min(floorInt(std::max(u0, u1) - 0.5), m_w - 1);
        if (i0 > i1) return;
        const double k = dv / du;
        double pv = v0 + (i0 + 0.5 - u0) * k;
        for (int i = i0; i <= i1; ++i, pv += k)
            if (pv >= 0 && pv < m_h) m_pixels[static_cast<size_t>(static_cast<int>(pv)) * m_w + i] = m_colour;
    } else {
        const int j0 = std::max(ceilInt(std::min(v0, v1) - 0.5), 0);
        const int j1 = std::min(floorInt(std::max(v0, v1) - 0.5), m_h - 1);
        if (j0 > j1) return;
        const double k = du / dv;
        double pu = u0 + (j0 + 0.5 - v0) * k;
        for (int j = j0; j <= j1; ++j, pu += k)
            if (pu >= 0 && pu < m_w) m_pixels[static_cast<size_t>(j) * m_w + static_cast<int>(pu)] = m_colour;
    }
}

void Raster::hairArc(const ArcGeom& g) {
    // Chords short enough to stay within a quarter pixel of the circle.
    double rpx = g.radius * std::max(m_ix, m_iy);
    double step = rpx > 0.5 ? 2 * std::acos(std::max(-1.0, 1 - 0.25 / rpx)) : g.sweep;
    int n = std::max(1, std::min(4096, static_cast<int>(std::ceil(g.sweep / step))));
    double px = g.cx + g.radius * std::cos(g.start), py = g.cy + g.radius * std::sin(g.start);
    for (int i = 1; i <= n; ++i) {
        double a = g.start + g.sweep * i / n;
        double x = g.cx + g.radius * std::cos(a), y = g.cy + g.radius * std::sin(a);
        hairline(px, py, x, y);
        px = x;
        py = y;
    }
}

}  // namespace KERNEL
}  // namespace TOLVA
