#pragma once
// The messages in which the view reports measurements to the coordinate
// read-out ("Graphic_Coordinate.dll"). Lengths and coordinates are board
// units (nanometres), areas square nanometres, angles degrees.
#include <QString>
#include <QtGlobal>

namespace MeasureMessages {

// One finished measurement. Always "Mode" and "Text"; the numbers that the
// mode produces:
//   0 point to point, 2 centre to centre: X1, Y1, X2, Y2, DX, DY, Distance, Angle
//     (the ruler's polyline adds Length, the sum of its segments);
//   1 edge to edge: X1, Y1, X2, Y2 (closest points), DX, DY, Distance;
//   3 along: Length for lines, arcs and chains; Perimeter and Area for surfaces;
//   4 angle: Angle (and X1, Y1: the vertex for three points).
// Picked features travel as Layer1, Index1 (and Layer2, Index2).
constexpr qint32 kResult = 20003206;
// A measure that found nothing to work on: "Text" says why.
constexpr qint32 kNotice = 20003207;
// From the read-out to the view: the operator cleared the list, and the
// measurements drawn on the board go with it. No data.
constexpr qint32 kClear = 20003208;

enum Mode : int { PointToPoint = 0, EdgeToEdge = 1, CenterToCenter = 2, Along = 3, Angle = 4 };

inline const char* modeName(int mode) {
    switch (mode) {
    case PointToPoint: return "Point to point";
    case EdgeToEdge: return "Edge to edge";
    case CenterToCenter: return "Center to center";
    case Along: return "Along feature";
    case Angle: return "Angle";
    default: return "Measure";
    }
}

}  // namespace MeasureMessages
