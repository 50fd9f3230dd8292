#pragma once
// Every plug-in file name used as a message address. One table, shared by
// every source that sends or receives messages.
#include <QString>

namespace PluginNames {
inline const QString GraphicView = QStringLiteral("Graphic_View.dll");
inline const QString JobList = QStringLiteral("Graphic_JobList.dll");
inline const QString MenuBarEdit = QStringLiteral("Graphic_MenuBar_Edit.dll");
inline const QString MenuBarDFM = QStringLiteral("Graphic_MenuBar_DFM.dll");
inline const QString MenuBarStep = QStringLiteral("Graphic_MenuBar_Step.dll");
inline const QString MenuBarActions = QStringLiteral("Graphic_MenuBar_Actions.dll");
inline const QString MenuBarAnalysis = QStringLiteral("Graphic_MenuBar_Analysis.dll");
inline const QString MenuBarRout = QStringLiteral("Graphic_MenuBar_Rout.dll");
inline const QString ToolbarEdit = QStringLiteral("Graphic_Toolbar_Edit.dll");
inline const QString ToolbarMove = QStringLiteral("Graphic_Toolbar_Move.dll");
inline const QString Coordinate = QStringLiteral("Graphic_Coordinate.dll");
inline const QString MiniMap = QStringLiteral("Graphic_MiniMap.dll");
inline const QString Notes = QStringLiteral("Graphic_Notes.dll");
inline const QString Matrix = QStringLiteral("Matrix.dll");
inline const QString GraphicEditor = QStringLiteral("TOLVA-GraphicEditor.dll");
}  // namespace PluginNames
