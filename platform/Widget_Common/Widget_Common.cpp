#include "Widget_Common.h"

#include <QCloseEvent>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

#include "UIAPICommon.h"

Widget_PopView::Widget_PopView(QWidget* parent)
    : QWidget(parent, Qt::Tool), m_label(new QLabel(this)) {
    setWindowTitle(tr("Pop View"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_label);
    resize(240, 180);
}

void Widget_PopView::setBoardArea(const QRectF& area) { m_area = area; }
QRectF Widget_PopView::boardArea() const { return m_area; }
void Widget_PopView::setPickedPoints(const QVector<QPointF>& points) { m_points = points; }
QVector<QPointF> Widget_PopView::pickedPoints() const { return m_points; }

void Widget_PopView::setImage(const QImage& image) {
    m_image = image;
    m_label->setPixmap(QPixmap::fromImage(image));
}

QImage Widget_PopView::image() const { return m_image; }

void Widget_PopView::closeEvent(QCloseEvent* event) {
    emit closed(this);
    QWidget::closeEvent(event);
}

Widget_Fill::Widget_Fill(QWidget* parent) : QDialog(parent) { setWindowTitle(tr("Fill")); }
QString Widget_Fill::symbol() const { return m_symbol; }
double Widget_Fill::stepX() const { return m_stepX; }
double Widget_Fill::stepY() const { return m_stepY; }

void Widget_Fill::setParameters(const QString& symbol, double stepX, double stepY) {
    m_symbol = symbol;
    m_stepX = stepX;
    m_stepY = stepY;
}

Widget_MarkSetting::Widget_MarkSetting(QWidget* parent)
    : QDialog(parent), m_unitLabel(new QLabel(this)) {
    setWindowTitle(tr("Mark Setting"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_unitLabel);
    m_unit = QString::fromStdString(TOLVA::UIAPI::getUnitString());
    m_unitLabel->setText(tr("Unit: %1").arg(m_unit));
}

QString Widget_MarkSetting::unitText() const { return m_unit; }

void Widget_MarkSetting::change_unit() {
    m_unit = QString::fromStdString(TOLVA::UIAPI::getUnitString());
    m_unitLabel->setText(tr("Unit: %1").arg(m_unit));
    ++m_unitChanges;
}

Widget_TVDI_Export::Widget_TVDI_Export(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("TVDI Export"));
}
QString Widget_TVDI_Export::outputPath() const { return m_path; }
void Widget_TVDI_Export::setOutputPath(const QString& path) { m_path = path; }
