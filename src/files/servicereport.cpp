#include "servicereport.h"

#include "configtable.h"
#include "common/wholefile.h"
#include "link/devicelink.h"
#include "session/parametermap.h"
#include "session/terminalsession.h"
#include "session/terminalstate.h"

#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>
#include <algorithm>
#include <cstdlib>

bool ServiceReport::build(const ConfigTable &asFound, const TerminalState &asLeft, QString *error)
{
    if (!ConfigCompare::compare(asFound, ConfigTable::fromTerminal(asLeft), &rows, error))
        return false;
    for (CompareRow &r : rows) {
        if (r.address != QLatin1String("0138"))
            continue;
        // The access code: whether it is set and whether it changed, not its digits.
        r.valueA = r.valueA.isEmpty() ? QString() : QStringLiteral("set");
        r.valueB = r.valueB.isEmpty() ? QString() : r.differs ? QStringLiteral("changed") : QStringLiteral("set");
    }
    device = asLeft.DeviceLabel.trimmed();
    flowUnit = asLeft.unitText().trimmed();
    tenths = asLeft.tenthsMode();
    const auto code = [&asFound](const QString &address) {
        const int r = ConfigCompare::findRow(asFound, address, ConfigTable::RowCount);
        return r < 0 ? -1 : int(asFound.row(r).Data.toUInt(nullptr, 16));
    };
    flowUnitFound = (TerminalState::unitName(code(QStringLiteral("01E4")))
                    + TerminalState::timeBaseName(code(QStringLiteral("0104")))).trimmed();
    totalizer = (asLeft.TotalText.trimmed() + QLatin1Char(' ') + asLeft.totalUnitText()).trimmed();
    const int points = std::min<int>(asLeft.FlowPointCount, asLeft.FlowArray.size());
    samples = asLeft.FlowArray.mid(0, std::max(points, 0));
    logFullScale = qint32(asLeft.cellValue(QStringLiteral("0105")));
    logScaling = qint32(asLeft.cellValue(QStringLiteral("0118")));
    logDensity = asLeft.Density;
    return true;
}

bool ServiceReport::build(TerminalSession &session, const ConfigTable *saved, const QString &savedName, QString *error)
{
    const TerminalState *found = session.asFound();
    if (!saved && !found) {
        *error = QStringLiteral("the configuration has not been read from the device");
        return false;
    }
    const DeviceLink &link = session.link();
    port = link.port() ? link.port()->portName() : QString();
    settings = link.port() ? link.port()->settings() : QString();
    interface = link.Rs232Mode ? QStringLiteral("RS232") : QStringLiteral("RS485");
    records.clear();
    for (const JournalRecord &r : session.sessionRecords())
        if (r.port == port)
            records << r;
    if (saved) {
        asFoundFrom = QStringLiteral("the table saved in ") + savedName;
    } else {
        const QDateTime at = session.asFoundTime();
        asFoundFrom = QStringLiteral("the first readout of this session, at ")
                      + localTime(at);
    }
    return build(saved ? *saved : ConfigTable::fromTerminal(*found), session.state(), error);
}

QString ServiceReport::localTime(const QDateTime &time)
{
    const QDateTime local = time.toLocalTime();
    const int offset = local.offsetFromUtc() / 60;
    const int a = std::abs(offset);
    return local.toString(QStringLiteral("yyyy-MM-dd HH:mm ")) + (offset < 0 ? QLatin1Char('-') : QLatin1Char('+'))
        + QStringLiteral("%1:%2").arg(a / 60, 2, 10, QLatin1Char('0')).arg(a % 60, 2, 10, QLatin1Char('0'));
}

QString ServiceReport::localTime(const QString &iso)
{
    const QDateTime t = QDateTime::fromString(iso, Qt::ISODate);
    return t.isValid() ? localTime(t) : iso;
}

int ServiceReport::parameterCount() const
{
    return int(std::count_if(rows.cbegin(), rows.cend(), [](const CompareRow &r) { return !r.live; }));
}

QString ServiceReport::unitOf(const CompareRow &row, bool asLeft) const
{
    if (row.address == QLatin1String("0105") || row.address == QLatin1String("010D"))
        return asLeft ? flowUnit : flowUnitFound;
    return ParameterMap::unit(row.address);
}

