#pragma once
#include "Graphic_ViewTool.h"

GRAPHIC_PASSIVE_TOOL(NotesTool, NOTES_TOOL, "NOTES_TOOL", 20000263)
