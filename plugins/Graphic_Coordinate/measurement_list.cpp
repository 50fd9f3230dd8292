#include "measurement_list.h"

#include <glog/logging.h>

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "MeasureMessages.h"

namespace TOLVA {
namespace PLUGIN {

MeasurementList::MeasurementList(QWidget* parent)
    : QWidget(parent), m_list(new QListWidget(this)), m_notice(new QLabel(this)) {
    setObjectName(QStringLiteral("measurements"));
    m_list->setObjectName(QStringLiteral("measurementList"));
    m_notice->setObjectName(QStringLiteral("measureNotice"));
    auto* copy = new QPushButton(tr("Copy"), this);
    copy->setObjectName(QStringLiteral("copyMeasurements"));
    auto* clearButton = new QPushButton(tr("Clear"), this);
    clearButton->setObjectName(QStringLiteral("clearMeasurements"));
    connect(copy, &QPushButton::clicked, this, [this] { copyToClipboard(); });
    connect(clearButton, &QPushButton::clicked, this, [this] {
        clear();
        if (m_cleared) m_cleared();
    });
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(copy);
    buttons->addWidget(clearButton);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_notice);
    layout->addWidget(m_list);
    layout->addLayout(buttons);
}

bool MeasurementList::handle(const PluginMetaData& msg) {
    if (msg.msgType == MeasureMessages::kNotice) {
        m_notice->setText(msg.data.value(QStringLiteral("Text")).toString());
        return true;
    }
    if (msg.msgType != MeasureMessages::kResult) return false;
    if (!addResult(msg.data)) {
        LOG(ERROR) << "Graphic_Coordinate: measurement from " << msg.sender.toStdString()
                   << " without \"Mode\" or \"Text\" refused";
        m_notice->setText(tr("A measurement without its result was refused"));
    }
    return true;
}

bool MeasurementList::addResult(const QVariantMap& data) {
    bool okMode = false;
    const int mode = data.value(QStringLiteral("Mode")).toInt(&okMode);
    const QString text = data.value(QStringLiteral("Text")).toString();
    if (!okMode || mode < MeasureMessages::PointToPoint || mode > MeasureMessages::Angle || text.isEmpty())
        return false;
    m_results.append(data);
    m_list->addItem(QStringLiteral("%1. %2: %3").arg(m_results.size()).arg(tr(MeasureMessages::modeName(mode)), text));
    m_list->scrollToBottom();
    m_notice->clear();
    return true;
}

int MeasurementList::count() const { return m_list->count(); }

QStringList MeasurementList::entries() const {
    QStringList rows;
    for (int i = 0; i < m_list->count(); ++i) rows.append(m_list->item(i)->text());
    return rows;
}

QString MeasurementList::notice() const { return m_notice->text(); }

QString MeasurementList::asText() const { return entries().join(QLatin1Char('\n')); }

void MeasurementList::copyToClipboard() const {
    if (QClipboard* clipboard = QApplication::clipboard()) clipboard->setText(asText());
}

void MeasurementList::clear() {
    m_list->clear();
    m_results.clear();
    m_notice->clear();
}

}  // namespace PLUGIN
}  // namespace TOLVA
