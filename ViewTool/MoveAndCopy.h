#pragma once
// The move-and-copy tool: drag the selected features to move or copy them
// by the dragged displacement, or type the offset. A plain click (once the
// double-click delay has passed) selects, a Ctrl+click replaces the
// selection with the clicked feature, a double click sends the double-click
// box. The view does the editing and the selecting.
#include <QPixmap>
#include <optional>

#include "EditingTool.h"
#include "FeatureOutline.h"

class QTimer;

namespace TOLVA {
namespace GRAPHIC {

class MoveAndCopy : public EditingTool {
    Q_OBJECT
public:
    static constexpr qint32 kMoveCode = 20000207;
    static constexpr qint32 kCopyCode = 20000208;
    static constexpr qint32 kMoveByOffsetCode = 20000209;
    static constexpr qint32 kCopyByOffsetCode = 20000210;
    static constexpr int kClickDelayMs = 250;

    explicit MoveAndCopy(ViewWidget* view);

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;

    Mode mode() const { return m_mode; }
    bool isDragging() const { return m_dragging; }

signals:
    void sendTextBox(QRectF rect);
    void sendDoubleTextBox(QRectF rect);
    void sendCopyCutData(double dx, double dy, QObject* origin, bool copy);
    void changeCurrentSelection(QRectF rect);

public slots:
    void mouse_click();

private:
    void moveByTypedOffset(const PluginMetaData& msg, Mode mode);
    void startDrag();
    void finishDrag(const QPoint& release);
    // The outline dragged along: the selected features of the edit layers.
    void readSelectionOutline();

    QTimer* m_clickTimer;
    Mode m_mode = NoMode;
    QPoint m_pressPixel;
    QPointF m_pressBoard;
    QPoint m_cursorPixel;
    QRectF m_clickBox;
    bool m_leftHeld = false;
    bool m_dragging = false;
    FeatureMap m_selection;
    std::optional<QRectF> m_selectionExtent;
    QPixmap m_selectionPreview;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
