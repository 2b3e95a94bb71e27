// Faults found by fuzzing and by the end-to-end fault runs, kept so they
// stay fixed.
#include "link/devicelink.h"
#include "support/scriptedprompter.h"

#include <QMetaObject>
#include <QTimer>
#include <QtTest>

namespace {

// A port whose far end answers at once: the reply's receive event is
// delivered before the send event of the frame, as a fast device on a
// pseudo-terminal does.
class EagerPort : public SerialPort
{
public:
    QByteArray reply;
    bool sendEventLast = true;

    QString portName() const override { return QStringLiteral("Eager"); }
    void setPortName(const QString &) override {}
    bool open() override { m_open = true; return true; }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    QString settings() const override { return QStringLiteral("9600,n,8,1"); }
    bool setSettings(const QString &) override { return true; }
    bool setHandshaking(int) override { return true; }
    int handshaking() const override { return 0; }
    qint64 write(const QByteArray &bytes) override
    {
        auto sent = [this] { emit commEvent(CommEvent::Send); };
        if (!sendEventLast)
            QMetaObject::invokeMethod(this, sent, Qt::QueuedConnection);
        if (bytes.at(4) != '0') {
            QMetaObject::invokeMethod(this, [this] {
                m_rx += reply;
                emit commEvent(CommEvent::Receive);
            }, Qt::QueuedConnection);
        }
        if (sendEventLast)
            QMetaObject::invokeMethod(this, sent, Qt::QueuedConnection);
        return bytes.size();
    }
    QByteArray readAll() override
    {
        QByteArray r;
        r.swap(m_rx);
        return r;
    }
    bool flush(int) override { return true; }
    QString errorString() const override { return {}; }

private:
    bool m_open = false;
    QByteArray m_rx;
};

} // namespace

class TestDeviceLinkRegress : public QObject
{
    Q_OBJECT
private slots:
    void sendEventAfterTheReplyLeavesTheLinkFree_data();
    void sendEventAfterTheReplyLeavesTheLinkFree();
};

void TestDeviceLinkRegress::sendEventAfterTheReplyLeavesTheLinkFree_data()
{
    QTest::addColumn<bool>("sendEventLast");
    QTest::newRow("send event first") << false;
    QTest::newRow("reply first") << true;
}

// The send event used to restart the reply timer and mark the line busy
// after the reply had already completed: the next exchange then waited for
// a line that never became ready, for ever.
void TestDeviceLinkRegress::sendEventAfterTheReplyLeavesTheLinkFree()
{
    QFETCH(bool, sendEventLast);
    ScriptedPrompter prompter;
    DeviceLink link(&prompter);
    link.setReplyTimeout(100);
    auto *port = new EagerPort;
    port->reply = ":0C8A";
    port->sendEventLast = sendEventLast;
    link.setPort(port);

    // Should the link stick, free it after a while so the test fails
    // instead of hanging.
    bool stuck = false;
    QTimer watchdog;
    watchdog.setSingleShot(true);
    connect(&watchdog, &QTimer::timeout, &link, [&] {
        stuck = true;
        link.LineReady = true;
        link.AwaitingReply = false;
        emit link.flagsChanged();
    });
    watchdog.start(3000);

    QCOMPARE(link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")), QStringLiteral("0C8A"));
    QVERIFY(link.LineReady);
    QVERIFY(!link.AwaitingReply);
    QVERIFY(!link.Timer3->isActive());
    QCOMPARE(link.ReadMemory(QStringLiteral("0109"), QStringLiteral("02")), QStringLiteral("0C8A"));
    QVERIFY(!stuck);
    QCOMPARE(prompter.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TestDeviceLinkRegress)
#include "tst_devicelink_regress.moc"
