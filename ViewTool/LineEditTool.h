#pragma once
// The line edit tool: reshapes one feature of the work layer in the mode its
// request code selects, with a live outline of the result. The codes:
//   20000211  move an end point of a line or arc; lines and arcs joined
//             there follow, so the trace stays connected (drag the end)
//   20001404  move an end point alone (the joined features stay)
//   20000212  move a whole segment; its neighbours stretch (drag the line)
//   20000213  split a line or arc in two at the clicked point
//   20000216  join two lines (or arcs of one circle) sharing an end: click
//             one, then the other
//   20000237  move a vertex of a surface (drag it)
//   20000238  add a vertex to a surface (drag from a point of an edge)
//   20000239  change an arc's radius: the arc runs through the cursor, its
//             ends stay
//   20000240  turn an arc into the straight line between its ends (click)
// Enter or a double click makes the pending edit, Escape drops it (a
// second Escape forgets the picked feature). Snapping applies to every
// point that is dragged.
#include <optional>
#include <string>
#include <vector>

#include "FeaturePick.h"
#include "PlanTool.h"

namespace TOLVA {
namespace GRAPHIC {

class LineEditTool : public PlanTool {
    Q_OBJECT
public:
    enum Mode { MoveEnd, MoveEndAlone, MoveSegment, Split, Join, MoveVertex, AddVertex, ArcRadius, ArcToLine };

    explicit LineEditTool(ViewWidget* view);

    void setWorkParam(PluginMetaData* msg) override;
    void leftButtonPress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;

    Mode mode() const { return m_mode; }
    // The mode a request code selects; nothing for a code of another tool.
    static std::optional<Mode> modeOf(qint32 code);

protected:
    void planMade(const std::vector<int>& indices) override;
    void escapeGesture() override;
    std::vector<QPointF> handles() const override;

private:
    // The feature of the work layer under the pixel.
    std::optional<PickedFeature> pickOnWorkLayer(const QPoint& pixel) const;
    // The plan of the current drag with the cursor at `to` (board units).
    EDIT::edit_plan dragPlan(const QPointF& to) const;
    EDIT::edit_plan clickPlan(const QPoint& pixel);
    // Picks the grabbed end, vertex or edge of the picked feature nearest
    // to `at`; false when the feature has none for this mode.
    bool grabHandle(const QPointF& at);

    Mode m_mode = MoveEnd;
    std::optional<PickedFeature> m_picked;
    std::optional<PickedFeature> m_firstOfJoin;
    std::vector<std::vector<API::lPoint>> m_contours;  // of a picked surface
    int m_end = 0;                                     // the grabbed end
    int m_contour = 0, m_vertex = 0;                   // the grabbed vertex or edge start
    QPoint m_pressPixel;
    QPointF m_pressBoard;
    bool m_leftHeld = false;
    bool m_dragging = false;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
