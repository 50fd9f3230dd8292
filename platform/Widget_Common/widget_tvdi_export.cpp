// The direct-imaging export dialog: the parameters of TOLVA_Imaging.h as
// editors, the export run behind a progress dialog, and its outcome listed in
// the dialog (a refusal is shown there too, never in a box that waits).
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressDialog>
#include <QPushButton>
#include <QVBoxLayout>

#include "Widget_Common.h"

namespace {
namespace IM = TOLVA::IMAGING;

constexpr int kRotations[] = {0, 90, 180, 270};
// Resolutions a direct-imaging machine takes, in dpi.
constexpr double kMinDpi = 1, kMaxDpi = 100000;
// Scale compensation from -50% to +100%, in the editors' six decimals.
constexpr double kMinScale = 0.5, kMaxScale = 2.0;
constexpr int kScaleDecimals = 6;
// The resize editor shows micrometres; the export takes nanometres.
constexpr double kNmPerUm = 1000.0;
constexpr double kMaxResizeUm = 1000.0;
// The progress dialog counts in thousandths of the rows to write.
constexpr int kProgressSteps = 1000;

QDoubleSpinBox* spin(QWidget* parent, double lo, double hi, int decimals, const char* name) {
    auto* box = new QDoubleSpinBox(parent);
    box->setRange(lo, hi);
    box->setDecimals(decimals);
    box->setObjectName(QLatin1String(name));
    return box;
}
}  // namespace

Widget_TVDI_Export::Widget_TVDI_Export(QWidget* parent)
    : QDialog(parent),
      m_layers(new QListWidget(this)),
      m_dpi(spin(this, kMinDpi, kMaxDpi, 1, "dpi")),
      m_rotate(new QComboBox(this)),
      m_mirror(new QCheckBox(tr("Mirror"), this)),
      m_xScale(spin(this, kMinScale, kMaxScale, kScaleDecimals, "xScale")),
      m_yScale(spin(this, kMinScale, kMaxScale, kScaleDecimals, "yScale")),
      m_negative(new QCheckBox(tr("Negative"), this)),
      m_resize(spin(this, -kMaxResizeUm, kMaxResizeUm, 3, "resize")),
      m_path(new QLineEdit(this)),
      m_format(new QLineEdit(this)),
      m_export(new QPushButton(tr("Export"), this)),
      m_result(new QLabel(this)) {
    setWindowTitle(tr("TVDI Export"));
    for (int r : kRotations) m_rotate->addItem(tr("%1 degrees").arg(r), r);
    m_format->setToolTip(tr("{job} {step} {layer} {dpi} {index}; .tif is added"));
    m_result->setObjectName(QStringLiteral("result"));
    m_result->setWordWrap(true);
    m_result->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* form = new QFormLayout;
    form->addRow(tr("Layers"), m_layers);
    form->addRow(tr("Resolution (dpi)"), m_dpi);
    form->addRow(tr("Rotation"), m_rotate);
    form->addRow(QString(), m_mirror);
    form->addRow(tr("X scale"), m_xScale);
    form->addRow(tr("Y scale"), m_yScale);
    form->addRow(QString(), m_negative);
    form->addRow(tr("Resize (um each side)"), m_resize);
    form->addRow(tr("Output folder"), m_path);
    form->addRow(tr("File name"), m_format);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->addButton(m_export, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_export, &QPushButton::clicked, this, [this] { runExport(); });
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_result);
    layout->addWidget(buttons);
    setParam(IM::export_param());
}

QString Widget_TVDI_Export::outputPath() const { return m_path->text(); }
void Widget_TVDI_Export::setOutputPath(const QString& path) { m_path->setText(path); }

void Widget_TVDI_Export::setJobStep(const QString& job, const QString& step) {
    m_job = job;
    m_step = step;
}

void Widget_TVDI_Export::setAvailableLayers(const QStringList& layers, const QStringList& chosen) {
    m_layers->clear();
    for (const QString& name : layers) {
        auto* item = new QListWidgetItem(name, m_layers);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(chosen.contains(name) ? Qt::Checked : Qt::Unchecked);
    }
}

void Widget_TVDI_Export::setParam(const IM::export_param& p) {
    m_dpi->setValue(p.dpi);
    const int rotation = m_rotate->findData(p.rotate);
    m_rotate->setCurrentIndex(rotation < 0 ? 0 : rotation);
    m_mirror->setChecked(p.mirror);
    m_xScale->setValue(p.x_scale);
    m_yScale->setValue(p.y_scale);
    m_negative->setChecked(p.negative);
    m_resize->setValue(p.resize / kNmPerUm);
    m_path->setText(QString::fromStdString(p.output_dir));
    m_format->setText(QString::fromStdString(p.name_format));
    m_compression = p.compress;
    m_globalHoles = p.global_holes;
    m_areaHoles = p.area_holes;
}

IM::export_param Widget_TVDI_Export::param() const {
    IM::export_param p;
    for (int i = 0; i < m_layers->count(); ++i)
        if (m_layers->item(i)->checkState() == Qt::Checked) p.layers.push_back(m_layers->item(i)->text().toStdString());
    p.dpi = m_dpi->value();
    p.rotate = m_rotate->currentData().toInt();
    p.mirror = m_mirror->isChecked();
    p.x_scale = m_xScale->value();
    p.y_scale = m_yScale->value();
    p.negative = m_negative->isChecked();
    p.resize = m_resize->value() * kNmPerUm;
    p.output_dir = m_path->text().toStdString();
    p.name_format = m_format->text().toStdString();
    p.compress = m_compression;
    p.global_holes = m_globalHoles;
    p.area_holes = m_areaHoles;
    return p;
}

QStringList Widget_TVDI_Export::runExport() {
    QProgressDialog progress(tr("Writing images..."), tr("Cancel"), 0, kProgressSteps, this);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    QStringList files;
    try {
        const IM::export_result r = IM::export_layers(
            m_job.toStdString(), m_step.toStdString(), param(), [&progress](long done, long total) {
                progress.setValue(total > 0 ? int(done * kProgressSteps / total) : kProgressSteps);
                return !progress.wasCanceled();
            });
        for (const std::string& f : r.files) files.append(QString::fromStdString(f));
        files.append(QString::fromStdString(r.registration));
    } catch (const std::string& text) {
        m_result->setText(tr("Not exported: %1").arg(QString::fromStdString(text)));
        return {};
    } catch (const std::exception& e) {
        m_result->setText(tr("Not exported: %1").arg(QString::fromLocal8Bit(e.what())));
        return {};
    }
    QStringList names;
    for (const QString& f : files) names.append(QFileInfo(f).fileName());
    m_result->setText(tr("Written to %1:\n%2").arg(m_path->text(), names.join(QLatin1Char('\n'))));
    emit exported(files);
    return files;
}

QString Widget_TVDI_Export::result() const { return m_result->text(); }
