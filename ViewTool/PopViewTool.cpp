#include "PopViewTool.h"

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr int kMinimumDragPixels = 4;  // a smaller drag is a stray click
}

PopViewTool::PopViewTool(ViewWidget* view) : BoxDragTool(view, POPVIEW_TOOL, "POPVIEW_TOOL") {}

void PopViewTool::boxDragged(const QRectF& board, const QRect& pixels) {
    if (pixels.width() < kMinimumDragPixels || pixels.height() < kMinimumDragPixels) return;
    m_view->openPopView(board);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
