#include "plugin_widgets.h"

#include <QAction>
#include <QKeySequence>

#include <glog/logging.h>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHeaderView>
#include <QSpinBox>
#include <QStringList>
#include <QTime>
#include <QVBoxLayout>
#include <cmath>

namespace TOLVA {
namespace PLUGIN {

namespace {
constexpr double kNanometresPerMm = 1e6;
constexpr double kNanometresPerInch = 25.4e6;
constexpr double kMaxUnits = 100000;  // beyond any panel, in mm or inch

QString valueText(const QVariant& value) {
    if (value.type() == QVariant::StringList) return value.toStringList().join(QLatin1Char(','));
    if (value.type() == QVariant::Double) return QString::number(value.toDouble(), 'g', 12);
    return value.toString();
}
}  // namespace

bool isMillimetres(const std::string& unit) {
    return QString::fromStdString(unit).compare(QLatin1String("MM"), Qt::CaseInsensitive) == 0;
}

double nanometresPer(const std::string& unit) { return isMillimetres(unit) ? kNanometresPerMm : kNanometresPerInch; }

double toBoard(double value, const std::string& unit) { return std::round(value * nanometresPer(unit)); }

QString unitSuffix(const std::string& unit) {
    return isMillimetres(unit) ? QStringLiteral("mm") : QStringLiteral("inch");
}

int unitDecimals(const std::string& unit) { return isMillimetres(unit) ? 4 : 5; }

QString formatBoard(double nanometres, const std::string& unit) {
    return QString::number(nanometres / nanometresPer(unit), 'f', unitDecimals(unit));
}

QString describeData(const QVariantMap& data) {
    QStringList parts;
    for (auto it = data.begin(); it != data.end(); ++it) parts << it.key() + QLatin1Char('=') + valueText(it.value());
    return parts.join(QStringLiteral(", "));
}

bool interactive() {
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

void logKernelFailure(const QString& plugin, const char* what, const std::string& reason) {
    LOG(ERROR) << plugin.toStdString() << ": " << what << " failed: " << reason;
}

bool BoundJob::take(const PluginMetaData& msg) {
    if (msg.msgType != kCode) return false;
    job = msg.data.value(QStringLiteral("JobName")).toString();
    step = msg.data.value(QStringLiteral("Step")).toString();
    return true;
}

// ---- MessageLog --------------------------------------------------------------

MessageLog::MessageLog(QWidget* parent) : QTreeWidget(parent) {
    setObjectName(QStringLiteral("messageLog"));
    setHeaderLabels({tr("Time"), tr("Code"), tr("What"), tr("Data")});
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    header()->setStretchLastSection(true);
}

void MessageLog::add(const PluginMetaData& msg, const QString& what) {
    auto* item = new QTreeWidgetItem({QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz")),
                                      QString::number(msg.msgType), what, describeData(msg.data)});
    addTopLevelItem(item);
    while (topLevelItemCount() > kMaxRows) delete takeTopLevelItem(0);
    scrollToItem(item);
}

QStringList MessageLog::rowText(int row) const {
    const QTreeWidgetItem* item = topLevelItem(row);
    if (!item) return {};
    return {item->text(1), item->text(2), item->text(3)};
}

// ---- ReceivedMessagesPanel -------------------------------------------------------

ReceivedMessagesPanel::ReceivedMessagesPanel(const QString& ownName, QWidget* host, const QString& title,
                                             QMap<qint32, QString> known)
    : QWidget(host), PluginEndpoint(ownName, host), m_log(new MessageLog(this)), m_known(std::move(known)) {
    setWindowTitle(title);
    setProperty("tolvaDockArea", QStringLiteral("bottom"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_log);
}

void ReceivedMessagesPanel::receive(const PluginMetaData& msg) {
    if (msg.msgType == BoundJob::kCode) return;  // every plug-in hears the job; nothing to show
    m_log->add(msg, m_known.value(msg.msgType, tr("unexpected")));
}

// ---- FormDialog --------------------------------------------------------------------

FormDialog::FormDialog(QWidget* parent, const QString& objectName, const QString& title)
    : QDialog(parent), m_form(new QFormLayout) {
    setObjectName(objectName);
    setWindowTitle(title);
    setAttribute(Qt::WA_DeleteOnClose);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->setObjectName(QStringLiteral("buttons"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(m_form);
    layout->addWidget(buttons);
}

QDoubleSpinBox* FormDialog::addNumber(const QString& key, const QString& label, double min, double max,
                                      int decimals, double value) {
    auto* box = new QDoubleSpinBox(this);
    box->setObjectName(key);
    box->setDecimals(decimals);
    box->setRange(min, max);
    box->setValue(value);
    m_form->addRow(label, box);
    return box;
}

QDoubleSpinBox* FormDialog::addLength(const QString& key, const QString& label, const std::string& unit) {
    m_unit = unit;
    return addNumber(key, label + QStringLiteral(" (%1)").arg(unitSuffix(unit)), -kMaxUnits, kMaxUnits,
                     unitDecimals(unit), 0);
}

QSpinBox* FormDialog::addCount(const QString& key, const QString& label, int min, int max, int value) {
    auto* box = new QSpinBox(this);
    box->setObjectName(key);
    box->setRange(min, max);
    box->setValue(value);
    m_form->addRow(label, box);
    return box;
}

QComboBox* FormDialog::addChoice(const QString& key, const QString& label, const QStringList& items, bool editable) {
    auto* box = new QComboBox(this);
    box->setObjectName(key);
    box->setEditable(editable);
    box->addItems(items);
    m_form->addRow(label, box);
    return box;
}

template <class W>
W* FormDialog::field(const QString& key) const {
    return findChild<W*>(key, Qt::FindDirectChildrenOnly);
}

double FormDialog::number(const QString& key) const {
    const auto* box = field<QDoubleSpinBox>(key);
    return box ? box->value() : 0.0;
}

double FormDialog::boardLength(const QString& key) const { return toBoard(number(key), m_unit); }

int FormDialog::count(const QString& key) const {
    const auto* box = field<QSpinBox>(key);
    return box ? box->value() : 0;
}

int FormDialog::choiceIndex(const QString& key) const {
    const auto* box = field<QComboBox>(key);
    return box ? box->currentIndex() : -1;
}

QString FormDialog::choiceText(const QString& key) const {
    const auto* box = field<QComboBox>(key);
    return box ? box->currentText().trimmed() : QString();
}

void FormDialog::present(std::function<void(const FormDialog&)> accepted) {
    connect(this, &QDialog::accepted, this, [this, accepted] {
        if (accepted) accepted(*this);
    });
    open();
}

void askOffset(QWidget* parent, const std::string& unit, const QString& title,
               std::function<void(double dx, double dy)> accepted) {
    auto* dialog = new FormDialog(parent, QStringLiteral("offsetDialog"), title);
    dialog->addLength(QStringLiteral("dx"), QObject::tr("Offset X"), unit);
    dialog->addLength(QStringLiteral("dy"), QObject::tr("Offset Y"), unit);
    dialog->present([accepted](const FormDialog& form) {
        accepted(form.boardLength(QStringLiteral("dx")), form.boardLength(QStringLiteral("dy")));
    });
}

QAction* addMenuAction(QWidget* owner, const char* name, const QString& text, std::function<void()> run) {
    return addMenuAction(owner, name, text, QKeySequence(), std::move(run));
}

QAction* addMenuAction(QWidget* owner, const char* name, const QString& text, const QKeySequence& keys,
                       std::function<void()> run) {
    auto* action = new QAction(text, owner);
    action->setObjectName(QLatin1String(name));
    action->setShortcut(keys);
    QObject::connect(action, &QAction::triggered, owner, std::move(run));
    owner->addAction(action);
    return action;
}

}  // namespace PLUGIN
}  // namespace TOLVA
