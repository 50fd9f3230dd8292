#pragma once
// The same-layer move-and-copy tool: two boxes drawn on the canvas, each a
// click or a dragged rectangle, give the offset by which the selected
// features are moved or copied within their own layers. The first box is
// the reference; while the second is placed, the reference follows the
// cursor. A middle click ends the tool.
#include <QList>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class MoveAndCopysamelayer : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kMoveCode = 20001402;
    static constexpr qint32 kCopyCode = 20001403;

    explicit MoveAndCopysamelayer(ViewWidget* view);

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    Mode mode() const { return m_mode; }
    // The boxes taken so far in the current offset: none or the reference.
    const QList<QRectF>& boxes() const { return m_boxes; }

signals:
    void sendMidbuttonclick();
    void sendMoveOffsetBox(QList<QRectF> boxes);
    void sendCopyOffsetBox(QList<QRectF> boxes);

protected:
    void middleClicked() override;

private:
    // The click box or the dragged rectangle, centred on the snap point when
    // snapping finds one.
    QRectF takenBox(const QPoint& release) const;
    void addBox(const QRectF& box);
    bool isDraggingRectangle() const;

    Mode m_mode = NoMode;
    QList<QRectF> m_boxes;
    QPoint m_pressPixel;
    QPoint m_cursorPixel;
    bool m_leftHeld = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
