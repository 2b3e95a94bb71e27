#include "simdevice.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

constexpr int MaxPending = 1024;     // longest frame is 524 characters
constexpr int HoldAfterWriteMs = 2000;
constexpr int CycleMs = 120000;      // one fill: 95 s flowing, 25 s closed
constexpr int CycleStartMs = 20000;  // a new device is mid-fill
constexpr double Pi = 3.14159265358979323846;

// Addresses the device itself looks after.
enum : int {
    AddrTimeBase = 0x0104,
    AddrFullScale = 0x0105,
    AddrTotalWord = 0x0109,      // multiplier, then fraction in hundredths
    AddrTotalFraction = 0x010A,
    AddrDisplayA = 0x012A,
    AddrDisplayB = 0x012B,
    AddrCoefA = 0x012D,
    AddrDisplayC = 0x012F,
    AddrDisplayD = 0x0132,
    AddrDisplayE = 0x0133,
    AddrPointCode = 0x014F,
    AddrTotal = 0x015C,
    AddrTotalDigits = 0x0174,
    AddrLogInterval = 0x01E8,
    AddrDataPointer = 0x01FE,
};

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Value of n hex digits at pos, or -1.
int hexField(const QByteArray &text, int pos, int n)
{
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const int d = hexDigit(text.at(pos + i));
        if (d < 0)
            return -1;
        v = v * 16 + d;
    }
    return v;
}

bool overlaps(int addr, int count, int first, int last)
{
    return count > 0 && addr <= last && addr + count - 1 >= first;
}

struct Preset {
    const char *name;
    int measureInterval, mAScale, responseTime, timeBase;
    quint32 fullScale;
    int percent1;
    quint32 minFlow;
    int percent2, percent3;
    quint32 scaleFactor;
    int coefA, coefB, highCut, password, mAOffset, turbulence, lowCut;
    quint32 total;
    int fraction;
    quint32 density, udFactor;
    int unit;
    char udText[3];
    int logInterval, timeOut, options, logSamples;
};

// Scaling factor / 1000 is the sensor frequency in Hz at one litre per
// second; it lies between the low and high cut-offs in every preset.
const Preset Presets[] = {
    {"standard", 50, 4000, 3, 1, 5000, 20, 100, 50, 80, 500000, 1000, 25, 1000, 123, 819, 5, 10,
     1234567, 0, 998, 1000, 5, {'U', 'D', 0}, 5, 30, 0x02, 3000},
    {"tenths", 50, 4000, 3, 1, 12345, 20, 100, 50, 80, 500000, 202, 25, 1000, 123, 819, 5, 10,
     1234567, 0, 998, 1000, 5, {'U', 'D', 0}, 5, 30, 0x02, 3000},
    {"second", 25, 3500, 6, 2, 1200, 10, 50, 40, 90, 250000, 1500, 10, 600, 456, 800, 12, 5,
     98765, 50, 850, 2500, 1, {'G', 'P', 0}, 2, 60, 0x01, 1000},
};

} // namespace

QStringList SimDevice::presetNames()
{
    QStringList names;
    for (const Preset &p : Presets)
        names << QString::fromLatin1(p.name);
    return names;
}

SimDevice::SimDevice(const QString &preset, QObject *parent)
    : QObject(parent), m_mem(MemorySize, '\0')
{
    // Log memory that has never been written reads as erased flash.
    std::fill(m_mem.begin() + LogStart, m_mem.end(), char(0xFF));
    loadPreset(presetNames().contains(preset) ? preset : QStringLiteral("standard"));
    m_flow = profileFlow(m_timeMs);
    writeDisplay();
    writeTotalDisplay();
}

SimDevice::~SimDevice()
{
    delete m_wall;
}

