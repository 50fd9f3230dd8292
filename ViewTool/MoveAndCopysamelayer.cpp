#include "MoveAndCopysamelayer.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QPainter>

#include "FeatureOutline.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kInitLine[] = "MOVE_AND_COPY_SAMELAYER:\t INIT";
constexpr char kWorkTypeLine[] = "MOVE_AND_COPY_SAMELAYER:\t Edit type is wrong when Set work type";
constexpr char kDisorderedLine[] = "MOVE_AND_COPY_SAMELAYER:\t Mouse click are disordered!";
}  // namespace

MoveAndCopysamelayer::MoveAndCopysamelayer(ViewWidget* view)
    : EditingTool(view, MOVE_COPY_SAME_LAYER_TOOL, "MOVE_AND_COPY_SAMELAYER", kInitLine) {
    connect(this, &MoveAndCopysamelayer::sendMidbuttonclick, view, &ViewWidget::RecieveMidbuttonclick);
    connect(this, &MoveAndCopysamelayer::sendMoveOffsetBox, view, &ViewWidget::receive_MoveOffset_box);
    connect(this, &MoveAndCopysamelayer::sendCopyOffsetBox, view, &ViewWidget::receive_CopyOffset_box);
}

void MoveAndCopysamelayer::setWorkParam(PluginMetaData* msg) {
    const qint32 code = msg ? msg->msgType : 0;
    if (code != kMoveCode && code != kCopyCode) {
        LOG(ERROR) << kWorkTypeLine;
        return;
    }
    m_mode = code == kMoveCode ? MoveMode : CopyMode;
    m_boxes.clear();  // a new mode starts a new offset
    m_view->update();
}

void MoveAndCopysamelayer::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = m_cursorPixel = event->pos();
    m_leftHeld = true;
}

void MoveAndCopysamelayer::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (m_leftHeld || !m_boxes.isEmpty()) m_view->update();
}

// A release without its press (the press went to the tool before this one)
// takes no box.
void MoveAndCopysamelayer::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) {
        LOG(ERROR) << kDisorderedLine;
        return;
    }
    m_leftHeld = false;
    m_cursorPixel = event->pos();
    addBox(takenBox(event->pos()));
}

bool MoveAndCopysamelayer::isDraggingRectangle() const {
    return m_leftHeld && beyondClickSlack(m_pressPixel, m_cursorPixel);
}

QRectF MoveAndCopysamelayer::takenBox(const QPoint& release) const {
    const bool dragged = beyondClickSlack(m_pressPixel, release);
    const QRectF box = dragged ? boardBox(m_pressPixel, release) : m_view->clickBox(release);
    const QPoint centre = dragged ? QRect(m_pressPixel, release).normalized().center() : release;
    const std::optional<QPointF> snapped = snapPoint(centre);
    return snapped ? centredAt(box, *snapped) : box;
}

void MoveAndCopysamelayer::addBox(const QRectF& box) {
    m_boxes.append(box);
    m_view->update();
    if (m_boxes.size() < 2) return;
    const QList<QRectF> offset = m_boxes;
    m_boxes.clear();  // the next click starts the next offset
    switch (m_mode) {
    case MoveMode: emit sendMoveOffsetBox(offset); break;
    case CopyMode: emit sendCopyOffsetBox(offset); break;
    case NoMode: LOG(ERROR) << kWorkTypeLine; break;
    }
}

void MoveAndCopysamelayer::paint(QPainter* painter) {
    painter->save();
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(kBoxFrameColor, 1, Qt::DashLine));
    if (isDraggingRectangle()) painter->drawRect(QRect(m_pressPixel, m_cursorPixel).normalized());
    if (!m_boxes.isEmpty()) {
        const QRectF reference = m_boxes.first();
        painter->drawPolygon(onView(reference));
        painter->drawPolygon(onView(centredAt(reference, m_view->toBoard(m_cursorPixel))));
        painter->setPen(QPen(kBoxFrameColor, 1));
        painter->drawLine(toPixel(reference.center()), m_cursorPixel);
    }
    painter->restore();
}

void MoveAndCopysamelayer::middleClicked() {
    emit sendMidbuttonclick();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
