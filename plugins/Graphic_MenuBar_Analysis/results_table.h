#pragma once
// The results of a run as the operator reviews them: one row per result
// (check, severity, value, limit, layer, position) in the display unit,
// sorted by any column (numbers as numbers) and filtered by severity or
// check; a double click asks the view to go to the result.
#include <QWidget>
#include <functional>
#include <vector>

#include "TOLVA_Checks.h"

class QComboBox;
class QSortFilterProxyModel;

class QTableView;

namespace TOLVA {
namespace ANALYSIS {

class ResultsModel;

class ResultsTable : public QWidget {
public:
    enum Column { CheckColumn, SeverityColumn, ValueColumn, LimitColumn, LayerColumn, XColumn, YColumn, ColumnCount };
    explicit ResultsTable(QWidget* parent = nullptr);

    // Shows `results` in `unit` ("MM" or "Inch"); row i of the model is result i.
    void setResults(const std::vector<CHECKS::check_result>& results, const std::string& unit);
    const std::vector<CHECKS::check_result>& results() const { return m_results; }
    // Rows shown after the filter.
    int shownRows() const;
    // The result shown at `row` (after sorting and filtering), -1 for none.
    int resultAt(int row) const;
    // Selects the row of result `index`, wherever sorting put it.
    void selectResult(int index);
    // The filter: 0 all, 1 errors, 2 warnings, then one entry per check shown.
    QComboBox* filter() const { return m_filter; }
    QTableView* view() const { return m_view; }
    // Called with the result's index when the operator double-clicks a row.
    void onActivated(std::function<void(int)> go) { m_go = std::move(go); }

private:
    void applyFilter();
    std::vector<CHECKS::check_result> m_results;
    ResultsModel* m_model;
    QSortFilterProxyModel* m_proxy;
    QTableView* m_view;
    QComboBox* m_filter;
    std::function<void(int)> m_go;
};

// The results as CSV in board units (nanometres): a header, then one line
// per result: check, severity, value, limit, layers (joined by '|'),
// location kind, x1, y1, x2, y2, features (layer#index joined by '|').
QString resultsCsv(const std::vector<CHECKS::check_result>& results);

}  // namespace ANALYSIS
}  // namespace TOLVA
