// Bus edit: the selected traces of the work layer re-spaced across the bus.
// The edit menu's dialog asks for a preview on every change of its values
// and for the edit itself on OK; the preview is drawn over the board until
// the bus is made, the dialog is closed or the job changes.
#include <glog/logging.h>

#include <QPainter>
#include <cmath>

#include "TOLVA_Edit.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
const QColor kBusPreviewColour(255, 200, 0, 140);

// The value of `key`, or `fallback` when the key is missing; false when the
// value is there and is not a finite number.
bool readLength(const QVariantMap& data, const char* key, double fallback, double& out) {
    const QString name = QLatin1String(key);
    if (!data.contains(name)) {
        out = fallback;
        return true;
    }
    bool readable = false;
    out = data.value(name).toDouble(&readable);
    return readable && std::isfinite(out);
}
}  // namespace

// Data keys of the request (board units):
//   "Mode"      0: even pitch ("Pitch", centre to centre, about the traces'
//               mean offset); 1: spread between the outer traces, moved by
//               "Lower" (the first trace) and "Upper" (the last) (0, 0: the
//               outer traces stay)
//   "Clearance" the gap every new trace keeps, edge to edge (0)
//   "Preview"   true: only show the new bus; false or missing: make it
//   "Cancel"    true: drop the preview, change nothing
// A bus the kernel refuses is refused to the sender with the kernel's
// reason (which names the traces that would come too close).
void ViewWidget::bus_edit(PluginMetaData msg) {
    const QVariantMap& data = msg.data;
    m_busPreview.clear();
    update();
    if (data.value(QStringLiteral("Cancel")).toBool()) return;
    EDIT::bus_params params;
    params.mode = data.value(QStringLiteral("Mode")).toInt();
    if (!readLength(data, "Pitch", 0, params.pitch) || !readLength(data, "Lower", 0, params.lower) ||
        !readLength(data, "Upper", 0, params.upper) || !readLength(data, "Clearance", 0, params.clearance) ||
        (params.mode != 0 && params.mode != 1))
        return refuseRequest(msg, tr("Bus edit refused: \"Mode\" is 0 or 1 and the lengths are numbers"));
    if (job().empty() || work_layer.empty())
        return refuseRequest(msg, tr("Bus edit refused: no job or no work layer"));
    std::vector<int> indices;
    guarded(__FILE__, __LINE__, [&] {
        for (const API::featureInfo& f : selectedFeatures({work_layer})[work_layer]) indices.push_back(f.index);
        const EDIT::edit_plan plan = EDIT::plan_bus(job(), step(), work_layer, indices, params);
        if (!plan.error.empty())
            return refuseRequest(msg, tr("Bus edit refused: %1").arg(QString::fromStdString(plan.error)));
        if (data.value(QStringLiteral("Preview")).toBool()) {
            m_busPreview = plan.add;
            return;
        }
        if (DB::get_SaveFlag()) DB::apply_plan_db_save(job(), step(), plan);
        EDIT::apply_plan(job(), step(), plan);
        LOG(INFO) << "GRAPHIC_VIEW:\tbus of " << indices.size() << " lines re-spaced on " << work_layer;
        redrawAfterEdit();
    });
}

// Each new line as a translucent band of its width, so the gaps the edit
// leaves can be judged on the board.
void ViewWidget::paintBusPreview(QPainter& painter) {
    if (m_busPreview.empty()) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const API::featureInfo& f : m_busPreview) {
        QPen pen(kBusPreviewColour, std::max(1.0, f.xsize * scale()), Qt::SolidLine, Qt::RoundCap);
        painter.setPen(pen);
        painter.drawLine(toPixel(QPointF(f.xs, f.ys)), toPixel(QPointF(f.xe, f.ye)));
    }
    painter.restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
