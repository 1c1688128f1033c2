#include "platform/faultinjection/faultinjectingplatform.h"

#include "platform/text.h"

#include <atomic>
#include <type_traits>
#include <utility>

namespace platform {

namespace {

std::atomic<FaultInjectingPlatform *> boundBy{nullptr};

QString describe(const WCHAR *text)
{
    return text ? '"' + fromWide(text) + '"' : QString("null");
}

QString describe(WCHAR *text)
{
    return describe(static_cast<const WCHAR *>(text));
}

QString describe(const char *text)
{
    return text ? '"' + QString::fromLatin1(text) + '"' : QString("null");
}

QString describe(void *handle)
{
    return handle ? "0x" + QString::number(reinterpret_cast<ULONG_PTR>(handle), 16)
                  : QString("null");
}

template<typename Value> QString describe(Value value)
{
    if constexpr (std::is_pointer_v<Value>)
        return value ? QString("&") : QString("null");
    else
        return QString::number(value);
}

} // namespace

FaultInjectingPlatform::FaultInjectingPlatform(Platform &real) : m_real(real) {}

FaultInjectingPlatform::~FaultInjectingPlatform()
{
    FaultInjectingPlatform *self = this;
    boundBy.compare_exchange_strong(self, nullptr);
}

void FaultInjectingPlatform::inject(const Fault &fault)
{
    const std::lock_guard lock(m_mutex);
    m_faults.append(fault);
}

void FaultInjectingPlatform::reset()
{
    const std::lock_guard lock(m_mutex);
    m_faults.clear();
    m_counts.clear();
    m_calls.clear();
    m_operations.clear();
    m_fired = 0;
}

int FaultInjectingPlatform::firedFaults() const
{
    const std::lock_guard lock(m_mutex);
    return m_fired;
}

QStringList FaultInjectingPlatform::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

QStringList FaultInjectingPlatform::operations() const
{
    const std::lock_guard lock(m_mutex);
    return m_operations;
}

void FaultInjectingPlatform::writeDown(const char *operation, const QStringList &arguments)
{
    const std::lock_guard lock(m_mutex);
    const QString name = QString::fromLatin1(operation);
    m_calls.append(name + '(' + arguments.join(", ") + ')');
    m_operations.append(name);
}

bool FaultInjectingPlatform::fails(const char *operation, const QStringList &arguments, DWORD *code)
{
    writeDown(operation, arguments);
    const std::lock_guard lock(m_mutex);
    const QString name = QString::fromLatin1(operation);
    const int ofThis = ++m_counts[name];
    const int ofAny = ++m_counts["*"];
    for (const Fault &fault : std::as_const(m_faults)) {
        if (fault.operation != name && fault.operation != "*")
            continue;
        const int count = fault.operation == "*" ? ofAny : ofThis;
        if (count == fault.call || (fault.always && count > fault.call)) {
            ++m_fired;
            *code = fault.code;
            return true;
        }
    }
    return false;
}

template<typename Family, typename... Parameters, typename... Arguments>
auto FaultInjectingPlatform::failingWithCode(const char *operation,
                                             DWORD (Family::*function)(Parameters...),
                                             Arguments... arguments) -> DWORD
{
    DWORD code = 0;
    if (fails(operation, {describe(arguments)...}, &code))
        return code;
    return (m_real.*function)(arguments...);
}

template<typename Result, typename Family, typename... Parameters, typename... Arguments>
auto FaultInjectingPlatform::failingWithLastError(const char *operation, Result failure,
                                                  Result (Family::*function)(Parameters...),
                                                  Arguments... arguments) -> Result
{
    DWORD code = 0;
    if (fails(operation, {describe(arguments)...}, &code)) {
        m_real.SetLastError(code);
        return failure;
    }
    return (m_real.*function)(arguments...);
}

// Functions bound at run time.

struct FaultInjectingPlatform::BoundFunctions {
    template<typename Function> static Function real(const char *name)
    {
        FaultInjectingPlatform *self = boundBy.load();
        const std::lock_guard lock(self->m_mutex);
        return reinterpret_cast<Function>(self->m_bound.value(QString::fromLatin1(name)));
    }

