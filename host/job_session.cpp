#include "job_session.h"

#include <glog/logging.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>
#include <QTextStream>

#include "TOLVA_API.h"
#include "TOLVA_Job.h"

namespace host {

namespace {
const char kJobFileName[] = "job.tolva";
const char kHeaderTag[] = "# tolva_host journal, origin: ";

QString readHeaderOrigin(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return QString();
    const QString first = QString::fromUtf8(file.readLine()).trimmed();
    return first.startsWith(QLatin1String(kHeaderTag)) ? first.mid(int(sizeof(kHeaderTag)) - 1) : QString();
}

// True when the journal holds a call that changes the job: the view also
// journals what it reads (the profile, the canvas, selections), and a
// journal of reads alone has nothing to give back.
bool holdsEdits(const QString& path) {
    static const QSet<QByteArray> edits = {
        "AddFeature", "AddFeatures", "copy_features_in_samelayer", "move_same_layer",
        "multi_copy_features_in_samelayer", "move_specified_features", "copy_specified_features",
        "undo_last_edit", "change_matrix", "create_new_layer"};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (edits.contains(line.left(line.indexOf(' ')))) return true;
    }
    return false;
}
}  // namespace

QString applicationFolder() {
    const QString home = qEnvironmentVariable("TOLVA_HOME");
    QString dir = !home.isEmpty() ? home : QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (dir.isEmpty()) dir = QDir::home().filePath(QStringLiteral(".tolva_host"));
    QDir().mkpath(dir);
    return dir;
}

QString JobSession::jobDirectoryFor(const QString& argument, QString* reason) {
    const QFileInfo info(argument);
    auto refuse = [&](const QString& why) {
        if (reason) *reason = QStringLiteral("%1: %2").arg(argument, why);
        return QString();
    };
    if (!info.exists()) return refuse(QStringLiteral("no such file or directory"));
    if (info.isDir()) {
        if (!QFileInfo::exists(QDir(argument).filePath(QLatin1String(kJobFileName))))
            return refuse(QStringLiteral("not a saved job (no %1 in it)").arg(QLatin1String(kJobFileName)));
        return info.absoluteFilePath();
    }
    if (info.fileName() == QLatin1String(kJobFileName)) return info.absolutePath();
    return refuse(QStringLiteral("cannot be read: supported are a saved job directory or its %1 file")
                      .arg(QLatin1String(kJobFileName)));
}

void JobSession::open(const QString& directory) {
    const std::string name = TOLVA::JOB::load_job(QDir::toNativeSeparators(directory).toStdString());
    m_job = QString::fromStdString(name);
    m_directory = directory;
    m_origin = QFileInfo(directory).absoluteFilePath();
    m_savedSerial = TOLVA::JOB::edit_serial(name);
}

void JobSession::adopt(const QString& job, const QString& origin) {
    m_job = job;
    m_directory.clear();
    m_origin = origin;
    m_savedSerial = TOLVA::JOB::edit_serial(job.toStdString());
}

void JobSession::close() {
    endJournal();
    m_job.clear();
    m_directory.clear();
    m_origin.clear();
}

bool JobSession::hasUnsavedEdits() const {
    if (!isOpen() || !TOLVA::JOB::job_exists(m_job.toStdString())) return false;
    return TOLVA::JOB::edit_serial(m_job.toStdString()) != m_savedSerial;
}

void JobSession::save(const QString& directory) {
    const QString target = directory.isEmpty() ? m_directory : directory;
    if (target.isEmpty()) throw std::string("the job has no directory yet; choose one with Save As");
    TOLVA::JOB::save_job(m_job.toStdString(), QDir::toNativeSeparators(target).toStdString());
    m_directory = target;
    m_origin = QFileInfo(target).absoluteFilePath();
    m_savedSerial = TOLVA::JOB::edit_serial(m_job.toStdString());
    if (m_journalling) writeJournalHeader();  // the saved job holds what the journal held
}

QString JobSession::journalFile() const {
    QDir dir(applicationFolder());
    dir.mkpath(QStringLiteral("journal"));
    return dir.filePath(QStringLiteral("journal/%1.journal").arg(m_job));
}

bool JobSession::hasRecoverableJournal() const {
    const QString path = journalFile();
    return QFileInfo::exists(path) && readHeaderOrigin(path) == m_origin && holdsEdits(path);
}

void JobSession::recover() { TOLVA::JOB::replay_journal(journalFile().toStdString()); }

void JobSession::writeJournalHeader() const {
    QFile file(journalFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        LOG(ERROR) << "cannot write the journal " << file.fileName().toStdString();
        return;
    }
    file.write(QByteArray(kHeaderTag) + m_origin.toUtf8() + '\n');
}

void JobSession::startJournal(bool keepExisting) {
    const QString path = journalFile();
    if (!keepExisting && QFileInfo::exists(path)) {
        // Set aside, not deleted: the operator may still want what it holds.
        QFile::remove(path + QStringLiteral(".previous"));
        QFile::rename(path, path + QStringLiteral(".previous"));
    }
    if (!keepExisting || !QFileInfo::exists(path)) writeJournalHeader();
    TOLVA::JOB::set_journal_path(m_job.toStdString(), path.toStdString());
    TOLVA::DB::set_SaveFlag(true);
    m_journalling = true;
}

void JobSession::endJournal() {
    if (!m_journalling) return;
    TOLVA::DB::set_SaveFlag(false);
    m_journalling = false;
    QFile::remove(journalFile());
}

}  // namespace host
