// Tools and input: one place switches tools, the Qt event handlers do the
// view's own bookkeeping and hand each event to the active tool, and the
// right button opens the context menu after a short delay.
#include <glog/logging.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Measure.h"
#include "ViewTool/LineEditTool.h"
#include "ViewTool/PullTool.h"
#include "ViewTool/RegionDivisionTool.h"
#include "ViewTool/RulerTool.h"
#include "ViewTool/SelectTool.h"
#include "UIAPICommon.h"
#include "core/display_unit.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
using T = Graphic_ViewTool;

constexpr qint32 kSelectModeCodes[] = {20000202, 20000203, 20000215, 20000223, 20000224,
                                       20000227, 20000242, 20000244, 20000245, 20000061,
                                       20000062, 20000063, 20000064, 10000102, 20004801};
constexpr qint32 kClipCodes[] = {20002000, 20002001};
constexpr qint32 kMoveCopyModeCodes[] = {20000207, 20000208, 20000209, 20000210};
constexpr int kShiftModifierValue = 0x2000000;  // Qt::ShiftModifier, compared with key() on purpose
constexpr double kShiftMovementFactor = 0.1;
constexpr qint32 kSelectToolbarCode = 20000202;

// The kernel's snap modes carry the shared UI numbers.
static_assert(int(MEASURE::snap_mode::CENTER) == UIAPI::SNAP_CENTER &&
                  int(MEASURE::snap_mode::SKELETON) == UIAPI::SNAP_SKELETON &&
                  int(MEASURE::snap_mode::EDGE) == UIAPI::SNAP_EDGE &&
                  int(MEASURE::snap_mode::INTERSECTION) == UIAPI::SNAP_INTERSECTION &&
                  int(MEASURE::snap_mode::GRID) == UIAPI::SNAP_GRID &&
                  int(MEASURE::snap_mode::MIDPOINT) == UIAPI::SNAP_MIDPOINT &&
                  int(MEASURE::snap_mode::PROFILE) == UIAPI::SNAP_PROFILE &&
                  int(MEASURE::snap_mode::OFF) == UIAPI::SNAP_OFF,
              "snap mode numbers differ between the kernel and the UI state");

template <std::size_t N>
bool isOneOf(qint32 code, const qint32 (&codes)[N]) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}
}  // namespace

// ---- switching ---------------------------------------------------------------

void ViewWidget::changeTool(GRAPHIC_TOOL_TYPE type) {
    try {
        // Asking again for the active tool switches it off; repeated symbol
        // requests keep the draw-symbol tool.
        const bool toggleOff = m_tool && m_tool->getType() == type && type != T::DRAW_SYMBOL_TOOL;
        setCursor(Qt::ArrowCursor);
        installTool(createTool(this, toggleOff ? T::NORMAL_TOOL : type));
    } catch (...) {
        reportFailure(this, "graphic_view.cpp", __LINE__, std::current_exception(), tr("Information"));
    }
}

// The active tool gives way only to a tool that exists: when the factory
// fails, the view keeps working with the tool it had.
bool ViewWidget::installTool(Graphic_ViewTool* fresh) {
    if (!fresh) {
        LOG(ERROR) << "GRAPHIC_VIEW: the tool could not be created; the active tool stays";
        return false;
    }
    if (m_tool) {
        // A slot reached from the old tool's own signal may be running: it
        // goes at the next turn of the event loop, disconnected now, both
        // ways (an undo request must reach the active tool only).
        m_tool->disconnect();
        disconnect(this, nullptr, m_tool, nullptr);
        m_tool->deleteLater();
    }
    m_tool = fresh;
    return true;
}

void ViewWidget::change_to_select_tool() {
    changeTool(T::SELECT_TOOL);
    if (m_tool) {
        PluginMetaData param;
        param.sender = QString(QChar(kSelectToolbarCode & 0xFF));  // 202: U+00CA
        m_tool->setWorkParam(&param);
        add_tool_param(m_tool->getType(), param);
    }
    sendTo(PluginNames::ToolbarEdit, kSelectToolbarCode);
}

