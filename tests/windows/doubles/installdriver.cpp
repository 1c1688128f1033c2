// Double of the port driver's installer: records how it was started.

#include "tests/windows/doubles/recorder.h"

using namespace doubles;

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    wchar_t directory[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, directory);
    STARTUPINFOW startup = {};
    GetStartupInfoW(&startup);
    Line line("InstallDriver.exe");
    line.text("program", program)
        .text("commandLine", GetCommandLineW())
        .text("directory", directory)
        .hex("startupFlags", startup.dwFlags)
        .write();
    return 0;
}
