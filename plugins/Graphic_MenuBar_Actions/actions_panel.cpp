// The actions menu's panel: the attribute kind the view's filter asks for
// and the reference layers the view took; the feature search (a small form
// that never blocks, and the steps to the next and previous feature found)
// with the view's answers listed.
#include <QAction>

#include "CoordinateMessages.h"
#include "PluginNames.h"
#include "plugin_widgets.h"

namespace {

using TOLVA::PLUGIN::addMenuAction;

using TOLVA::PLUGIN::FormDialog;
namespace CM = CoordinateMessages;
// Opens the view's direct-imaging export dialog.
constexpr qint32 kOpenImagingExport = 20004410;
// Turns the view's imaging mode on or off: the export frame and the
// registration holes over the board, and the hole picking of its context menu.
constexpr qint32 kImagingMode = 20004401;

class ActionsPanel : public TOLVA::PLUGIN::ReceivedMessagesPanel {
public:
    explicit ActionsPanel(QWidget* host)
        : ReceivedMessagesPanel(PluginNames::MenuBarActions, host, tr("Actions"),
                                {{20000060, tr("filter attribute type")},
                                 {20001702, tr("reference layers")},
                                 {CM::kSearchResult, tr("feature search")},
                                 {CM::kRefused, tr("refused")}}) {
        setProperty("tolvaMenu", QStringLiteral("Actions"));
        addMenuAction(this, "findFeature", tr("Find Feature..."), QKeySequence(QKeySequence::Find), [this] { askSearch(); });
        // F3 selects by area in this application: the steps keep no key of their own.
        addMenuAction(this, "findNext", tr("Next Found Feature"), [this] { step("next"); });
        addMenuAction(this, "findPrevious", tr("Previous Found Feature"), [this] { step("previous"); });
        // The imaging export dialog belongs to the view, which fills it from
        // its export session (layers, holes, the settings file's parameters).
        addMenuAction(this, "imagingExport", tr("Imaging Export..."),
                      [this] { send(PluginNames::GraphicView, kOpenImagingExport); });
        QAction* mode = addMenuAction(this, "imagingMode", tr("Imaging Mode"), [this] { send(PluginNames::GraphicView, kImagingMode); });
        mode->setCheckable(true);
    }

private:

    void step(const char* mode) { send(PluginNames::GraphicView, CM::kSearchFeature, {{CM::kKeyMode, QLatin1String(mode)}}); }

    // By attribute (".net", ".comp", ... with a value, or any value when it
    // is left empty), by symbol name or by index; on the layers listed, or
    // on the coordinate's layers when none are.
    void askSearch() {
        auto* dialog = new FormDialog(this, QStringLiteral("searchDialog"), tr("Find Feature"));
        dialog->addChoice(CM::kKeyMode, tr("Find by"), {tr("attribute"), tr("symbol"), tr("index")});
        dialog->addChoice(CM::kKeyAttribute, tr("Attribute or symbol"), {QStringLiteral(".net"), QStringLiteral(".comp")}, true);
        dialog->addChoice(CM::kKeyValue, tr("Value"), {}, true);
        dialog->addCount(CM::kKeyIndex, tr("Index"), 0, 0x7fffffff, 0);
        dialog->addChoice(CM::kKeyLayers, tr("Layers (comma separated)"), {}, true);
        dialog->present([this](const FormDialog& form) { send(PluginNames::GraphicView, CM::kSearchFeature, searchData(form)); });
    }

    static QVariantMap searchData(const FormDialog& form) {
        static const char* const kModes[] = {"attribute", "symbol", "index"};
        const int mode = qBound(0, form.choiceIndex(CM::kKeyMode), 2);
        QVariantMap data{{CM::kKeyMode, QLatin1String(kModes[mode])}};
        const QString name = form.choiceText(CM::kKeyAttribute);
        if (mode == 0) {
            data.insert(CM::kKeyAttribute, name);
            data.insert(CM::kKeyValue, form.choiceText(CM::kKeyValue));
        } else if (mode == 1) {
            data.insert(CM::kKeySymbol, name);
        } else {
            data.insert(CM::kKeyIndex, form.count(CM::kKeyIndex));
        }
        QStringList layers;
        for (const QString& l : form.choiceText(CM::kKeyLayers).split(QLatin1Char(','), Qt::SkipEmptyParts))
            if (!l.trimmed().isEmpty()) layers.append(l.trimmed());
        if (!layers.isEmpty()) data.insert(CM::kKeyLayers, layers);
        return data;
    }
};

}  // namespace

TOLVA_PLUGIN_ENTRY(ActionsPanel)
