// The layer matrix of the bound job: one row per layer with its context,
// type, polarity and feature count in the bound step.
//
// The view announces a changed matrix with 20002401 through the job-update
// path, which reaches the host's job receiver rather than this plug-in; the
// panel therefore also listens to that path. A host that relays the update
// here only causes a second, identical refresh.
#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "plugin_widgets.h"

namespace {

using namespace TOLVA::PLUGIN;
namespace API = TOLVA::API;

constexpr qint32 kMatrixChanged = 20002401;
enum Column { RowColumn, NameColumn, ContextColumn, TypeColumn, PolarityColumn, FeaturesColumn, ColumnCount };

class MatrixPanel : public QWidget, public PluginEndpoint {
public:
    explicit MatrixPanel(QWidget* host)
        : QWidget(host), PluginEndpoint(PluginNames::Matrix, host), m_table(new QTableWidget(0, ColumnCount, this)) {
        setWindowTitle(tr("Matrix"));
        setProperty("tolvaDockArea", QStringLiteral("bottom"));
        m_table->setObjectName(QStringLiteral("matrixTable"));
        m_table->setHorizontalHeaderLabels({tr("Row"), tr("Name"), tr("Context"), tr("Type"), tr("Polarity"),
                                            tr("Features")});
        m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
        m_table->verticalHeader()->hide();
        m_table->horizontalHeader()->setStretchLastSection(true);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(m_table);
        m_observer = QTpluginsManger4CAM::instance()->addObserver(
            [this](const QString& route, const PluginMetaData& msg) {
                if (route == QLatin1String("job")) takeUpdate(msg);
            });
    }
    ~MatrixPanel() override { QTpluginsManger4CAM::instance()->removeObserver(m_observer); }

protected:
    void receive(const PluginMetaData& msg) override {
        if (m_job.take(msg)) return refresh();
        takeUpdate(msg);
    }

private:
    // An update names its job; one without a name is taken as the bound job's.
    void takeUpdate(const PluginMetaData& msg) {
        if (msg.msgType != kMatrixChanged || msg.receiver != PluginNames::Matrix) return;
        const QString job = msg.data.value(QStringLiteral("JobName")).toString();
        if (job.isEmpty() || job == m_job.job) refresh();
    }

    void refresh() {
        m_table->setRowCount(0);
        if (m_job.job.isEmpty()) return;
        const std::string job = m_job.job.toStdString(), step = m_job.step.toStdString();
        std::vector<API::matrix_info> rows;
        if (!kernelCall(pluginName(), "reading the matrix", [&] { rows = API::get_matrix(job); })) return;
        m_table->setRowCount(int(rows.size()));
        for (int r = 0; r < int(rows.size()); ++r) {
            const API::matrix_info& row = rows[size_t(r)];
            int features = -1;
            if (!step.empty())
                kernelCall(pluginName(), "counting features", [&] { features = TOLVA::JOB::feature_count(job, step, row.name); });
            setCell(r, RowColumn, QString::number(row.row));
            setCell(r, NameColumn, QString::fromStdString(row.name));
            setCell(r, ContextColumn, QString::fromStdString(row.context));
            setCell(r, TypeColumn, QString::fromStdString(row.type));
            setCell(r, PolarityColumn, QString::fromStdString(row.polarity));
            setCell(r, FeaturesColumn, features < 0 ? QString() : QString::number(features));
        }
    }

    void setCell(int row, int column, const QString& text) { m_table->setItem(row, column, new QTableWidgetItem(text)); }

    QTableWidget* m_table;
    BoundJob m_job;
    int m_observer = -1;
};

}  // namespace

TOLVA_PLUGIN_ENTRY(MatrixPanel)
