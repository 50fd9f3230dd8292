#pragma once
// Opens a pop-view inset on the board area of a left drag.
#include "BoxDragTool.h"

namespace TOLVA {
namespace GRAPHIC {

class PopViewTool : public BoxDragTool {
    Q_OBJECT
public:
    explicit PopViewTool(ViewWidget* view);

protected:
    void boxDragged(const QRectF& board, const QRect& pixels) override;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
