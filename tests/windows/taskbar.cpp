// Asks every window that comes up for its icon, as Windows' taskbar does: the
// toolkit finishes the layout of a wizard when it is asked. Wine's own desktop
// asks before a window is shown and not again, and tells no other process that
// one is shown, so this one looks. Runs until it is ended.

#include <windows.h>

#include <set>

namespace {

using Windows = std::set<HWND>;

BOOL CALLBACK addVisible(HWND window, LPARAM windows)
{
    if (IsWindowVisible(window))
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
        Windows visible;
        EnumWindows(addVisible, reinterpret_cast<LPARAM>(&visible));
        // Posted, since Wine does not pass this message on to another process
        // when it is sent; the answer is of no use here.
        for (HWND window : visible) {
            if (asked.count(window) == 0)
                PostMessageW(window, WM_GETICON, ICON_BIG, 0);
        }
        asked = visible;
    }
    return 0;
}
