// The modem-line and error-counter poll of a real serial port, run on a
// pseudo-terminal with the UART's two answers (TIOCMGET, TIOCGICOUNT) played
// by the test: which changes raise which events, and when the poll runs at all.
#include "link/qtserialport.h"

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
// The UART: a query answers 0 with its value, or -1 (refused, as a pty does).
int linesRc = 0, countsRc = 0, queries = 0;
QList<int> line; // modem-line bits, then the break, framing, overrun and parity counters

int playedIoctl(int, unsigned long request, void *arg)
{
    ++queries;
    if (request == TIOCMGET && linesRc == 0)
        *static_cast<int *>(arg) = line[0];
    if (request == TIOCGICOUNT && countsRc == 0) {
        auto *c = static_cast<serial_icounter_struct *>(arg);
        std::tie(c->brk, c->frame, c->overrun, c->parity) = std::tie(line[1], line[2], line[3], line[4]);
    }
    return request == TIOCMGET ? linesRc : request == TIOCGICOUNT ? countsRc : -1;
}
} // namespace

class tst_LinePoll : public QObject
{
    Q_OBJECT
private slots:
    void poll()
    {
        const int all = TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI;
        struct Row {
            const char *name;
            int linesAnswer, countsAnswer;
            QList<int> before, after;
            bool closeOnEvent;
            QList<int> events;
            bool polling;
        };
        // The first reading after open is the baseline, whatever it holds.
        const Row rows[] = {
            {"every line and counter moves", 0, 0, {0, 4, 3, 2, 1}, {all, 5, 4, 3, 2}, false, {3, 4, 5, 6, 1001, 1004, 1006, 1009}, true},
            {"lines drop; a ring ending is no event", 0, 0, {all | TIOCM_RTS, 0, 0, 0, 0}, {TIOCM_RTS, 0, 0, 0, 0}, false, {3, 4, 5}, true},
            {"one counter jumps far", 0, 0, {TIOCM_RI, 0, 0, 0, 0}, {TIOCM_RI, 0, 9, 0, 0}, false, {1004}, true},
            {"counters refused: lines still polled", 0, -1, {TIOCM_CD, 0, 0, 0, 0}, {0, 1, 1, 1, 1}, false, {5}, true},
            {"lines refused: counters still polled", -1, 0, {0, 0, 0, 0, 0}, {TIOCM_CTS, 0, 0, 0, 1}, false, {1009}, true},
            {"both refused: no poll", -1, -1, {0, 0, 0, 0, 0}, {all, 1, 1, 1, 1}, false, {}, false},
            {"an event's handler closes the port", 0, 0, {0, 0, 0, 0, 0}, {TIOCM_DSR, 0, 0, 0, 0}, true, {4}, false},
        };
        QtSerialPort::setLineIoctl(playedIoctl);
        const int far = ::posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(far >= 0 && ::grantpt(far) == 0 && ::unlockpt(far) == 0);
        for (const Row &row : rows) {
            linesRc = row.linesAnswer;
            countsRc = row.countsAnswer;
            line = row.before;
            QtSerialPort port(QString::fromLatin1(::ptsname(far)));
            QSignalSpy spy(&port, &SerialPort::commEvent);
            if (row.closeOnEvent)
                connect(&port, &SerialPort::commEvent, &port, [&port] { port.close(); });
            QVERIFY2(port.open(), qPrintable(port.errorString()));
            auto *timer = port.findChild<QTimer *>(QStringLiteral("linePoll"));
            const int asked = queries;
            line = row.after;
            if (timer->isActive())
                QTRY_VERIFY2(queries > asked, row.name); // the next poll, whole
            QList<int> got;
            for (const QList<QVariant> &e : spy)
                got << e[0].toInt();
            QCOMPARE(got, row.events);
            QCOMPARE(timer->isActive(), row.polling);
        }
        QtSerialPort::setLineIoctl(nullptr);
        ::close(far);
    }

    // "Com1".."ComN" are the first serial ports; a port without a name says so.
    void portNames()
    {
        QCOMPARE(QtSerialPort::systemName("Com1") + QtSerialPort::systemName("com16") + QtSerialPort::systemName("Com0"),
                 QStringLiteral("/dev/ttyS0/dev/ttyS15Com0"));
        QtSerialPort none;
        QVERIFY(!none.open());
        QCOMPARE(none.errorString(), QStringLiteral("No port is chosen"));
    }
};

QTEST_GUILESS_MAIN(tst_LinePoll)
#include "tst_linepoll.moc"
