// Quorin Terminal: the main window, on the port chosen in the settings, or on
// the port given here for this run only.
#include "sim/simdevice.h"
#include "sim/simserialport.h"
#include "terminal/frmterminal.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    SimSerialPort::registerPort();
    QApplication::setApplicationName(QStringLiteral("Quorin Terminal"));
    QApplication::setApplicationVersion(QStringLiteral(QUORIN_VERSION));
    QApplication::setStyle(QStringLiteral("Fusion"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Configures and monitors R52 flow transmitters."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption portOption(QStringLiteral("port"),
                                        QStringLiteral("Use this serial port for this run (Com3, /dev/ttyUSB0)."),
                                        QStringLiteral("PATH"));
    const QCommandLineOption simOption(QStringLiteral("sim"),
                                       QStringLiteral("Use the built-in simulated transmitter for this run."));
    parser.addOption(portOption);
    parser.addOption(simOption);
    parser.process(app);

    if (parser.isSet(portOption) && parser.isSet(simOption)) {
        QTextStream(stderr) << "quorin-terminal: give either --port or --sim, not both\n";
        return 2;
    }

    frmTerminal window;
    // The stored port stays stored: these only choose the line for this run.
    if (parser.isSet(simOption))
        window.setPortByName(SimSerialPort::Name);
    else if (parser.isSet(portOption))
        window.setPortByName(parser.value(portOption));
    window.show();
    return app.exec();
}
