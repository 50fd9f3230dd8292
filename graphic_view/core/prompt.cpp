#include "prompt.h"

namespace TOLVA {
namespace GRAPHIC {
namespace prompt {
namespace {
Responder& current() {
    static Responder responder;
    return responder;
}
}  // namespace

Responder setResponder(Responder responder) {
    Responder previous = std::move(current());
    current() = std::move(responder);
    return previous;
}

QMessageBox::StandardButton ask(const Request& request) {
    if (current()) return current()(request);
    return QMessageBox::information(request.parent, request.title, request.text, request.buttons,
                                    request.defaultButton);
}

void information(QWidget* parent, const QString& title, const QString& text) {
    ask({parent, title, text, QMessageBox::Ok, QMessageBox::NoButton});
}

}  // namespace prompt
}  // namespace GRAPHIC
}  // namespace TOLVA
