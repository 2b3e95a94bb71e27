#pragma once
// Shared by the source files of the main window only.
#include <QString>

namespace frmterminal {
// The title of the main window's message boxes.
inline const QString kSystemMonitor = QStringLiteral("System Monitor");
} // namespace frmterminal
