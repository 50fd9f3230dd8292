#include "failure.h"

#include <glog/logging.h>

#include <cstring>
#include <string>

#include "prompt.h"

namespace TOLVA {
namespace GRAPHIC {

const char kFailurePositionLabel[] = "\xD2\xEC\xB3\xA3\xCE\xBB\xD6\xC3\xA3\xBA";
const char kFailureDescriptionLabel[] = "\xD2\xEC\xB3\xA3\xC3\xE8\xCA\xF6\xA3\xBA";

FailureInfo describeFailure(std::exception_ptr error) {
    try {
        if (error) std::rethrow_exception(error);
    } catch (const std::string& text) {
        return {FailureKind::Text, QString::fromStdString(text)};
    } catch (const char* text) {
        return {FailureKind::Text, QString::fromUtf8(text ? text : "")};
    } catch (const std::exception& e) {
        return {FailureKind::Standard, QString::fromUtf8(e.what())};
    } catch (...) {
        return {FailureKind::Other, QStringLiteral("unknown error")};
    }
    return {FailureKind::Other, QString()};
}

const char* baseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    const char* back = std::strrchr(path, '\\');
    if (back > slash) slash = back;
    return slash ? slash + 1 : path;
}

void logFailure(const char* file, int line, const QString& text) {
    const char* name = baseName(file);
    google::LogMessage(name, line, google::GLOG_ERROR).stream()
        << kFailurePositionLabel << name << " : " << line;
    google::LogMessage(name, line, google::GLOG_ERROR).stream()
        << kFailureDescriptionLabel << text.toStdString();
}

void reportFailure(QWidget* parent, const char* file, int line, std::exception_ptr error,
                   const QString& title) {
    const FailureInfo info = describeFailure(error);
    logFailure(file, line, info.text);
    prompt::information(parent, title, info.text);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
