#pragma once
// One device operation at a time. Every wait for the device runs a nested
// event loop, so a click, a shortcut or a timer can arrive in the middle of a
// readout or of a verified write's store pause. Each operation that talks to
// the device (readout, editor commit, totalizer reset, rescale, calibration,
// back door, import, flow-log readout) holds the gate while it runs; a second
// one asked for meanwhile is refused quietly, and the windows follow busy()
// to disable what would start another one or leave the frame.
#include <QObject>
#include <QPointer>
#include <QString>

class OperationGate : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Held for the length of one operation; empty when the gate refused.
    class Hold
    {
    public:
        Hold() = default;
        Hold(Hold &&other) noexcept : m_gate(other.m_gate) { other.m_gate = nullptr; }
        Hold &operator=(Hold &&other) noexcept;
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;
        ~Hold() { release(); }
        explicit operator bool() const { return !m_gate.isNull(); }
        void release();

    private:
        friend class OperationGate;
        explicit Hold(OperationGate *gate) : m_gate(gate) {}
        QPointer<OperationGate> m_gate;
    };

    // Starts the named operation, or refuses (an empty Hold) while another runs.
    Hold begin(const QString &operation);
    bool busy() const { return !m_operation.isEmpty(); }
    // The operation running now ("" when none).
    QString operation() const { return m_operation; }

signals:
    void busyChanged(bool busy);

private:
    void end();
    QString m_operation;
};
