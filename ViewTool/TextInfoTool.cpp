#include "TextInfoTool.h"

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

TextInfoTool::TextInfoTool(ViewWidget* view) : BoxDragTool(view, TEXT_INFO_TOOL, "TEXT_INFO_TOOL") {
    connect(this, &TextInfoTool::sendTextBox, view, &ViewWidget::receive_text_box);
    connect(this, &TextInfoTool::delete_last, view, &ViewWidget::delete_last_edit);
}

void TextInfoTool::boxDragged(const QRectF& board, const QRect&) { emit sendTextBox(board); }

}  // namespace GRAPHIC
}  // namespace TOLVA
