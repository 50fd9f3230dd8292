#include "TextInfoTool.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <algorithm>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

TextInfoTool::TextInfoTool(ViewWidget* view)
    : Graphic_ViewTool(view, TEXT_INFO_TOOL), m_rubberBand(new QRubberBand(QRubberBand::Rectangle, view)) {
    m_rubberBand->hide();
    connect(this, &TextInfoTool::sendTextBox, view, &ViewWidget::receive_text_box);
    connect(this, &TextInfoTool::delete_last, view, &ViewWidget::delete_last_edit);
    logInit("TEXT_INFO_TOOL");
}

TextInfoTool::~TextInfoTool() { delete m_rubberBand; }

void TextInfoTool::leftButtonPress(QMouseEvent* event) {
    m_leftPress = event->pos();
    m_leftHeld = true;
    m_rubberBand->setGeometry(QRect(m_leftPress, QSize()));
    m_rubberBand->show();
}

void TextInfoTool::mouseMove(QMouseEvent* event) {
    if (m_leftHeld) m_rubberBand->setGeometry(QRect(m_leftPress, event->pos()).normalized());
}

void TextInfoTool::leftButtonRelease(QMouseEvent* event) {
    m_rubberBand->hide();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    const QPointF a = m_view->toBoard(m_leftPress), b = m_view->toBoard(event->pos());
    emit sendTextBox(QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                            QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y()))));
}

void TextInfoTool::midButtonPress(QMouseEvent* event) { rememberMiddlePress(event); }
void TextInfoTool::midButtonRelease(QMouseEvent* event) { panOnMiddleRelease(event); }
void TextInfoTool::wheel(QWheelEvent* event) { zoomByWheel(event); }
void TextInfoTool::toolKeyPress(QKeyEvent* event) { panByArrowKey(event); }
void TextInfoTool::leftButtonDoubleClick(QMouseEvent*) {}
void TextInfoTool::auxMouseEvent(QMouseEvent*) {}
void TextInfoTool::midButtonDoubleClick(QMouseEvent*) {}
void TextInfoTool::rightButtonRelease(QMouseEvent*) {}
void TextInfoTool::auxEvent(QEvent*) {}
void TextInfoTool::paint(QPainter*) {}
void TextInfoTool::setWorkParam(PluginMetaData*) { logTypeError("TEXT_INFO_TOOL"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
