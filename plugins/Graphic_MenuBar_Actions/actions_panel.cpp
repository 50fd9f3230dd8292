// The actions menu's panel: the attribute kind the view's filter asks for
// and the reference layers the view took.
#include "PluginNames.h"
#include "plugin_widgets.h"

namespace {
class ActionsPanel : public TOLVA::PLUGIN::ReceivedMessagesPanel {
public:
    explicit ActionsPanel(QWidget* host)
        : ReceivedMessagesPanel(PluginNames::MenuBarActions, host, tr("Actions"),
                                {{20000060, tr("filter attribute type")}, {20001702, tr("reference layers")}}) {}
};
}  // namespace

TOLVA_PLUGIN_ENTRY(ActionsPanel)