    static ConfigRet TMC_WINAPI locateDevNode(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                                              MachineHandle hMachine)
    {
        const char *name = "CM_Locate_DevNode_ExA";
        DWORD code = 0;
        if (boundBy.load()->fails(name,
                                  {describe(pdnDevInst),
                                   describe(static_cast<const char *>(pDeviceID)),
                                   describe(ulFlags), describe(hMachine)},
                                  &code))
            return code;
        return real<CmLocateDevNodeFunction>(name)(pdnDevInst, pDeviceID, ulFlags, hMachine);
    }

    static ConfigRet TMC_WINAPI reenumerateDevNode(DEVINST dnDevInst, ULONG ulFlags,
                                                   MachineHandle hMachine)
    {
        const char *name = "CM_Reenumerate_DevNode_Ex";
        DWORD code = 0;
        if (boundBy.load()->fails(
                name, {describe(dnDevInst), describe(ulFlags), describe(hMachine)}, &code))
            return code;
        return real<CmReenumerateDevNodeFunction>(name)(dnDevInst, ulFlags, hMachine);
    }

    static BOOL TMC_WINAPI updateDriver(HWND hwndParent, const WCHAR *HardwareId,
                                        const WCHAR *FullInfPath, DWORD InstallFlags,
                                        BOOL *bRebootRequired)
    {
        const char *name = "UpdateDriverForPlugAndPlayDevicesW";
        DWORD code = 0;
        FaultInjectingPlatform *self = boundBy.load();
        if (self->fails(name,
                        {describe(hwndParent), describe(HardwareId), describe(FullInfPath),
                         describe(InstallFlags), describe(bRebootRequired)},
                        &code)) {
            self->m_real.SetLastError(code);
            return 0;
        }
        return real<UpdateDriverFunction>(name)(hwndParent, HardwareId, FullInfPath, InstallFlags,
                                                bRebootRequired);
    }
};

FunctionAddress FaultInjectingPlatform::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    const FunctionAddress address = failingWithLastError(
        "GetProcAddress", FunctionAddress{nullptr}, &Modules::GetProcAddress, hModule, lpProcName);
    if (!address)
        return address;
    const QString name = QString::fromLatin1(lpProcName);
    {
        const std::lock_guard lock(m_mutex);
        m_bound.insert(name, address);
    }
    boundBy.store(this);
    if (name == "CM_Locate_DevNode_ExA")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::locateDevNode);
    if (name == "CM_Reenumerate_DevNode_Ex")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::reenumerateDevNode);
    if (name == "UpdateDriverForPlugAndPlayDevicesW")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::updateDriver);
    return address;
}

// Operations that cannot fail.

DWORD FaultInjectingPlatform::GetLastError()
{
    return m_real.GetLastError();
}

void FaultInjectingPlatform::SetLastError(DWORD dwErrCode)
{
    m_real.SetLastError(dwErrCode);
}

HANDLE FaultInjectingPlatform::GetProcessHeap()
{
    writeDown("GetProcessHeap", {});
    return m_real.GetProcessHeap();
}

int FaultInjectingPlatform::GetSystemMetrics(int nIndex)
{
    writeDown("GetSystemMetrics", {describe(nIndex)});
    return m_real.GetSystemMetrics(nIndex);
}

void FaultInjectingPlatform::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    writeDown("GetSystemInfo", {describe(lpSystemInfo)});
    m_real.GetSystemInfo(lpSystemInfo);
}

// Operations whose failure looks different from all others.

LONG FaultInjectingPlatform::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved,
                                            DWORD dwType, const BYTE *lpData, DWORD cbData)
{
    DWORD code = 0;
    if (fails("RegSetValueExW",
              {describe(hKey), describe(lpValueName), describe(Reserved), describe(dwType),
               describe(lpData), describe(cbData)},
              &code))
        return static_cast<LONG>(code);
    return m_real.RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData, cbData);
}

LONG FaultInjectingPlatform::RegCloseKey(HKEY hKey)
{
    DWORD code = 0;
    if (fails("RegCloseKey", {describe(hKey)}, &code))
        return static_cast<LONG>(code);
    return m_real.RegCloseKey(hKey);
}

void *FaultInjectingPlatform::LocalFree(void *hMem)
{
    return failingWithLastError("LocalFree", hMem, &Memory::LocalFree, hMem);
}

// All others, in the order of the header.

HANDLE FaultInjectingPlatform::CreateEventW(void *lpEventAttributes, BOOL bManualReset,
                                            BOOL bInitialState, const WCHAR *lpName)
{
    return failingWithLastError("CreateEventW", HANDLE{nullptr}, &KernelObjects::CreateEventW,
                                lpEventAttributes, bManualReset, bInitialState, lpName);
}

