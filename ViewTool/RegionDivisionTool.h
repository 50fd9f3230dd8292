#pragma once
// Divides a surface of the work layer. A click picks the surface (one
// selected alone when the tool opens is taken as picked); then
// clicks (snapped) put down the cut:
//   mode 0: a cut line that crosses the surface, starting and ending
//     outside it: each piece on either side becomes a surface of its own;
//   mode 1: a closed outline, whose inside is cut out of the surface (a
//     hole, a notch, or pieces).
// A double click or Enter makes the division, one edit of the kernel (one
// undo step). Escape takes back the last point; a second Escape in a row
// drops the cut and the picked surface. A division the kernel refuses (a
// cut that misses the surface) is told to the operator and changes nothing.
// Both modes report type 26, whichever the factory was asked for.
#include <QPointF>
#include <string>
#include <vector>

#include "EditGesture.h"
#include "TOLVA_API_types.h"

namespace TOLVA {
namespace GRAPHIC {

class RegionDivisionTool : public GestureTool {
    Q_OBJECT
public:
    enum Mode { CutLine = 0, CutOut = 1 };

    RegionDivisionTool(ViewWidget* view, int mode);

    int mode() const { return m_mode; }
    // The picked surface's index on the work layer, -1 before a pick.
    int surface() const { return m_surface.index; }
    const QVector<QPointF>& cutPoints() const { return m_cut.points(); }

    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void paint(QPainter* painter) override;
    void setWorkParam(PluginMetaData* msg) override;
    void finish() override;
    void cancelLast() override;

private:
    bool pickSurface(const QPoint& pixel);
    bool takeSurface(const std::string& layer, const API::featureInfo& surface);
    bool divide();
    int fewestPoints() const { return m_mode == CutOut ? 3 : 2; }
    void reset();
    void updateRubberBand();

    int m_mode;
    std::string m_layer;
    API::featureInfo m_surface;  // index -1: nothing picked
    std::vector<std::vector<API::lPoint>> m_contours;
    ClickedPolyline m_cut;
    QPointF m_cursor;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
