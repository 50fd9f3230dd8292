#pragma once
// The instance tool of step and repeat. In its select modes a click picks
// the instance under the cursor and a drag the instances wholly inside the
// box (Shift adds to the selection, Ctrl takes away; the unselect mode
// always takes away). In its edit modes a drag moves or copies the selected
// instances by the dragged offset, or turns each about its own centre by
// the angle swept about the selection's centre (whole degrees, steps of 15
// with Shift), with the placed profiles shown where the edit puts them; a
// click still picks. The selected instances are drawn highlighted by their
// placed profiles. Escape drops a drag.
#include <QPointF>
#include <QPointer>
#include <QPolygonF>
#include <QRubberBand>
#include <QVector>
#include <optional>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

enum class InstanceSelect : int;

class SRSelectTool : public EditingTool {
    Q_OBJECT
public:
    enum Mode { SelectMode, UnselectMode, MoveMode, CopyMode, RotateMode };

    explicit SRSelectTool(ViewWidget* view);
    ~SRSelectTool() override;

    // 20001420 select, 20001421 unselect, 20001425 select (after the view
    // selected every instance), 20000254 move, 20000256 copy, 20000259 rotate.
    void setWorkParam(PluginMetaData* msg) override;
    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    Mode mode() const { return m_mode; }
    bool dragging() const { return m_dragging; }
    // The offset (move, copy) or angle (rotate) of the drag under way.
    QPointF dragOffset() const { return m_offset; }
    int dragAngle() const { return m_angle; }
    static std::optional<Mode> modeOf(qint32 code);

    static constexpr int kShiftStepDegrees = 15;

private:
    InstanceSelect selectHow(Qt::KeyboardModifiers modifiers) const;
    void pick(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers);
    void finishEdit(const QPoint& at, Qt::KeyboardModifiers modifiers);
    int sweptAngle(const QPoint& pixel, Qt::KeyboardModifiers modifiers) const;
    QPointF selectionCentre();
    void dropDrag();
    // The outlines where the drag under way would put the selection.
    QVector<QPolygonF> previewOutlines();

    Mode m_mode = SelectMode;
    QPointer<QRubberBand> m_band;
    QPointer<QObject> m_filtered;
    QPoint m_pressPixel;
    QPointF m_pressBoard;
    QPointF m_pivot;
    QPointF m_offset;
    int m_angle = 0;
    bool m_leftHeld = false;
    bool m_dragging = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