DWORD FaultInjectingPlatform::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return failingWithLastError("WaitForSingleObject", WaitFailed,
                                &KernelObjects::WaitForSingleObject, hHandle, dwMilliseconds);
}

BOOL FaultInjectingPlatform::CloseHandle(HANDLE hObject)
{
    return failingWithLastError("CloseHandle", BOOL{0}, &KernelObjects::CloseHandle, hObject);
}

void *FaultInjectingPlatform::HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    return failingWithLastError("HeapAlloc", static_cast<void *>(nullptr), &Memory::HeapAlloc,
                                hHeap, dwFlags, dwBytes);
}

BOOL FaultInjectingPlatform::HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem)
{
    return failingWithLastError("HeapFree", BOOL{0}, &Memory::HeapFree, hHeap, dwFlags, lpMem);
}

void *FaultInjectingPlatform::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return failingWithLastError("LocalAlloc", static_cast<void *>(nullptr), &Memory::LocalAlloc,
                                uFlags, uBytes);
}

HMODULE FaultInjectingPlatform::GetModuleHandleW(const WCHAR *lpModuleName)
{
    return failingWithLastError("GetModuleHandleW", HMODULE{nullptr}, &Modules::GetModuleHandleW,
                                lpModuleName);
}

HMODULE FaultInjectingPlatform::LoadLibraryW(const WCHAR *lpLibFileName)
{
    return failingWithLastError("LoadLibraryW", HMODULE{nullptr}, &Modules::LoadLibraryW,
                                lpLibFileName);
}

BOOL FaultInjectingPlatform::FreeLibrary(HMODULE hLibModule)
{
    return failingWithLastError("FreeLibrary", BOOL{0}, &Modules::FreeLibrary, hLibModule);
}

BOOL FaultInjectingPlatform::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                            void *lpProcessAttributes, void *lpThreadAttributes,
                                            BOOL bInheritHandles, DWORD dwCreationFlags,
                                            void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                            StartupInfo *lpStartupInfo,
                                            ProcessInformation *lpProcessInformation)
{
    return failingWithLastError("CreateProcessW", BOOL{0}, &Process::CreateProcessW,
                                lpApplicationName, lpCommandLine, lpProcessAttributes,
                                lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment,
                                lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
}

DWORD FaultInjectingPlatform::RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                                                  DWORD *lpcConnections)
{
    return failingWithCode("RasEnumConnectionsW", &Ras::RasEnumConnectionsW, lprasconn, lpcb,
                           lpcConnections);
}

DWORD FaultInjectingPlatform::RasHangUpW(RasConnectionHandle hrasconn)
{
    return failingWithCode("RasHangUpW", &Ras::RasHangUpW, hrasconn);
}

BOOL FaultInjectingPlatform::RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry,
                                         WCHAR *lpszPhoneNumber, RasDialDialog *lpInfo)
{
    return failingWithLastError("RasDialDlgW", BOOL{0}, &Ras::RasDialDlgW, lpszPhonebook, lpszEntry,
                                lpszPhoneNumber, lpInfo);
}

DWORD FaultInjectingPlatform::RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb,
                                              DWORD *lpcDevices)
{
    return failingWithCode("RasEnumDevicesW", &Ras::RasEnumDevicesW, lpRasDevInfo, lpcb,
                           lpcDevices);
}

DWORD FaultInjectingPlatform::RasGetEntryPropertiesW(const WCHAR *lpszPhonebook,
                                                     const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                                                     DWORD *lpdwEntryInfoSize, BYTE *lpbDeviceInfo,
                                                     DWORD *lpdwDeviceInfoSize)
{
    return failingWithCode("RasGetEntryPropertiesW", &Ras::RasGetEntryPropertiesW, lpszPhonebook,
                           lpszEntry, lpRasEntry, lpdwEntryInfoSize, lpbDeviceInfo,
                           lpdwDeviceInfoSize);
}

DWORD FaultInjectingPlatform::RasSetEntryPropertiesW(const WCHAR *lpszPhonebook,
                                                     const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                                                     DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                                     DWORD dwDeviceInfoSize)
{
    return failingWithCode("RasSetEntryPropertiesW", &Ras::RasSetEntryPropertiesW, lpszPhonebook,
                           lpszEntry, lpRasEntry, dwEntryInfoSize, lpbDeviceInfo, dwDeviceInfoSize);
}

