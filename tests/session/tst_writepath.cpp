// The one write path: whoever writes, the journal holds the intent before
// the frame leaves, the outcome after, and the session's copy of device
// memory follows the read-back; the journal read from its end and rotated.
#include "config/parametercommit.h"
#include "files/configimport.h"
#include "files/configtable.h"
#include "session/parametermap.h"
#include "session/writejournal.h"
#include "support/simrig.h"
#include "support/windowrig.h"
#include "terminal/rescale.h"

#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QtTest>

class TestWritePath : public QObject
{
    Q_OBJECT
private slots:
    void everyWriterJournalsAheadAndKeepsTheCopy_data();
    void everyWriterJournalsAheadAndKeepsTheCopy();
    void typedFramesAndInterruptedWritesAreRecorded();
    void journalReadFromTheEndAcrossRotatedParts();
};

namespace {

JournalRecord record(const QString &port, const QString &written)
{
    JournalRecord r;
    r.time = QStringLiteral("t");
    r.port = port;
    r.address = QStringLiteral("0100");
    r.width = 1;
    r.before = QStringLiteral("05");
    r.written = written;
    return r;
}

} // namespace

void TestWritePath::everyWriterJournalsAheadAndKeepsTheCopy_data()
{
    QTest::addColumn<int>("writer");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("data");
    QTest::newRow("editor") << 0 << "0134" << "0BB8";
    QTest::newRow("calibration") << 1 << "0118" << "0000303A";
    QTest::newRow("back door") << 2 << "01E4" << "02";
    QTest::newRow("import") << 3 << "0170" << "00000384";
    QTest::newRow("verify fails: the copy keeps what it showed") << 4 << "0134" << "0BB8";
}

void TestWritePath::everyWriterJournalsAheadAndKeepsTheCopy()
{
    QFETCH(int, writer);
    QFETCH(QString, address);
    QFETCH(QString, data);
    SimRig rig;
    QTemporaryDir dir;
    rig.session.journal().setPath(dir.filePath(QStringLiteral("j.jsonl")));
    QVERIFY(rig.readOut());
    const int at = address.toInt(nullptr, 16);
    const int width = data.size() / 2;
    const QString shown = rig.session.state().knownBytes(at, width);
    // What the journal's newest record says at the moment each write frame leaves.
    QStringList whenSent;
    connect(&rig.session.link(), &DeviceLink::frameSent, this, [&](const QString &frame) {
        QString error;
        const QList<JournalRecord> last = rig.session.journal().newest(1, &error);
        if (frame.startsWith(QLatin1String("R5200:")))
            whenSent << (last.isEmpty() ? QStringLiteral("none") : last[0].written + QLatin1Char(' ') + last[0].outcomeText());
    });
    switch (writer) {
    case 0:
        QCOMPARE(ParameterCommit(rig.session).commit(QStringLiteral("txtHighFcut"), QStringLiteral("3000"),
                                                     [](const QString &) { return QString(); }).outcome,
                 CommitResult::Written);
        break;
    case 1:
        QCOMPARE(Calibration(rig.session).enter(QStringLiteral("12346")), Calibration::Written);
        break;
    case 2:
        QVERIFY(MemWrite(rig.session).write(QStringLiteral("01"), address, data));
        break;
    case 3: {
        ConfigTable table = ConfigTable::fromTerminal(rig.session.state());
        const int row = ParameterMap::tableAddresses().indexOf(address);
        table.row(row).Data = data;
        ConfigImport import(rig.session);
        import.setRowPause(0);
        QVERIFY(import.upload(table, {row}));
        break;
    }
    case 4:
        rig.corruptReadbacks();
        QVERIFY(rig.session.link().WriteRamData(QStringLiteral("02"), address, data).isEmpty());
        break;
    }
    QCOMPARE(whenSent, QStringList{data + QStringLiteral(" interrupted, outcome unknown")});
    QString error;
    const QList<JournalRecord> records = rig.session.journal().records(&error);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records[0].outcomeText().left(8), writer == 4 ? QStringLiteral("failed, ") : QStringLiteral("verified"));
    // The copy holds what the device holds, and every value built from it.
    // After a failed verification the windows keep what they showed.
    const QString held = writer == 4 ? shown : ParameterMap::padHex(rig.device->value(at, width), width);
    QCOMPARE(rig.session.state().knownBytes(at, width), held);
    QCOMPARE(rig.session.state().cellValue(address), qint64(held.toUInt(nullptr, 16)));
    if (writer == 2)
        QCOMPARE(rig.session.state().unitText().left(3), QStringLiteral("TON"));
    if (writer == 4)
        QCOMPARE(rig.session.knownData(address, width), records[0].readBack);
}

