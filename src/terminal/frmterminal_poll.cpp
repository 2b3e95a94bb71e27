// The main window's talk with the device on its own: the configuration
// readout, the display poll (Timer4), the recorder (Timer5), the monitor and
// connect-time refresh (TimerM) and the status text reset (Timer2).
#include "frmterminal.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "config/commsettings.h"
#include "link/devicelink.h"
#include "livedisplay.h"
#include "mqttpublisher.h"
#include "session/operationgate.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"
#include "terminallogs.h"
#include "trendbuffer.h"
#include "widgettrend.h"

#include <QAction>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QTimer>

bool frmTerminal::synchronize()
{
    const OperationGate::Hold hold = gate().begin(QStringLiteral("readout"));
    if (!hold)
        return false;
    PrgBar1->setValue(0);
    PrgBar1->show();
    const bool ok = m_session->readOut([this](int v) {
        PrgBar1->setValue(v);
        if (v == 1 || v == 5)
            refreshStatusBar();
    });
    PrgBar1->hide();
    if (ok) {
        refreshStatusBar();
        showFlowLabels();
    }
    return ok;
}

void frmTerminal::refreshStatusBar()
{
    if (m_state->MemoryImage0100.isEmpty())
        return;
    setPanelText(QStringLiteral("SampleTime"),
                 QStringLiteral("Sample time: ") + m_state->cellText(QStringLiteral("0100")) + QStringLiteral(" x 20 ms"));
    const qint64 maxFlow = m_state->cellValue(QStringLiteral("0105"));
    // In tenths mode the device stores ten times the flow.
    const QString maxText = m_state->tenthsMode() ? numtext::doubleToText(maxFlow / 10.0) : QString::number(maxFlow);
    setPanelText(QStringLiteral("MaxFlow"), QStringLiteral("Max Flow: ") + maxText + QStringLiteral(" L/s"));
    if (!m_state->EngUnitHex.isEmpty())
        setPanelText(QStringLiteral("EngUnit"), QStringLiteral("Enginnering Unit: ") + m_state->unitText());
}

bool frmTerminal::autoUpdateOn() const
{
    return m_link->AutoUpdateOn;
}

void frmTerminal::setAutoUpdate(bool on)
{
    m_link->AutoUpdateOn = on;
    // What was read before this run stays grey until its first reading.
    m_flowOk = m_totalOk = false;
    m_pollAt = QDateTime::currentMSecsSinceEpoch();
    if (on) {
        m_link->TimeoutCount = 0;
        Timer4->start();
    } else {
        Timer4->stop();
        // No line across the time auto update was off.
        m_trend->breakLine(QDateTime::currentMSecsSinceEpoch());
    }
    if (QAction *b = button(QStringLiteral("StartAS")))
        b->setChecked(on);
    showReadingAge();
}

QString frmTerminal::currentFlowText() const
{
    return m_state->FlowText;
}

void frmTerminal::showFlowLabels()
{
    if (m_readingsBlank) {
        for (QLabel *l : {lblMDRe, lblMDEU, Label7, Label12})
            l->clear();
        return;
    }
    lblMDRe->setText(m_state->FlowText);
    lblMDEU->setText(LiveDisplay::unitShown(*m_state));
    Label7->setText(m_state->TotalText);
    Label12->setText(m_state->totalUnitText());
}

