// Double of rasdlg.dll: the dial dialog, answered by the machine file:
//   dial connect     the person connects; the connection is then active
//   dial cancel      the person cancels
//   dial ask         a window "Connect ENTRY" asks; OK connects

#include "tests/windows/doubles/recorder.h"

#include "platform/ras.h"

using namespace doubles;

extern "C" __declspec(dllexport) BOOL WINAPI
    RasDialDlgW(LPWSTR phonebook, LPWSTR entry, LPWSTR number, platform::RasDialDialog *info)
{
    Line line("RasDialDlgW");
    line.text("phonebook", phonebook)
        .buffer("entry", entry, 200)
        .text("number", number)
        .number("dwSize", info->dwSize)
        .zero("rest", reinterpret_cast<const BYTE *>(info) + 4, sizeof *info - 4);

    const auto failure = scriptedFailure("RasDialDlgW");
    const std::wstring script = machineText("dial", L"cancel");
    bool connected = !failure && script == L"connect";
    if (!failure && script == L"ask") {
        const std::wstring title = std::wstring(L"Connect ") + entry;
        const std::wstring text = std::wstring(L"Dial ") + number + L"?";
        connected = MessageBoxW(static_cast<HWND>(info->hwndOwner), text.c_str(), title.c_str(),
                                MB_OKCANCEL) == IDOK;
    }
    if (connected) {
        auto names = activeConnections();
        names.push_back(entry);
        setActiveConnections(names);
    }
    info->dwError = failure.value_or(0);
    line.arrow().item(connected ? "1" : "0").write();
    return connected;
}