void ViewWidget::change_to_last_tool() {
    if (m_lastToolMsg.msgType != -1) {
        recMsgFromManager(PluginMetaData(m_lastToolMsg));
        return;
    }
    changeTool(T::ZOOMIN_TOOL);
}

void ViewWidget::reset_tool_status() {
    changeTool(T::NORMAL_TOOL);
    m_lastToolMsg.msgType = -1;
    sendTo(PluginNames::ToolbarEdit, 10000205);
    LOG(INFO) << "GRAPHIC_VIEW:\tReset tool complete!";
}

void ViewWidget::resetAllButtonStatus() { changeTool(T::NORMAL_TOOL); }

void ViewWidget::add_tool_param(GRAPHIC_TOOL_TYPE type, const PluginMetaData& msg) {
    m_toolParams.append({PluginMetaData(PluginNames::GraphicView, QString(), -1), type, msg});
}

// ---- tool-opening requests ---------------------------------------------------

// The pattern of every request that opens a tool: a mode code for the tool
// already active only re-configures it; anything else switches (with the
// toggle rule) and hands the message to the new tool.
void ViewWidget::openToolFromRequest(PluginMetaData msg, GRAPHIC_TOOL_TYPE type, const qint32* modeCodes,
                                     int modeCount) {
    const bool modeCode = std::find(modeCodes, modeCodes + modeCount, msg.msgType) != modeCodes + modeCount;
    if (modeCode && m_tool && m_tool->getType() == type) {
        m_tool->setWorkParam(&msg);
        add_tool_param(type, msg);
        return;
    }
    const Graphic_ViewTool* before = m_tool;
    changeTool(type);
    if (m_tool == before) return;  // no new tool: the request is not the old tool's
    m_tool->setWorkParam(&msg);
    add_tool_param(m_tool->getType(), msg);
}

void ViewWidget::doSignalBoxSelect(PluginMetaData msg) {
    if (isOneOf(msg.msgType, kClipCodes)) {
        // Clipping always starts a fresh select tool, whatever is active.
        m_polygonPoints.clear();
        setCursor(Qt::ArrowCursor);
        if (installTool(createTool(this, T::SELECT_TOOL))) m_tool->setWorkParam(&msg);
        return;
    }
    openToolFromRequest(msg, T::SELECT_TOOL, kSelectModeCodes, int(std::size(kSelectModeCodes)));
}

void ViewWidget::doMoveAndCopySelect(PluginMetaData msg) {
    openToolFromRequest(msg, T::MOVE_COPY_TOOL, kMoveCopyModeCodes, int(std::size(kMoveCopyModeCodes)));
}

