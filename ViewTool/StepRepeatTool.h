#pragma once
// The step-and-repeat tool: places instances of a child step in the shown
// step. The child's profile follows the cursor (snapped as a click would
// be); each click adds a 1 x 1 row of the table there, one undo step, and
// tells the step menu and the coordinate read-out where. Escape ends it.
// It reports the select tool's type.
#include <QPointF>
#include <QPointer>
#include <QString>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class StepRepeatTool : public EditingTool {
    Q_OBJECT
public:
    explicit StepRepeatTool(ViewWidget* view);
    ~StepRepeatTool() override;

    // 20001418: "Step" names the child (required), "Angle" and "Mirror" its
    // placement.
    void setWorkParam(PluginMetaData* msg) override;
    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    QString childStep() const { return m_child; }
    double angle() const { return m_angle; }
    // Where the child's datum would land now; valid once the cursor moved.
    bool hasCursor() const { return m_hasCursor; }
    QPointF cursorPoint() const { return m_cursor; }

    static constexpr qint32 kRequestCode = 20001418;

private:
    QString m_child;
    double m_angle = 0;
    bool m_mirror = false;
    QPointF m_cursor;
    bool m_hasCursor = false;
    QPoint m_pressPixel;
    bool m_leftHeld = false;
    QPointer<QObject> m_filtered;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
