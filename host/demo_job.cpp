#include "demo_job.h"

#include <QStringList>
#include <QVariantList>

#include "PluginNames.h"
#include "TOLVA_Job.h"

namespace host {

namespace {
constexpr int kPaletteSize = 10;
constexpr qint32 kBindCode = 20001637;
constexpr qint32 kShownLayersCode = 54;
}  // namespace

void ensureDemoJob(long features) {
    if (TOLVA::JOB::job_exists(kDemoJob)) return;
    TOLVA::JOB::generate_params params;
    params.features = features;
    TOLVA::JOB::generate_job(kDemoJob, kDemoStep, params);
}

PluginMetaData bindMessage(const QString& job, const QString& step) {
    PluginMetaData msg(PluginNames::JobList, PluginNames::GraphicView, kBindCode);
    msg.data.insert(QStringLiteral("JobName"), job);
    msg.data.insert(QStringLiteral("Step"), step);
    return msg;
}

PluginMetaData boardLayersMessage(const QString& job) {
    QStringList names;
    QVariantList colors;
    for (const TOLVA::API::matrix_info& row : TOLVA::API::get_matrix(job.toStdString())) {
        if (row.context != "board") continue;
        colors.append(names.size() % kPaletteSize);
        names.append(QString::fromStdString(row.name));
    }
    PluginMetaData msg(PluginNames::JobList, PluginNames::GraphicView, kShownLayersCode);
    msg.data.insert(QStringLiteral("LayerList"), names);
    msg.data.insert(QStringLiteral("ColorList"), colors);
    return msg;
}

}  // namespace host
