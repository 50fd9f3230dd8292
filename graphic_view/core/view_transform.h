#pragma once
// The pixel <-> board transform of the view: a small value class.
//
// Pixels are widget coordinates (y down); board coordinates are whole
// nanometres held in doubles (y up). The scale is pixels per board unit and
// the angle one of 0, 90, 180, 270. The rounding is deliberately asymmetric:
// toBoard rounds half away from zero, toPixel truncates toward zero, so a
// round trip may move a point one pixel toward the centre.
#include <QPointF>

#include "TOLVA_API_types.h"

namespace TOLVA {
namespace GRAPHIC {

// The closed range the scale never leaves. Modifiable program data.
struct ScaleLimits {
    static double minimum;  // 9e-07 pixels per board unit
    static double maximum;  // 0.05 pixels per board unit
};

// The set_scale rule: the upper limit first, then the lower one. A NaN
// (0/0 from a zero-size widget over a zero-size box) counts as the lower limit.
double clampScale(double scale);

// Rounds half away from zero to a whole number (via a 64-bit integer).
double roundToUnit(double value);

// Truncates toward zero, saturating at the int range (NaN gives 0).
int truncToInt(double value);

struct BoardBox {
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
};

struct FitScale {
    double scale = 0;        // unclamped
    bool fitsWidth = false;  // true when the width limits the fit
};

class ViewTransform {
public:
    ViewTransform() = default;
    ViewTransform(int width, int height, double scale, double cx, double cy, int angle)
        : m_width(width), m_height(height), m_scale(scale), m_cx(cx), m_cy(cy), m_angle(angle) {}

    int width() const { return m_width; }
    int height() const { return m_height; }
    double scale() const { return m_scale; }
    double centerX() const { return m_cx; }
    double centerY() const { return m_cy; }
    int angle() const { return m_angle; }
    bool isValid() const;

    void setSize(int width, int height) { m_width = width; m_height = height; }
    // Stores the clamped scale.
    void setScale(double scale) { m_scale = clampScale(scale); }
    void setCenter(double cx, double cy) { m_cx = cx; m_cy = cy; }
    void setAngle(int angle) { m_angle = angle; }

    // view2db: false (and (0, 0)) for an angle outside the four values.
    bool toBoard(int px, int py, double& x, double& y) const;
    // db2view: false (outputs untouched) for an angle outside the four values.
    bool toPixel(double x, double y, int& px, int& py) const;
    // The visible area: lower-left and upper-right widget corners, ordered.
    BoardBox visibleBox() const;
    // update_center: the centre that puts (x0, y0) at the lower-left corner
    // of a w x h view (w and h swap roles at 90 and 270 degrees).
    void centerOnLowerLeft(int w, int h, int x0, int y0);

    bool operator==(const ViewTransform& o) const;
    bool operator!=(const ViewTransform& o) const { return !(*this == o); }

private:
    int m_width = 0;
    int m_height = 0;
    double m_scale = 1.0;
    double m_cx = 0;
    double m_cy = 0;
    int m_angle = 0;
};

// view2db_by_input: the angle-0 conversion for an arbitrary view. The first
// int is the height, the second the width.
void boardFromInput(int height, int width, double scale, double cx, double cy, int px, int py,
                    double& x, double& y);

// get_scale: w / |x2 - x1| against h / |y2 - y1|, differences in int.
FitScale fitScale(int w, int h, int x1, int y1, int x2, int y2);

// The four corners of a visible box as kernel points, truncated, in the
// order (minX, minY), (minX, maxY), (maxX, maxY), (maxX, minY).
std::vector<API::point> boxCorners(const BoardBox& box);

}  // namespace GRAPHIC
}  // namespace TOLVA
