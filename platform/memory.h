#pragma once

#include "platform/types.h"

namespace platform {

inline constexpr DWORD HeapZeroMemory = 0x8; ///< HEAP_ZERO_MEMORY
inline constexpr UINT LocalZeroInit = 64;    ///< LPTR: fixed and zero-filled

/// Process heap and local heap (kernel32). Any thread.
class Memory
{
public:
    virtual ~Memory() = default;

    /// The heap to hand to HeapAlloc and HeapFree; never freed.
    virtual HANDLE GetProcessHeap() = 0;

    /// A block of dwBytes bytes owned by the caller until HeapFree; null when
    /// there is no memory (GetLastError is not set).
    virtual void *HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes) = 0;

    /// Frees a HeapAlloc block; zero on failure.
    virtual BOOL HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem) = 0;

    /// A block of uBytes bytes owned by the caller until LocalFree; null when
    /// there is no memory (GetLastError: 8).
    virtual void *LocalAlloc(UINT uFlags, SIZE_T uBytes) = 0;

    /// Frees a LocalAlloc block (null is allowed); null on success.
    virtual void *LocalFree(void *hMem) = 0;
};

} // namespace platform
