// The configuration table file: its exact bytes, what it reads back, the
// reader's refusals, and the export and import windows on the simulated
// transmitter.
#include "files/configimport.h"
#include "files/configtable.h"
#include "files/frmexporte.h"
#include "files/mlgfile.h"
#include "support/filebytes.h"
#include "support/columns.h"
#include "support/fulldisk.h"
#include "support/simrig.h"
#include "session/terminalstate.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

TerminalState fixedState()
{
    TerminalState s;
    QByteArray image;
    for (int i = 0; i < 0x50; ++i)
        image.append(char(i));
    s.MemoryImage0100 = s.MemoryImage0100Export = QString::fromLatin1(image.toHex().toUpper());
    s.MemoryImage01E5 = QStringLiteral("4142430A1E05");
    s.DensityHex = QStringLiteral("000003E6");
    s.Density = 998;
    s.UDFactorHex = QStringLiteral("FFFFFFFF");
    s.EngUnitHex = QStringLiteral("05");
    s.EngUnit = 5;
    s.DataPointerHex = QStringLiteral("01FF");
    s.fillCellsFromImages();
    return s;
}

const char kFixedFile[] =
    "\"0   \",\"0100\",\"01\",\"00\",\"0\"\r\n"
    "\"1   \",\"0105\",\"04\",\"05060708\",\"84281096\"\r\n"
    "\"2   \",\"010D\",\"04\",\"0D0E0F10\",\"219025168\"\r\n"
    "\"3   \",\"0134\",\"02\",\"3435\",\"13365\"\r\n"
    "\"4   \",\"014D\",\"02\",\"4D4E\",\"19790\"\r\n"
    "\"5   \",\"0118\",\"04\",\"18191A1B\",\"404298267\"\r\n"
    "\"6   \",\"0103\",\"01\",\"03\",\"3\"\r\n"
    "\"7   \",\"014C\",\"01\",\"4C\",\"76\"\r\n"
    "\"8   \",\"0170\",\"04\",\"000003E6\",\"998\"\r\n"
    "\"9   \",\"01E9\",\"01\",\"1E\",\"30\"\r\n"
    "\"10  \",\"0138\",\"02\",\"3839\",\"14393\"\r\n"
    "\"11  \",\"01E4\",\"01\",\"05\",\"5\"\r\n"
    "\"12  \",\"0104\",\"01\",\"04\",\"4\"\r\n"
    "\"13  \",\"013A\",\"02\",\"3A3B\",\"14907\"\r\n"
    "\"14  \",\"0101\",\"02\",\"0102\",\"258\"\r\n"
    "\"15  \",\"01E5\",\"03\",\"414243\",\"AB\"\r\n"
    "\"16  \",\"017C\",\"04\",\"FFFFFFFF\",\"-1\"\r\n"
    "\"17  \",\"01E8\",\"01\",\"0A\",\"10\"\r\n"
    "\"18  \",\"01FE\",\"02\",\"01FF\",\"01FF\"\r\n"
    "\"19  \",\"01EA\",\"01\",\"05\",\"05\"\r\n"
    "\"20  \",\"0109\",\"02\",\"090A\",\"2314\"\r\n"
    "\"21  \",\"010C\",\"01\",\"0C\",\"12\"\r\n"
    "\"22  \",\"0111\",\"01\",\"11\",\"17\"\r\n"
    "\"23  \",\"0116\",\"01\",\"16\",\"22\"\r\n"
    "\"24  \",\"012D\",\"02\",\"2D2E\",\"11566\"\r\n"
    "\"25  \",\"0130\",\"02\",\"3031\",\"12337\"\r\n";

const Columns<QByteArray, QString> kReaderRefusals{"bytes", "error"};

} // namespace

