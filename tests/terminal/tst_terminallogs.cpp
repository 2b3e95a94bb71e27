// The communication and data logs: the lines they write, replacing or
// extending an existing file, and the open dialog's replace question.
#include "support/scriptedprompter.h"
#include "terminal/terminallogs.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {
QByteArray contents(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

const QDateTime kWhen(QDate(2024, 5, 1), QTime(14, 3, 7, 125));
} // namespace

class TestTerminalLogs : public QObject
{
    Q_OBJECT
private slots:
    void commLogWritesEveryFrameAndReply();
    void dataLogRecords_data();
    void dataLogRecords();
    void dataLogReplacesOrExtends();
    void unwritableFileIsReported();
    void openDialogOffersReplacement();
};

void TestTerminalLogs::commLogWritesEveryFrameAndReply()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("My_TLog1.tlg"));
    CommLog log;
    QString error;
    QVERIFY2(log.open(path, false, &error), qPrintable(error));
    QVERIFY(log.frameSent(QStringLiteral("R5202:01014F00"), kWhen));
    QVERIFY(log.replyReceived(QStringLiteral("03\r"), kWhen.addMSecs(40)));
    QCOMPARE(log.linesWritten(), 2);
    QVERIFY(log.close(&error));
    QVERIFY(!log.isOpen());
    QCOMPARE(contents(path), QByteArray("2024-05-01 14:03:07.125  TX  R5202:01014F00\r\n"
                                       "2024-05-01 14:03:07.165  RX  03<0D>\r\n"));
    // Nothing is written once the log is closed.
    QVERIFY(!log.frameSent(QStringLiteral("R5202:01014F00"), kWhen));
}

void TestTerminalLogs::dataLogRecords_data()
{
    QTest::addColumn<QString>("flow");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("line");
    QTest::newRow("number bare") << "1.2345" << "LTR/Min" << "\"2024-05-01 14:03:07\",1.2345,\"LTR/Min\"";
    QTest::newRow("failed read") << QString(12, QLatin1Char(' ')) << "LTR/Min" << "\"2024-05-01 14:03:07\",\"\",\"LTR/Min\"";
    QTest::newRow("no point code") << "" << "GAL    " << "\"2024-05-01 14:03:07\",\"\",\"GAL\"";
    QTest::newRow("quote in unit") << "100" << "U\"D" << "\"2024-05-01 14:03:07\",100,\"U\"\"D\"";
}

void TestTerminalLogs::dataLogRecords()
{
    QFETCH(QString, flow);
    QFETCH(QString, unit);
    QFETCH(QString, line);
    QCOMPARE(DataLog::line(kWhen, flow, unit), line);
}

void TestTerminalLogs::dataLogReplacesOrExtends()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("My_ALog1.log"));
    const QByteArray old = "\"Date Time\",\"Flow\",\"Unit\"\r\n\"2024-04-30 10:00:00\",1,\"LTR\"";
    QVERIFY(writeFile(path, old));
    const QByteArray record = "\"2024-05-01 14:03:07\",2.5,\"LTR/Sec\"\r\n";

    DataLog log;
    QString error;
    QVERIFY(log.open(path, true, &error));
    QVERIFY(log.record(kWhen, QStringLiteral("2.5"), QStringLiteral("LTR/Sec")));
    QVERIFY(log.close(&error));
    // Extended: the old lines stay, the last one gets its line end, no second header.
    QCOMPARE(contents(path), old + "\r\n" + record);

    QVERIFY(log.open(path, false, &error));
    QVERIFY(log.record(kWhen, QStringLiteral("2.5"), QStringLiteral("LTR/Sec")));
    QVERIFY(log.close(&error));
    QCOMPARE(contents(path), QByteArray("\"Date Time\",\"Flow\",\"Unit\"\r\n") + record);
}

void TestTerminalLogs::unwritableFileIsReported()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("no/such/folder/x.log"));
    DataLog log;
    QString error;
    QVERIFY(!log.open(path, false, &error));
    QVERIFY(error.startsWith(path));
    QVERIFY(!log.isOpen());
}

void TestTerminalLogs::openDialogOffersReplacement()
{
    QTemporaryDir dir;
    const QString existing = dir.filePath(QStringLiteral("old.tlg"));
    QVERIFY(writeFile(existing, "x"));
    const QString filter = QStringLiteral("Log Files (*.TLG)|*.tlg|All Files (*.*)|*.*");
    QString path;
    bool append = true;

    ScriptedPrompter p;
    QVERIFY(!chooseLogFile(p, QStringLiteral("Open Communications Log File"), filter, QStringLiteral("/x"), &path, &append));
    QCOMPARE(p.texts(QStringLiteral("yesno")).size(), 0);

    p.fileNames = {dir.filePath(QStringLiteral("new.tlg")), existing, existing};
    p.answers = {true, false};
    QVERIFY(chooseLogFile(p, QStringLiteral("Open Communications Log File"), filter, QStringLiteral("/x"), &path, &append));
    QVERIFY(!append); // a new file: no question
    QVERIFY(chooseLogFile(p, QStringLiteral("Open Communications Log File"), filter, QStringLiteral("/x"), &path, &append));
    QVERIFY(!append); // Yes replaces
    QVERIFY(chooseLogFile(p, QStringLiteral("Open Communications Log File"), filter, QStringLiteral("/x"), &path, &append));
    QVERIFY(append); // No keeps and extends
    QCOMPARE(path, existing);
    QCOMPARE(p.texts(QStringLiteral("yesno")),
             QStringList({"Replace existing file - " + existing + "?", "Replace existing file - " + existing + "?"}));
}

QTEST_GUILESS_MAIN(TestTerminalLogs)
#include "tst_terminallogs.moc"
