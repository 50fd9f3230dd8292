#pragma once
// The zoom tool: a left drag pans, the release zooms to the box between the
// press and release points, the wheel zooms about the cursor and records the
// area left behind in the zoom history.
#include <QPointer>
#include <QRubberBand>

#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class ZoomInTool : public DefaultTool {
    Q_OBJECT
public:
    explicit ZoomInTool(ViewWidget* view);
    ~ZoomInTool() override;
    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    void mouseMove(QMouseEvent* event) override;

    bool isPressed() const { return m_pressed; }

private:
    QPointer<QRubberBand> m_rubberBand;
    bool m_pressed = false;
    bool m_rubberBandMode = false;
    double m_pressBoardX = 0;
    double m_pressBoardY = 0;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
