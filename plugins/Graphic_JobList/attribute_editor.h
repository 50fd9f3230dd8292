#pragma once
// The attribute editor of one picked feature: a table of names and values
// the operator edits; OK writes the whole set to the kernel as one edit
// (one undo step), provided the feature is still the one picked. It opens
// without blocking and deletes itself when it closes.
#include <QDialog>
#include <QVariantMap>

#include "kernel_calls.h"

class QTableWidget;

namespace TOLVA {
namespace JOBLIST {

class AttributeEditor : public QDialog {
public:
    // `feature`: "layer", "index", "record" and "attributes" (a map of name
    // to value), as the view forwards a picked feature.
    AttributeEditor(QWidget* parent, const Where& where, const QVariantMap& feature);

    QTableWidget* table() const { return m_table; }
    // The attributes as the table holds them (rows without a name left out).
    API::attr_map edited() const;
    // Whether the last OK changed the kernel.
    bool applied() const { return m_applied; }

private:
    void addRow(const QString& name, const QString& value);
    void apply();

    Where m_where;
    std::string m_layer;
    int m_index = -1;
    std::string m_record;
    QTableWidget* m_table;
    bool m_applied = false;
};

}  // namespace JOBLIST
}  // namespace TOLVA
