#pragma once
// Opens a pop-view inset: a left drag picks the board area that the inset
// shows magnified. A middle drag pans and the wheel zooms.
#include <QPointer>
#include <QRubberBand>

#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class PopViewTool : public Graphic_ViewTool {
    Q_OBJECT
public:
    explicit PopViewTool(ViewWidget* view);
    ~PopViewTool() override;
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void auxMouseEvent(QMouseEvent* event) override;
    void midButtonDoubleClick(QMouseEvent* event) override;
    void rightButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void auxEvent(QEvent* event) override;
    void paint(QPainter* painter) override;
    void toolKeyPress(QKeyEvent* event) override;
    void setWorkParam(PluginMetaData* msg) override;

private:
    QPointer<QRubberBand> m_rubberBand;
    QPoint m_leftPress;
    bool m_leftHeld = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
