#include "QTpluginsManger4CAM.h"

#include <dlfcn.h>
#include <glog/logging.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QWidget>
#include <map>

namespace {

// The directory holding this library: plug-ins are installed beside it.
QString ownDirectory() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ownDirectory), &info) && info.dli_fname)
        return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
    return QString();
}

std::string describe(const PluginMetaData& msg) {
    return QStringLiteral("%1 -> %2 code %3").arg(msg.sender, msg.receiver).arg(msg.msgType).toStdString();
}

}  // namespace

struct QTpluginsManger4CAM::Impl {
    struct Plugin {
        std::unique_ptr<QLibrary> library;
        RecvFn recv = nullptr;
        ViewFactoryFn factory = nullptr;
        std::map<void*, void*> instances;  // host -> instance
    };
    QStringList searchPaths;
    std::map<QString, Plugin> plugins;
    std::map<QString, Receiver> receivers;
    Receiver framework;
    JobReceiver jobReceiver;
    std::map<int, Observer> observers;
    int nextObserver = 1;

    void notify(const QString& route, const PluginMetaData& msg) {
        // Copy first: an observer may remove itself while being called.
        const auto current = observers;
        for (const auto& entry : current) entry.second(route, msg);
    }

    QString locate(const QString& pluginFileName) const {
        const QString file = libraryFileFor(pluginFileName);
        for (const QString& dir : searchPaths) {
            const QString candidate = QDir(dir).filePath(file);
            if (QFileInfo::exists(candidate)) return candidate;
        }
        return file;  // let the dynamic loader search its own paths
    }
};

QTpluginsManger4CAM* QTpluginsManger4CAM::instance() {
    static QTpluginsManger4CAM* manager = new QTpluginsManger4CAM;  // lives until exit
    return manager;
}

QTpluginsManger4CAM::QTpluginsManger4CAM() : d(new Impl) {
    const QString own = ownDirectory();
    if (!own.isEmpty()) d->searchPaths << own;
    if (QCoreApplication::instance()) d->searchPaths << QCoreApplication::applicationDirPath();
}

QTpluginsManger4CAM::~QTpluginsManger4CAM() = default;

QString QTpluginsManger4CAM::libraryFileFor(const QString& pluginFileName) {
    QString base = QFileInfo(pluginFileName).fileName();
    if (base.endsWith(QLatin1String(".dll"), Qt::CaseInsensitive)) base.chop(4);
#if defined(Q_OS_WIN)
    return base + QStringLiteral(".dll");
#elif defined(Q_OS_MACOS)
    return QStringLiteral("lib") + base + QStringLiteral(".dylib");
#else
    return QStringLiteral("lib") + base + QStringLiteral(".so");
#endif
}

void QTpluginsManger4CAM::addSearchPath(const QString& directory) {
    if (!d->searchPaths.contains(directory)) d->searchPaths.prepend(directory);
}

QStringList QTpluginsManger4CAM::searchPaths() const { return d->searchPaths; }

bool QTpluginsManger4CAM::loadPlugin(const QString& pluginFileName, QString* error) {
    if (isLoaded(pluginFileName)) return true;
    auto library = std::make_unique<QLibrary>(d->locate(pluginFileName));
    auto fail = [&](const QString& why) {
        LOG(ERROR) << "plug-in " << pluginFileName.toStdString() << " not loaded: " << why.toStdString();
        if (error) *error = why;
        return false;
    };
    if (!library->load()) return fail(library->errorString());
    auto recv = reinterpret_cast<RecvFn>(library->resolve("recMsgFromManager"));
    if (!recv) return fail(QStringLiteral("no recMsgFromManager export in %1").arg(library->fileName()));
    Impl::Plugin plugin;
    plugin.recv = recv;
    plugin.factory = reinterpret_cast<ViewFactoryFn>(library->resolve("GetViewInstance"));
    plugin.library = std::move(library);
    d->plugins.emplace(pluginFileName, std::move(plugin));
    LOG(INFO) << "plug-in " << pluginFileName.toStdString() << " loaded";
    return true;
}

bool QTpluginsManger4CAM::isLoaded(const QString& pluginFileName) const {
    return d->plugins.count(pluginFileName) != 0;
}

