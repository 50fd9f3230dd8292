// Pop-view insets: small live windows on a board area, each at its own zoom,
// refreshed with the main view and framed on it by marks.
#include <QColor>
#include <QImage>
#include <algorithm>
#include <cstring>
#include <vector>

#include "TOLVA_API.h"
#include "Widget_Common.h"
#include "core/blend.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
// The longer side of a new inset, in pixels; the other follows the dragged box.
constexpr int kInsetSide = 240;
constexpr int kInsetMinSide = 80;
// New insets open along the main view's top edge, this far apart.
constexpr int kInsetCascade = 24;

QSize insetSize(const QRectF& area) {
    if (area.width() <= 0 || area.height() <= 0) return {kInsetSide, kInsetSide};
    const double aspect = area.height() / area.width();
    if (aspect <= 1) return {kInsetSide, std::max(kInsetMinSide, int(kInsetSide * aspect))};
    return {std::max(kInsetMinSide, int(kInsetSide / aspect)), kInsetSide};
}
}  // namespace

void ViewWidget::openPopView(const QRectF& boardArea) {
    auto* pop = new Widget_PopView(this);
    pop->resize(insetSize(boardArea));
    const int n = m_popViews.size();
    pop->move(mapToGlobal(QPoint(width() - pop->width() - kInsetCascade * (n + 1), kInsetCascade * (n + 1))));
    m_popViews.append(pop);
    connect(pop, &Widget_PopView::closed, this, [this](Widget_PopView* closed) {
        m_popViews.removeAll(closed);
        closed->deleteLater();
    });
    connect(pop, &Widget_PopView::imageWanted, this, [this](Widget_PopView* p) {
        draw_popview_image(p);
        update();  // the mark on the main view follows
    });
    pop->setBoardArea(boardArea);
    pop->show();
    refresh();
}

// Closes every pop-view inset.
void ViewWidget::doDeletePopView(PluginMetaData) {
    qDeleteAll(m_popViews);
    m_popViews.clear();
    update();
}

// The inset's area composed as draw() composes the view: the kernel's
// background, the shown layers blended, the profile over them. The kernel's
// canvas and box are put back for the main view afterwards.
void ViewWidget::draw_popview_image(Widget_PopView* pop) {
    const int pw = pop->width(), ph = pop->height();
    const QRectF area = pop->boardArea();
    if (pw <= 0 || ph <= 0 || area.isEmpty() || m_job.isEmpty()) return;
    guarded(__FILE__, __LINE__, [&] {
        const std::size_t bytes = std::size_t(pw) * 4 * std::size_t(ph);
        std::vector<unsigned char> composed(bytes, 0);
        API::init_canvas(pw, ph);
        API::zoom_to_box(area.left() * 0.001, area.top() * 0.001, area.right() * 0.001, area.bottom() * 0.001);
        int cw = 0, ch = 0;
        unsigned char* pixels = API::canvas(cw, ch);
        if (pixels && cw == pw && ch == ph) {
            API::clear_canvas();
            std::memcpy(composed.data(), pixels, bytes);
            for (const ShownLayer& shown : m_shownLayers) {
                const QColor c = paletteColor(shown.color);
                API::clear_canvas();
                API::draw_layer(job(), step(), shown.name.toStdString(), c.red(), c.green(), c.blue(), c.alpha());
                blend(composed.data(), pixels, bytes);
            }
            API::clear_canvas();
            API::draw_profile(job(), step(), 255, 255, 255, 255);
            profileOverlay(composed.data(), pixels, bytes);
            pop->setImage(QImage(composed.data(), pw, ph, pw * 4, QImage::Format_RGBA8888).copy());
        }
        API::init_canvas(width(), height());
        zoom_to_cur_box();
    });
}

}  // namespace GRAPHIC
}  // namespace TOLVA
