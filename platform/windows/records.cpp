// The program's own records lie in memory as the system's do: same size, same
// offsets; where the program uses an older, shorter record, it is a prefix of
// today's. Checked by the compiler; nothing here runs.

#include "platform/platform.h"

#include <windows.h>

#include <ras.h>
#include <rasdlg.h>
#include <setupapi.h>

#define SAME_OFFSET(ours, theirs, field)                                                           \
    static_assert(offsetof(platform::ours, field) == offsetof(theirs, field), #theirs "." #field); \
    static_assert(sizeof(platform::ours::field) == sizeof(theirs::field), #theirs "." #field)
#define SAME_SIZE(ours, theirs) static_assert(sizeof(platform::ours) == sizeof(theirs), #theirs)
#define PREFIX_OF(ours, theirs) static_assert(sizeof(platform::ours) <= sizeof(theirs), #theirs)

// Macros in the system's header, so they need a name of their own.
using SystemRasConnection = RASCONNW;
using SystemRasDevice = RASDEVINFOW;
using SystemRasEntry = RASENTRYW;
using SystemDialDialog = RASDIALDLG;

SAME_SIZE(BOOL, BOOL);
SAME_SIZE(DWORD, DWORD);
SAME_SIZE(WCHAR, WCHAR);
SAME_SIZE(HANDLE, HANDLE);
SAME_SIZE(Guid, GUID);
SAME_OFFSET(Guid, GUID, Data1);
SAME_OFFSET(Guid, GUID, Data2);
SAME_OFFSET(Guid, GUID, Data3);
SAME_OFFSET(Guid, GUID, Data4);

SAME_SIZE(FileTime, FILETIME);
SAME_OFFSET(FileTime, FILETIME, dwLowDateTime);
SAME_OFFSET(FileTime, FILETIME, dwHighDateTime);

SAME_SIZE(OsVersionInfoEx, OSVERSIONINFOEXW);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, dwOSVersionInfoSize);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, dwMajorVersion);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, dwMinorVersion);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, dwBuildNumber);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, dwPlatformId);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, szCSDVersion);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, wServicePackMajor);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, wServicePackMinor);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, wSuiteMask);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, wProductType);
SAME_OFFSET(OsVersionInfoEx, OSVERSIONINFOEXW, wReserved);

SAME_SIZE(SystemInfo, SYSTEM_INFO);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, wProcessorArchitecture);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, wReserved);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, dwPageSize);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, lpMinimumApplicationAddress);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, lpMaximumApplicationAddress);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, dwActiveProcessorMask);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, dwNumberOfProcessors);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, dwProcessorType);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, dwAllocationGranularity);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, wProcessorLevel);
SAME_OFFSET(SystemInfo, SYSTEM_INFO, wProcessorRevision);

SAME_SIZE(StartupInfo, STARTUPINFOW);
SAME_OFFSET(StartupInfo, STARTUPINFOW, cb);
SAME_OFFSET(StartupInfo, STARTUPINFOW, lpReserved);
SAME_OFFSET(StartupInfo, STARTUPINFOW, lpDesktop);
SAME_OFFSET(StartupInfo, STARTUPINFOW, lpTitle);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwX);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwY);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwXSize);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwYSize);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwXCountChars);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwYCountChars);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwFillAttribute);
SAME_OFFSET(StartupInfo, STARTUPINFOW, dwFlags);
SAME_OFFSET(StartupInfo, STARTUPINFOW, wShowWindow);
SAME_OFFSET(StartupInfo, STARTUPINFOW, cbReserved2);
SAME_OFFSET(StartupInfo, STARTUPINFOW, lpReserved2);
SAME_OFFSET(StartupInfo, STARTUPINFOW, hStdInput);
SAME_OFFSET(StartupInfo, STARTUPINFOW, hStdOutput);
SAME_OFFSET(StartupInfo, STARTUPINFOW, hStdError);

SAME_SIZE(ProcessInformation, PROCESS_INFORMATION);
SAME_OFFSET(ProcessInformation, PROCESS_INFORMATION, hProcess);
SAME_OFFSET(ProcessInformation, PROCESS_INFORMATION, hThread);
SAME_OFFSET(ProcessInformation, PROCESS_INFORMATION, dwProcessId);
SAME_OFFSET(ProcessInformation, PROCESS_INFORMATION, dwThreadId);

