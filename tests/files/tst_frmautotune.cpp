// The flow chart viewer: the samples just read, .mlg files good and bad,
// zooming and panning with the mouse, and the picture and CSV exports.
#include "files/flowlogreadout.h"
#include "files/frmautotune.h"
#include "files/mlgfile.h"
#include "files/widgetflowchart.h"
#include "support/simrig.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QValueAxis>
#include <QtTest>

class TestFrmAutoTune : public QObject
{
    Q_OBJECT
private slots:
    void showsAWholeDownload();
    void opensFilesAndRefusesBadOnes();
    void mouseZoomAndPan();
    void exportsPictureAndCsv();
};

void TestFrmAutoTune::showsAWholeDownload()
{
    SimRig rig;
    QVERIFY(rig.readOut());
    FlowLogReadout readout(rig.session);
    QCOMPARE(readout.read(0x7FFF), FlowLogReadout::Completed);
    const TerminalState &s = rig.session.state();

    frmAutoTune viewer(rig.session);
    QCOMPARE(viewer.chartView()->sampleCount(), 16129);
    QCOMPARE(viewer.data().values.size(), 16129);
    QCOMPARE(viewer.data().values.first(), qint32(s.FlowArray[0]));
    QCOMPARE(viewer.data().values.last(), qint32(s.FlowArray[16128]));
    QCOMPARE(viewer.data().points.last(), 16129);
    QCOMPARE(viewer.headerText(), QStringLiteral("Samples read from the device\nFull-scale flow: %1\n"
                                                 "Scaling factor: %2\nDensity: %3\nPoints: 16129")
                                      .arg(s.cellValue(QStringLiteral("0105")))
                                      .arg(s.cellValue(QStringLiteral("0118")))
                                      .arg(s.Density));
    QCOMPARE(viewer.chartView()->axisX()->min(), 1.0);
    QCOMPARE(viewer.chartView()->axisX()->max(), 16129.0);
    const auto [low, high] = std::minmax_element(s.FlowArray.begin(), s.FlowArray.begin() + 16129);
    QVERIFY(viewer.chartView()->axisY()->min() < *low);
    QVERIFY(viewer.chartView()->axisY()->max() > *high);
    QVERIFY(rig.prompter.entries.isEmpty());
}

void TestFrmAutoTune::opensFilesAndRefusesBadOnes()
{
    SimRig rig;
    QTemporaryDir dir;
    auto file = [&](const char *name, const QByteArray &bytes) {
        const QString path = dir.filePath(QLatin1String(name));
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(bytes);
        return path;
    };
    frmAutoTune viewer(rig.session);
    QCOMPARE(viewer.chartView()->sampleCount(), 0);
    QVERIFY(viewer.headerText().startsWith(QStringLiteral("No samples")));

    const QString good = file("good.mlg", "5000,1000,998\r\n1,531\r\n2,-1\r\n3,-32768\r\n");
    rig.prompter.fileNames << good;
    viewer.cmdOpen_Click();
    QCOMPARE(rig.prompter.entries.first().title, QStringLiteral("Open Memory Log File"));
    QCOMPARE(viewer.data().values, (QVector<qint32>{531, -1, -32768}));
    QCOMPARE(viewer.chartView()->sampleCount(), 3);
    QVERIFY(viewer.headerText().contains(QStringLiteral("Full-scale flow: 5000\nScaling factor: 1000\nDensity: 998\nPoints: 3")));

    const struct {
        const char *name;
        QByteArray bytes;
        QString error;
    } bad[] = {
        {"junk.mlg", QByteArray("\x00\x01\xff\xfe", 4), QStringLiteral("junk.mlg, line 1: ")},
        {"short.mlg", "5000,1000\r\n", QStringLiteral("short.mlg, line 1: ")},
        {"sample.mlg", "5000,1000,998\r\n1,5\r\n2;7\r\n", QStringLiteral("sample.mlg, line 3: ")},
    };
    for (const auto &b : bad) {
        rig.prompter.clear();
        QVERIFY(!viewer.openFile(file(b.name, b.bytes)));
        QCOMPARE(rig.prompter.entries.size(), 1);
        QCOMPARE(rig.prompter.entries[0].icon, Prompter::Exclamation);
        QVERIFY2(rig.prompter.entries[0].text.startsWith(b.error), qPrintable(rig.prompter.entries[0].text));
        // The chart on screen is kept.
        QCOMPARE(viewer.chartView()->sampleCount(), 3);
    }
    rig.prompter.clear();
    QVERIFY(!viewer.openFile(dir.filePath(QStringLiteral("missing.mlg"))));
    QVERIFY(rig.prompter.texts().first().startsWith(QStringLiteral("missing.mlg: ")));
}

