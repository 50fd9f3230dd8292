#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(AllignholeTool, ALLIGN_HOLE_TOOL, "ALLIGN_HOLE_TOOL")
