// The chain-level steps of compensation: travel order, the joints between
// shifted neighbours, and the loops a shift leaves where a piece is
// shorter than the offset.
#include "rout_chain.h"

#include <glog/logging.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>

#include "rout_geometry.h"

namespace TOLVA {
namespace GRAPHIC {

using Piece = ViewWidget::chain_info;

namespace rout {

const char kChainAttribute[] = ".rout_chain";
const char kCompAttribute[] = ".comp";
const char kFlagAttribute[] = ".rout_flag";
const char kFeedAttribute[] = ".feed";
const char kSpeedAttribute[] = ".speed";

namespace {
const double kPi = std::acos(-1.0);
constexpr double kNanometresPerMicrometre = 1000;
// An outside corner is met at the crossing of the shifted neighbours only
// while that crossing stays within this many offsets of the corner (a turn
// of about 150 degrees); sharper turns are joined by a straight piece.
constexpr double kMiterLimit = 4;
// Joints further apart than rounding can make them get a piece of their own.
constexpr double kRoundingGap = 1e-6;

struct ModeText {
    const char* text;
    int mode;
};
constexpr ModeText kModeTexts[] = {{"none", CompNone}, {"right", CompRight}, {"left", CompLeft},
                                   {"0", CompNone},    {"1", CompRight},     {"2", CompLeft}};

double radiusOf(const Piece& arc) { return length(arc.start - arc.centre); }

// The piece has lost its length to a cut (a full circle that was one keeps it).
bool degenerate(const Piece& p) { return coincident(p.start, p.end) && !coincident(p.origin_start, p.origin_end); }

bool contains(const Piece& p, const QPointF& at) {
    return isArc(p) ? withinArc(at, p.start, p.end, p.centre, isClockwise(p)) : withinSegment(at, p.start, p.end);
}

// Where the unbounded lines and full circles of two pieces meet.
int meetings(const Piece& a, const Piece& b, QPointF at[2]) {
    if (!isArc(a) && !isArc(b)) return crossLines(a.start, a.end, b.start, b.end, at[0]) ? 1 : 0;
    if (isArc(a) && isArc(b)) return crossCircles(a.centre, radiusOf(a), b.centre, radiusOf(b), at);
    const Piece& line = isArc(a) ? b : a;
    const Piece& arc = isArc(a) ? a : b;
    return crossLineCircle(line.start, line.end, arc.centre, radiusOf(arc), at);
}

// Of the `count` points, the one nearest to `to` that `accept` lets through.
template <class Accept>
bool nearest(const QPointF* points, int count, const QPointF& to, Accept&& accept, QPointF& out) {
    bool found = false;
    for (int k = 0; k < count; ++k) {
        if (!isFinite(points[k]) || !accept(points[k])) continue;
        if (!found || length(points[k] - to) < length(out - to)) out = points[k];
        found = true;
    }
    return found;
}

// The travel direction at the end of a piece.
QPointF headingAtEnd(const Piece& p) {
    if (!isArc(p)) return p.end - p.start;
    const QPointF r = p.end - p.centre;
    return isClockwise(p) ? QPointF(r.y(), -r.x()) : QPointF(-r.y(), r.x());
}

// A joint that lengthens the first piece (an outside corner) is taken
// while it stays near the corner; one that shortens it always is.
bool acceptableJoint(const Piece& a, const Piece& b, const QPointF& at) {
    if (dot(at - a.end, headingAtEnd(a)) <= 0) return true;
    const double offset = offsetDistance(std::max(a.tool_size, b.tool_size));
    return length(at - a.origin_end) <= kMiterLimit * std::abs(offset);
}

Piece straightPiece(const Piece& from, const QPointF& start, const QPointF& end, const QPointF& origin) {
    Piece piece = from;
    piece.index = -1;
    piece.type = API::FT_LINE;
    piece.start = start;
    piece.end = end;
    piece.centre = QPointF();
    piece.direction.clear();
    piece.origin_start = origin;
    piece.origin_end = origin;
    piece.reversed = false;
    return piece;
}

// Joins `a` to its successor `b` (`offsetA`, `offsetB`: both as shifted,
// before any joint moved their ends). True when a straight piece, written
// to `bridge`, has to go between them.
bool joinNeighbours(const Piece& offsetA, const Piece& offsetB, Piece& a, Piece& b, Piece& bridge) {
    if (coincident(offsetA.end, offsetB.start)) {
        b.start = a.end;
        return false;
    }
    QPointF candidates[2];
    QPointF at;
    const QPointF gap = (offsetA.end + offsetB.start) / 2;
    const int count = meetings(offsetA, offsetB, candidates);
    if (nearest(candidates, count, gap, [&](const QPointF& p) { return acceptableJoint(offsetA, offsetB, p); }, at)) {
        at = roundPoint(at);
        a.end = at;
        b.start = at;
        return false;
    }
    if (length(offsetA.end - offsetB.start) <= kRoundingGap) {
        b.start = a.end;
        return false;
    }
    bridge = straightPiece(a, a.end, b.start, a.origin_end);
    return true;
}

// A piece that a cut at both ends turned round: a line pointing against
// its feature, an arc whose ends passed each other.
bool runsBackwards(const Piece& p) {
    if (p.index < 0) return false;
    if (!isArc(p)) return dot(p.end - p.start, p.origin_end - p.origin_start) < 0;
    if (coincident(p.origin_start, p.origin_end)) return false;
    const bool clockwise = isClockwise(p);
    return sweepAngle(p.start, p.end, p.centre, clockwise) >
           sweepAngle(p.origin_start, p.origin_end, p.centre, clockwise) + kPi;
}

// Ends piece `i` and starts piece `j` at `at` and drops what lies between
// them, and either of the two that the cut left without length.
int cutLoop(Chain& path, size_t i, size_t j, const QPointF& at, bool closed) {
    const size_t n = path.size();
    std::vector<bool> drop(n, false);
    for (size_t m = (i + 1) % n; m != j; m = (m + 1) % n) drop[m] = true;
    path[i].end = at;
    path[j].start = at;
    if (degenerate(path[i])) {
        drop[i] = true;
        path[j].start = path[i].start;
    }
    if (degenerate(path[j])) {
        drop[j] = true;
        size_t before = i;
        bool hasBefore = true;
        if (drop[i]) {
            hasBefore = closed || i > 0;
            before = (i + n - 1) % n;
        }
        if (hasBefore) path[before].end = path[j].end;
    }
    Chain kept;
    for (size_t m = 0; m < n; ++m)
        if (!drop[m]) kept.push_back(path[m]);
    const int removed = static_cast<int>(n - kept.size());
    path.swap(kept);
    return removed;
}

// Looks outward from the backward piece `k` for the nearest pair of pieces
// around it that cross, and cuts the loop they close.
int cutLoopAround(Chain& path, size_t k) {
    const long n = static_cast<long>(path.size());
    const bool closed = samePoint(path.back().end, path.front().start);
    // On a closed path the two pieces must not meet round the other side.
    const long widest = closed ? n - 2 : n - 1;
    for (long span = 2; span <= widest; ++span) {
        for (long back = 1; back < span; ++back) {
            long i = static_cast<long>(k) - back;
            long j = static_cast<long>(k) + span - back;
            if (closed) {
                i = (i + n) % n;
                j %= n;
            } else if (i < 0 || j >= n) {
                continue;
            }
            QPointF at;
            if (crossing(path[static_cast<size_t>(i)], path[static_cast<size_t>(j)], at))
                return cutLoop(path, static_cast<size_t>(i), static_cast<size_t>(j), roundPoint(at), closed);
        }
    }
    return 0;
}

// The shifted copy of one piece; false for a piece that cannot be shifted.
bool shifted(const Piece& source, Piece& out) {
    const bool arc = isArc(source);
    if (!arc && source.type != API::FT_LINE) return false;
    if (!isFinite(source.start) || !isFinite(source.end) || (arc && !isFinite(source.centre))) return false;
    out = source;
    out.origin_start = source.start;
    out.origin_end = source.end;
    const bool done = arc ? compensateArc(source.comp, source.tool_size, source.start, source.end, source.centre,
                                          source.direction, out.start, out.end)
                          : compensateLine(source.comp, source.tool_size, source.start, source.end, out.start, out.end);
    return done && isFinite(out.start) && isFinite(out.end);
}

bool startsAt(const Piece& p, const QPointF& at) { return coincident(p.start, at); }
bool endsAt(const Piece& p, const QPointF& at) { return coincident(p.end, at); }

// Takes out of `rest` the first piece for which `fits` holds, or else the
// first for which `fitsTurned` holds, turned round.
template <class Fits, class FitsTurned>
bool takePiece(Chain& rest, Fits&& fits, FitsTurned&& fitsTurned, Piece& out) {
    auto it = std::find_if(rest.begin(), rest.end(), fits);
    bool turn = false;
    if (it == rest.end()) {
        it = std::find_if(rest.begin(), rest.end(), fitsTurned);
        turn = true;
    }
    if (it == rest.end()) return false;
    out = *it;
    rest.erase(it);
    if (turn) reverse(out);
    return true;
}

bool inTravelOrder(const Chain& chain) {
    for (size_t k = 1; k < chain.size(); ++k)
        if (!coincident(chain[k - 1].end, chain[k].start)) return false;
    return true;
}
}  // namespace

const char* compText(int mode) {
    for (const ModeText& m : kModeTexts)
        if (m.mode == mode) return m.text;
    return kModeTexts[0].text;
}

bool compFromText(const std::string& text, int& mode) {
    for (const ModeText& m : kModeTexts) {
        if (text == m.text) {
            mode = m.mode;
            return true;
        }
    }
    return false;
}

bool isArc(const Piece& piece) { return piece.type == API::FT_ARC; }
bool isClockwise(const Piece& piece) { return piece.direction == kClockwise; }

void reverse(Piece& piece) {
    std::swap(piece.start, piece.end);
    std::swap(piece.origin_start, piece.origin_end);
    if (piece.direction == kClockwise) piece.direction = kCounterClockwise;
    else if (piece.direction == kCounterClockwise) piece.direction = kClockwise;
    piece.reversed = !piece.reversed;
}

int symbolToolSize(const std::string& symbol) {
    double largest = 0;
    for (size_t k = 0; k < symbol.size();) {
        if (!std::isdigit(static_cast<unsigned char>(symbol[k]))) {
            ++k;
            continue;
        }
        double value = 0;
        for (; k < symbol.size() && std::isdigit(static_cast<unsigned char>(symbol[k])); ++k)
            value = value * 10 + (symbol[k] - '0');
        if (k + 1 < symbol.size() && symbol[k] == '.' && std::isdigit(static_cast<unsigned char>(symbol[k + 1]))) {
            double scale = 0.1;
            for (++k; k < symbol.size() && std::isdigit(static_cast<unsigned char>(symbol[k])); ++k, scale /= 10)
                value += (symbol[k] - '0') * scale;
        }
        largest = std::max(largest, value);
    }
    const double nanometres = std::round(largest * kNanometresPerMicrometre);
    return nanometres < INT_MAX ? static_cast<int>(nanometres) : 0;
}

void arrange(Chain& chain) {
    if (chain.size() < 2 || inTravelOrder(chain)) return;
    Chain rest(chain.begin() + 1, chain.end());
    Chain run{chain.front()};
    while (!rest.empty()) {
        Piece next;
        const QPointF tail = run.back().end, head = run.front().start;
        if (takePiece(rest, [&](const Piece& p) { return startsAt(p, tail); },
                      [&](const Piece& p) { return endsAt(p, tail); }, next)) {
            run.push_back(next);
        } else if (takePiece(rest, [&](const Piece& p) { return endsAt(p, head); },
                             [&](const Piece& p) { return startsAt(p, head); }, next)) {
            run.insert(run.begin(), next);
        } else {
            run.push_back(rest.front());  // a gap: the cutter lifts here
            rest.erase(rest.begin());
        }
    }
    chain.swap(run);
}

bool crossing(const Piece& first, const Piece& second, QPointF& at) {
    QPointF candidates[2];
    const int count = meetings(first, second, candidates);
    return nearest(candidates, count, first.end,
                   [&](const QPointF& p) { return contains(first, p) && contains(second, p); }, at);
}

int removeLoops(Chain& path) {
    int removed = 0;
    for (size_t k = 0; k < path.size();) {
        const int cut = path.size() >= 3 && runsBackwards(path[k]) ? cutLoopAround(path, k) : 0;
        if (cut == 0) {
            ++k;
            continue;
        }
        removed += cut;
        k = 0;
    }
    return removed;
}

Chain mergedPath(const Chain& chain) {
    Chain path;
    for (const Piece& source : chain) {
        Piece piece;
        if (shifted(source, piece)) {
            path.push_back(piece);
            continue;
        }
        LOG(ERROR) << "rout chain " << source.chain << ": feature " << source.index << " of layer " << source.layer
                   << " left out, its geometry or compensation cannot be followed";
    }
    if (path.size() < 2) return path;
    const Chain offsets = path;
    const size_t n = path.size();
    const bool closed = coincident(path.back().origin_end, path.front().origin_start);
    std::vector<Piece> bridges(n);
    std::vector<bool> bridged(n, false);
    for (size_t i = 0; i < n; ++i) {
        const size_t j = i + 1 < n ? i + 1 : 0;
        if (j == 0 && !closed) break;
        // Pieces that do not meet in the chain are not joined: the cutter lifts there.
        if (!coincident(offsets[i].origin_end, offsets[j].origin_start)) continue;
        bridged[i] = joinNeighbours(offsets[i], offsets[j], path[i], path[j], bridges[i]);
    }
    Chain merged;
    for (size_t i = 0; i < n; ++i) {
        merged.push_back(path[i]);
        if (bridged[i]) merged.push_back(bridges[i]);
    }
    removeLoops(merged);
    return merged;
}

Chain cutterPath(Chain chain) {
    for (Piece& entry : chain)
        if (entry.flag != 0) entry.comp = CompNone;
    return mergedPath(chain);
}

}  // namespace rout

std::vector<ViewWidget::chain_info> ViewWidget::get_merged_chains_info(const std::vector<chain_info>& chain) {
    return rout::mergedPath(chain);
}

bool ViewWidget::calculate_features_interection(const chain_info& first, const chain_info& second, QPointF& crossing) {
    return rout::crossing(first, second, crossing);
}

int ViewWidget::delete_interection_feature(std::vector<chain_info>& path) { return rout::removeLoops(path); }

void ViewWidget::arrange_selected_chain(std::vector<chain_info>& chain) { rout::arrange(chain); }

}  // namespace GRAPHIC
}  // namespace TOLVA
