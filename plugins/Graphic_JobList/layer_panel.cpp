#include "layer_panel.h"

#include <QEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPixmap>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "LayerPalette.h"

namespace TOLVA {
namespace JOBLIST {

namespace {
constexpr int kSwatchSize = 12;

QIcon swatch(const LayerRow& row) {
    QPixmap pixmap(kSwatchSize, kSwatchSize);
    pixmap.fill(row.shown ? LayerPalette::color(row.color) : QColor(Qt::transparent));
    return QIcon(pixmap);
}

Qt::CheckState checked(bool on) { return on ? Qt::Checked : Qt::Unchecked; }
}  // namespace

LayerPanel::LayerPanel(QWidget* parent)
    : QWidget(parent), m_tree(new QTreeWidget(this)), m_total(new QLabel(this)), m_reference(new QLabel(this)) {
    m_tree->setObjectName(QStringLiteral("layerTree"));
    m_tree->setColumnCount(ColumnCount);
    m_tree->setHeaderLabels({tr("Layer"), tr("Type"), tr("Affected"), tr("Selected")});
    m_tree->setRootIsDecorated(false);
    m_tree->setSelectionMode(QAbstractItemView::NoSelection);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tree->viewport()->installEventFilter(this);
    m_total->setObjectName(QStringLiteral("selectedTotal"));
    m_reference->setObjectName(QStringLiteral("referenceLayers"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tree);
    layout->addWidget(m_total);
    layout->addWidget(m_reference);
    connect(m_tree, &QTreeWidget::itemChanged, this, &LayerPanel::onItemChanged);
    connect(m_tree, &QTreeWidget::itemClicked, this, &LayerPanel::onItemClicked);
    connect(m_tree, &QTreeWidget::customContextMenuRequested, this, &LayerPanel::openMenu);
    setReference(QString());
}

void LayerPanel::sync(const LayerModel& model) {
    const QSignalBlocker blocker(m_tree);
    bool same = m_tree->topLevelItemCount() == model.size();
    for (int i = 0; same && i < model.size(); ++i)
        same = m_tree->topLevelItem(i)->text(NameColumn) == model.rows()[i].name;
    if (!same) rebuild(model);
    for (int i = 0; i < model.size(); ++i) fill(m_tree->topLevelItem(i), model.rows()[i], i == model.workRow());
    m_total->setText(tr("Selected: %1").arg(model.totalSelected()));
}

void LayerPanel::setReference(const QString& text) {
    m_reference->setText(text.isEmpty() ? tr("Reference: none") : tr("Reference: %1").arg(text));
}

void LayerPanel::rebuild(const LayerModel& model) {
    m_tree->clear();
    for (int i = 0; i < model.size(); ++i) {
        auto* item = new QTreeWidgetItem(m_tree);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setText(NameColumn, model.rows()[i].name);
    }
}

void LayerPanel::fill(QTreeWidgetItem* item, const LayerRow& row, bool work) {
    item->setCheckState(NameColumn, checked(row.shown));
    item->setIcon(NameColumn, swatch(row));
    QFont font = item->font(NameColumn);
    font.setBold(work);
    item->setFont(NameColumn, font);
    item->setText(TypeColumn, row.type);
    item->setCheckState(AffectedColumn, checked(row.affected || work));
    item->setText(SelectedColumn, QString::number(row.selected));
}

int LayerPanel::rowOf(QTreeWidgetItem* item) const { return item ? m_tree->indexOfTopLevelItem(item) : -1; }

// A check box toggled by the operator; the click that did it is not also a
// choice of the work layer.
void LayerPanel::onItemChanged(QTreeWidgetItem* item, int column) {
    const int row = rowOf(item);
    if (row < 0) return;
    m_checkToggled = true;
    if (column == NameColumn) emit shownToggled(row, item->checkState(NameColumn) == Qt::Checked);
    else if (column == AffectedColumn) emit affectedToggled(row, item->checkState(AffectedColumn) == Qt::Checked);
}

void LayerPanel::onItemClicked(QTreeWidgetItem* item, int) {
    const bool toggled = m_checkToggled;
    m_checkToggled = false;
    const int row = rowOf(item);
    if (toggled || row < 0) return;
    if (m_clickModifiers & Qt::ControlModifier)
        emit affectedToggled(row, item->checkState(AffectedColumn) != Qt::Checked);
    else
        emit workChosen(row);
}

// The modifiers of the click are taken from the click itself, not from the
// keyboard state, which a synthetic or remote click does not update.
bool LayerPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_tree->viewport() &&
        (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonRelease)) {
        m_clickModifiers = static_cast<QMouseEvent*>(event)->modifiers();
        if (event->type() == QEvent::MouseButtonPress) m_checkToggled = false;
    }
    return QWidget::eventFilter(watched, event);
}

void LayerPanel::openMenu(const QPoint& pos) {
    const int row = rowOf(m_tree->itemAt(pos));
    if (row < 0) return;
    if (m_menu) m_menu->deleteLater();
    m_menu = new QMenu(this);
    m_menu->setAttribute(Qt::WA_DeleteOnClose);
    m_menu->addAction(tr("Highlight layer"), this, [this, row] { emit highlightChosen(row); });
    m_menu->addAction(tr("Snap layer"), this, [this, row] { emit snapChosen(row); });
    addReferenceMenu(m_menu);
    m_menu->popup(m_tree->viewport()->mapToGlobal(pos));
}

// Reference layers come from the other open jobs only; with none open the
// entry is left out.
void LayerPanel::addReferenceMenu(QMenu* menu) {
    const QMap<QString, QStringList> sources = m_referenceSource ? m_referenceSource() : QMap<QString, QStringList>();
    if (sources.isEmpty()) return;
    QMenu* reference = menu->addMenu(tr("Reference layer"));
    for (auto it = sources.cbegin(); it != sources.cend(); ++it) {
        QMenu* jobMenu = reference->addMenu(it.key());
        const QString job = it.key();
        for (const QString& layer : it.value())
            jobMenu->addAction(layer, this, [this, job, layer] { emit referenceChosen(job, layer); });
    }
}

}  // namespace JOBLIST
}  // namespace TOLVA
