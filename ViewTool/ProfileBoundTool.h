#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(ProfileBoundTool, PROFILE_BOUND_TOOL, "PROFILE_BOUND_TOOL")
