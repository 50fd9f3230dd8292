#include "test_support.h"

#include <QTest>
#include <QWidget>
#include <QWindow>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "graphic_view/graphic_view.h"
#include "TOLVA_Job.h"

namespace testsupport {

void doubleClick(QWidget* widget, Qt::MouseButton button, const QPoint& pos) {
    QWidget* window = widget->window();
    QTest::mouseDClick(window->windowHandle(), button, Qt::NoModifier, widget->mapTo(window, pos));
}

LogCapture::LogCapture() { google::AddLogSink(this); }
LogCapture::~LogCapture() { google::RemoveLogSink(this); }

void LogCapture::send(google::LogSeverity severity, const char*, const char* base_filename, int line,
                      const struct ::tm*, const char* message, size_t message_len) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back({severity, base_filename, line, std::string(message, message_len)});
}

std::vector<LogCapture::Line> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

int LogCapture::count(google::LogSeverity severity, const std::string& containing) const {
    int n = 0;
    for (const Line& l : lines())
        if (l.severity == severity && l.text.find(containing) != std::string::npos) ++n;
    return n;
}

bool LogCapture::contains(const std::string& text) const {
    for (const Line& l : lines())
        if (l.text.find(text) != std::string::npos) return true;
    return false;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
}

void openJobInView(QWidget* view, const std::string& job, const std::string& step, const QStringList& layers) {
    PluginMetaData shown(PluginNames::JobList, PluginNames::GraphicView, 54);
    shown.data.insert(QStringLiteral("LayerList"), layers);
    recMsgFromManager(view, &shown);
    PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, 20001637);
    bind.data.insert(QStringLiteral("JobName"), QString::fromStdString(job));
    bind.data.insert(QStringLiteral("Step"), QString::fromStdString(step));
    recMsgFromManager(view, &bind);
}

MessageRecorder::MessageRecorder() {
    m_id = QTpluginsManger4CAM::instance()->addObserver([this](const QString& route, const PluginMetaData& msg) {
        if (route == QLatin1String("dropped")) return;  // already recorded on its way out
        m_entries.push_back({route, msg, msg.payload == nullptr});
    });
}

MessageRecorder::~MessageRecorder() { QTpluginsManger4CAM::instance()->removeObserver(m_id); }

std::vector<PluginMetaData> MessageRecorder::withCode(qint32 code) const {
    std::vector<PluginMetaData> out;
    for (const Entry& e : m_entries)
        if (e.msg.msgType == code) out.push_back(e.msg);
    return out;
}

std::vector<PluginMetaData> MessageRecorder::to(const QString& receiver) const {
    std::vector<PluginMetaData> out;
    for (const Entry& e : m_entries)
        if (e.msg.receiver == receiver) out.push_back(e.msg);
    return out;
}

QList<qint32> MessageRecorder::codes() const {
    QList<qint32> out;
    for (const Entry& e : m_entries) out.append(e.msg.msgType);
    return out;
}

PromptRecorder::PromptRecorder(QMessageBox::StandardButton fallback) : m_fallback(fallback) {
    m_previous = TOLVA::GRAPHIC::prompt::setResponder([this](const TOLVA::GRAPHIC::prompt::Request& r) {
        m_requests.push_back(r);
        if (m_answers.empty()) return m_fallback;
        const QMessageBox::StandardButton answer = m_answers.front();
        m_answers.pop_front();
        return answer;
    });
}

PromptRecorder::~PromptRecorder() { TOLVA::GRAPHIC::prompt::setResponder(m_previous); }

QStringList PromptRecorder::texts() const {
    QStringList out;
    for (const auto& r : m_requests) out.append(r.text);
    return out;
}

ScopedJob::ScopedJob(const std::string& name, double width, double height, const std::vector<std::string>& layers)
    : m_name(name) {
    if (TOLVA::JOB::job_exists(name)) TOLVA::JOB::delete_job(name);
    TOLVA::JOB::create_job(name);
    TOLVA::JOB::create_step(name, kStep);
    for (const std::string& layer : layers) TOLVA::JOB::add_layer(name, layer, "board", "signal", "positive");
    TOLVA::JOB::set_profile(name, kStep, {{0, 0}, {width, 0}, {width, height}, {0, height}, {0, 0}});
}

namespace {
void addOne(const std::string& job, const std::string& layer, const std::string& record) {
    TOLVA::API::AddFeature(job, ScopedJob::kStep, {layer}, {{layer, record}}, {}, false);
}
int symbolIndex(const std::string& job, const std::string& layer, const std::string& symbol) {
    int index = -1;
    TOLVA::API::create_new_symbol(job, ScopedJob::kStep, layer, symbol, index);
    return index;
}
}  // namespace

void ScopedJob::addPad(const std::string& layer, double x, double y, const std::string& symbol, bool positive) const {
    const int polarity = positive ? TOLVA::API::POL_POSITIVE : TOLVA::API::POL_NEGATIVE;
    addOne(m_name, layer, TOLVA::API::GreatePadString(x, y, symbolIndex(m_name, layer, symbol), polarity, 0, 0, 0.0));
}

void ScopedJob::addLine(const std::string& layer, double x1, double y1, double x2, double y2,
                        const std::string& symbol) const {
    addOne(m_name, layer,
           TOLVA::API::GreateLineString(x1, y1, x2, y2, symbolIndex(m_name, layer, symbol), TOLVA::API::POL_POSITIVE, 0));
}

void ScopedJob::addArc(const std::string& layer, double xs, double ys, double xe, double ye, double xc, double yc,
                       const std::string& symbol, bool clockwise) const {
    addOne(m_name, layer,
           TOLVA::API::GreateArcString(xs, ys, xe, ye, xc, yc, symbolIndex(m_name, layer, symbol),
                                       TOLVA::API::POL_POSITIVE, 0, clockwise));
}

ScopedJob::~ScopedJob() {
    try {
        TOLVA::JOB::delete_job(m_name);
    } catch (...) {
    }
}

}  // namespace testsupport
