#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(EditBuffer, EDIT_BUFFER_TOOL, "EDIT_BUFFER_TOOL", 20001416, 20001417)
