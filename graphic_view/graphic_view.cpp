// The view's frame: construction, the exported entry points, binding to a
// job and step, the settings file and the display unit.
#include "graphic_view.h"

#include <glog/logging.h>

#include <QDir>
#include <QMenu>
#include <QTimer>
#include <new>

#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "Widget_Common.h"
#include "core/prompt.h"

extern "C" {

QWidget* GetViewInstance(QWidget* parent) {
    return new (std::nothrow) TOLVA::GRAPHIC::ViewWidget(parent);
}

void recMsgFromManager(void* view, PluginMetaData* msg) {
    if (!view || !msg) {
        LOG(ERROR) << "recMsgFromManager: null view or message ignored";
        return;
    }
    // The manager keeps its record; the view works on a copy.
    const PluginMetaData copy(*msg);
    static_cast<TOLVA::GRAPHIC::ViewWidget*>(view)->recMsgFromManager(copy);
}
}

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kConfigFile[] = "tvconfig.ini";
}

ViewWidget::ViewWidget(QWidget* parent) : QWidget(parent), m_host(parent) {
    qRegisterMetaType<PluginMetaData>("PluginMetaData");
    m_lastToolMsg.msgType = -1;  // nothing remembered
    setMouseTracking(true);
    API::init_canvas(width(), height());
    m_menuTimer = new QTimer(this);
    connect(m_menuTimer, &QTimer::timeout, this, &ViewWidget::timerslot);
    installEventFilter(this);
    m_indexA = -1;
    m_indexB = -1;
    m_tool = createTool(this, Graphic_ViewTool::NORMAL_TOOL);
    readCfgFile();
}

ViewWidget::~ViewWidget() {
    removeEventFilter(this);
    delete m_tool;
    m_tool = nullptr;
    qDeleteAll(m_popViews);
}

bool ViewWidget::Graphic_view_init(QString job, QString step) {
    m_job = job;
    m_step = step;
    bool fitted = false;
    guarded(__FILE__, __LINE__, [&] {
        API::reply_box box = queryProfileBox();
        zoom2fit(box);
        fitted = true;
    });
    return fitted;
}

API::reply_box ViewWidget::queryProfileBox() {
    if (DB::get_SaveFlag()) DB::profile_box_db_save(job(), step());
    return API::profile_box(job(), step());
}

void ViewWidget::setJobAndStep(PluginMetaData msg) {
    m_job = msg.data.value(QStringLiteral("JobName")).toString();
    m_step = msg.data.value(QStringLiteral("Step")).toString();
    if (m_job.isEmpty() || m_step.isEmpty()) {
        LOG(ERROR) << "TOLVA::GRAPHIC::ViewWidget::setJobAndStep function: m_job or m_step is empty!!!";
        prompt::information(this, tr("Information"), tr("Job name is empty or Step name is empty!"));
        return;
    }
    Graphic_view_init(m_job, m_step);
}

QWidget* ViewWidget::InitViewBar() { return this; }

QList<Widget_PopView*> ViewWidget::get_popviews() const { return m_popViews; }

// ---- configuration and units ---------------------------------------------

void ViewWidget::readCfgFile() {
    SettingsHooks hooks;
    hooks.beforeJobPath = [this](const QString& path) { CheckDir(path); };
    hooks.afterOutputPath = [this](const QString& path) {
        LOG(INFO) << "Output path: " << path.toStdString();
        CheckDir(path);
    };
    m_settings = readViewSettings(QString::fromLatin1(kConfigFile), hooks);
}

void ViewWidget::CheckDir(QString path) {
    if (path.isEmpty() || QDir(path).exists()) return;
    LOG(INFO) << "路径：\"" << path.toStdString() << "\"不存在，将自动创建！";
    if (!QDir().mkpath(path)) LOG(ERROR) << "could not create directory " << path.toStdString();
}

void ViewWidget::change_unit(const PluginMetaData&) {
    guarded(__FILE__, __LINE__, [&] {
        m_unit = QString::fromStdString(UIAPI::getUnitString());
        emit changeUnit();
    });
}

bool ViewWidget::Is_current_Unit_MM() { return m_unit.compare(QLatin1String("MM"), Qt::CaseInsensitive) == 0; }

void ViewWidget::setText() {
    if (!m_menu) return;
    m_actions.zoomArea->setText(tr("Zoom Area"));
    m_actions.reverse->setText(tr("Counter Election"));
    m_actions.measure->setText(tr("Measure"));
    m_actions.selectFeature->setText(tr("Select Feature"));
    m_actions.selectArea->setText(tr("Select Area"));
    m_actions.selectPolygon->setText(tr("Select Polygon"));
    m_actions.selectLayerNet->setText(tr("Select Layer Net"));
    m_actions.selectBoardNet->setText(tr("Select Board Net"));
    m_actions.selectPolyline->setText(tr("Select Polyline"));
}

}  // namespace GRAPHIC
}  // namespace TOLVA
