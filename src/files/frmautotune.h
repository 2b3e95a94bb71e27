#pragma once
// Flow chart viewer: shows a flow memory log as a line chart, either the
// samples just read from the device or an .mlg file, and saves the chart as
// a picture or the samples as comma-separated values.
#include "mlgfile.h"

#include <QDialog>

class FlowChartView;
class QLabel;
class QPushButton;
class TerminalHost;

class frmAutoTune : public QDialog
{
    Q_OBJECT
public:
    frmAutoTune(TerminalHost &host, QWidget *parent = nullptr);

    void cmdOpen_Click();
    void cmdSavePicture_Click();
    void cmdSaveCsv_Click();
    bool openFile(const QString &path);

    FlowChartView *chartView() const { return m_view; }
    const MlgData &data() const { return m_data; }
    QString headerText() const;
    static QByteArray csvBytes(const MlgData &data);

private:
    void showSamples(const MlgData &data, const QString &source);
    QString proposedName(const QString &extension) const;

    TerminalHost &m_host;
    MlgData m_data;
    QString m_file;
    FlowChartView *m_view;
    QLabel *lblSource;
    QLabel *lblFullScale;
    QLabel *lblScaling;
    QLabel *lblDensity;
    QLabel *lblPoints;
    QPushButton *cmdSavePicture;
    QPushButton *cmdSaveCsv;
};
