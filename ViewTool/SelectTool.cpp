#include "SelectTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>

#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "SELECT_TOOL";

// The work mode (and clip mode) that each configuring request chooses.
struct ModeCode {
    qint32 code;
    int mode;
    int clip;
};
constexpr ModeCode kModeCodes[] = {
    {20000202, SelectTool::FeatureMode, SelectTool::NoClip},
    {20000203, SelectTool::AreaMode, SelectTool::NoClip},
    {20002000, SelectTool::ClipRectMode, SelectTool::ClipRect},
    {20000223, SelectTool::PolygonMode, SelectTool::NoClip},
    {20002001, SelectTool::PolygonMode, SelectTool::ClipPolygon},
    {20000224, SelectTool::NetMode, SelectTool::NoClip},
    {20000242, SelectTool::PolylineMode, SelectTool::NoClip},
    {20000215, SelectTool::InvertMode, SelectTool::NoClip},
    {20000244, SelectTool::LayerNetMode, SelectTool::NoClip},
    {20000245, SelectTool::BoardNetMode, SelectTool::NoClip},
    {20000061, SelectTool::FilterFirstSelect, SelectTool::NoClip},
    {20000062, SelectTool::FilterNextSelect, SelectTool::NoClip},
    {20000063, SelectTool::FilterFirstUnselect, SelectTool::NoClip},
    {20000064, SelectTool::FilterNextUnselect, SelectTool::NoClip},
    {20000227, SelectTool::HighlightMode, SelectTool::NoClip},
    {10000102, SelectTool::HighlightRectMode, SelectTool::NoClip},
    {20004801, SelectTool::WidthMeasureMode, SelectTool::NoClip},
};
}  // namespace

SelectTool::SelectTool(ViewWidget* view)
    : DefaultTool(view, SELECT_TOOL, kPrefix),
      m_rubberBand(new QRubberBand(QRubberBand::Rectangle, view)),
      m_clickTimer(new QTimer(this)),
      m_midClickTimer(new QTimer(this)) {
    m_rubberBand->hide();
    m_clickTimer->setSingleShot(true);
    m_midClickTimer->setSingleShot(true);
    connect(m_clickTimer, &QTimer::timeout, this, &SelectTool::mouseClick);
    connect(m_midClickTimer, &QTimer::timeout, this, &SelectTool::mouseMidClick);

    connect(this, &SelectTool::sendTextBox, view, &ViewWidget::receive_text_box);
    connect(this, &SelectTool::sendHighLightTextBox, view, &ViewWidget::receive_HighLightTextBox);
    connect(this, &SelectTool::sendHightLightRectBox, view, &ViewWidget::receive_HightLight_Rect_Box);
    connect(this, &SelectTool::sendHighLightTextBoxDouble, view, &ViewWidget::receive_HighLightTextBox_double);
    connect(this, &SelectTool::sendUnHighlightTextbox, view, &ViewWidget::receive_unHighlightTextBox);
    connect(this, &SelectTool::sendRectTextBox, view, &ViewWidget::receive_rect_text_box);
    connect(this, &SelectTool::sendDoubleTextBox, view, &ViewWidget::receive_text_box_doubleClick);
    connect(this, &SelectTool::sendDoubleMidTextBox, view, &ViewWidget::receive_text_box_mid_doubleClick);
    connect(this, &SelectTool::sendPolygonBox, view, &ViewWidget::receive_polygon_box);
    connect(this, &SelectTool::sendClipRectBox, view, &ViewWidget::receive_clip_area_box);
    connect(this, &SelectTool::sendClipPolygonBox, view, &ViewWidget::receive_clip_area_box);
    connect(this, &SelectTool::sendNetSelectionBox, view, &ViewWidget::receive_net_selection_box);
    connect(this, &SelectTool::sendNetUnSelectionBox, view, &ViewWidget::receive_net_unselection_box);
    connect(this, &SelectTool::sendSelectPolyLine, view, &ViewWidget::receive_select_polyLine_box);
    connect(this, &SelectTool::sendSelectBoardNet, view, &ViewWidget::receive_select_BoardNet_box);
    connect(this, &SelectTool::sendSelectLayerNet, view, &ViewWidget::receive_select_LayerNet_box);
    connect(this, &SelectTool::sendUnSelectPolyLine, view, &ViewWidget::receive_unselect_polyLine_box);
    connect(this, &SelectTool::sendInvertTextBox, view, &ViewWidget::receive_select_invert_text_box);
    connect(this, &SelectTool::sendUnselectInvertBox, view, &ViewWidget::receive_unselect_invert_text_box);
    connect(this, &SelectTool::sendInvertDoubleBox, view, &ViewWidget::receive_change_polarity_textbox);
    connect(this, &SelectTool::sendUnselectTextBox, view, &ViewWidget::receive_unselect_text_box);
    connect(this, &SelectTool::delete_last, view, &ViewWidget::delete_last_edit);
}

