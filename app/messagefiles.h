#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

/// The files of the message log: one after the other, and the oldest of all
/// goes. What cannot be written is lost; the next line tries again. May block for
/// as long as the folder's system does.
class MessageFiles
{
public:
    /// Nothing is touched before the first write().
    explicit MessageFiles(const QString &folder) : m_folder(folder) {}

    /// Appends whole lines.
    void write(const QByteArray &lines);

    static constexpr qint64 LargestFile = 1000000; ///< bytes
    static constexpr int KeptFiles = 10;

private:
    bool openNext();
    void removeOldest() const;

    const QString m_folder;
    QFile m_file;
};
