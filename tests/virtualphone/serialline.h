#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// The PC's end of a pseudo-terminal, read the way the program reads its
/// port: each read takes what is there and is a chunk.
class SerialLine
{
public:
    explicit SerialLine(const QString &device);
    ~SerialLine();
    SerialLine(const SerialLine &) = delete;
    SerialLine &operator=(const SerialLine &) = delete;

    bool isOpen() const { return m_descriptor >= 0; }
    int descriptor() const { return m_descriptor; }

    /// Writes everything, in one write as long as the line has room for it.
    /// False when the other side takes nothing for three seconds.
    bool write(const QByteArray &bytes);

    /// Waits for bytes and takes them in one read; empty when none come in
    /// three seconds or the line hung up.
    QByteArray readChunk();

    /// Reads that many chunks.
    QList<QByteArray> readChunks(int count);

    /// Reads chunks until so many bytes are there.
    QByteArray readBytes(int count);

    /// Waits until the line hangs up; false when it does not in three seconds.
    bool waitForHangUp();

    /// Whether a byte is there now.
    bool hasInput() const;

private:
    int m_descriptor;
};
