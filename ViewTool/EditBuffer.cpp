#include "EditBuffer.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QPainter>

#include "FeatureOutline.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kInitLine[] = "EDIT_BUFFER_TOOL:\tInit";
constexpr char kTypeErrorLine[] = "EDIT_BUFFER_TOOL:\tEditor type error in EditBuffer Tool!";
constexpr char kMoveTypeLine[] = "EDIT_BUFFER_TOOL:\tEdit type is not right when mouse moving!";
constexpr char kMoveSizeLine[] = "EDIT_BUFFER_TOOL:\tRectangle list size is wrong when mouse moving!";
constexpr char kPaintTypeLine[] = "EDIT_BUFFER_TOOL:\tEdit type is not right when painting!";
constexpr char kPressTypeLine[] = "EDIT_BUFFER_TOOL:\tEdit type is not right when press left button!";
constexpr char kPressSizeLine[] =
    "EDIT_BUFFER_TOOL:\tThe paste buffer size is not right when press left button! We have clear the buffer, "
    "please recopy again!";
const QString kTypeKey = QStringLiteral("type");

bool isEditType(int type) { return type == EditBuffer::kCutType || type == EditBuffer::kCopyType; }

// Box 0 alone (nothing placed yet) or box 0 and box 1 (placed before).
bool isPlaceableBoxCount(const UIAPI::Edit_Buffer& buffer) {
    return buffer.boxes.size() == 1 || buffer.boxes.size() == 2;
}
}  // namespace

EditBuffer::EditBuffer(ViewWidget* view) : EditingTool(view, EDIT_BUFFER_TOOL, "EDIT_BUFFER_TOOL", kInitLine) {
    connect(this, &EditBuffer::on_copy_or_cut_clicked, view, &ViewWidget::get_copy_or_cut_features);
    connect(this, &EditBuffer::on_paste_clicked, view, &ViewWidget::receive_Buffer_CpyAndCut);
    connect(this, &EditBuffer::on_cancel_copy_or_cut, view, &ViewWidget::RecieveMidbuttonclick);
}

void EditBuffer::setWorkParam(PluginMetaData* msg) {
    if (msg && msg->msgType == kCopyOrCutCode) {
        copyOrCut(*msg);
    } else if (msg && msg->msgType == kPasteCode) {
        m_placing = true;
        m_paintFaultLogged = false;
        m_view->update();
    } else {
        LOG(ERROR) << kTypeErrorLine;
    }
}

// Copy unless the request says otherwise.
void EditBuffer::copyOrCut(const PluginMetaData& msg) {
    bool readable = true;
    const int type = msg.data.contains(kTypeKey) ? msg.data.value(kTypeKey).toInt(&readable) : kCopyType;
    if (!readable || !isEditType(type)) {
        LOG(ERROR) << kTypeErrorLine;
        return;
    }
    m_placing = false;
    emit on_copy_or_cut_clicked();
    describeBufferedFeatures(type);
}

void EditBuffer::describeBufferedFeatures(int editType) {
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_view->host());
    buffer.edit_type = editType;
    const std::optional<QRectF> extent = featureExtent(buffer.features);
    buffer.boxes.clear();
    if (extent) buffer.boxes.append(*extent);
    buffer.preview = extent ? outlinePreview(buffer.features, *extent) : QPixmap();
}

QRectF EditBuffer::targetBox(const QRectF& source, const QPoint& pixel) const {
    return centredAt(source, snappedBoardPoint(pixel));
}

void EditBuffer::mouseMove(QMouseEvent* event) {
    event->accept();
    if (!m_placing) return;
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_view->host());
    if (!isEditType(buffer.edit_type)) {
        LOG(ERROR) << kMoveTypeLine;
        return;
    }
    if (!isPlaceableBoxCount(buffer)) {
        LOG(ERROR) << kMoveSizeLine;
        return;
    }
    const QRectF target = targetBox(buffer.boxes[0], event->pos());
    if (buffer.boxes.size() == 1)
        buffer.boxes.append(target);
    else
        buffer.boxes[1] = target;
    m_view->update();
}

void EditBuffer::leftButtonPress(QMouseEvent* event) {
    event->accept();
    if (!m_placing) return;
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_view->host());
    if (!isEditType(buffer.edit_type)) {
        LOG(ERROR) << kPressTypeLine;
        return;
    }
    if (!isPlaceableBoxCount(buffer)) {
        LOG(ERROR) << kPressSizeLine;
        m_view->clear_eidt_buffer();
        return;
    }
    const QRectF source = buffer.boxes[0];
    buffer.boxes = {source, targetBox(source, event->pos())};
    emit on_paste_clicked();
}

void EditBuffer::paint(QPainter* painter) {
    if (!m_placing) return;
    const UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_view->host());
    if (!isEditType(buffer.edit_type)) {
        if (!m_paintFaultLogged) LOG(ERROR) << kPaintTypeLine;
        m_paintFaultLogged = true;
        return;
    }
    m_paintFaultLogged = false;
    if (buffer.boxes.isEmpty()) return;
    drawBoxFrame(painter, onView(buffer.boxes[0]));
    if (buffer.boxes.size() >= 2)
        drawOutlinesAt(painter, buffer.features, buffer.boxes[0], buffer.preview, onView(buffer.boxes[1]));
}

void EditBuffer::middleClicked() {
    m_placing = false;
    emit on_cancel_copy_or_cut();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
