#pragma once
// Reports type 29, but the factory has no entry for it: a request for 29
// gives the normal tool.
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(RotateTool, ROTATE_TOOL, "ROTATE_TOOL")