SelectTool::~SelectTool() { delete m_rubberBand; }

void SelectTool::setWorkParam(PluginMetaData* msg) {
    m_rubberBand->hide();
    m_dragging = false;
    m_clipMode = NoClip;
    m_modeChanged = true;
    const auto it = std::find_if(std::begin(kModeCodes), std::end(kModeCodes),
                                 [&](const ModeCode& m) { return msg && m.code == msg->msgType; });
    if (it == std::end(kModeCodes)) {
        logTypeError(kPrefix);
        return;
    }
    m_selectMode = it->mode;
    m_clipMode = it->clip;
}

bool SelectTool::isClickMode() const {
    return m_selectMode == FeatureMode || m_selectMode == InvertMode || m_selectMode == HighlightMode;
}

bool SelectTool::isPointMode() const {
    return m_selectMode == PolygonMode || m_selectMode == NetMode || m_selectMode == PolylineMode ||
           m_selectMode == LayerNetMode || m_selectMode == BoardNetMode;
}

bool SelectTool::isDragMode() const { return !isClickMode() && !isPointMode(); }

QRectF SelectTool::boardBox(const QPoint& a, const QPoint& b) const {
    const QPointF pa = m_view->toBoard(a), pb = m_view->toBoard(b);
    return QRectF(QPointF(std::min(pa.x(), pb.x()), std::min(pa.y(), pb.y())),
                  QPointF(std::max(pa.x(), pb.x()), std::max(pa.y(), pb.y())));
}

void SelectTool::leftButtonPress(QMouseEvent* event) {
    const QPoint pos = event->pos();
    if (isClickMode() || isPointMode()) {
        m_clickBox = m_view->clickBox(pos);
        m_clickPixel = pos;
        m_clickTimer->start(isClickMode() ? kClickDelayMs : kPointDelayMs);
        return;
    }
    m_pressPixelX = pos.x();
    m_pressPixelY = pos.y();
    m_view->view2db(pos.x(), pos.y(), m_pressBoardX, m_pressBoardY);
    m_rubberBand->setGeometry(QRect(pos, QSize()));
    m_rubberBand->show();
    m_pressSeen = true;
    m_dragging = true;
}

void SelectTool::mouseMove(QMouseEvent* event) {
    m_currentX = event->pos().x();
    m_currentY = event->pos().y();
    if (!m_dragging) return;
    const QPoint press(static_cast<int>(m_pressPixelX), static_cast<int>(m_pressPixelY));
    m_rubberBand->setGeometry(QRect(press, event->pos()).normalized());
}

void SelectTool::leftButtonRelease(QMouseEvent* event) {
    if (!isDragMode()) return;
    m_rubberBand->hide();
    m_dragging = false;
    if (!m_pressSeen) return;
    m_pressSeen = false;
    finishDrag(event->pos());
}

void SelectTool::finishDrag(const QPoint& release) {
    const QPoint press(static_cast<int>(m_pressPixelX), static_cast<int>(m_pressPixelY));
    const QRectF box = boardBox(press, release);
    switch (m_selectMode) {
    case AreaMode: emit sendRectTextBox(box); break;
    case HighlightRectMode: emit sendHightLightRectBox(box); break;
    case WidthMeasureMode:
        m_measuredWidth = std::abs(release.x() - press.x());
        emit sendRectTextBox(box);
        break;
    case ClipRectMode:
        emit sendClipRectBox({box.topLeft(), QPointF(box.left(), box.bottom()), box.bottomRight(),
                              QPointF(box.right(), box.top())});
        break;
    case FilterFirstSelect: m_view->send_filter_selection_info(box, true, true); break;
    case FilterNextSelect: m_view->send_filter_selection_info(box, false, true); break;
    case FilterFirstUnselect: m_view->send_filter_selection_info(box, true, false); break;
    case FilterNextUnselect: m_view->send_filter_selection_info(box, false, false); break;
    default: break;
    }
}

