// The edit tool bar: one button per interaction tool of the view, pressed
// while that tool is the one asked for, and the snap mode. The view's own
// context menu asks through this tool bar, so that the pressed button and
// the view's tool stay in step: the tool bar presses the button and sends
// the view the request that opens the tool.
#include <glog/logging.h>

#include <QAction>
#include <QActionGroup>
#include <QComboBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QToolBar>
#include <algorithm>
#include <vector>

#include "PluginNames.h"
#include "UIAPICommon.h"
#include "plugin_widgets.h"

namespace {

using TOLVA::PLUGIN::describeData;

struct ToolButton {
    const char* text;
    const char* name;  // object name of the action
    qint32 request;    // what a click sends the view
    std::vector<qint32> pressedBy;  // codes from the view that press the button
    // The view switches this tool off when it is asked for again, so a
    // second click releases the button; the select modes only re-configure.
    bool secondClickReleases;
    // Feature-edit tools: the draw-symbol mode sent as "mode" (with the
    // symbol of the tool bar's symbol field), a shortcut shown in the
    // tooltip, and the button's icon.
    const char* drawMode = nullptr;
    const char* shortcut = nullptr;
    void (*icon)(QPainter&, const QRectF&) = nullptr;
    // Tools opened by the view's open-tool request (20000270): its "Tool".
    int openTool = 0;
};

// Icons of the feature-edit buttons, drawn on a small transparent square.
namespace icons {
void deleteCross(QPainter& p, const QRectF& r) {
    p.setPen(QPen(QColor(220, 40, 40), 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(r.topLeft(), r.bottomRight());
    p.drawLine(r.topRight(), r.bottomLeft());
}
void pad(QPainter& p, const QRectF& r) {
    p.setBrush(QColor(0, 170, 230));
    p.setPen(Qt::NoPen);
    p.drawEllipse(r.adjusted(3, 3, -3, -3));
}
void line(QPainter& p, const QRectF& r) {
    p.setPen(QPen(QColor(0, 170, 230), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPolyline(QPolygonF({r.bottomLeft(), QPointF(r.center().x(), r.top()), r.bottomRight()}));
}
void surface(QPainter& p, const QRectF& r) {
    p.setBrush(QColor(0, 170, 230));
    p.setPen(QPen(QColor(0, 90, 140), 1));
    p.drawPolygon(QPolygonF({r.bottomLeft(), r.topLeft() + QPointF(4, 0), r.topRight(), r.bottomRight() - QPointF(6, 0)}));
}
void editArrow(QPainter& p, const QRectF& r) {
    p.setPen(QPen(Qt::darkGray, 2));
    p.setBrush(Qt::white);
    p.drawPolygon(QPolygonF({r.topLeft(), r.topLeft() + QPointF(0, r.height() * 0.8),
                             r.topLeft() + QPointF(r.width() * 0.3, r.height() * 0.6), r.topLeft() + QPointF(r.width() * 0.6, r.height() * 0.6)}));
    p.setPen(QPen(QColor(0, 170, 230), 2));
    p.drawLine(r.center(), r.bottomRight());
}
void moveArrows(QPainter& p, const QRectF& r) {
    p.setPen(QPen(Qt::darkGray, 2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(r.left(), r.center().y()), QPointF(r.right(), r.center().y()));
    p.drawLine(QPointF(r.center().x(), r.top()), QPointF(r.center().x(), r.bottom()));
}
void copySquares(QPainter& p, const QRectF& r) {
    p.setPen(QPen(Qt::darkGray, 2));
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0, 0, -r.width() * 0.35, -r.height() * 0.35));
    p.drawRect(r.adjusted(r.width() * 0.35, r.height() * 0.35, 0, 0));
}
}  // namespace icons

// ---- hole, region and profile tools: icons --------------------------------
namespace regionIcons {
void holes(QPainter& p, const QRectF& r) {
    p.setPen(QPen(QColor(0, 170, 230), 2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(r.adjusted(2, 2, -2, -2));
    p.setBrush(Qt::darkGray);
    p.setPen(Qt::NoPen);
    p.drawEllipse(QRectF(r.center() - QPointF(3, 3), QSizeF(6, 6)));
}
void divide(QPainter& p, const QRectF& r) {
    p.fillRect(r, QColor(0, 170, 230));
    p.setPen(QPen(Qt::white, 2, Qt::DashLine));
    p.drawLine(r.topLeft() + QPointF(r.width() * 0.6, 0), r.bottomLeft() + QPointF(r.width() * 0.4, 0));
}
void cutOut(QPainter& p, const QRectF& r) {
    p.fillRect(r, QColor(0, 170, 230));
    p.fillRect(r.adjusted(r.width() * 0.3, r.height() * 0.3, -r.width() * 0.3, -r.height() * 0.3), Qt::white);
}
void profile(QPainter& p, const QRectF& r) {
    p.setPen(QPen(Qt::darkGray, 2));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(r.adjusted(1, 1, -1, -1), 4, 4);
}
}  // namespace regionIcons

// ---- line edit and pull tools: icons --------------------------------------
namespace lineIcons {
void handleAt(QPainter& p, const QPointF& at) {
    p.setPen(QPen(Qt::white, 1));
    p.setBrush(Qt::darkGray);
    p.drawRect(QRectF(at - QPointF(3, 3), QSizeF(6, 6)));
}
void moveEnd(QPainter& p, const QRectF& r) {
    p.setPen(QPen(QColor(0, 170, 230), 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(r.bottomLeft(), r.center());
    p.drawLine(r.center(), r.topRight());
    handleAt(p, r.center());
}
void pull(QPainter& p, const QRectF& r) {
    p.setPen(QPen(QColor(0, 170, 230), 3, Qt::SolidLine, Qt::RoundCap));
    const double y = r.top() + r.height() * 0.3;
    p.drawPolyline(QPolygonF({r.bottomLeft(), QPointF(r.left() + r.width() * 0.25, y),
                              QPointF(r.right() - r.width() * 0.25, y), r.bottomRight()}));
    p.setPen(QPen(Qt::darkGray, 2));
    p.drawLine(QPointF(r.center().x(), r.bottom()), QPointF(r.center().x(), y + 3));
}
void pull45(QPainter& p, const QRectF& r) {
    pull(p, r);
    handleAt(p, QPointF(r.left() + r.width() * 0.25, r.top() + r.height() * 0.3));
}
// A segment with the mode's letter over it, for the modes without a picture.
void lettered(QPainter& p, const QRectF& r, const char* letter) {
    p.setPen(QPen(QColor(0, 170, 230), 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(r.bottomLeft() + QPointF(0, -2), r.bottomRight() + QPointF(0, -2));
    p.setPen(Qt::darkGray);
    QFont font = p.font();
    font.setBold(true);
    font.setPixelSize(int(r.height() * 0.7));
    p.setFont(font);
    p.drawText(r.adjusted(0, -2, 0, -4), Qt::AlignCenter, QLatin1String(letter));
}
}  // namespace lineIcons

// The view's context menu sends 20000247 for "Measure"; the view itself
// reads that code as a contour answer, so the tool bar asks for the ruler
// with the first measure code instead.
const std::vector<ToolButton>& toolButtons() {
    static const std::vector<ToolButton> buttons = {
        {"Zoom Area", "zoomArea", 20000201, {20000201}, true},
        {"Select Feature", "selectFeature", 20000202, {20000202}, false},
        {"Select Area", "selectArea", 20000203, {20000203}, false},
        {"Select Polygon", "selectPolygon", 20000223, {20000223}, false},
        {"Select Polyline", "selectPolyline", 20000242, {20000242}, false},
        {"Select Net", "selectNet", 20000224, {20000224}, false},
        {"Select Layer Net", "selectLayerNet", 20000244, {20000244}, false},
        {"Select Board Net", "selectBoardNet", 20000245, {20000245}, false},
        {"Measure", "measure", 20000230, {20000247, 20000230}, true},
        {"Measure Edge to Edge", "measureEdge", 20000231, {20000231}, true},
        {"Measure Center to Center", "measureCenter", 20000232, {20000232}, true},
        {"Measure Along", "measureAlong", 20000233, {20000233}, true},
        {"Measure Angle", "measureAngle", 20000234, {20000234}, true},
        {"Snap Point", "snapPoint", 20000270, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "SP"); }, 28},
        // ---- feature-edit tools: text, name, request, pressed by, releases, mode, shortcut, icon ----
        {"Delete Features", "deleteFeatures", 20000206, {20000206}, true, nullptr, "Shift+Del", icons::deleteCross},
        {"Edit Feature", "editFeature", 20000270, {}, false, nullptr, "E", icons::editArrow, 25},
        {"Move", "moveFeatures", 20000207, {20000207}, true, nullptr, "M", icons::moveArrows},
        {"Copy", "copyFeatures", 20000208, {20000208}, true, nullptr, "C", icons::copySquares},
        {"Draw Pads", "drawPad", 50, {}, false, "pad", "P", icons::pad},
        {"Draw Lines", "drawLine", 50, {}, false, "line", "L", icons::line},
        {"Draw Surface", "drawSurface", 50, {}, false, "surface", "S", icons::surface},
        // ---- hole, region and profile tools, opened by "Tool" of 20000270 ----
        {"Align Holes", "alignHoles", 20000270, {}, true, nullptr, nullptr, regionIcons::holes, 17},
        {"Divide Surface", "divideSurface", 20000270, {}, true, nullptr, nullptr, regionIcons::divide, 26},
        {"Cut Out of Surface", "cutOutSurface", 20000270, {}, true, nullptr, nullptr, regionIcons::cutOut, 27},
        {"Profile", "profileBound", 20000270, {}, true, nullptr, nullptr, regionIcons::profile, 16},
        // ---- line edit modes and pulls: a second click on the mode the tool
        // has switches it off; another mode re-configures it ----
        {"Move Line End", "lineEditEnd", 20000211, {}, true, nullptr, nullptr, lineIcons::moveEnd},
        {"Move Line End Alone", "lineEditEndAlone", 20001404, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "A"); }},
        {"Move Segment", "lineEditSegment", 20000212, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "M"); }},
        {"Split Line", "lineEditSplit", 20000213, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "/"); }},
        {"Join Lines", "lineEditJoin", 20000216, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "+"); }},
        {"Move Surface Vertex", "lineEditVertex", 20000237, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "V"); }},
        {"Add Surface Vertex", "lineEditAddVertex", 20000238, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "V+"); }},
        {"Arc Radius", "lineEditArcRadius", 20000239, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "R"); }},
        {"Arc to Line", "lineEditArcToLine", 20000240, {}, true, nullptr, nullptr, [](QPainter& p, const QRectF& r) { lineIcons::lettered(p, r, "L"); }},
        {"Pull", "pull", 20000219, {}, true, nullptr, nullptr, lineIcons::pull},
        {"Pull with 45-Degree Corners", "pull45", 20000220, {}, true, nullptr, nullptr, lineIcons::pull45},
    };
    return buttons;
}

