#pragma once
// The one seam through which the view shows modal message boxes. In the
// program it opens a QMessageBox; a test installs a responder that records
// each box and answers it.
#include <QMessageBox>
#include <QString>
#include <functional>
#include <optional>

namespace TOLVA {
namespace GRAPHIC {
namespace prompt {

struct Request {
    QWidget* parent = nullptr;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons = QMessageBox::Ok;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
};

using Responder = std::function<QMessageBox::StandardButton(const Request&)>;

// Installs `responder` for every later box and returns the previous one; an
// empty responder restores the real boxes.
Responder setResponder(Responder responder);

// Shows the box and returns the button chosen.
QMessageBox::StandardButton ask(const Request& request);

// An information box with an OK button.
void information(QWidget* parent, const QString& title, const QString& text);

// A line of text asked of the operator.
struct TextRequest {
    QWidget* parent = nullptr;
    QString title;
    QString label;
    QString initial;
};
// The text entered, or nothing when the operator cancelled.
using TextResponder = std::function<std::optional<QString>(const TextRequest&)>;
// Installs `responder` for every later text request and returns the
// previous one; an empty responder restores the real input box.
TextResponder setTextResponder(TextResponder responder);
// Without a screen nobody can type: the request is logged and cancelled.
std::optional<QString> askText(const TextRequest& request);

}  // namespace prompt
}  // namespace GRAPHIC
}  // namespace TOLVA
