#include "selection_ops.h"

#include <cmath>
#include <deque>
#include <limits>
#include <set>

namespace TOLVA {
namespace JOBLIST {

namespace {
constexpr double kIntMin = std::numeric_limits<int32_t>::min();
constexpr double kIntMax = std::numeric_limits<int32_t>::max();
// Chain ends closer than this (nm) are joined: records hold whole units.
constexpr double kJoinTolerance = 1.0;

int32_t saturate(double v) { return static_cast<int32_t>(std::min(kIntMax, std::max(kIntMin, v))); }
API::point truncPoint(double x, double y) { return {saturate(std::trunc(x)), saturate(std::trunc(y))}; }

bool passes(const API::select_param& p, const API::featureInfo& f) {
    if (f.polarity == API::POL_POSITIVE ? !p.positive : !p.negative) return false;
    switch (f.type) {
    case API::FT_LINE: return p.lines;
    case API::FT_PAD: return p.pads;
    case API::FT_ARC: return p.arcs;
    case API::FT_SURFACE: return p.surfaces;
    case API::FT_TEXT: return p.texts;
    default: return false;
    }
}

std::vector<API::featureInfo> allowedInBox(const Where& w, const std::string& layer, const API::reply_box& box) {
    const API::select_param param = API::get_select_param();
    std::vector<API::featureInfo> out;
    for (API::featureInfo& f : kernel::inBox(w, layer, box))
        if (passes(param, f)) out.push_back(std::move(f));
    return out;
}

std::set<int> selectedIndexes(const Where& w, const std::string& layer) {
    std::set<int> out;
    for (const API::featureInfo& f : kernel::selected(w, layer)) out.insert(f.index);
    return out;
}

bool isPath(const API::featureInfo& f) { return f.type == API::FT_LINE || f.type == API::FT_ARC; }

bool near(double x1, double y1, double x2, double y2) {
    return std::fabs(x1 - x2) <= kJoinTolerance && std::fabs(y1 - y2) <= kJoinTolerance;
}

bool joinsAt(const API::featureInfo& f, double x, double y) {
    return near(f.xs, f.ys, x, y) || near(f.xe, f.ye, x, y);
}

API::reply_box around(double x, double y) {
    return {saturate(std::floor(x - kJoinTolerance)), saturate(std::floor(y - kJoinTolerance)),
            saturate(std::ceil(x + kJoinTolerance)), saturate(std::ceil(y + kJoinTolerance))};
}

// The whole layer as a polygon, one unit beyond its box on every side.
std::vector<API::point> layerPolygon(const Where& w, const std::string& layer) {
    const API::reply_box b = API::layer_box(w.job, w.step, layer);
    const QRectF r(QPointF(double(b.xmin) - 1, double(b.ymin) - 1), QPointF(double(b.xmax) + 1, double(b.ymax) + 1));
    return boxPolygon(r);
}

void applyTo(const Where& w, const std::string& layer, const API::featureInfo& f, int operation) {
    if (operation == 0) kernel::selectById(w, layer, f.index);
    else kernel::unselect(w, layer, f);
}
}  // namespace

// ---- geometry ---------------------------------------------------------------

bool usableBox(const QRectF& box) {
    const double v[] = {box.left(), box.top(), box.right(), box.bottom()};
    for (double d : v)
        if (!std::isfinite(d)) return false;
    return !box.isNull();
}

API::reply_box toReplyBox(const QRectF& box) {
    const QRectF r = box.normalized();
    return {saturate(std::floor(r.left())), saturate(std::floor(r.top())), saturate(std::ceil(r.right())),
            saturate(std::ceil(r.bottom()))};
}

std::vector<API::point> boxPolygon(const QRectF& box) {
    const QRectF r = box.normalized();
    return {truncPoint(r.left(), r.bottom()), truncPoint(r.left(), r.top()), truncPoint(r.right(), r.top()),
            truncPoint(r.right(), r.bottom())};
}

bool toPolygon(const QVector<QPointF>& points, std::vector<API::point>& out) {
    if (points.size() < 3) return false;
    std::vector<API::point> polygon;
    polygon.reserve(size_t(points.size()));
    for (const QPointF& p : points) {
        if (!std::isfinite(p.x()) || !std::isfinite(p.y())) return false;
        polygon.push_back(truncPoint(p.x(), p.y()));
    }
    out.swap(polygon);
    return true;
}

// ---- queries ----------------------------------------------------------------

std::string netOf(const API::featureInfo& info) {
    const auto it = info.attributes.find(".net");
    return it == info.attributes.end() ? std::string() : it->second;
}

bool topmostHit(const Where& w, const std::vector<std::string>& layers, const API::reply_box& box, Hit& out) {
    for (const std::string& layer : layers) {
        std::vector<API::featureInfo> found = allowedInBox(w, layer, box);
        if (found.empty()) continue;
        out = {layer, std::move(found.back())};
        return true;
    }
    return false;
}

bool isSelected(const Where& w, const Hit& hit) { return selectedIndexes(w, hit.layer).count(hit.info.index) > 0; }

std::vector<API::featureInfo> chainFrom(const Where& w, const Hit& hit) {
    if (!isPath(hit.info)) return {hit.info};
    std::vector<API::featureInfo> chain;
    std::set<int> seen{hit.info.index};
    std::deque<API::featureInfo> open{hit.info};
    while (!open.empty()) {
        const API::featureInfo f = open.front();
        open.pop_front();
        chain.push_back(f);
        for (const API::point end : {API::point{saturate(f.xs), saturate(f.ys)}, API::point{saturate(f.xe), saturate(f.ye)}}) {
            for (API::featureInfo& next : kernel::inBox(w, hit.layer, around(end.x, end.y))) {
                if (!isPath(next) || seen.count(next.index) || !joinsAt(next, end.x, end.y)) continue;
                seen.insert(next.index);
                open.push_back(std::move(next));
            }
        }
    }
    return chain;
}

// ---- requests ----------------------------------------------------------------

void clickSelect(const Scope& s, const API::reply_box& box) {
    Hit hit;
    const bool found = topmostHit(s.where, s.layers, box, hit);
    const bool wasSelected = found && isSelected(s.where, hit);
    if (!s.add) clearLayers(s.where, s.layers);
    if (!found) return;
    if (!wasSelected) kernel::selectById(s.where, hit.layer, hit.info.index);
    else if (s.add) kernel::unselect(s.where, hit.layer, hit.info);
}

void polygonSelect(const Scope& s, const std::vector<API::point>& polygon) {
    for (const std::string& layer : s.layers) kernel::selectInPolygon(s.where, layer, polygon, {}, 0, !s.add);
}

void pickInBox(const Scope& s, const QRectF& box) {
    const std::vector<API::point> polygon = boxPolygon(box);
    for (const std::string& layer : s.layers) kernel::selectInPolygon(s.where, layer, polygon, {}, 0, true);
}

void pickTopmost(const Scope& s, const API::reply_box& box) {
    Hit hit;
    const bool found = topmostHit(s.where, s.layers, box, hit);
    clearLayers(s.where, s.layers);
    if (found) kernel::selectById(s.where, hit.layer, hit.info.index);
}

void polygonUnselect(const Scope& s, const std::vector<API::point>& polygon) {
    for (const std::string& layer : s.layers) kernel::selectInPolygon(s.where, layer, polygon, {}, 1, false);
}

void invertInBox(const Scope& s, const API::reply_box& box) {
    for (const std::string& layer : s.layers) {
        const std::set<int> before = selectedIndexes(s.where, layer);
        for (const API::featureInfo& f : allowedInBox(s.where, layer, box))
            applyTo(s.where, layer, f, before.count(f.index) ? 1 : 0);
    }
}

void netRequest(const Scope& s, const API::reply_box& box, NetReach reach, const std::vector<std::string>& board,
                int operation) {
    Hit hit;
    if (!topmostHit(s.where, s.layers, box, hit)) return;
    const std::string net = netOf(hit.info);
    std::vector<std::string> targets = reach == NetReach::Board ? board : s.layers;
    if (reach == NetReach::HitLayer || net.empty()) targets = {hit.layer};
    if (operation == 0 && !s.add) clearLayers(s.where, targets);
    if (net.empty()) {
        applyTo(s.where, hit.layer, hit.info, operation);
        return;
    }
    const API::select_filter sameNet{{{".net", net}}, {}};
    for (const std::string& layer : targets)
        kernel::selectInPolygon(s.where, layer, layerPolygon(s.where, layer), sameNet, operation, false);
}

void polylineRequest(const Scope& s, const API::reply_box& box, int operation) {
    Hit hit;
    if (!topmostHit(s.where, s.layers, box, hit)) return;
    const std::vector<API::featureInfo> chain = chainFrom(s.where, hit);
    if (operation == 0 && !s.add) kernel::clearSelected(s.where, hit.layer);
    for (const API::featureInfo& f : chain) applyTo(s.where, hit.layer, f, operation);
}

void reverseSelection(const Where& w, const std::string& layer) {
    const std::vector<API::featureInfo> before = kernel::selected(w, layer);
    kernel::selectAll(w, layer);
    for (const API::featureInfo& f : before) kernel::unselect(w, layer, f);
}

void clearLayers(const Where& w, const std::vector<std::string>& layers) {
    for (const std::string& layer : layers) kernel::clearSelected(w, layer);
}

}  // namespace JOBLIST
}  // namespace TOLVA