struct SnapChoice {
    const char* text;
    qint32 request;
    int mode;  // TOLVA::UIAPI::SNAP_TYPE_MODE the view stores for the request
};

const std::vector<SnapChoice>& snapChoices() {
    using namespace TOLVA::UIAPI;
    static const std::vector<SnapChoice> choices = {
        {"Snap Off", 20001647, SNAP_OFF},           {"Snap Center", 20001653, SNAP_CENTER},
        {"Snap Skeleton", 20001651, SNAP_SKELETON}, {"Snap Edge", 20001649, SNAP_EDGE},
        {"Snap Intersection", 20001650, SNAP_INTERSECTION}, {"Snap Grid", 20001652, SNAP_GRID},
        {"Snap Midpoint", 20001654, SNAP_MIDPOINT}, {"Snap Profile", 20001676, SNAP_PROFILE},
    };
    return choices;
}

constexpr qint32 kReleaseAll = 10000205;
constexpr qint32 kAttributes = 20001807;
constexpr qint32 kSymbol = 20001811;

class EditToolBar : public QToolBar, public TOLVA::PLUGIN::PluginEndpoint {
public:
    explicit EditToolBar(QWidget* host)
        : QToolBar(tr("Edit Tools"), host),
          PluginEndpoint(PluginNames::ToolbarEdit, host),
          m_group(new QActionGroup(this)),
          m_snap(new QComboBox(this)),
          m_status(new QLabel(this)),
          m_symbol(new QLineEdit(this)) {
        setObjectName(QStringLiteral("Graphic_Toolbar_Edit"));
        setProperty("tolvaToolBarArea", QStringLiteral("top"));
        m_group->setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
        for (const ToolButton& button : toolButtons()) addToolButton(button);
        addSymbolField();
        addSeparator();
        buildSnapChoice();
        addSnapGridSwitch();
        m_status->setObjectName(QStringLiteral("status"));
        addWidget(m_status);
    }

protected:
    void receive(const PluginMetaData& msg) override {
        if (msg.msgType == kReleaseAll) return releaseAll();
        if (msg.msgType == kAttributes || msg.msgType == kSymbol) return showForward(msg);
        if (QAction* action = actionPressedBy(msg.msgType)) {
            action->setChecked(true);
            requestTool(action);
            return;
        }
        if (msg.msgType != TOLVA::PLUGIN::BoundJob::kCode)
            LOG(INFO) << "Graphic_Toolbar_Edit: code " << msg.msgType << " from " << msg.sender.toStdString()
                      << " ignored";
    }

private:
    void addToolButton(const ToolButton& button) {
        QAction* action = addAction(tr(button.text));
        action->setObjectName(QLatin1String(button.name));
        action->setCheckable(true);
        action->setData(int(&button - toolButtons().data()));
        decorate(action, button);
        m_group->addAction(action);
        connect(action, &QAction::triggered, this, [this, action](bool pressed) {
            if (!pressed && !entryOf(action).secondClickReleases) action->setChecked(true);
            requestTool(action);
        });
    }

