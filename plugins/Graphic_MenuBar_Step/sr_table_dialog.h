#pragma once
// The editor of a step's step-and-repeat table: one line per row (child
// step, origin, pitch, counts, angle, mirror), lengths in the display unit.
// Shown without waiting; on OK the rows are read back and checked, and a
// row that does not read keeps the dialog open with the reason shown.
#include <QDialog>
#include <QStringList>
#include <functional>
#include <string>
#include <vector>

#include "TOLVA_Step.h"

class QLabel;
class QTableWidget;

namespace TOLVA {
namespace STEPMENU {

class SrTableDialog : public QDialog {
public:
    enum Column { Child, X, Y, Dx, Dy, Nx, Ny, Angle, Mirror, ColumnCount };

    SrTableDialog(QWidget* parent, const QString& step, const std::vector<STEP::sr_row>& rows,
                  const QStringList& children, std::string unit);

    QTableWidget* table() const { return m_table; }
    void addRow(const STEP::sr_row& row);
    void removeCurrentRow();
    // The rows as typed; false with `reason` when one does not read.
    bool readRows(std::vector<STEP::sr_row>& rows, QString& reason) const;

    // Shows the dialog without waiting; `accepted` runs on an OK whose rows read.
    void present(std::function<void(const std::vector<STEP::sr_row>&)> accepted);

private:
    void setCell(int row, Column column, const QString& text);
    bool readRow(int row, STEP::sr_row& out, QString& reason) const;

    QTableWidget* m_table;
    QLabel* m_error;
    QStringList m_children;
    std::string m_unit;
    std::function<void(const std::vector<STEP::sr_row>&)> m_accepted;
};

}  // namespace STEPMENU
}  // namespace TOLVA
