#pragma once
// Sweeps a site: every transmitter in its own quorin-cli process, at most
// `jobs` at a time, so a hung line or a misbehaving device server stalls or
// takes down only its own child. This object only schedules, collects the one
// JSON line each child prints, and keeps the results; no device logic runs
// here. The wait is a nested event loop, so a window stays live.
#include "files/sitefile.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QObject>

class QProcess;
class QTimer;

struct SweepResult {
    enum State { Waiting, Running, Done, Stopped };
    SiteDevice device;
    State state = Waiting;
    bool reached = false;
    QString reason;            // why not reached, what was not done, or why the restore failed
    int differences = -1;      // -1: not compared (no golden table, or not reached)
    QString flow, unit, total, totalUnit; // empty when not read
    QString link;              // "frames 40, replies 40, time-outs 0, lost 0, discarded 0"
    double seconds = 0;
    QDateTime finished;
    QStringList restoreLines;  // the rows the restore would write or wrote
    bool restoreFailed = false;
    QJsonObject json;          // the child's line, with the parent's fields added

    // Reached, and the same as its golden table (or none given), and a restore
    // that was asked for went through.
    // A reached transmitter whose table, report, flow or total is missing
    // has its reason set, and is not good either.
    bool good() const { return state == Done && reached && reason.isEmpty() && differences <= 0 && !restoreFailed; }
};

class SiteSweep : public QObject
{
    Q_OBJECT
public:
    struct Options {
        QString program;           // quorin-cli
        QString outDir;
        int jobs = 8;
        int deviceTimeoutMs = 300000;
        bool report = false;
        bool restore = false;      // list the rows that differ; with yes, write them
        bool yes = false;
        int stopGraceMs = 10000;   // a writing child asked to stop is ended after this
    };
    SiteSweep(const QList<SiteDevice> &devices, const Options &options, QObject *parent = nullptr);
    ~SiteSweep() override;

    // Runs until every transmitter is done or stop() was called.
    void run();
    // Ends the running children; unfinished transmitters are marked stopped.
    // A child writing rows is asked to stop between two rows and ended only
    // when it has not within the options' grace time.
    void stop();
    bool isStopping() const { return m_stopping; }

    const QList<SweepResult> &results() const { return m_results; }
    int finishedCount() const;
    // 0 when every transmitter was reached and none differs, else 1.
    int exitCode() const;

    // "NAME  PORT  reached, 2 rows differ, flow 12.5 l/s, total 1234 l, 3.1 s"
    static QString resultLine(const SweepResult &r);
    static QString summaryLine(const QList<SweepResult> &results);
    // DIR/summary.csv: one row per transmitter, CR LF; read back by the
    // Devices window.
    static QByteArray summaryCsv(const QList<SweepResult> &results);
    static bool readSummary(const QString &path, QList<SweepResult> *results, QString *error);
    // The output file of a transmitter, inside outDir.
    static QString outputPath(const QString &outDir, const QString &name, const QString &suffix);
    // Before any device is touched: no output of the sweep (every NAME.epr,
    // NAME.pdf with report, summary.csv) may be an input (a golden table, the
    // site file), compared by canonical path, nor a symbolic link. One line
    // per refusal; empty when the sweep may write.
    static QStringList checkOutputs(const QString &sitePath, const QList<SiteDevice> &devices,
                                    const QString &outDir, bool report);

signals:
    void deviceStarted(int index);
    void deviceFinished(int index);

private:
    enum Step { ImportStep, SweepStep };
    void startNext();
    void startStep(int index, Step step);
    void onFinished(int index, Step step, int exitCode, bool crashed);
    void finish(int index);

    QList<SweepResult> m_results;
    Options m_options;
    QList<QProcess *> m_processes;  // per transmitter, while running
    QList<QTimer *> m_timers;
    QList<qint64> m_startMs;
    int m_next = 0;
    int m_running = 0;
    bool m_stopping = false;
    class QEventLoop *m_loop = nullptr;
};