SAME_SIZE(SecurityAttributes, SECURITY_ATTRIBUTES);
SAME_OFFSET(SecurityAttributes, SECURITY_ATTRIBUTES, nLength);
SAME_OFFSET(SecurityAttributes, SECURITY_ATTRIBUTES, lpSecurityDescriptor);
SAME_OFFSET(SecurityAttributes, SECURITY_ATTRIBUTES, bInheritHandle);

SAME_SIZE(DeviceControlBlock, DCB);
SAME_OFFSET(DeviceControlBlock, DCB, DCBlength);
SAME_OFFSET(DeviceControlBlock, DCB, BaudRate);
SAME_OFFSET(DeviceControlBlock, DCB, wReserved);
SAME_OFFSET(DeviceControlBlock, DCB, XonLim);
SAME_OFFSET(DeviceControlBlock, DCB, XoffLim);
SAME_OFFSET(DeviceControlBlock, DCB, ByteSize);
SAME_OFFSET(DeviceControlBlock, DCB, Parity);
SAME_OFFSET(DeviceControlBlock, DCB, StopBits);
SAME_OFFSET(DeviceControlBlock, DCB, XonChar);
SAME_OFFSET(DeviceControlBlock, DCB, XoffChar);
SAME_OFFSET(DeviceControlBlock, DCB, ErrorChar);
SAME_OFFSET(DeviceControlBlock, DCB, EofChar);
SAME_OFFSET(DeviceControlBlock, DCB, EvtChar);
SAME_OFFSET(DeviceControlBlock, DCB, wReserved1);

SAME_SIZE(CommTimeouts, COMMTIMEOUTS);
SAME_OFFSET(CommTimeouts, COMMTIMEOUTS, ReadIntervalTimeout);
SAME_OFFSET(CommTimeouts, COMMTIMEOUTS, ReadTotalTimeoutMultiplier);
SAME_OFFSET(CommTimeouts, COMMTIMEOUTS, ReadTotalTimeoutConstant);
SAME_OFFSET(CommTimeouts, COMMTIMEOUTS, WriteTotalTimeoutMultiplier);
SAME_OFFSET(CommTimeouts, COMMTIMEOUTS, WriteTotalTimeoutConstant);

SAME_SIZE(Overlapped, OVERLAPPED);
SAME_OFFSET(Overlapped, OVERLAPPED, Internal);
SAME_OFFSET(Overlapped, OVERLAPPED, InternalHigh);
SAME_OFFSET(Overlapped, OVERLAPPED, Offset);
SAME_OFFSET(Overlapped, OVERLAPPED, OffsetHigh);
SAME_OFFSET(Overlapped, OVERLAPPED, hEvent);

SAME_SIZE(DeviceInfoData, SP_DEVINFO_DATA);
SAME_OFFSET(DeviceInfoData, SP_DEVINFO_DATA, cbSize);
SAME_OFFSET(DeviceInfoData, SP_DEVINFO_DATA, ClassGuid);
SAME_OFFSET(DeviceInfoData, SP_DEVINFO_DATA, DevInst);
SAME_OFFSET(DeviceInfoData, SP_DEVINFO_DATA, Reserved);

SAME_SIZE(DriverInfoData, SP_DRVINFO_DATA_V2_W);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, cbSize);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, DriverType);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, Reserved);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, Description);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, MfgName);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, ProviderName);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, DriverDate);
SAME_OFFSET(DriverInfoData, SP_DRVINFO_DATA_V2_W, DriverVersion);

PREFIX_OF(RasConnection, SystemRasConnection);
SAME_OFFSET(RasConnection, SystemRasConnection, dwSize);
SAME_OFFSET(RasConnection, SystemRasConnection, hrasconn);
SAME_OFFSET(RasConnection, SystemRasConnection, szEntryName);
SAME_OFFSET(RasConnection, SystemRasConnection, szDeviceType);
SAME_OFFSET(RasConnection, SystemRasConnection, szDeviceName);
SAME_OFFSET(RasConnection, SystemRasConnection, szPhonebook);
SAME_OFFSET(RasConnection, SystemRasConnection, dwSubEntry);
SAME_OFFSET(RasConnection, SystemRasConnection, guidEntry);

SAME_SIZE(RasDeviceInfo, SystemRasDevice);
SAME_OFFSET(RasDeviceInfo, SystemRasDevice, dwSize);
SAME_OFFSET(RasDeviceInfo, SystemRasDevice, szDeviceType);
SAME_OFFSET(RasDeviceInfo, SystemRasDevice, szDeviceName);