class TestConfigFiles : public QObject
{
    Q_OBJECT
private slots:
    void exportedBytesAndReadBack()
    {
        const ConfigTable table = ConfigTable::fromTerminal(fixedState());
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.epr"));
        QString error;
        QVERIFY2(table.writeFile(path, &error), qPrintable(error));
        QCOMPARE(fileBytes(path), QByteArray(kFixedFile));
        ConfigTable back;
        QVERIFY2(back.readFile(path, &error), qPrintable(error));
        QCOMPARE(back.recordsRead(), 26);
        // A file that ends without its last line end, or with LF alone, reads the same.
        QByteArray loose = QByteArray(kFixedFile).replace("\r\n", "\n");
        loose.chop(1);
        QVERIFY(back.read(loose, &error));
        QCOMPARE(back.row(25), table.row(25));

        TerminalState s = fixedState();
        s.DataPointerHex = QStringLiteral("00FF");  // one "0" in front, once only
        s.MemoryImage01E5 = QStringLiteral("4142430A1EA5");
        s.fillCellsFromImages();
        const ConfigTable low = ConfigTable::fromTerminal(s);
        QCOMPARE(QStringList({low.row(18).Data, low.row(18).Value, low.row(19).Data, low.row(19).Value}),
                 QStringList({"0FF", "0FF", "A5", "A5"}));
    }

    // Every byte in either character of the device's unit name gives a file
    // that reads back as the same 26 rows.
    void unitNameReadsBack()
    {
        TerminalState s = fixedState();
        for (int at = 0; at < 4; ++at) {  // beside a letter, then beside a zero byte
            for (int b = 0; b < 256; ++b) {
                QByteArray name(3, at < 2 ? 'A' : char(0));
                name[at % 2] = char(b);
                s.MemoryImage01E5 = QString::fromLatin1(name.toHex().toUpper()) + QStringLiteral("0A1E05");
                s.fillCellsFromImages();
                const ConfigTable table = ConfigTable::fromTerminal(s);
                ConfigTable back;
                QString error;
                QVERIFY2(back.read(table.fileBytes(), &error), qPrintable(QStringLiteral("byte %1: ").arg(b) + error));
                QCOMPARE(back.recordsRead(), 26);
                for (int r = 0; r < ConfigTable::RowCount; ++r)
                    QCOMPARE(back.row(r), table.row(r));
                if (name[0] == 0)  // never set
                    QCOMPARE(table.row(15).Value, QString());
            }
        }
    }

    void readerRefusals_data()
    {
        kReaderRefusals.add();
        QByteArray many;
        for (int i = 0; i < 100; ++i)
            many += "\"0   \",\"" + QByteArray::number(0x100 + i, 16) + "\",\"01\",\"05\",\"5\"\r\n";
        QTest::newRow("100 records") << many << "t.epr, line 100: more than 99 records; a configuration table has 26";
        QTest::newRow("four fields") << QByteArray(kFixedFile).replace(",\"12337\"", "")
                                     << "t.epr, line 26: the record has 4 fields, 5 expected";
        QTest::newRow("binary") << QByteArray("\x7f" "ELF\x02\x01\x01\x00\x00", 9)
                                << "t.epr, line 1: the file holds binary data, not a configuration table";
        QTest::newRow("open quote") << QByteArray("\"0   \",\"0100\",\"01\",\"05\",\"5\r\n")
                                    << "t.epr, line 1: a quoted field is not closed";
        QTest::newRow("an address twice, spelled two ways") << QByteArray(kFixedFile).replace("\"0130\"", "\"134\"")
                                                             << "t.epr, line 26: the address 134 is named again; line 4 names it first";
        QTest::newRow("over 1 MiB") << QByteArray((1 << 20) + 1, ' ')
                                    << "t.epr: the file is too large for a configuration table";
    }

    void readerRefusals()
    {
        const auto [bytes, expected] = kReaderRefusals.fetch();
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.epr"));
        QString error;
        QVERIFY(mlgfile::write(path, bytes, &error));
        ConfigTable table = ConfigTable::fromTerminal(fixedState());
        const ConfigTable before = table;
        QVERIFY(!table.readFile(path, &error));
        QCOMPARE(error, expected);
        for (int r = 0; r < ConfigTable::RowCount; ++r)
            QCOMPARE(table.row(r), before.row(r));
        QVERIFY(!table.readFile(dir.filePath(QStringLiteral("missing.epr")), &error));
        QVERIFY2(error.startsWith(QStringLiteral("missing.epr: ")), qPrintable(error));
    }

