#include "virtualphone/commandlinereader.h"

namespace virtualphone {

CommandLineReader::Taken CommandLineReader::take(QByteArray *input, EditingCharacters characters)
{
    Taken taken;
    int used = 0;
    bool isRepetition = false;
    while (used < input->size() && !taken.isComplete) {
        const char c = input->at(used++);
        if (c == characters.end)
            taken.isComplete = true;
        else if (c == characters.backspace)
            m_line.chop(1);
        else if (static_cast<unsigned char>(c) < 0x20)
            continue;
        else if (m_line.size() < MaximumLineLength)
            m_line += c;
        else
            m_isTooLong = true;
        if (c == '/' && m_line.toUpper().endsWith("A/") && partialLine().isEmpty()) {
            isRepetition = true;
            taken.isComplete = true;
        }
    }
    taken.bytes = input->left(used);
    input->remove(0, used);
    if (taken.isComplete) {
        taken.isTooLong = m_isTooLong;
        if (!isRepetition && !m_isTooLong && !partialLine().isEmpty())
            m_lineBefore = partialLine();
        taken.line = isRepetition ? m_lineBefore : partialLine();
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
