#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QTimer>

namespace virtualphone {

class Pseudoterminal;

/// Writes chunks so that the PC reads each of them on its own, as it reads the
/// USB transfers of a phone: a chunk is written in one piece, and only after the
/// PC has read the one before. For a PC that does not read a chunk waits two
/// seconds at most. Where the system does not tell whether the PC has read,
/// chunks are written 50 ms apart.
class ChunkWriter : public QObject
{
    Q_OBJECT

public:
    /// The terminal must outlive the writer.
    explicit ChunkWriter(Pseudoterminal *terminal, QObject *parent = nullptr);

    /// Queues a chunk. It is dropped while the PC has its port closed: a port
    /// driver, too, drops what nobody reads.
    void enqueue(const QByteArray &chunk);

    /// Queues an echo. Echoes that follow each other may share a chunk.
    void enqueueEcho(const QByteArray &bytes);

    /// Whether everything was written.
    bool isIdle() const { return m_chunks.isEmpty(); }

    /// Drops what has not been written yet.
    void clear();

signals:
    /// Bytes went out in one write.
    void written(const QByteArray &bytes);

    /// Bytes were dropped: the port is closed, or clear() was called.
    void dropped(const QByteArray &bytes);

    /// Everything that was queued has been written or dropped. Emitted by the
    /// event loop only, never from within enqueue(), enqueueEcho() or clear().
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
