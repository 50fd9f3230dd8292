// Transforms of the selection: rotation, mirror, scale and move, typed in
// the edit menu's dialog or turned on the board with the rotate tool.
#include <glog/logging.h>

#include <cmath>

#include "TOLVA_Edit.h"
#include "ViewTool/RotateTool.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {

// A number of the message, or `fallback` when the key is missing; nothing
// when the value is there and not a finite number.
std::optional<double> numberOr(const QVariantMap& data, const char* key, double fallback) {
    const QString name = QLatin1String(key);
    if (!data.contains(name)) return fallback;
    bool readable = false;
    const double value = data.value(name).toDouble(&readable);
    if (!readable || !std::isfinite(value)) return std::nullopt;
    return value;
}
}  // namespace

std::optional<QRectF> ViewWidget::selectionExtent(const std::vector<std::string>& layers) {
    std::optional<QRectF> extent;
    for (const auto& layer : selectedFeatures(layers))
        for (const API::featureInfo& f : layer.second) {
            const QRectF box(QPointF(f.xmin, f.ymin), QPointF(f.xmax, f.ymax));
            extent = extent ? extent->united(box) : box;
        }
    return extent;
}

// Data keys of the request (board units and degrees; every key optional):
//   "Angle"   counter-clockwise rotation in degrees (0)
//   "MirrorX" mirror x -> -x about the pivot (false); "MirrorY" y -> -y (false)
//   "Scale"   factor (1)
//   "PivotX", "PivotY"  the pivot; without both, the centre of the
//             selection's extent
//   "Dx", "Dy" a move after the rest (0)
//   "Interactive" true: no transform; the rotate tool opens instead, to
//             turn the selection on the board
void ViewWidget::transform_selection(PluginMetaData msg) {
    const QVariantMap& data = msg.data;
    if (data.value(QStringLiteral("Interactive")).toBool()) {
        startRotateTool();
        return;
    }
    const std::optional<double> angle = numberOr(data, "Angle", 0), scale = numberOr(data, "Scale", 1),
                                dx = numberOr(data, "Dx", 0), dy = numberOr(data, "Dy", 0);
    const std::optional<double> px = numberOr(data, "PivotX", 0), py = numberOr(data, "PivotY", 0);
    if (!angle || !scale || !dx || !dy || !px || !py) {
        LOG(ERROR) << "transform_selection: a value is not a number; ignored";
        return;
    }
    const std::vector<std::string> layers = editLayers();
    if (job().empty() || layers.empty()) {
        LOG(WARNING) << "transform_selection: no job or no work layer; ignored";
        return;
    }
    EDIT::transform t;
    t.angle_deg = *angle;
    t.mirror_x = data.value(QStringLiteral("MirrorX")).toBool();
    t.mirror_y = data.value(QStringLiteral("MirrorY")).toBool();
    t.scale = *scale;
    t.dx = *dx;
    t.dy = *dy;
    guarded(__FILE__, __LINE__, [&] {
        if (data.contains(QStringLiteral("PivotX")) && data.contains(QStringLiteral("PivotY"))) {
            t.px = *px;
            t.py = *py;
        } else if (const std::optional<QRectF> extent = selectionExtent(layers)) {
            t.px = extent->center().x();
            t.py = extent->center().y();
        }
        if (DB::get_SaveFlag()) DB::transform_selected_db_save(job(), step(), layers, t);
        const int changed = EDIT::transform_selected(job(), step(), layers, t);
        LOG(INFO) << "GRAPHIC_VIEW:\ttransformed " << changed << " selected features";
        if (changed > 0) redrawAfterEdit();
    });
}

// The rotate tool has no entry in the tool factory: it is installed here,
// for the edit tool's menu and the edit menu's "Rotate on Board".
void ViewWidget::startRotateTool() {
    installTool(new (std::nothrow) RotateTool(this));
}

}  // namespace GRAPHIC
}  // namespace TOLVA
