#include "rout_geometry.h"

#include <cmath>

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

const QString kClockwise = QStringLiteral("CW");
const QString kCounterClockwise = QStringLiteral("CCW");

namespace {
const double kPi = std::acos(-1.0);
// A quarter turn, in the form the cutter offsets have always used.
const double kRightAngle = std::acos(-1.0) * 90 / 180;
// Lines whose directions differ by a smaller sine are parallel.
constexpr double kParallelSine = 1e-12;
// A line or circle missing another by this share of the radius squared
// touches it: what is left of a smooth joint after rounding.
constexpr double kTangentSlack = 1e-9;
// Slack of a parameter or an angle at the ends of a bounded piece.
constexpr double kEndSlack = 1e-9;

double normalisedAngle(double angle) {
    angle = std::fmod(angle, 2 * kPi);
    return angle < 0 ? angle + 2 * kPi : angle;
}

double angleOf(const QPointF& p, const QPointF& centre) { return std::atan2(p.y() - centre.y(), p.x() - centre.x()); }

// The angle from `from` to `to` in the arc's direction, in [0, 2*pi).
double turnBetween(double from, double to, bool clockwise) {
    return normalisedAngle(clockwise ? from - to : to - from);
}

// The square of what remains of a radius beyond a distance; a slightly
// negative remainder is a touch.
bool remainder(double radius, double distanceSquared, double& out) {
    out = radius * radius - distanceSquared;
    if (out >= 0) return true;
    if (out < -kTangentSlack * radius * radius) return false;
    out = 0;
    return true;
}
}  // namespace

double roundDigits(double value, int digits) {
    const double scale = std::pow(10.0, digits);
    const double scaled = scale * value;
    if (scale == 0 || !std::isfinite(scale) || !std::isfinite(scaled)) return value;
    return std::floor(scaled + 0.5) / scale;
}

QPointF roundPoint(const QPointF& p) {
    return {roundDigits(p.x(), kCoordinateDigits), roundDigits(p.y(), kCoordinateDigits)};
}