namespace {

// Lays text out down A4 pages in points (72 to the inch), starting a new
// page with the heading when the next block does not fit.
class Pages
{
public:
    Pages(QPdfWriter &writer, const QString &heading) : m_writer(writer), m_heading(heading)
    {
        m_painter.begin(&writer);
        m_width = writer.width();
        m_bottom = writer.height() - 28;
        startPage();
    }
    ~Pages() { m_painter.end(); }

    QPainter &painter() { return m_painter; }
    qreal width() const { return m_width; }
    qreal y() const { return m_y; }
    void advance(qreal by) { m_y += by; }

    void need(qreal height)
    {
        if (m_y + height > m_bottom) {
            m_writer.newPage();
            startPage();
        }
    }
    void font(qreal size, bool bold = false)
    {
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setPointSizeF(size);
        f.setBold(bold);
        // Plain letters, no ligatures: text copied or searched in the PDF
        // reads as it was written.
        f.setStyleStrategy(QFont::PreferNoShaping);
        m_painter.setFont(f);
    }
    // The flags that lay a cell out in its column: wrapped at words, and
    // anywhere when one word is wider than the column. Nothing is cut.
    int flags(const QString &cell, qreal width) const
    {
        const int words = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap;
        const QRectF need = m_painter.fontMetrics().boundingRect(QRect(0, 0, int(width), 10000), words, cell);
        return need.width() > width ? (Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWrapAnywhere) : words;
    }
    static qreal right(const QList<qreal> &left, int i, qreal width) { return i + 1 < left.size() ? left[i + 1] - 4 : width; }
    // The height a line of cells takes, at least `height`.
    qreal heightOf(const QList<qreal> &left, const QStringList &cells, qreal height = 13) const
    {
        qreal h = height;
        for (int i = 0; i < cells.size() && i < left.size(); ++i) {
            const qreal w = right(left, i, m_width) - left[i];
            h = std::max<qreal>(h, m_painter.fontMetrics().boundingRect(QRect(0, 0, int(w), 10000), flags(cells[i], w),
                                                                       cells[i]).height() + 2);
        }
        return h;
    }
    // One line of cells at the given left edges, a long one wrapped in its column.
    void row(const QList<qreal> &left, const QStringList &cells, qreal height = 13)
    {
        const qreal h = heightOf(left, cells, height);
        need(h);
        for (int i = 0; i < cells.size() && i < left.size(); ++i) {
            const qreal w = right(left, i, m_width) - left[i];
            m_painter.drawText(QRectF(left[i], m_y, w, h), flags(cells[i], w), cells[i]);
        }
        m_y += h;
    }
    void section(const QString &title)
    {
        need(40);
        m_y += 10;
        font(11, true);
        row({0}, {title}, 18);
        m_painter.drawLine(QPointF(0, m_y), QPointF(m_width, m_y));
        m_y += 4;
        font(8);
    }

private:
    void startPage()
    {
        ++m_page;
        m_y = 0;
        font(7);
        m_painter.setPen(Qt::darkGray);
        m_painter.drawText(QRectF(0, m_bottom + 8, m_width, 12), Qt::AlignLeft, m_heading);
        m_painter.drawText(QRectF(0, m_bottom + 8, m_width, 12), Qt::AlignRight, QStringLiteral("Page %1").arg(m_page));
        m_painter.setPen(Qt::black);
        font(8);
    }

