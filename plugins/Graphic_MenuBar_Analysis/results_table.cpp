#include "results_table.h"

#include <QComboBox>
#include <QHeaderView>
#include <QSortFilterProxyModel>
#include <QAbstractTableModel>
#include <QTableView>
#include <QVBoxLayout>
#include <set>

#include "AnalysisMessages.h"
#include "plugin_widgets.h"

namespace TOLVA {
namespace ANALYSIS {

namespace {

constexpr int kSortRole = Qt::UserRole + 1;  // numbers sort as numbers
constexpr int kIndexRole = Qt::UserRole + 2;

bool isError(const CHECKS::check_result& r) { return r.level == CHECKS::severity::ERROR; }

QString joined(const API::str_list& names) {
    QStringList out = AnalysisMessages::toStringList(names);
    return out.join(QLatin1Char('|'));
}

// Quotes a CSV field when it holds a separator, a quote or a line break.
QString csvField(const QString& text) {
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

}  // namespace

// The results as rows, formatted when a row is shown: a run can bring a
// few hundred thousand results, and items built for every cell up front
// would take longer than the checks.
class ResultsModel : public QAbstractTableModel {
public:
    explicit ResultsModel(QObject* parent) : QAbstractTableModel(parent) {}
    void reset(const std::vector<CHECKS::check_result>* results, std::string unit) {
        beginResetModel();
        m_results = results;
        m_unit = std::move(unit);
        endResetModel();
    }
    int rowCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() || !m_results ? 0 : int(m_results->size());
    }
    int columnCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() ? 0 : ResultsTable::ColumnCount;
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        static const char* const titles[] = {"Check", "Severity", "Value", "Limit", "Layer", "X", "Y"};
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ResultsTable::ColumnCount)
            return QVariant();
        return QObject::tr(titles[section]);
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || !m_results || index.row() >= rowCount()) return QVariant();
        const CHECKS::check_result& r = (*m_results)[size_t(index.row())];
        if (role == kIndexRole) return index.row();
        if (role == Qt::TextAlignmentRole)
            return index.column() >= ResultsTable::ValueColumn && index.column() != ResultsTable::LayerColumn
                       ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                       : QVariant();
        const double* length = lengthOf(r, index.column());
        if (role == kSortRole) {
            if (length) return *length;
            if (index.column() == ResultsTable::SeverityColumn) return isError(r) ? 0 : 1;  // errors sort first
        } else if (role == Qt::DisplayRole) {
            if (length) return PLUGIN::formatBoard(*length, m_unit);
            if (index.column() == ResultsTable::SeverityColumn) return isError(r) ? tr("error") : tr("warning");
        } else {
            return QVariant();
        }
        return index.column() == ResultsTable::CheckColumn ? QString::fromStdString(r.check) : joined(r.layers);
    }

private:
    static const double* lengthOf(const CHECKS::check_result& r, int column) {
        switch (column) {
        case ResultsTable::ValueColumn: return &r.value;
        case ResultsTable::LimitColumn: return &r.limit;
        case ResultsTable::XColumn: return &r.location.a.x;
        case ResultsTable::YColumn: return &r.location.a.y;
        default: return nullptr;
        }
    }
    const std::vector<CHECKS::check_result>* m_results = nullptr;
    std::string m_unit;
};

ResultsTable::ResultsTable(QWidget* parent)
    : QWidget(parent),
      m_model(new ResultsModel(this)),
      m_proxy(new QSortFilterProxyModel(this)),
      m_view(new QTableView(this)),
      m_filter(new QComboBox(this)) {
    m_proxy->setSourceModel(m_model);
    m_proxy->setSortRole(kSortRole);
    m_proxy->setFilterRole(kSortRole);
    m_view->setModel(m_proxy);
    m_view->setObjectName(QStringLiteral("resultsView"));
    m_view->setSortingEnabled(true);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->verticalHeader()->hide();
    m_view->horizontalHeader()->setStretchLastSection(true);
    m_filter->setObjectName(QStringLiteral("resultsFilter"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_filter);
    layout->addWidget(m_view);
    connect(m_filter, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this](int) { applyFilter(); });
    connect(m_view, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        const int result = resultAt(index.row());
        if (result >= 0 && m_go) m_go(result);
    });
}

void ResultsTable::setResults(const std::vector<CHECKS::check_result>& results, const std::string& unit) {
    m_results = results;
    m_model->reset(&m_results, unit);
    std::set<std::string> names;
    for (const CHECKS::check_result& r : m_results) names.insert(r.check);
    QStringList checks;
    for (const std::string& name : names) checks.append(QString::fromStdString(name));
    const QSignalBlocker block(m_filter);
    m_filter->clear();
    m_filter->addItems({tr("All results"), tr("Errors"), tr("Warnings")});
    m_filter->addItems(checks);
    applyFilter();
}

void ResultsTable::applyFilter() {
    const int choice = m_filter->currentIndex();
    if (choice <= 0) {
        m_proxy->setFilterFixedString(QString());
        return;
    }
    // Errors sort as 0 and warnings as 1 in the severity column.
    const bool bySeverity = choice <= 2;
    m_proxy->setFilterKeyColumn(bySeverity ? SeverityColumn : CheckColumn);
    m_proxy->setFilterRegExp(QRegExp(QStringLiteral("^%1$").arg(bySeverity ? QString::number(choice - 1)
                                                                             : QRegExp::escape(m_filter->currentText()))));
}

int ResultsTable::shownRows() const { return m_proxy->rowCount(); }

int ResultsTable::resultAt(int row) const {
    if (row < 0 || row >= m_proxy->rowCount()) return -1;
    return m_proxy->index(row, CheckColumn).data(kIndexRole).toInt();
}

void ResultsTable::selectResult(int index) {
    for (int row = 0; row < m_proxy->rowCount(); ++row)
        if (resultAt(row) == index) {
            m_view->selectRow(row);
            m_view->scrollTo(m_proxy->index(row, 0));
            return;
        }
}

QString resultsCsv(const std::vector<CHECKS::check_result>& results) {
    QString out = QStringLiteral("check,severity,value_nm,limit_nm,layers,location,x1,y1,x2,y2,features\n");
    for (const CHECKS::check_result& r : results) {
        QStringList features;
        for (const auto& f : r.features) features.append(QStringLiteral("%1#%2").arg(QString::fromStdString(f.layer)).arg(f.index));
        const QStringList fields = {QString::fromStdString(r.check),
                                    QLatin1String(isError(r) ? "error" : "warning"),
                                    QString::number(r.value, 'g', 15),
                                    QString::number(r.limit, 'g', 15),
                                    joined(r.layers),
                                    QLatin1String(AnalysisMessages::locationName(r.location.kind)),
                                    QString::number(r.location.a.x, 'g', 15),
                                    QString::number(r.location.a.y, 'g', 15),
                                    QString::number(r.location.b.x, 'g', 15),
                                    QString::number(r.location.b.y, 'g', 15),
                                    features.join(QLatin1Char('|'))};
        QStringList quoted;
        for (const QString& f : fields) quoted.append(csvField(f));
        out += quoted.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return out;
}

}  // namespace ANALYSIS
}  // namespace TOLVA
