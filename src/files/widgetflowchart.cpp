#include "widgetflowchart.h"

#include <QLineSeries>
#include <QMouseEvent>
#include <QValueAxis>
#include <QWheelEvent>

#include <algorithm>

FlowChartView::FlowChartView(QWidget *parent)
    // The chart is handed to the base at once: a view made without one makes
    // its own, and setChart() later only lets go of it, never deletes it.
    : QChartView(new QChart, parent), m_series(new QLineSeries), m_x(new QValueAxis), m_y(new QValueAxis)
{
    QChart *c = chart();
    c->legend()->hide();
    c->addSeries(m_series);
    m_x->setTitleText(QStringLiteral("Point"));
    m_x->setLabelFormat(QStringLiteral("%d"));
    m_y->setTitleText(QStringLiteral("Sample value"));
    m_y->setLabelFormat(QStringLiteral("%d"));
    c->addAxis(m_x, Qt::AlignBottom);
    c->addAxis(m_y, Qt::AlignLeft);
    m_series->attachAxis(m_x);
    m_series->attachAxis(m_y);
    setRenderHint(QPainter::Antialiasing, false);
    setRubberBand(QChartView::RectangleRubberBand);
    resetZoom();
}

void FlowChartView::setSamples(const QVector<qint32> &points, const QVector<qint32> &values)
{
    QList<QPointF> xy;
    xy.reserve(points.size());
    for (int i = 0; i < points.size(); ++i)
        xy.append(QPointF(points[i], values[i]));
    // replace() hands the whole log over at once; appending point by point
    // redraws sixteen thousand times.
    m_series->replace(xy);
    if (points.isEmpty()) {
        m_minX = 0, m_maxX = 1, m_minY = 0, m_maxY = 1;
    } else {
        const auto [lowX, highX] = std::minmax_element(points.begin(), points.end());
        const auto [lowY, highY] = std::minmax_element(values.begin(), values.end());
        m_minX = *lowX;
        m_maxX = *highX > *lowX ? *highX : *lowX + 1;
        // A little room above and below so a flat line is not drawn on the frame.
        const qreal margin = std::max<qreal>(1, (qreal(*highY) - *lowY) * 0.05);
        m_minY = *lowY - margin;
        m_maxY = *highY + margin;
    }
    resetZoom();
}

int FlowChartView::sampleCount() const
{
    return m_series->count();
}

void FlowChartView::resetZoom()
{
    chart()->zoomReset();
    m_x->setRange(m_minX, m_maxX);
    m_y->setRange(m_minY, m_maxY);
    m_y->applyNiceNumbers();
}

void FlowChartView::zoomAt(const QPointF &at, qreal factor)
{
    if (factor <= 0)
        return;
    const QRectF area = chart()->plotArea();
    const QPointF scenePos = mapToScene(at.toPoint());
    const QPointF inChart = chart()->mapFromScene(scenePos);
    // The zoom rectangle keeps the point under the mouse at the same place.
    const QPointF anchor(std::clamp(inChart.x(), area.left(), area.right()),
                         std::clamp(inChart.y(), area.top(), area.bottom()));
    QRectF r(0, 0, area.width() / factor, area.height() / factor);
    r.moveLeft(anchor.x() - (anchor.x() - area.left()) / factor);
    r.moveTop(anchor.y() - (anchor.y() - area.top()) / factor);
    chart()->zoomIn(r);
}

void FlowChartView::panBy(const QPointF &pixels)
{
    chart()->scroll(-pixels.x(), pixels.y());
}

void FlowChartView::wheelEvent(QWheelEvent *event)
{
    const int steps = event->angleDelta().y() / 120;
    if (steps == 0) {
        event->ignore();
        return;
    }
    zoomAt(event->position(), steps > 0 ? 1.25 * steps : 1.0 / (1.25 * -steps));
    event->accept();
}

void FlowChartView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::RightButton) {
        m_panning = true;
        m_panFrom = event->position();
        event->accept();
        return;
    }
    QChartView::mousePressEvent(event);
}

void FlowChartView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_panning) {
        panBy(event->position() - m_panFrom);
        m_panFrom = event->position();
        event->accept();
        return;
    }
    QChartView::mouseMoveEvent(event);
}

void FlowChartView::mouseReleaseEvent(QMouseEvent *event)
{
    // The right button pans here; the base view would zoom out on its release.
    if (event->button() == Qt::RightButton) {
        m_panning = false;
        event->accept();
        return;
    }
    QChartView::mouseReleaseEvent(event);
}

void FlowChartView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        resetZoom();
        event->accept();
        return;
    }
    QChartView::mouseDoubleClickEvent(event);
}