bool isFinite(const QPointF& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

bool coincident(const QPointF& a, const QPointF& b) {
    return std::abs(a.x() - b.x()) <= kCoincidence && std::abs(a.y() - b.y()) <= kCoincidence;
}

bool samePoint(const QPointF& a, const QPointF& b) { return a.x() == b.x() && a.y() == b.y(); }

double cross(const QPointF& a, const QPointF& b) { return a.x() * b.y() - a.y() * b.x(); }
double dot(const QPointF& a, const QPointF& b) { return a.x() * b.x() + a.y() * b.y(); }
double length(const QPointF& v) { return std::hypot(v.x(), v.y()); }

int offsetDistance(int toolSize) { return toolSize / 2; }

QPointF offsetEnd(const QPointF& base, const QPointF& towards, double angle, double distance) {
    const QPointF v = towards - base;
    const double norm = length(v);
    const QPointF turned(v.x() * std::cos(angle) - v.y() * std::sin(angle),
                         v.x() * std::sin(angle) + v.y() * std::cos(angle));
    return roundPoint({base.x() + distance * turned.x() / norm, base.y() + distance * turned.y() / norm});
}

bool compensateLine(int mode, int toolSize, const QPointF& start, const QPointF& end, QPointF& outStart,
                    QPointF& outEnd) {
    if (mode != CompNone && mode != CompRight && mode != CompLeft) return false;
    if (mode == CompNone || length(end - start) == 0) {
        outStart = start;
        outEnd = end;
        return true;
    }
    // Right of the travel direction is a clockwise quarter turn from it.
    const double turn = mode == CompRight ? -kRightAngle : kRightAngle;
    const double distance = offsetDistance(toolSize);
    const QPointF s = offsetEnd(start, end, turn, distance);
    const QPointF e = offsetEnd(end, start, -turn, distance);
    outStart = s;
    outEnd = e;
    return true;
}

bool compensateArc(int mode, int toolSize, const QPointF& start, const QPointF& end, const QPointF& centre,
                   const QString& direction, QPointF& outStart, QPointF& outEnd) {
    if (mode == CompNone) {
        outStart = start;
        outEnd = end;
        return true;
    }
    if (mode != CompRight && mode != CompLeft) return false;
    // Right of a counter-clockwise arc is its outside.
    int outward = 0;
    if (direction == kCounterClockwise) outward = mode == CompRight ? 1 : -1;
    else if (direction == kClockwise) outward = mode == CompRight ? -1 : 1;
    else return false;
    // Both ends move by the start's radius: a kernel arc's end may sit a
    // rounding step off the circle, and the shifted arc must stay concentric.
    const double radius = length(start - centre);
    if (radius == 0) {
        outStart = start;
        outEnd = end;
        return true;
    }
    const double shift = outward * offsetDistance(toolSize);
    const QPointF s = roundPoint({start.x() + shift * (start.x() - centre.x()) / radius,
                                  start.y() + shift * (start.y() - centre.y()) / radius});
    const QPointF e = roundPoint({end.x() + shift * (end.x() - centre.x()) / radius,
                                  end.y() + shift * (end.y() - centre.y()) / radius});
    outStart = s;
    outEnd = e;
    return true;
}

bool crossLines(const QPointF& p1, const QPointF& p2, const QPointF& q1, const QPointF& q2, QPointF& at) {
    const QPointF d1 = p2 - p1, d2 = q2 - q1;
    const double denominator = cross(d1, d2);
    const double scale = length(d1) * length(d2);
    if (scale == 0 || std::abs(denominator) <= kParallelSine * scale) return false;
    const double t = cross(q1 - p1, d2) / denominator;
    const QPointF p = p1 + t * d1;
    if (!isFinite(p)) return false;
    at = p;
    return true;
}

int crossLineCircle(const QPointF& p1, const QPointF& p2, const QPointF& centre, double radius, QPointF at[2]) {
    const QPointF d = p2 - p1;
    const double a = dot(d, d);
    if (a == 0) return 0;
    const QPointF foot = p1 + (dot(centre - p1, d) / a) * d;
    double left = 0;
    if (!remainder(radius, dot(foot - centre, foot - centre), left)) return 0;
    if (left == 0) {
        at[0] = foot;
        return 1;
    }
    const double s = std::sqrt(left / a);
    at[0] = foot - s * d;
    at[1] = foot + s * d;
    return 2;
}

int crossCircles(const QPointF& c1, double r1, const QPointF& c2, double r2, QPointF at[2]) {
    const QPointF dv = c2 - c1;
    const double d = length(dv);
    if (d == 0) return 0;
    const double a = (r1 * r1 - r2 * r2 + d * d) / (2 * d);
    double left = 0;
    if (!remainder(r1, a * a, left)) return 0;
    const QPointF mid = c1 + (a / d) * dv;
    if (left == 0) {
        at[0] = mid;
        return 1;
    }
    const double h = std::sqrt(left);
    const QPointF across(-dv.y() / d, dv.x() / d);
    at[0] = mid - h * across;
    at[1] = mid + h * across;
    return 2;
}

double sweepAngle(const QPointF& start, const QPointF& end, const QPointF& centre, bool clockwise) {
    const double turn = turnBetween(angleOf(start, centre), angleOf(end, centre), clockwise);
    return turn == 0 ? 2 * kPi : turn;
}

bool withinArc(const QPointF& p, const QPointF& start, const QPointF& end, const QPointF& centre, bool clockwise) {
    double offset = turnBetween(angleOf(start, centre), angleOf(p, centre), clockwise);
    if (offset > 2 * kPi - kEndSlack) offset = 0;  // just behind the start is the start
    return offset <= sweepAngle(start, end, centre, clockwise) + kEndSlack;
}

bool withinSegment(const QPointF& p, const QPointF& start, const QPointF& end) {
    const QPointF d = end - start;
    const double a = dot(d, d);
    if (a == 0) return coincident(p, start);
    const double t = dot(p - start, d) / a;
    return t >= -kEndSlack && t <= 1 + kEndSlack;
}

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
