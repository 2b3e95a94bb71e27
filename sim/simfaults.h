#pragma once
// Faults the simulated transmitter can be told to show, so that the terminal's
// time-outs, verification failures, reply reassembly and hang-up handling can
// be tried without a broken device at hand.
#include <QString>
#include <QtGlobal>

struct SimFaults
{
    bool noAnswer = false;       // frames are taken in (writes stored), nothing is sent back
    int lateMs = 0;              // every reply leaves this much later than it would
    bool corruptReadback = false; // a read right after a write, at its address, answers one digit off
    bool splitReplies = false;   // replies leave in random pieces
    int hangupAfterFrames = 0;   // the line drops when this many frames came in, the last one
                                 // unanswered (0: never); counted afresh after a reopen
    int lostReply = 0;           // the reply to this frame (from 1 on each line) is lost
    int muteAfterFrames = 0;     // the line stays up but nothing is answered after this many
                                 // frames (0: never): a device that went quiet mid-session
    quint32 splitSeed = 1;       // the pieces are reproducible from this seed
    bool greeting = false;       // a device server's greeting on every connection
    bool noise = false;          // text with a ":" in it before every reply
    int trickleMs = 0;           // replies leave one byte at a time, this far apart
    bool openSubneg = false;     // on connect: agrees to the com-port option, then starts a
                                 // telnet subnegotiation it never ends
    bool flood = false;          // --listen: on connect, bytes without a ":" as fast as they go
    int longTailMs = 0;          // replies one data byte longer than asked for, their last two
                                 // digits this many ms after the rest (0: off)
    bool lateGreeting = false;   // a greeting with a ":" in it right after the first frame, just
                                 // ahead of its reply
    bool echo = false;           // the line sends every frame back as it came, ahead of the reply
                                 // (a two-wire adapter that hears itself)

    bool any() const
    {
        return noAnswer || lateMs > 0 || corruptReadback || splitReplies || hangupAfterFrames > 0 || muteAfterFrames > 0 || lostReply > 0 || greeting || noise
            || trickleMs > 0 || openSubneg || flood || longTailMs > 0 || lateGreeting || echo;
    }

    // Reads "none", "noanswer", "late:4000", "corrupt", "split" (or "split:SEED"),
    // "hangup:5", "mute:5", "greet", "noise", "trickle:40", "opensb", "flood", "long" (or "long:MS"),
    // "lategreet", "echo", several joined by commas. Case and blanks around the items do
    // not matter. On a bad text returns false, leaves *out alone and says why.
    static bool parse(const QString &text, SimFaults *out, QString *error);
    // The same text form; "none" when nothing is set.
    QString toString() const;
    // The text a greeting fault sends, and what noise puts before a reply.
    static const QByteArray GreetingText;
    static const QByteArray NoiseText;
    static const QByteArray LateGreetingText;
};
