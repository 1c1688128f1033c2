#pragma once

#include <QByteArray>

namespace virtualphone {

/// Finds the escape sequence in data: three plus signs with nothing sent for
/// the guard time before and after them. Times are in milliseconds from any
/// steady clock.
class EscapeDetector
{
public:
    /// The silence that makes three plus signs an escape sequence.
    explicit EscapeDetector(int guardTimeMs);

    /// Data state begins.
    void start(qint64 nowMs);

    /// Data arrived.
    void feed(const QByteArray &bytes, qint64 nowMs);

    /// Whether three plus signs came after a pause and the second pause is awaited.
    bool isArmed() const { return m_plusSigns == 3; }

    /// How long from now until the second pause is over; only when armed.
    int remainingMs(qint64 nowMs) const;

private:
    const int m_guardTimeMs;
    qint64 m_lastByteMs = 0;
    int m_plusSigns = 0; // of an escape sequence begun
};

} // namespace virtualphone
