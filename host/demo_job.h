#pragma once
// The built-in demo: a generated board in the kernel, and the message that
// shows its board layers in the view.
#include <QString>

#include "PluginMetaData.h"

namespace host {

constexpr char kDemoJob[] = "demo";
constexpr char kDemoStep[] = "pcb";

// Generates the demo board (about `features` features) unless it exists.
void ensureDemoJob(long features);

// The bind message (job and step) and the layer message (every board layer
// of the matrix, in matrix order, each in its palette colour).
PluginMetaData bindMessage(const QString& job, const QString& step);
PluginMetaData boardLayersMessage(const QString& job);

}  // namespace host
