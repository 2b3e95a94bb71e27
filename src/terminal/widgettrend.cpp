#include "widgettrend.h"

#include "common/prompter.h"
#include "trendbuffer.h"

#include <QBuffer>
#include <QComboBox>
#include <QDateTime>
#include <QFile>
#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QSaveFile>
#include <QVBoxLayout>
#include <cmath>

namespace {
const QColor kBack(0x0d, 0x15, 0x12);
const QColor kGrid(0x24, 0x33, 0x2d);
const QColor kText(0x8f, 0xa8, 0x9b);
const QColor kLine(0x4d, 0xff, 0x88);
const QColor kGap(0xb8, 0x32, 0x2c, 70);

// A tick step of 1, 2 or 5 times a power of ten giving about n steps over range.
double niceStep(double range, int n)
{
    const double raw = range / n;
    const double p = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0})
        if (raw <= m * p)
            return m * p;
    return 10 * p;
}

qint64 timeStep(int minutes)
{
    switch (minutes) {
    case 1: return 10000;
    case 5: return 60000;
    case 15: return 180000;
    default: return 600000;
    }
}
} // namespace

// Painted by hand: one polyline per run of points between gaps, cheap
// enough to redraw on every poll.
class TrendPlot : public QWidget
{
public:
    explicit TrendPlot(WidgetTrend &trend) : QWidget(&trend), m_trend(trend)
    {
        setObjectName(QStringLiteral("picTrend"));
        setMinimumHeight(90); // still a chart in a small or scaled window
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    void paint(QPainter &p, const QRect &r) const;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        paint(p, rect());
    }

private:
    WidgetTrend &m_trend;
};

void TrendPlot::paint(QPainter &p, const QRect &r) const
{
    const TrendBuffer &b = m_trend.m_buffer;
    p.fillRect(r, kBack);
    const QFontMetrics fm(p.font());
    const QRect plot = r.adjusted(fm.horizontalAdvance(QStringLiteral("-00000.00")) + 10, fm.height() + 6, -12,
                                  -(fm.height() + 8));
    if (plot.width() < 10 || plot.height() < 10)
        return;
    const qint64 t0 = m_trend.viewStart();
    const qint64 t1 = m_trend.viewEnd();
    const int first = b.firstFrom(t0);
    int last = first;
    double lo = 0;
    double hi = 0;
    bool any = false;
    for (; last < b.size() && b.at(last).ms <= t1; ++last) {
        const TrendBuffer::Point &pt = b.at(last);
        if (pt.gap)
            continue;
        lo = any ? std::min(lo, pt.flow) : pt.flow;
        hi = any ? std::max(hi, pt.flow) : pt.flow;
        any = true;
    }
    if (!any || hi - lo < 1e-9) {
        lo -= 1;
        hi += 1;
    }
    const double step = niceStep(hi - lo, 4);
    lo = std::floor(lo / step) * step;
    hi = std::ceil(hi / step) * step;
    auto x = [&](qint64 ms) { return plot.left() + double(ms - t0) * plot.width() / double(t1 - t0); };
    auto y = [&](double v) { return plot.bottom() - (v - lo) * plot.height() / (hi - lo); };

    // Grid, flow labels and the unit on the axis.
    p.setPen(kText);
    const int decimals = std::max(0, -int(std::floor(std::log10(step))));
    for (double v = lo; v <= hi + step / 2; v += step) {
        const int yy = qRound(y(v));
        p.setPen(kGrid);
        p.drawLine(plot.left(), yy, plot.right(), yy);
        p.setPen(kText);
        p.drawText(QRect(r.left(), yy - fm.height() / 2, plot.left() - r.left() - 6, fm.height()),
                   Qt::AlignRight | Qt::AlignVCenter, QString::number(v, 'f', decimals));
    }
    p.drawText(QRect(r.left() + 4, r.top() + 2, r.width() / 2, fm.height()), Qt::AlignLeft, m_trend.unit().trimmed());
    // Time of day underneath, on round local times.
    const qint64 ts = timeStep(m_trend.spanMinutes());
    const qint64 offset = qint64(QDateTime::fromMSecsSinceEpoch(t1).offsetFromUtc()) * 1000;
    const QString format = ts < 60000 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm");
    for (qint64 t = ((t0 + offset) / ts + 1) * ts - offset; t <= t1; t += ts) {
        const int xx = qRound(x(t));
        p.setPen(kGrid);
        p.drawLine(xx, plot.top(), xx, plot.bottom());
        p.setPen(kText);
        const QString label = QDateTime::fromMSecsSinceEpoch(t).toString(format);
        const int w = fm.horizontalAdvance(label);
        if (xx + w / 2 <= r.right())
            p.drawText(xx - w / 2, plot.bottom() + fm.ascent() + 4, label);
    }

    // The line, broken at every gap; the span of a gap is shaded.
    p.setClipRect(plot);
    QPolygonF run;
    qint64 lastMs = -1;
    bool inGap = false;
    auto flush = [&] {
        p.setPen(QPen(kLine, 2));
        if (run.size() == 1)
            p.drawPoint(run.first());
        else if (run.size() > 1)
            p.drawPolyline(run);
        run.clear();
    };
    for (int i = first > 0 ? first - 1 : 0; i < last; ++i) {
        const TrendBuffer::Point &pt = b.at(i);
        if (pt.gap) {
            flush();
            if (!inGap && lastMs >= 0)
                p.fillRect(QRectF(QPointF(x(lastMs), plot.top()), QPointF(x(pt.ms), plot.bottom())), kGap);
            inGap = true;
        } else {
            if (inGap && lastMs >= 0)
                p.fillRect(QRectF(QPointF(x(lastMs), plot.top()), QPointF(x(pt.ms), plot.bottom())), kGap);
            inGap = false;
            run << QPointF(x(pt.ms), y(pt.flow));
        }
        lastMs = pt.ms;
    }
    flush();
    p.setClipping(false);
    p.setPen(kGrid);
    p.drawRect(plot);
}

