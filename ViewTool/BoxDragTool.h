#pragma once
// A tool whose left drag shows a rubber band and hands the dragged box, in
// board units, to boxDragged(). A middle drag pans and the wheel zooms, as
// with the normal tool.
#include <QPointer>
#include <QRectF>
#include <QRubberBand>

#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class BoxDragTool : public DefaultTool {
    Q_OBJECT
public:
    BoxDragTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix);
    ~BoxDragTool() override;
    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;

protected:
    // `board` is normalised (left < right, top < bottom in board units);
    // `pixels` is the dragged rectangle on the widget.
    virtual void boxDragged(const QRectF& board, const QRect& pixels) = 0;

private:
    QPointer<QRubberBand> m_rubberBand;
    QPoint m_leftPress;
    bool m_leftHeld = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
