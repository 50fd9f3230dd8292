#pragma once
// The snap tool picks the point that the current snap mode finds under the
// cursor (a pad's centre, a line's end or middle, an intersection, the grid),
// whether or not snapping is switched on for the other tools. The candidate
// is marked while the cursor moves; a click puts the cross marker on it,
// reports its coordinates to the coordinate panel in the display unit and
// copies them to the clipboard. A click with nothing to snap to within the
// snap size says so and marks nothing.
#include <QPointF>
#include <optional>

#include "EditingTool.h"

namespace TOLVA {
namespace GRAPHIC {

class SnapTool : public EditingTool {
    Q_OBJECT
public:
    explicit SnapTool(ViewWidget* view);

    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    // The request that opens the tool carries nothing to configure.
    void setWorkParam(PluginMetaData*) override {}

    // The last point picked, if any.
    std::optional<QPointF> picked() const { return m_picked; }

private:
    std::optional<QPointF> snapUnder(const QPoint& pixel) const;

    std::optional<QPointF> m_picked;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
