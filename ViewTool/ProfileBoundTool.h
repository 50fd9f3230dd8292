#pragma once
// Draws the step's profile, in one of three ways:
//   rectangle: a drag spans it, its corners rounded with the tool's
//     radius; one edit of the kernel (one undo step);
//   polygon: clicks put down its corners (a Shift click in rectangle mode
//     starts one), a double click or Enter closes it (one undo step);
//   features: Enter chains the selected lines and arcs of the work layer
//     into the profile (one undo step).
// Escape takes back a polygon's last corner; a second Escape in a row
// drops the polygon. The board is drawn again with the new profile, and the
// view's fit to the profile shows it.
#include <QPoint>
#include <QPointF>

#include "EditGesture.h"

namespace TOLVA {
namespace GRAPHIC {

class ProfileBoundTool : public GestureTool {
    Q_OBJECT
public:
    enum Mode { RectMode = 0, PolygonMode = 1, FeaturesMode = 2 };

    explicit ProfileBoundTool(ViewWidget* view);

    Mode mode() const { return m_mode; }
    double cornerRadius() const { return m_radius; }
    const QVector<QPointF>& polygon() const { return m_polygon.points(); }
    bool isDragging() const { return m_dragging; }

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;
    void finish() override;
    void cancelLast() override;

private:
    void setRectangle(const QPointF& a, const QPointF& b);
    void setPolygon();
    void setFromFeatures();
    void reset();

    Mode m_mode = RectMode;
    double m_radius = 0;
    bool m_leftHeld = false;
    bool m_dragging = false;
    bool m_polygonGesture = false;  // corners are being clicked (polygon mode, or a Shift click)
    QPoint m_pressPixel;
    QPointF m_pressBoard;
    QPointF m_cursor;
    ClickedPolyline m_polygon;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