void frmTerminal::Timer4_Timer()
{
    if (!m_link->AutoUpdateOn) {
        Timer4->stop();
        return;
    }
    // A device operation runs, or an exchange (or a message of this poll)
    // holds the poll off: this tick is skipped and a later one polls.
    if (gate().busy() || m_link->pollHeld()) {
        m_pollSkipped = true;
        // Nothing was measured meanwhile: a gap, not a line across it.
        m_trend->breakLine(QDateTime::currentMSecsSinceEpoch());
        fraTrend->pointAdded();
        showReadingAge();
        return;
    }
    if (!m_link->PortOpen() && !m_link->openPort()) {
        setAutoUpdate(false);
        if (m_mqtt)
            m_mqtt->publishOffline();
        return;
    }
    // Held for the whole tick; the release starts the timer again.
    m_link->holdPoll();
    LiveDisplay live(*m_link, *m_state, m_prompter);
    const LiveDisplay::Result r = live.tick();
    // A port lost in the middle leaves the last reading on screen, greyed.
    if (!r.stopped) {
        m_readingsBlank = false;
        showFlowLabels();
    }
    // A failed read is a gap in the trend, never a value.
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    m_pollSkipped = false;
    m_pollAt = now;
    m_flowOk = r.flowOk;
    m_totalOk = r.totalOk;
    if (r.ok())
        m_readingAt = now;
    // A total this poll did not read is not shown as if it had.
    if (!r.totalOk && !r.stopped) {
        Label7->clear();
        Label12->clear();
    }
    showReadingAge();
    // Points taken in another unit (another transmitter after a reconnect,
    // or a unit written since) would read as this one's: the trend starts
    // again. One with no unit yet holds no value, only gaps of an earlier line.
    if (r.flowOk && !lblMDEU->text().isEmpty() && lblMDEU->text() != fraTrend->unit())
        m_trend->clear();
    if (r.flowOk)
        m_trend->addFlowText(now, m_state->FlowText);
    else
        m_trend->addGap(now);
    fraTrend->setUnit(lblMDEU->text());
    fraTrend->pointAdded();
    if (m_mqtt) {
        m_mqtt->publish(MqttPublisher::fromState(*m_state, r, portName(), now));
        if (r.stopped) // the port went away: the readings are not live any more
            m_mqtt->publishOffline();
    }
    if (!r.stopped && m_recording && m_recordDue) {
        Timer5->stop();
        m_recordDue = false;
        if (m_dataLog->record(QDateTime::currentDateTime(), m_state->FlowText, lblMDEU->text()))
            Timer5->start();
        else
            mnuFileALogC_Click();  // stops recording and reports why the log could not be saved
    }
    m_link->releasePoll();
}

int frmTerminal::staleAfterMs() const
{
    // Two missed ticks and a reply time-out: a slow poll is not yet stale.
    return 2 * Timer4->interval() + m_link->replyTimeout();
}

void frmTerminal::showReadingAge()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const bool live = m_link->PortOpen() && m_link->AutoUpdateOn && !m_pollSkipped && now - m_pollAt <= staleAfterMs();
    lblMDRe->setEnabled(live && m_flowOk);
    lblMDEU->setEnabled(live && m_flowOk);
    Label7->setEnabled(live && m_totalOk);
    Label12->setEnabled(live && m_totalOk);
    const bool old = m_readingAt > 0 && !(live && m_flowOk && m_totalOk);
    lblSince->setText(old ? tr("No reading since %1").arg(QDateTime::fromMSecsSinceEpoch(m_readingAt).toString(QStringLiteral("HH:mm:ss")))
                          : QString());
    lblSince->setVisible(old);
}

void frmTerminal::Timer5_Timer()
{
    m_recordDue = true;
}

void frmTerminal::setRecordIntervalIndex(int index)
{
    m_timeSr = index;
    if (const int ms = CommSettings::intervalMs(index); ms > 0) {
        Timer5->setInterval(ms);
        if (!m_recording)
            Timer5->stop();
    }
}

void frmTerminal::setUpdateRateIndex(int index)
{
    m_timeSs = index;
    if (const int ms = CommSettings::intervalMs(index); ms > 0) {
        Timer4->setInterval(ms);
        if (!m_link->AutoUpdateOn)
            Timer4->stop();
    }
    setPanelText(QStringLiteral("UpdateRate"), QStringLiteral("Update Rate: %1 ms").arg(Timer4->interval()));
}

void frmTerminal::TimerM_Timer()
{
    if (m_monitor) {
        lblTr->setText(m_link->lblTr);
        txtRs->setText(m_link->txtRs);
    }
    if (m_link->PortOpen()) {
        const qint64 s = m_connectedSince > 0 ? (QDateTime::currentMSecsSinceEpoch() - m_connectedSince) / 1000 : 0;
        lblConnectTime->setText(QStringLiteral("%1:%2:%3")
                                    .arg(s / 3600, 2, 10, QLatin1Char('0'))
                                    .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
                                    .arg(s % 60, 2, 10, QLatin1Char('0')));
    } else {
        lblConnectTime->setText(tr("Closed"));
    }
    // Every exchange of a long operation restarts Timer4, so its ticks may
    // not even be skipped: a poll overdue is a gap all the same.
    if (m_link->AutoUpdateOn && QDateTime::currentMSecsSinceEpoch() - m_pollAt > staleAfterMs()) {
        m_trend->breakLine(QDateTime::currentMSecsSinceEpoch());
        fraTrend->pointAdded();
    }
    showReadingAge();
    // Replies and time-outs so far: the silent misses of the auto update show here.
    setPanelText(QStringLiteral("Link"), QStringLiteral("Link: %1 ok, %2 time-outs")
                                             .arg(m_link->health.replies)
                                             .arg(m_link->health.timeouts));
}