void SimDevice::loadPreset(const QString &name)
{
    const Preset *p = &Presets[0];
    for (const Preset &q : Presets)
        if (name == QLatin1String(q.name))
            p = &q;
    m_preset = QString::fromLatin1(p->name);
    setValue(0x0100, 1, p->measureInterval);
    setValue(0x0101, 2, p->mAScale);
    setValue(0x0103, 1, p->responseTime);
    setValue(AddrTimeBase, 1, p->timeBase);
    setValue(AddrFullScale, 4, p->fullScale);
    setValue(AddrTotalFraction, 1, p->fraction);
    setValue(0x010C, 1, p->percent1);
    setValue(0x010D, 4, p->minFlow);
    setValue(0x0111, 1, p->percent2);
    setValue(0x0116, 1, p->percent3);
    setValue(0x0118, 4, p->scaleFactor);
    setValue(AddrCoefA, 2, p->coefA);
    setValue(0x0130, 2, p->coefB);
    setValue(0x0134, 2, p->highCut);
    setValue(0x0138, 2, p->password);
    setValue(0x013A, 2, p->mAOffset);
    setValue(0x014C, 1, p->turbulence);
    setValue(0x014D, 2, p->lowCut);
    setValue(AddrTotal, 4, p->total);
    setValue(0x0170, 4, p->density);
    setValue(0x017C, 4, p->udFactor);
    setValue(0x01E4, 1, p->unit);
    setBytes(0x01E5, QByteArray(p->udText, 3));
    setValue(AddrLogInterval, 1, p->logInterval);
    setValue(0x01E9, 1, p->timeOut);
    setValue(0x01EA, 1, p->options);
    // The RAM copies the device works from.
    setValue(0x0030, 1, p->measureInterval);
    setValue(0x0008, 1, p->logInterval);
    setValue(0x0026, 1, p->options);
    prefillLog(p->logSamples);
}

void SimDevice::prefillLog(int samples)
{
    // The samples the device would have logged before it was switched on.
    const qint64 interval = qint64(byte(AddrLogInterval)) * 1000;
    setValue(AddrDataPointer, 2, LogStart);
    for (int i = 0; i < samples; ++i) {
        const qint64 t = (i - samples) * interval;
        const quint16 s = logSample(profileFlow(t));
        const int addr = value(AddrDataPointer, 2);
        setValue(addr, 2, s);
        const int next = addr + 2 > LogLastSample ? LogStart : addr + 2;
        setValue(AddrDataPointer, 2, next);
    }
}

quint8 SimDevice::byte(int addr) const
{
    if (addr < 0 || addr >= MemorySize)
        return 0;
    return quint8(m_mem.at(addr));
}

quint32 SimDevice::value(int addr, int width) const
{
    quint32 v = 0;
    for (int i = 0; i < width; ++i)
        v = (v << 8) | byte(addr + i);
    return v;
}

void SimDevice::setBytes(int addr, const QByteArray &bytes)
{
    for (int i = 0; i < bytes.size(); ++i)
        if (addr + i >= 0 && addr + i < MemorySize)
            m_mem[addr + i] = bytes.at(i);
}

void SimDevice::setValue(int addr, int width, quint32 v)
{
    QByteArray b(width, '\0');
    for (int i = width - 1; i >= 0; --i) {
        b[i] = char(v & 0xFF);
        v >>= 8;
    }
    setBytes(addr, b);
}

double SimDevice::fullScale() const
{
    const double v = value(AddrFullScale, 4);
    return value(AddrCoefA, 2) == 202 ? v / 10.0 : v;
}

double SimDevice::profileFlow(qint64 tMs) const
{
    // A filling cycle: the valve opens smoothly, the flow wanders around 60 %
    // of full scale, the valve closes and stays shut for a while (a closed
    // valve is when an operator may zero the totalizer).
    const qint64 phase = ((tMs + CycleStartMs) % CycleMs + CycleMs) % CycleMs;
    double envelope = 0;
    if (phase < 5000)
        envelope = (1 - std::cos(Pi * phase / 5000.0)) / 2;
    else if (phase < 90000)
        envelope = 1;
    else if (phase < 95000)
        envelope = (1 + std::cos(Pi * (phase - 90000) / 5000.0)) / 2;
    const double t = double(tMs);
    const double level = 0.6 + 0.12 * std::sin(2 * Pi * t / 37000.0) + 0.05 * std::sin(2 * Pi * t / 11000.0);
    return fullScale() * envelope * level;
}