void TestWritePath::typedFramesAndInterruptedWritesAreRecorded()
{
    WindowRig rig;
    QVERIFY(rig.window->synchronize());
    const WriteJournal journal;
    auto *term = rig.child<QPlainTextEdit>(QStringLiteral("txtTerm"));
    rig.window->menuItem(QStringLiteral("mnuStart"))->trigger();
    term->setFocus();
    const QString before = ParameterMap::padHex(rig.device->value(0x134, 2), 2);
    QTest::keyClicks(term, QStringLiteral("R5200:020134000FA0"));
    QTest::keyClick(term, Qt::Key_Return);
    QCOMPARE(rig.device->value(0x134, 2), 4000u);
    QString error;
    QList<JournalRecord> last = journal.newest(1, &error);
    QCOMPARE(last.size(), 1);
    QCOMPARE(QStringList({last[0].source, last[0].address, last[0].before, last[0].written, last[0].outcomeText()}),
             QStringList({"terminal", "0134", before, "0FA0", "not verified"}));
    // What a typed frame left is not known, so the next write does not claim a "before".
    QCOMPARE(rig.window->link().WriteRamData("02", "0134", "0BB8"), QStringLiteral("0BB8"));
    last = journal.newest(1, &error);
    QCOMPARE(last[0].beforeKnown(), false);

    // An intent whose outcome never came reads as interrupted, whichever way it is read.
    JournalRecord cut = record("COM3", "06");
    QTemporaryDir dir;
    WriteJournal j(dir.filePath(QStringLiteral("j.jsonl")));
    QVERIFY(j.appendIntent(cut, &error));
    QCOMPARE(j.records(&error).value(0).outcomeText(), QStringLiteral("interrupted, outcome unknown"));
    QCOMPARE(j.newest(5, &error).value(0).outcomeText(), QStringLiteral("interrupted, outcome unknown"));
    cut.verified = true;
    cut.readBack = "06";
    QVERIFY(j.appendOutcome(cut, &error));
    QCOMPARE(j.records(&error).value(0).outcomeText(), QStringLiteral("verified"));
    QCOMPARE(j.newest(5, &error).value(0).outcomeText(), QStringLiteral("verified"));
    // Owner only: the journal holds the access code among the bytes written.
    QCOMPARE(QFile::permissions(j.path()) & 0x0077, QFileDevice::Permissions());
}

void TestWritePath::journalReadFromTheEndAcrossRotatedParts()
{
    QTemporaryDir dir;
    WriteJournal j(dir.filePath(QStringLiteral("journal.jsonl")));
    j.setRotateBytes(600);
    QString error;
    for (int i = 0; i < 12; ++i) {
        JournalRecord r = record(i % 2 ? "COM1" : "COM2", QStringLiteral("%1").arg(i, 2, 16, QLatin1Char('0')).toUpper());
        QVERIFY(j.appendIntent(r, &error));
        r.verified = true;
        QVERIFY(j.appendOutcome(r, &error));
    }
    QVERIFY(j.files().size() > 2);
    const QList<JournalRecord> all = j.records(&error);
    QCOMPARE(all.size(), 12);
    QStringList newest;
    for (const JournalRecord &r : j.newest(4, &error, [](const JournalRecord &r) { return r.port == "COM1"; }))
        newest << r.written + r.outcomeText();
    QCOMPARE(newest, QStringList({"05verified", "07verified", "09verified", "0Bverified"}));
    QCOMPARE(j.newest(100, &error).size(), 12);
    QCOMPARE(j.newest(1, &error).value(0).written, all.last().written);
}

QTEST_MAIN(TestWritePath)
#include "tst_writepath.moc"
