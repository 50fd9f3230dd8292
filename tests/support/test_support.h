#pragma once
// Helpers shared by the view's tests: log capture, message recording through
// the real plug-in manager, answering message boxes, and small kernel jobs.
#include <glog/logging.h>

#include <QMessageBox>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "PluginMetaData.h"
#include "core/prompt.h"

class QWidget;

namespace testsupport {

// A double click as the platform delivers it (press, release, double click,
// release), through the widget's window so that Qt itself detects it.
void doubleClick(QWidget* widget, Qt::MouseButton button, const QPoint& pos);

// Collects every log line written while it lives.
class LogCapture : public google::LogSink {
public:
    struct Line {
        google::LogSeverity severity;
        std::string file;
        int line;
        std::string text;
    };
    LogCapture();
    ~LogCapture() override;
    void send(google::LogSeverity severity, const char* full_filename, const char* base_filename, int line,
              const struct ::tm* tm_time, const char* message, size_t message_len) override;
    std::vector<Line> lines() const;
    int count(google::LogSeverity severity, const std::string& containing = std::string()) const;
    bool contains(const std::string& text) const;
    void clear();

private:
    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
};

// Records every message the plug-in manager carries while it lives.
class MessageRecorder {
public:
    struct Entry {
        QString route;  // "plugin", "framework" or "job"
        PluginMetaData msg;
        bool payloadWasNull;
    };
    MessageRecorder();
    ~MessageRecorder();
    const std::vector<Entry>& entries() const { return m_entries; }
    std::vector<PluginMetaData> withCode(qint32 code) const;
    std::vector<PluginMetaData> to(const QString& receiver) const;
    QList<qint32> codes() const;
    void clear() { m_entries.clear(); }

private:
    int m_id;
    std::vector<Entry> m_entries;
};

// Sends `view` the messages a job list sends when a job is opened: the
// shown layers (code 54, palette indices in order) and the job and step
// (code 20001637, which fits the profile).
void openJobInView(QWidget* view, const std::string& job, const std::string& step, const QStringList& layers);

// Answers every message box: the queued answers in order, then `fallback`.
class PromptRecorder {
public:
    explicit PromptRecorder(QMessageBox::StandardButton fallback = QMessageBox::Ok);
    ~PromptRecorder();
    void queue(QMessageBox::StandardButton answer) { m_answers.push_back(answer); }
    const std::vector<TOLVA::GRAPHIC::prompt::Request>& requests() const { return m_requests; }
    QStringList texts() const;
    void clear() { m_requests.clear(); }

private:
    QMessageBox::StandardButton m_fallback;
    std::deque<QMessageBox::StandardButton> m_answers;
    std::vector<TOLVA::GRAPHIC::prompt::Request> m_requests;
    TOLVA::GRAPHIC::prompt::Responder m_previous;
};

// A small job in the kernel: one step "pcb", a rectangular profile and the
// given board layers (signal type), removed again at the end.
class ScopedJob {
public:
    ScopedJob(const std::string& name, double width, double height, const std::vector<std::string>& layers);
    ~ScopedJob();
    const std::string& name() const { return m_name; }
    static constexpr const char* kStep = "pcb";
    // Adds a positive (or negative) pad of `symbol` at (x, y) to `layer`.
    void addPad(const std::string& layer, double x, double y, const std::string& symbol, bool positive = true) const;
    // Adds a line of `symbol` to `layer`.
    void addLine(const std::string& layer, double x1, double y1, double x2, double y2, const std::string& symbol) const;
    void addArc(const std::string& layer, double xs, double ys, double xe, double ye, double xc, double yc,
                const std::string& symbol, bool clockwise) const;

private:
    std::string m_name;
};

}  // namespace testsupport
