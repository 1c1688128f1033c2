#include "virtualphone/commandlinereader.h"

namespace virtualphone {

CommandLineReader::Taken CommandLineReader::take(QByteArray *input)
{
    Taken taken;
    int used = 0;
    while (used < input->size() && !taken.isComplete) {
        const char c = input->at(used++);
        if (c == '\r')
            taken.isComplete = true;
        else if (c == '\b')
            m_line.chop(1);
        else if (static_cast<unsigned char>(c) < 0x20)
            continue;
        else if (m_line.size() < MaximumLineLength)
            m_line += c;
        else
            m_isTooLong = true;
    }
    taken.bytes = input->left(used);
    input->remove(0, used);
    if (taken.isComplete) {
        taken.isTooLong = m_isTooLong;
        taken.line = partialLine();
        reset();
    }
    return taken;
}

QByteArray CommandLineReader::partialLine() const
{
    const auto start = m_line.toUpper().indexOf("AT");
    return start < 0 ? QByteArray() : m_line.mid(start);
}

void CommandLineReader::reset()
{
    m_line.clear();
    m_isTooLong = false;
}

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
