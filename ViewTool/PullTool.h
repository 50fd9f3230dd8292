#pragma once
// The pull tool: drag a segment of a trace sideways; the segments joined at
// its ends stretch so that the trace stays connected. The codes:
//   20000219, 20000249, 20004203  plain stretch: the neighbours' joined ends
//                                 follow the moved ends
//   20000220, 20000250, 20004204  45-degree corners: the neighbours slide,
//                                 or a diagonal is put in, so that every
//                                 corner stays a multiple of 45 degrees
//   20000221, 20000222            pull the picked line (or, with none, the
//                                 one selected line of the work layer) by
//                                 the typed distance in data "Offset"
//                                 (board units, positive to the left of
//                                 the line's direction), plainly or with
//                                 45-degree corners; it waits for Enter
//   20000260                      make the pending pull (as Enter)
// The pull follows the cursor's distance from where the line was grabbed,
// snapped; the pending pull is made by Enter or a double click and dropped
// by Escape.
#include <optional>
#include <string>
#include <vector>

#include "FeaturePick.h"
#include "PlanTool.h"

namespace TOLVA {
namespace GRAPHIC {

class PullTool : public PlanTool {
    Q_OBJECT
public:
    enum Corners { Plain = 0, Diagonal45 = 1 };

    explicit PullTool(ViewWidget* view);

    void setWorkParam(PluginMetaData* msg) override;
    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;

    Corners corners() const { return m_corners; }
    // Whether a request code, arriving while a pull tool with `current`
    // corners is active, goes to it (a typed pull, the commit, the other
    // corner mode) rather than switching the tool off.
    static bool actsOnActiveTool(qint32 code, Corners current);
    // The pull of the picked line with the cursor at `to`: the plan the
    // preview shows on every move.
    EDIT::edit_plan pullTo(const QPointF& to) const;

protected:
    void planMade(const std::vector<int>& indices) override;
    void escapeGesture() override;
    std::vector<QPointF> handles() const override;

private:
    void pullByTypedOffset(const PluginMetaData& msg, Corners corners);
    // The one selected line of the work layer, for a typed pull with no pick.
    std::optional<PickedFeature> selectedLine() const;
    EDIT::edit_plan pullBy(double offset) const;

    Corners m_corners = Plain;
    std::optional<PickedFeature> m_picked;
    QPoint m_pressPixel;
    double m_pressOffset = 0;  // of the grab point from the line
    bool m_leftHeld = false;
    bool m_dragging = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
