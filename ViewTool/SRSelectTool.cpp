#include "SRSelectTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>
#include <functional>

#include "FeatureOutline.h"
#include "graphic_view/graphic_view.h"
#include "graphic_view/step_repeat.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "SR_SELECT_TOOL";
constexpr char kInitLine[] = "SR_SELECT_TOOL : INIT";
constexpr double kPi = 3.14159265358979323846;
constexpr int kLabelOffsetPixels = 14;
const QColor kSelectedFill(255, 200, 0, 60);
const QColor kSelectedEdge(255, 200, 0);

struct ModeCode {
    qint32 code;
    SRSelectTool::Mode mode;
};
constexpr ModeCode kModeCodes[] = {
    {20001420, SRSelectTool::SelectMode}, {20001421, SRSelectTool::UnselectMode},
    {20001425, SRSelectTool::SelectMode}, {20000254, SRSelectTool::MoveMode},
    {20000256, SRSelectTool::CopyMode},   {20000259, SRSelectTool::RotateMode},
};

double degreesOf(const QPointF& v) { return std::atan2(v.y(), v.x()) * 180.0 / kPi; }

QPolygonF onWidget(const QPolygonF& board, const std::function<QPoint(const QPointF&)>& toPixel) {
    QPolygonF pixels;
    for (const QPointF& p : board) pixels << toPixel(p);
    return pixels;
}
}  // namespace

std::optional<SRSelectTool::Mode> SRSelectTool::modeOf(qint32 code) {
    for (const ModeCode& m : kModeCodes)
        if (m.code == code) return m.mode;
    return std::nullopt;
}

SRSelectTool::SRSelectTool(ViewWidget* view)
    : EditingTool(view, SR_SELECT_TOOL, kPrefix, kInitLine), m_filtered(view) {
    for (const ModeCode& m : kModeCodes) m_knownCodes.append(m.code);
    if (!view) return;
    m_band = new QRubberBand(QRubberBand::Rectangle, view);
    m_band->hide();
    view->installEventFilter(this);
}

SRSelectTool::~SRSelectTool() {
    delete m_band;
    if (m_filtered) m_filtered->removeEventFilter(this);
}

void SRSelectTool::setWorkParam(PluginMetaData* msg) {
    const std::optional<Mode> mode = msg ? modeOf(msg->msgType) : std::nullopt;
    if (!mode) return logTypeError(m_prefix);
    m_lastParam = *msg;
    m_mode = *mode;
    dropDrag();
}

bool SRSelectTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && (m_leftHeld || m_dragging)) {
        dropDrag();
        return true;
    }
    return false;
}

void SRSelectTool::dropDrag() {
    m_leftHeld = m_dragging = false;
    m_offset = QPointF();
    m_angle = 0;
    if (m_band) m_band->hide();
    m_view->update();
}

InstanceSelect SRSelectTool::selectHow(Qt::KeyboardModifiers modifiers) const {
    if (m_mode == UnselectMode || (modifiers & Qt::ControlModifier)) return InstanceSelect::Remove;
    if (modifiers & Qt::ShiftModifier) return InstanceSelect::Add;
    return InstanceSelect::Replace;
}

void SRSelectTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = event->pos();
    m_pressBoard = snappedBoardPoint(event->pos());
    m_leftHeld = true;
    m_dragging = false;
    m_offset = QPointF();
    m_angle = 0;
    m_pivot = selectionCentre();
}

QPointF SRSelectTool::selectionCentre() {
    QRectF all;
    for (const STEP::sr_instance& i : m_view->selectedInstances()) all = all.united(placedBox(i));
    return all.center();
}

int SRSelectTool::sweptAngle(const QPoint& pixel, Qt::KeyboardModifiers modifiers) const {
    // Board y runs upwards: angles are taken on board points.
    const QPointF from = m_view->toBoard(m_pressPixel) - m_pivot, to = m_view->toBoard(pixel) - m_pivot;
    double angle = std::remainder(degreesOf(to) - degreesOf(from), 360.0);
    if (modifiers & Qt::ShiftModifier) angle = kShiftStepDegrees * std::round(angle / kShiftStepDegrees);
    return int(std::lround(angle));
}

