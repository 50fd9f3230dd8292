#pragma once
// The job the operator works on: where it came from, whether it has unsaved
// edits, and its journal, which the view and the kernel append to as the
// operator works so that a crash loses at most the last edit.
#include <QString>

namespace host {

// The application's own folder (logs, journals): $TOLVA_HOME when set, else
// the per-user application data folder.
QString applicationFolder();

class JobSession {
public:
    // The job directory an argument names (the directory itself, or the job
    // file inside it); an empty text and a one-line reason otherwise.
    static QString jobDirectoryFor(const QString& argument, QString* reason);

    // Loads a saved job (throws the kernel's text, naming file and line).
    void open(const QString& directory);
    // Adopts a job built in memory (the generated demo board); `origin`
    // tells a journal written against it from one written against another.
    void adopt(const QString& job, const QString& origin);
    void close();

    const QString& job() const { return m_job; }
    const QString& directory() const { return m_directory; }
    bool isOpen() const { return !m_job.isEmpty(); }
    bool hasUnsavedEdits() const;

    // Saves into `directory` (the job's own when empty); the journal starts
    // over, since the saved job now holds its edits.
    void save(const QString& directory = QString());

    // The journal: a previous session's journal for this job and origin
    // that holds edits (not only reads) can be replayed.
    QString journalFile() const;
    bool hasRecoverableJournal() const;
    void recover();
    // Starts journalling (a previous journal is set aside first unless it
    // was just recovered).
    void startJournal(bool keepExisting);
    // A clean end (saved, or the operator chose to drop the edits): the
    // journal is removed.
    void endJournal();

private:
    void writeJournalHeader() const;
    QString m_job;
    QString m_directory;
    QString m_origin;
    unsigned long long m_savedSerial = 0;
    bool m_journalling = false;
};

}  // namespace host
