// The communication settings without the dialog: cutting a settings text into
// its fields by position, and the port names as stored.
#include "config/commsettings.h"
#include "support/columns.h"

#include <QtTest>

// fields: speed, parity entry, data bits, stop bits
const Columns<QString, QStringList> kSettingsTextIsCutByPosition{"text", "fields"};

class TestCommSettings : public QObject
{
    Q_OBJECT
private slots:
    void settingsTextIsCutByPosition_data()
    {
        kSettingsTextIsCutByPosition.add();
        QTest::newRow("9600,n,8,1") << "9600,n,8,1" << QStringList{"9600", "None", "8", "1"};
        QTest::newRow("1.5 stop bits") << "19200,e,7,1.5" << QStringList{"19200", "Even", "7", "1.5"};
        QTest::newRow("as OK stores it") << "115200,O,8,2" << QStringList{"115200", "Odd", "8", "2"};
        QTest::newRow("unknown letter") << "9600,x,8,1" << QStringList{"9600", "", "8", "1"};
        QTest::newRow("empty") << "" << QStringList{"", "", "", ""};
        QTest::newRow("too short") << "1.5" << QStringList{"", "", "", "1.5"};
    }

    void settingsTextIsCutByPosition()
    {
        const auto [text, fields] = kSettingsTextIsCutByPosition.fetch();
        const CommSettings::LineText t = CommSettings::splitSettings(text);
        QCOMPARE(QStringList({t.speed, CommSettings::parityEntry(t.parityLetter), t.dataBits, t.stopBits}), fields);
    }

    void comPortsAreStoredAsTheirNumber()
    {
        // "Com1".."Com16" are stored as their number, any other port by name.
        for (const char *name : {"Com16", "/dev/ttyUSB0", "Simulated transmitter", "Com1a"}) {
            const QString stored = CommSettings::storedFromPortName(QLatin1String(name));
            QCOMPARE(stored, name == QByteArray("Com16") ? QStringLiteral("16") : QLatin1String(name));
            QCOMPARE(CommSettings::portNameFromStored(stored), QLatin1String(name));
        }
    }
};

QTEST_GUILESS_MAIN(TestCommSettings)
#include "tst_commsettings.moc"
