#pragma once
// Asks for the information of the features in a dragged box: the box goes
// to the view as a text box, which the view turns into an information
// request because this tool is active.
#include "BoxDragTool.h"

namespace TOLVA {
namespace GRAPHIC {

class TextInfoTool : public BoxDragTool {
    Q_OBJECT
public:
    explicit TextInfoTool(ViewWidget* view);

signals:
    void sendTextBox(QRectF rect);
    void delete_last();

protected:
    void boxDragged(const QRectF& board, const QRect& pixels) override;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