void TestFrmAutoTune::mouseZoomAndPan()
{
    SimRig rig;
    frmAutoTune viewer(rig.session);
    QVector<qint32> points, values;
    for (int i = 1; i <= 1000; ++i) {
        points << i;
        values << (i % 100);
    }
    FlowChartView *view = viewer.chartView();
    view->setSamples(points, values);
    viewer.resize(900, 600);
    viewer.show();
    QVERIFY(QTest::qWaitForWindowExposed(&viewer));
    QValueAxis *x = view->axisX();
    const qreal span = x->max() - x->min();

    // The wheel zooms in about the mouse: the point under it stays put.
    const QRectF plot = view->chart()->plotArea();
    const QPointF at = view->mapFromScene(view->chart()->mapToScene(plot.center() + QPointF(plot.width() / 4, 0)));
    const qreal before = x->min() + (x->max() - x->min()) * 0.75;
    QWheelEvent up(at, view->mapToGlobal(at.toPoint()), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                   Qt::NoScrollPhase, false);
    QApplication::sendEvent(view->viewport(), &up);
    QVERIFY(x->max() - x->min() < span * 0.9);
    QVERIFY2(qAbs(x->min() + (x->max() - x->min()) * 0.75 - before) < span * 0.01,
             qPrintable(QStringLiteral("%1..%2").arg(x->min()).arg(x->max())));

    // A right drag to the left moves the view to later points, same span.
    const qreal minBefore = x->min();
    const qreal zoomedSpan = x->max() - x->min();
    const QPoint from = plot.center().toPoint();
    QTest::mousePress(view->viewport(), Qt::RightButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, from - QPoint(100, 0), view->viewport()->mapToGlobal(from - QPoint(100, 0)),
                     Qt::NoButton, Qt::RightButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &move);
    QTest::mouseRelease(view->viewport(), Qt::RightButton, {}, from - QPoint(100, 0));
    QVERIFY(x->min() > minBefore);
    // Releasing the right button must not zoom out as the plain chart view does.
    QVERIFY(qAbs((x->max() - x->min()) - zoomedSpan) < zoomedSpan * 1e-3);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, from);
    QCOMPARE(x->min(), 1.0);
    QCOMPARE(x->max(), 1000.0);
}

void TestFrmAutoTune::exportsPictureAndCsv()
{
    MlgData data;
    data.points = {1, 2, 3};
    data.values = {531, -1, 0};
    QCOMPARE(frmAutoTune::csvBytes(data), QByteArray("point,value\r\n1,531\r\n2,-1\r\n3,0\r\n"));

    SimRig rig;
    QTemporaryDir dir;
    const QString log = dir.filePath(QStringLiteral("run7.mlg"));
    QString error;
    QVERIFY(mlgfile::write(log, "5000,1000,998\r\n1,531\r\n2,-1\r\n", &error));
    frmAutoTune viewer(rig.session);
    QVERIFY(viewer.openFile(log));
    viewer.resize(800, 500);
    viewer.show();
    QVERIFY(QTest::qWaitForWindowExposed(&viewer));

    // The save dialogs propose the log's own name with the new extension.
    const QString png = dir.filePath(QStringLiteral("run7.png"));
    const QString csv = dir.filePath(QStringLiteral("run7.csv"));
    rig.prompter.fileNames << png << csv;
    viewer.cmdSavePicture_Click();
    viewer.cmdSaveCsv_Click();
    QCOMPARE(rig.prompter.texts(QStringLiteral("save")), (QStringList{png, csv}));
    QCOMPARE(rig.prompter.texts(), (QStringList{QStringLiteral("Chart has been Saved. Click OK."),
                                                QStringLiteral("Samples have been Saved. Click OK.")}));
    QImage image;
    QVERIFY(image.load(png, "PNG"));
    QCOMPARE(image.size(), viewer.chartView()->size() * viewer.chartView()->devicePixelRatio());
    QFile f(csv);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("point,value\r\n1,531\r\n2,-1\r\n"));
}

QTEST_MAIN(TestFrmAutoTune)
#include "tst_frmautotune.moc"
