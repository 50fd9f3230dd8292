#pragma once
// The application's logs: one growing file in the application's folder
// (<folder>/logs/tolva_host.log, set aside as .1 past 8 MiB) that keeps the
// bytes exactly as written (the failure lines are GBK), and the console,
// which shows warnings and errors converted to UTF-8.
#include <QString>

namespace host {

// Call once, before anything logs; returns the log file's path.
QString setUpLogging(const char* argv0);
void shutDownLogging();

// The console form of a log line: UTF-8 as it is, GBK converted.
QByteArray consoleText(const QByteArray& raw);

}  // namespace host
