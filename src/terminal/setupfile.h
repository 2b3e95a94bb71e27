#pragma once
// setup.dat, the device list left at exit: one line per device record, the
// name and the text in double quotes, then the four numbers, separated by
// commas, each line ending in CR LF. The program never reads it back.
#include "session/terminalstate.h"

class QIODevice;
class QString;

namespace SetupFile {
// Writes the first count records (at most the four there are). A record
// without a name gets its number and one whose last number is 0 gets 1; the
// records keep these fix-ups. False with *error when a byte was not taken.
bool write(QIODevice *out, TerminalState::DeviceRecord (&records)[4], int count, QString *error);
// Replaces the file at path only once all of it is written; the error text
// starts with the path.
bool save(const QString &path, TerminalState::DeviceRecord (&records)[4], int count, QString *error);
} // namespace SetupFile
