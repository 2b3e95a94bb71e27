// The telnet side of a serial device server under arbitrary server bytes.
//
// Input: byte 0 sets how the rest is cut into reads (pieces of 1 to 16
// bytes, in turn), the rest is what the server sent.
//
// Checked: the data, events and answers do not depend on where the reads
// split; the data is never longer than what came; an unfinished
// subnegotiation never holds more than its cap; our own data, escaped,
// comes back unchanged; every answer is a three-byte WILL/WONT/DO/DONT.
#include "fuzzsupport.h"
#include "link/telnetcodec.h"

#include <cstddef>
#include <cstdint>

namespace {

struct Decoded {
    QByteArray data;
    QList<int> events;
    QByteArray answers;
};

Decoded decode(const QByteArray &bytes, int step)
{
    TelnetCodec codec;
    codec.start();
    Decoded d;
    for (int at = 0, i = 0; at < bytes.size(); ++i) {
        const int n = step == 0 ? bytes.size() : 1 + (i * step) % 16;
        d.data += codec.decode(bytes.mid(at, n));
        FUZZ_CHECK(codec.pendingSubnegotiation() <= TelnetCodec::MaxSubnegotiation);
        at += n;
    }
    d.events = codec.takeEvents();
    d.answers = codec.takeAnswers();
    return d;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray wire(reinterpret_cast<const char *>(data) + 1, int(size - 1));
    const Decoded whole = decode(wire, 0);
    const Decoded cut = decode(wire, 1 + data[0] % 15);
    FUZZ_CHECK(cut.data == whole.data && cut.events == whole.events && cut.answers == whole.answers);
    FUZZ_CHECK(whole.data.size() <= wire.size());
    FUZZ_CHECK(whole.answers.size() % 3 == 0);
    for (int i = 0; i < whole.answers.size(); i += 3)
        FUZZ_CHECK(quint8(whole.answers[i]) == TelnetCodec::IAC && quint8(whole.answers[i + 1]) >= TelnetCodec::WILL
                   && quint8(whole.answers[i + 1]) != TelnetCodec::IAC);
    TelnetCodec fresh;
    FUZZ_CHECK(fresh.decode(TelnetCodec::escape(wire)) == wire);
    return 0;
}
