// The mark-setting dialog: fiducials and tooling holes.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <cmath>

#include "UIAPICommon.h"
#include "Widget_Common.h"

namespace {

constexpr double kNanometresPerMM = 1.0e6;
constexpr double kNanometresPerInch = 25.4e6;
// Shown decimals: 0.1 um in millimetres, 0.01 mil in inches.
constexpr int kDecimalsMM = 4;
constexpr int kDecimalsInch = 5;
// Largest mark size and clearance, and the board range, in nanometres.
constexpr double kMaxMarkLength = 50.0e6;
constexpr double kBoardRange = 1.0e9;

bool isMM(const QString& unit) { return unit.compare(QLatin1String("MM"), Qt::CaseInsensitive) == 0; }

QDoubleSpinBox* lengthBox(QWidget* parent, double minimum, double maximum) {
    auto* box = new QDoubleSpinBox(parent);
    box->setProperty("minimumNm", minimum);
    box->setProperty("maximumNm", maximum);
    return box;
}

// A length keeps its nanometres in the box's "nanometres" property: the
// shown value is rounded to the unit's decimals, and a unit change must not
// move the mark by that rounding.
double nanometres(const QDoubleSpinBox* box) { return box->property("nanometres").toDouble(); }

// Shows `value` (nanometres) in the unit of `factor` with `decimals`.
void showLength(QDoubleSpinBox* box, double value, double factor, int decimals) {
    const QSignalBlocker quiet(box);
    box->setDecimals(decimals);
    box->setRange(box->property("minimumNm").toDouble() / factor, box->property("maximumNm").toDouble() / factor);
    box->setValue(value / factor);
    box->setProperty("nanometres", value);
}

}  // namespace

Widget_MarkSetting::Widget_MarkSetting(QWidget* parent)
    : QDialog(parent),
      m_unitLabel(new QLabel(this)),
      m_kind(new QComboBox(this)),
      m_symbol(new QComboBox(this)),
      m_size(lengthBox(this, 1000, kMaxMarkLength)),
      m_clearance(lengthBox(this, 0, kMaxMarkLength)),
      m_x(lengthBox(this, -kBoardRange, kBoardRange)),
      m_y(lengthBox(this, -kBoardRange, kBoardRange)),
      m_layers(new QListWidget(this)),
      m_place(new QPushButton(tr("Place"), this)) {
    setWindowTitle(tr("Mark Setting"));
    m_kind->addItem(tr("Fiducial"), MarkSpec::Fiducial);
    m_kind->addItem(tr("Tooling Hole"), MarkSpec::Tooling);
    m_symbol->addItem(tr("Round"), false);
    m_symbol->addItem(tr("Square"), true);
    auto* form = new QFormLayout;
    form->addRow(tr("Kind"), m_kind);
    form->addRow(tr("Symbol"), m_symbol);
    form->addRow(tr("Size"), m_size);
    form->addRow(tr("Clearance"), m_clearance);
    form->addRow(tr("Layers"), m_layers);
    form->addRow(tr("X"), m_x);
    form->addRow(tr("Y"), m_y);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_unitLabel);
    layout->addLayout(form);
    layout->addWidget(m_place);
    connect(m_place, &QPushButton::clicked, this, &Widget_MarkSetting::placeRequested);
    // What the operator types is taken in the unit shown, to the nanometre.
    for (QDoubleSpinBox* box : {m_size, m_clearance, m_x, m_y})
        connect(box, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
                [this, box](double value) { box->setProperty("nanometres", std::round(value * unitFactor())); });
    m_unit = QString::fromStdString(TOLVA::UIAPI::getUnitString());
    setSpec(MarkSpec());
}

QString Widget_MarkSetting::unitText() const { return m_unit; }

double Widget_MarkSetting::unitFactor() const { return isMM(m_unit) ? kNanometresPerMM : kNanometresPerInch; }

MarkSpec Widget_MarkSetting::spec() const {
    MarkSpec s;
    s.kind = static_cast<MarkSpec::Kind>(m_kind->currentData().toInt());
    s.square = m_symbol->currentData().toBool();
    s.size = nanometres(m_size);
    s.clearance = nanometres(m_clearance);
    s.at = QPointF(nanometres(m_x), nanometres(m_y));
    for (int i = 0; i < m_layers->count(); ++i)
        if (m_layers->item(i)->checkState() == Qt::Checked) s.layers << m_layers->item(i)->text();
    return s;
}

void Widget_MarkSetting::setSpec(const MarkSpec& s) {
    m_kind->setCurrentIndex(m_kind->findData(s.kind));
    m_symbol->setCurrentIndex(s.square ? 1 : 0);
    const double f = unitFactor();
    const int decimals = isMM(m_unit) ? kDecimalsMM : kDecimalsInch;
    showLength(m_size, s.size, f, decimals);
    showLength(m_clearance, s.clearance, f, decimals);
    showLength(m_x, s.at.x(), f, decimals);
    showLength(m_y, s.at.y(), f, decimals);
    for (int i = 0; i < m_layers->count(); ++i)
        m_layers->item(i)->setCheckState(s.layers.contains(m_layers->item(i)->text()) ? Qt::Checked : Qt::Unchecked);
    m_unitLabel->setText(tr("Unit: %1").arg(m_unit));
}

void Widget_MarkSetting::setAvailableLayers(const QStringList& layers) {
    const QStringList checked = spec().layers;
    m_layers->clear();
    for (const QString& name : layers) {
        auto* item = new QListWidgetItem(name, m_layers);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(checked.contains(name) ? Qt::Checked : Qt::Unchecked);
    }
}

QStringList Widget_MarkSetting::availableLayers() const {
    QStringList out;
    for (int i = 0; i < m_layers->count(); ++i) out << m_layers->item(i)->text();
    return out;
}

// The lengths keep their size on the board: read in the old unit, shown in the new.
void Widget_MarkSetting::change_unit() {
    const MarkSpec kept = spec();
    m_unit = QString::fromStdString(TOLVA::UIAPI::getUnitString());
    setSpec(kept);
    ++m_unitChanges;
}