void SelectTool::mouseClick() {
    switch (m_selectMode) {
    case FeatureMode: emit sendTextBox(m_clickBox); break;
    case HighlightMode: emit sendHighLightTextBox(m_clickBox); break;
    case InvertMode: emit sendInvertTextBox(m_clickBox); break;
    case NetMode: emit sendNetSelectionBox(m_clickBox); break;
    case PolylineMode: emit sendSelectPolyLine(m_clickBox); break;
    case LayerNetMode: emit sendSelectLayerNet(m_clickBox); break;
    case BoardNetMode: emit sendSelectBoardNet(m_clickBox); break;
    case PolygonMode: addPolygonPoint(m_clickPixel); break;
    default: break;
    }
}

void SelectTool::midButtonPress(QMouseEvent* event) {
    m_clickBox = m_view->clickBox(event->pos());
    m_midClickTimer->start(isPointMode() ? kPointDelayMs : kClickDelayMs);
}

void SelectTool::mouseMidClick() {
    switch (m_selectMode) {
    case FeatureMode: emit sendUnselectTextBox(m_clickBox); break;
    case HighlightMode: emit sendUnHighlightTextbox(m_clickBox); break;
    case InvertMode: emit sendUnselectInvertBox(m_clickBox); break;
    case NetMode:
    case LayerNetMode:
    case BoardNetMode: emit sendNetUnSelectionBox(m_clickBox); break;
    case PolylineMode: emit sendUnSelectPolyLine(m_clickBox); break;
    default: break;
    }
}

void SelectTool::leftButtonDoubleClick(QMouseEvent* event) {
    m_clickTimer->stop();  // the pending single click is dropped
    const QRectF box = m_view->clickBox(event->pos());
    switch (m_selectMode) {
    case FeatureMode: emit sendDoubleTextBox(box); break;
    case HighlightMode: emit sendHighLightTextBoxDouble(box); break;
    case InvertMode: emit sendInvertDoubleBox(box); break;
    case PolygonMode: {
        const QVector<QPointF> points = m_polygon;
        m_polygon.clear();
        if (m_clipMode == ClipPolygon)
            emit sendClipPolygonBox(points);
        else
            emit sendPolygonBox(points);
        break;
    }
    default: break;
    }
}

void SelectTool::midButtonDoubleClick(QMouseEvent* event) {
    m_midClickTimer->stop();
    emit sendDoubleMidTextBox(m_view->clickBox(event->pos()));
}

// A polygon point: in the clip modes the snap search within the shared snap
// size may move it onto a feature; otherwise it is the plain conversion.
void SelectTool::addPolygonPoint(const QPoint& pixel) {
    QPointF point = m_view->toBoard(pixel);
    if (m_clipMode != NoClip) {
        const int radius = UIAPI::getSnapSize(m_view->host());
        QPointF snapped;
        if (m_view->on_snap_mode_point_check(m_view->clickBox(pixel, radius), point, snapped)) point = snapped;
    }
    m_polygon.append(point);
    m_view->update();
}

void SelectTool::paint(QPainter* painter) {
    if (m_polygon.size() < 2) return;
    painter->setPen(QPen(Qt::white, 1));
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    for (int i = 1; i < m_polygon.size(); ++i) {
        m_view->db2view(m_polygon[i - 1].x(), m_polygon[i - 1].y(), x0, y0);
        m_view->db2view(m_polygon[i].x(), m_polygon[i].y(), x1, y1);
        painter->drawLine(x0, y0, x1, y1);
    }
}

void SelectTool::wheel(QWheelEvent* event) { zoomByWheel(event); }

}  // namespace GRAPHIC
}  // namespace TOLVA