void SRSelectTool::mouseMove(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld || !(event->buttons() & Qt::LeftButton)) return;
    if (!m_dragging && !beyondClickSlack(m_pressPixel, event->pos())) return;
    m_dragging = true;
    switch (m_mode) {
    case SelectMode:
    case UnselectMode:
        if (m_band) {
            m_band->setGeometry(QRect(m_pressPixel, event->pos()).normalized());
            m_band->show();
        }
        break;
    case MoveMode:
    case CopyMode: m_offset = snappedBoardPoint(event->pos()) - m_pressBoard; break;
    case RotateMode: m_angle = sweptAngle(event->pos(), event->modifiers()); break;
    }
    m_view->update();
}

void SRSelectTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    const bool dragged = m_dragging || beyondClickSlack(m_pressPixel, event->pos());
    m_dragging = false;
    if (m_band) m_band->hide();
    if (!dragged) pick(event->pos(), event->pos(), event->modifiers());
    else if (m_mode == SelectMode || m_mode == UnselectMode) pick(m_pressPixel, event->pos(), event->modifiers());
    else finishEdit(event->pos(), event->modifiers());
    m_offset = QPointF();
    m_angle = 0;
    m_view->update();
}

// A click hands the view its click box, a drag the dragged box.
void SRSelectTool::pick(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers) {
    const QRectF box = from == to ? m_view->clickBox(to) : boardBox(from, to);
    const InstanceSelect how = m_mode == UnselectMode || m_mode == SelectMode ? selectHow(modifiers)
                               : (modifiers & Qt::ShiftModifier)           ? InstanceSelect::Add
                                                                           : InstanceSelect::Replace;
    m_view->receive_SR_Select_box(box, how);
}

void SRSelectTool::finishEdit(const QPoint& at, Qt::KeyboardModifiers modifiers) {
    if (m_mode == RotateMode) {
        const int angle = sweptAngle(at, modifiers);
        if (angle != 0) m_view->rotateSelectedInstances(angle);
        return;
    }
    const QPointF offset = snappedBoardPoint(at) - m_pressBoard;
    if (offset.isNull()) return;
    if (m_mode == MoveMode) m_view->moveSelectedInstances(offset.x(), offset.y());
    else m_view->copySelectedInstances(offset.x(), offset.y());
}

QVector<QPolygonF> SRSelectTool::previewOutlines() {
    QVector<QPolygonF> outlines;
    if (!m_dragging || m_mode == SelectMode || m_mode == UnselectMode) return outlines;
    const std::vector<STEP::sr_instance> placed =
        m_mode == RotateMode ? turnedBy(m_view->selectedInstances(), m_angle)
                             : movedBy(m_view->selectedInstances(), m_offset.x(), m_offset.y());
    for (const STEP::sr_instance& i : placed) outlines.append(m_view->instanceOutline(i));
    return outlines;
}

void SRSelectTool::paint(QPainter* painter) {
    const auto pixel = [this](const QPointF& p) { return toPixel(p); };
    painter->save();
    painter->setPen(QPen(kSelectedEdge, 2));
    painter->setBrush(kSelectedFill);
    for (const QPolygonF& outline : m_view->selectedInstanceOutlines()) painter->drawPolygon(onWidget(outline, pixel));
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(kOutlineColor, 1, Qt::DashLine));
    for (const QPolygonF& outline : previewOutlines()) painter->drawPolygon(onWidget(outline, pixel));
    if (m_dragging && m_mode == RotateMode)
        painter->drawText(toPixel(m_pivot) + QPoint(kLabelOffsetPixels, -kLabelOffsetPixels),
                          QStringLiteral("%1\u00b0").arg(m_angle));
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
