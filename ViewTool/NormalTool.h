#pragma once
// The idle tool every switch falls back to: a middle drag pans, the wheel
// zooms about the cursor, the arrow keys pan. Every event is accepted.
#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class NormalTool : public Graphic_ViewTool {
    Q_OBJECT
public:
    explicit NormalTool(ViewWidget* view);
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
};

}  // namespace GRAPHIC
}  // namespace TOLVA
