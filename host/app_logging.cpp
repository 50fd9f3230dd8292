#include "app_logging.h"

#include <glog/logging.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>

#include "job_session.h"

namespace host {

namespace {

constexpr qint64 kRotateBytes = 8 << 20;
const char kSeverity[] = "IWEF";

bool isUtf8(const QByteArray& bytes) {
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0;
}

QByteArray lineHead(google::LogSeverity severity, const char* file, int line, const struct ::tm* t) {
    char head[96];
    std::snprintf(head, sizeof head, "%c%02d%02d %02d:%02d:%02d %s:%d] ", kSeverity[severity & 3], t->tm_mon + 1,
                  t->tm_mday, t->tm_hour, t->tm_min, t->tm_sec, file, line);
    return QByteArray(head);
}

class AppLogSink : public google::LogSink {
public:
    explicit AppLogSink(const QString& path) : m_path(path) { openFile(); }
    void send(google::LogSeverity severity, const char*, const char* base, int line, const struct ::tm* t,
              const char* message, size_t length) override {
        const QByteArray raw = lineHead(severity, base, line, t) + QByteArray(message, int(length)) + '\n';
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_file.isOpen()) {
            m_file.write(raw);
            m_file.flush();
            if (m_file.size() > kRotateBytes) rotate();
        }
        if (severity >= google::GLOG_WARNING) {
            const QByteArray text = consoleText(raw);
            std::fwrite(text.constData(), 1, size_t(text.size()), stderr);
        }
    }

private:
    void openFile() {
        m_file.setFileName(m_path);
        if (!m_file.open(QIODevice::Append)) std::fprintf(stderr, "tolva_host: cannot write %s\n", qPrintable(m_path));
    }
    void rotate() {
        m_file.close();
        QFile::remove(m_path + QStringLiteral(".1"));
        QFile::rename(m_path, m_path + QStringLiteral(".1"));
        openFile();
    }
    QString m_path;
    QFile m_file;
    std::mutex m_mutex;
};

std::unique_ptr<AppLogSink> g_sink;

}  // namespace

QByteArray consoleText(const QByteArray& raw) {
    if (isUtf8(raw)) return raw;
    QTextCodec* gbk = QTextCodec::codecForName("GBK");
    return gbk ? gbk->toUnicode(raw).toUtf8() : raw;
}

QString setUpLogging(const char* argv0) {
    google::InitGoogleLogging(argv0);
    // glog writes no files of its own (one per run in the temporary folder)
    // and nothing to the console: the sink does both.
    for (int s = google::GLOG_INFO; s < google::NUM_SEVERITIES; ++s) google::SetLogDestination(s, "");
    FLAGS_logtostderr = false;
    FLAGS_alsologtostderr = false;
    FLAGS_stderrthreshold = google::NUM_SEVERITIES;
    QDir dir(applicationFolder());
    dir.mkpath(QStringLiteral("logs"));
    const QString path = dir.filePath(QStringLiteral("logs/tolva_host.log"));
    g_sink = std::make_unique<AppLogSink>(path);
    google::AddLogSink(g_sink.get());
    return path;
}

void shutDownLogging() {
    if (!g_sink) return;
    google::RemoveLogSink(g_sink.get());
    g_sink.reset();
}

}  // namespace host
