#pragma once

#include "platform/linux/deviceinstallation.h"
#include "platform/modules.h"

#include <atomic>

namespace platform {

/// The system libraries that the program binds at run time. Here they are
/// doors to this backend: "cfgmgr32.dll" to udev, "newdev.dll" to the driver
/// update, "kernel32.dll" to facts about the system. Any thread.
class SystemLibraries : public Modules
{
public:
    /// Bound functions have no object to belong to: they work on the device
    /// installation given here last, which must outlive every call.
    explicit SystemLibraries(DeviceInstallation *installation);

    HMODULE GetModuleHandleW(const WCHAR *lpModuleName) override;
    HMODULE LoadLibraryW(const WCHAR *lpLibFileName) override;
    FunctionAddress GetProcAddress(HMODULE hModule, const char *lpProcName) override;
    BOOL FreeLibrary(HMODULE hLibModule) override;
};

} // namespace platform
