// The contour fill dialog: what to fill with and where the contour comes from.
// Lengths are edited in the shared display unit and handed back in board
// units; editors that do not apply to the chosen mode are disabled.
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "UIAPICommon.h"
#include "Widget_Common.h"

namespace {
constexpr double kNmPerMm = 1e6;
constexpr double kNmPerInch = 25.4e6;
constexpr double kLargestLengthMm = 1000;  // a panel is never wider than a metre

QDoubleSpinBox* lengthBox(QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setDecimals(5);
    box->setRange(0, kLargestLengthMm);
    return box;
}

bool millimetres() { return QString::fromStdString(TOLVA::UIAPI::getUnitString()).compare(QStringLiteral("MM"), Qt::CaseInsensitive) == 0; }
}  // namespace

Widget_Fill::Widget_Fill(QWidget* parent)
    : QDialog(parent),
      m_mode(new QComboBox(this)),
      m_source(new QComboBox(this)),
      m_width(lengthBox(this)),
      m_pitchX(lengthBox(this)),
      m_pitchY(lengthBox(this)),
      m_angle(new QDoubleSpinBox(this)),
      m_clearance(lengthBox(this)),
      m_symbol(new QLineEdit(this)),
      m_cross(new QCheckBox(tr("Cross hatch"), this)),
      m_staggered(new QCheckBox(tr("Staggered rows"), this)),
      m_clip(new QCheckBox(tr("Clip pads cut by the contour (else drop them)"), this)),
      m_ok(nullptr),
      m_unitLabel(new QLabel(this)) {
    setWindowTitle(tr("Contour Fill"));
    m_mode->addItems({tr("Solid"), tr("Hatch lines"), tr("Pads")});
    m_source->addItems({tr("Selected surface"), tr("Selected closed chain of lines and arcs"),
                        tr("Panel area outside the instances")});
    m_angle->setRange(-360, 360);
    m_angle->setDecimals(3);
    auto* form = new QFormLayout;
    form->addRow(tr("Fill with"), m_mode);
    form->addRow(tr("Contour"), m_source);
    form->addRow(tr("Line width"), m_width);
    form->addRow(tr("Pitch X"), m_pitchX);
    form->addRow(tr("Pitch Y"), m_pitchY);
    form->addRow(tr("Angle (degrees)"), m_angle);
    form->addRow(QString(), m_cross);
    form->addRow(tr("Pad symbol"), m_symbol);
    form->addRow(QString(), m_staggered);
    form->addRow(tr("Clearance"), m_clearance);
    form->addRow(QString(), m_clip);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_ok = buttons->button(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_unitLabel);
    layout->addLayout(form);
    layout->addWidget(buttons);
    connect(m_mode, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] { updateEnabled(); });
    setParameters(Parameters());
}

double Widget_Fill::perUnit() const { return millimetres() ? kNmPerMm : kNmPerInch; }

void Widget_Fill::setParameters(const Parameters& p) {
    const double unit = perUnit();
    m_unitLabel->setText(tr("Lengths in %1").arg(millimetres() ? tr("mm") : tr("inch")));
    m_mode->setCurrentIndex(int(p.mode));
    m_source->setCurrentIndex(int(p.source));
    m_width->setValue(p.width / unit);
    m_pitchX->setValue(p.pitchX / unit);
    m_pitchY->setValue(p.pitchY / unit);
    m_angle->setValue(p.angle);
    m_cross->setChecked(p.cross);
    m_symbol->setText(p.symbol);
    m_staggered->setChecked(p.staggered);
    m_clearance->setValue(p.clearance / unit);
    m_clip->setChecked(p.clip);
    updateEnabled();
}

Widget_Fill::Parameters Widget_Fill::parameters() const {
    const double unit = perUnit();
    Parameters p;
    p.mode = Mode(m_mode->currentIndex());
    p.source = Source(m_source->currentIndex());
    p.width = m_width->value() * unit;
    p.pitchX = m_pitchX->value() * unit;
    p.pitchY = m_pitchY->value() * unit;
    p.angle = m_angle->value();
    p.cross = m_cross->isChecked();
    p.symbol = m_symbol->text().trimmed();
    p.staggered = m_staggered->isChecked();
    p.clearance = m_clearance->value() * unit;
    p.clip = m_clip->isChecked();
    return p;
}

void Widget_Fill::updateEnabled() {
    const bool hatch = m_mode->currentIndex() == Hatch, pads = m_mode->currentIndex() == Pads;
    for (QWidget* w : {static_cast<QWidget*>(m_width), static_cast<QWidget*>(m_angle), static_cast<QWidget*>(m_cross)})
        w->setEnabled(hatch);
    for (QWidget* w : {static_cast<QWidget*>(m_pitchY), static_cast<QWidget*>(m_symbol),
                       static_cast<QWidget*>(m_staggered), static_cast<QWidget*>(m_clearance),
                       static_cast<QWidget*>(m_clip)})
        w->setEnabled(pads);
    m_pitchX->setEnabled(hatch || pads);
}