QWidget* QTpluginsManger4CAM::createInstance(const QString& pluginFileName, QWidget* parent,
                                             QString* error) {
    if (!loadPlugin(pluginFileName, error)) return nullptr;
    Impl::Plugin& plugin = d->plugins.at(pluginFileName);
    if (!plugin.factory) {
        if (error) *error = QStringLiteral("%1 exports no GetViewInstance").arg(pluginFileName);
        LOG(ERROR) << pluginFileName.toStdString() << " exports no GetViewInstance";
        return nullptr;
    }
    QWidget* widget = plugin.factory(parent);
    if (!widget) {
        if (error) *error = QStringLiteral("GetViewInstance of %1 returned null").arg(pluginFileName);
        return nullptr;
    }
    plugin.instances[parent] = widget;
    // A deleted instance must never receive another message.
    connect(widget, &QObject::destroyed, this, [this, pluginFileName, parent, widget] {
        auto it = d->plugins.find(pluginFileName);
        if (it == d->plugins.end()) return;
        auto inst = it->second.instances.find(parent);
        if (inst != it->second.instances.end() && inst->second == widget) it->second.instances.erase(inst);
    });
    return widget;
}

void QTpluginsManger4CAM::releaseInstance(const QString& pluginFileName, void* host) {
    auto it = d->plugins.find(pluginFileName);
    if (it != d->plugins.end()) it->second.instances.erase(host);
}

void QTpluginsManger4CAM::registerReceiver(const QString& pluginFileName, Receiver receiver) {
    d->receivers[pluginFileName] = std::move(receiver);
}

void QTpluginsManger4CAM::unregisterReceiver(const QString& pluginFileName) {
    d->receivers.erase(pluginFileName);
}

void QTpluginsManger4CAM::setFrameworkReceiver(Receiver receiver) { d->framework = std::move(receiver); }

void QTpluginsManger4CAM::setJobReceiver(JobReceiver receiver) { d->jobReceiver = std::move(receiver); }

int QTpluginsManger4CAM::addObserver(Observer observer) {
    const int id = d->nextObserver++;
    d->observers[id] = std::move(observer);
    return id;
}

void QTpluginsManger4CAM::removeObserver(int id) { d->observers.erase(id); }

void QTpluginsManger4CAM::recMegToPlugin(void* host, PluginMetaData msg) {
    d->notify(QStringLiteral("plugin"), msg);
    auto registered = d->receivers.find(msg.receiver);
    if (registered != d->receivers.end()) {
        const Receiver receiver = registered->second;  // may unregister itself
        receiver(host, msg);
        return;
    }
    auto plugin = d->plugins.find(msg.receiver);
    if (plugin != d->plugins.end()) {
        auto inst = plugin->second.instances.find(host);
        if (inst == plugin->second.instances.end() && plugin->second.instances.size() == 1)
            inst = plugin->second.instances.begin();  // one instance serves every host
        if (inst != plugin->second.instances.end()) {
            plugin->second.recv(inst->second, &msg);
            return;
        }
    }
    LOG(INFO) << "message dropped, no receiver: " << describe(msg);
    d->notify(QStringLiteral("dropped"), msg);
}

void QTpluginsManger4CAM::transmitDataToFramework(void* host, const PluginMetaData& msg) {
    d->notify(QStringLiteral("framework"), msg);
    if (d->framework) {
        const Receiver receiver = d->framework;
        receiver(host, msg);
        return;
    }
    LOG(INFO) << "framework message dropped, no framework receiver: " << describe(msg);
}

void QTpluginsManger4CAM::Tv_UpdateJob(const QString& job, PluginMetaData msg) {
    d->notify(QStringLiteral("job"), msg);
    if (d->jobReceiver) {
        const JobReceiver receiver = d->jobReceiver;
        receiver(job, msg);
        return;
    }
    auto registered = d->receivers.find(msg.receiver);
    if (registered != d->receivers.end()) {
        const Receiver receiver = registered->second;
        receiver(nullptr, msg);
        return;
    }
    LOG(INFO) << "job update of " << job.toStdString() << " dropped, no receiver: " << describe(msg);
}