HANDLE FaultInjectingPlatform::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess,
                                           DWORD dwShareMode, void *lpSecurityAttributes,
                                           DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                           HANDLE hTemplateFile)
{
    return failingWithLastError("CreateFileW", invalidHandle(), &SerialComm::CreateFileW,
                                lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                                dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

BOOL FaultInjectingPlatform::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return failingWithLastError("GetCommState", BOOL{0}, &SerialComm::GetCommState, hFile, lpDCB);
}

BOOL FaultInjectingPlatform::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return failingWithLastError("SetCommState", BOOL{0}, &SerialComm::SetCommState, hFile, lpDCB);
}

BOOL FaultInjectingPlatform::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    return failingWithLastError("SetCommTimeouts", BOOL{0}, &SerialComm::SetCommTimeouts, hFile,
                                lpCommTimeouts);
}

BOOL FaultInjectingPlatform::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    return failingWithLastError("SetCommMask", BOOL{0}, &SerialComm::SetCommMask, hFile, dwEvtMask);
}

BOOL FaultInjectingPlatform::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    return failingWithLastError("WaitCommEvent", BOOL{0}, &SerialComm::WaitCommEvent, hFile,
                                lpEvtMask, lpOverlapped);
}

BOOL FaultInjectingPlatform::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                                      DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    return failingWithLastError("ReadFile", BOOL{0}, &SerialComm::ReadFile, hFile, lpBuffer,
                                nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped);
}

BOOL FaultInjectingPlatform::WriteFile(HANDLE hFile, const void *lpBuffer,
                                       DWORD nNumberOfBytesToWrite, DWORD *lpNumberOfBytesWritten,
                                       Overlapped *lpOverlapped)
{
    return failingWithLastError("WriteFile", BOOL{0}, &SerialComm::WriteFile, hFile, lpBuffer,
                                nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped);
}

BOOL FaultInjectingPlatform::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                                 DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    return failingWithLastError("GetOverlappedResult", BOOL{0}, &SerialComm::GetOverlappedResult,
                                hFile, lpOverlapped, lpNumberOfBytesTransferred, bWait);
}

BOOL FaultInjectingPlatform::SetupCopyOEMInfW(const WCHAR *SourceInfFileName,
                                              const WCHAR *OEMSourceMediaLocation,
                                              DWORD OEMSourceMediaType, DWORD CopyStyle,
                                              WCHAR *DestinationInfFileName,
                                              DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                              WCHAR **DestinationInfFileNameComponent)
{
    return failingWithLastError("SetupCopyOEMInfW", BOOL{0}, &SetupApi::SetupCopyOEMInfW,
                                SourceInfFileName, OEMSourceMediaLocation, OEMSourceMediaType,
                                CopyStyle, DestinationInfFileName, DestinationInfFileNameSize,
                                RequiredSize, DestinationInfFileNameComponent);
}

BOOL FaultInjectingPlatform::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid,
                                                 WCHAR *ClassName, DWORD ClassNameSize,
                                                 DWORD *RequiredSize)
{
    return failingWithLastError("SetupDiGetINFClassW", BOOL{0}, &SetupApi::SetupDiGetINFClassW,
                                InfName, ClassGuid, ClassName, ClassNameSize, RequiredSize);
}

HDEVINFO FaultInjectingPlatform::SetupDiGetClassDevsW(const Guid *ClassGuid,
                                                      const WCHAR *Enumerator, HWND hwndParent,
                                                      DWORD Flags)
{
    return failingWithLastError("SetupDiGetClassDevsW", invalidHandle(),
                                &SetupApi::SetupDiGetClassDevsW, ClassGuid, Enumerator, hwndParent,
                                Flags);
}

HDEVINFO FaultInjectingPlatform::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent)
{
    return failingWithLastError("SetupDiCreateDeviceInfoList", invalidHandle(),
                                &SetupApi::SetupDiCreateDeviceInfoList, ClassGuid, hwndParent);
}

BOOL FaultInjectingPlatform::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return failingWithLastError("SetupDiDestroyDeviceInfoList", BOOL{0},
                                &SetupApi::SetupDiDestroyDeviceInfoList, DeviceInfoSet);
}

