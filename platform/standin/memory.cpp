#include "platform/standin/memory.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"

#include <algorithm>
#include <cstdlib>

namespace platform {

namespace {

char processHeap;

/// As on Windows, a block of no bytes has an address of its own.
void *allocate(SIZE_T bytes, bool zeroed)
{
    const SIZE_T size = std::max<SIZE_T>(bytes, 1);
    return zeroed ? std::calloc(1, size) : std::malloc(size);
}

HANDLE GetProcessHeap()
{
    return &processHeap;
}

void *HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    if (hHeap != &processHeap)
        return nullptr;
    return allocate(dwBytes, (dwFlags & HeapZeroMemory) != 0);
}

BOOL HeapFree(HANDLE hHeap, DWORD, void *lpMem)
{
    if (hHeap != &processHeap)
        return fail(ErrorInvalidHandle);
    std::free(lpMem);
    return 1;
}

void *LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    if (uFlags & ~LocalZeroInit) {
        failUnsupported("LocalAlloc", "movable blocks");
        return nullptr;
    }
    void *block = allocate(uBytes, (uFlags & LocalZeroInit) != 0);
    if (!block)
        setLastError(ErrorNotEnoughMemory);
    return block;
}

void *LocalFree(void *hMem)
{
    std::free(hMem);
    return nullptr;
}

} // namespace

void provideMemory(Platform *platform)
{
    platform->GetProcessHeap = GetProcessHeap;
    platform->HeapAlloc = HeapAlloc;
    platform->HeapFree = HeapFree;
    platform->LocalAlloc = LocalAlloc;
    platform->LocalFree = LocalFree;
}

} // namespace platform