    QPdfWriter &m_writer;
    QPainter m_painter;
    QString m_heading;
    qreal m_width = 0, m_bottom = 0, m_y = 0;
    int m_page = 0;
};

// The device password (also the rescale code) never goes to the customer:
// a write that touches its bytes shows that it was set or changed, no digits.
bool touchesCode(const JournalRecord &r)
{
    const int first = r.address.toInt(nullptr, 16);
    return first < 0x13A && 0x138 < first + r.width;
}

QString outcome(const JournalRecord &r)
{
    if (touchesCode(r) && r.state == JournalRecord::Done && !r.verified)
        return QStringLiteral("failed");
    return r.outcomeText();
}

const Parameter *parameterOf(const JournalRecord &r)
{
    const Parameter *p = ParameterMap::find(r.address);
    return p && p->width == r.width ? p : nullptr;
}

// A parameter's data as its value, with the bytes after it; raw memory as hex.
QString dataText(const JournalRecord &r, const QString &data, bool tenths, const QString &mask)
{
    if (data.isEmpty())
        return QStringLiteral("unknown");
    if (touchesCode(r))
        return mask;
    if (!parameterOf(r))
        return data;
    return ConfigCompare::readable(r.address, data, tenths) + QStringLiteral(" (") + data + QLatin1Char(')');
}

// The samples as a line chart: point number across, value up. Long logs are
// drawn as the lowest and highest value of each column, so the page stays
// small and no peak is lost.
void drawChart(QPainter &p, const QRectF &box, const QVector<qint16> &samples)
{
    const auto [lo, hi] = std::minmax_element(samples.cbegin(), samples.cend());
    const qreal minV = *lo, maxV = *hi == *lo ? *lo + 1 : *hi;
    const QRectF plot = box.adjusted(40, 4, -4, -16);
    p.drawRect(plot);
    p.drawText(QRectF(box.left(), plot.top() - 6, 36, 12), Qt::AlignRight | Qt::AlignVCenter, QString::number(maxV));
    p.drawText(QRectF(box.left(), plot.bottom() - 6, 36, 12), Qt::AlignRight | Qt::AlignVCenter, QString::number(minV));
    p.drawText(QRectF(plot.left(), plot.bottom() + 2, 60, 12), Qt::AlignLeft, QStringLiteral("1"));
    p.drawText(QRectF(plot.right() - 60, plot.bottom() + 2, 60, 12), Qt::AlignRight, QString::number(samples.size()));
    const auto yOf = [&](qreal v) { return plot.bottom() - (v - minV) / (maxV - minV) * plot.height(); };
    const int columns = std::max(1, int(plot.width() * 2));
    QPolygonF line;
    const int n = samples.size();
    for (int c = 0; c < columns && c < n; ++c) {
        const int from = int(qint64(c) * n / std::min(columns, n));
        const int to = std::max(from + 1, int(qint64(c + 1) * n / std::min(columns, n)));
        const auto [a, b] = std::minmax_element(samples.cbegin() + from, samples.cbegin() + to);
        const qreal x = plot.left() + (n == 1 ? 0 : qreal(from) / (n - 1) * plot.width());
        line << QPointF(x, yOf(*a));
        if (*b != *a)
            line << QPointF(x, yOf(*b));
    }
    p.setPen(QPen(QColor(0, 70, 160), 0.6));
    p.drawPolyline(line);
    p.setPen(Qt::black);
}

} // namespace

