#include "platform/registry.h"

#include "platform/simulated/deviceinstallation.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/openkey.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <cstring>

namespace platform::simulated {

namespace {
constexpr LONG ErrorKeyDeleted = 1018; // ERROR_KEY_DELETED
}

LONG DeviceInstallation::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved,
                                        DWORD dwType, const BYTE *lpData, DWORD cbData)
{
    const auto key = m_keys.find(hKey);
    if (!key)
        return ErrorInvalidHandle;
    if (Reserved != 0 || (!lpData && cbData != 0))
        return ErrorInvalidParameter;
    if (dwType != RegistryString) {
        failUnsupported("RegSetValueExW", "values other than texts");
        return ErrorNotSupported;
    }
    QString text(static_cast<int>(cbData / sizeof(WCHAR)), Qt::Uninitialized);
    std::memcpy(text.data(), lpData, cbData - cbData % sizeof(WCHAR));
    // The byte count includes the terminator, which is no part of the text.
    if (text.endsWith(QChar(0)))
        text.chop(1);

    MachineSession session(m_directory);
    Device *device = session.state.findDevice(key->instanceId);
    // A handle may outlive its device; it is then good for nothing.
    if (!device || !device->hasDriverKey)
        return ErrorKeyDeleted;
    device->driverKey[lpValueName ? fromWide(lpValueName) : QString()] = text;
    return session.save() ? Success : ErrorGenFailure;
}

LONG DeviceInstallation::RegCloseKey(HKEY hKey)
{
    return m_keys.remove(hKey) ? Success : ErrorInvalidHandle;
}

} // namespace platform::simulated
