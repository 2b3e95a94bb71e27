#include "livedisplay.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "session/configreadout.h"
#include "link/devicelink.h"
#include "session/terminalstate.h"

namespace {
// A read that failed because the port went away was reported by the link
// already; the poll's own messages would only repeat it.
class QuietWhenClosed : public Prompter
{
public:
    QuietWhenClosed(Prompter *inner, DeviceLink &link) : m_inner(inner), m_link(link)
    {
        // A port that is open again (a reconnect while the loss was on
        // screen) is still not the line this poll was talking to.
        m_watch = QObject::connect(&link, &DeviceLink::portStateChanged, [this](bool open) {
            if (!open)
                m_lost = true;
        });
    }
    ~QuietWhenClosed() override { QObject::disconnect(m_watch); }
    bool lost() const { return m_lost || !m_link.PortOpen(); }
    void message(const QString &text, const QString &title, Icon icon) override
    {
        if (m_inner && !lost())
            m_inner->message(text, title, icon);
    }
    bool askYesNo(const QString &text, const QString &title, Icon icon) override
    {
        return m_inner && m_inner->askYesNo(text, title, icon);
    }
    bool askOkCancel(const QString &text, const QString &title, Icon icon) override
    {
        return m_inner && m_inner->askOkCancel(text, title, icon);
    }
    bool inputBox(const QString &prompt, const QString &title, const QString &defaultText, QString *answer) override
    {
        return m_inner && m_inner->inputBox(prompt, title, defaultText, answer);
    }
    QString openFileName(const QString &title, const QString &proposed, const QString &filter) override
    {
        return m_inner ? m_inner->openFileName(title, proposed, filter) : QString();
    }
    QString saveFileName(const QString &title, const QString &proposed, const QString &filter) override
    {
        return m_inner ? m_inner->saveFileName(title, proposed, filter) : QString();
    }
    void beep() override
    {
        if (m_inner)
            m_inner->beep();
    }

private:
    Prompter *m_inner;
    DeviceLink &m_link;
    QMetaObject::Connection m_watch;
    bool m_lost = false;
};
} // namespace

const QString LiveDisplay::Blanks = QString(12, QLatin1Char(' '));
const QString LiveDisplay::FlowFailure = QStringLiteral("Communication ERROR. Can not get\r device F.S. Flow!");

LiveDisplay::Digits LiveDisplay::digits(const QString &block)
{
    auto at = [&block](int pos1) { return int(numtext::hexValueForcePositive(block.mid(pos1 - 1, 1))); };
    Digits d;
    d.a = at(2);
    d.b = at(4);
    d.c = at(12);
    d.d = at(18);
    d.e = at(20);
    return d;
}

QString LiveDisplay::flowText(int code, const Digits &d)
{
    const QString e = QString::number(d.e), dd = QString::number(d.d), c = QString::number(d.c),
                  b = QString::number(d.b), a = QString::number(d.a);
    const QString point = QStringLiteral(".");
    switch (code) {
    case 0: return e + point + dd + c + b + a;
    case 1: return e + dd + point + c + b + a;
    case 2: return e + dd + c + point + b + a;
    case 3: return e + dd + c + b + point + a;
    case 4: return e + dd + c + b + a;
    case 5: return e + dd + c + b + a + QStringLiteral("0");
    case 6: return e + dd + c + b + a + QStringLiteral("00");
    case 7: return e + dd + c + b + a + QStringLiteral("000");
    default: return QString();
    }
}

QString LiveDisplay::unitShown(const TerminalState &state)
{
    return state.CellValue.contains(QStringLiteral("0104")) ? state.unitText() : TerminalState::unitName(state.EngUnit);
}

bool LiveDisplay::readFlow()
{
    QuietWhenClosed quiet(m_prompter, m_link);
    return readFlow(quiet);
}

bool LiveDisplay::readFlow(Prompter &quiet)
{
    const QString code = m_link.ReadMemory(QStringLiteral("014F"), QStringLiteral("01"));
    const QString block = code.isEmpty() ? QString() : m_link.ReadMemory(QStringLiteral("012A"), QStringLiteral("0A"));
    if (code.isEmpty() || block.isEmpty()) {
        quiet.message(FlowFailure, QStringLiteral("System Monitor"), Prompter::Information);
        m_state.FlowText = Blanks;
        return false;
    }
    m_state.FlowText = flowText(numtext::hexValueForcePositive(code.left(2)), digits(block));
    return true;
}

LiveDisplay::Result LiveDisplay::tick()
{
    Result r;
    QuietWhenClosed quiet(m_prompter, m_link);
    r.flowOk = readFlow(quiet);
    if (r.flowOk)
        r.flow = m_state.FlowText.trimmed();
    ConfigReadout readout(m_link, m_state, &quiet);
    if (quiet.lost()) {
        r.stopped = true;
        return r;
    }
    r.unitOk = readout.readEngUnit();
    if (r.unitOk)
        r.unit = unitShown(m_state).trimmed();
    if (quiet.lost()) {
        r.stopped = true;
        return r;
    }
    r.totalOk = readout.readTotal();
    if (r.totalOk)
        r.total = m_state.TotalText;
    if (r.totalOk && r.unitOk)
        r.totalUnit = m_state.totalUnitText().trimmed();
    r.stopped = quiet.lost();
    return r;
}
