#include "lineevents.h"

#include "link/serialport.h"

const QString LineEvents::QuestionTitle = QStringLiteral("Click Cancel to quit, OK to ignore.");

LineEvents::Kind LineEvents::kind(int code, QString *text)
{
    QString t;
    Kind k = Error;
    switch (code) {
    case CommEvent::Send:
    case CommEvent::Receive: k = Traffic; break;
    case CommEvent::CTS: k = LineChange; t = QStringLiteral("Change in CTS Detected"); break;
    case CommEvent::DSR: k = LineChange; t = QStringLiteral("Change in DSR Detected"); break;
    case CommEvent::CD: k = LineChange; t = QStringLiteral("Change in CD Detected"); break;
    case CommEvent::EndOfFile: k = LineChange; t = QStringLiteral("End of File Detected"); break;
    case CommEvent::Break:
    case CommEvent::Frame: k = Ignored; break;
    case CommEvent::CTSTimeout: t = QStringLiteral("CTS Timeout"); break;
    case CommEvent::DSRTimeout: t = QStringLiteral("DSR Timeout"); break;
    case CommEvent::Overrun: t = QStringLiteral("Overrun Error"); break;
    case CommEvent::CDTimeout: t = QStringLiteral("Carrier Detect Timeout"); break;
    case CommEvent::RxOver: t = QStringLiteral("Receive Buffer Overflow"); break;
    case CommEvent::RxParity: t = QStringLiteral("Parity Error"); break;
    case CommEvent::TxFull: t = QStringLiteral("Transmit Buffer Full"); break;
    case CommEvent::DCB: t = QStringLiteral("Error retrieving DCB"); break;
    default: t = QStringLiteral("Unknown error or event"); break;
    }
    if (text)
        *text = t;
    return k;
}

LineEvents::Action LineEvents::OnComm(int code)
{
    QString text;
    const Kind k = kind(code, &text);
    if (k == LineChange)
        LineEventText = text;
    else if (k == Error)
        LineErrorText = text;
    if (!LineEventText.isEmpty())
        return ShowEvent;
    if (!LineErrorText.isEmpty())
        return AskError;
    return None;
}

QString LineEvents::statusText(Action action) const
{
    switch (action) {
    case ShowEvent: return QStringLiteral("Status: ") + LineEventText;
    case AskError: return QStringLiteral("Status: ") + LineErrorText;
    case None: break;
    }
    return QString();
}

void LineEvents::clear()
{
    LineEventText.clear();
    LineErrorText.clear();
}
