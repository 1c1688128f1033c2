#include "platform/posix/composedplatform.h"

#include "platform/posix/lasterror.h"

namespace platform {

ComposedPlatform::ComposedPlatform(const Families &families) : m_families(families) {}

DWORD ComposedPlatform::GetLastError()
{
    return lastError();
}

void ComposedPlatform::SetLastError(DWORD dwErrCode)
{
    setLastError(dwErrCode);
}

HANDLE ComposedPlatform::CreateEventW(void *lpEventAttributes, BOOL bManualReset,
                                      BOOL bInitialState, const WCHAR *lpName)
{
    return m_families.kernelObjects->CreateEventW(lpEventAttributes, bManualReset, bInitialState,
                                                  lpName);
}

DWORD ComposedPlatform::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return m_families.kernelObjects->WaitForSingleObject(hHandle, dwMilliseconds);
}

BOOL ComposedPlatform::CloseHandle(HANDLE hObject)
{
    return m_families.kernelObjects->CloseHandle(hObject);
}

HANDLE ComposedPlatform::GetProcessHeap()
{
    return m_families.memory->GetProcessHeap();
}

void *ComposedPlatform::HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    return m_families.memory->HeapAlloc(hHeap, dwFlags, dwBytes);
}

BOOL ComposedPlatform::HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem)
{
    return m_families.memory->HeapFree(hHeap, dwFlags, lpMem);
}

void *ComposedPlatform::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return m_families.memory->LocalAlloc(uFlags, uBytes);
}

void *ComposedPlatform::LocalFree(void *hMem)
{
    return m_families.memory->LocalFree(hMem);
}

HMODULE ComposedPlatform::GetModuleHandleW(const WCHAR *lpModuleName)
{
    return m_families.modules->GetModuleHandleW(lpModuleName);
}

HMODULE ComposedPlatform::LoadLibraryW(const WCHAR *lpLibFileName)
{
    return m_families.modules->LoadLibraryW(lpLibFileName);
}

FunctionAddress ComposedPlatform::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    return m_families.modules->GetProcAddress(hModule, lpProcName);
}

BOOL ComposedPlatform::FreeLibrary(HMODULE hLibModule)
{
    return m_families.modules->FreeLibrary(hLibModule);
}

BOOL ComposedPlatform::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                      void *lpProcessAttributes, void *lpThreadAttributes,
                                      BOOL bInheritHandles, DWORD dwCreationFlags,
                                      void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                      StartupInfo *lpStartupInfo,
                                      ProcessInformation *lpProcessInformation)
{
    return m_families.process->CreateProcessW(
        lpApplicationName, lpCommandLine, lpProcessAttributes, lpThreadAttributes, bInheritHandles,
        dwCreationFlags, lpEnvironment, lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
}

DWORD ComposedPlatform::RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                                            DWORD *lpcConnections)
{
    return m_families.ras->RasEnumConnectionsW(lprasconn, lpcb, lpcConnections);
}

DWORD ComposedPlatform::RasHangUpW(RasConnectionHandle hrasconn)
{
    return m_families.ras->RasHangUpW(hrasconn);
}

BOOL ComposedPlatform::RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                                   RasDialDialog *lpInfo)
{
    return m_families.ras->RasDialDlgW(lpszPhonebook, lpszEntry, lpszPhoneNumber, lpInfo);
}

DWORD ComposedPlatform::RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
{
    return m_families.ras->RasEnumDevicesW(lpRasDevInfo, lpcb, lpcDevices);
}

DWORD ComposedPlatform::RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                               RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                               BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize)
{
    return m_families.ras->RasGetEntryPropertiesW(
        lpszPhonebook, lpszEntry, lpRasEntry, lpdwEntryInfoSize, lpbDeviceInfo, lpdwDeviceInfoSize);
}

DWORD ComposedPlatform::RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                               RasEntry *lpRasEntry, DWORD dwEntryInfoSize,
                                               BYTE *lpbDeviceInfo, DWORD dwDeviceInfoSize)
{
    return m_families.ras->RasSetEntryPropertiesW(lpszPhonebook, lpszEntry, lpRasEntry,
                                                  dwEntryInfoSize, lpbDeviceInfo, dwDeviceInfoSize);
}

LONG ComposedPlatform::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved,
                                      DWORD dwType, const BYTE *lpData, DWORD cbData)
{
    return m_families.registry->RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData, cbData);
}

LONG ComposedPlatform::RegCloseKey(HKEY hKey)
{
    return m_families.registry->RegCloseKey(hKey);
}

HANDLE ComposedPlatform::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess,
                                     DWORD dwShareMode, void *lpSecurityAttributes,
                                     DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                     HANDLE hTemplateFile)
{
    return m_families.serialComm->CreateFileW(lpFileName, dwDesiredAccess, dwShareMode,
                                              lpSecurityAttributes, dwCreationDisposition,
                                              dwFlagsAndAttributes, hTemplateFile);
}

BOOL ComposedPlatform::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return m_families.serialComm->GetCommState(hFile, lpDCB);
}

BOOL ComposedPlatform::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return m_families.serialComm->SetCommState(hFile, lpDCB);
}

BOOL ComposedPlatform::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    return m_families.serialComm->SetCommTimeouts(hFile, lpCommTimeouts);
}

BOOL ComposedPlatform::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    return m_families.serialComm->SetCommMask(hFile, dwEvtMask);
}

BOOL ComposedPlatform::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    return m_families.serialComm->WaitCommEvent(hFile, lpEvtMask, lpOverlapped);
}

BOOL ComposedPlatform::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                                DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    return m_families.serialComm->ReadFile(hFile, lpBuffer, nNumberOfBytesToRead,
                                           lpNumberOfBytesRead, lpOverlapped);
}