void ViewWidget::diSignalBoxDelete(PluginMetaData msg) { openToolFromRequest(msg, T::DELETE_TOOL, nullptr, 0); }
// Another line edit mode while editing re-configures the tool; asking again
// for the mode it has switches it off, as with every tool.
void ViewWidget::doLineEditSelect(PluginMetaData msg) {
    auto* edit = qobject_cast<LineEditTool*>(m_tool);
    const std::optional<LineEditTool::Mode> mode = LineEditTool::modeOf(msg.msgType);
    if (edit && mode && *mode != edit->mode()) {
        edit->setWorkParam(&msg);
        add_tool_param(T::LINE_EDIT_TOOL, msg);
        return;
    }
    openToolFromRequest(msg, T::LINE_EDIT_TOOL, nullptr, 0);
}
// The pull tool's typed pulls and its commit act on the active tool; its
// corner modes re-configure it, the mode it has switches it off.
void ViewWidget::doPullFeatureSelect(PluginMetaData msg) {
    auto* pull = qobject_cast<PullTool*>(m_tool);
    if (pull && PullTool::actsOnActiveTool(msg.msgType, pull->corners())) {
        pull->setWorkParam(&msg);
        add_tool_param(T::PULL_TOOL, msg);
        return;
    }
    openToolFromRequest(msg, T::PULL_TOOL, nullptr, 0);
}
void ViewWidget::doOpenPopView(PluginMetaData msg) { openToolFromRequest(msg, T::POPVIEW_TOOL, nullptr, 0); }
// Another measure mode while measuring re-configures the tool; asking again
// for the mode it has switches it off, as with every tool.
void ViewWidget::doMeasureSelect(PluginMetaData msg) {
    auto* ruler = qobject_cast<RulerTool*>(m_tool);
    if (ruler && RulerTool::isMeasureCode(msg.msgType) && ruler->requestCode() != msg.msgType) {
        ruler->setWorkParam(&msg);
        add_tool_param(T::RULER_TOOL, msg);
        return;
    }
    openToolFromRequest(msg, T::RULER_TOOL, nullptr, 0);
}
void ViewWidget::do_mark(PluginMetaData msg) { openToolFromRequest(msg, T::MARK_TOOL, nullptr, 0); }
// "symbol" names the symbol to draw with; without it the last one stays.
void ViewWidget::draw_use_symbol(PluginMetaData msg) {
    const QString symbol = msg.data.value(QStringLiteral("symbol")).toString().trimmed();
    if (!symbol.isEmpty()) m_currentSymbol = symbol;
    openToolFromRequest(msg, T::DRAW_SYMBOL_TOOL, nullptr, 0);
}
// Every point request re-configures an active point tool instead of toggling it.
void ViewWidget::doPointSelect(PluginMetaData msg) {
    static constexpr qint32 kPointCodes[] = {20001802, 20001803, 20001805, 20001809, 20001814};
    openToolFromRequest(msg, T::POINT_TOOL, kPointCodes, int(std::size(kPointCodes)));
}
void ViewWidget::change_Notes_tool(PluginMetaData msg) { openToolFromRequest(msg, T::NOTES_TOOL, nullptr, 0); }
// The step-and-repeat requests are in Graphic_view_Step.cpp.

// ---- hole, region and profile tools (keys in ViewTool/AllignholeTool.cpp,
//      ViewTool/ProfileBoundTool.cpp) ---------------------------------------

// 20004205 opens the hole tool with its parameters; while it is open the
// request only re-configures it (a resize request resizes again).
void ViewWidget::setResizeHoleTmpData(PluginMetaData msg) {
    static constexpr qint32 kHoleCodes[] = {20004205};
    openToolFromRequest(msg, T::ALLIGN_HOLE_TOOL, kHoleCodes, int(std::size(kHoleCodes)));
}

// 20000270, "Tool": 16 (profile), 17 (holes), 25 (edit), 26 (divide a
// surface by a cut line) or 27 (cut out of a surface). A bare request for
// the active tool switches it off, as every tool request does; one that
// carries parameters (any other key) re-configures it instead. Both region
// modes report type 26, so switching between them closes the one open first.
void ViewWidget::doOpenEditTool(PluginMetaData msg) {
    static constexpr int kOpenable[] = {T::PROFILE_BOUND_TOOL, T::ALLIGN_HOLE_TOOL, T::EDIT_TOOL,
                                        T::REGION_DIVISION_TOOL, T::REGION_DIVISION_TOOL_2, T::SNAP_TOOL};
    bool ok = false;
    const int asked = msg.data.value(QStringLiteral("Tool")).toInt(&ok);
    if (!ok || std::find(std::begin(kOpenable), std::end(kOpenable), asked) == std::end(kOpenable)) {
        LOG(ERROR) << "GRAPHIC_VIEW: open-tool request refused: \"Tool\" "
                   << msg.data.value(QStringLiteral("Tool")).toString().toStdString() << " names no tool it opens";
        return;
    }
    const auto type = GRAPHIC_TOOL_TYPE(asked);
    const auto* region = qobject_cast<const RegionDivisionTool*>(m_tool);
    const bool regionAsked = type == T::REGION_DIVISION_TOOL || type == T::REGION_DIVISION_TOOL_2;
    if (region && regionAsked && region->mode() != (type == T::REGION_DIVISION_TOOL_2 ? 1 : 0))
        changeTool(T::NORMAL_TOOL);
    if (m_tool && m_tool->getType() == type && msg.data.size() > 1) {
        m_tool->setWorkParam(&msg);
        add_tool_param(type, msg);
        return;
    }
    openToolFromRequest(msg, type, nullptr, 0);
}

