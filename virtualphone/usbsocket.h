#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

namespace virtualphone {

/// What the PC's port driver sees of the phone in a USB socket.
struct PluggedPhone {
    QString product; ///< what the driver names the port
    QString tty;     ///< the port's device
    QString plugId;  ///< new at each plug-in
    bool carrier;    ///< the carrier-detect line, which a pseudo-terminal lacks
};

/// One socket of the simulated PC's USB bus: a directory in which a phone
/// that is plugged into socket N keeps the file socketN.json,
///
///     {"carrier": false, "pid": 1234, "plugId": "...", "product": "USB Modem Driver",
///      "tty": "/dev/pts/7"}
///
/// always complete: it is replaced, never rewritten. A lock beside it says
/// that its phone is alive, so that what a killed phone left is replaced.
class UsbSocket
{
public:
    UsbSocket(const QString &busDirectory, int number);
    ~UsbSocket();

    /// Takes the socket, making the bus directory when it is missing. False
    /// with a message when a phone is plugged in, or the directory is refused.
    bool claim(QString *error);

    /// Shows the phone to the PC. False with a message when it cannot be
    /// written; what was shown before stays then.
    bool publish(const PluggedPhone &phone, QString *error);

    /// Takes the file away and frees the socket.
    void release();

private:
    const QString m_directory;
    const QString m_fileName;
    std::unique_ptr<QLockFile> m_lock;
};

/// The bus that is used when none is named: $SIMULATED_PC/usb, or else
/// tolvane-simulated-pc/usb in $XDG_STATE_HOME or ~/.local/state.
QString defaultBusDirectory();

/// A lock held by this process as long as it lives; one that a dead process
/// left is taken over. Null with the holder's process id (0: the file cannot be
/// made) when it is not to be had.
std::unique_ptr<QLockFile> takeLock(const QString &fileName, qint64 *holder);

} // namespace virtualphone
