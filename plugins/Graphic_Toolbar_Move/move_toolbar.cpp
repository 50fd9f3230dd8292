// The move tool bar: moving and copying the selection within its layers,
// by dragging in the view or by a typed offset, and the outcome of the
// view's attribute-filter selection.
#include <QAction>
#include <QLabel>
#include <QToolBar>

#include "PluginNames.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;

// The move-and-copy tool of the view: the first two codes open it for a
// drag, the other two move or copy at once by "dx", "dy" (board units).
constexpr qint32 kMoveByDrag = 20000207;
constexpr qint32 kCopyByDrag = 20000208;
constexpr qint32 kMoveByOffset = 20000209;
constexpr qint32 kCopyByOffset = 20000210;
// The attribute filter's report: first pick or a later one, select or unselect.
constexpr qint32 kFilterFirst = 20000061;
constexpr qint32 kFilterLast = 20000064;

QString filterText(const PluginMetaData& msg) {
    const bool first = msg.msgType == 20000061 || msg.msgType == 20000063;
    const bool select = msg.msgType == 20000061 || msg.msgType == 20000062;
    return QObject::tr("%1 %2 on %3: %4 selected, %5 dropped")
        .arg(first ? QObject::tr("First pick") : QObject::tr("Pick"),
             select ? QObject::tr("select") : QObject::tr("unselect"),
             msg.data.value(QStringLiteral("LayerName")).toString())
        .arg(msg.data.value(QStringLiteral("count")).toInt())
        .arg(msg.data.value(QStringLiteral("dropped")).toInt());
}

class MoveToolBar : public QToolBar, public PluginEndpoint {
public:
    explicit MoveToolBar(QWidget* host)
        : QToolBar(tr("Move"), host), PluginEndpoint(PluginNames::ToolbarMove, host), m_filter(new QLabel(this)) {
        setObjectName(QStringLiteral("Graphic_Toolbar_Move"));
        setProperty("tolvaToolBarArea", QStringLiteral("top"));
        addRequest("move", tr("Move"), [this] { send(PluginNames::GraphicView, kMoveByDrag); });
        addRequest("copy", tr("Copy"), [this] { send(PluginNames::GraphicView, kCopyByDrag); });
        addRequest("moveByOffset", tr("Move by Offset..."), [this] { askOffset(false); });
        addRequest("copyByOffset", tr("Copy by Offset..."), [this] { askOffset(true); });
        m_filter->setObjectName(QStringLiteral("filterReport"));
        addWidget(m_filter);
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (msg.msgType >= kFilterFirst && msg.msgType <= kFilterLast) m_filter->setText(filterText(msg));
    }

private:
    template <class Slot>
    void addRequest(const char* name, const QString& text, Slot slot) {
        QAction* action = addAction(text);
        action->setObjectName(QLatin1String(name));
        connect(action, &QAction::triggered, this, slot);
    }

    void askOffset(bool copy) {
        TOLVA::PLUGIN::askOffset(this, TOLVA::UIAPI::getUnitString(), copy ? tr("Copy by Offset") : tr("Move by Offset"),
                                 [this, copy](double dx, double dy) {
                                     send(PluginNames::GraphicView, copy ? kCopyByOffset : kMoveByOffset,
                                          {{QStringLiteral("dx"), dx}, {QStringLiteral("dy"), dy}});
                                 });
    }

    QLabel* m_filter;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(MoveToolBar)
