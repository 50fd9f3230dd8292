#pragma once
// Records of the overlays that analysis and measurement fill and that the
// paint pass draws over the board picture.
#include <QColor>
#include <QLineF>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <algorithm>

namespace TOLVA {
namespace GRAPHIC {

// One check point of an analysis result.
struct check_points {
    // How the result is drawn: a cross on `position`; the two closest points
    // `position` and `other` joined; a ring about `position` through `other`
    // (an annular ring); or the outline of `box`.
    enum Shape { Point = 0, Points = 1, Ring = 2, Area = 3 };
    int index = -1;        // position in its result list; -1 means none
    int shape = Point;
    QPointF position;      // board units
    QPointF other;         // board units: the second point of Points and Ring
    QRectF box;            // board units; empty for a plain point
    QString check;         // the check's name
    bool error = false;    // an error rather than a warning
    double value = 0;      // measured, board units
    double limit = 0;      // the limit it broke, board units
    QStringList layers;
    QString text;          // the label, drawn beside the point
    bool current = false;  // the result the navigator stands on: drawn stronger
    QColor color = QColor(255, 255, 0);

    // The board extent the result covers: its ring, or its box (or point)
    // together with the second point of two closest points.
    QRectF extent() const {
        if (shape == Ring) {
            const double r = QLineF(position, other).length();
            return QRectF(position - QPointF(r, r), position + QPointF(r, r));
        }
        const QRectF base = box.isEmpty() ? QRectF(position, position) : box.normalized();
        if (shape != Points) return base;
        return QRectF(QPointF(std::min(base.left(), other.x()), std::min(base.top(), other.y())),
                      QPointF(std::max(base.right(), other.x()), std::max(base.bottom(), other.y())));
    }
};

// One measurement drawn over the board. Everything is kept in board units,
// so a measurement stays on its features through pans, zooms and turns.
struct MeasurementShape {
    enum Kind {
        None = 0,
        Line = 1,
        Box = 2,
        Circle = 3,
        Polyline = 4,
        Ruler = 5,     // a polyline with ticks along it
        Distance = 6,  // two closest points joined, each end marked
        Angle = 7,     // points[1] is the vertex, arms to points[0] and points[2]
    };
    int kind = None;
    QVector<QPointF> points;  // board units
    QString label;
    bool isEmpty() const { return kind == None || points.isEmpty(); }
};

// One shape of the operation being edited or added, drawn dashed.
struct EditShape {
    enum Kind { Line = 1, TwoLines = 2, Box = 4, Arc = 8 };
    int kind = Line;
    QVector<QPointF> points;  // board units; an arc holds start, end, centre
    double width = 0;         // board units
    bool clockwise = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
