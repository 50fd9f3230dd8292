// Layer notes.
#include "TOLVA_API.h"
#include "Widget_Common.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

// Zooms to the note's box: "xmin", "ymin", "xmax", "ymax" in board units.
void ViewWidget::note_zoom_to_box(PluginMetaData msg) {
    const QVariantMap& d = msg.data;
    if (!d.contains(QStringLiteral("xmin")) || !d.contains(QStringLiteral("ymax"))) return;
    areazoom(d.value(QStringLiteral("xmin")).toDouble(), d.value(QStringLiteral("ymin")).toDouble(),
             d.value(QStringLiteral("xmax")).toDouble(), d.value(QStringLiteral("ymax")).toDouble());
}

// "LayerName": the layer whose notes are drawn; empty for none.
void ViewWidget::change_layer_draw_note(PluginMetaData msg) {
    m_notesLayer = msg.data.value(QStringLiteral("LayerName")).toString();
    draw();
    refresh();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