// ---- snapping and boxes ------------------------------------------------------

bool ViewWidget::cur_layers_exist() { return !m_job.isEmpty() && !m_shownLayers.isEmpty(); }

bool ViewWidget::get_shift_state() const { return QApplication::keyboardModifiers() & Qt::ShiftModifier; }

// The snap search: the kernel's nearest point of the current snap mode on the
// snap layer (the work layer when none is set), searched within the shared
// snap size around the point, or within the box when that is wider. Grid and
// profile snapping need no layer.
bool ViewWidget::on_snap_mode_point_check(const QRectF& box, const QPointF& point, QPointF& snapped) {
    if (box.isEmpty() || m_snapMode == UIAPI::SNAP_OFF) return false;
    const double sizeRadius = UIAPI::getSnapSize(m_host) / m_scale;
    const double boxRadius = std::max(box.width(), box.height()) / 2;
    return snapNear(point, std::max(sizeRadius, boxRadius), snapped);
}

bool ViewWidget::snapNear(const QPointF& point, double radius, QPointF& snapped) {
    using MEASURE::snap_mode;
    if (m_job.isEmpty() || m_snapMode < UIAPI::SNAP_CENTER || m_snapMode >= UIAPI::SNAP_OFF) return false;
    MEASURE::snap_request request;
    request.mode = snap_mode(m_snapMode);
    request.x = point.x();
    request.y = point.y();
    request.radius = radius;
    if (request.mode == snap_mode::GRID) {
        const UIAPI::SnapGrid grid = UIAPI::getSnapGrid(m_host);
        request.grid_x = grid.origin_x;
        request.grid_y = grid.origin_y;
        request.grid_pitch_x = grid.pitch_x;
        request.grid_pitch_y = grid.pitch_y;
    } else if (request.mode != snap_mode::PROFILE) {
        const std::string layer = m_snapLayer.empty() ? work_layer : m_snapLayer;
        if (layer.empty()) return false;
        request.layers = {layer};
    }
    try {
        const MEASURE::snap_result found = MEASURE::snap(job(), step(), request);
        m_lastSnapError.clear();
        if (!found.found) return false;
        snapped = QPointF(found.x, found.y);
        return true;
    } catch (...) {
        // Asked on every mouse move: a failure is logged once, not per event.
        const QString text = describeFailure(std::current_exception()).text;
        if (text != m_lastSnapError) logFailure(__FILE__, __LINE__, text);
        m_lastSnapError = text;
        return false;
    }
}

// The tools whose clicks are points that snapping may move.
bool ViewWidget::takesPoints() const {
    switch (m_tool ? m_tool->getType() : T::NORMAL_TOOL) {
    case T::RULER_TOOL:
    case T::MOVE_COPY_TOOL:
    case T::MOVE_COPY_SAME_LAYER_TOOL:
    case T::EDIT_BUFFER_TOOL:
    case T::DRAW_SYMBOL_TOOL:
    case T::POINT_TOOL:
    case T::LINE_EDIT_TOOL:
    case T::PULL_TOOL:
    case T::ROTATE_TOOL:
    case T::PROFILE_BOUND_TOOL:
    case T::REGION_DIVISION_TOOL:
    case T::SNAP_TOOL: return true;
    case T::SELECT_TOOL: {
        const auto* select = qobject_cast<const SelectTool*>(m_tool);
        return select && select->clipMode() != SelectTool::NoClip;
    }
    default: return false;
    }
}

// Shows where a click would land before it is made. Asked only while
// snapping is on and a point-taking tool is active; the kernel looks only at
// the features near the cursor, so a move costs little.
void ViewWidget::updateSnapCandidate(const QPoint& pixel) {
    const UIAPI::CoordinateRecord& coordinate = UIAPI::getCoordinate(m_host);
    m_hasSnapCandidate = false;
    // The snap tool snaps whether or not snapping is on for the other tools.
    const bool snapping = coordinate.snap_on || (m_tool && m_tool->getType() == T::SNAP_TOOL);
    if (!snapping || coordinate.locked || !takesPoints() || !cur_layers_exist()) return;
    QPointF snapped;
    m_hasSnapCandidate = snapNear(toBoard(pixel), UIAPI::getSnapSize(m_host) / m_scale, snapped);
    m_snapCandidate = snapped;
}

