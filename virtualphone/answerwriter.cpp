#include "virtualphone/answerwriter.h"

#include "virtualphone/chunkwriter.h"
#include "virtualphone/misbehaviour.h"

#include <utility>

namespace virtualphone {

AnswerWriter::AnswerWriter(ChunkWriter *writer, const Misbehaviour *misbehaviour)
    : m_writer(writer), m_misbehaviour(misbehaviour)
{
}

void AnswerWriter::echo(const QByteArray &bytes)
{
    if (m_misbehaviour->echo == EchoMode::Glued)
        m_gluedEcho += bytes;
    else
        m_writer->enqueueEcho(bytes);
}

void AnswerWriter::endEmptyLine(bool moreFollows)
{
    if (!moreFollows) // no later answer takes this along
        m_writer->enqueue(takeHeldBack());
}

void AnswerWriter::answer(const QList<QByteArray> &texts, const QByteArray &result,
                          bool moreFollows)
{
    QList<QByteArray> chunks = texts;
    if (!result.isEmpty())
        chunks += result;
    const QByteArray front = takeHeldBack();
    if (chunks.isEmpty()) { // a quiet modem
        m_writer->enqueue(front);
        return;
    }
    chunks.first().prepend(front + m_misbehaviour->glue);
    if (m_misbehaviour->join) {
        chunks = {chunks.join()};
        if (moreFollows) {
            m_joined = chunks.first(); // the next command's answer goes with it
            return;
        }
    }
    m_writer->enqueue(m_misbehaviour->noise);
    const QByteArray last = chunks.takeLast();
    for (const QByteArray &chunk : std::as_const(chunks))
        m_writer->enqueue(chunk);
    const int split = m_misbehaviour->splitAfter;
    m_writer->enqueue(split > 0 ? last.left(split) : last);
    if (split > 0)
        m_writer->enqueue(last.mid(split));
}

void AnswerWriter::clear()
{
    m_joined.clear();
    m_gluedEcho.clear();
}

QByteArray AnswerWriter::takeHeldBack()
{
    return std::exchange(m_joined, {}) + std::exchange(m_gluedEcho, {});
}

} // namespace virtualphone
