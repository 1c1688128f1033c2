#pragma once

#include "platform/memory.h"

namespace platform {

/// The process heap and the local heap over malloc(3). There is one heap; a
/// handle to any other is refused.
class PosixMemory : public Memory
{
public:
    HANDLE GetProcessHeap() override;
    void *HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes) override;
    BOOL HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem) override;
    void *LocalAlloc(UINT uFlags, SIZE_T uBytes) override;
    void *LocalFree(void *hMem) override;
};

} // namespace platform
