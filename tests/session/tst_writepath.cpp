// The one write path: whoever writes, the journal holds the intent before
// the frame leaves, the outcome after, and the session's copy of device
// memory follows the read-back; the journal read from its end and rotated.
#include "config/parametercommit.h"
#include "files/configimport.h"
#include "files/configtable.h"
#include "session/operationgate.h"
#include "session/parametermap.h"
#include "session/writejournal.h"
#include "support/simrig.h"
#include "support/windowrig.h"
#include "terminal/rescale.h"
#include "session/writeundo.h"

#include <QRandomGenerator>

#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QtTest>

namespace {

JournalRecord record(const QString &port, const QString &written)
{
    return {"t", port, {}, {}, "0100", 1, "05", written, false, {}, {}, JournalRecord::Done, {}};
}

} // namespace

class TestWritePath : public QObject
{
    Q_OBJECT
private slots:
    void typedFramesAndInterruptedWritesAreRecorded()
    {
        WindowRig rig;
        QVERIFY(rig.window->synchronize());
        const WriteJournal journal;
        auto *term = rig.child<QPlainTextEdit>(QStringLiteral("txtTerm"));
        rig.window->menuItem(QStringLiteral("mnuStart"))->trigger();
        term->setFocus();
        const QString before = ParameterMap::padHex(rig.device->value(0x105, 4), 4);
        QTest::keyClicks(term, QStringLiteral("R5200:04010500000007D0"));
        QTest::keyClick(term, Qt::Key_Return);
        QCOMPARE(rig.device->value(0x105, 4), 2000u);
        QString error;
        QList<JournalRecord> last = journal.newest(1, &error);
        QCOMPARE(last.size(), 1);
        QCOMPARE(QStringList({last[0].source, last[0].address, last[0].before, last[0].written, last[0].outcomeText()}),
                 QStringList({"terminal", "0105", before, "000007D0", "not verified"}));
        // What the typed frame left is read: the window shows it, the next write's "before" is it.
        QCOMPARE(rig.panel(QStringLiteral("MaxFlow")), QStringLiteral("Max Flow: 2000 L/s"));
        QCOMPARE(rig.window->link().WriteRamData("04", "0105", "00000BB8"), QStringLiteral("00000BB8"));
        last = journal.newest(1, &error);
        QCOMPARE(last[0].before, QStringLiteral("000007D0"));

        // An intent whose outcome never came reads as interrupted, whichever way it is read.
        JournalRecord cut = record("COM3", "06");
        QTemporaryDir dir;
        // On a new account the folders above the journal's are missing too.
        WriteJournal j(dir.filePath(QStringLiteral("share/data/j.jsonl")));
        QVERIFY2(j.appendIntent(cut, &error), qPrintable(error));
        QCOMPARE(j.records(&error).value(0).outcomeText(), QStringLiteral("interrupted, outcome unknown"));
        QCOMPARE(j.newest(5, &error).value(0).outcomeText(), QStringLiteral("interrupted, outcome unknown"));
        // Owner only: the journal holds the access code among the bytes written.
        QCOMPARE(QFile::permissions(j.path()) & 0x0077, QFileDevice::Permissions());
        QCOMPARE(QFile::permissions(dir.filePath("share/data")) & 0x0077, QFileDevice::Permissions());
    }

    // A write whose read-back never came may have taken effect: its outcome
    // is unknown, and undo goes by what the device holds now.
    void undoGoesByWhatTheDeviceHolds()
    {
        SimRig rig;
        QTemporaryDir dir;
        rig.session.journal().setPath(dir.filePath(QStringLiteral("j.jsonl")));
        QVERIFY(rig.readOut());
        const quint32 before = rig.device->value(0x134, 2);
        rig.port->setFaults([] { SimFaults f; f.noAnswer = true; return f; }());
        QCOMPARE(rig.session.link().WriteRamData("02", "0134", "0FA0"), QString());
        QString error;
        QCOMPARE(rig.session.journal().newest(1, &error).value(0).outcomeText(), QStringLiteral("no read-back, outcome unknown"));
        WriteUndo undo(rig.session, rig.session.journal());
        // What the device holds now, what undo does, how it ends.
        const auto step = [&](quint32 held, WriteUndo::Result result, const QString &end) {
            rig.port->setFaults(SimFaults());
            rig.device->setValue(0x134, 2, held);
            rig.prompter.answers = {true};
            QVERIFY2(undo.undoLast(1) == result && undo.refusal().endsWith(end) && (result != WriteUndo::Done || rig.device->value(0x134, 2) == before), qPrintable(undo.refusal()));
        };
        step(before, WriteUndo::Refused, QStringLiteral(": the device holds %1 there, the data before it; the write did not take effect").arg(ParameterMap::padHex(before, 2)));
        step(4000, WriteUndo::Done, QString());
        QCOMPARE(rig.session.journal().newest(1, &error).value(0).before, QStringLiteral("0FA0")); // as undo read it
        {
            // Not while another operation holds the device, whichever way undo is asked.
            const OperationGate::Hold busy = rig.session.gate().begin(QStringLiteral("import"));
            const QString refused = QStringLiteral("another device operation is running");
            QCOMPARE(int(undo.undoLast(1)), int(WriteUndo::Busy));
            QCOMPARE(undo.refusal(), refused);
            QCOMPARE(int(undo.undo({})), int(WriteUndo::Busy));
            QCOMPARE(undo.refusal(), refused);
        }
        // A spoilt read-back of what the device holds all the same.
        rig.corruptReadbacks();
        QCOMPARE(rig.session.link().WriteRamData("02", "0134", "0FA0"), QString());
        step(3000, WriteUndo::Refused, QStringLiteral(": the device holds 0BB8 there now; it was changed since"));
        step(4000, WriteUndo::Done, QString());
    }

