// The main window's terminal pane (txtTerm): what the device sends, what the
// operator types, the local echo; and the set point prompt, a plain text
// command typed for the operator.
#include "frmterminal.h"
#include "frmterminal_p.h"

#include "common/numtext.h"
#include "common/prompter.h"
#include "link/devicelink.h"
#include "session/operationgate.h"
#include "session/terminalsession.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTextCursor>
#include <QTextDocument>

using frmterminal::kSystemMonitor;

void frmTerminal::mnuCommandsFlow_Click()
{
    // The set point travels as a plain text command, "SD=" value "%", and is
    // not a memory frame: the link sends it without a frame end.
    QString answer;
    if (!m_prompter->inputBox(QStringLiteral("Enter New Value of Set Point"),
                              QStringLiteral("Recieve Global Set Point"), QString(), &answer))
        return;
    bool ok = false;
    const double value = answer.trimmed().toDouble(&ok);
    if (!ok || value < 0 || value > 100) {
        m_prompter->message(QStringLiteral("The value of the parameter is out of\r permissible range [0-100] Try again!"),
                            kSystemMonitor, Prompter::Information);
        return;
    }
    m_link->SendText(QStringLiteral("SD=") + numtext::doubleToText(value) + QStringLiteral("%"));
}

void frmTerminal::appendTerminal(const QString &text)
{
    QString t = text;
    t.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QTextCursor c = txtTerm->textCursor();
    c.movePosition(QTextCursor::End);
    c.insertText(t);
    txtTerm->setTextCursor(c);
    m_termInputStart = txtTerm->document()->characterCount() - 1;
}

void frmTerminal::sendTerminalLine()
{
    const int end = txtTerm->document()->characterCount() - 1;
    QTextCursor c = txtTerm->textCursor();
    c.setPosition(qMin(m_termInputStart, end));
    c.setPosition(end, QTextCursor::KeepAnchor);
    const QString line = c.selectedText().trimmed();
    if (m_echo) {
        c.clearSelection();
        c.movePosition(QTextCursor::End);
        c.insertText(QStringLiteral("\n"));
    } else {
        // Without local echo the pane shows only what the device sends back.
        c.removeSelectedText();
    }
    txtTerm->setTextCursor(c);
    m_termInputStart = txtTerm->document()->characterCount() - 1;
    if (line.isEmpty())
        return;
    // A write frame typed here changes the device like any other write:
    // it takes the write path, journaled as the terminal's and not verified.
    QString address, count, data;
    if (m_link->parseWriteFrame(line, &address, &count, &data)) {
        const OperationGate::Hold hold = m_session->gate().begin(QStringLiteral("terminal write"));
        if (!hold)
            return;
        const auto source = m_session->journalSource;
        m_session->journalSource = [] { return QStringLiteral("terminal"); };
        m_link->WriteMemory(address, count, data);
        m_session->journalSource = source;
        // The protocol does not say what the device took: in the
        // configuration area it is read, and the windows show that.
        const int first = address.toInt(nullptr, 16);
        if (first < 0x200) {
            const QString held = m_link->ReadMemory(address, count);
            if (!held.isEmpty()) {
                m_state->takeWrite(first, held);
                refreshStatusBar();
            }
        }
        return;
    }
    m_link->Transact(line);
}

bool frmTerminal::eventFilter(QObject *watched, QEvent *event)
{
    if ((watched == imgConnected || watched == imgNotConnected) && event->type() == QEvent::MouseButtonRelease) {
        if (!m_locked)
            mnuOpen_Click();
        return true;
    }
    if ((watched == lblMDRe || watched == Label7) && event->type() == QEvent::Resize)
        fitDisplay();
    if (watched == txtTerm && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            sendTerminalLine();
            return true;
        }
        QTextCursor c = txtTerm->textCursor();
        // What came from the device is not edited; typing goes to the end.
        if (c.position() < m_termInputStart || c.anchor() < m_termInputStart) {
            c.movePosition(QTextCursor::End);
            txtTerm->setTextCursor(c);
        }
        if (key->key() == Qt::Key_Backspace && txtTerm->textCursor().position() <= m_termInputStart)
            return true;
        if (!key->text().isEmpty() && key->text().at(0).isPrint()
            && txtTerm->textCursor().position() == m_termInputStart && m_termInputStart > 0
            && txtTerm->document()->characterAt(m_termInputStart - 1) != QChar::ParagraphSeparator) {
            // A new line of input starts on a line of its own.
            appendTerminal(QStringLiteral("\n"));
        }
    }
    return QMainWindow::eventFilter(watched, event);
}
