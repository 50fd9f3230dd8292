#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(SnapTool, SNAP_TOOL, "SNAP_TOOL")
