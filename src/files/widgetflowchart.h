#pragma once
// The chart of the flow memory log: point number across, sample value up.
// The wheel zooms about the mouse, a left drag zooms into the dragged
// rectangle, a right drag pans, a double click shows the whole log again.
#include <QChartView>
#include <QVector>

class QLineSeries;
class QValueAxis;

class FlowChartView : public QChartView
{
    Q_OBJECT
public:
    explicit FlowChartView(QWidget *parent = nullptr);

    // Shows the samples; values[i] belongs to points[i].
    void setSamples(const QVector<qint32> &points, const QVector<qint32> &values);
    int sampleCount() const;
    void resetZoom();
    // Zooms by `factor` (above 1 zooms in) keeping the value under `at`,
    // a position in the view, where it is.
    void zoomAt(const QPointF &at, qreal factor);
    void panBy(const QPointF &pixels);

    QValueAxis *axisX() const { return m_x; }
    QValueAxis *axisY() const { return m_y; }

protected:
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    QLineSeries *m_series;
    QValueAxis *m_x;
    QValueAxis *m_y;
    qreal m_minX = 0, m_maxX = 1, m_minY = 0, m_maxY = 1;
    bool m_panning = false;
    QPointF m_panFrom;
};
