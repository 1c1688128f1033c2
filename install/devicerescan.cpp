#include "install/devicerescan.h"

#include "app/diagnostics.h"
#include "install/installationsteps.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <QThread>

using namespace platform;

namespace {

constexpr ConfigRet LibraryMissing = 1;

/// Calls one function of the configuration manager; loads the library before
/// the call and frees it afterwards. `Function` is the function's type, `name`
/// its exported name.
template<typename Function, typename... Arguments>
ConfigRet callConfigManager(const char *name, Arguments... arguments)
{
    const QString file = "cfgmgr32.dll";
    const HMODULE library = current().LoadLibraryW(wide(file));
    if (!library) {
        printDiagnostic("Error, cfgmgr32.dll not found\n");
        return LibraryMissing;
    }
    // Every Windows release that has this library has both functions.
    const auto function = reinterpret_cast<Function>(current().GetProcAddress(library, name));
    const ConfigRet result = function(arguments...);
    current().FreeLibrary(library);
    return result;
}

} // namespace

bool ReScanDriver()
{
    const QString function = "ReScanDriver()";
    DEVINST root = 0;
    if (LocateDevNode(&root, nullptr, LocateNormal, nullptr) != ConfigSuccess) {
        logError(function, "CM_Locate_DevNode_Ex failed");
        return false;
    }
    logMessage(function, "CM_Locate_DevNode_Ex done");
    if (ReenumerateDevNode(root, ReenumerateNormal, nullptr) != ConfigSuccess) {
        logError(function, "CM_Reenumerate_DevNode_Ex failed");
        return false;
    }
    logMessage(function, "CM_Reenumerate_DevNode_Ex done");
    // A thread that waits for itself returns at once with a warning, so this
    // is no pause. None is needed: the rescan is synchronous. Kept on purpose.
    QThread::currentThread()->wait(40);
    return true;
}

ConfigRet LocateDevNode(DEVINST *devInst, const char *deviceId, ULONG flags, MachineHandle machine)
{
    return callConfigManager<CmLocateDevNodeFunction>("CM_Locate_DevNode_ExA", devInst,
                                                      const_cast<char *>(deviceId), flags, machine);
}

ConfigRet ReenumerateDevNode(DEVINST devInst, ULONG flags, MachineHandle machine)
{
    return callConfigManager<CmReenumerateDevNodeFunction>("CM_Reenumerate_DevNode_Ex", devInst,
                                                           flags, machine);
}
