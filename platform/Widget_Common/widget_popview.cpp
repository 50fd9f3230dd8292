// A pop-view inset: a small window on one board area at its own zoom. The
// inset keeps a centre and a size of its pixels in board units; the window's
// size, the wheel and a left drag change what it shows, and each change asks
// its owner for a new image (imageWanted), which the owner renders.
#include <QCloseEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "Widget_Common.h"

namespace {
constexpr int kDefaultWidth = 240;
constexpr int kDefaultHeight = 180;
constexpr int kMinimumSide = 40;
// One wheel notch (120 eighths of a degree) zooms by this factor.
constexpr double kWheelZoom = 1.25;
constexpr double kNotch = 120.0;
}  // namespace

Widget_PopView::Widget_PopView(QWidget* parent) : QWidget(parent, Qt::Tool) {
    setWindowTitle(tr("Pop View"));
    setMinimumSize(kMinimumSide, kMinimumSide);
    setAttribute(Qt::WA_OpaquePaintEvent);
    resize(kDefaultWidth, kDefaultHeight);
}

// The whole area fits: the longer side of the area relative to the window sets
// the pixel size, the other side shows a little more board.
void Widget_PopView::setBoardArea(const QRectF& area) {
    const QRectF a = area.normalized();
    m_centre = a.center();
    const double w = std::max(1, width()), h = std::max(1, height());
    m_unitsPerPixel = std::max(a.width() / w, a.height() / h);
    emit imageWanted(this);
}

QRectF Widget_PopView::boardArea() const {
    const double hw = width() * m_unitsPerPixel / 2, hh = height() * m_unitsPerPixel / 2;
    return QRectF(m_centre.x() - hw, m_centre.y() - hh, 2 * hw, 2 * hh);
}

// Board y runs up, pixel rows down.
QPointF Widget_PopView::boardAt(const QPointF& pixel) const {
    return {m_centre.x() + (pixel.x() - width() / 2.0) * m_unitsPerPixel,
            m_centre.y() - (pixel.y() - height() / 2.0) * m_unitsPerPixel};
}

void Widget_PopView::setPickedPoints(const QVector<QPointF>& points) { m_points = points; }
QVector<QPointF> Widget_PopView::pickedPoints() const { return m_points; }

void Widget_PopView::setImage(const QImage& image) {
    m_image = image;
    update();
}

QImage Widget_PopView::image() const { return m_image; }

void Widget_PopView::closeEvent(QCloseEvent* event) {
    emit closed(this);
    QWidget::closeEvent(event);
}

void Widget_PopView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    painter.drawImage(0, 0, m_image);
}

// A new size shows more or less board at the same zoom, about the same centre.
void Widget_PopView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (m_unitsPerPixel > 0) emit imageWanted(this);
}

// The board point under the cursor stays under it.
void Widget_PopView::wheelEvent(QWheelEvent* event) {
    const double notches = event->angleDelta().y() / kNotch;
    if (notches == 0 || m_unitsPerPixel <= 0) return;
    const QPointF at = event->position();
    const QPointF fixed = boardAt(at);
    m_unitsPerPixel /= std::pow(kWheelZoom, notches);
    const QPointF moved = boardAt(at);
    m_centre += fixed - moved;
    event->accept();
    emit imageWanted(this);
}

void Widget_PopView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) m_dragFrom = event->pos();
}

// A left drag slides the board with the cursor.
void Widget_PopView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton) || m_unitsPerPixel <= 0) return;
    const QPoint d = event->pos() - m_dragFrom;
    m_dragFrom = event->pos();
    if (d.isNull()) return;
    m_centre += QPointF(-d.x() * m_unitsPerPixel, d.y() * m_unitsPerPixel);
    emit imageWanted(this);
}
