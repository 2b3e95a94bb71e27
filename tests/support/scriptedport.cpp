#include "scriptedport.h"

#include <QTimer>

bool ScriptedPort::open()
{
    if (failOpen) {
        m_error = QStringLiteral("Port is not available");
        return false;
    }
    m_open = true;
    return true;
}

qint64 ScriptedPort::write(const QByteArray &bytes)
{
    if (!m_open)
        return -1;
    written << bytes;
    if (sendEvents)
        QTimer::singleShot(0, this, [this] { emit commEvent(CommEvent::Send); });
    const bool read = bytes.size() > 4 && bytes.at(4) != '0';
    if (read && !replies.isEmpty()) {
        const QList<QByteArray> pieces = replies.takeFirst();
        int delay = 1;
        for (const QByteArray &piece : pieces) {
            QTimer::singleShot(delay++, this, [this, piece] {
                if (!m_open)
                    return;
                m_rx += piece;
                emit commEvent(CommEvent::Receive);
            });
        }
    }
    return bytes.size();
}
