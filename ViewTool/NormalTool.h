#pragma once
// The idle tool every switch falls back to: a middle drag pans, the wheel
// zooms about the cursor, the arrow keys pan. Every event is accepted.
#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class NormalTool : public DefaultTool {
    Q_OBJECT
public:
    explicit NormalTool(ViewWidget* view);
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    // Takes any parameter without complaint: it has no modes.
    void setWorkParam(PluginMetaData* msg) override;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