    void exportWindowSaveDialog()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        QTemporaryDir dir;
        rig.session.folder = dir.path();
        frmExportE window(rig.session);
        QVERIFY(window.text().startsWith(QStringLiteral("0       0100    01    32    50\n")));
        // Cancelled dialog: nothing written, nothing said.
        window.cmdSave_Click();
        QCOMPARE(rig.prompter.entries.size(), 1);

        const QString path = dir.filePath(QStringLiteral("qrn000001.epr"));
        QVERIFY(writeFileBytes(path, "keep me"));
        // Declining the replace question goes back to the dialog; cancelling it keeps the old file.
        rig.prompter.clear();
        rig.prompter.fileNames = {path};
        rig.prompter.answers = {false};
        window.cmdSave_Click();
        QCOMPARE(rig.prompter.texts(QStringLiteral("okcancel")), QStringList{"Replace existing file - " + path + "?"});
        QCOMPARE(rig.prompter.texts(QStringLiteral("save")).size(), 2);
        QCOMPARE(fileBytes(path), QByteArray("keep me"));

        // A disk that fills up: the reason is shown, not "Saved", and the old file stays.
        rig.prompter.fileNames = {path, path};
        rig.prompter.answers = {true, true};
        {
            FullDisk full(200);
            window.cmdSave_Click();
        }
        QCOMPARE(rig.prompter.entries.last().icon, Prompter::Exclamation);
        QCOMPARE(fileBytes(path), QByteArray("keep me"));
        window.cmdSave_Click();
        QCOMPARE(rig.prompter.texts().last(), QStringLiteral("Configuration Table has been Saved. Click OK."));
        QCOMPARE(fileBytes(path), window.table().fileBytes());
    }

    void importStops()
    {
        SimRig source;
        QVERIFY(source.readOut());
        const ConfigTable table = ConfigTable::fromTerminal(source.session.state());

        SimRig tenths(QStringLiteral("tenths"));
        QVERIFY(tenths.readOut());
        const QByteArray coefficient = tenths.device->memory().mid(0x12D, 2);
        ConfigImport import(tenths.session);
        import.setRowPause(0);
        QList<int> counts;
        connect(&import, &ConfigImport::progress, this, [&](int n) { counts << n; });
        QVERIFY(import.upload(table));
        // Reset, 24 rows, reset.
        QCOMPARE(std::pair(counts.size(), counts[24]), std::pair(qsizetype(26), 24));
        QCOMPARE(tenths.device->memory().mid(0x12D, 2), coefficient);

        // An empty table (no file opened) is refused before anything is sent.
        tenths.prompter.clear();
        tenths.device->clearReceivedFrames();
        QVERIFY(!import.upload(ConfigTable()));
        QCOMPARE(tenths.prompter.texts(), QStringList{"EEPROM Table cannot be written; nothing was sent.\rline 1: the table has no such line"});
        QCOMPARE(tenths.device->framesReceived() + counts.size(), 26);

        // Lower-case data is written but does not match the device's upper-case echo.
        ConfigTable bad = table;
        bad.row(3).Data = QStringLiteral("a4a5");
        SimRig target(QStringLiteral("second"));
        QVERIFY(target.readOut());
        ConfigImport second(target.session);
        second.setRowPause(0);
        int reentered = -1;
        connect(&second, &ConfigImport::rowDone, this, [&](int entry) {
            if (entry == 0)
                reentered = second.upload(table);  // a second click while the first runs
        });
        QVERIFY(!second.upload(bad));
        QCOMPARE(reentered, 0);
        QCOMPARE(target.prompter.texts(), (QStringList{"Verify data is failed!\r data recieved: A4A5",
                                                       "Communication Error! EEPROM Table Writing is terminated!\r"
                                                       "Check connection and try again!   [A4A5]"}));
        // Rows 0 to 2 stay written; row 3 on is as it was.
        QCOMPARE(target.device->memory().mid(0x105, 4).toHex().toUpper(), table.row(1).Data.toLatin1());
        QCOMPARE(target.device->framesReceived(), 8);
    }
};

QTEST_MAIN(TestConfigFiles)
#include "tst_configfiles.moc"
