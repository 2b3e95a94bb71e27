#include "session/operationgate.h"

OperationGate::Hold &OperationGate::Hold::operator=(Hold &&other) noexcept
{
    if (this != &other) {
        release();
        m_gate = other.m_gate;
        other.m_gate = nullptr;
    }
    return *this;
}

void OperationGate::Hold::release()
{
    if (OperationGate *gate = m_gate.data()) {
        m_gate = nullptr;
        gate->end();
    }
}

OperationGate::Hold OperationGate::begin(const QString &operation)
{
    if (busy())
        return Hold();
    m_operation = operation.isEmpty() ? QStringLiteral("operation") : operation;
    emit busyChanged(true);
    return Hold(this);
}

void OperationGate::end()
{
    m_operation.clear();
    emit busyChanged(false);
}
