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

} // namespace virtualphone
