#pragma once

#include "platform/standin/devices.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace platform {

/// The number of the first port that is plugged in: on a PC, COM1 to COM4 are
/// for ports on board.
inline constexpr int FirstPluggedPort = 5;

/// A serial port that is present now, as its bus tells. A value.
struct PortDevice {
    int number = 0; ///< the n of COMn
    QString friendlyName;
    QString instanceId;
    QStringList hardwareIds;
};

/// What device installation needs to know of its machine: everything in which
/// machines differ. Results are error codes, 0 for success. Any thread.
class Machine
{
public:
    virtual ~Machine() = default;

    /// The serial ports, in the order in which they are listed.
    virtual DWORD presentPorts(QList<PortDevice> *ports) = 0;

    /// The registered devices. 13 when what is kept of them is damaged.
    virtual DWORD readDevices(DeviceList *list) = 0;

    /// Changes the registered devices: the function gets what is there and
    /// answers Success, or the code with which the change fails and nothing is
    /// stored. No other process comes in between. 5 without administrator
    /// rights, also when nothing was to be changed; the function is then not
    /// called. Never call it, or another method of the machine but those of
    /// the INF store, from inside the function.
    virtual DWORD changeDevices(const std::function<DWORD(DeviceList *list)> &change) = 0;

    /// The folder of the INF store; it need not exist.
    virtual QString infFolder() const = 0;

    /// Writes a file of the INF store, all of it or nothing. Called from inside
    /// changeDevices().
    virtual DWORD writeInf(const QString &fileName, const QByteArray &content) = 0;

    /// The name of a device that gets a driver of that description, unlike any
    /// other's: "… #2", "… #3" and so on. Called from inside changeDevices().
    virtual QString newDeviceName(const QList<RootDevice> &devices,
                                  const QString &description) const
    {
        return uniqueName(devices, description);
    }

    /// The platforms whose models this machine takes from an INF, the best one
    /// first: "NTamd64", or "" for sections without a decoration.
    virtual QStringList modelDecorations() = 0;
};

} // namespace platform
