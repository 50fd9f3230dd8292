#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(DrawSymbolTool, DRAW_SYMBOL_TOOL, "DRAW_SYMBOL_TOOL", 50)
