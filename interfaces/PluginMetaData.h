#pragma once
// The message record that travels between plug-ins through the plug-in
// manager. Plain value type: copies share the payload pointer, which stays
// owned by the sender for the duration of a synchronous delivery.
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QVariant>

struct PluginMetaData {
    QString sender;                // file name of the sending plug-in
    QString receiver;              // file name of the addressed plug-in
    qint32 msgType = 0;            // message code; dispatchers decide on it alone
    QMap<QString, QVariant> data;  // named arguments
    void* payload = nullptr;       // optional, owned by the sender

    PluginMetaData() = default;
    PluginMetaData(const QString& from, const QString& to, qint32 code)
        : sender(from), receiver(to), msgType(code) {}
    PluginMetaData(const PluginMetaData&) = default;
    PluginMetaData& operator=(const PluginMetaData&) = default;
};

Q_DECLARE_METATYPE(PluginMetaData)
