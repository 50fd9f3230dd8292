#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(MarkTool, MARK_TOOL, "MARK_TOOL", 20000266)
