#include "install/portdiscovery.h"

#include "app/diagnostics.h"
#include "app/identity.h"
#include "app/settings.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <optional>

using namespace platform;

namespace {

/// A device's friendly name; "" when it cannot be read. The buffer gets twice
/// the reported size, because some Windows releases report characters instead
/// of bytes.
QString friendlyName(HDEVINFO set, DeviceInfoData *device)
{
    // A name may grow while it is read. A driver that finds no buffer large enough
    // must not stop the program for ever.
    constexpr int MostTries = 100;
    DWORD type = 0;
    DWORD size = 0;
    BYTE *buffer = nullptr;
    SIZE_T bytes = 0; // of the buffer
    bool read = false;
    for (int tries = 1; !(read = current().SetupDiGetDeviceRegistryPropertyW(
                              set, device, PropertyFriendlyName, &type, buffer, size, &size));
         ++tries) {
        if (current().GetLastError() != ErrorInsufficientBuffer || tries == MostTries)
            break;
        current().LocalFree(buffer);
        bytes = SIZE_T{size} * 2;
        buffer = static_cast<BYTE *>(current().LocalAlloc(LocalZeroInit, bytes));
        if (!buffer)
            break;
    }
    const QString name =
        read && buffer ? fromBuffer(reinterpret_cast<const WCHAR *>(buffer), bytes / sizeof(WCHAR))
                       : QString();
    current().LocalFree(buffer);
    return name;
}

bool isModemPort(const QString &name)
{
    return name.contains(TolvanePortName) || name.contains(UsbPortName);
}

/// The first digits anywhere in the name, on purpose: digits before "(COM5)" are
/// taken instead of the 5. Nothing when the name has no digit.
std::optional<int> portNumber(const QString &name)
{
    const auto isDigit = [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); };
    int i = 0;
    while (i < name.size() && !isDigit(name.at(i)))
        ++i;
    if (i == name.size())
        return std::nullopt;
    // Too many digits wrap around, which C++ allows for unsigned numbers only.
    unsigned number = 0;
    for (; i < name.size() && isDigit(name.at(i)); ++i)
        number = number * 10 + (name.at(i).unicode() - '0');
    return static_cast<int>(number);
}

} // namespace

QList<int> GetModemPorts()
{
    QList<int> ports;
    const HDEVINFO set =
        current().SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, GetPresentDevices);
    if (set == invalidHandle()) {
        qDebug() << "Got Invalid Handle Value on SetupDiGetClassDevs";
        return ports;
    }

    DeviceInfoData device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; current().SetupDiEnumDeviceInfo(set, index, &device); ++index) {
        const QString name = friendlyName(set, &device);
        qDebug() << "Got Device " << Quoted(name);
        if (!isModemPort(name))
            continue;
        const std::optional<int> port = portNumber(name);
        if (!port) {
            qDebug() << "No port number in" << Quoted(name);
            continue;
        }
        qDebug() << "Got Port " << *port;
        ports.append(*port);
    }
    const DWORD error = current().GetLastError();
    // The set is left open on this path.
    if (error != Success && error != ErrorNoMoreItems) {
        qDebug() << "Error occured after enumaration";
        return {};
    }
    current().SetupDiDestroyDeviceInfoList(set);
    return ports;
}

bool SetCurrentPortSettings()
{
    const QString function = "SetCurrentPortSettings";
    const QList<int> ports = GetModemPorts();
    int port = 0;
    if (ports.isEmpty()) {
        logError(function, "No ports available");
    } else {
        port = ports.first();
        logMessage(function, QString("port %1 available").arg(port));
    }
    // A failed search overwrites the known port with 0, which means "no port".
    storeSetting(settingskeys::CurrentPort, port);
    return !ports.isEmpty();
}
