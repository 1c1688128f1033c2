#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QTimer>

namespace virtualphone {

class Pseudoterminal;

/// Sends chunks so that the PC finds each of them alone: a chunk is written
/// in one piece, and only once the PC has read what was written before. This
/// is how a reader that judges every read on its own meets a phone, whose USB
/// transfers arrive one by one. A PC that does not read holds a chunk up for
/// two seconds at most; where the system does not tell whether it has read,
/// chunks are kept 50 ms apart.
class ChunkWriter : public QObject
{
    Q_OBJECT

public:
    /// The terminal must outlive the writer.
    explicit ChunkWriter(Pseudoterminal *terminal, QObject *parent = nullptr);

    /// Queues a chunk. While the PC has its port closed it is dropped, as by
    /// a port driver that nobody reads from.
    void enqueue(const QByteArray &chunk);

    /// Queues an echo: characters that are echoed one after the other may
    /// share a chunk.
    void enqueueEcho(const QByteArray &bytes);

    /// Whether everything was written.
    bool isIdle() const { return m_chunks.isEmpty(); }

    /// Drops what was not written yet.
    void clear();

signals:
    /// Bytes went out in one write.
    void written(const QByteArray &bytes);

    /// Bytes were dropped: the port is closed, or clear() was called.
    void dropped(const QByteArray &bytes);

    /// Everything that was queued is written or dropped. Not emitted from
    /// within enqueue() and enqueueEcho(), clear() does not emit it.
    void idle();

private:
    struct Chunk {
        QByteArray bytes;
        bool isEcho;
        bool isBegun; // the line was full: the rest follows without a pause
    };

    void advance();
    bool mustWait() const;

    Pseudoterminal *m_terminal;
    QList<Chunk> m_chunks;
    QElapsedTimer m_firstSince; // when the first chunk became the first
    QElapsedTimer m_lastWrite;
    QTimer m_retry;
};

} // namespace virtualphone
