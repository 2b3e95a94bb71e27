#include "wholefile.h"

#include <QSaveFile>

namespace wholefile {

bool write(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    // The last bytes reach the disk in flush(); commit() can succeed after a
    // failed flush and put a cut-short file in place of the old one.
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush() || !file.commit()) {
        *error = file.errorString().isEmpty() ? QStringLiteral("the file could not be written") : file.errorString();
        return false;
    }
    return true;
}

} // namespace wholefile
