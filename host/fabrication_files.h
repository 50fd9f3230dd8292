#pragma once
// Fabrication data named on the command line, dropped on the window or
// opened from the File menu: Gerber and Excellon files, a folder of them, or
// a .zip archive of them. They become one job, one layer per file.
#include <QString>
#include <QStringList>
#include <vector>

#include "TOLVA_Import.h"

namespace host {

// The fabrication files an argument names: the file itself when it is Gerber
// or Excellon, the Gerber and Excellon files of a folder (other files are
// passed over), or those of a .zip archive. False with a one-line reason
// ("<argument>: <why>") when it names none.
bool collectFabricationFiles(const QString& argument, std::vector<TOLVA::IMPORT::import_file>& files,
                             QString* reason);

// Reads the files into a new job named `job` (an existing job of that name is
// replaced). A file that cannot be read is left out and named in `problems`
// (the kernel's text: file, line and fault); the others still load. Returns
// false, with the problems, when no file could be read.
bool importFabrication(const std::string& job, const std::vector<TOLVA::IMPORT::import_file>& files,
                       QStringList* problems);

// Writes every layer of the job's step into `dir` (created when missing), each
// as its type asks: Gerber X2, or Excellon for drill and rout layers. Each
// file is replaced whole or not at all. False with a one-line reason when a
// layer cannot be written; `written` receives the paths written.
bool exportFabrication(const std::string& job, const std::string& step, const QString& dir, QStringList* written,
                       QString* reason);

// A job name for imported data: the base name of the first argument.
QString importedJobName(const QString& firstArgument);

}  // namespace host
