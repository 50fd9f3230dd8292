#pragma once
// The base of the editing tools (the edit buffer, move and copy, same-layer
// move and copy): a DefaultTool with the tool's own init line, whose middle
// click goes to middleClicked(), whose wheel zooms as with the normal tool,
// and whose undo request takes back the kernel's last edit.
#include <QPoint>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <optional>

#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class EditingTool : public DefaultTool {
    Q_OBJECT
public:
    // Whether the tool's next gesture moves or copies the selection.
    enum Mode { NoMode = -1, MoveMode = 0, CopyMode = 1 };

    EditingTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine);

    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;

public slots:
    void dealWithUndo();

protected:
    // A middle press and release over this tool. It acts on the release so
    // that a tool the view switches to never sees half a click.
    virtual void middleClicked() {}
    // With snap on, the feature key point that the snap search finds within
    // the shared snap size of a widget pixel; nothing otherwise.
    std::optional<QPointF> snapPoint(const QPoint& pixel) const;
    // The board point under a widget pixel, or the snap point when there is one.
    QPointF snappedBoardPoint(const QPoint& pixel) const;
    // The board box between two widget pixels, normalised.
    QRectF boardBox(const QPoint& a, const QPoint& b) const;
    QPoint toPixel(const QPointF& board) const;
    // The corners of a board box on the widget, in the order of an image's
    // corners (top left, top right, bottom right, bottom left as seen with
    // board y upwards), so that a rotated view keeps the picture upright
    // relative to the board.
    QPolygonF onView(const QRectF& board) const;

private:
    bool m_middlePressed = false;
};

// `box` moved so that its centre is `centre`.
QRectF centredAt(const QRectF& box, const QPointF& centre);

// Whether the cursor has left the press point by more than the few pixels a
// hand shakes during a click.
bool beyondClickSlack(const QPoint& press, const QPoint& now);
constexpr int kClickSlackPixels = 3;

}  // namespace GRAPHIC
}  // namespace TOLVA
