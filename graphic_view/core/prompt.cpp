#include "prompt.h"

#include <glog/logging.h>

#include <QGuiApplication>
#include <QInputDialog>

namespace TOLVA {
namespace GRAPHIC {
namespace prompt {
namespace {
Responder& current() {
    static Responder responder;
    return responder;
}

// Platforms without a screen: nobody could answer a modal box there.
bool headless() {
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("offscreen") || platform == QLatin1String("minimal");
}

// Without a screen a box is logged and answered at once: a question with
// its default button, else the cautious No or Cancel, so that nothing runs
// that the operator did not confirm.
QMessageBox::StandardButton unattendedAnswer(const Request& request) {
    LOG(WARNING) << request.title.toStdString() << ": " << request.text.toStdString();
    if (request.defaultButton != QMessageBox::NoButton) return request.defaultButton;
    for (QMessageBox::StandardButton cautious : {QMessageBox::No, QMessageBox::Cancel})
        if (request.buttons & cautious) return cautious;
    return QMessageBox::Ok;
}
}  // namespace

Responder setResponder(Responder responder) {
    Responder previous = std::move(current());
    current() = std::move(responder);
    return previous;
}

QMessageBox::StandardButton ask(const Request& request) {
    if (current()) return current()(request);
    if (headless()) return unattendedAnswer(request);
    return QMessageBox::information(request.parent, request.title, request.text, request.buttons,
                                    request.defaultButton);
}

void information(QWidget* parent, const QString& title, const QString& text) {
    ask({parent, title, text, QMessageBox::Ok, QMessageBox::NoButton});
}

namespace {
TextResponder& currentText() {
    static TextResponder responder;
    return responder;
}
}  // namespace

TextResponder setTextResponder(TextResponder responder) {
    TextResponder previous = std::move(currentText());
    currentText() = std::move(responder);
    return previous;
}

std::optional<QString> askText(const TextRequest& request) {
    if (currentText()) return currentText()(request);
    if (headless()) {
        LOG(WARNING) << request.title.toStdString() << ": " << request.label.toStdString() << " (not asked)";
        return std::nullopt;
    }
    bool ok = false;
    const QString text =
        QInputDialog::getText(request.parent, request.title, request.label, QLineEdit::Normal, request.initial, &ok);
    if (!ok) return std::nullopt;
    return text;
}

}  // namespace prompt
}  // namespace GRAPHIC
}  // namespace TOLVA
