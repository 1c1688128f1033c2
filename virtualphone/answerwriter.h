#pragma once

#include <QByteArray>
#include <QList>

namespace virtualphone {

class ChunkWriter;
struct Misbehaviour;

/// Puts echoes, texts and results on the line, each as a chunk of its own or as
/// the misbehaviour wants them.
class AnswerWriter
{
public:
    /// Both must outlive it.
    AnswerWriter(ChunkWriter *writer, const Misbehaviour *misbehaviour);

    /// Echoes what the PC sent.
    void echo(const QByteArray &bytes);

    /// A line without a command has ended. `moreFollows`: so does the next one.
    void endEmptyLine(bool moreFollows);

    /// Says framed texts and a framed result; an empty one is not said.
    /// `moreFollows`: the answer to the next command is due, too.
    void answer(const QList<QByteArray> &texts, const QByteArray &result, bool moreFollows);

    /// Forgets what is held back.
    void clear();

private:
    QByteArray takeHeldBack();

    ChunkWriter *const m_writer;
    const Misbehaviour *const m_misbehaviour;
    QByteArray m_gluedEcho; // held back to be written with the answer
    QByteArray m_joined;    // answers held back to be written as one chunk
};

} // namespace virtualphone
