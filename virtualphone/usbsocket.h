#pragma once

#include "virtualphone/pluggedphone.h"

#include <QLockFile>
#include <QString>

#include <memory>

namespace virtualphone {

/// One socket of the USB bus, a directory that the phone and the PC share. The
/// phone in the socket keeps a PluggedPhone there, with a lock beside it: what a
/// killed phone left can be told from what belongs to a phone that runs.
class UsbSocket
{
public:
    UsbSocket(const QString &busDirectory, int number);
    ~UsbSocket();

    /// Takes the socket; the bus directory is made when it is missing. False with
    /// a message when another phone has the socket or the directory cannot be
    /// written.
    bool claim(QString *error);

    /// Shows the phone to the PC, with this process as its own. False with a
    /// message when the record cannot be written; the one before stays.
    bool publish(PluggedPhone phone, QString *error);

    /// Removes the record and frees the socket.
    void release();

private:
    const QString m_directory;
    const QString m_fileName;
    std::unique_ptr<QLockFile> m_lock;
};

} // namespace virtualphone
