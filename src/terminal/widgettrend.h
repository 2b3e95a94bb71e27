#pragma once
// The trend chart under the flow display: the flow of the last 1, 5, 15 or 60
// minutes from a TrendBuffer, with the unit on the axis and the time of day
// underneath. Gaps (failed polls, auto update stopped) break the line. Frozen,
// the view stops moving while points are still recorded. Saves the shown
// span as PNG or CSV through the prompter's save dialog.
#include <QWidget>

class Prompter;
class QComboBox;
class QPushButton;
class TrendBuffer;
class TrendPlot;

class WidgetTrend : public QWidget
{
    Q_OBJECT
public:
    WidgetTrend(const TrendBuffer &buffer, Prompter &prompter, QWidget *parent = nullptr);

    static const QList<int> &spans(); // minutes: 1, 5, 15, 60
    void setSpanMinutes(int minutes); // the nearest offered span
    int spanMinutes() const;
    void setUnit(const QString &unit);
    QString unit() const { return m_unit; }
    void setFolder(const QString &folder) { m_folder = folder; }
    bool frozen() const;
    void setFrozen(bool on);

    // A point was added: the view moves on to it unless frozen.
    void pointAdded();
    // The span in view, ms since the epoch.
    qint64 viewEnd() const { return m_end; }
    qint64 viewStart() const { return m_end - qint64(spanMinutes()) * 60000; }

    // Write the shown span; false with *error set when the file is not written.
    bool savePng(const QString &path, QString *error) const;
    bool saveCsv(const QString &path, QString *error) const;
    void cmdTrendPng_Click();
    void cmdTrendCsv_Click();

signals:
    void spanChanged(int minutes);

private:
    friend class TrendPlot;
    void saveAs(bool png);

    const TrendBuffer &m_buffer;
    Prompter &m_prompter;
    QComboBox *cboTrendSpan = nullptr;
    QPushButton *cmdTrendFreeze = nullptr;
    QPushButton *cmdTrendPng = nullptr;
    QPushButton *cmdTrendCsv = nullptr;
    TrendPlot *picTrend = nullptr;
    QString m_unit;
    QString m_folder;
    qint64 m_end = 0;
};
