#include "fabrication_files.h"

#include <zip.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <algorithm>
#include <memory>

#include "TOLVA_Export.h"
#include "TOLVA_Job.h"

namespace host {
namespace {

using TOLVA::IMPORT::import_file;

// Larger files are refused before they are read: a layer of a board is far
// smaller, and a mistaken argument must not fill the memory.
constexpr qint64 kMaxFileBytes = qint64(1) << 30;

bool isFabrication(const std::string& text) { return !TOLVA::IMPORT::detect_format(text).empty(); }

bool readFile(const QString& path, std::string& text, QString* why) {
    QFile file(path);
    if (file.size() > kMaxFileBytes) {
        *why = QStringLiteral("larger than 1 GiB");
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *why = file.errorString();
        return false;
    }
    const QByteArray bytes = file.readAll();
    text.assign(bytes.constData(), std::size_t(bytes.size()));
    return true;
}

struct ZipCloser {
    void operator()(zip_t* z) const { zip_discard(z); }
};

// The Gerber and Excellon members of an archive, in the archive's order.
bool readZip(const QString& path, std::vector<import_file>& files, QString* why) {
    int error = 0;
    std::unique_ptr<zip_t, ZipCloser> archive(zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY, &error));
    if (!archive) {
        zip_error_t e;
        zip_error_init_with_code(&e, error);
        *why = QStringLiteral("not a readable zip archive (%1)").arg(QString::fromUtf8(zip_error_strerror(&e)));
        zip_error_fini(&e);
        return false;
    }
    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        if (zip_stat_index(archive.get(), zip_uint64_t(i), 0, &st) != 0 || !(st.valid & ZIP_STAT_SIZE)) continue;
        const std::string name = st.name ? st.name : "";
        if (name.empty() || name.back() == '/' || st.size > zip_uint64_t(kMaxFileBytes)) continue;
        zip_file_t* member = zip_fopen_index(archive.get(), zip_uint64_t(i), 0);
        if (!member) continue;
        std::string text(std::size_t(st.size), '\0');
        const zip_int64_t got = zip_fread(member, text.empty() ? nullptr : &text[0], st.size);
        // The checksum is compared only when a read reaches the member's end:
        // one more read must find nothing, not an error.
        char past = 0;
        const zip_int64_t more = zip_fread(member, &past, 1);
        zip_fclose(member);
        if (got != zip_int64_t(st.size) || more != 0) {
            *why = QStringLiteral("member %1 is damaged").arg(QString::fromStdString(name));
            return false;
        }
        if (isFabrication(text)) files.push_back({name, std::move(text)});
    }
    return true;
}

bool readFolder(const QString& path, std::vector<import_file>& files, QString* why) {
    const QFileInfoList entries = QDir(path).entryInfoList(QDir::Files | QDir::Readable, QDir::Name);
    for (const QFileInfo& entry : entries) {
        std::string text;
        if (!readFile(entry.filePath(), text, why)) continue;  // an unreadable stray file is passed over
        if (isFabrication(text)) files.push_back({entry.fileName().toStdString(), std::move(text)});
    }
    return true;
}

}  // namespace

bool collectFabricationFiles(const QString& argument, std::vector<import_file>& files, QString* reason) {
    const QFileInfo info(argument);
    QString why;
    const std::size_t before = files.size();
    auto refuse = [&](const QString& text) {
        if (reason) *reason = QStringLiteral("%1: %2").arg(argument, text);
        files.resize(before);
        return false;
    };
    if (!info.exists()) return refuse(QStringLiteral("no such file or directory"));
    if (info.isDir()) {
        readFolder(argument, files, &why);
        if (files.size() == before) return refuse(QStringLiteral("holds no saved job and no Gerber or Excellon file"));
        return true;
    }
    if (info.suffix().compare(QLatin1String("zip"), Qt::CaseInsensitive) == 0) {
        if (!readZip(argument, files, &why)) return refuse(why);
        if (files.size() == before) return refuse(QStringLiteral("the archive holds no Gerber or Excellon file"));
        return true;
    }
    std::string text;
    if (!readFile(argument, text, &why)) return refuse(QStringLiteral("cannot be read: %1").arg(why));
    if (!isFabrication(text))
        return refuse(QStringLiteral("not a saved job, a Gerber or an Excellon file, a folder or a .zip of them"));
    files.push_back({info.fileName().toStdString(), std::move(text)});
    return true;
}

bool importFabrication(const std::string& job, const std::vector<import_file>& files, QStringList* problems) {
    // The whole set is read at once so that the outline layer gives the
    // profile; a file that fails is named in the kernel's text, left out,
    // and the rest read again.
    std::vector<import_file> left = files;
    while (!left.empty()) {
        try {
            if (TOLVA::JOB::job_exists(job)) TOLVA::JOB::delete_job(job);
            TOLVA::IMPORT::import_job(job, left);
            return true;
        } catch (const std::string& text) {
            const QString message = QString::fromStdString(text);
            if (problems) problems->append(message);
            const auto named = std::find_if(left.begin(), left.end(), [&](const import_file& f) {
                return message.startsWith(QString::fromStdString(f.name) + QLatin1Char(':'));
            });
            if (named == left.end()) return false;  // not a fault of one file: nothing more to try
            left.erase(named);
        }
    }
    return false;
}

bool exportFabrication(const std::string& job, const std::string& step, const QString& dir, QStringList* written,
                       QString* reason) {
    auto refuse = [&](const QString& why) {
        if (reason) *reason = why;
        return false;
    };
    std::vector<import_file> files;
    try {
        files = TOLVA::EXPORT::export_job(job, step);
    } catch (const std::string& text) {
        return refuse(QString::fromStdString(text));
    }
    if (!QDir().mkpath(dir)) return refuse(QStringLiteral("%1: cannot create the directory").arg(dir));
    for (const import_file& f : files) {
        const QString path = QDir(dir).filePath(QString::fromStdString(f.name));
        QSaveFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(f.text.data(), qint64(f.text.size())) != qint64(f.text.size()) ||
            !out.commit())
            return refuse(QStringLiteral("%1: %2").arg(path, out.errorString()));
        if (written) written->append(path);
    }
    return true;
}

QString importedJobName(const QString& firstArgument) {
    const QFileInfo info(QDir::cleanPath(firstArgument));
    QString name = info.isDir() ? info.fileName() : info.completeBaseName();
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_.-]")), QStringLiteral("_"));
    return name.isEmpty() ? QStringLiteral("imported") : name.toLower();
}

}  // namespace host
