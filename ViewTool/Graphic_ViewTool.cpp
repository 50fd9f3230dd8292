#include "Graphic_ViewTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

Graphic_ViewTool::Graphic_ViewTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type)
    : QObject(nullptr), m_view(view), m_type(type) {
    // The previous tool's overlay must disappear.
    if (m_view) m_view->update();
}

Graphic_ViewTool::~Graphic_ViewTool() = default;

void Graphic_ViewTool::panByArrowKey(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Up: m_view->move(0, -kArrowPanPixels); break;
    case Qt::Key_Down: m_view->move(0, kArrowPanPixels); break;
    case Qt::Key_Left: m_view->move(-kArrowPanPixels, 0); break;
    case Qt::Key_Right: m_view->move(kArrowPanPixels, 0); break;
    default: break;
    }
}

void Graphic_ViewTool::zoomByWheel(QWheelEvent* event) {
    const QPointF pos = event->position();
    if (wheelDelta(event) < 1)
        m_view->wheelScaleDown(pos);
    else
        m_view->wheelScaleUp(pos);
}

int Graphic_ViewTool::wheelDelta(const QWheelEvent* event) {
    const QPoint delta = event->angleDelta();
    return delta.y() != 0 ? delta.y() : delta.x();
}

void Graphic_ViewTool::rememberMiddlePress(QMouseEvent* event) {
    m_pressX = event->pos().x();
    m_pressY = event->pos().y();
}

void Graphic_ViewTool::panOnMiddleRelease(QMouseEvent* event) {
    m_currentX = event->pos().x();
    m_currentY = event->pos().y();
    // Only a horizontal component starts a pan; the test on x alone is kept.
    if (m_currentX - m_pressX != 0) m_view->move(m_currentX - m_pressX, m_currentY - m_pressY);
}

void Graphic_ViewTool::logInit(const char* prefix) const { LOG(INFO) << prefix << " : INIT"; }

void Graphic_ViewTool::logTypeError(const char* prefix) const {
    LOG(ERROR) << prefix << ": type error when set work type!";
}

DefaultTool::DefaultTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix,
                         std::initializer_list<qint32> knownCodes)
    : Graphic_ViewTool(view, type), m_prefix(logPrefix), m_knownCodes(knownCodes) {
    logInit(m_prefix);
}

DefaultTool::DefaultTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine)
    : Graphic_ViewTool(view, type), m_prefix(logPrefix) {
    LOG(INFO) << initLine;
}

void DefaultTool::midButtonPress(QMouseEvent* event) { event->accept(); }
void DefaultTool::midButtonRelease(QMouseEvent* event) { event->accept(); }
void DefaultTool::leftButtonPress(QMouseEvent* event) { event->accept(); }
void DefaultTool::leftButtonRelease(QMouseEvent* event) { event->accept(); }
void DefaultTool::leftButtonDoubleClick(QMouseEvent* event) { event->accept(); }
void DefaultTool::auxMouseEvent(QMouseEvent* event) { event->accept(); }
void DefaultTool::midButtonDoubleClick(QMouseEvent* event) { event->accept(); }
void DefaultTool::rightButtonRelease(QMouseEvent* event) { event->accept(); }
void DefaultTool::wheel(QWheelEvent* event) { event->accept(); }
void DefaultTool::mouseMove(QMouseEvent* event) { event->accept(); }
void DefaultTool::auxEvent(QEvent* event) { event->accept(); }
void DefaultTool::paint(QPainter*) {}

void DefaultTool::toolKeyPress(QKeyEvent* event) {
    panByArrowKey(event);
    event->accept();
}

void DefaultTool::setWorkParam(PluginMetaData* msg) {
    if (msg && m_knownCodes.contains(msg->msgType)) {
        m_lastParam = *msg;
        return;
    }
    logTypeError(m_prefix);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
