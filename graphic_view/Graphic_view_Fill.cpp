// Contour fill: the kernel works the fill out from a contour (a selected
// surface, a closed chain of selected lines and arcs, the panel area outside
// the step-and-repeat instances); the view writes it through the batched
// content operations and one add_features, so that the whole fill is one
// undo step. A refusal (open contour, bad pitch, a fill too
// large) is shown and writes nothing.
#include <glog/logging.h>

#include "TOLVA_API.h"
#include "TOLVA_Fill.h"
#include "Widget_Common.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

// Defined here, where the dialog's class is complete.
Widget_Fill* ViewWidget::fillDialog() const { return m_fillDialog; }

namespace {
// The operator's last fill, in board units, offered again the next time
// (whatever the display unit is by then).
Widget_Fill::Parameters& rememberedFill() {
    static Widget_Fill::Parameters parameters;
    return parameters;
}

bool isKind(const API::featureInfo& f, std::initializer_list<int> kinds) {
    for (int kind : kinds)
        if (f.type == kind) return true;
    return false;
}
}  // namespace

// Request 53. The dialog opens window-modal and returns at once (never an
// event loop of its own, so a run without a display never waits on it); its
// OK runs the fill.
void ViewWidget::show_contour_fill_parameters(PluginMetaData) {
    if (work_layer.empty()) {
        prompt::information(this, tr("Information"), tr("Contour fill needs a work layer."));
        return;
    }
    if (!m_fillDialog) {
        m_fillDialog = new Widget_Fill(this);
        connect(m_fillDialog.data(), &QDialog::accepted, this, [this] { runFillDialog(); });
    }
    m_fillDialog->setParameters(rememberedFill());
    m_fillDialog->open();
}

void ViewWidget::runFillDialog() {
    if (!m_fillDialog) return;
    const Widget_Fill::Parameters p = m_fillDialog->parameters();
    rememberedFill() = p;
    FILL::region area;
    if (!fillContour(p.source, area)) return;
    switch (p.mode) {
    case Widget_Fill::Solid:
        fill_solid(area);
        break;
    case Widget_Fill::Hatch:
        fill_contour_with_lines(area, {p.width, p.pitchX, p.angle, p.cross});
        break;
    case Widget_Fill::Pads:
        fill_contour_with_pads(area, {p.symbol.toStdString(), p.pitchX, p.pitchY, p.staggered, p.clearance, p.clip});
        break;
    }
}

// The selected features of the work layer of the given kinds, by index.
std::vector<int> ViewWidget::selectedOfKind(std::initializer_list<int> kinds) {
    std::vector<API::featureInfo> selected;
    std::vector<int> indices;
    if (!guarded(__FILE__, __LINE__, [&] { API::get_selected_feature_info(job(), step(), work_layer, selected); }))
        return indices;
    for (const API::featureInfo& f : selected)
        if (isKind(f, kinds)) indices.push_back(f.index);
    return indices;
}

bool ViewWidget::fillContour(int source, FILL::region& area) {
    area.clear();
    if (work_layer.empty()) return false;
    if (source == Widget_Fill::PanelOutsideInstances)
        return guarded(__FILE__, __LINE__, [&] { area = FILL::panel_contour(job(), step()); });
    const bool surfaces = source == Widget_Fill::SelectedSurface;
    const std::vector<int> picked = surfaces ? selectedOfKind({API::FT_SURFACE}) : selectedOfKind({API::FT_LINE, API::FT_ARC});
    if (picked.empty()) {
        prompt::information(this, tr("Information"),
                            surfaces ? tr("Select the surface to fill on the work layer.")
                                     : tr("Select a closed chain of lines and arcs on the work layer."));
        return false;
    }
    return guarded(__FILE__, __LINE__, [&] {
        if (!surfaces) {
            area = FILL::chain_contour(job(), step(), work_layer, picked);
            return;
        }
        for (int index : picked) {
            const FILL::region islands = FILL::surface_contour(job(), step(), work_layer, index);
            area.insert(area.end(), islands.begin(), islands.end());
        }
    });
}

// Runs `append` on an empty batch and stores it when it holds `expected`
// strings for the work layer; a batch cut short by a failure (already shown)
// is dropped. A batch pending from elsewhere waits meanwhile.
bool ViewWidget::writeFillBatch(size_t expected, const std::function<void()>& append) {
    if (expected == 0) {
        prompt::information(this, tr("Information"), tr("The contour leaves no room for the fill."));
        return false;
    }
    std::vector<std::vector<std::string>> waiting = std::move(pending_feature_strings);
    pending_feature_strings.clear();
    append();
    const bool complete = !pending_feature_strings.empty() && pending_feature_strings[0].size() == expected;
    if (complete) add_features();
    pending_feature_strings = std::move(waiting);
    return complete;
}

bool ViewWidget::fill_solid(const FILL::region& area) {
    if (work_layer.empty()) return false;
    std::vector<API::lPoint> points;
    if (!guarded(__FILE__, __LINE__, [&] { points = FILL::solid_surface(area); })) return false;
    return writeFillBatch(1, [&] { set_surface_feature_content(points, API::POL_POSITIVE, 0, false); });
}

bool ViewWidget::fill_contour_with_lines(const FILL::region& area, const FILL::hatch_params& params) {
    if (work_layer.empty()) return false;
    FILL::hatch_result hatch;
    if (!guarded(__FILE__, __LINE__, [&] { hatch = FILL::hatch_lines(area, params); })) return false;
    return writeFillBatch(hatch.lines.size(), [&] {
        set_line_feature_content(hatch.symbol, hatch.lines, API::POL_POSITIVE, 0);
    });
}

bool ViewWidget::fill_contour_with_pads(const FILL::region& area, const FILL::pad_params& params) {
    if (work_layer.empty()) return false;
    FILL::pad_result pads;
    if (!guarded(__FILE__, __LINE__, [&] { pads = FILL::pad_grid(job(), step(), work_layer, area, params); }))
        return false;
    LOG(INFO) << "contour fill: " << pads.centres.size() << " pads, " << pads.clipped.size() << " clipped, "
              << pads.blocked_by_copper << " of " << pads.nodes << " grid nodes kept off copper";
    QVector<QPointF> centres;
    centres.reserve(int(pads.centres.size()));
    for (const API::lPoint& c : pads.centres) centres.push_back({c.x, c.y});
    return writeFillBatch(pads.centres.size() + pads.clipped.size(), [&] {
        // Pad strings: polarity, mirror, angle, scale.
        if (!centres.isEmpty()) set_pad_feature_content(params.symbol, centres, API::POL_POSITIVE, 0, 0, 1.0);
        for (const std::vector<API::lPoint>& piece : pads.clipped)
            set_surface_feature_content(piece, API::POL_POSITIVE, 0, false);
    });
}

}  // namespace GRAPHIC
}  // namespace TOLVA
