#include "virtualphone/escapedetector.h"

namespace virtualphone {

EscapeDetector::EscapeDetector(int guardTimeMs) : m_guardTimeMs(guardTimeMs) {}

void EscapeDetector::start(qint64 nowMs)
{
    m_lastByteMs = nowMs;
    m_plusSigns = 0;
}

void EscapeDetector::feed(const QByteArray &bytes, qint64 nowMs)
{
    if (nowMs - m_lastByteMs >= m_guardTimeMs)
        m_plusSigns = 0;
    const bool mayBegin = nowMs - m_lastByteMs >= m_guardTimeMs;
    m_lastByteMs = nowMs;
    const bool mayGoOn = m_plusSigns > 0 && m_plusSigns + bytes.size() <= 3;
    if ((mayBegin || mayGoOn) && bytes.size() <= 3 && bytes.count('+') == bytes.size())
        m_plusSigns += static_cast<int>(bytes.size());
    else
        m_plusSigns = 0;
}

int EscapeDetector::remainingMs(qint64 nowMs) const
{
    return qMax(0, static_cast<int>(m_guardTimeMs - (nowMs - m_lastByteMs)));
}

} // namespace virtualphone
