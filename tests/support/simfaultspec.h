#pragma once
// Faults for the in-process simulator, spelt as quorin-sim's --fault takes
// them ("noanswer", "hangup:1", "corrupt"), so tests and people name the same one.
#include "sim/simfaults.h"

#include <QtGlobal>

inline SimFaults simFaults(const QString &spec)
{
    SimFaults f;
    QString error;
    if (!SimFaults::parse(spec, &f, &error))
        qFatal("%s", qPrintable(error));
    return f;
}
