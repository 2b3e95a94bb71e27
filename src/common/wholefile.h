#pragma once
// Writing a file whole or not at all: the bytes go to a temporary file that
// replaces the old one only once every byte reached the disk, so a failed
// write or a crash never leaves a cut-short file in place of a good one.
#include <QByteArray>
#include <QString>

namespace wholefile {

// False with the reason in *error; the old file is then left as it was.
bool write(const QString &path, const QByteArray &bytes, QString *error);

} // namespace wholefile
