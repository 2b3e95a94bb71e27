#pragma once
// The line settings text every port takes: "9600,n,8,1" (baud, parity
// letter n/e/o/m/s, data bits 5-8, stop bits 1, 1.5 or 2).
#include <QChar>
#include <QString>

struct LineSettings {
    int baud = 9600;
    QChar parity = QLatin1Char('n');
    int dataBits = 8;
    QString stopBits = QStringLiteral("1");
};

// False (with a reason) for a text a port cannot take.
bool parseLineSettings(const QString &text, LineSettings *out, QString *error);