    void buildSnapChoice() {
        m_snap->setObjectName(QStringLiteral("snapMode"));
        const int current = TOLVA::UIAPI::getSnapMode(host());
        for (const SnapChoice& choice : snapChoices()) {
            m_snap->addItem(tr(choice.text), choice.request);
            if (choice.mode == current) m_snap->setCurrentIndex(m_snap->count() - 1);
        }
        addWidget(m_snap);
        connect(m_snap, QOverload<int>::of(&QComboBox::activated), this, [this](int index) { chooseSnap(index); });
    }

    // Shows or hides the shared snap grid in the view; its pitch and origin stay.
    void addSnapGridSwitch() {
        QAction* grid = addAction(tr("Snap Grid"));
        grid->setObjectName(QStringLiteral("snapGrid"));
        grid->setCheckable(true);
        grid->setChecked(TOLVA::UIAPI::getSnapGrid(host()).shown);
        connect(grid, &QAction::toggled, this, [this](bool shown) {
            TOLVA::UIAPI::SnapGrid settings = TOLVA::UIAPI::getSnapGrid(host());
            settings.shown = shown;
            TOLVA::UIAPI::setSnapGrid(host(), settings);
        });
    }

    void chooseSnap(int index) {
        if (index < 0 || index >= int(snapChoices().size())) return;
        const SnapChoice& choice = snapChoices()[size_t(index)];
        // A left press in the view looks for a snap point only while snapping is on.
        TOLVA::UIAPI::getCoordinate(host()).snap_on = choice.mode != TOLVA::UIAPI::SNAP_OFF;
        send(PluginNames::GraphicView, choice.request);
    }

