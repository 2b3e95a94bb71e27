#pragma once
// Shared pieces of the fuzz targets: a Qt application for the objects that
// need one, a prompter that only counts, splitting an input into the pieces
// a serial line would deliver, and a check that stops the run on a broken
// invariant (libFuzzer then keeps the input as a crash).
#include "common/prompter.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QList>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

// Objects with timers need an application object on the main thread.
inline void ensureApp()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QCoreApplication(argc, argv);
}

class CountingPrompter : public Prompter
{
public:
    void message(const QString &, const QString &, Icon) override { ++messages; }
    bool askYesNo(const QString &, const QString &, Icon) override { ++questions; return false; }
    bool askOkCancel(const QString &, const QString &, Icon) override { ++questions; return false; }
    bool inputBox(const QString &, const QString &, const QString &, QString *) override { ++questions; return false; }
    QString openFileName(const QString &, const QString &, const QString &) override { return {}; }
    QString saveFileName(const QString &, const QString &, const QString &) override { return {}; }
    void beep() override {}
    int messages = 0;
    int questions = 0;
};

// The pieces of an input separated by 0xFF bytes (a byte the device never
// sends), so that a seed can say where the line splits a reply.
inline QList<QByteArray> pieces(const QByteArray &bytes)
{
    return bytes.split('\xFF');
}

} // namespace fuzz

#define FUZZ_CHECK(cond)                                                                   \
    do {                                                                                   \
        if (!(cond)) {                                                                     \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                  \
        }                                                                                  \
    } while (0)
