#pragma once
// What every sibling plug-in shares: the two exported entry points, written
// once by TOLVA_PLUGIN_ENTRY, and an endpoint mixin that knows the plug-in's
// own file name and the host it was created for, sends through the plug-in
// manager and keeps a malformed message from escaping into the sender.
#include <QString>
#include <QVariantMap>
#include <functional>
#include <new>

#include "PluginMetaData.h"

class QWidget;

#if defined(_WIN32)
#  define TOLVA_PLUGIN_EXPORT __declspec(dllexport)
#else
#  define TOLVA_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

namespace TOLVA {
namespace PLUGIN {

class PluginEndpoint {
public:
    PluginEndpoint(QString ownName, QWidget* host) : m_name(std::move(ownName)), m_host(host) {}
    virtual ~PluginEndpoint() = default;

    const QString& pluginName() const { return m_name; }
    QWidget* host() const { return m_host; }

    // Entry from the manager: the message is handed to receive(); whatever it
    // throws is logged with the message's address and goes no further.
    void deliver(const PluginMetaData& msg);

protected:
    virtual void receive(const PluginMetaData& msg) = 0;
    // Builds (own name, receiver, code) with `data` and hands it to the manager.
    void send(const QString& receiver, qint32 code, const QVariantMap& data = {}, void* payload = nullptr) const;

private:
    QString m_name;
    QWidget* m_host;
};

// Reads a number from a message field; false when the key is missing or the
// value is not a finite number, so that a malformed message changes nothing.
bool readNumber(const QVariantMap& data, const QString& key, double& out);

}  // namespace PLUGIN
}  // namespace TOLVA

// The two unmangled exports the plug-in manager resolves. `Widget` derives
// from a QWidget class first and from PluginEndpoint; its constructor takes
// the host widget.
#define TOLVA_PLUGIN_ENTRY(Widget)                                                         \
    extern "C" TOLVA_PLUGIN_EXPORT QWidget* GetViewInstance(QWidget* parent) {             \
        return new (std::nothrow) Widget(parent);                                          \
    }                                                                                      \
    extern "C" TOLVA_PLUGIN_EXPORT void recMsgFromManager(void* instance, PluginMetaData* msg) { \
        if (!instance || !msg) return;                                                     \
        auto* widget = dynamic_cast<Widget*>(static_cast<QWidget*>(instance));             \
        if (widget) widget->deliver(*msg);                                                 \
    }
