#pragma once
// The plain geometry of cutter compensation: the decimal rounding every
// compensated coordinate goes through, the sideways shift of a line, the
// radial shift of an arc, and the crossings of lines and circles that join
// neighbouring shifted pieces into one path. Board units throughout, y up.
#include <QPointF>
#include <QString>

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

// Which side of the travel direction the cutter runs on.
enum CompMode : int { CompNone = 0, CompRight = 1, CompLeft = 2 };

// Compensated coordinates keep this many decimals.
constexpr int kCoordinateDigits = 8;
// End points closer than this are the same point.
constexpr double kCoincidence = 1e-12;

extern const QString kClockwise;         // "CW"
extern const QString kCounterClockwise;  // "CCW"

// floor(10^digits * value + 0.5) / 10^digits: halves go up, toward +infinity.
// A value the scaling would push out of the doubles is returned as it is.
double roundDigits(double value, int digits);
QPointF roundPoint(const QPointF& p);

bool isFinite(const QPointF& p);
bool coincident(const QPointF& a, const QPointF& b);
// Bit-for-bit the same point: how joined pieces share their joints.
bool samePoint(const QPointF& a, const QPointF& b);
double cross(const QPointF& a, const QPointF& b);
double dot(const QPointF& a, const QPointF& b);
double length(const QPointF& v);

// Half the tool, in integer division: an odd size loses its half unit.
int offsetDistance(int toolSize);

// `base` moved `distance` along the direction from `base` to `towards`
// turned by `angle` (radians, counter-clockwise), rounded.
QPointF offsetEnd(const QPointF& base, const QPointF& towards, double angle, double distance);

// The shifted ends of a line or an arc. False, and nothing written, for an
// unknown mode (or, for arcs, an unknown direction text); a line without
// length or an arc without radius stays where it is.
bool compensateLine(int mode, int toolSize, const QPointF& start, const QPointF& end, QPointF& outStart,
                    QPointF& outEnd);
bool compensateArc(int mode, int toolSize, const QPointF& start, const QPointF& end, const QPointF& centre,
                   const QString& direction, QPointF& outStart, QPointF& outEnd);

// Crossings of unbounded lines (through p1, p2 and q1, q2) and full
// circles; the counts of points written. Near-tangent pairs, which the
// 8-decimal rounding produces where pieces meet smoothly, touch once.
bool crossLines(const QPointF& p1, const QPointF& p2, const QPointF& q1, const QPointF& q2, QPointF& at);
int crossLineCircle(const QPointF& p1, const QPointF& p2, const QPointF& centre, double radius, QPointF at[2]);
int crossCircles(const QPointF& c1, double r1, const QPointF& c2, double r2, QPointF at[2]);

// The angle an arc covers from `start` to `end` in its direction, in
// (0, 2*pi]; equal angles make a full circle.
double sweepAngle(const QPointF& start, const QPointF& end, const QPointF& centre, bool clockwise);
// Whether `p`, on the arc's circle, lies within the arc (ends included).
bool withinArc(const QPointF& p, const QPointF& start, const QPointF& end, const QPointF& centre, bool clockwise);
// Whether `p`, on the line through `start` and `end`, lies between them.
bool withinSegment(const QPointF& p, const QPointF& start, const QPointF& end);

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
