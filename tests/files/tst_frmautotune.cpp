// The flow chart viewer: the samples just read, .mlg files good and bad,
// zooming and panning with the mouse, and the picture and CSV exports.
#include "files/flowlogreadout.h"
#include "files/frmautotune.h"
#include "files/mlgfile.h"
#include "files/widgetflowchart.h"
#include "support/filebytes.h"
#include "support/simrig.h"

#include <QImage>
#include <QTemporaryDir>
#include <QValueAxis>
#include <QtTest>
#include <numeric>

class TestFrmAutoTune : public QObject
{
    Q_OBJECT
private slots:
    void showsTheDownloadAndOpensFiles()
    {
        SimRig rig;
        QVERIFY(rig.readOut());
        FlowLogReadout readout(rig.session);
        QCOMPARE(readout.read(0x2FF), FlowLogReadout::Completed);
        const TerminalState &s = rig.session.state();
        frmAutoTune viewer(rig.session);
        QCOMPARE(std::pair(viewer.chartView()->sampleCount(), viewer.data().values.last()), std::pair(254, qint32(s.FlowArray[253])));
        QCOMPARE(viewer.headerText(), QStringLiteral("Samples read from the device\nFull-scale flow: 5000\n"
                                                     "Scaling factor: 500000\nDensity: 998\nPoints: 254"));
        QCOMPARE(viewer.chartView()->axisX()->max(), 254.0);
        const auto [low, high] = std::minmax_element(s.FlowArray.begin(), s.FlowArray.begin() + 254);
        QVERIFY(viewer.chartView()->axisY()->min() < *low && viewer.chartView()->axisY()->max() > *high);

        QTemporaryDir dir;
        QString error;
        const QString good = dir.filePath(QStringLiteral("good.mlg"));
        QVERIFY(mlgfile::write(good, "5000,1000,998\r\n1,531\r\n2,-1\r\n3,-32768\r\n", &error));
        rig.prompter.fileNames << good;
        viewer.cmdOpen_Click();
        QCOMPARE(rig.prompter.entries.first().title, "Open Memory Log File | Memory Log (*.MLG)|*.mlg|All Files (*.*)|*.*");
        QCOMPARE(viewer.data().values, (QVector<qint32>{531, -1, -32768}));
        QCOMPARE(viewer.chartView()->sampleCount(), 3);
        QVERIFY(viewer.headerText().endsWith(QStringLiteral("Full-scale flow: 5000\nScaling factor: 1000\nDensity: 998\nPoints: 3")));

        // The save dialogs propose the log's own name with the new extension.
        viewer.resize(800, 500);
        viewer.show();
        QVERIFY(QTest::qWaitForWindowExposed(&viewer));
        const QString png = dir.filePath(QStringLiteral("good.png"));
        const QString csv = dir.filePath(QStringLiteral("good.csv"));
        rig.prompter.clear();
        rig.prompter.fileNames << png << csv;
        viewer.cmdSavePicture_Click();
        viewer.cmdSaveCsv_Click();
        QCOMPARE(rig.prompter.texts(QStringLiteral("save")), (QStringList{png, csv}));
        QCOMPARE(rig.prompter.texts(), (QStringList{QStringLiteral("Chart has been Saved. Click OK."),
                                                    QStringLiteral("Samples have been Saved. Click OK.")}));
        QImage image;
        QVERIFY(image.load(png, "PNG"));
        QCOMPARE(image.size(), viewer.chartView()->size() * viewer.chartView()->devicePixelRatio());
        QCOMPARE(fileBytes(csv), QByteArray("point,value\r\n1,531\r\n2,-1\r\n3,-32768\r\n"));

        const QList<std::pair<QByteArray, QString>> bad = {
            {QByteArray("\x00\x01\xff\xfe", 4), QStringLiteral("bad.mlg, line 1: ")},
            {"5000,1000\r\n", QStringLiteral("bad.mlg, line 1: expected full-scale flow, scaling factor and density")},
            {"5000,1000,998\r\n1,5\r\n2;7\r\n", QStringLiteral("bad.mlg, line 3: expected a point number and a sample value")},
            {"", QStringLiteral("missing.mlg: ")}};
        for (const auto &[bytes, message] : bad) {
            rig.prompter.clear();
            const QString path = dir.filePath(message.section(QLatin1Char(','), 0, 0).section(QLatin1Char(':'), 0, 0));
            QVERIFY(bytes.isEmpty() || mlgfile::write(path, bytes, &error));
            QVERIFY(!viewer.openFile(path));
            QCOMPARE(rig.prompter.entries.size(), 1);
            QCOMPARE(rig.prompter.entries[0].icon, Prompter::Exclamation);
            QVERIFY2(rig.prompter.entries[0].text.startsWith(message), qPrintable(rig.prompter.entries[0].text));
            QCOMPARE(viewer.chartView()->sampleCount(), 3);  // the chart on screen is kept
        }
    }

    void mouseZoomAndPan()
    {
        SimRig rig;
        frmAutoTune viewer(rig.session);
        QVector<qint32> points(1000), values(1000);
        std::iota(points.begin(), points.end(), 1);
        std::iota(values.begin(), values.end(), 0);
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
        QCOMPARE(std::pair(x->min(), x->max()), std::pair(1.0, 1000.0));
    }
};

QTEST_MAIN(TestFrmAutoTune)
#include "tst_frmautotune.moc"
