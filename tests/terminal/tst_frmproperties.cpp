// The communication settings dialog on a main window: what it shows when it
// loads, the choices that act at once (and stay after Cancel), and OK, which
// stops at the first step the port refuses and then stores nothing.
#include "config/commsettings.h"
#include "config/frmproperties.h"
#include "link/devicelink.h"
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "support/scriptedprompter.h"
#include "terminal/frmterminal.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

namespace {

struct Rig {
    Rig()
    {
        window = std::make_unique<frmTerminal>(&prompter);
        window->setProgramFolder(dir.path());
        port = new SimSerialPort;
        window->setPort(port);
    }
    std::unique_ptr<frmProperties> dialog()
    {
        auto d = window->propertiesDialog();
        return d;
    }
    static QComboBox *combo(frmProperties &d, const char *name) { return d.findChild<QComboBox *>(QLatin1String(name)); }
    static QRadioButton *option(frmProperties &d, const char *name)
    {
        return d.findChild<QRadioButton *>(QLatin1String(name));
    }
    static void choose(frmProperties &d, const char *name, const QString &text)
    {
        QComboBox *c = combo(d, name);
        const int i = c->findText(text);
        QVERIFY2(i >= 0, qPrintable(text));
        c->setCurrentIndex(i);
        emit c->activated(i);
    }
    QString panel(const char *key) const { return window->panel(QLatin1String(key))->text(); }

    QTemporaryDir dir;
    ScriptedPrompter prompter;
    std::unique_ptr<frmTerminal> window;
    SimSerialPort *port = nullptr;
};

} // namespace

class TestFrmProperties : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void loadShowsThePortAsItIs();
    void choicesActAtOnceAndStayAfterCancel();
    void okAppliesAndStoresInOrder();
    void okStopsAtTheFirstRefusal_data();
    void okStopsAtTheFirstRefusal();
    void otherPortKeepsTheLineSettings();
};

void TestFrmProperties::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    SimSerialPort::registerPort();
}

void TestFrmProperties::init()
{
    CommSettings::store()->clear();
}

void TestFrmProperties::loadShowsThePortAsItIs()
{
    Rig rig;
    QVERIFY(rig.port->setSettings(QStringLiteral("19200,e,7,1.5")));
    QVERIFY(rig.port->setHandshaking(2));
    rig.window->setEcho(true);
    rig.window->setInterfaceFlag(false);
    rig.window->setUpdateRateIndex(3);
    rig.window->setRecordIntervalIndex(14);
    auto d = rig.dialog();
    QCOMPARE(Rig::combo(*d, "cboSpeed")->currentText(), QStringLiteral("19200"));
    QCOMPARE(Rig::combo(*d, "cboParity")->currentText(), QStringLiteral("Even"));
    QCOMPARE(Rig::combo(*d, "cboDataBits")->currentText(), QStringLiteral("7"));
    QCOMPARE(Rig::combo(*d, "cboStopBits")->currentText(), QStringLiteral("1.5"));
    QCOMPARE(Rig::combo(*d, "cboInterface")->currentText(), QStringLiteral("RS485"));
    QCOMPARE(Rig::combo(*d, "cboPort")->currentText(), QStringLiteral("Simulated transmitter"));
    QCOMPARE(Rig::combo(*d, "cboTSs")->currentText(), QStringLiteral("3000"));
    QCOMPARE(Rig::combo(*d, "cboTSr")->currentText(), QStringLiteral("60000"));
    QVERIFY(Rig::option(*d, "optFlow2")->isChecked());
    QVERIFY(Rig::option(*d, "optEcho1")->isChecked());

    const QStringList ports = frmProperties::portList(QStringLiteral("/dev/pts/7"));
    QCOMPARE(ports.mid(0, 16), CommSettings::comPorts());
    QVERIFY(ports.contains(QStringLiteral("/dev/pts/7")));
    QCOMPARE(ports.last(), QStringLiteral("Simulated transmitter"));
    QCOMPARE(ports.count(QStringLiteral("Simulated transmitter")), 1);
}

void TestFrmProperties::choicesActAtOnceAndStayAfterCancel()
{
    Rig rig;
    auto d = rig.dialog();
    Rig::choose(*d, "cboInterface", QStringLiteral("RS485"));
    QVERIFY(!rig.window->link().Rs232Mode);
    QVERIFY(rig.port->device()->rs485()); // the built-in transmitter follows the bus
    Rig::choose(*d, "cboTSs", QStringLiteral("5000"));
    QCOMPARE(rig.window->Timer4->interval(), 5000);
    QCOMPARE(rig.panel("UpdateRate"), QStringLiteral("Update Rate: 5000 ms"));
    Rig::choose(*d, "cboTSr", QStringLiteral("15000"));
    QCOMPARE(rig.window->Timer5->interval(), 15000);
    QCOMPARE(rig.window->recordIntervalIndex(), 11);
    QVERIFY(!rig.window->Timer4->isActive());

    d->findChild<QPushButton *>(QStringLiteral("cmdCancel"))->click();
    QCOMPARE(d->result(), int(QDialog::Rejected));
    QVERIFY(!rig.window->link().Rs232Mode);
    QCOMPARE(rig.window->Timer4->interval(), 5000);
    QCOMPARE(rig.panel("Interface"), QStringLiteral("Interface: RS232")); // only OK sets the panel
    QVERIFY(CommSettings::store()->allKeys().isEmpty());
}

