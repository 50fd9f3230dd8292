#include "DeleteTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "FeaturePick.h"
#include "TOLVA_API.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

const QColor DeleteTool::kDeleteColor(255, 64, 64);

namespace {
constexpr char kPrefix[] = "DELETE_TOOL";
constexpr char kInitLine[] = "DELETE_TOOL:\tInit";

// The features of `features` whose record is still the one at their index.
FeatureMap stillPresent(const std::string& job, const std::string& step, const FeatureMap& features) {
    FeatureMap present;
    for (const auto& layer : features) {
        for (const API::featureInfo& f : layer.second) {
            API::featureInfo now;
            if (API::get_featureinfo_by_index(job, step, layer.first, f.index, now) && now.record == f.record)
                present[layer.first].push_back(f);
        }
    }
    return present;
}
}  // namespace

int deleteFeaturesAsOneEdit(ViewWidget& view, const FeatureMap& features) {
    const std::string job = view.jobName().toStdString(), step = view.stepName().toStdString();
    if (job.empty() || features.empty()) return 0;
    int deleted = 0;
    try {
        const FeatureMap present = stillPresent(job, step, features);
        std::vector<std::string> layers;
        for (const auto& layer : present) {
            if (DB::get_SaveFlag()) DB::clear_selected_features_db_save(job, step, layer.first);
            API::clear_selected_features(job, step, layer.first);
            for (const API::featureInfo& f : layer.second) {
                if (DB::get_SaveFlag()) DB::select_feature_by_id_db_save(job, step, layer.first, f.index);
                API::select_feature_by_id(job, step, layer.first, f.index);
            }
            layers.push_back(layer.first);
            deleted += int(layer.second.size());
        }
        if (!layers.empty()) {
            if (DB::get_SaveFlag()) DB::delete_selected_features_db_save(job, step, layers);
            API::delete_selected_features(job, step, layers);
        }
    } catch (...) {
        reportFailure(&view, __FILE__, __LINE__, std::current_exception(), QObject::tr("Information"));
        return 0;
    }
    if (deleted > 0) {
        view.draw();
        view.refresh();
        view.sendJobListChangeSelectedIcon();
    }
    return deleted;
}

DeleteTool::DeleteTool(ViewWidget* view) : EditingTool(view, DELETE_TOOL, kPrefix, kInitLine), m_filtered(view) {
    // The view's key handler does not hand keys to the tools: Escape is
    // taken here, before it, and passed on unchanged.
    if (view) view->installEventFilter(this);
}

DeleteTool::~DeleteTool() {
    if (m_filtered) m_filtered->removeEventFilter(this);
}

void DeleteTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kRequestCode) logTypeError(kPrefix);
}

bool DeleteTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape)
        dropPending();
    return false;
}

void DeleteTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = m_cursorPixel = event->pos();
    m_leftHeld = true;
    m_dragging = false;
    updateCandidates(event->pos());
}

void DeleteTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (m_leftHeld && !m_dragging && beyondClickSlack(m_pressPixel, m_cursorPixel)) m_dragging = true;
    updateCandidates(event->pos());
    m_view->update();
}

// While dragging, the features inside the box; otherwise the one a click
// here would take.
void DeleteTool::updateCandidates(const QPoint& pixel) {
    m_candidates.clear();
    const std::vector<std::string> layers = featureEditLayers(*m_view);
    if (m_dragging) {
        m_candidates = featuresInside(*m_view, boardBox(m_pressPixel, pixel), layers);
        return;
    }
    if (const std::optional<PickedFeature> picked = pickFeature(*m_view, pixel, layers))
        m_candidates[picked->layer].push_back(picked->info);
}

void DeleteTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    updateCandidates(event->pos());
    m_dragging = false;
    addTo(m_pending, m_candidates);
    m_candidates.clear();
    if (!(event->modifiers() & Qt::ShiftModifier)) commitPending();
    m_view->update();
}

// Enter arrives as a double click at the cursor (the view synthesises it):
// it deletes what is pending. A real double click's first click has already
// deleted its feature.
void DeleteTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    commitPending();
}

void DeleteTool::commitPending() {
    const FeatureMap doomed = std::move(m_pending);
    m_pending.clear();
    if (!doomed.empty()) deleteFeaturesAsOneEdit(*m_view, doomed);
    m_view->update();
}

void DeleteTool::dropPending() {
    m_pending.clear();
    m_candidates.clear();
    m_view->update();
}

void DeleteTool::addTo(FeatureMap& set, const FeatureMap& more) const {
    for (const auto& layer : more)
        for (const API::featureInfo& f : layer.second)
            if (!containsFeature(set, layer.first, f)) set[layer.first].push_back(f);
}

void DeleteTool::paint(QPainter* painter) {
    if (m_dragging) drawBoxFrame(painter, onView(boardBox(m_pressPixel, m_cursorPixel)));
    FeatureMap shown = m_pending;
    addTo(shown, m_candidates);
    const std::optional<QRectF> extent = featureExtent(shown);
    if (extent) drawOutlinesAt(painter, shown, *extent, QPixmap(), onView(*extent), kDeleteColor);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
