#pragma once
// The rotate tool: turns the selection of the edit layers on the board. A
// click puts the pivot (the centre of the selection until then); a drag
// turns the selection about it by the angle the cursor sweeps, in whole
// degrees (steps of 15 with Shift), with the turned outlines and the angle
// shown; the release makes the turn (one undo step). Escape during a drag
// drops it. The tool factory has no entry for it: the view installs it.
#include <QPointF>
#include <QPointer>

#include "EditingTool.h"
#include "FeatureOutline.h"

namespace TOLVA {
namespace GRAPHIC {

class RotateTool : public EditingTool {
    Q_OBJECT
public:
    explicit RotateTool(ViewWidget* view);
    ~RotateTool() override;

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    QPointF pivot() const { return m_pivot; }
    // The angle the current drag turns by, in degrees counter-clockwise.
    int dragAngle() const { return m_angle; }

    static constexpr int kShiftStepDegrees = 15;

private:
    void readSelection();
    // The counter-clockwise angle from the press to `pixel` about the pivot,
    // in whole degrees, in steps with Shift.
    int sweptAngle(const QPoint& pixel, Qt::KeyboardModifiers modifiers) const;
    void turnSelection(int degrees);

    FeatureMap m_selection;
    QPointF m_pivot;
    QPoint m_pressPixel, m_cursorPixel;
    int m_angle = 0;
    bool m_leftHeld = false;
    bool m_dragging = false;
    QPointer<QObject> m_filtered;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
