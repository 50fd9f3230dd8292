// The tool factory: one class per tool type. Some classes report another
// type than the one requested (the edit and step-and-repeat tools report the
// select tool's, both region-division modes report 26), and every type
// without a class of its own gives a normal tool.
#include <new>

#include "AllignholeTool.h"
#include "DeleteTool.h"
#include "DrawSymbolTool.h"
#include "EditBuffer.h"
#include "EditTool.h"
#include "LineEditTool.h"
#include "MarkTool.h"
#include "MoveAndCopy.h"
#include "MoveAndCopysamelayer.h"
#include "NormalTool.h"
#include "NotesTool.h"
#include "PointTool.h"
#include "PopViewTool.h"
#include "ProfileBoundTool.h"
#include "PullTool.h"
#include "RegionDivisionTool.h"
#include "RoutTool.h"
#include "RulerTool.h"
#include "SRSelectTool.h"
#include "SelectTool.h"
#include "SnapTool.h"
#include "StepRepeatTool.h"
#include "TextInfoTool.h"
#include "ZoomInTool.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
ToolFactory& standIn() {
    static ToolFactory factory;
    return factory;
}

Graphic_ViewTool* toolOfTable(ViewWidget* view, Graphic_ViewTool::GRAPHIC_TOOL_TYPE type) {
    using T = Graphic_ViewTool;
    switch (type) {
    case T::SELECT_TOOL: return new (std::nothrow) SelectTool(view);
    case T::DELETE_TOOL: return new (std::nothrow) DeleteTool(view);
    case T::RULER_TOOL: return new (std::nothrow) RulerTool(view);
    case T::ZOOMIN_TOOL: return new (std::nothrow) ZoomInTool(view);
    case T::POPVIEW_TOOL: return new (std::nothrow) PopViewTool(view);
    case T::MOVE_COPY_TOOL: return new (std::nothrow) MoveAndCopy(view);
    case T::LINE_EDIT_TOOL: return new (std::nothrow) LineEditTool(view);
    case T::PULL_TOOL: return new (std::nothrow) PullTool(view);
    case T::TEXT_INFO_TOOL: return new (std::nothrow) TextInfoTool(view);
    case T::PROFILE_BOUND_TOOL: return new (std::nothrow) ProfileBoundTool(view);
    case T::ALLIGN_HOLE_TOOL: return new (std::nothrow) AllignholeTool(view);
    case T::EDIT_TOOL: return new (std::nothrow) EditTool(view);
    case T::REGION_DIVISION_TOOL: return new (std::nothrow) RegionDivisionTool(view, 0);
    case T::REGION_DIVISION_TOOL_2: return new (std::nothrow) RegionDivisionTool(view, 1);
    case T::SNAP_TOOL: return new (std::nothrow) SnapTool(view);
    case T::DRAW_SYMBOL_TOOL: return new (std::nothrow) DrawSymbolTool(view);
    case T::MOVE_COPY_SAME_LAYER_TOOL: return new (std::nothrow) MoveAndCopysamelayer(view);
    case T::POINT_TOOL: return new (std::nothrow) PointTool(view);
    case T::EDIT_BUFFER_TOOL: return new (std::nothrow) EditBuffer(view);
    case T::STEP_REPEAT_TOOL: return new (std::nothrow) StepRepeatTool(view);
    case T::SR_SELECT_TOOL: return new (std::nothrow) SRSelectTool(view);
    case T::ROUT_TOOL: return new (std::nothrow) RoutTool(view);
    case T::NOTES_TOOL: return new (std::nothrow) NotesTool(view);
    case T::MARK_TOOL: return new (std::nothrow) MarkTool(view);
    default: return new (std::nothrow) NormalTool(view);  // 0, 29 and the values without a class
    }
}
}  // namespace

Graphic_ViewTool* createTool(ViewWidget* view, Graphic_ViewTool::GRAPHIC_TOOL_TYPE type) {
    return standIn() ? standIn()(view, type) : toolOfTable(view, type);
}

ToolFactory setToolFactory(ToolFactory factory) {
    ToolFactory previous = std::move(standIn());
    standIn() = std::move(factory);
    return previous;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
