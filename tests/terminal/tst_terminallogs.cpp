// The communication and data logs: the lines they write, replacing or
// extending an existing file, and the open dialog's replace question. The
// traffic in the communication log is checked in tst_frmterminal, files that
// cannot be written end to end in tst_faults_e2e.
#include "support/filebytes.h"
#include "support/scriptedprompter.h"
#include "terminal/terminallogs.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const QDateTime kWhen(QDate(2024, 5, 1), QTime(14, 3, 7, 125));
} // namespace

class TestTerminalLogs : public QObject
{
    Q_OBJECT
private slots:
    void logLinesStayOneLineAndQuoteTexts()
    {
        QCOMPARE(CommLog::line(kWhen, QStringLiteral("RX"), QStringLiteral("03\r\x7F")),
                 QStringLiteral("2024-05-01 14:03:07.125  RX  03<0D><7F>"));
        // Numbers bare; the blanks of a failed read and a padded unit trimmed.
        const QString when = QStringLiteral("\"2024-05-01 14:03:07\",");
        QCOMPARE(DataLog::line(kWhen, QStringLiteral("1.2345"), QStringLiteral("LTR/Min")), when + "1.2345,\"LTR/Min\"");
        QCOMPARE(DataLog::line(kWhen, QString(12, QLatin1Char(' ')), QStringLiteral("GAL    ")), when + "\"\",\"GAL\"");
        QCOMPARE(DataLog::line(kWhen, QStringLiteral("100"), QStringLiteral("U\"D")), when + "100,\"U\"\"D\"");
    }

    void dataLogReplacesOrExtends()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("My_ALog1.log"));
        const QByteArray header = "\"Date Time\",\"Flow\",\"Unit\"\r\n";
        const QByteArray old = header + "\"2024-04-30 10:00:00\",1,\"LTR\"";
        QVERIFY(writeFileBytes(path, old));
        const QByteArray record = "\"2024-05-01 14:03:07\",2.5,\"LTR/Sec\"\r\n";
        for (const bool append : {true, false}) {
            DataLog log;
            QString error;
            QVERIFY(log.open(path, append, &error));
            QVERIFY(log.record(kWhen, QStringLiteral("2.5"), QStringLiteral("LTR/Sec")));
            QCOMPARE(log.linesWritten(), 1);
            QVERIFY(log.close(&error));
            QVERIFY(!log.record(kWhen, QStringLiteral("2.5"), QStringLiteral("LTR/Sec"))); // closed
            // Extended: the old lines stay, the last gets its line end, no second header.
            QCOMPARE(fileBytes(path), (append ? old + "\r\n" : header) + record);
        }
    }

    void openDialogOffersReplacement()
    {
        QTemporaryDir dir;
        const QString existing = dir.filePath(QStringLiteral("old.tlg"));
        QVERIFY(writeFileBytes(existing, {}));
        const QString title = QStringLiteral("Open Communications Log File"), filter = QStringLiteral("*.tlg");
        QString path;
        bool append = true;
        ScriptedPrompter p;
        QVERIFY(!chooseLogFile(p, title, filter, QStringLiteral("/x"), &path, &append)); // cancelled
        p.fileNames = {dir.filePath(QStringLiteral("new.tlg")), existing, existing};
        p.answers = {true, false};
        // A new file: no question; Yes replaces; No keeps and extends.
        for (const bool expected : {false, false, true}) {
            QVERIFY(chooseLogFile(p, title, filter, QStringLiteral("/x"), &path, &append));
            QCOMPARE(append, expected);
        }
        QCOMPARE(path, existing);
        const QString question = "Replace existing file - " + existing + "?";
        QCOMPARE(p.texts(QStringLiteral("yesno")), QStringList({question, question}));
    }
};

QTEST_GUILESS_MAIN(TestTerminalLogs)
#include "tst_terminallogs.moc"
