#include "attribute_editor.h"

#include <glog/logging.h>

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "TOLVA_Attributes.h"

namespace TOLVA {
namespace JOBLIST {

namespace {
enum Column { NameColumn = 0, ValueColumn = 1 };
}

AttributeEditor::AttributeEditor(QWidget* parent, const Where& where, const QVariantMap& feature)
    : QDialog(parent), m_where(where), m_table(new QTableWidget(0, 2, this)) {
    setObjectName(QStringLiteral("attributeEditor"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_layer = feature.value(QStringLiteral("layer")).toString().toStdString();
    m_index = feature.value(QStringLiteral("index"), -1).toInt();
    m_record = feature.value(QStringLiteral("record")).toString().toStdString();
    setWindowTitle(tr("Attributes of %1 #%2").arg(QString::fromStdString(m_layer)).arg(m_index));

    m_table->setObjectName(QStringLiteral("attributes"));
    m_table->setHorizontalHeaderLabels({tr("Name"), tr("Value")});
    m_table->horizontalHeader()->setStretchLastSection(true);
    const QVariantMap attributes = feature.value(QStringLiteral("attributes")).toMap();
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) addRow(it.key(), it.value().toString());

    auto* add = new QPushButton(tr("Add"), this);
    add->setObjectName(QStringLiteral("addAttribute"));
    connect(add, &QPushButton::clicked, this, [this] { addRow(QString(), QString()); });
    auto* remove = new QPushButton(tr("Remove"), this);
    remove->setObjectName(QStringLiteral("removeAttribute"));
    connect(remove, &QPushButton::clicked, this, [this] {
        if (m_table->currentRow() >= 0) m_table->removeRow(m_table->currentRow());
    });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->addButton(add, QDialogButtonBox::ActionRole);
    buttons->addButton(remove, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        apply();
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addWidget(buttons);
}

void AttributeEditor::addRow(const QString& name, const QString& value) {
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    m_table->setItem(row, NameColumn, new QTableWidgetItem(name));
    m_table->setItem(row, ValueColumn, new QTableWidgetItem(value));
}

API::attr_map AttributeEditor::edited() const {
    API::attr_map attributes;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QTableWidgetItem* name = m_table->item(row, NameColumn);
        const QTableWidgetItem* value = m_table->item(row, ValueColumn);
        const QString key = name ? name->text().trimmed() : QString();
        if (!key.isEmpty()) attributes[key.toStdString()] = value ? value->text().toStdString() : std::string();
    }
    return attributes;
}

// The whole set replaces the feature's attributes in one kernel edit.
void AttributeEditor::apply() {
    m_applied = false;
    try {
        API::featureInfo now;
        if (!API::get_featureinfo_by_index(m_where.job, m_where.step, m_layer, m_index, now) || now.record != m_record) {
            LOG(WARNING) << "JOBLIST: the feature " << m_layer << " #" << m_index
                         << " changed since it was picked; its attributes are left alone";
            return;
        }
        const API::attr_map attributes = edited();
        if (DB::get_SaveFlag())
            DB::set_feature_attributes_db_save(m_where.job, m_where.step, m_layer, m_index, attributes);
        ATTRIBUTES::set_feature_attributes(m_where.job, m_where.step, m_layer, m_index, attributes);
        m_applied = true;
    } catch (const std::exception& e) {
        LOG(ERROR) << "JOBLIST: setting attributes failed: " << e.what();
    } catch (const std::string& text) {
        LOG(ERROR) << "JOBLIST: setting attributes failed: " << text;
    }
}

}  // namespace JOBLIST
}  // namespace TOLVA
