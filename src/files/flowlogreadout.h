#pragma once
// Reads the device's flow memory log block by block into the terminal's
// FlowArray. Each block is 255 bytes read of which 254 are used; the next
// block starts 254 bytes further on, and a block that would start past 7EFFh
// is read at 7EFFh instead.
#include <QObject>
#include <QStringList>

class TerminalHost;

class FlowLogReadout : public QObject
{
    Q_OBJECT
public:
    explicit FlowLogReadout(TerminalHost &host, QObject *parent = nullptr);

    static constexpr int FirstAddress = 0x200;
    static constexpr int LastEndAddress = 0x7FFF;
    static constexpr int MaxBytes = 0x7E02;      // 127 blocks of 254 bytes
    static constexpr int LastBlockAddress = 0x7EFF;
    static constexpr int SamplesPerBlock = 127;

    // Blocks a readout up to `endAddress` reads.
    static int blockCount(int endAddress);
    // True when the end address may be read; otherwise the message was shown.
    static bool checkEndAddress(int endAddress, TerminalHost &host);
    // The text the end-address box is refilled with: the data pointer.
    static QString pointerText(const TerminalHost &host);
    // One line of the sample list: "00001    0200    0213    531".
    static QString sampleLine(int n, const QString &hex4);

    // Refused: another device operation runs; nothing was read or changed.
    enum Outcome { Completed, Failed, Cancelled, Refused };
    // Reads up to `endAddress`; FlowPointCount ends as the points stored.
    Outcome read(int endAddress);
    void cancel() { m_cancel = true; }
    // A readout of the flow log is in progress.
    bool running() const;

signals:
    void blockRead(int blocksDone, int blocksTotal, const QStringList &lines);

private:
    TerminalHost &m_host;
    bool m_cancel = false;
};
