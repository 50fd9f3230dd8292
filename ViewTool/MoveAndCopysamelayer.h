#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(MoveAndCopysamelayer, MOVE_COPY_SAME_LAYER_TOOL, "MOVE_AND_COPY_SAMELAYER")
