#pragma once
// Devices window: the transmitters of a site file in a table, with the result
// of the last sweep of each; Sweep and Restore run the same sweep as
// quorin-cli (each transmitter in its own process); a double click hands a
// transmitter to the main window.
#include "files/sitefile.h"
#include "files/sitesweep.h"

#include <QDialog>

class Prompter;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableWidget;

class frmDevices : public QDialog
{
    Q_OBJECT
public:
    // `program` is the quorin-cli that sweeps each transmitter.
    frmDevices(Prompter &prompter, const QString &program, QWidget *parent = nullptr);

    // Reads the site file and the last sweep's summary beside it; a refused
    // file is reported, and false.
    bool openSite(const QString &sitePath);
    // The sweep's folder: "NAME-sweep" beside the site file NAME.csv.
    QString outDir() const;

    void cmdSweep_Click();
    void cmdRestore_Click();
    // Stops the running sweep or restore as Ctrl+C stops the command's.
    void cmdStop_Click();
    void setJobs(int jobs) { m_jobs = jobs; }
    void setDeviceTimeout(int msecs) { m_timeoutMs = msecs; }
    // The quorin-cli beside this program, or the one $QUORIN_CLI names.
    static QString cliProgram();
    // Not while a sweep runs: its children are still at work.
    void reject() override;

signals:
    void openDevice(const SiteDevice &device);

private:
    void runSweep(bool restore);
    void showResults();

    Prompter &m_prompter;
    QString m_program;
    QString m_sitePath;
    QList<SiteDevice> m_devices;
    QList<SweepResult> m_results;   // by row; Waiting when never swept
    int m_jobs = 8;
    int m_timeoutMs = 300000;
    bool m_running = false;
    SiteSweep *m_sweep = nullptr;   // while one runs
    QTableWidget *grdDevices;
    QPushButton *cmdSweep;
    QPushButton *cmdRestore;
    QPushButton *cmdStop;
    QPushButton *cmdClose;
    QProgressBar *ProgBar1;
    QLabel *lblStatus;
};
