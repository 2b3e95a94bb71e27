// The communication settings dialog on a main window (what it shows when it
// loads is in tst_windowtexts): the port list, OK moving to the chosen port,
// applying and storing; OK stopping at the first step the port refuses,
// storing nothing; the choices that act at once and stay after Cancel.
#include "config/frmproperties.h"
#include "support/columns.h"
#include "support/windowrig.h"

#include <QComboBox>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardPaths>
#include <QtTest>

namespace {

QComboBox *combo(frmProperties &d, const char *name)
{
    return d.findChild<QComboBox *>(QLatin1String(name));
}

// Chooses an entry as the user does, so its handler runs.
void choose(frmProperties &d, const char *name, const QString &text)
{
    QComboBox *c = combo(d, name);
    const int i = c->findText(text);
    QVERIFY2(i >= 0, qPrintable(text));
    c->setCurrentIndex(i);
    emit c->activated(i);
}

const Columns<QString, QString, QString> kOkStopsAtTheFirstRefusalAndCancelKeepsTheChoices{"port", "speed", "message"};

} // namespace

class TestFrmProperties : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        SimSerialPort::registerPort();
    }

    void init()
    {
        CommSettings::store()->clear();
        rig = std::make_unique<WindowRig>();
    }

    void portListHoldsTheOneInUse()
    {
        // What the dialog shows on a stored port is in tst_windowtexts.
        const QStringList ports = frmProperties::portList(QStringLiteral("/dev/pts/7"));
        QCOMPARE(ports.mid(0, 16), CommSettings::comPorts());
        QVERIFY(ports.contains(QStringLiteral("/dev/pts/7")));
        QCOMPARE(ports.count(QStringLiteral("Simulated transmitter")), 1);
    }

    void okMovesToTheChosenPortAppliesAndStores()
    {
        rig->window->setPortByName(QStringLiteral("Com1")); // closed
        const auto dialog = rig->window->propertiesDialog();
        frmProperties &d = *dialog;
        choose(d, "cboPort", SimSerialPort::Name);
        choose(d, "cboSpeed", QStringLiteral("4800"));
        choose(d, "cboParity", QStringLiteral("Odd"));
        choose(d, "cboStopBits", QStringLiteral("2"));
        choose(d, "cboInterface", QStringLiteral("RS485"));
        d.findChild<QRadioButton *>(QStringLiteral("optFlow1"))->click();
        d.findChild<QRadioButton *>(QStringLiteral("optEcho1"))->click();
        d.cmdOK_Click();
        QCOMPARE(d.result(), int(QDialog::Accepted));
        QVERIFY(rig->prompter.entries.isEmpty());
        QVERIFY(qobject_cast<SimSerialPort *>(rig->window->port()));
        QCOMPARE(std::tuple(rig->window->port()->settings(), rig->window->port()->handshaking(), rig->window->echoOn()),
                 std::tuple(QStringLiteral("4800,O,8,2"), 1, true));
        QCOMPARE(rig->panels({"Interface", "Comport"}), QStringList({"Interface: RS485", "COM Port: Simulated transmitter"}));
        QStringList stored;
        for (const char *key : {"Settings", "CommPort", "Handshaking", "Echo", "Interface", "Time_ss", "Time_sr"})
            stored << CommSettings::value(QLatin1String(key));
        QCOMPARE(stored, QStringList({"4800,O,8,2", "Simulated transmitter", "1", "True", "False", "1", "4"}));
    }

    void okStopsAtTheFirstRefusalAndCancelKeepsTheChoices_data()
    {
        kOkStopsAtTheFirstRefusalAndCancelKeepsTheChoices.add();
        QTest::newRow("port gone") << "/dev/quorin-unplugged" << "9600"
                                   << "Invalid port number (/dev/quorin-unplugged does not exist)";
        QTest::newRow("speed refused") << "" << "fast" << "Invalid property value";
        // The same reason as quorin-cli gives, the blank not cut away.
        QTest::newRow("address with a blank") << "tcp://127.0.0.1:47100 " << "9600"
                                              << "Invalid port address tcp://127.0.0.1:47100 : the address holds a blank";
    }

    void okStopsAtTheFirstRefusalAndCancelKeepsTheChoices()
    {
        const auto [port, speed, message] = kOkStopsAtTheFirstRefusalAndCancelKeepsTheChoices.fetch();
        QVERIFY(rig->window->mnuOpen_Click());
        const auto dialog = rig->window->propertiesDialog();
        frmProperties &d = *dialog;
        if (!port.isEmpty()) {
            // A USB adapter pulled out after the list was filled.
            combo(d, "cboPort")->addItem(port);
            choose(d, "cboPort", port);
        }
        combo(d, "cboSpeed")->setEditText(speed);
        // The interface and the rates act at once.
        choose(d, "cboInterface", QStringLiteral("RS485"));
        QVERIFY(rig->port->device()->rs485()); // the built-in transmitter follows the bus
        choose(d, "cboTSs", QStringLiteral("5000"));
        QCOMPARE(rig->panel(QStringLiteral("UpdateRate")), QStringLiteral("Update Rate: 5000 ms"));
        choose(d, "cboTSr", QStringLiteral("15000"));
        d.cmdOK_Click();
        QCOMPARE(rig->prompter.texts(), QStringList{message});
        QCOMPARE(rig->prompter.entries.first().icon, Prompter::Exclamation);
        QVERIFY(d.result() != QDialog::Accepted);
        // The old port stays, open as it was, with its settings.
        QCOMPARE(rig->window->port(), static_cast<SerialPort *>(rig->port));
        QCOMPARE(std::pair(rig->port->isOpen(), rig->port->settings()), std::pair(true, QStringLiteral("9600,n,8,1")));
        // Cancel keeps what acted at once; only OK sets the panel and stores.
        d.findChild<QPushButton *>(QStringLiteral("cmdCancel"))->click();
        QCOMPARE(d.result(), int(QDialog::Rejected));
        QCOMPARE(std::tuple(rig->window->link().Rs232Mode, rig->window->Timer4->interval(), rig->window->Timer5->interval()),
                 std::tuple(false, 5000, 15000));
        QCOMPARE(rig->panel(QStringLiteral("Interface")), QStringLiteral("Interface: RS232"));
        QVERIFY(CommSettings::store()->allKeys().isEmpty());
    }

private:
    std::unique_ptr<WindowRig> rig;
};

QTEST_MAIN(TestFrmProperties)
#include "tst_frmproperties.moc"