// ---- events --------------------------------------------------------------------

void ViewWidget::mousePressEvent(QMouseEvent* event) {
    m_pressPoint = event->pos();
    switch (event->button()) {
    case Qt::LeftButton: {
        const QPointF board = toBoard(event->pos());
        UIAPI::CoordinateRecord& coordinate = UIAPI::getCoordinate(m_host);
        if (coordinate.snap_on && !coordinate.locked) {
            QPointF snapped = board;
            coordinate.has_snap_point = on_snap_mode_point_check(clickBox(event->pos()), board, snapped);
            coordinate.snap_x = snapped.x();
            coordinate.snap_y = snapped.y();
        }
        m_tool->leftButtonPress(event);
        break;
    }
    case Qt::MiddleButton:
        m_midButtonHeld = true;
        m_tool->midButtonPress(event);
        break;
    case Qt::RightButton:
        ++m_rightClickCount;
        m_menuTimer->start(kMenuDelayMs);
        break;
    default: break;
    }
}

void ViewWidget::mouseMoveEvent(QMouseEvent* event) {
    if (rect().contains(event->pos())) setFocus();
    m_mousePoint = event->pos();
    m_lastMousePos = event->localPos();
    updateCoordinateReadout(event->pos());
    updateSnapCandidate(event->pos());
    sendTo(PluginNames::MiniMap, 10000000,
           {{QStringLiteral("x"), m_lastBoardPoint.x()}, {QStringLiteral("y"), m_lastBoardPoint.y()}});
    // Four routings, each ending in exactly one call: a left drag with the
    // normal tool, a left drag during a middle drag with tool 18, a middle
    // drag with the ruler, and everything else.
    const Qt::MouseButtons buttons = event->buttons();
    const int type = m_tool->getType();
    if ((buttons & Qt::LeftButton) && type == T::NORMAL_TOOL && !m_midButtonHeld)
        m_tool->mouseMove(event);
    else if ((buttons & Qt::LeftButton) && m_midButtonHeld && type == 18)
        m_tool->mouseMove(event);
    else if ((buttons & Qt::MiddleButton) && !m_midButtonHeld && type == T::RULER_TOOL)
        m_tool->mouseMove(event);
    else
        m_tool->mouseMove(event);
}

void ViewWidget::updateCoordinateReadout(const QPoint& pixel) {
    m_lastBoardPoint = toBoard(pixel);
    const DisplayUnit u = DisplayUnit::of(m_unit != QLatin1String("Inch"));
    const QString unit = QStringLiteral("  ") + QLatin1String(u.suffix);
    m_coordinateText = QStringLiteral("X = ") + u.number(m_lastBoardPoint.x()) + unit +
                       QStringLiteral("\nY = ") + u.number(m_lastBoardPoint.y()) + unit;
    UIAPI::CoordinateRecord& coordinate = UIAPI::getCoordinate(m_host);
    coordinate.x = m_lastBoardPoint.x();
    coordinate.y = m_lastBoardPoint.y();
    coordinate.text = m_coordinateText;
}

void ViewWidget::mouseReleaseEvent(QMouseEvent* event) {
    m_midButtonHeld = false;
    try {
        switch (event->button()) {
        case Qt::LeftButton: m_tool->leftButtonRelease(event); break;
        case Qt::MiddleButton: m_tool->midButtonRelease(event); break;
        default: m_tool->rightButtonRelease(event); break;
        }
    } catch (...) {
        const int line = __LINE__;
        logFailure("graphic_view.cpp", line, describeFailure(std::current_exception()).text);
        prompt::information(this, tr("Information"),
                            tr("There is something wrong when mouse button release, toolbar will be reset soon!\n "
                               "Here is the pos:") + QStringLiteral("graphic_view.cpp : %1").arg(line));
        reset_tool_status();
    }
}

void ViewWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    LOG(INFO) << "double click slot";
    switch (event->button()) {
    case Qt::LeftButton: m_tool->leftButtonDoubleClick(event); break;
    case Qt::MiddleButton:
        m_tool->midButtonDoubleClick(event);
        m_polygonPoints.clear();
        break;
    case Qt::RightButton:
        m_menuTimer->stop();  // a double right click never opens the menu
        sendTo(PluginNames::JobList, 20000421);
        break;
    default: break;
    }
    event->accept();
}

void ViewWidget::wheelEvent(QWheelEvent* event) { m_tool->wheel(event); }

void ViewWidget::keyPressEvent(QKeyEvent* event) {
    PluginMetaData forward(PluginNames::GraphicView, PluginNames::GraphicEditor, 20003400);
    forward.payload = event;
    QTpluginsManger4CAM::instance()->transmitDataToFramework(m_host, forward);

    const double step = get_shift_state() ? kShiftMovementFactor : UIAPI::getMovementFactor();
    switch (event->key()) {
    case Qt::Key_Up: move(0, truncToInt(step * height())); return;
    case Qt::Key_Down: move(0, truncToInt(-step * height())); return;
    case Qt::Key_Left: move(truncToInt(step * width()), 0); return;
    case Qt::Key_Right: move(truncToInt(-step * width()), 0); return;
    case Qt::Key_Return:
    case Qt::Key_Enter: finishGestureByEnter(); return;
    default: return;
    }
}