WidgetTrend::WidgetTrend(const TrendBuffer &buffer, Prompter &prompter, QWidget *parent)
    : QWidget(parent), m_buffer(buffer), m_prompter(prompter)
{
    setObjectName(QStringLiteral("fraTrend"));
    cboTrendSpan = new QComboBox(this);
    cboTrendSpan->setObjectName(QStringLiteral("cboTrendSpan"));
    for (int m : spans())
        cboTrendSpan->addItem(tr("%1 min").arg(m), m);
    cboTrendSpan->setCurrentIndex(1);
    cmdTrendFreeze = new QPushButton(tr("Freeze"), this);
    cmdTrendFreeze->setObjectName(QStringLiteral("cmdTrendFreeze"));
    cmdTrendFreeze->setCheckable(true);
    cmdTrendPng = new QPushButton(tr("Save PNG..."), this);
    cmdTrendPng->setObjectName(QStringLiteral("cmdTrendPng"));
    cmdTrendCsv = new QPushButton(tr("Save CSV..."), this);
    cmdTrendCsv->setObjectName(QStringLiteral("cmdTrendCsv"));
    picTrend = new TrendPlot(*this);

    auto *bar = new QHBoxLayout;
    bar->addWidget(cboTrendSpan);
    bar->addWidget(cmdTrendFreeze);
    bar->addStretch(1);
    bar->addWidget(cmdTrendPng);
    bar->addWidget(cmdTrendCsv);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addLayout(bar);
    layout->addWidget(picTrend, 1);

    m_end = QDateTime::currentMSecsSinceEpoch();
    connect(cboTrendSpan, &QComboBox::currentIndexChanged, this, [this] {
        picTrend->update();
        emit spanChanged(spanMinutes());
    });
    connect(cmdTrendFreeze, &QPushButton::toggled, this, [this](bool on) {
        if (!on)
            pointAdded();
    });
    connect(cmdTrendPng, &QPushButton::clicked, this, &WidgetTrend::cmdTrendPng_Click);
    connect(cmdTrendCsv, &QPushButton::clicked, this, &WidgetTrend::cmdTrendCsv_Click);
}

const QList<int> &WidgetTrend::spans()
{
    static const QList<int> s = {1, 5, 15, 60};
    return s;
}

void WidgetTrend::setSpanMinutes(int minutes)
{
    int best = 0;
    for (int i = 1; i < spans().size(); ++i)
        if (std::abs(spans()[i] - minutes) < std::abs(spans()[best] - minutes))
            best = i;
    cboTrendSpan->setCurrentIndex(best);
}

int WidgetTrend::spanMinutes() const
{
    return cboTrendSpan->currentData().toInt();
}

void WidgetTrend::setUnit(const QString &unit)
{
    if (unit == m_unit)
        return;
    m_unit = unit;
    picTrend->update();
}

bool WidgetTrend::frozen() const
{
    return cmdTrendFreeze->isChecked();
}

void WidgetTrend::setFrozen(bool on)
{
    cmdTrendFreeze->setChecked(on);
}

void WidgetTrend::pointAdded()
{
    if (frozen())
        return;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    m_end = m_buffer.size() > 0 ? std::max(now, m_buffer.at(m_buffer.size() - 1).ms) : now;
    picTrend->update();
}

static bool writeFile(const QString &path, const QByteArray &data, QString *error)
{
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size()) {
        *error = f.errorString();
        f.cancelWriting();
        return false;
    }
    if (!f.commit()) {
        *error = f.errorString();
        return false;
    }
    return true;
}

bool WidgetTrend::savePng(const QString &path, QString *error) const
{
    QImage image(picTrend->size().expandedTo(QSize(640, 240)), QImage::Format_RGB32);
    {
        QPainter p(&image);
        p.setFont(picTrend->font());
        picTrend->paint(p, image.rect());
    }
    QByteArray data;
    QBuffer buf(&data);
    buf.open(QIODevice::WriteOnly);
    if (!image.save(&buf, "PNG")) {
        *error = tr("The picture could not be made.");
        return false;
    }
    return writeFile(path, data, error);
}

bool WidgetTrend::saveCsv(const QString &path, QString *error) const
{
    return writeFile(path, m_buffer.csv(viewStart(), viewEnd()), error);
}

void WidgetTrend::cmdTrendPng_Click()
{
    saveAs(true);
}

void WidgetTrend::cmdTrendCsv_Click()
{
    saveAs(false);
}

void WidgetTrend::saveAs(bool png)
{
    const QString name = png ? QStringLiteral("trend.png") : QStringLiteral("trend.csv");
    const QString path = m_prompter.saveFileName(
        tr("Save Trend"), m_folder.isEmpty() ? name : m_folder + QLatin1Char('/') + name,
        png ? QStringLiteral("PNG Image (*.png)|*.png") : QStringLiteral("CSV File (*.csv)|*.csv"));
    if (path.isEmpty())
        return;
    if (QFile::exists(path)
        && !m_prompter.askYesNo(QStringLiteral("Replace existing file - ") + path + QStringLiteral("?")))
        return;
    QString error;
    if (!(png ? savePng(path, &error) : saveCsv(path, &error)))
        m_prompter.message(QStringLiteral("The trend could not be saved to ") + path + QStringLiteral(":\r") + error);
}
