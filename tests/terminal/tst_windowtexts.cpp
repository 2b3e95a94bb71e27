// What every window says before anything happens in it: titles, labels,
// buttons, menus, column headings, list entries and tool tips, with each
// control's enabled, shown and checked state, against a reviewed copy in
// texts/. QUORIN_UPDATE_TEXTS=1 writes the copies anew (read the diff).
#include "config/frmdprop.h"
#include "files/frmautotune.h"
#include "files/frmdevices.h"
#include "files/frmexporte.h"
#include "files/frmhistory.h"
#include "files/frmimporte.h"
#include "files/frmmemlog.h"
#include "support/filebytes.h"
#include "support/simrig.h"
#include "support/windowrig.h"
#include "config/frmproperties.h"
#include "terminal/frmabout.h"
#include "terminal/frmethernet.h"
#include "terminal/frmrescale.h"

#include <QComboBox>
#include <QTabBar>
#include <QTableWidget>
#include <QtTest>
#include <functional>

namespace {
// One line per control that has a name or says something: its texts (text,
// title, tip, list entries, tabs, column headings), then what it holds.
QString describe(QWidget *window)
{
    QStringList lines{QStringLiteral("title: ") + window->windowTitle()};
    for (QObject *o : window->findChildren<QObject *>()) {
        auto *w = qobject_cast<QWidget *>(o);
        auto *a = qobject_cast<QAction *>(o);
        if ((!w && !a) || (a && a->isSeparator()) || o->objectName().startsWith(QLatin1String("qt_")))
            continue;
        QStringList says;
        for (const char *property : {"text", "title", "toolTip", "maxLength"})
            if (!o->property(property).toString().isEmpty())
                says << o->property(property).toString();
        if (o->property("checkable").toBool())
            says << (o->property("checked").toBool() ? QStringLiteral("[x]") : QStringLiteral("[ ]"));
        if (a && !a->shortcut().isEmpty())
            says << a->shortcut().toString();
        if (auto *c = qobject_cast<QComboBox *>(o))
            for (int i = 0; i < c->count(); ++i) // the ports found differ from machine to machine
                if (c->objectName() != QLatin1String("cboPort") || i == c->currentIndex())
                    says << (i == c->currentIndex() ? "*" : "") + c->itemText(i);
        if (auto *t = qobject_cast<QTabBar *>(o))
            for (int i = 0; i < t->count(); ++i)
                says << t->tabText(i);
        if (auto *t = qobject_cast<QTableWidget *>(o))
            for (int i = 0; i < t->columnCount(); ++i)
                says << (t->horizontalHeaderItem(i) ? t->horizontalHeaderItem(i)->text() : QString::number(i + 1));
        if (o->objectName().isEmpty() && says.isEmpty())
            continue;
        const QString state = QLatin1String((w ? w->isEnabled() : a->isEnabled()) ? "" : " off")
            + QLatin1String((w ? w->isVisibleTo(window) : a->isVisible()) ? "" : " hidden");
        lines << QStringLiteral("%1 %2%3: %4").arg(QLatin1String(o->metaObject()->className()), o->objectName(), state,
                                                 says.join(QLatin1String(" | ")).replace(QLatin1Char('\r'), QLatin1String("\\r"))
                                                     .replace(QLatin1Char('\n'), QLatin1String("\\n")));
    }
    return lines.join(QLatin1Char('\n'));
}


} // namespace

class TestWindowTexts : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        SimSerialPort::registerPort();
    }

    // A row is a window, or a window and the preset or settings it opens on.
    void windows_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"frmTerminal", "frmTerminal-stored", "frmProperties-stored", "frmDProp", "frmDProp-tenths",
                                 "frmDProp-second", "frmAutoTune", "frmExportE", "frmImportE", "frmHistory", "frmMemLog",
                                 "frmAbout", "frmEthernet", "frmRescale", "frmDevices"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void windows()
    {
        QFETCH(QString, name);
        const QString variant = name.section(QLatin1Char('-'), 1);
        SimRig rig(variant == "tenths" || variant == "second" ? variant : QStringLiteral("standard"));
        QVERIFY(rig.readOut());
        TerminalHost &h = rig.session;
        h.state().TotalMultiplier = variant == "tenths" ? 1 : variant == "second" ? 2 : 0; // thousands, millions
        // The main window as it starts with nothing stored, or with a full store.
        CommSettings::store()->clear();
        if (variant == "stored")
            WindowRig::storeSettings({{"Settings", "19200,e,7,1.5"}, {"CommPort", "Simulated transmitter"}, {"Handshaking", "2"},
                                      {"Echo", "True"}, {"Tot_unit", "3"}, {"Time_ss", "3"}, {"Time_sr", "14"},
                                      {"Interface", "False"}, {"Com_monitor", "1"}, {"Dev_info", "1"}});
        WindowRig main(false);
        const QMap<QString, std::function<QWidget *()>> make{
            {"frmDProp", [&] { return new frmDProp(h); }}, {"frmAutoTune", [&] { return new frmAutoTune(h); }},
            {"frmExportE", [&] { return new frmExportE(h); }}, {"frmImportE", [&] { return new frmImportE(h); }},
            {"frmHistory", [&] { return new frmHistory(h); }}, {"frmMemLog", [&] { return new frmMemLog(h); }},
            {"frmAbout", [] { return new frmAbout; }}, {"frmEthernet", [&] { return new frmEthernet(h); }},
            {"frmRescale", [&] { return new frmRescale(h); }}, {"frmDevices", [&] { return new frmDevices(main.prompter, QString()); }},
            {"frmProperties", [&] { return main.window->propertiesDialog().release(); }}};
        const std::unique_ptr<QWidget> dialog(make.value(name.section(QLatin1Char('-'), 0, 0), [] { return nullptr; })());
        // Opening a window reads nothing: it shows what the readout left.
        QCOMPARE(rig.device->framesReceived(), 0);
        const QStringList lines = describe(dialog ? dialog.get() : main.window.get()).split(QLatin1Char('\n'));
        const QString file = QFINDTESTDATA("texts") + QLatin1Char('/') + name + QStringLiteral(".txt");
        if (qEnvironmentVariableIsSet("QUORIN_UPDATE_TEXTS"))
            QVERIFY(writeFileBytes(file, (lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8()));
        // A copy that cannot be read compares as "<missing>".
        QCOMPARE(lines, QString::fromUtf8(fileBytes(file)).split(QLatin1Char('\n'), Qt::SkipEmptyParts));
    }
};

QTEST_MAIN(TestWindowTexts)
#include "tst_windowtexts.moc"