void SimDevice::setFlowStopped(bool stopped)
{
    m_stopped = stopped;
    m_flow = stopped ? 0 : profileFlow(m_timeMs);
    writeDisplay();
}

QByteArray SimDevice::feed(const QByteArray &bytes)
{
    QByteArray out;
    for (const Exchange &e : feedFrames(bytes))
        out += e.reply;
    return out;
}

QList<SimDevice::Exchange> SimDevice::feedFrames(const QByteArray &bytes)
{
    QList<Exchange> done;
    for (const char c : bytes) {
        if (m_dropCr) {
            m_dropCr = false;
            if (c == '\r')
                continue;
        }
        if (c == 0x1A) {
            done << handleFrame(m_rx);
            m_rx.clear();
            continue;
        }
        m_rx.append(c);
        if (m_rx.size() > MaxPending)
            m_rx.clear(); // line noise that never ends a frame
    }
    return done;
}

SimDevice::Exchange SimDevice::handleFrame(const QByteArray &frame)
{
    Exchange ex;
    ex.frame = frame;
    ++m_frameCount;
    m_frames << QString::fromLatin1(frame);
    if (m_frames.size() > 10000)
        m_frames.removeFirst();
    const int previousWrite = m_lastWriteAddr;
    m_lastWriteAddr = -1;
    const int kindAt = frame.lastIndexOf(':') - 1;
    if (kindAt >= 0 && frame.at(kindAt) == '0')
        m_dropCr = true; // a write frame's 0x1A is followed by 0x0D

    emit frameReceived(QString::fromLatin1(frame));

    // Line noise before a frame (a stray line break, bytes of a frame cut
    // short) does not spoil it: the frame is the prefix before its last ':'.
    const int colon = frame.lastIndexOf(':');
    if (colon < 5)
        return ex;
    const QByteArray f = frame.mid(colon - 5);
    if (f.size() < 14)
        return ex;
    const int count = hexField(f, 6, 2);
    const int addr = hexField(f, 8, 4);
    if (count < 0 || addr < 0 || f.mid(12, 2) != "00" || addr >= MemorySize || addr + count > MemorySize)
        return ex;

    if (f.at(4) != '0') {
        if (f.size() != 14)
            return ex;
        QByteArray hex = m_mem.mid(addr, count).toHex().toUpper();
        if (m_corruptReadback && previousWrite == addr && !hex.isEmpty()) {
            const int last = hex.size() - 1;
            hex[last] = "0123456789ABCDEF"[hexDigit(hex.at(last)) ^ 1];
        }
        ex.reply = (m_rs485 ? busTag() : QByteArray()) + ':' + hex;
        ex.answered = true;
        return ex;
    }

    const QByteArray data = f.mid(14);
    if (data.size() % 2 != 0 || data.size() > 2 * count)
        return ex;
    for (const char c : data)
        if (hexDigit(c) < 0)
            return ex;
    setBytes(addr, QByteArray::fromHex(data));
    ex.write = true;
    m_lastWriteAddr = addr;
    afterWrite(addr, data.size() / 2);
    return ex;
}

void SimDevice::afterWrite(int addr, int count)
{
    if (overlaps(addr, count, AddrLogInterval, AddrLogInterval)
        || overlaps(addr, count, AddrDataPointer, AddrDataPointer + 1)) {
        const int interval = byte(AddrLogInterval) * 1000;
        m_logElapsedMs = interval >= HoldAfterWriteMs ? 0 : interval - HoldAfterWriteMs;
    }
    if (overlaps(addr, count, AddrTotalWord, AddrTotalFraction) || overlaps(addr, count, AddrTotal, AddrTotal + 3)) {
        m_totalRest = 0;
        m_totalHoldMs = HoldAfterWriteMs;
    }
    if (overlaps(addr, count, AddrTotal, AddrTotal + 3))
        writeTotalDisplay();
}

void SimDevice::advance(int ms)
{
    while (ms > 0) {
        const int s = qMin(ms, 100);
        step(s);
        ms -= s;
    }
    writeDisplay();
}

