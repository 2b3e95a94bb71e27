// The flow memory log: block readout against the simulated transmitter, the
// sample list, the .mlg file, and the window's address box and messages.
#include "files/flowlogreadout.h"
#include "files/frmmemlog.h"
#include "files/mlgfile.h"
#include "support/filebytes.h"
#include "support/columns.h"
#include "support/fulldisk.h"
#include "support/simrig.h"
#include "session/terminalstate.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Block start addresses the device was asked for, in order.
QStringList blockAddresses(const SimDevice &device)
{
    QStringList out;
    for (const QString &frame : device.receivedFrames())
        out << frame.mid(frame.indexOf(QLatin1String("FF")) + 2, 4);
    return out;
}

const Columns<int, int, int, QString> kReadoutBlocks{"end", "blocks", "points", "lastBlock"};

} // namespace

class TestFlowLog : public QObject
{
    Q_OBJECT
private slots:
    void readoutBlocks_data()
    {
        kReadoutBlocks.add();
        QTest::newRow("0200 reads nothing") << 0x200 << 0 << 0 << "";
        QTest::newRow("02FE one block") << 0x2FE << 1 << 127 << "0200";
        QTest::newRow("02FF two blocks") << 0x2FF << 2 << 254 << "02FE";
        QTest::newRow("7FFF moves the last block") << 0x7FFF << 127 << 16129 << "7EFF";
    }

    void readoutBlocks()
    {
        const auto [end, blocks, points, lastBlock] = kReadoutBlocks.fetch();
        SimRig rig;
        QVERIFY(rig.readOut());
        rig.session.state().FlowPointCount = 99;
        FlowLogReadout readout(rig.session);
        int progressCalls = 0;
        connect(&readout, &FlowLogReadout::blockRead, this, [&](int done, int, const QStringList &lines) {
            QVERIFY(++progressCalls == done && lines.size() == 127);
        });
        QCOMPARE(readout.read(end), FlowLogReadout::Completed);
        QTEST(rig.session.state().FlowPointCount, "points");
        QTEST(progressCalls, "blocks");
        QTEST(FlowLogReadout::blockCount(end), "blocks");
        const QStringList addresses = blockAddresses(*rig.device);
        QTEST(int(addresses.size()), "blocks");
        QTEST(addresses.isEmpty() ? QString() : addresses.last(), "lastBlock");
        QVERIFY(rig.prompter.entries.isEmpty());
    }

    void failedAndCancelledReadouts()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        FlowLogReadout readout(rig.session);
        // The device goes quiet after the second block.
        connect(&readout, &FlowLogReadout::blockRead, this, [&](int done, int, const QStringList &) {
            if (done == 1) // shown once the second block is in
                rig.port->setFaults(simFaults("noanswer"));
        });
        QCOMPARE(readout.read(0x7FFF), FlowLogReadout::Failed);
        QCOMPARE(std::pair(rig.session.state().FlowPointCount, rig.prompter.texts().last()),
                 std::pair(254, QStringLiteral("Read data is failed!\r data recieved: ")));

        SimRig again;
        QVERIFY(again.readOut());
        FlowLogReadout second(again.session);
        connect(&second, &FlowLogReadout::blockRead, this, [&](int done, int, const QStringList &) {
            if (done == 3)
                second.cancel();
        });
        QCOMPARE(second.read(0x7FFF), FlowLogReadout::Cancelled);
        QCOMPARE(again.session.state().FlowPointCount, 381);
        QVERIFY(again.prompter.entries.isEmpty());

        // A block with a data byte more, its tail a piece behind: found
        // before the next block's reply, or after the last one.
        for (const int end : {0x2FE, 0x7FFF}) {
            SimRig longer;
            QVERIFY(longer.readOut());
            longer.port->setFaults(simFaults("long:30")); // far more than two characters
            FlowLogReadout third(longer.session);
            QCOMPARE(third.read(end), FlowLogReadout::Failed);
            QCOMPARE(longer.session.state().FlowPointCount, 0);
            QCOMPARE(longer.prompter.texts(), QStringList({"No connection!", "Read data is failed!\r data recieved: "}));
            QCOMPARE(longer.device->receivedFrames().size(), end == 0x2FE ? 1 : 2);
        }
        // A line that echoes each frame: the echo after a block is no more of it.
        SimRig echoing;
        QVERIFY(echoing.readOut());
        echoing.port->setFaults(simFaults("echo"));
        FlowLogReadout fourth(echoing.session);
        QCOMPARE(fourth.read(0x2FF), FlowLogReadout::Completed);
        QCOMPARE(echoing.session.state().FlowPointCount, 254);
    }

    void windowAddressBoxAndSave()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        QTemporaryDir dir;
        rig.session.folder = dir.path();
        rig.session.state().setCell(QStringLiteral("01FE"), QStringLiteral("0FF"), 0xFF);
        frmMemLog window(rig.session);
        QLineEdit *box = window.endAddressBox();
        QCOMPARE(box->text(), QStringLiteral("0FF"));

        window.cmdSave_Click();
        QCOMPARE(rig.prompter.texts(), QStringList{"Flow array is ampty! Please first Reed data. Click OK."});

        // Only upper-case hex digits get in; a full address out of range is refused and the pointer put back.
        box->clear();
        QTest::keyClicks(box, QStringLiteral("9:F@0G0a"));
        QCOMPARE(box->text(), QStringLiteral("0FF"));
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("The value of the parameter is out of\r permissible range [200h-7FFFh] Try again!"));

        // Samples keep their sign in the list and in the file, which reads back.
        rig.device->setBytes(0x200, QByteArray::fromHex("0213FFFF8000"));
        box->clear();
        QTest::keyClicks(box, QStringLiteral("0/2A@E"));
        rig.prompter.clear();
        QString during;
        connect(window.progressBar(), &QProgressBar::valueChanged, this, [&] { during = window.findChild<QLabel *>("lblProgress")->text(); });
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(during, QStringLiteral("Reading..."));
        QCOMPARE(rig.session.state().FlowPointCount, 127);
        QCOMPARE(window.progressBar()->text() + ", " + window.findChild<QLabel *>("lblProgress")->text(),
                 QStringLiteral("1 of 1 blocks, 127 points read"));
        QCOMPARE(window.text().count(QLatin1Char('\n')), 126);
        QVERIFY(window.text().startsWith(QStringLiteral("00001    0200    0213    531\n00002    0202    FFFF    -1\n")));

        const QString path = dir.filePath(QStringLiteral("My_Flow1.mlg"));
        rig.prompter.fileNames = {path, path};
        {
            FullDisk full(500);  // a disk that fills up: the reason is shown, not "Saved"
            window.cmdSave_Click();
        }
        QCOMPARE(rig.prompter.entries.size(), 2);
        QCOMPARE(rig.prompter.entries.last().icon, Prompter::Exclamation);
        QVERIFY(!QFile::exists(path));
        window.cmdSave_Click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("Flow Data have been Saved. Click OK."));
        QVERIFY(fileBytes(path).startsWith("5000,500000,998\r\n1,531\r\n2,-1\r\n3,-32768\r\n"));
        MlgData d;
        QString error;
        QVERIFY2(mlgfile::readFile(path, &d, &error), qPrintable(error));
        QCOMPARE(std::pair(int(d.values.size()), int(d.points.last())), std::pair(127, 127));
    }
};

QTEST_MAIN(TestFlowLog)
#include "tst_flowlog.moc"
