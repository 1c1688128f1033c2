#include "dialup/modemdevices.h"

#include "install/fatalerror.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <algorithm>

using namespace platform;

namespace {

/// The low byte of each UTF-16 unit, without a code page: the phone's device
/// names are plain ASCII.
QByteArray narrowed(const QString &text)
{
    QByteArray bytes;
    for (const QChar c : text)
        bytes.append(static_cast<char>(c.unicode() & 0xFF));
    // A unit whose low byte is 0 ends the narrow text.
    return QByteArray(bytes.constData());
}

bool isGprsModem(const QByteArray &name)
{
    return name.contains("Tolvane GPRS Modem") || name.contains("MTK GPRS Modem");
}

} // namespace

QStringList GetRasDevices()
{
    DWORD size = 0;
    DWORD count = 0;
    const DWORD query = current().RasEnumDevicesW(nullptr, &size, &count);
    if (query == Success)
        return {};
    if (query != RasErrorBufferTooSmall)
        ShowFatalError("GetRasDevices", "Small Buffer Small Error Not Found.");

    const HANDLE heap = current().GetProcessHeap();
    // The code below writes to a whole record, even if the system reports a
    // smaller size.
    const DWORD blockSize = std::max(size, RasDeviceInfoSize);
    auto *devices =
        static_cast<RasDeviceInfo *>(current().HeapAlloc(heap, HeapZeroMemory, blockSize));
    if (!devices)
        ShowFatalError("GetRasDevices", "HeapAlloc failed!");
    devices[0].dwSize = RasDeviceInfoSize;
    if (current().RasEnumDevicesW(devices, &size, &count) != Success)
        ShowFatalError("GetRasDevices", "An Error Occured.");

    QStringList names;
    // Do not trust the count beyond the block.
    for (DWORD i = 0; i < count && i < blockSize / RasDeviceInfoSize; ++i) {
        if (fromField(devices[i].szDeviceType) != QLatin1String("modem"))
            continue;
        const QByteArray name = narrowed(fromField(devices[i].szDeviceName));
        if (isGprsModem(name))
            names.append(QString::fromLatin1(name));
    }
    current().HeapFree(heap, 0, devices);
    names.sort();
    return names;
}
