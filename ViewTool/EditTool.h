#pragma once
// The step-and-repeat edit tool. It reports the select tool's type, so a
// select request while it is active counts as a repeated request.
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(EditTool, SELECT_TOOL, "EDIT_TOOL", 20000254, 20000256, 20000259, 20000267)