void frmTerminal::Timer2_Timer()
{
    setStatusText(QStringLiteral("Status: "));
    Timer2->stop();
}

void frmTerminal::startTimer2()
{
    Timer2->start();
}

void frmTerminal::applyTrendSettings()
{
    const bool shown = CommSettings::readBool(CommSettings::extraValue(QStringLiteral("Trend/Shown")), true);
    menuItem(QStringLiteral("mnuOptionsTrend"))->setChecked(shown);
    fraTrend->setVisible(shown);
    fraTrend->setSpanMinutes(CommSettings::extraValue(QStringLiteral("Trend/Minutes"), QStringLiteral("5")).toInt());
    connect(fraTrend, &WidgetTrend::spanChanged, this, [](int minutes) {
        CommSettings::setExtraValue(QStringLiteral("Trend/Minutes"), QString::number(minutes));
    });
    const QString broker = CommSettings::extraValue(QStringLiteral("Mqtt/Broker"));
    if (!broker.isEmpty())
        setMqttBroker(broker, CommSettings::extraValue(QStringLiteral("Mqtt/CaFile")),
                      CommSettings::extraValue(QStringLiteral("Mqtt/CertFile")),
                      CommSettings::extraValue(QStringLiteral("Mqtt/KeyFile")));
}

void frmTerminal::mnuOptionsTrend_Click()
{
    const bool shown = menuItem(QStringLiteral("mnuOptionsTrend"))->isChecked();
    fraTrend->setVisible(shown);
    if (shown)
        fraTrend->pointAdded();
    CommSettings::setExtraValue(QStringLiteral("Trend/Shown"), CommSettings::boolText(shown));
}

void frmTerminal::mnuOptionsMqtt_Click()
{
    const auto key = [](const char *name) { return QStringLiteral("Mqtt/") + QLatin1String(name); };
    QString url;
    if (!m_prompter->inputBox(QStringLiteral("MQTT broker for the readings, as mqtt[s]://[USER[:PASSWORD]@]HOST[:PORT]/TOPIC "
                                             "(empty: publish nothing):"),
                              QStringLiteral("System Monitor"), CommSettings::extraValue(key("Broker")), &url))
        return;
    url = url.trimmed();
    // An encrypted broker: its CA (none chosen: the system's), then a client
    // certificate and its key if the broker asks for one.
    QString ca, cert, keyFile;
    if (url.startsWith(QLatin1String("mqtts://"))) {
        const QString pem = QStringLiteral("Certificates (*.pem *.crt *.key);;All files (*)");
        ca = m_prompter->openFileName(QStringLiteral("CA certificate of the broker (Cancel: the system's)"),
                                      CommSettings::extraValue(key("CaFile")), pem);
        cert = m_prompter->openFileName(QStringLiteral("Client certificate (Cancel: none)"),
                                        CommSettings::extraValue(key("CertFile")), pem);
        if (!cert.isEmpty())
            keyFile = m_prompter->openFileName(QStringLiteral("Key of the client certificate"),
                                               CommSettings::extraValue(key("KeyFile")), pem);
    }
    if (!setMqttBroker(url, ca, cert, keyFile))
        return;
    CommSettings::setExtraValue(key("Broker"), url);
    CommSettings::setExtraValue(key("CaFile"), ca);
    CommSettings::setExtraValue(key("CertFile"), cert);
    CommSettings::setExtraValue(key("KeyFile"), keyFile);
}

bool frmTerminal::setMqttBroker(const QString &url, const QString &caFile, const QString &certFile,
                                const QString &keyFile)
{
    MqttPublisher::Address a;
    QString error;
    if (!url.isEmpty()
        && (!MqttPublisher::parseUrl(url, &a, &error)
            || !MqttPublisher::setTlsFiles(&a, caFile, certFile, keyFile, &error))) {
        m_prompter->message(QStringLiteral("Not a broker address: ") + url + QStringLiteral("\r") + error);
        return false;
    }
    m_mqtt.reset();
    if (!url.isEmpty()) {
        // Long runs keep what waits for the broker on disk, for the next start too.
        m_mqtt = std::make_unique<MqttPublisher>(m_prompter);
        m_mqtt->setSpoolFile(MqttPublisher::spoolPath(a));
        m_mqtt->start(a, portName());
    }
    return true;
}
