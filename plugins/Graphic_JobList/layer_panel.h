#pragma once
// The layer list the operator sees: one row per matrix layer with a
// show/hide check box and the layer's colour, its type, an "affected" check
// box and its count of selected features; the work layer is bold. The panel
// only reports what the operator asks for; the job list decides.
#include <QMap>
#include <QMenu>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <QWidget>

#include "layer_model.h"

class QLabel;

class QTreeWidget;
class QTreeWidgetItem;

namespace TOLVA {
namespace JOBLIST {

class LayerPanel : public QWidget {
    Q_OBJECT
public:
    enum Column { NameColumn = 0, TypeColumn, AffectedColumn, SelectedColumn, ColumnCount };

    explicit LayerPanel(QWidget* parent = nullptr);

    // Shows the model: rebuilt when the layers differ, else updated in place.
    void sync(const LayerModel& model);
    void setReference(const QString& text);
    // The other open jobs and their layers, asked for when the context menu opens.
    using ReferenceSource = std::function<QMap<QString, QStringList>()>;
    void setReferenceSource(ReferenceSource source) { m_referenceSource = std::move(source); }

    QTreeWidget* tree() const { return m_tree; }
    QLabel* totalLabel() const { return m_total; }
    QLabel* referenceLabel() const { return m_reference; }
    QMenu* contextMenu() const { return m_menu; }

signals:
    void shownToggled(int row, bool shown);
    void workChosen(int row);
    void affectedToggled(int row, bool affected);
    void highlightChosen(int row);
    void snapChosen(int row);
    void referenceChosen(const QString& job, const QString& layer);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuild(const LayerModel& model);
    void fill(QTreeWidgetItem* item, const LayerRow& row, bool work);
    void onItemChanged(QTreeWidgetItem* item, int column);
    void onItemClicked(QTreeWidgetItem* item, int column);
    void openMenu(const QPoint& pos);
    void addReferenceMenu(QMenu* menu);
    int rowOf(QTreeWidgetItem* item) const;

    QTreeWidget* m_tree;
    QLabel* m_total;
    QLabel* m_reference;
    QPointer<QMenu> m_menu;
    ReferenceSource m_referenceSource;
    Qt::KeyboardModifiers m_clickModifiers;
    bool m_checkToggled = false;  // the click that ends toggled a check box
};

}  // namespace JOBLIST
}  // namespace TOLVA
