#pragma once
// The step-and-repeat tool. It reports the select tool's type.
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(StepRepeatTool, SELECT_TOOL, "STEP_REPEAT_TOOL", 20001418)
