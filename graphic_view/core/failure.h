#pragma once
// Reporting of kernel failures. The kernel throws either a text (a
// std::string, TOLVA::API::KernelText) or a std::exception; every catch site
// goes through here so that both are handled the same way.
#include <QString>
#include <exception>

class QWidget;

namespace TOLVA {
namespace GRAPHIC {

// The two labels of a failure report, in the GBK code page.
extern const char kFailurePositionLabel[];     // "异常位置："
extern const char kFailureDescriptionLabel[];  // "异常描述："

enum class FailureKind { Text, Standard, Other };

struct FailureInfo {
    FailureKind kind = FailureKind::Other;
    QString text;
};

// Classifies the exception and extracts its text (a thrown text, a thrown
// C string, or what() of a std::exception).
FailureInfo describeFailure(std::exception_ptr error);

// The file name without its directories, as log lines show it.
const char* baseName(const char* path);

// Logs the two ERROR lines: "异常位置：<file> : <line>" and "异常描述：<text>".
void logFailure(const char* file, int line, const QString& text);

// logFailure, then a modal information box with the text.
void reportFailure(QWidget* parent, const char* file, int line, std::exception_ptr error,
                   const QString& title);

}  // namespace GRAPHIC
}  // namespace TOLVA
