#pragma once
// The serial line's own events (modem-line changes, communication errors)
// turned into status texts. The two texts are kept from one event to the
// next: once a line change was seen, every later event shows it again; once
// an error was seen (and no line change), every later event asks about it
// again. Only opening the port starts them afresh (clear()).
#include <QString>

class LineEvents
{
public:
    QString LineEventText;  // the last line-state change
    QString LineErrorText;  // the last communication error

    enum Action {
        None,       // nothing to show
        ShowEvent,  // "Status: " + LineEventText, start Timer2
        AskError,   // "Status: " + LineErrorText, beep, OK/Cancel question, start Timer2
    };

    // Applies the event table to the two texts and says what to show.
    Action OnComm(int code);
    // The status panel text for an action other than None.
    QString statusText(Action action) const;
    void clear();

    // Title of the OK/Cancel question; its text is LineErrorText.
    static const QString QuestionTitle;

    // The table alone: which text an event code sets. Send and receive set
    // nothing; break and framing errors are ignored; unknown codes, ring
    // included, are errors.
    enum Kind { Traffic, Ignored, LineChange, Error };
    static Kind kind(int code, QString *text);
};