void TestFrmProperties::okAppliesAndStoresInOrder()
{
    Rig rig;
    auto d = rig.dialog();
    Rig::choose(*d, "cboSpeed", QStringLiteral("4800"));
    Rig::choose(*d, "cboParity", QStringLiteral("Odd"));
    Rig::choose(*d, "cboDataBits", QStringLiteral("7"));
    Rig::choose(*d, "cboStopBits", QStringLiteral("2"));
    Rig::choose(*d, "cboInterface", QStringLiteral("RS485"));
    Rig::choose(*d, "cboTSs", QStringLiteral("2000"));
    Rig::option(*d, "optFlow1")->click();
    Rig::option(*d, "optEcho1")->click();
    d->cmdOK_Click();
    QCOMPARE(d->result(), int(QDialog::Accepted));
    QVERIFY(rig.prompter.entries.isEmpty());
    QCOMPARE(rig.port->settings(), QStringLiteral("4800,O,7,2"));
    QCOMPARE(rig.port->handshaking(), 1);
    QVERIFY(rig.window->echoOn());
    QCOMPARE(rig.panel("Interface"), QStringLiteral("Interface: RS485"));
    QCOMPARE(rig.panel("Comport"), QStringLiteral("COM Port: Simulated transmitter"));
    QCOMPARE(CommSettings::value(QStringLiteral("Settings")), QStringLiteral("4800,O,7,2"));
    QCOMPARE(CommSettings::value(QStringLiteral("CommPort")), QStringLiteral("Simulated transmitter"));
    QCOMPARE(CommSettings::value(QStringLiteral("Handshaking")), QStringLiteral("1"));
    QCOMPARE(CommSettings::value(QStringLiteral("Echo")), QStringLiteral("True"));
    QCOMPARE(CommSettings::value(QStringLiteral("Interface")), QStringLiteral("False"));
    QCOMPARE(CommSettings::value(QStringLiteral("Time_ss")), QStringLiteral("2"));
    QCOMPARE(CommSettings::value(QStringLiteral("Time_sr")), QStringLiteral("4"));
    // A new window starts from what was stored.
    frmTerminal next(&rig.prompter);
    QCOMPARE(next.portName(), QStringLiteral("Simulated transmitter"));
    QCOMPARE(next.port()->settings(), QStringLiteral("4800,O,7,2"));
    QCOMPARE(next.Timer4->interval(), 2000);
    QVERIFY(!next.link().Rs232Mode);
}

void TestFrmProperties::okStopsAtTheFirstRefusal_data()
{
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("speed");
    QTest::addColumn<QString>("message");
    QTest::newRow("port gone") << "/dev/quorin-unplugged" << "9600"
                               << "Invalid port number (/dev/quorin-unplugged does not exist)";
    QTest::newRow("speed refused") << "" << "fast" << "Invalid property value";
}

void TestFrmProperties::okStopsAtTheFirstRefusal()
{
    QFETCH(QString, port);
    QFETCH(QString, speed);
    QFETCH(QString, message);
    Rig rig;
    QVERIFY(rig.window->mnuOpen_Click());
    auto d = rig.dialog();
    if (!port.isEmpty()) {
        // A USB adapter pulled out after the list was filled.
        Rig::combo(*d, "cboPort")->addItem(port);
        Rig::choose(*d, "cboPort", port);
    }
    Rig::combo(*d, "cboSpeed")->setEditText(speed);
    Rig::choose(*d, "cboInterface", QStringLiteral("RS485"));
    d->cmdOK_Click();
    QCOMPARE(rig.prompter.texts(), QStringList{message});
    QCOMPARE(rig.prompter.entries.first().icon, Prompter::Exclamation);
    QVERIFY(d->result() != QDialog::Accepted);
    // The old port stays, open as it was, with its settings.
    QCOMPARE(rig.window->port(), static_cast<SerialPort *>(rig.port));
    QVERIFY(rig.port->isOpen());
    QCOMPARE(rig.port->settings(), QStringLiteral("9600,n,8,1"));
    QCOMPARE(rig.panel("Interface"), QStringLiteral("Interface: RS232"));
    QVERIFY(CommSettings::store()->allKeys().isEmpty());
}

void TestFrmProperties::otherPortKeepsTheLineSettings()
{
    CommSettings::store()->setValue(QStringLiteral("Properties/Settings"), QStringLiteral("2400,e,7,1"));
    ScriptedPrompter prompter;
    frmTerminal window(&prompter); // on Com1, closed
    const auto dialog = window.propertiesDialog();
    frmProperties &d = *dialog;
    const int sim = d.findChild<QComboBox *>(QStringLiteral("cboPort"))->findText(SimSerialPort::Name);
    d.findChild<QComboBox *>(QStringLiteral("cboPort"))->setCurrentIndex(sim);
    d.cmdOK_Click();
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QVERIFY(qobject_cast<SimSerialPort *>(window.port()));
    QCOMPARE(window.port()->settings(), QStringLiteral("2400,E,7,1"));
    QVERIFY(!window.port()->isOpen());
    QCOMPARE(window.panel(QStringLiteral("Comport"))->text(), QStringLiteral("COM Port: Simulated transmitter"));
    QVERIFY(prompter.entries.isEmpty());
}

QTEST_MAIN(TestFrmProperties)
#include "tst_frmproperties.moc"
