#pragma once
// The plug-in manager: loads plug-ins by file name and carries messages
// between them. Delivery is synchronous, on the calling thread.
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

#include "PluginMetaData.h"

#if defined(_WIN32)
#  define PLUGIN_MANAGER_EXPORT
#else
#  define PLUGIN_MANAGER_EXPORT __attribute__((visibility("default")))
#endif

class QWidget;

class PLUGIN_MANAGER_EXPORT QTpluginsManger4CAM : public QObject {
    Q_OBJECT
public:
    // Entry points a plug-in library exports (unmangled).
    using RecvFn = void (*)(void* instance, PluginMetaData* msg);
    using ViewFactoryFn = QWidget* (*)(QWidget* parent);
    // A receiver registered in-process by a host or a test.
    using Receiver = std::function<void(void* host, const PluginMetaData& msg)>;
    using JobReceiver = std::function<void(const QString& job, const PluginMetaData& msg)>;
    // Sees every message the manager carries: route is "plugin", "framework"
    // or "job"; a message no receiver took is seen once more as "dropped".
    using Observer = std::function<void(const QString& route, const PluginMetaData& msg)>;

    static QTpluginsManger4CAM* instance();

    // Delivers msg to msg.receiver: a registered receiver first, else the
    // instance of that loaded plug-in created for `host`; otherwise the
    // message is logged and dropped.
    void recMegToPlugin(void* host, PluginMetaData msg);
    // Delivers to the framework receiver (logged and dropped if none).
    void transmitDataToFramework(void* host, const PluginMetaData& msg);
    // Announces a change of `job` to the job receiver and to the addressed plug-in.
    void Tv_UpdateJob(const QString& job, PluginMetaData msg);

    // ---- reference manager extensions --------------------------------
    // "Graphic_View.dll" -> "libGraphic_View.so" on Linux.
    static QString libraryFileFor(const QString& pluginFileName);
    void addSearchPath(const QString& directory);
    QStringList searchPaths() const;
    // Loads the library of a plug-in and resolves its exports; false with a
    // reason in *error when the library or its recMsgFromManager is missing.
    bool loadPlugin(const QString& pluginFileName, QString* error = nullptr);
    bool isLoaded(const QString& pluginFileName) const;
    // Creates the plug-in's widget through its GetViewInstance export and
    // remembers it as that plug-in's instance for `parent` (the host).
    QWidget* createInstance(const QString& pluginFileName, QWidget* parent,
                            QString* error = nullptr);
    // Forgets an instance (call before deleting it).
    void releaseInstance(const QString& pluginFileName, void* host);

    void registerReceiver(const QString& pluginFileName, Receiver receiver);
    void unregisterReceiver(const QString& pluginFileName);
    void setFrameworkReceiver(Receiver receiver);
    void setJobReceiver(JobReceiver receiver);
    // Returns an id for removeObserver.
    int addObserver(Observer observer);
    void removeObserver(int id);

private:
    QTpluginsManger4CAM();
    ~QTpluginsManger4CAM() override;
    struct Impl;
    std::unique_ptr<Impl> d;
};
