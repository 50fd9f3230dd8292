#pragma once
// Asks for the information of the features in a box: a left drag shows a
// rubber band and its box goes to the view as a text box. A middle drag
// pans and the wheel zooms, as with the normal tool.
#include <QPointer>
#include <QRectF>
#include <QRubberBand>

#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class TextInfoTool : public Graphic_ViewTool {
    Q_OBJECT
public:
    explicit TextInfoTool(ViewWidget* view);
    ~TextInfoTool() override;
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

signals:
    void sendTextBox(QRectF rect);
    void delete_last();

private:
    QPointer<QRubberBand> m_rubberBand;
    QPoint m_leftPress;
    bool m_leftHeld = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