QByteArray ServiceReport::pdf() const
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setTitle(QStringLiteral("Service report ") + device + QLatin1Char(' ') + port);
        writer.setCreator(QStringLiteral("Quorin Terminal"));
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setPageMargins(QMarginsF(40, 40, 40, 40), QPageLayout::Point);
        writer.setResolution(72);
        const QString stamp = localTime(when);
        Pages pages(writer, QStringLiteral("Service report, %1 on %2, %3").arg(device, port, stamp));
        QPainter &p = pages.painter();

        pages.font(16, true);
        pages.row({0}, {QStringLiteral("Service Report")}, 24);
        pages.font(9);
        const QList<qreal> info = {0, 110};
        pages.row(info, {QStringLiteral("Date"), stamp});
        pages.row(info, {QStringLiteral("Device"), device});
        pages.row(info, {QStringLiteral("Port"), port});
        pages.row(info, {QStringLiteral("Settings"), settings + QStringLiteral(", ") + interface});
        pages.row(info, {QStringLiteral("As found"), asFoundFrom});
        pages.row(info, {QStringLiteral("As left"), QStringLiteral("read from the device at ") + stamp});
        pages.row(info, {QStringLiteral("Totalizer"), totalizer});
        pages.row(info, {QStringLiteral("Changed"), QStringLiteral("%1 of %2 parameters (and %3 live values)")
                                                        .arg(changedCount()).arg(parameterCount())
                                                        .arg(rows.size() - parameterCount())});

        pages.section(QStringLiteral("Configuration"));
        const QList<qreal> cols = {0, 46, 210, 292, 372, 452};
        pages.font(8, true);
        pages.row(cols, {QStringLiteral("Address"), QStringLiteral("Parameter"), QStringLiteral("Unit"),
                         QStringLiteral("As found"), QStringLiteral("As left"), QString()});
        for (const CompareRow &r : rows) {
            const bool changed = r.differs && !r.live;
            pages.font(8, changed);
            const QString mark = r.live ? (r.differs ? QStringLiteral("live, moved") : QStringLiteral("live"))
                                        : (changed ? QStringLiteral("CHANGED") : QString());
            // A unit that changed goes with each value, so neither is read in the other's.
            const QString found = unitOf(r, false), left = unitOf(r, true);
            const QStringList cells = found == left ? QStringList{r.address, r.name, left, r.valueA, r.valueB, mark}
                                                    : QStringList{r.address, r.name, QString(), r.valueA + QLatin1Char(' ') + found,
                                                                  r.valueB + QLatin1Char(' ') + left, mark};
            const qreal h = pages.heightOf(cols, cells);
            pages.need(h);
            if (changed)
                p.fillRect(QRectF(0, pages.y(), pages.width(), h), QColor(255, 236, 160));
            pages.row(cols, cells);
        }
        pages.font(7);
        pages.row({0}, {QStringLiteral("Live values move on by themselves while the device runs; they are not "
                                       "counted as changes.")});

        pages.section(QStringLiteral("Writes in this session"));
        if (records.isEmpty())
            pages.row({0}, {QStringLiteral("None.")});
        const QList<qreal> wcols = {0, 100, 164, 202, 305, 375, 445};
        if (!records.isEmpty()) {
            pages.font(7, true);
            pages.row(wcols, {QStringLiteral("Time"), QStringLiteral("Operation"), QStringLiteral("Address"),
                              QStringLiteral("Parameter"), QStringLiteral("Before"), QStringLiteral("Written"),
                              QStringLiteral("Outcome")});
            pages.font(7);
        }
        for (const JournalRecord &r : records)
            pages.row(wcols, {localTime(r.time), r.operation.isEmpty() ? r.source : r.operation, r.address,
                              parameterOf(r) ? parameterOf(r)->title : QStringLiteral("memory"),
                              dataText(r, r.before, tenths, QStringLiteral("set")),
                              dataText(r, r.written, tenths, QStringLiteral("changed")), outcome(r)});

        if (!samples.isEmpty()) {
            pages.need(300); // the header and its chart on one page
            pages.section(QStringLiteral("Flow log"));
            pages.row({0, 110}, {QStringLiteral("Samples"), QString::number(samples.size())});
            // As the device holds them: the full scale in tenths when coefficient A says so.
            pages.row({0, 110}, {QStringLiteral("Full-scale flow"),
                                 ConfigCompare::readable(QStringLiteral("0105"), ParameterMap::padHex(quint32(logFullScale), 4), tenths)
                                     + QLatin1Char(' ') + flowUnit});
            pages.row({0, 110}, {QStringLiteral("Scaling factor"),
                                 QString::number(logScaling) + QLatin1Char(' ') + ParameterMap::unit(QStringLiteral("0118"))});
            pages.row({0, 110}, {QStringLiteral("Fluid density"), QString::number(logDensity)});
            pages.need(220);
            drawChart(p, QRectF(0, pages.y() + 6, pages.width(), 210), samples);
            pages.advance(220);
            pages.row({0}, {QStringLiteral("Sample value against point number, in the order the device logged them.")});
        }

        pages.need(70);
        pages.advance(30);
        pages.font(9);
        for (const QString &who : {QStringLiteral("Technician"), QStringLiteral("Customer")}) {
            pages.row({0, 70, 300}, {who, QStringLiteral("Name: ______________________"),
                                     QStringLiteral("Signature: ______________________")}, 18);
        }
    }
    return buffer.data();
}

bool ServiceReport::writeFile(const QString &path, QString *error) const
{
    return wholefile::write(path, pdf(), error);
}