void SimDevice::step(int ms)
{
    m_timeMs += ms;
    m_flow = m_stopped ? 0 : qBound(0.0, profileFlow(m_timeMs), fullScale());

    if (m_totalHoldMs > 0) {
        m_totalHoldMs -= ms;
    } else if (m_flow > 0) {
        static const int timeBaseSeconds[] = {1, 60, 3600, 86400};
        const int tb = byte(AddrTimeBase);
        const double perSecond = m_flow / (tb < 4 ? timeBaseSeconds[tb] : 1);
        const double sum = m_totalRest + perSecond * ms / 1000.0;
        const qint64 hundredths = qint64(std::floor(sum * 100));
        m_totalRest = sum - hundredths / 100.0;
        if (hundredths > 0) {
            const qint64 fraction = qMin<int>(byte(AddrTotalFraction), 99) + hundredths;
            const quint32 total = value(AddrTotal, 4) + quint32(fraction / 100); // rolls over like the device's counter
            setValue(AddrTotal, 4, total);
            setValue(AddrTotalFraction, 1, quint32(fraction % 100));
            writeTotalDisplay();
        }
    }

    const int interval = byte(AddrLogInterval) * 1000;
    if (interval > 0) {
        m_logElapsedMs += ms;
        if (m_logElapsedMs >= interval) {
            m_logElapsedMs -= interval;
            if (m_logElapsedMs >= interval)
                m_logElapsedMs = 0;
            appendLogSample();
        }
    }
}

void SimDevice::writeDisplay()
{
    // Integer digits the full scale needs picks the point: 5000 shows as
    // "edcb.a", 1200 as "edcb.a", 99 as "ed.cba", 250000 as "edcba0".
    const double fs = fullScale();
    int digits = 1;
    double limit = 10;
    while (fs >= limit && digits < 8) {
        ++digits;
        limit *= 10;
    }
    const double shown = digits <= 5 ? m_flow * std::pow(10.0, 5 - digits) : m_flow / std::pow(10.0, digits - 5);
    const int v = int(qBound(0LL, std::llround(shown), 99999LL));
    setValue(AddrPointCode, 1, digits - 1);
    setValue(AddrDisplayA, 1, v % 10);
    setValue(AddrDisplayB, 1, v / 10 % 10);
    setValue(AddrDisplayC, 1, v / 100 % 10);
    setValue(AddrDisplayD, 1, v / 1000 % 10);
    setValue(AddrDisplayE, 1, v / 10000 % 10);
}

void SimDevice::writeTotalDisplay()
{
    quint64 shown = value(AddrTotal, 4);
    int multiplier = 0;
    while (shown > 99999999 && multiplier < 2) {
        shown /= 1000;
        ++multiplier;
    }
    setValue(AddrTotalWord, 1, multiplier);
    for (int i = 7; i >= 0; --i) {
        setValue(AddrTotalDigits + i, 1, quint32(shown % 10));
        shown /= 10;
    }
}

quint16 SimDevice::logSample(double flow) const
{
    const double fs = fullScale();
    if (fs <= 0)
        return 0;
    return quint16(qBound(0LL, std::llround(flow / fs * 32767), 32767LL));
}

void SimDevice::appendLogSample()
{
    int addr = value(AddrDataPointer, 2);
    if (addr < LogStart || addr > LogLastSample)
        addr = LogStart; // a pointer set outside the log starts it over
    setValue(addr, 2, logSample(m_flow));
    setValue(AddrDataPointer, 2, addr + 2 > LogLastSample ? LogStart : addr + 2);
}

void SimDevice::startClock(int tickMs)
{
    if (!m_clock) {
        m_clock = new QTimer(this);
        m_wall = new QElapsedTimer;
        connect(m_clock, &QTimer::timeout, this, [this] {
            const qint64 now = m_wall->elapsed();
            // After a suspend the device does not replay hours in one go.
            const qint64 d = qMin<qint64>(now - m_wallMs, 60000);
            m_wallMs = now;
            advance(int(d));
        });
    }
    m_clock->setInterval(qMax(1, tickMs));
    m_wall->start();
    m_wallMs = 0;
    m_clock->start();
}

void SimDevice::stopClock()
{
    if (m_clock)
        m_clock->stop();
}
