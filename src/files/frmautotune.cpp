#include "frmautotune.h"

#include "filesave.h"
#include "widgetflowchart.h"
#include "common/prompter.h"
#include "session/terminalhost.h"
#include "session/terminalstate.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QString kMlgFilter = QStringLiteral("Memory Log (*.MLG)|*.mlg|All Files (*.*)|*.*");
}

frmAutoTune::frmAutoTune(TerminalHost &host, QWidget *parent)
    : QDialog(parent), m_host(host), m_view(new FlowChartView(this))
{
    setObjectName(QStringLiteral("frmAutoTune"));
    setWindowTitle(QStringLiteral("Flow Memory Log Chart"));
    m_view->setObjectName(QStringLiteral("chtFlow"));
    m_view->setMinimumSize(640, 360);

    auto label = [this](const char *name) {
        auto *l = new QLabel(this);
        l->setObjectName(QLatin1String(name));
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
        return l;
    };
    lblSource = label("lblSource");
    lblFullScale = label("lblFullScale");
    lblScaling = label("lblScaling");
    lblDensity = label("lblDensity");
    lblPoints = label("lblPoints");
    auto *header = new QGridLayout;
    header->addWidget(lblSource, 0, 0, 1, 4);
    header->addWidget(lblFullScale, 1, 0);
    header->addWidget(lblScaling, 1, 1);
    header->addWidget(lblDensity, 1, 2);
    header->addWidget(lblPoints, 1, 3);

    auto button = [this](const char *name, const QString &text) {
        auto *b = new QPushButton(text, this);
        b->setObjectName(QLatin1String(name));
        b->setAutoDefault(false);
        return b;
    };
    auto *cmdOpen = button("cmdOpen", QStringLiteral("&Open..."));
    cmdSavePicture = button("cmdSavePicture", QStringLiteral("Save &Picture..."));
    cmdSaveCsv = button("cmdSaveCsv", QStringLiteral("Save &CSV..."));
    auto *cmdReset = button("cmdReset", QStringLiteral("&Whole Log"));
    auto *cmdClose = button("cmdClose", QStringLiteral("Close"));
    connect(cmdOpen, &QPushButton::clicked, this, &frmAutoTune::cmdOpen_Click);
    connect(cmdSavePicture, &QPushButton::clicked, this, &frmAutoTune::cmdSavePicture_Click);
    connect(cmdSaveCsv, &QPushButton::clicked, this, &frmAutoTune::cmdSaveCsv_Click);
    connect(cmdReset, &QPushButton::clicked, m_view, &FlowChartView::resetZoom);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *b : {cmdOpen, cmdSavePicture, cmdSaveCsv, cmdReset})
        buttons->addWidget(b);
    buttons->addStretch();
    buttons->addWidget(cmdClose);

    auto *hint = new QLabel(QStringLiteral("Wheel or drag a rectangle to zoom, right-drag to pan, double-click for the whole log."), this);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(m_view, 1);
    layout->addWidget(hint);
    layout->addLayout(buttons);

    // Samples read in this run are shown straight away; otherwise the
    // technician opens a file.
    const TerminalState &s = host.state();
    MlgData fromDevice;
    if (s.FlowPointCount > 0) {
        fromDevice.fullScale = qint32(s.cellValue(QStringLiteral("0105")));
        fromDevice.scaling = qint32(s.cellValue(QStringLiteral("0118")));
        fromDevice.density = s.Density;
        const int n = std::min<int>(s.FlowPointCount, s.FlowArray.size());
        fromDevice.points.reserve(n);
        fromDevice.values.reserve(n);
        for (int i = 0; i < n; ++i) {
            fromDevice.points.append(i + 1);
            fromDevice.values.append(s.FlowArray[i]);
        }
    }
    showSamples(fromDevice, s.FlowPointCount > 0 ? QStringLiteral("Samples read from the device")
                                          : QStringLiteral("No samples: open a memory log file"));
}

QString frmAutoTune::headerText() const
{
    return QStringList{lblSource->text(), lblFullScale->text(), lblScaling->text(), lblDensity->text(),
                       lblPoints->text()}
        .join(QLatin1Char('\n'));
}

void frmAutoTune::showSamples(const MlgData &data, const QString &source)
{
    m_data = data;
    m_view->setSamples(data.points, data.values);
    const bool any = !data.points.isEmpty();
    lblSource->setText(source);
    lblFullScale->setText(any ? QStringLiteral("Full-scale flow: %1").arg(data.fullScale) : QString());
    lblScaling->setText(any ? QStringLiteral("Scaling factor: %1").arg(data.scaling) : QString());
    lblDensity->setText(any ? QStringLiteral("Density: %1").arg(data.density) : QString());
    lblPoints->setText(QStringLiteral("Points: %1").arg(data.points.size()));
    cmdSavePicture->setEnabled(any);
    cmdSaveCsv->setEnabled(any);
}

void frmAutoTune::cmdOpen_Click()
{
    const QString path = m_host.prompter().openFileName(QStringLiteral("Open Memory Log File"),
                                                        QDir(m_host.programFolder()).filePath(QStringLiteral("*.mlg")),
                                                        kMlgFilter);
    if (!path.isEmpty())
        openFile(path);
}

bool frmAutoTune::openFile(const QString &path)
{
    MlgData data;
    QString error;
    if (!mlgfile::readFile(path, &data, &error)) {
        // The chart on screen stays as it was.
        m_host.prompter().message(error, QStringLiteral("System Monitor"), Prompter::Exclamation);
        return false;
    }
    m_file = path;
    showSamples(data, QDir::toNativeSeparators(path));
    return true;
}

QString frmAutoTune::proposedName(const QString &extension) const
{
    const QString base = m_file.isEmpty() ? QStringLiteral("My_Flow1") : QFileInfo(m_file).completeBaseName();
    const QString folder = m_file.isEmpty() ? m_host.programFolder() : QFileInfo(m_file).absolutePath();
    return QDir(folder).filePath(base + extension);
}

QByteArray frmAutoTune::csvBytes(const MlgData &data)
{
    QByteArray out = "point,value\r\n";
    out.reserve(out.size() + data.points.size() * 12);
    for (int i = 0; i < data.points.size(); ++i)
        out += QByteArray::number(data.points[i]) + ',' + QByteArray::number(data.values[i]) + "\r\n";
    return out;
}

void frmAutoTune::cmdSavePicture_Click()
{
    const SaveDialogText dialog{QStringLiteral("Save Chart as Picture"), proposedName(QStringLiteral(".png")),
                                QStringLiteral("PNG Picture (*.PNG)|*.png|All Files (*.*)|*.*"),
                                QStringLiteral("Chart has been Saved. Click OK.")};
    const QImage image = m_view->grab().toImage();
    saveWithReplaceQuestion(m_host.prompter(), dialog, [&image](const QString &path, QString *error) {
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        if (!image.save(&buffer, "PNG")) {
            *error = QStringLiteral("the chart could not be turned into a picture");
            return false;
        }
        return mlgfile::write(path, png, error);
    });
}

void frmAutoTune::cmdSaveCsv_Click()
{
    const SaveDialogText dialog{QStringLiteral("Save Samples as CSV"), proposedName(QStringLiteral(".csv")),
                                QStringLiteral("CSV Files (*.CSV)|*.csv|All Files (*.*)|*.*"),
                                QStringLiteral("Samples have been Saved. Click OK.")};
    const QByteArray bytes = csvBytes(m_data);
    saveWithReplaceQuestion(m_host.prompter(), dialog,
                            [&bytes](const QString &path, QString *error) { return mlgfile::write(path, bytes, error); });
}
