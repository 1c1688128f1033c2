// Asks every window with a title that comes up for its icon, as Windows'
// taskbar does (and Windows itself for a title it draws): the toolkit finishes
// the layout of a wizard when it is asked. Wine asks before a window is shown
// and not again, and tells no other process that one is shown, so this one
// looks. Runs until it is ended.

#include <windows.h>

#include <set>

namespace {

using Windows = std::set<HWND>;

BOOL CALLBACK addTitled(HWND window, LPARAM windows)
{
    const LONG style = GetWindowLongW(window, GWL_STYLE);
    if ((style & WS_VISIBLE) != 0 && (style & WS_CAPTION) == WS_CAPTION)
        reinterpret_cast<Windows *>(windows)->insert(window);
    return TRUE;
}

} // namespace

int main()
{
    constexpr UINT lookEvery = 100; // milliseconds
    Windows asked;
    SetTimer(nullptr, 0, lookEvery, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        Windows titled;
        EnumWindows(addTitled, reinterpret_cast<LPARAM>(&titled));
        // Posted, since Wine does not pass this message on to another process
        // when it is sent; the answer is of no use here.
        for (HWND window : titled) {
            if (asked.count(window) == 0)
                PostMessageW(window, WM_GETICON, ICON_BIG, 0);
        }
        asked = titled;
    }
    return 0;
}
