#include "RegionDivisionTool.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QPainter>

#include "TOLVA_API.h"
#include "TOLVA_Edit.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "REGION_DIVISION_TOOL";
constexpr char kInitLine[] = "REGION_DIVISION_TOOL:\tInit";
constexpr qint32 kOpenToolCode = 20000270;
const QColor kPickedColour(255, 160, 0);
const QColor kCutColour(255, 255, 255);

QVector<QPointF> boardRing(const std::vector<API::lPoint>& ring) {
    QVector<QPointF> out;
    for (const API::lPoint& p : ring) out.append(QPointF(p.x, p.y));
    return out;
}
}  // namespace

RegionDivisionTool::RegionDivisionTool(ViewWidget* view, int mode)
    : GestureTool(view, REGION_DIVISION_TOOL, kPrefix, kInitLine), m_mode(mode == CutOut ? CutOut : CutLine) {}

// The open-tool request names the tool only. A surface selected alone on
// the work layer (the edit tool's "Divide" selects the one it was asked
// for) is taken as picked, so that the first click starts the cut.
void RegionDivisionTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kOpenToolCode) {
        logTypeError(kPrefix);
        return;
    }
    const ViewWidget::LayerFeatures selected = m_view->selectedEditFeatures();
    const auto onWork = selected.find(m_view->work_layer);
    if (onWork == selected.end() || onWork->second.size() != 1 || onWork->second.front().type != API::FT_SURFACE) return;
    takeSurface(onWork->first, onWork->second.front());
}

void RegionDivisionTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    if (m_surface.index < 0) {
        pickSurface(event->pos());
    } else {
        m_cut.add(m_cursor);
        updateRubberBand();
    }
    m_view->update();
}

// The press of a double click has put its point down already.
void RegionDivisionTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    if (m_surface.index >= 0) finish();
}

void RegionDivisionTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    updateRubberBand();
}

bool RegionDivisionTool::pickSurface(const QPoint& pixel) {
    m_layer = m_view->work_layer;
    if (m_layer.empty()) {
        notice(tr("Divide surface: no work layer"));
        return false;
    }
    const std::optional<API::featureInfo> picked = pickOfType(*m_view, pixel, m_layer, API::FT_SURFACE);
    if (!picked) {
        notice(tr("Divide surface: no surface of %1 under the cursor").arg(QString::fromStdString(m_layer)));
        return false;
    }
    return takeSurface(m_layer, *picked);
}

bool RegionDivisionTool::takeSurface(const std::string& layer, const API::featureInfo& surface) {
    const bool read = editSafely([&] {
        m_contours = EDIT::get_surface_contours(jobName(), stepName(), layer, surface.index);
    });
    if (!read) return false;
    m_layer = layer;
    m_surface = surface;
    return true;
}

void RegionDivisionTool::finish() {
    if (m_surface.index < 0) return;
    if (m_cut.size() < fewestPoints()) {
        notice(tr("Divide surface: the cut needs at least %1 points").arg(fewestPoints()));
        return;
    }
    if (divide()) reset();
}

// One edit; a cut the kernel refuses stays on the view for the operator to
// take points back and try again.
bool RegionDivisionTool::divide() {
    API::featureInfo now;
    const bool same = editSafely([&] {
        now = API::featureInfo();
        API::get_featureinfo_by_index(jobName(), stepName(), m_layer, m_surface.index, now);
    });
    if (!same) return false;
    if (now.record != m_surface.record) {
        notice(tr("Divide surface: the surface changed since it was picked; pick it again"));
        reset();
        return false;
    }
    std::vector<API::lPoint> cut;
    for (const QPointF& p : m_cut.points()) cut.push_back(roundedPoint(p));
    std::vector<int> pieces;
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag())
            DB::divide_surface_db_save(jobName(), stepName(), m_layer, m_surface.index, cut, m_mode);
        pieces = EDIT::divide_surface(jobName(), stepName(), m_layer, m_surface.index, cut, m_mode);
    });
    if (!done) return false;
    LOG(INFO) << kPrefix << ": surface " << m_surface.index << " of " << m_layer << " divided into "
              << pieces.size() << " pieces";
    redrawBoard();
    return true;
}

void RegionDivisionTool::cancelLast() {
    if (!m_cut.dropLast()) reset();
    updateRubberBand();
    m_view->update();
}

void RegionDivisionTool::reset() {
    m_cut.clear();
    m_surface = API::featureInfo();
    m_contours.clear();
    clearRubberBand();
}

void RegionDivisionTool::updateRubberBand() {
    if (m_surface.index < 0) return;
    showRubberBand(m_cut.rubberBand(m_cursor, m_mode == CutOut));
}

void RegionDivisionTool::paint(QPainter* painter) {
    if (m_surface.index < 0) return;
    for (const auto& ring : m_contours) paintBoardPolyline(painter, boardRing(ring), true, kPickedColour);
    paintBoardPolyline(painter, m_cut.points(), false, kCutColour);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
