#pragma once
// Small pieces several sibling plug-ins are built from: the shared display
// unit, a guard around kernel calls, a list of received messages, a panel
// that shows what a plug-in was sent, and a form dialog that never blocks.
#include <QDialog>
#include <QMap>
#include <QString>
#include <QTreeWidget>
#include <QVariantMap>
#include <QWidget>
#include <exception>
#include <functional>
#include <string>

#include "plugin_endpoint.h"

class QAction;
class QComboBox;
class QKeySequence;
class QDoubleSpinBox;
class QFormLayout;
class QSpinBox;

namespace TOLVA {
namespace PLUGIN {

// ---- the display unit ("MM" or "Inch", as the shared UI state keeps it) ----
bool isMillimetres(const std::string& unit);
// Board units (nanometres) per display unit.
double nanometresPer(const std::string& unit);
// A length typed in `unit` as whole board units. Rounded, because the view
// truncates offsets and a product like 0.3 x 1e6 may fall just short.
double toBoard(double value, const std::string& unit);
// "mm" or "inch".
QString unitSuffix(const std::string& unit);
// Millimetres show 4 decimals, inches 5.
int unitDecimals(const std::string& unit);
// A board coordinate as the read-out shows it in `unit`.
QString formatBoard(double nanometres, const std::string& unit);

// "key=value, key=value" in key order, for logs and message lists.
QString describeData(const QVariantMap& data);

// False under the offscreen and minimal platforms, where nobody can answer.
bool interactive();

// Logs what a kernel call threw (a text or an exception) instead of passing
// it on; true when `call` completed.
void logKernelFailure(const QString& plugin, const char* what, const std::string& reason);
template <class Call>
bool kernelCall(const QString& plugin, const char* what, Call&& call) {
    try {
        call();
        return true;
    } catch (const std::exception& e) {
        logKernelFailure(plugin, what, e.what());
    } catch (const std::string& text) {
        logKernelFailure(plugin, what, text);
    } catch (const char* text) {
        logKernelFailure(plugin, what, text ? text : "");
    }
    return false;
}

// The job and step the host announces with 20001637 ("JobName", "Step").
struct BoundJob {
    static constexpr qint32 kCode = 20001637;
    QString job;
    QString step;
    bool isOpen() const { return !job.isEmpty() && !step.isEmpty(); }
    // Takes the names from a 20001637 message; false for any other message.
    bool take(const PluginMetaData& msg);
};

// Received messages, newest last: time, code, what it is, its data. Keeps
// the last kMaxRows so that a long session cannot grow it without end.
class MessageLog : public QTreeWidget {
public:
    static constexpr int kMaxRows = 500;
    explicit MessageLog(QWidget* parent = nullptr);
    void add(const PluginMetaData& msg, const QString& what);
    // The row as shown: code, what, data (the time left out).
    QStringList rowText(int row) const;
};

// A plug-in that only shows what it is sent: a message log in a dock at
// the bottom. `known` names the codes it expects; others are listed too,
// as "unexpected", so that a wrong address shows up.
class ReceivedMessagesPanel : public QWidget, public PluginEndpoint {
public:
    ReceivedMessagesPanel(const QString& ownName, QWidget* host, const QString& title,
                          QMap<qint32, QString> known);
    MessageLog* log() const { return m_log; }

protected:
    void receive(const PluginMetaData& msg) override;

private:
    MessageLog* m_log;
    QMap<qint32, QString> m_known;
};

// A small form of named fields; each field's widget carries its key as
// object name. Shown with open(), so nothing waits for the operator; the
// callback runs on OK and the dialog deletes itself when it closes.
class FormDialog : public QDialog {
public:
    FormDialog(QWidget* parent, const QString& objectName, const QString& title);
    QDoubleSpinBox* addNumber(const QString& key, const QString& label, double min, double max, int decimals,
                              double value);
    QSpinBox* addCount(const QString& key, const QString& label, int min, int max, int value);
    // A length in the display unit `unit`, labelled with the unit.
    QDoubleSpinBox* addLength(const QString& key, const QString& label, const std::string& unit);
    QComboBox* addChoice(const QString& key, const QString& label, const QStringList& items, bool editable = false);

    double number(const QString& key) const;
    // A length field's value in board units.
    double boardLength(const QString& key) const;
    int count(const QString& key) const;
    int choiceIndex(const QString& key) const;
    QString choiceText(const QString& key) const;

    // Shows the dialog without waiting; `accepted` runs once on OK.
    void present(std::function<void(const FormDialog&)> accepted);

private:
    template <class W>
    W* field(const QString& key) const;
    QFormLayout* m_form;
    std::string m_unit;
};

// Adds a named action to `owner`, which lends its actions to its menu;
// `run` runs when the action is triggered.
QAction* addMenuAction(QWidget* owner, const char* name, const QString& text, std::function<void()> run);
QAction* addMenuAction(QWidget* owner, const char* name, const QString& text, const QKeySequence& keys,
                       std::function<void()> run);

// Asks for an offset ("dx", "dy") in the display unit `unit`; `accepted`
// receives it in board units.
void askOffset(QWidget* parent, const std::string& unit, const QString& title,
               std::function<void(double dx, double dy)> accepted);

}  // namespace PLUGIN
}  // namespace TOLVA