    void journalReadFromTheEndAcrossRotatedParts()
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
        QCOMPARE(std::pair(j.newest(100, &error).size(), j.newest(1, &error).value(0).written + all.last().outcomeText()), std::pair(qsizetype(12), all.last().written + "verified"));
    }

    void randomWritesKeepCopyJournalAndUndo_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {1u, 7u, 42u})
            QTest::newRow(qPrintable(QString::number(seed))) << seed;
    }

    // Random editor commits, calibrations, back-door and import writes and undos,
    // each write journaled before its frame leaves:
    // after each step the session's copy equals the device; undoing every write
    // since the readout brings the device back to it.
    void randomWritesKeepCopyJournalAndUndo()
    {
        QFETCH(quint32, seed);
        SimRig rig;
        QTemporaryDir dir;
        rig.session.journal().setPath(dir.filePath(QStringLiteral("j.jsonl")));
        QVERIFY(rig.readOut());
        const ConfigTable found = ConfigTable::fromTerminal(rig.session.state());
        QRandomGenerator random(seed);
        QStringList steps;
        const auto held = [&](const QString &address) {
            const int w = ParameterMap::find(address)->width;
            return ParameterMap::padHex(rig.device->value(address.toInt(nullptr, 16), w), w);
        };
        const QStringList rows = {"0134", "014D", "0170", "01E4", "0118", "0103"};
        // The journal's chain below starts at what the readout found.
        QMap<QString, QString> left;
        for (const QString &a : rows)
            left[a] = held(a);
        // Each write frame leaves with its intent, and nothing more, in the journal.
        connect(&rig.session.link(), &DeviceLink::frameSent, this, [&](const QString &frame) {
            QString error;
            const JournalRecord last = rig.session.journal().newest(1, &error).value(0);
            if (frame.startsWith(QLatin1String("R5200:")) && (!last.interrupted() || !frame.endsWith(last.written)))
                steps << "NOT JOURNALED AHEAD";
        });
        for (int step = 0; step < 200; ++step) {
            const QString address = rows[random.bounded(int(rows.size()))];
            const Parameter &p = *ParameterMap::find(address);
            const QString data = ParameterMap::padHex(address == "01E4" ? random.bounded(9) : 20 + random.bounded(900), p.width);
            switch (random.bounded(5)) {
            case 4: // the editor; a value out of its range is refused and nothing is written
                steps << "edit " + p.control + " " + data;
                if (p.encoding == Parameter::ListIndex)
                    ParameterCommit(rig.session).commitIndex(p.control, int(data.toUInt(nullptr, 16)));
                else
                    ParameterCommit(rig.session).commit(p.control, QString::number(data.toUInt(nullptr, 16)), [](const QString &) { return QString(); });
                break;
            case 0:
                steps << "poke " + address + " " + data;
                MemWrite(rig.session).write(p.widthText(), address, data);
                break;
            case 1: {
                steps << "import " + address + " " + data;
                ConfigTable t = ConfigTable::fromTerminal(rig.session.state());
                t.row(ParameterMap::tableAddresses().indexOf(address)).Data = data;
                ConfigImport import(rig.session);
                import.setRowPause(0);
                import.upload(t, {int(ParameterMap::tableAddresses().indexOf(address))});
                break;
            }
            case 2:
                steps << "calibrate " + QString::number(100000 + random.bounded(800000));
                Calibration(rig.session).enter(steps.last().mid(10));
                break;
            default:
                steps << "undo 1";
                rig.prompter.answers << true;
                WriteUndo(rig.session, rig.session.journal()).undoLast(1);
            }
            for (const QString &a : rows)
                QVERIFY2(rig.session.state().knownBytes(a.toInt(nullptr, 16), ParameterMap::find(a)->width) == held(a),
                         qPrintable(a + " after: " + steps.join(", ")));
        }
        QString error;
        rig.prompter.answers << true;
        // Every write since the readout, the undos' own included, newest first.
        QList<JournalRecord> all = rig.session.journal().records(&error);
        // The journal's chain: each write's "before" is what the one before it left.
        for (const JournalRecord &r : std::as_const(all)) {
            if (rows.contains(r.address))
                QVERIFY2(r.before == left[r.address], qPrintable(r.address + " after: " + steps.join(", ")));
            left[r.address] = r.written;
        }
        QVERIFY(all.size() > 100 && !steps.contains("NOT JOURNALED AHEAD"));
        std::reverse(all.begin(), all.end());
        WriteUndo undo(rig.session, rig.session.journal());
        QVERIFY2(undo.undo(all) == WriteUndo::Done, qPrintable(undo.refusal() + " after: " + steps.join(", ")));
        for (int r = 0; r < ConfigTable::RowCount; ++r)
            if (rows.contains(found.row(r).Address))
                QVERIFY2(held(found.row(r).Address) == found.row(r).Data, qPrintable(found.row(r).Address + " after: " + steps.join(", ")));
    }
};

QTEST_MAIN(TestWritePath)
#include "tst_writepath.moc"
