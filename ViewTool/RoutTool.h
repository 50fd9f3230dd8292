#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(RoutTool, ROUT_TOOL, "ROUT_TOOL")
