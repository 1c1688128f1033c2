#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD HeapZeroMemory = 0x8; ///< HEAP_ZERO_MEMORY
inline constexpr UINT LocalZeroInit = 64;    ///< LPTR: fixed and zero-filled

/// Process heap and local heap (kernel32). Any thread.
struct Memory : Family {
    /// The heap to hand to HeapAlloc and HeapFree; never freed.
    Operation<HANDLE()> GetProcessHeap{this, "GetProcessHeap", FailureCode::None};

    /// A block of dwBytes bytes owned by the caller until HeapFree; null when
    /// there is no memory (GetLastError is not set).
    Operation<void *(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)> HeapAlloc{this, "HeapAlloc"};

    /// Frees a HeapAlloc block; zero on failure.
    Operation<BOOL(HANDLE hHeap, DWORD dwFlags, void *lpMem)> HeapFree{this, "HeapFree"};

    /// A block of uBytes bytes owned by the caller until LocalFree; null when
    /// there is no memory (GetLastError: 8).
    Operation<void *(UINT uFlags, SIZE_T uBytes)> LocalAlloc{this, "LocalAlloc"};

    /// Frees a LocalAlloc block (null is allowed); null on success.
    Operation<void *(void *hMem)> LocalFree{this, "LocalFree", firstArgument};
};

} // namespace platform
