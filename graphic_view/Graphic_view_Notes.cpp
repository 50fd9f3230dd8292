// Layer notes and pop-view insets.
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

void ViewWidget::openPopView(const QRectF& boardArea) {
    auto* pop = new Widget_PopView(this);
    pop->setBoardArea(boardArea);
    m_popViews.append(pop);
    connect(pop, &Widget_PopView::closed, this, [this](Widget_PopView* closed) {
        m_popViews.removeAll(closed);
        closed->deleteLater();
    });
    pop->show();
    refresh();
}

// Closes every pop-view inset.
void ViewWidget::doDeletePopView(PluginMetaData) {
    qDeleteAll(m_popViews);
    m_popViews.clear();
    update();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
