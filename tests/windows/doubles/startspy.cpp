#include "tests/windows/doubles/startspy.h"

#include <shlobj.h>

namespace doubles {

Handles &namedEvents()
{
    static Handles handles("named");
    return handles;
}

HANDLE createNamedEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial, LPCWSTR name)
{
    Line line("CreateEventW");
    line.text("name", name)
        .word("rights", security ? "set" : "null")
        .number("manual", manual)
        .number("initial", initial);
    const HANDLE event = CreateEventW(security, manual, initial, name);
    const DWORD error = GetLastError();
    namedEvents().opened(event);
    line.arrow().item(namedEvents().name(event)).number("error", error).write();
    SetLastError(error);
    return event;
}

BOOL WINAPI spySetEvent(HANDLE event)
{
    if (!namedEvents().contains(event))
        return SetEvent(event);
    Line line("SetEvent");
    line.item(namedEvents().name(event));
    return went(line, SetEvent(event));
}

BOOL WINAPI spyIsUserAnAdmin()
{
    Line line("IsUserAnAdmin");
    if (fails("IsUserAnAdmin", line))
        return FALSE;
    return went(line, IsUserAnAdmin());
}

BOOL WINAPI spyAllowSetForegroundWindow(DWORD process)
{
    Line line("AllowSetForegroundWindow");
    line.hex("process", process);
    if (fails("AllowSetForegroundWindow", line))
        return FALSE;
    return went(line, AllowSetForegroundWindow(process));
}

BOOL WINAPI spyConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                    PSECURITY_DESCRIPTOR *rights,
                                                                    PULONG size)
{
    Line line("ConvertStringSecurityDescriptorToSecurityDescriptorW");
    line.text("rights", text).number("revision", revision).pointer("size", size);
    if (fails("ConvertStringSecurityDescriptorToSecurityDescriptorW", line))
        return FALSE;
    return went(line,
                ConvertStringSecurityDescriptorToSecurityDescriptorW(text, revision, rights, size));
}

} // namespace doubles
