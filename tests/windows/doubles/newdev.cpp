// Double of newdev.dll. With "reboot yes" in the machine file the update asks
// for a restart.

#include "tests/windows/doubles/recorder.h"

#include <algorithm>

using namespace doubles;

extern "C" {

__declspec(dllexport) BOOL WINAPI
    UpdateDriverForPlugAndPlayDevicesW(HWND parent, LPCWSTR hardwareId, LPCWSTR infPath,
                                       DWORD flags, BOOL *rebootRequired)
{
    Line line("UpdateDriverForPlugAndPlayDevicesW");
    line.pointer("parent", parent)
        .text("hardwareId", hardwareId)
        .zero("behind", hardwareId + lstrlenW(hardwareId), 4)
        .text("inf", infPath)
        .number("flags", flags)
        .word("reboot", !rebootRequired   ? "null"
                        : *rebootRequired ? "true"
                                          : "false")
        .arrow();
    if (const auto code = scriptedFailure("UpdateDriverForPlugAndPlayDevicesW")) {
        line.number("result", 0).number("error", *code).write();
        SetLastError(*code);
        return FALSE;
    }
    if (rebootRequired && machineText("reboot", L"no") == L"yes")
        *rebootRequired = TRUE;
    line.number("result", 1).write();
    return TRUE;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void *processEnds)
{
    if (reason == DLL_PROCESS_ATTACH)
        Line("newdev.dll loaded").write();
    if (reason == DLL_PROCESS_DETACH && !processEnds)
        Line("newdev.dll freed").write();
    return TRUE;
}
}
