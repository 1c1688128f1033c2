#include "platform/platform.h"
#include "platform/windows/families.h"

namespace platform {

namespace {

/// Windows itself: every slot forwards to the function of its name and decides
/// nothing, the list of connections excepted (connectionlist.cpp). The
/// configuration manager and the driver update are found by the program through
/// Modules.
struct WindowsPlatform : Platform {
    WindowsPlatform()
    {
        provideErrorHandling(this);
        provideForeground(this);
        provideKernelObjects(this);
        provideMemory(this);
        provideModules(this);
        provideProcess(this);
        provideRas(this);
        provideRegistry(this);
        provideSecurity(this);
        provideSerialComm(this);
        provideSetupApi(this);
        provideSystemInformation(this);
    }
};

} // namespace

Platform &backend(const Program &)
{
    // Never destroyed: threads of the pool may still use it when static objects go.
    static WindowsPlatform *const windows = new WindowsPlatform;
    return *windows;
}

} // namespace platform