    static const ToolButton& entryOf(const QAction* action) { return toolButtons()[size_t(action->data().toInt())]; }

    QAction* actionPressedBy(qint32 code) const {
        for (QAction* action : m_group->actions()) {
            const std::vector<qint32>& codes = entryOf(action).pressedBy;
            if (std::find(codes.begin(), codes.end(), code) != codes.end()) return action;
        }
        return nullptr;
    }

    void requestTool(const QAction* action) {
        const ToolButton& button = entryOf(action);
        QVariantMap data;
        if (button.drawMode)
            data = {{QStringLiteral("mode"), button.drawMode}, {QStringLiteral("symbol"), m_symbol->text().trimmed()}};
        if (button.openTool) data.insert(QStringLiteral("Tool"), button.openTool);
        send(PluginNames::GraphicView, button.request, data);
    }

    // A drawn icon and a tooltip that names the shortcut.
    static void decorate(QAction* action, const ToolButton& button) {
        if (button.icon) {
            QPixmap pixmap(kIconPixels, kIconPixels);
            pixmap.fill(Qt::transparent);
            QPainter painter(&pixmap);
            painter.setRenderHint(QPainter::Antialiasing);
            button.icon(painter, QRectF(3, 3, kIconPixels - 6, kIconPixels - 6));
            painter.end();
            action->setIcon(QIcon(pixmap));
        }
        if (button.shortcut) {
            action->setShortcut(QKeySequence(QLatin1String(button.shortcut)));
            action->setToolTip(QStringLiteral("%1 (%2)").arg(action->text(), QLatin1String(button.shortcut)));
        }
    }

    void addSymbolField() {
        m_symbol->setObjectName(QStringLiteral("drawSymbol"));
        m_symbol->setText(QStringLiteral("r254"));
        m_symbol->setToolTip(tr("Symbol the draw tools use (r, s, rect, oval, donut_r; micrometres)"));
        m_symbol->setMaximumWidth(kSymbolFieldWidth);
        addWidget(m_symbol);
    }

    void releaseAll() {
        if (QAction* pressed = m_group->checkedAction()) pressed->setChecked(false);
    }

    void showForward(const PluginMetaData& msg) {
        const QString what = msg.msgType == kSymbol ? tr("Symbol") : tr("Attributes");
        const QString text = what + QStringLiteral(": ") + describeData(msg.data);
        m_status->setText(text);
        setToolTip(text);
    }

    QActionGroup* m_group;
    QComboBox* m_snap;
    QLabel* m_status;
    QLineEdit* m_symbol;
    static constexpr int kIconPixels = 24;
    static constexpr int kSymbolFieldWidth = 110;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(EditToolBar)