// Enter confirms: a click selection with the select tool, the end of the
// gesture (as a double click) with the tools that finish on one.
void ViewWidget::finishGestureByEnter() {
    const int type = m_tool->getType();
    const QPoint at = m_lastMousePos.toPoint();
    if (type == T::SELECT_TOOL) {
        QRectF box = clickBox(at);
        sendBoxRequest(20000402, box);
        return;
    }
    if (type == T::LINE_EDIT_TOOL || type == T::PULL_TOOL || type == T::DELETE_TOOL || type == T::MOVE_COPY_TOOL) {
        QMouseEvent doubleClick(QEvent::MouseButtonDblClick, m_lastMousePos, mapToGlobal(at), Qt::LeftButton,
                                Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(this, &doubleClick);
    }
}

void ViewWidget::keyReleaseEvent(QKeyEvent* event) {
    PluginMetaData forward(PluginNames::GraphicView, PluginNames::GraphicEditor, 20003401);
    forward.payload = event;
    QTpluginsManger4CAM::instance()->transmitDataToFramework(m_host, forward);
    // Compares the key with the modifier's value, which no key code has: the
    // real Shift release is reported by the event filter.
    if (event->key() == kShiftModifierValue) sendTo(PluginNames::JobList, 20000406);
}

bool ViewWidget::eventFilter(QObject* watched, QEvent* event) {
    if (watched == this && (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Shift)
            sendTo(PluginNames::JobList, event->type() == QEvent::KeyPress ? 20000405 : 20000406);
    }
    return QWidget::eventFilter(watched, event);
}

void ViewWidget::contextMenuEvent(QContextMenuEvent*) {}

// ---- context menu ----------------------------------------------------------------

void ViewWidget::timerslot() {
    m_menuTimer->stop();
    const QPoint at = QCursor::pos();
    if (!m_menu) buildContextMenu();
    fillContextMenu();
    m_menu->exec(at);
    m_rightClickCount = 0;
}

// The actions and the hole sub-menu belong to the view, not to the menu:
// every opening refills the menu with clear(), which deletes what the menu
// owns, and the same actions must serve every later opening.
void ViewWidget::buildContextMenu() {
    m_menu = new QMenu(this);
    auto action = [this](const char* text, void (ViewWidget::*slot)()) {
        QAction* a = new QAction(tr(text), this);
        connect(a, &QAction::triggered, this, slot);
        return a;
    };
    m_actions.zoomArea = action("Zoom Area", &ViewWidget::on_zoom_area);
    m_actions.measure = action("Measure", &ViewWidget::on_Measure);
    m_actions.selectNone = action("Select None", &ViewWidget::on_select_none);
    m_actions.selectFeature = action("Select Feature", &ViewWidget::on_select_feature);
    m_actions.selectArea = action("Select Area", &ViewWidget::on_select_area);
    m_actions.selectPolygon = action("Select Polygon", &ViewWidget::on_select_polygon);
    m_actions.selectLayerNet = action("Select Layer Net", &ViewWidget::on_select_layer_net);
    m_actions.selectBoardNet = action("Select Board Net", &ViewWidget::on_select_board_net);
    m_actions.selectPolyline = action("Select Polyline", &ViewWidget::on_select_polyline);
    m_actions.reverse = action("Reverse Selection", &ViewWidget::on_counterelection);
    m_holeMenu = new QMenu(tr("Set Global Hole"), this);
    m_actions.addGlobal = action("Add Positioning Hole", &ViewWidget::on_add_global);
    m_actions.addArea = action("Set Area Hole", &ViewWidget::on_add_area);
    m_holeMenu->addAction(m_actions.addGlobal);
    m_holeMenu->addAction(m_actions.addArea);
}

// The entries follow the TVDI mode flag at the moment the menu opens.
void ViewWidget::fillContextMenu() {
    m_menu->clear();
    if (m_tvdiMode) {
        m_menu->addMenu(m_holeMenu);
        m_holeMenu->setEnabled(m_holeFlags[1] && m_holeFlags[2]);
        m_actions.addArea->setEnabled(m_holeFlags[0] && m_holeFlags[1] && m_holeFlags[2]);
        return;
    }
    m_menu->addAction(m_actions.zoomArea);
    m_menu->addSection(QStringLiteral("-"));
    m_menu->addAction(m_actions.measure);
    m_menu->addSection(QStringLiteral("-"));
    for (QAction* a : {m_actions.selectNone, m_actions.selectFeature, m_actions.selectArea, m_actions.selectPolygon,
                       m_actions.selectLayerNet, m_actions.selectBoardNet, m_actions.selectPolyline})
        m_menu->addAction(a);
    m_menu->addSection(QStringLiteral("-"));
    m_menu->addAction(m_actions.reverse);
}

void ViewWidget::on_zoom_area() { sendTo(PluginNames::ToolbarEdit, 20000201); }
void ViewWidget::on_Measure() { sendTo(PluginNames::ToolbarEdit, 20000247); }
void ViewWidget::on_select_feature() { sendTo(PluginNames::ToolbarEdit, 20000202); }
void ViewWidget::on_select_area() { sendTo(PluginNames::ToolbarEdit, 20000203); }
void ViewWidget::on_select_polygon() { sendTo(PluginNames::ToolbarEdit, 20000223); }
void ViewWidget::on_select_polyline() { sendTo(PluginNames::ToolbarEdit, 20000242); }
void ViewWidget::on_select_layer_net() { sendTo(PluginNames::ToolbarEdit, 20000244); }
void ViewWidget::on_select_board_net() { sendTo(PluginNames::ToolbarEdit, 20000245); }
void ViewWidget::on_counterelection() { sendTo(PluginNames::JobList, 20001639); }

// One code for the three hole kinds; "HoleKind" tells them apart.
void ViewWidget::on_add_posi_hole() { sendTo(PluginNames::JobList, 10000605, {{QStringLiteral("HoleKind"), QStringLiteral("positioning")}}); }
void ViewWidget::on_add_matrix_hole() { sendTo(PluginNames::JobList, 10000605, {{QStringLiteral("HoleKind"), QStringLiteral("matrix")}}); }
void ViewWidget::on_add_plum_hole() { sendTo(PluginNames::JobList, 10000605, {{QStringLiteral("HoleKind"), QStringLiteral("plum")}}); }

// Clears the selection of the work layer and the affected layers in the kernel.
void ViewWidget::on_select_none() {
    guarded(__FILE__, __LINE__, [&] {
        std::vector<std::string> layers = affected_layers;
        if (!work_layer.empty() && std::find(layers.begin(), layers.end(), work_layer) == layers.end())
            layers.push_back(work_layer);
        for (const std::string& layer : layers) {
            if (DB::get_SaveFlag()) DB::clear_selected_features_db_save(job(), step(), layer);
            API::clear_selected_features(job(), step(), layer);
        }
    });
    draw();
    refresh();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