BOOL ComposedPlatform::WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                                 DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
{
    return m_families.serialComm->WriteFile(hFile, lpBuffer, nNumberOfBytesToWrite,
                                            lpNumberOfBytesWritten, lpOverlapped);
}

BOOL ComposedPlatform::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                           DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    return m_families.serialComm->GetOverlappedResult(hFile, lpOverlapped,
                                                      lpNumberOfBytesTransferred, bWait);
}

BOOL ComposedPlatform::SetupCopyOEMInfW(const WCHAR *SourceInfFileName,
                                        const WCHAR *OEMSourceMediaLocation,
                                        DWORD OEMSourceMediaType, DWORD CopyStyle,
                                        WCHAR *DestinationInfFileName,
                                        DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                        WCHAR **DestinationInfFileNameComponent)
{
    return m_families.setupApi->SetupCopyOEMInfW(SourceInfFileName, OEMSourceMediaLocation,
                                                 OEMSourceMediaType, CopyStyle,
                                                 DestinationInfFileName, DestinationInfFileNameSize,
                                                 RequiredSize, DestinationInfFileNameComponent);
}

BOOL ComposedPlatform::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                                           DWORD ClassNameSize, DWORD *RequiredSize)
{
    return m_families.setupApi->SetupDiGetINFClassW(InfName, ClassGuid, ClassName, ClassNameSize,
                                                    RequiredSize);
}

HDEVINFO ComposedPlatform::SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator,
                                                HWND hwndParent, DWORD Flags)
{
    return m_families.setupApi->SetupDiGetClassDevsW(ClassGuid, Enumerator, hwndParent, Flags);
}

HDEVINFO ComposedPlatform::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent)
{
    return m_families.setupApi->SetupDiCreateDeviceInfoList(ClassGuid, hwndParent);
}

BOOL ComposedPlatform::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return m_families.setupApi->SetupDiDestroyDeviceInfoList(DeviceInfoSet);
}

BOOL ComposedPlatform::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                             DeviceInfoData *deviceInfoData)
{
    return m_families.setupApi->SetupDiEnumDeviceInfo(DeviceInfoSet, MemberIndex, deviceInfoData);
}

BOOL ComposedPlatform::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    return m_families.setupApi->SetupDiGetDeviceRegistryPropertyW(
        DeviceInfoSet, deviceInfoData, Property, PropertyRegDataType, PropertyBuffer,
        PropertyBufferSize, RequiredSize);
}

BOOL ComposedPlatform::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                         DeviceInfoData *deviceInfoData,
                                                         DWORD Property, const BYTE *PropertyBuffer,
                                                         DWORD PropertyBufferSize)
{
    return m_families.setupApi->SetupDiSetDeviceRegistryPropertyW(
        DeviceInfoSet, deviceInfoData, Property, PropertyBuffer, PropertyBufferSize);
}

BOOL ComposedPlatform::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                                const Guid *ClassGuid,
                                                const WCHAR *DeviceDescription, HWND hwndParent,
                                                DWORD CreationFlags, DeviceInfoData *deviceInfoData)
{
    return m_families.setupApi->SetupDiCreateDeviceInfoW(DeviceInfoSet, DeviceName, ClassGuid,
                                                         DeviceDescription, hwndParent,
                                                         CreationFlags, deviceInfoData);
}

BOOL ComposedPlatform::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData,
                                                   WCHAR *DeviceInstanceId,
                                                   DWORD DeviceInstanceIdSize, DWORD *RequiredSize)
{
    return m_families.setupApi->SetupDiGetDeviceInstanceIdW(
        DeviceInfoSet, deviceInfoData, DeviceInstanceId, DeviceInstanceIdSize, RequiredSize);
}

BOOL ComposedPlatform::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                 DeviceInfoData *deviceInfoData, DWORD Flags,
                                                 void *CompareProc, void *CompareContext,
                                                 DeviceInfoData *DupDeviceInfoData)
{
    return m_families.setupApi->SetupDiRegisterDeviceInfo(
        DeviceInfoSet, deviceInfoData, Flags, CompareProc, CompareContext, DupDeviceInfoData);
}

BOOL ComposedPlatform::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                 DeviceInfoData *deviceInfoData)
{
    return m_families.setupApi->SetupDiCallClassInstaller(InstallFunction, DeviceInfoSet,
                                                          deviceInfoData);
}

HKEY ComposedPlatform::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                            DWORD Scope, DWORD HwProfile, DWORD KeyType,
                                            DWORD samDesired)
{
    return m_families.setupApi->SetupDiOpenDevRegKey(DeviceInfoSet, deviceInfoData, Scope,
                                                     HwProfile, KeyType, samDesired);
}

HKEY ComposedPlatform::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                               DeviceInfoData *deviceInfoData, DWORD Scope,
                                               DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                               const WCHAR *InfSectionName)
{
    return m_families.setupApi->SetupDiCreateDevRegKeyW(
        DeviceInfoSet, deviceInfoData, Scope, HwProfile, KeyType, InfHandle, InfSectionName);
}

BOOL ComposedPlatform::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                 DeviceInfoData *deviceInfoData,
                                                 DriverInfoData *driverInfoData)
{
    return m_families.setupApi->SetupDiGetSelectedDriverW(DeviceInfoSet, deviceInfoData,
                                                          driverInfoData);
}

BOOL ComposedPlatform::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    return m_families.systemInformation->GetVersionExW(lpVersionInformation);
}

int ComposedPlatform::GetSystemMetrics(int nIndex)
{
    return m_families.systemInformation->GetSystemMetrics(nIndex);
}

void ComposedPlatform::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    m_families.systemInformation->GetSystemInfo(lpSystemInfo);
}

} // namespace platform
