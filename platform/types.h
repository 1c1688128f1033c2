#pragma once

#include <cstdint>

// The operating system's basic types, with the sizes they have on 64-bit
// Windows, so that every record and byte count is the same on every system.
namespace platform {

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG_PTR = std::uintptr_t;
using SIZE_T = std::size_t;

/// One UTF-16 unit. wchar_t has 32 bits outside Windows, so char16_t stands in
/// there and byte counts (2 x n + 2) hold everywhere.
#ifdef _WIN32
using WCHAR = wchar_t;
#define TMC_WINAPI __stdcall
#else
using WCHAR = char16_t;
#define TMC_WINAPI
#endif
static_assert(sizeof(WCHAR) == 2, "platform text is UTF-16");

using HANDLE = void *;
using HWND = void *;
using HMODULE = void *;
using HKEY = void *;
using HDEVINFO = void *;
/// A device node of the configuration manager (DEVINST).
using DEVINST = DWORD;

/// INVALID_HANDLE_VALUE: what handle-returning operations give on failure,
/// CreateEventW excepted (null).
inline HANDLE invalidHandle()
{
    return reinterpret_cast<HANDLE>(~ULONG_PTR{0});
}

/// GUID: an identifier of a device class or an interface.
struct Guid {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
static_assert(sizeof(Guid) == 16, "GUID");

inline bool operator==(const Guid &a, const Guid &b)
{
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
        return false;
    for (int i = 0; i < 8; ++i) {
        if (a.Data4[i] != b.Data4[i])
            return false;
    }
    return true;
}

// Error numbers that the program tests for or that the stand-ins answer with.
inline constexpr DWORD Success = 0;                    ///< ERROR_SUCCESS
inline constexpr DWORD ErrorFileNotFound = 2;          ///< ERROR_FILE_NOT_FOUND
inline constexpr DWORD ErrorAccessDenied = 5;          ///< ERROR_ACCESS_DENIED
inline constexpr DWORD ErrorInvalidHandle = 6;         ///< ERROR_INVALID_HANDLE
inline constexpr DWORD ErrorNotEnoughMemory = 8;       ///< ERROR_NOT_ENOUGH_MEMORY
inline constexpr DWORD ErrorInvalidData = 13;          ///< ERROR_INVALID_DATA
inline constexpr DWORD ErrorGenFailure = 31;           ///< ERROR_GEN_FAILURE
inline constexpr DWORD ErrorNotSupported = 50;         ///< ERROR_NOT_SUPPORTED
inline constexpr DWORD ErrorFileExists = 80;           ///< ERROR_FILE_EXISTS
inline constexpr DWORD ErrorInvalidParameter = 87;     ///< ERROR_INVALID_PARAMETER
inline constexpr DWORD ErrorInsufficientBuffer = 122;  ///< ERROR_INSUFFICIENT_BUFFER
inline constexpr DWORD ErrorModuleNotFound = 126;      ///< ERROR_MOD_NOT_FOUND
inline constexpr DWORD ErrorProcedureNotFound = 127;   ///< ERROR_PROC_NOT_FOUND
inline constexpr DWORD ErrorAlreadyExists = 183;       ///< ERROR_ALREADY_EXISTS
inline constexpr DWORD ErrorNoMoreItems = 259;         ///< ERROR_NO_MORE_ITEMS
inline constexpr DWORD ErrorOperationAborted = 995;    ///< ERROR_OPERATION_ABORTED
inline constexpr DWORD ErrorIoPending = 997;           ///< ERROR_IO_PENDING
inline constexpr DWORD ErrorInvalidFlags = 1004;       ///< ERROR_INVALID_FLAGS
inline constexpr DWORD ErrorDeviceNotConnected = 1167; ///< ERROR_DEVICE_NOT_CONNECTED

} // namespace platform
