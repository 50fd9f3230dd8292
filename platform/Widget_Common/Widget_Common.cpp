#include "Widget_Common.h"

#include <QCloseEvent>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

#include "UIAPICommon.h"

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
