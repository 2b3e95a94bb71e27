// The simulated transmitter's frame parser under arbitrary line input.
//
// Input: byte 0 holds the mode bits (bit 0: RS485, bit 1: corrupted
// read-back, bit 2: let the device run afterwards), byte 1 how long it runs
// (x 250 ms), the rest the bytes the terminal sends, in pieces separated by
// 0xFF.
//
// Checked: the pieces give the same replies and the same memory as the
// whole input at once (the parser keeps no state tied to how bytes arrive);
// every reply is ":" (after the bus tag in RS485 mode) and whole upper-case
// hex bytes, one reply per answered read; the memory stays 32 KiB; and the
// device keeps running on whatever the frames wrote into its configuration.
#include "fuzzsupport.h"
#include "sim/simdevice.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

bool validReply(const QByteArray &reply, bool rs485)
{
    QByteArray r = reply;
    if (rs485) {
        if (!r.startsWith(SimDevice::busTag()))
            return false;
        r = r.mid(SimDevice::busTag().size());
    }
    if (!r.startsWith(':') || (r.size() - 1) % 2 != 0)
        return false;
    for (int i = 1; i < r.size(); ++i) {
        const char c = r.at(i);
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')))
            return false;
    }
    return true;
}

// A new device fills its flow log first, which costs far more than a frame:
// the two compared devices are made once and put back to their first state
// before each input (pending bytes ended, memory restored, frames cleared).
struct Pair {
    SimDevice whole;
    SimDevice pieced;
    QByteArray fresh = whole.memory();

    // Only the blocks that differ, found with memcmp: a byte-wise pass over
    // 32 KiB costs far more than the frames under coverage instrumentation.
    void restore(SimDevice &d) const
    {
        const QByteArray now = d.memory();
        constexpr int block = 256;
        const int blocks = int(now.size()) / block;
        auto same = [&](int b) {
            return std::memcmp(now.constData() + b * block, fresh.constData() + b * block, block) == 0;
        };
        int first = 0;
        int last = blocks - 1;
        while (first <= last && same(first))
            ++first;
        while (last >= first && same(last))
            --last;
        if (first <= last)
            d.setBytes(first * block, fresh.mid(first * block, (last - first + 1) * block));
    }

    void reset(bool rs485, bool corrupt)
    {
        for (SimDevice *d : {&whole, &pieced}) {
            d->feed(QByteArrayLiteral("\x1A\x1A"));
            restore(*d);
            d->clearReceivedFrames();
            d->setRs485(rs485);
            d->setCorruptReadback(corrupt);
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ensureApp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    const bool rs485 = data[0] & 1;
    const bool corrupt = data[0] & 2;
    const bool run = data[0] & 4;
    const int runMs = data[1] * 250;
    const QByteArray input(reinterpret_cast<const char *>(data) + 2, int(size - 2));

    static Pair *pair = new Pair;
    pair->reset(rs485, corrupt);
    SimDevice &whole = pair->whole;
    SimDevice &pieced = pair->pieced;

    QByteArray wholeInput = input;
    wholeInput.replace('\xFF', QByteArray());
    const QList<SimDevice::Exchange> exchanges = whole.feedFrames(wholeInput);
    QByteArray wholeReplies;
    for (const SimDevice::Exchange &e : exchanges) {
        FUZZ_CHECK(e.answered == !e.reply.isEmpty());
        FUZZ_CHECK(!(e.answered && e.write));
        if (e.answered)
            FUZZ_CHECK(validReply(e.reply, rs485));
        wholeReplies += e.reply;
    }

    QByteArray piecedReplies;
    for (const QByteArray &piece : fuzz::pieces(input))
        piecedReplies += pieced.feed(piece);

    FUZZ_CHECK(piecedReplies == wholeReplies);
    FUZZ_CHECK(pieced.memory() == whole.memory());
    FUZZ_CHECK(pieced.framesReceived() == whole.framesReceived());
    FUZZ_CHECK(whole.memory().size() == SimDevice::MemorySize);

    if (run) {
        // The device runs on with the configuration the frames left. The
        // "second" preset prefills the shortest log, so it is the quickest
        // to make afresh.
        SimDevice device(QStringLiteral("second"));
        device.setRs485(rs485);
        device.feed(wholeInput);
        device.advance(runMs);
        FUZZ_CHECK(device.memory().size() == SimDevice::MemorySize);
        for (int addr : {0x012A, 0x012B, 0x012F, 0x0132, 0x0133})
            FUZZ_CHECK(device.byte(addr) <= 9);
        FUZZ_CHECK(device.byte(0x014F) <= 7);
    }
    return 0;
}
