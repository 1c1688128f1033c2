// Double of cfgmgr32.dll.

#include "tests/windows/doubles/recorder.h"

using namespace doubles;

namespace {

constexpr DWORD rootNode = 0x00D00001;

} // namespace

extern "C" {

__declspec(dllexport) DWORD WINAPI
    CM_Locate_DevNode_ExA(DWORD *node, const char *id, ULONG flags, HANDLE machine)
{
    Line line("CM_Locate_DevNode_ExA");
    line.pointer("id", id).number("flags", flags).pointer("machine", machine).arrow();
    const DWORD result = scriptedFailure("CM_Locate_DevNode_ExA").value_or(0);
    if (result == 0)
        *node = rootNode;
    line.number("result", result).write();
    return result;
}

__declspec(dllexport) DWORD WINAPI
    CM_Reenumerate_DevNode_Ex(DWORD node, ULONG flags, HANDLE machine)
{
    Line line("CM_Reenumerate_DevNode_Ex");
    line.word("node", node == rootNode ? "root" : "OTHER")
        .number("flags", flags)
        .pointer("machine", machine)
        .arrow();
    const DWORD result = scriptedFailure("CM_Reenumerate_DevNode_Ex").value_or(0);
    line.number("result", result).write();
    return result;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void *processEnds)
{
    if (reason == DLL_PROCESS_ATTACH)
        Line("cfgmgr32.dll loaded").write();
    if (reason == DLL_PROCESS_DETACH && !processEnds)
        Line("cfgmgr32.dll freed").write();
    return TRUE;
}
}
