#pragma once
// The arithmetic of the view's navigation: fits, wheel zoom, pans and the
// serpentine tour. Each function updates a ViewTransform exactly as the view
// operation of the same purpose does; the widget only adds the kernel calls
// and the redraw.
#include <QList>
#include <QPointF>

#include "view_transform.h"

namespace TOLVA {
namespace GRAPHIC {

// zoom2fit(reply_box&): fits the box, centred; the box is adjusted in place
// (only its lower edge matters for the centre).
void fitIntBox(ViewTransform& t, API::reply_box& box);

// Steps shared by zoom2fit(double...) and areazoom: the fit scale is stored,
// the centre put on the lower-left corner, and the box shifted by pad x scale
// (multiplied: the program's own centring for this overload).
void fitDoubleBoxScale(ViewTransform& t, double& x1, double& y1, double& x2, double& y2);

// zoom2fit(double...): fitDoubleBoxScale, then update_scale and update_center.
void fitDoubleBox(ViewTransform& t, double x1, double y1, double x2, double y2);

// areazoom: fitDoubleBoxScale, update_scale, then the centre on the midpoint.
void areaZoom(ViewTransform& t, double x1, double y1, double x2, double y2);

// update_scale: the fit scale of the box, stored clamped.
void fitScaleOnly(ViewTransform& t, int w, int h, int x1, int y1, int x2, int y2);

// wheelScaleUp / wheelScaleDown: multiplies the scale by `factor` keeping the
// board point under `pos` (widget pixels) where it is.
void zoomAbout(ViewTransform& t, const QPointF& pos, double factor);

// move(dx, dy): the board box that the view shows after a drag of (dx, dy).
BoardBox pannedBox(const ViewTransform& t, int dx, int dy);

// centercoordinate(x, y): the box of the current scale centred on (x, y).
BoardBox centredBox(const ViewTransform& t, double x, double y);

// The snake jumps: the box at the current scale whose lower-left corner is
// 20 percent of the profile below and left of the origin, whose upper-right
// corner is 120 percent of the profile, or centred on the profile's middle.
BoardBox snakeLeftBottomBox(const ViewTransform& t, double length, double width);
BoardBox snakeRightTopBox(const ViewTransform& t, double length, double width);
BoardBox snakeMiddleBox(const ViewTransform& t, double length, double width);

// Lists that snake1 appends to (never cleared by it).
struct SnakeLists {
    QList<double> columns;
    QList<double> rows;
    QList<QPointF> points;
    QPointF scratch;
};

// snake1: appends the serpentine tour over the profile plus 20 percent
// margins and returns the number of rows. A view without area, or a tour
// whose point list could not be held in memory (more than kMaxSnakePoints
// views), is refused with a log line: 0 is returned and nothing appended.
// A QList holds at most about 2^28 entries and each QPointF of it is a heap
// node of its own, so 2^27 views (several gigabytes) is where memory ends;
// every real tour, even of a metre-wide panel at the finest scale, is far
// below it.
constexpr long long kMaxSnakePoints = 1LL << 27;
int buildSnakeTour(const ViewTransform& t, double length, double width, SnakeLists& lists);

}  // namespace GRAPHIC
}  // namespace TOLVA