PREFIX_OF(RasEntry, SystemRasEntry);
SAME_OFFSET(RasEntry, SystemRasEntry, dwSize);
SAME_OFFSET(RasEntry, SystemRasEntry, dwfOptions);
SAME_OFFSET(RasEntry, SystemRasEntry, dwCountryID);
SAME_OFFSET(RasEntry, SystemRasEntry, dwCountryCode);
SAME_OFFSET(RasEntry, SystemRasEntry, szAreaCode);
SAME_OFFSET(RasEntry, SystemRasEntry, szLocalPhoneNumber);
SAME_OFFSET(RasEntry, SystemRasEntry, dwAlternateOffset);
SAME_OFFSET(RasEntry, SystemRasEntry, ipaddr);
SAME_OFFSET(RasEntry, SystemRasEntry, ipaddrDns);
SAME_OFFSET(RasEntry, SystemRasEntry, ipaddrDnsAlt);
SAME_OFFSET(RasEntry, SystemRasEntry, ipaddrWins);
SAME_OFFSET(RasEntry, SystemRasEntry, ipaddrWinsAlt);
SAME_OFFSET(RasEntry, SystemRasEntry, dwFrameSize);
SAME_OFFSET(RasEntry, SystemRasEntry, dwfNetProtocols);
SAME_OFFSET(RasEntry, SystemRasEntry, dwFramingProtocol);
SAME_OFFSET(RasEntry, SystemRasEntry, szScript);
SAME_OFFSET(RasEntry, SystemRasEntry, szAutodialDll);
SAME_OFFSET(RasEntry, SystemRasEntry, szAutodialFunc);
SAME_OFFSET(RasEntry, SystemRasEntry, szDeviceType);
SAME_OFFSET(RasEntry, SystemRasEntry, szDeviceName);
SAME_OFFSET(RasEntry, SystemRasEntry, szX25PadType);
SAME_OFFSET(RasEntry, SystemRasEntry, szX25Address);
SAME_OFFSET(RasEntry, SystemRasEntry, szX25Facilities);
SAME_OFFSET(RasEntry, SystemRasEntry, szX25UserData);
SAME_OFFSET(RasEntry, SystemRasEntry, dwChannels);
SAME_OFFSET(RasEntry, SystemRasEntry, dwReserved1);
SAME_OFFSET(RasEntry, SystemRasEntry, dwReserved2);
SAME_OFFSET(RasEntry, SystemRasEntry, dwSubEntries);
SAME_OFFSET(RasEntry, SystemRasEntry, dwDialMode);
SAME_OFFSET(RasEntry, SystemRasEntry, dwDialExtraPercent);
SAME_OFFSET(RasEntry, SystemRasEntry, dwDialExtraSampleSeconds);
SAME_OFFSET(RasEntry, SystemRasEntry, dwHangUpExtraPercent);
SAME_OFFSET(RasEntry, SystemRasEntry, dwHangUpExtraSampleSeconds);
SAME_OFFSET(RasEntry, SystemRasEntry, dwIdleDisconnectSeconds);
SAME_OFFSET(RasEntry, SystemRasEntry, dwType);
SAME_OFFSET(RasEntry, SystemRasEntry, dwEncryptionType);
SAME_OFFSET(RasEntry, SystemRasEntry, dwCustomAuthKey);
SAME_OFFSET(RasEntry, SystemRasEntry, guidId);
SAME_OFFSET(RasEntry, SystemRasEntry, szCustomDialDll);
SAME_OFFSET(RasEntry, SystemRasEntry, dwVpnStrategy);

SAME_SIZE(RasDialDialog, SystemDialDialog);
SAME_OFFSET(RasDialDialog, SystemDialDialog, dwSize);
SAME_OFFSET(RasDialDialog, SystemDialDialog, hwndOwner);
SAME_OFFSET(RasDialDialog, SystemDialDialog, dwFlags);
SAME_OFFSET(RasDialDialog, SystemDialDialog, xDlg);
SAME_OFFSET(RasDialDialog, SystemDialDialog, yDlg);
SAME_OFFSET(RasDialDialog, SystemDialDialog, dwSubEntry);
SAME_OFFSET(RasDialDialog, SystemDialDialog, dwError);
SAME_OFFSET(RasDialDialog, SystemDialDialog, reserved);
SAME_OFFSET(RasDialDialog, SystemDialDialog, reserved2);
