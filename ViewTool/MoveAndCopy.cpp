#include "MoveAndCopy.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <algorithm>

#include "FeatureOutline.h"
#include "TOLVA_API.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "MOVE_AND_COPY";
constexpr char kInitLine[] = "MOVE_AND_COPY:\tinit";
constexpr char kNoModeLine[] = "MOVE_AND_COPY:\tGet wrong data type when mouse click!";
const QString kDxKey = QStringLiteral("dx");
const QString kDyKey = QStringLiteral("dy");

// The layers an edit acts on: the affected layers, then the work layer.
std::vector<std::string> editLayers(const ViewWidget& view) {
    std::vector<std::string> layers = view.affected_layers;
    const std::string& work = view.work_layer;
    if (!work.empty() && std::find(layers.begin(), layers.end(), work) == layers.end()) layers.push_back(work);
    return layers;
}

// A number carried in the message data; nothing when the key is missing or
// its value is not a number.
std::optional<double> numberIn(const PluginMetaData& msg, const QString& key) {
    bool readable = false;
    const double value = msg.data.value(key).toDouble(&readable);
    if (!msg.data.contains(key) || !readable) return std::nullopt;
    return value;
}
}  // namespace

MoveAndCopy::MoveAndCopy(ViewWidget* view)
    : EditingTool(view, MOVE_COPY_TOOL, "MOVE_AND_COPY", kInitLine), m_clickTimer(new QTimer(this)) {
    m_clickTimer->setSingleShot(true);
    m_clickTimer->setInterval(kClickDelayMs);
    connect(this, &MoveAndCopy::sendTextBox, view, &ViewWidget::receive_text_box);
    connect(this, &MoveAndCopy::sendDoubleTextBox, view, &ViewWidget::receive_text_box_doubleClick);
    connect(this, &MoveAndCopy::sendCopyCutData, view, &ViewWidget::receive_tool_edit_copy_and_cut);
    connect(m_clickTimer, &QTimer::timeout, this, &MoveAndCopy::mouse_click);
    connect(this, &MoveAndCopy::changeCurrentSelection, view, &ViewWidget::getNewSelectedFeature);
}

void MoveAndCopy::setWorkParam(PluginMetaData* msg) {
    switch (msg ? msg->msgType : 0) {
    case kMoveCode: m_mode = MoveMode; return;
    case kCopyCode: m_mode = CopyMode; return;
    case kMoveByOffsetCode: moveByTypedOffset(*msg, MoveMode); return;
    case kCopyByOffsetCode: moveByTypedOffset(*msg, CopyMode); return;
    default: logTypeError(kPrefix); return;
    }
}

void MoveAndCopy::moveByTypedOffset(const PluginMetaData& msg, Mode mode) {
    const std::optional<double> dx = numberIn(msg, kDxKey), dy = numberIn(msg, kDyKey);
    if (!dx || !dy) {
        logTypeError(kPrefix);
        return;
    }
    m_mode = mode;
    emit sendCopyCutData(*dx, *dy, this, mode == CopyMode);
}

void MoveAndCopy::leftButtonPress(QMouseEvent* event) {
    event->accept();
    if (event->modifiers() & Qt::ControlModifier) {
        emit changeCurrentSelection(m_view->clickBox(event->pos()));
        return;
    }
    m_pressPixel = m_cursorPixel = event->pos();
    m_pressBoard = m_view->toBoard(m_pressPixel);
    m_clickBox = m_view->clickBox(m_pressPixel);
    m_leftHeld = true;
    m_dragging = false;
    m_clickTimer->start();
}

void MoveAndCopy::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (!m_leftHeld || !(event->buttons() & Qt::LeftButton)) return;
    if (!m_dragging && beyondClickSlack(m_pressPixel, m_cursorPixel)) startDrag();
    if (m_dragging) m_view->update();
}

void MoveAndCopy::startDrag() {
    m_clickTimer->stop();  // a drag is not a click
    m_dragging = true;
    readSelectionOutline();
}

void MoveAndCopy::readSelectionOutline() {
    m_selection.clear();
    m_selectionExtent.reset();
    m_selectionPreview = QPixmap();
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    if (job.empty()) return;
    try {
        for (const std::string& layer : editLayers(*m_view)) {
            if (DB::get_SaveFlag()) DB::get_selected_feature_info_db_save(job, step, layer);
            API::get_selected_feature_info(job, step, layer, m_selection[layer]);
        }
    } catch (...) {
        // Only the outline is lost: the drag itself still works.
        m_selection.clear();
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        return;
    }
    m_selectionExtent = featureExtent(m_selection);
    if (m_selectionExtent) m_selectionPreview = outlinePreview(m_selection, *m_selectionExtent);
}

void MoveAndCopy::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    if (!m_dragging) return;  // a click: the timer decides
    m_dragging = false;
    m_view->update();
    finishDrag(event->pos());
}

void MoveAndCopy::finishDrag(const QPoint& release) {
    if (m_mode == NoMode) {
        LOG(ERROR) << kNoModeLine;
        return;
    }
    const QPointF shift = snappedBoardPoint(release) - m_pressBoard;
    emit sendCopyCutData(shift.x(), shift.y(), this, m_mode == CopyMode);
}

void MoveAndCopy::mouse_click() {
    if (m_mode == NoMode) {
        LOG(ERROR) << kNoModeLine;
        return;
    }
    emit sendTextBox(m_clickBox);
}

void MoveAndCopy::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    m_clickTimer->stop();  // the pending single click is dropped
    emit sendDoubleTextBox(m_view->clickBox(event->pos()));
}

void MoveAndCopy::midButtonPress(QMouseEvent* event) {
    rememberMiddlePress(event);
    event->accept();
}

void MoveAndCopy::midButtonRelease(QMouseEvent* event) {
    panOnMiddleRelease(event);
    event->accept();
}

void MoveAndCopy::paint(QPainter* painter) {
    if (!m_dragging) return;
    if (m_selectionExtent) {
        const QPointF shift = m_view->toBoard(m_cursorPixel) - m_pressBoard;
        drawOutlinesAt(painter, m_selection, *m_selectionExtent, m_selectionPreview,
                       onView(m_selectionExtent->translated(shift)));
    }
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1));
    painter->drawLine(m_pressPixel, m_cursorPixel);
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
