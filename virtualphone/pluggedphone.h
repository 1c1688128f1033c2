#pragma once

#include <QByteArray>
#include <QString>

namespace virtualphone {

/// A phone in a USB socket, as the port driver of the PC sees it. The phone in
/// socket N keeps this record in the file socketN.json of the bus directory:
///
///     {"carrier": false, "pid": 1234, "plugId": "...", "product": "USB Modem Driver",
///      "tty": "/dev/pts/7"}
///
/// The file is always complete: it is replaced, never rewritten.
struct PluggedPhone {
    QString product;      ///< the port driver names the port after it
    QString tty;          ///< the port's device
    QString plugId;       ///< new at each plug-in
    bool carrier = false; ///< the carrier-detect line, which a pseudo-terminal lacks
    qint64 processId = 0; ///< a file whose process is gone was left behind

    QByteArray toJson() const;

    /// Reads such a file. False when it describes no phone; the record is then
    /// of no use.
    bool fromJson(const QByteArray &json);
};

/// "socket3.json" for socket 3.
QString socketFileName(int socket);

/// The number in such a name, or 0 for the name of any other file.
int socketOfFileName(const QString &fileName);

} // namespace virtualphone
