// setup.dat: the layout of the device list, and a save the disk cannot take.
#include "support/filebytes.h"
#include "support/fulldisk.h"
#include "terminal/setupfile.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QtTest>

class TestSetupFile : public QObject
{
    Q_OBJECT
private slots:
    void layoutWithFixUps()
    {
        TerminalState::DeviceRecord records[4];
        records[1] = {QStringLiteral("Line \"B\""), QStringLiteral("north"), {4, 3, 2, 9}};
        records[2].values[2] = 7;
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        // More records asked for than there are: the four, each fixed up.
        QVERIFY(SetupFile::write(&out, records, 5, nullptr));
        QCOMPARE(out.data(), QByteArray("\"1\",\"\",0,0,0,1\r\n\"Line 'B'\",\"north\",4,3,2,9\r\n"
                                        "\"3\",\"\",0,0,7,1\r\n\"4\",\"\",0,0,0,1\r\n"));
    }

    void fullDiskKeepsTheOldFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("setup.dat"));
        TerminalState::DeviceRecord records[4];
        QString error;
        QVERIFY(SetupFile::save(path, records, 1, &error));
        {
            FullDisk full(20);
            QVERIFY(!SetupFile::save(path, records, 4, &error));
        }
        QVERIFY2(error.startsWith(path + QLatin1Char('\r')), qPrintable(error));
        QCOMPARE(fileBytes(path), QByteArray("\"1\",\"\",0,0,0,1\r\n"));
    }
};

QTEST_MAIN(TestSetupFile)
#include "tst_setupfile.moc"
