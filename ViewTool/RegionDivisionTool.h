#pragma once
// Divides a region; both of its modes report type 26.
#include "Graphic_ViewTool.h"

namespace TOLVA {
namespace GRAPHIC {

class RegionDivisionTool : public DefaultTool {
public:
    RegionDivisionTool(ViewWidget* view, int mode)
        : DefaultTool(view, Graphic_ViewTool::REGION_DIVISION_TOOL, "REGION_DIVISION_TOOL"), m_mode(mode) {}
    int mode() const { return m_mode; }

private:
    int m_mode;
};

}  // namespace GRAPHIC
}  // namespace TOLVA
