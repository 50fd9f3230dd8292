#pragma once
// The coordinate panel's list of measurements the view reports
// (MeasureMessages.h): each result stays until the list is cleared, and the
// list copies to the clipboard as text, one measurement a line.
#include <QStringList>
#include <QVariantMap>
#include <QWidget>
#include <functional>

#include "PluginMetaData.h"

class QLabel;
class QListWidget;

namespace TOLVA {
namespace PLUGIN {

class MeasurementList : public QWidget {
public:
    explicit MeasurementList(QWidget* parent = nullptr);

    // Takes the view's measure messages; false for any other code. A result
    // without "Text" or a valid "Mode" is refused with a notice and adds nothing.
    bool handle(const PluginMetaData& msg);

    int count() const;
    // The entries as shown: "<n>. <what>: <text>".
    QStringList entries() const;
    // The raw data of entry `row`, as the view sent it.
    QVariantMap result(int row) const { return m_results.value(row); }
    QString notice() const;
    QString asText() const;
    void copyToClipboard() const;
    void clear();
    // Called after the operator's Clear, so that the owner can tell the view.
    void setClearedByOperator(std::function<void()> cleared) { m_cleared = std::move(cleared); }

private:
    bool addResult(const QVariantMap& data);

    QListWidget* m_list;
    QLabel* m_notice;
    QList<QVariantMap> m_results;
    std::function<void()> m_cleared;
};

}  // namespace PLUGIN
}  // namespace TOLVA
