#include "virtualphone/chunkwriter.h"

#include "virtualphone/pseudoterminal.h"

namespace virtualphone {

namespace {
const int patienceMs = 2000; // with a PC that does not read
const int blindPauseMs = 50; // when the system does not tell whether it reads
} // namespace

ChunkWriter::ChunkWriter(Pseudoterminal *terminal, QObject *parent)
    : QObject(parent), m_terminal(terminal)
{
    m_retry.setSingleShot(true);
    m_retry.setTimerType(Qt::PreciseTimer);
    connect(&m_retry, &QTimer::timeout, this, [this] {
        advance();
        if (m_chunks.isEmpty())
            emit idle();
    });
}

void ChunkWriter::enqueue(const QByteArray &chunk)
{
    if (chunk.isEmpty())
        return;
    if (m_chunks.isEmpty())
        m_firstSince.start();
    m_chunks.append({chunk, false, false});
    advance();
}

void ChunkWriter::enqueueEcho(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return;
    if (!m_chunks.isEmpty() && m_chunks.last().isEcho) {
        m_chunks.last().bytes += bytes;
        return;
    }
    if (m_chunks.isEmpty())
        m_firstSince.start();
    m_chunks.append({bytes, true, false});
    advance();
}

void ChunkWriter::clear()
{
    m_retry.stop();
    while (!m_chunks.isEmpty())
        emit dropped(m_chunks.takeFirst().bytes);
}

void ChunkWriter::advance()
{
    while (!m_chunks.isEmpty()) {
        if (!m_terminal->isInUse()) {
            emit dropped(m_chunks.takeFirst().bytes);
            continue;
        }
        Chunk &chunk = m_chunks.first();
        if (!chunk.isBegun && mustWait()) {
            m_retry.start(1);
            return;
        }
        const int count = m_terminal->write(chunk.bytes);
        if (count == 0) {
            m_retry.start(1);
            return;
        }
        m_lastWrite.start();
        const QByteArray sent = chunk.bytes.left(count);
        if (count < chunk.bytes.size()) {
            chunk.bytes.remove(0, count);
            chunk.isBegun = true;
        } else {
            m_chunks.removeFirst();
            m_firstSince.start();
        }
        emit written(sent);
    }
    m_retry.stop();
}

bool ChunkWriter::mustWait() const
{
    switch (m_terminal->unread()) {
    case Pseudoterminal::Unread::No:
        return false;
    case Pseudoterminal::Unread::Unknown:
        return m_lastWrite.isValid() && m_lastWrite.elapsed() < blindPauseMs;
    case Pseudoterminal::Unread::Yes:
        break;
    }
    return m_firstSince.elapsed() < patienceMs;
}

} // namespace virtualphone
