// The step menu's panel: the step-and-repeat point and the copy offset of a
// step-and-repeat edit, as the view forwards them.
#include "PluginNames.h"
#include "plugin_widgets.h"

namespace {
class StepPanel : public TOLVA::PLUGIN::ReceivedMessagesPanel {
public:
    explicit StepPanel(QWidget* host)
        : ReceivedMessagesPanel(PluginNames::MenuBarStep, host, tr("Step"),
                                {{20001681, tr("step-and-repeat point")}, {20001688, tr("copy offset")}}) {}
};
}  // namespace

TOLVA_PLUGIN_ENTRY(StepPanel)