BOOL FaultInjectingPlatform::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                                   DeviceInfoData *deviceInfoData)
{
    return failingWithLastError("SetupDiEnumDeviceInfo", BOOL{0}, &SetupApi::SetupDiEnumDeviceInfo,
                                DeviceInfoSet, MemberIndex, deviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    return failingWithLastError("SetupDiGetDeviceRegistryPropertyW", BOOL{0},
                                &SetupApi::SetupDiGetDeviceRegistryPropertyW, DeviceInfoSet,
                                deviceInfoData, Property, PropertyRegDataType, PropertyBuffer,
                                PropertyBufferSize, RequiredSize);
}

BOOL FaultInjectingPlatform::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                               DeviceInfoData *deviceInfoData,
                                                               DWORD Property,
                                                               const BYTE *PropertyBuffer,
                                                               DWORD PropertyBufferSize)
{
    return failingWithLastError("SetupDiSetDeviceRegistryPropertyW", BOOL{0},
                                &SetupApi::SetupDiSetDeviceRegistryPropertyW, DeviceInfoSet,
                                deviceInfoData, Property, PropertyBuffer, PropertyBufferSize);
}

BOOL FaultInjectingPlatform::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet,
                                                      const WCHAR *DeviceName,
                                                      const Guid *ClassGuid,
                                                      const WCHAR *DeviceDescription,
                                                      HWND hwndParent, DWORD CreationFlags,
                                                      DeviceInfoData *deviceInfoData)
{
    return failingWithLastError(
        "SetupDiCreateDeviceInfoW", BOOL{0}, &SetupApi::SetupDiCreateDeviceInfoW, DeviceInfoSet,
        DeviceName, ClassGuid, DeviceDescription, hwndParent, CreationFlags, deviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                         DeviceInfoData *deviceInfoData,
                                                         WCHAR *DeviceInstanceId,
                                                         DWORD DeviceInstanceIdSize,
                                                         DWORD *RequiredSize)
{
    return failingWithLastError(
        "SetupDiGetDeviceInstanceIdW", BOOL{0}, &SetupApi::SetupDiGetDeviceInstanceIdW,
        DeviceInfoSet, deviceInfoData, DeviceInstanceId, DeviceInstanceIdSize, RequiredSize);
}

BOOL FaultInjectingPlatform::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData, DWORD Flags,
                                                       void *CompareProc, void *CompareContext,
                                                       DeviceInfoData *DupDeviceInfoData)
{
    return failingWithLastError("SetupDiRegisterDeviceInfo", BOOL{0},
                                &SetupApi::SetupDiRegisterDeviceInfo, DeviceInfoSet, deviceInfoData,
                                Flags, CompareProc, CompareContext, DupDeviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData)
{
    return failingWithLastError("SetupDiCallClassInstaller", BOOL{0},
                                &SetupApi::SetupDiCallClassInstaller, InstallFunction,
                                DeviceInfoSet, deviceInfoData);
}

HKEY FaultInjectingPlatform::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet,
                                                  DeviceInfoData *deviceInfoData, DWORD Scope,
                                                  DWORD HwProfile, DWORD KeyType, DWORD samDesired)
{
    return failingWithLastError("SetupDiOpenDevRegKey", invalidHandle(),
                                &SetupApi::SetupDiOpenDevRegKey, DeviceInfoSet, deviceInfoData,
                                Scope, HwProfile, KeyType, samDesired);
}

HKEY FaultInjectingPlatform::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                                     DeviceInfoData *deviceInfoData, DWORD Scope,
                                                     DWORD HwProfile, DWORD KeyType,
                                                     void *InfHandle, const WCHAR *InfSectionName)
{
    return failingWithLastError("SetupDiCreateDevRegKeyW", invalidHandle(),
                                &SetupApi::SetupDiCreateDevRegKeyW, DeviceInfoSet, deviceInfoData,
                                Scope, HwProfile, KeyType, InfHandle, InfSectionName);
}

BOOL FaultInjectingPlatform::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData,
                                                       DriverInfoData *driverInfoData)
{
    return failingWithLastError("SetupDiGetSelectedDriverW", BOOL{0},
                                &SetupApi::SetupDiGetSelectedDriverW, DeviceInfoSet, deviceInfoData,
                                driverInfoData);
}

BOOL FaultInjectingPlatform::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    return failingWithLastError("GetVersionExW", BOOL{0}, &SystemInformation::GetVersionExW,
                                lpVersionInformation);
}

} // namespace platform
