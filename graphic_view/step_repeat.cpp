#include "step_repeat.h"

#include <QTransform>
#include <algorithm>
#include <cmath>

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr double kFullTurn = 360.0;
// Angles closer than this are the same turn (the kernel keeps doubles).
constexpr double kSameAngleDegrees = 1e-6;

QTransform placement(const QPointF& origin, double angle, bool mirror) {
    QTransform t;
    t.translate(origin.x(), origin.y());
    t.rotate(angle);  // board y runs upwards, so Qt's clockwise-on-screen turn is counter-clockwise here
    if (mirror) t.scale(-1, 1);
    return t;
}

bool sameAngle(double a, double b) {
    const double diff = std::remainder(a - b, kFullTurn);
    return std::fabs(diff) < kSameAngleDegrees;
}
}  // namespace

QPointF placePoint(const QPointF& child, const QPointF& origin, double angle, bool mirror) {
    return placement(origin, angle, mirror).map(child);
}

QPolygonF placeOutline(const QPolygonF& profile, const QPointF& origin, double angle, bool mirror) {
    return placement(origin, angle, mirror).map(profile);
}

QPointF turnAbout(const QPointF& point, const QPointF& centre, double angle) {
    return placePoint(point - centre, centre, angle, false);
}

QRectF placedBox(const STEP::sr_instance& instance) {
    const API::reply_box& b = instance.box;
    return QRectF(QPointF(b.xmin, b.ymin), QPointF(b.xmax, b.ymax));
}

bool samePlacement(const STEP::sr_instance& a, const STEP::sr_instance& b) {
    return a.child == b.child && a.mirror == b.mirror && std::fabs(a.x - b.x) <= kSamePlaceNm &&
           std::fabs(a.y - b.y) <= kSamePlaceNm && sameAngle(a.angle, b.angle);
}

std::vector<STEP::sr_instance> findPlacements(const std::vector<STEP::sr_instance>& table,
                                              const std::vector<STEP::sr_instance>& wanted) {
    std::vector<bool> taken(table.size(), false);
    std::vector<STEP::sr_instance> found;
    for (const STEP::sr_instance& w : wanted) {
        for (std::size_t i = 0; i < table.size(); ++i) {
            if (taken[i] || !samePlacement(table[i], w)) continue;
            taken[i] = true;
            found.push_back(table[i]);
            break;
        }
    }
    return found;
}

std::vector<STEP::sr_instance> movedBy(std::vector<STEP::sr_instance> instances, double dx, double dy) {
    for (STEP::sr_instance& i : instances) {
        i.x += dx;
        i.y += dy;
    }
    return instances;
}

std::vector<STEP::sr_instance> turnedBy(std::vector<STEP::sr_instance> instances, double angle) {
    for (STEP::sr_instance& i : instances) {
        const QPointF origin = turnAbout(QPointF(i.x, i.y), placedBox(i).center(), angle);
        i.x = origin.x();
        i.y = origin.y();
        i.angle += angle;
    }
    return instances;
}

std::vector<STEP::sr_ref> refsOf(const std::vector<STEP::sr_instance>& instances) {
    std::vector<STEP::sr_ref> refs;
    refs.reserve(instances.size());
    for (const STEP::sr_instance& i : instances) refs.push_back({i.row, i.ix, i.iy});
    return refs;
}

std::vector<STEP::sr_instance> combineSelection(const std::vector<STEP::sr_instance>& current,
                                                const std::vector<STEP::sr_instance>& picked,
                                                InstanceSelect how) {
    auto holds = [](const std::vector<STEP::sr_instance>& list, const STEP::sr_instance& i) {
        return std::any_of(list.begin(), list.end(), [&](const STEP::sr_instance& o) {
            return o.row == i.row && o.ix == i.ix && o.iy == i.iy;
        });
    };
    std::vector<STEP::sr_instance> result = how == InstanceSelect::Replace ? std::vector<STEP::sr_instance>{}
                                                                           : current;
    if (how == InstanceSelect::Remove) {
        result.erase(std::remove_if(result.begin(), result.end(),
                                    [&](const STEP::sr_instance& i) { return holds(picked, i); }),
                     result.end());
        return result;
    }
    for (const STEP::sr_instance& i : picked)
        if (!holds(result, i)) result.push_back(i);
    return result;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
