// The DFM menu's panel: the feature attributes the view forwards when the
// operator picks a feature while a DFM check is open.
#include "PluginNames.h"
#include "plugin_widgets.h"

namespace {
class DfmPanel : public TOLVA::PLUGIN::ReceivedMessagesPanel {
public:
    explicit DfmPanel(QWidget* host)
        : ReceivedMessagesPanel(PluginNames::MenuBarDFM, host, tr("DFM"),
                                {{20001807, tr("feature attributes")}, {20001828, tr("feature attributes")}}) {}
};
}  // namespace

TOLVA_PLUGIN_ENTRY(DfmPanel)
