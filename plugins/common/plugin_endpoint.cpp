#include "plugin_endpoint.h"

#include <glog/logging.h>

#include <QWidget>
#include <cmath>
#include <exception>
#include <string>

#include "QTpluginsManger4CAM.h"

namespace TOLVA {
namespace PLUGIN {

namespace {
std::string address(const PluginMetaData& msg) {
    return QStringLiteral("%1 -> %2 code %3").arg(msg.sender, msg.receiver).arg(msg.msgType).toStdString();
}
}  // namespace

void PluginEndpoint::deliver(const PluginMetaData& msg) {
    try {
        receive(msg);
    } catch (const std::exception& e) {
        LOG(ERROR) << m_name.toStdString() << ": " << address(msg) << " failed: " << e.what();
    } catch (const std::string& text) {
        LOG(ERROR) << m_name.toStdString() << ": " << address(msg) << " failed: " << text;
    } catch (...) {
        LOG(ERROR) << m_name.toStdString() << ": " << address(msg) << " failed";
    }
}

void PluginEndpoint::send(const QString& receiver, qint32 code, const QVariantMap& data, void* payload) const {
    PluginMetaData msg(m_name, receiver, code);
    msg.data = data;
    msg.payload = payload;
    QTpluginsManger4CAM::instance()->recMegToPlugin(m_host, msg);
}

bool readNumber(const QVariantMap& data, const QString& key, double& out) {
    const auto it = data.find(key);
    if (it == data.end()) return false;
    bool ok = false;
    const double value = it->toDouble(&ok);
    if (!ok || !std::isfinite(value)) return false;
    out = value;
    return true;
}

}  // namespace PLUGIN
}  // namespace TOLVA
