#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(DeleteTool, DELETE_TOOL, "DELETE_TOOL", 20000206)
