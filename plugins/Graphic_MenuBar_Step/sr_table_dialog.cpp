#include "sr_table_dialog.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

#include "plugin_widgets.h"

namespace TOLVA {
namespace STEPMENU {

namespace {
const char* const kHeaders[SrTableDialog::ColumnCount] = {"Step", "X", "Y", "Pitch X", "Pitch Y",
                                                          "Columns", "Rows", "Angle", "Mirror"};
const QString kYes = QStringLiteral("yes");
const QString kNo = QStringLiteral("no");

bool isLength(int column) {
    return column == SrTableDialog::X || column == SrTableDialog::Y || column == SrTableDialog::Dx ||
           column == SrTableDialog::Dy;
}
}  // namespace

SrTableDialog::SrTableDialog(QWidget* parent, const QString& step, const std::vector<STEP::sr_row>& rows,
                             const QStringList& children, std::string unit)
    : QDialog(parent), m_table(new QTableWidget(0, ColumnCount, this)), m_error(new QLabel(this)),
      m_children(children), m_unit(std::move(unit)) {
    setObjectName(QStringLiteral("srTableDialog"));
    setWindowTitle(tr("Step-and-Repeat Table of %1").arg(step));
    setAttribute(Qt::WA_DeleteOnClose);
    m_table->setObjectName(QStringLiteral("table"));
    QStringList headers;
    for (int c = 0; c < ColumnCount; ++c)
        headers << (isLength(c) ? tr(kHeaders[c]) + QStringLiteral(" (%1)").arg(PLUGIN::unitSuffix(m_unit))
                                : tr(kHeaders[c]));
    m_table->setHorizontalHeaderLabels(headers);
    m_table->horizontalHeader()->setStretchLastSection(true);
    for (const STEP::sr_row& row : rows) addRow(row);

    m_error->setObjectName(QStringLiteral("error"));
    m_error->setStyleSheet(QStringLiteral("color: #c02020"));
    auto* add = new QPushButton(tr("Add Row"), this);
    add->setObjectName(QStringLiteral("addRow"));
    auto* remove = new QPushButton(tr("Remove Row"), this);
    remove->setObjectName(QStringLiteral("removeRow"));
    connect(add, &QPushButton::clicked, this, [this] {
        STEP::sr_row row;
        if (!m_children.isEmpty()) row.child = m_children.front().toStdString();
        addRow(row);
    });
    connect(remove, &QPushButton::clicked, this, [this] { removeCurrentRow(); });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->setObjectName(QStringLiteral("buttons"));
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        std::vector<STEP::sr_row> read;
        QString reason;
        if (!readRows(read, reason)) {
            m_error->setText(reason);
            return;
        }
        if (m_accepted) m_accepted(read);
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* rowButtons = new QHBoxLayout;
    rowButtons->addWidget(add);
    rowButtons->addWidget(remove);
    rowButtons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addLayout(rowButtons);
    layout->addWidget(m_error);
    layout->addWidget(buttons);
    resize(760, 320);
}

void SrTableDialog::setCell(int row, Column column, const QString& text) {
    m_table->setItem(row, column, new QTableWidgetItem(text));
}

void SrTableDialog::addRow(const STEP::sr_row& r) {
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    const auto length = [this](double nm) { return PLUGIN::formatBoard(nm, m_unit); };
    setCell(row, Child, QString::fromStdString(r.child));
    setCell(row, X, length(r.x));
    setCell(row, Y, length(r.y));
    setCell(row, Dx, length(r.dx));
    setCell(row, Dy, length(r.dy));
    setCell(row, Nx, QString::number(r.nx));
    setCell(row, Ny, QString::number(r.ny));
    setCell(row, Angle, QString::number(r.angle, 'g', 12));
    setCell(row, Mirror, r.mirror ? kYes : kNo);
}

void SrTableDialog::removeCurrentRow() {
    const int row = m_table->currentRow();
    if (row >= 0) m_table->removeRow(row);
}

bool SrTableDialog::readRow(int row, STEP::sr_row& out, QString& reason) const {
    const auto text = [&](Column c) {
        const QTableWidgetItem* item = m_table->item(row, c);
        return item ? item->text().trimmed() : QString();
    };
    const auto fail = [&](Column c, const QString& why) {
        reason = tr("Row %1, %2: %3").arg(row + 1).arg(tr(kHeaders[c]), why);
        return false;
    };
    const QLocale c = QLocale::c();
    out.child = text(Child).toStdString();
    if (!m_children.contains(text(Child))) return fail(Child, tr("\"%1\" is no step of the job").arg(text(Child)));
    double* lengths[] = {&out.x, &out.y, &out.dx, &out.dy};
    for (int col = X; col <= Dy; ++col) {
        bool ok = false;
        const double value = c.toDouble(text(Column(col)), &ok);
        if (!ok || !std::isfinite(value)) return fail(Column(col), tr("not a number"));
        *lengths[col - X] = PLUGIN::toBoard(value, m_unit);
    }
    int* counts[] = {&out.nx, &out.ny};
    for (int col = Nx; col <= Ny; ++col) {
        bool ok = false;
        const int value = c.toInt(text(Column(col)), &ok);
        if (!ok || value < 1) return fail(Column(col), tr("a count of 1 or more"));
        *counts[col - Nx] = value;
    }
    bool ok = false;
    out.angle = c.toDouble(text(Angle), &ok);
    if (!ok || !std::isfinite(out.angle)) return fail(Angle, tr("not a number"));
    const QString mirror = text(Mirror).toLower();
    if (mirror != kYes && mirror != kNo) return fail(Mirror, tr("\"yes\" or \"no\""));
    out.mirror = mirror == kYes;
    return true;
}

bool SrTableDialog::readRows(std::vector<STEP::sr_row>& rows, QString& reason) const {
    rows.clear();
    for (int row = 0; row < m_table->rowCount(); ++row) {
        STEP::sr_row r;
        if (!readRow(row, r, reason)) return false;
        rows.push_back(r);
    }
    return true;
}

void SrTableDialog::present(std::function<void(const std::vector<STEP::sr_row>&)> accepted) {
    m_accepted = std::move(accepted);
    open();
}

}  // namespace STEPMENU
}  // namespace TOLVA
