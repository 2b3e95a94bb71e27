#pragma once
// What the terminal knows about the connected transmitter for the whole run:
// the memory images of the last configuration readout, the current value of
// every parameter, the totalizer, the flow log samples, the device records.
// Owned by the main window (or the command-line tool) and passed by
// reference to every window; nothing here talks to the device.
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

class TerminalState
{
public:
    TerminalState();

    // Constants of the device family.
    QString DeviceLabel = QStringLiteral("R52  ");
    QString AccessCode = QStringLiteral("47318");
    QStringList AlarmText;

    // Configuration readout.
    QString MemoryImage0100;        // 80 bytes at 0100h, for the status bar and the editor
    QString MemoryImage0100Export;  // the copy the export cuts its rows from
    QString MemoryImage01E5;        // 6 bytes at 01E5h
    qint32 Density = 0;
    QString DensityHex;             // 8 digits
    qint32 UDFactor = 0;
    QString UDFactorHex;            // 8 digits
    int EngUnit = 0;
    QString EngUnitHex;             // 2 digits
    QString DataPointerHex;         // 4 digits, from 01FEh
    bool Synchronized = false;

    // Totalizer as last read (0109h and 0174h).
    QString Total0109;
    QString Total0174;
    QString TotalText;
    int TotalMultiplier = 0;        // 0 none, 1 thousands, 2 millions

    // The main window's current flow reading, as shown ("" when none).
    QString FlowText;

    // Current value of each parameter, by its 4-digit address.
    QMap<QString, QString> CellText;
    QMap<QString, qint64> CellValue;
    void setCell(const QString &address, const QString &text, qint64 value);
    QString cellText(const QString &address) const { return CellText.value(address); }
    qint64 cellValue(const QString &address) const { return CellValue.value(address); }
    // Fills the cells of every parameter held in the memory images.
    void fillCellsFromImages();
    // The device holds `hex` from `address` on, as read back after a write:
    // every copy of those bytes (images, words read on their own, the
    // totalizer) and every value built from them takes it.
    void takeWrite(int address, const QString &hex);
    // The bytes at address from the images; "" when any is not held.
    QString knownBytes(int address, int width) const;

    // Correction coefficient A at 202 marks a full-scale flow stored in tenths.
    bool tenthsMode() const;
    int timeBase() const { return int(cellValue(QStringLiteral("0104"))); }

    // Unit names of the main window: "LB".."UD" and "/Sec".."/Day".
    static QString unitName(int code);
    static QString timeBaseName(int code);
    QString unitText() const { return unitName(EngUnit) + timeBaseName(timeBase()); }
    // Unit with the totalizer multiplier: "LTR", "LTR K  ", "LTR M  ".
    QString totalUnitText() const;

    // Totalizer layout of the device: the word at 0109h carries the
    // multiplier in its high byte and the hundredths in its low byte; the
    // eight bytes at 0174h are the total's display digits, most significant
    // first, one digit per byte.
    static void decodeTotal(const QString &hex0109, const QString &hex0174, QString *text, int *multiplier);

    // Flow memory log: sample n (1-based) is FlowArray[n - 1]; its point
    // number is n.
    static constexpr int FlowArrayRows = 16130;
    QVector<qint16> FlowArray;
    int FlowPointCount = 0;

    // Device-list records written to setup.dat at exit.
    struct DeviceRecord {
        QString name;
        QString text;
        qint16 values[4] = {0, 0, 0, 0};
    };
    DeviceRecord DeviceRecords[4];
    int TotUnit = 1;

    // Access prompts: set by the prompt, read by the caller after it closed.
    bool RescaleGranted = false;
    bool RescaleCancelled = false;
    bool BackDoorGranted = false;
    bool BackDoorCancelled = false;
};
