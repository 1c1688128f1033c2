// Double of newdev.dll. With "reboot yes" in the machine file the update asks
// for a restart.

#include "tests/windows/doubles/recorder.h"

using namespace doubles;

extern "C" {

__declspec(dllexport) BOOL WINAPI
    UpdateDriverForPlugAndPlayDevicesW(HWND parent, LPCWSTR hardwareId, LPCWSTR infPath,
                                       DWORD flags, BOOL *rebootRequired)
{
    Line line("UpdateDriverForPlugAndPlayDevicesW");
    line.pointer("parent", parent)
        .buffer("hardwareId", hardwareId, 32)
        .buffer("inf", infPath, 261)
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
    line.number("result", 1);
    if (rebootRequired && machineText("reboot", L"no") == L"yes") {
        *rebootRequired = TRUE;
        line.word("reboot", "true");
    }
    line.write();
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
