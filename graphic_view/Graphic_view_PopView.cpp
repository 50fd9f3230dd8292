// Pop-view insets: small live windows on a board area, each at its own zoom,
// refreshed with the main view and framed on it by marks.
#include "TOLVA_API.h"
#include "Widget_Common.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

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
