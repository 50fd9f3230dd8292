#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(PointTool, POINT_TOOL, "POINT_TOOL")
