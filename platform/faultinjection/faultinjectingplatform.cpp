#include "platform/faultinjection/faultinjectingplatform.h"

#include "platform/text.h"

#include <atomic>
#include <type_traits>
#include <utility>

namespace platform {

// Every operation that can be made to fail, once: without its row here the
// decorator's function for it does not compile.
#define TMC_FAILING_OPERATIONS(X)                                                                  \
    X(GetProcAddress)                                                                              \
    X(RegSetValueExW)                                                                              \
    X(RegCloseKey)                                                                                 \
    X(LocalFree)                                                                                   \
    X(CreateEventW)                                                                                \
    X(WaitForSingleObject)                                                                         \
    X(CloseHandle)                                                                                 \
    X(HeapAlloc)                                                                                   \
    X(HeapFree)                                                                                    \
    X(LocalAlloc)                                                                                  \
    X(GetModuleHandleW)                                                                            \
    X(LoadLibraryW)                                                                                \
    X(FreeLibrary)                                                                                 \
    X(CreateProcessW)                                                                              \
    X(RasEnumConnectionsW)                                                                         \
    X(RasHangUpW)                                                                                  \
    X(RasDialDlgW)                                                                                 \
    X(RasEnumDevicesW)                                                                             \
    X(RasGetEntryPropertiesW)                                                                      \
    X(RasSetEntryPropertiesW)                                                                      \
    X(CreateFileW)                                                                                 \
    X(GetCommState)                                                                                \
    X(SetCommState)                                                                                \
    X(SetCommTimeouts)                                                                             \
    X(SetCommMask)                                                                                 \
    X(WaitCommEvent)                                                                               \
    X(ReadFile)                                                                                    \
    X(WriteFile)                                                                                   \
    X(GetOverlappedResult)                                                                         \
    X(SetupCopyOEMInfW)                                                                            \
    X(SetupDiGetINFClassW)                                                                         \
    X(SetupDiGetClassDevsW)                                                                        \
    X(SetupDiCreateDeviceInfoList)                                                                 \
    X(SetupDiDestroyDeviceInfoList)                                                                \
    X(SetupDiEnumDeviceInfo)                                                                       \
    X(SetupDiGetDeviceRegistryPropertyW)                                                           \
    X(SetupDiSetDeviceRegistryPropertyW)                                                           \
    X(SetupDiCreateDeviceInfoW)                                                                    \
    X(SetupDiGetDeviceInstanceIdW)                                                                 \
    X(SetupDiRegisterDeviceInfo)                                                                   \
    X(SetupDiCallClassInstaller)                                                                   \
    X(SetupDiOpenDevRegKey)                                                                        \
    X(SetupDiCreateDevRegKeyW)                                                                     \
    X(SetupDiGetSelectedDriverW)                                                                   \
    X(GetVersionExW)                                                                               \
    X(CM_Locate_DevNode_ExA)                                                                       \
    X(CM_Reenumerate_DevNode_Ex)                                                                   \
    X(UpdateDriverForPlugAndPlayDevicesW)

#define TMC_ENUMERATOR(name) name,
enum class FaultInjectingPlatform::Operation { TMC_FAILING_OPERATIONS(TMC_ENUMERATOR) };
#undef TMC_ENUMERATOR

#define TMC_NAME(name) #name,
const char *const FaultInjectingPlatform::operationNames[] = {TMC_FAILING_OPERATIONS(TMC_NAME)};
#undef TMC_NAME

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

QStringList FaultInjectingPlatform::failingOperations()
{
    QStringList names;
    for (const char *name : operationNames)
        names.append(QString::fromLatin1(name));
    names.sort();
    return names;
}

QString FaultInjectingPlatform::nameOf(Operation operation)
{
    return QString::fromLatin1(operationNames[static_cast<int>(operation)]);
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

void FaultInjectingPlatform::writeDown(const QString &operation, const QStringList &arguments)
{
    const std::lock_guard lock(m_mutex);
    m_calls.append(operation + '(' + arguments.join(", ") + ')');
    m_operations.append(operation);
}

bool FaultInjectingPlatform::fails(Operation operation, const QStringList &arguments, DWORD *code)
{
    const QString name = nameOf(operation);
    writeDown(name, arguments);
    const std::lock_guard lock(m_mutex);
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
auto FaultInjectingPlatform::failingWithCode(Operation operation,
                                             DWORD (Family::*function)(Parameters...),
                                             Arguments... arguments) -> DWORD
{
    DWORD code = 0;
    if (fails(operation, {describe(arguments)...}, &code))
        return code;
    return (m_real.*function)(arguments...);
}

template<typename Result, typename Family, typename... Parameters, typename... Arguments>
auto FaultInjectingPlatform::failingWithLastError(Operation operation, Result failure,
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
    template<typename Function> static Function real(Operation operation)
    {
        FaultInjectingPlatform *self = boundBy.load();
        const std::lock_guard lock(self->m_mutex);
        return reinterpret_cast<Function>(self->m_bound.value(nameOf(operation)));
    }

    static ConfigRet TMC_WINAPI locateDevNode(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                                              MachineHandle hMachine)
    {
        const Operation operation = Operation::CM_Locate_DevNode_ExA;
        DWORD code = 0;
        if (boundBy.load()->fails(operation,
                                  {describe(pdnDevInst),
                                   describe(static_cast<const char *>(pDeviceID)),
                                   describe(ulFlags), describe(hMachine)},
                                  &code))
            return code;
        return real<CmLocateDevNodeFunction>(operation)(pdnDevInst, pDeviceID, ulFlags, hMachine);
    }

    static ConfigRet TMC_WINAPI reenumerateDevNode(DEVINST dnDevInst, ULONG ulFlags,
                                                   MachineHandle hMachine)
    {
        const Operation operation = Operation::CM_Reenumerate_DevNode_Ex;
        DWORD code = 0;
        if (boundBy.load()->fails(
                operation, {describe(dnDevInst), describe(ulFlags), describe(hMachine)}, &code))
            return code;
        return real<CmReenumerateDevNodeFunction>(operation)(dnDevInst, ulFlags, hMachine);
    }

    static BOOL TMC_WINAPI updateDriver(HWND hwndParent, const WCHAR *HardwareId,
                                        const WCHAR *FullInfPath, DWORD InstallFlags,
                                        BOOL *bRebootRequired)
    {
        const Operation operation = Operation::UpdateDriverForPlugAndPlayDevicesW;
        DWORD code = 0;
        FaultInjectingPlatform *self = boundBy.load();
        if (self->fails(operation,
                        {describe(hwndParent), describe(HardwareId), describe(FullInfPath),
                         describe(InstallFlags), describe(bRebootRequired)},
                        &code)) {
            self->m_real.SetLastError(code);
            return 0;
        }
        return real<UpdateDriverFunction>(operation)(hwndParent, HardwareId, FullInfPath,
                                                     InstallFlags, bRebootRequired);
    }
};

FunctionAddress FaultInjectingPlatform::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    const FunctionAddress address =
        failingWithLastError(Operation::GetProcAddress, FunctionAddress{nullptr},
                             &Modules::GetProcAddress, hModule, lpProcName);
    if (!address)
        return address;
    const QString name = QString::fromLatin1(lpProcName);
    {
        const std::lock_guard lock(m_mutex);
        m_bound.insert(name, address);
    }
    boundBy.store(this);
    if (name == nameOf(Operation::CM_Locate_DevNode_ExA))
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::locateDevNode);
    if (name == nameOf(Operation::CM_Reenumerate_DevNode_Ex))
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::reenumerateDevNode);
    if (name == nameOf(Operation::UpdateDriverForPlugAndPlayDevicesW))
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
    if (fails(Operation::RegSetValueExW,
              {describe(hKey), describe(lpValueName), describe(Reserved), describe(dwType),
               describe(lpData), describe(cbData)},
              &code))
        return static_cast<LONG>(code);
    return m_real.RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData, cbData);
}

LONG FaultInjectingPlatform::RegCloseKey(HKEY hKey)
{
    DWORD code = 0;
    if (fails(Operation::RegCloseKey, {describe(hKey)}, &code))
        return static_cast<LONG>(code);
    return m_real.RegCloseKey(hKey);
}

void *FaultInjectingPlatform::LocalFree(void *hMem)
{
    return failingWithLastError(Operation::LocalFree, hMem, &Memory::LocalFree, hMem);
}

// All others, in the order of the header.

HANDLE FaultInjectingPlatform::CreateEventW(void *lpEventAttributes, BOOL bManualReset,
                                            BOOL bInitialState, const WCHAR *lpName)
{
    return failingWithLastError(Operation::CreateEventW, HANDLE{nullptr},
                                &KernelObjects::CreateEventW, lpEventAttributes, bManualReset,
                                bInitialState, lpName);
}

DWORD FaultInjectingPlatform::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return failingWithLastError(Operation::WaitForSingleObject, WaitFailed,
                                &KernelObjects::WaitForSingleObject, hHandle, dwMilliseconds);
}

BOOL FaultInjectingPlatform::CloseHandle(HANDLE hObject)
{
    return failingWithLastError(Operation::CloseHandle, BOOL{0}, &KernelObjects::CloseHandle,
                                hObject);
}

void *FaultInjectingPlatform::HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    return failingWithLastError(Operation::HeapAlloc, static_cast<void *>(nullptr),
                                &Memory::HeapAlloc, hHeap, dwFlags, dwBytes);
}

BOOL FaultInjectingPlatform::HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem)
{
    return failingWithLastError(Operation::HeapFree, BOOL{0}, &Memory::HeapFree, hHeap, dwFlags,
                                lpMem);
}

void *FaultInjectingPlatform::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return failingWithLastError(Operation::LocalAlloc, static_cast<void *>(nullptr),
                                &Memory::LocalAlloc, uFlags, uBytes);
}

HMODULE FaultInjectingPlatform::GetModuleHandleW(const WCHAR *lpModuleName)
{
    return failingWithLastError(Operation::GetModuleHandleW, HMODULE{nullptr},
                                &Modules::GetModuleHandleW, lpModuleName);
}

HMODULE FaultInjectingPlatform::LoadLibraryW(const WCHAR *lpLibFileName)
{
    return failingWithLastError(Operation::LoadLibraryW, HMODULE{nullptr}, &Modules::LoadLibraryW,
                                lpLibFileName);
}

BOOL FaultInjectingPlatform::FreeLibrary(HMODULE hLibModule)
{
    return failingWithLastError(Operation::FreeLibrary, BOOL{0}, &Modules::FreeLibrary, hLibModule);
}

BOOL FaultInjectingPlatform::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                            void *lpProcessAttributes, void *lpThreadAttributes,
                                            BOOL bInheritHandles, DWORD dwCreationFlags,
                                            void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                            StartupInfo *lpStartupInfo,
                                            ProcessInformation *lpProcessInformation)
{
    return failingWithLastError(Operation::CreateProcessW, BOOL{0}, &Process::CreateProcessW,
                                lpApplicationName, lpCommandLine, lpProcessAttributes,
                                lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment,
                                lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
}

DWORD FaultInjectingPlatform::RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                                                  DWORD *lpcConnections)
{
    return failingWithCode(Operation::RasEnumConnectionsW, &Ras::RasEnumConnectionsW, lprasconn,
                           lpcb, lpcConnections);
}

DWORD FaultInjectingPlatform::RasHangUpW(RasConnectionHandle hrasconn)
{
    return failingWithCode(Operation::RasHangUpW, &Ras::RasHangUpW, hrasconn);
}

BOOL FaultInjectingPlatform::RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry,
                                         WCHAR *lpszPhoneNumber, RasDialDialog *lpInfo)
{
    return failingWithLastError(Operation::RasDialDlgW, BOOL{0}, &Ras::RasDialDlgW, lpszPhonebook,
                                lpszEntry, lpszPhoneNumber, lpInfo);
}

DWORD FaultInjectingPlatform::RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb,
                                              DWORD *lpcDevices)
{
    return failingWithCode(Operation::RasEnumDevicesW, &Ras::RasEnumDevicesW, lpRasDevInfo, lpcb,
                           lpcDevices);
}

DWORD FaultInjectingPlatform::RasGetEntryPropertiesW(const WCHAR *lpszPhonebook,
                                                     const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                                                     DWORD *lpdwEntryInfoSize, BYTE *lpbDeviceInfo,
                                                     DWORD *lpdwDeviceInfoSize)
{
    return failingWithCode(Operation::RasGetEntryPropertiesW, &Ras::RasGetEntryPropertiesW,
                           lpszPhonebook, lpszEntry, lpRasEntry, lpdwEntryInfoSize, lpbDeviceInfo,
                           lpdwDeviceInfoSize);
}

DWORD FaultInjectingPlatform::RasSetEntryPropertiesW(const WCHAR *lpszPhonebook,
                                                     const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                                                     DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                                     DWORD dwDeviceInfoSize)
{
    return failingWithCode(Operation::RasSetEntryPropertiesW, &Ras::RasSetEntryPropertiesW,
                           lpszPhonebook, lpszEntry, lpRasEntry, dwEntryInfoSize, lpbDeviceInfo,
                           dwDeviceInfoSize);
}

HANDLE FaultInjectingPlatform::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess,
                                           DWORD dwShareMode, void *lpSecurityAttributes,
                                           DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                           HANDLE hTemplateFile)
{
    return failingWithLastError(Operation::CreateFileW, invalidHandle(), &SerialComm::CreateFileW,
                                lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                                dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

BOOL FaultInjectingPlatform::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return failingWithLastError(Operation::GetCommState, BOOL{0}, &SerialComm::GetCommState, hFile,
                                lpDCB);
}

BOOL FaultInjectingPlatform::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return failingWithLastError(Operation::SetCommState, BOOL{0}, &SerialComm::SetCommState, hFile,
                                lpDCB);
}

BOOL FaultInjectingPlatform::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    return failingWithLastError(Operation::SetCommTimeouts, BOOL{0}, &SerialComm::SetCommTimeouts,
                                hFile, lpCommTimeouts);
}

BOOL FaultInjectingPlatform::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    return failingWithLastError(Operation::SetCommMask, BOOL{0}, &SerialComm::SetCommMask, hFile,
                                dwEvtMask);
}

BOOL FaultInjectingPlatform::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    return failingWithLastError(Operation::WaitCommEvent, BOOL{0}, &SerialComm::WaitCommEvent,
                                hFile, lpEvtMask, lpOverlapped);
}

BOOL FaultInjectingPlatform::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                                      DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    return failingWithLastError(Operation::ReadFile, BOOL{0}, &SerialComm::ReadFile, hFile,
                                lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped);
}

BOOL FaultInjectingPlatform::WriteFile(HANDLE hFile, const void *lpBuffer,
                                       DWORD nNumberOfBytesToWrite, DWORD *lpNumberOfBytesWritten,
                                       Overlapped *lpOverlapped)
{
    return failingWithLastError(Operation::WriteFile, BOOL{0}, &SerialComm::WriteFile, hFile,
                                lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten,
                                lpOverlapped);
}

BOOL FaultInjectingPlatform::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                                 DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    return failingWithLastError(Operation::GetOverlappedResult, BOOL{0},
                                &SerialComm::GetOverlappedResult, hFile, lpOverlapped,
                                lpNumberOfBytesTransferred, bWait);
}

BOOL FaultInjectingPlatform::SetupCopyOEMInfW(const WCHAR *SourceInfFileName,
                                              const WCHAR *OEMSourceMediaLocation,
                                              DWORD OEMSourceMediaType, DWORD CopyStyle,
                                              WCHAR *DestinationInfFileName,
                                              DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                              WCHAR **DestinationInfFileNameComponent)
{
    return failingWithLastError(Operation::SetupCopyOEMInfW, BOOL{0}, &SetupApi::SetupCopyOEMInfW,
                                SourceInfFileName, OEMSourceMediaLocation, OEMSourceMediaType,
                                CopyStyle, DestinationInfFileName, DestinationInfFileNameSize,
                                RequiredSize, DestinationInfFileNameComponent);
}

BOOL FaultInjectingPlatform::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid,
                                                 WCHAR *ClassName, DWORD ClassNameSize,
                                                 DWORD *RequiredSize)
{
    return failingWithLastError(Operation::SetupDiGetINFClassW, BOOL{0},
                                &SetupApi::SetupDiGetINFClassW, InfName, ClassGuid, ClassName,
                                ClassNameSize, RequiredSize);
}

HDEVINFO FaultInjectingPlatform::SetupDiGetClassDevsW(const Guid *ClassGuid,
                                                      const WCHAR *Enumerator, HWND hwndParent,
                                                      DWORD Flags)
{
    return failingWithLastError(Operation::SetupDiGetClassDevsW, invalidHandle(),
                                &SetupApi::SetupDiGetClassDevsW, ClassGuid, Enumerator, hwndParent,
                                Flags);
}

HDEVINFO FaultInjectingPlatform::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent)
{
    return failingWithLastError(Operation::SetupDiCreateDeviceInfoList, invalidHandle(),
                                &SetupApi::SetupDiCreateDeviceInfoList, ClassGuid, hwndParent);
}

BOOL FaultInjectingPlatform::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return failingWithLastError(Operation::SetupDiDestroyDeviceInfoList, BOOL{0},
                                &SetupApi::SetupDiDestroyDeviceInfoList, DeviceInfoSet);
}

BOOL FaultInjectingPlatform::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                                   DeviceInfoData *deviceInfoData)
{
    return failingWithLastError(Operation::SetupDiEnumDeviceInfo, BOOL{0},
                                &SetupApi::SetupDiEnumDeviceInfo, DeviceInfoSet, MemberIndex,
                                deviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    return failingWithLastError(Operation::SetupDiGetDeviceRegistryPropertyW, BOOL{0},
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
    return failingWithLastError(Operation::SetupDiSetDeviceRegistryPropertyW, BOOL{0},
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
    return failingWithLastError(Operation::SetupDiCreateDeviceInfoW, BOOL{0},
                                &SetupApi::SetupDiCreateDeviceInfoW, DeviceInfoSet, DeviceName,
                                ClassGuid, DeviceDescription, hwndParent, CreationFlags,
                                deviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                         DeviceInfoData *deviceInfoData,
                                                         WCHAR *DeviceInstanceId,
                                                         DWORD DeviceInstanceIdSize,
                                                         DWORD *RequiredSize)
{
    return failingWithLastError(
        Operation::SetupDiGetDeviceInstanceIdW, BOOL{0}, &SetupApi::SetupDiGetDeviceInstanceIdW,
        DeviceInfoSet, deviceInfoData, DeviceInstanceId, DeviceInstanceIdSize, RequiredSize);
}

BOOL FaultInjectingPlatform::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData, DWORD Flags,
                                                       void *CompareProc, void *CompareContext,
                                                       DeviceInfoData *DupDeviceInfoData)
{
    return failingWithLastError(Operation::SetupDiRegisterDeviceInfo, BOOL{0},
                                &SetupApi::SetupDiRegisterDeviceInfo, DeviceInfoSet, deviceInfoData,
                                Flags, CompareProc, CompareContext, DupDeviceInfoData);
}

BOOL FaultInjectingPlatform::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData)
{
    return failingWithLastError(Operation::SetupDiCallClassInstaller, BOOL{0},
                                &SetupApi::SetupDiCallClassInstaller, InstallFunction,
                                DeviceInfoSet, deviceInfoData);
}

HKEY FaultInjectingPlatform::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet,
                                                  DeviceInfoData *deviceInfoData, DWORD Scope,
                                                  DWORD HwProfile, DWORD KeyType, DWORD samDesired)
{
    return failingWithLastError(Operation::SetupDiOpenDevRegKey, invalidHandle(),
                                &SetupApi::SetupDiOpenDevRegKey, DeviceInfoSet, deviceInfoData,
                                Scope, HwProfile, KeyType, samDesired);
}

HKEY FaultInjectingPlatform::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                                     DeviceInfoData *deviceInfoData, DWORD Scope,
                                                     DWORD HwProfile, DWORD KeyType,
                                                     void *InfHandle, const WCHAR *InfSectionName)
{
    return failingWithLastError(Operation::SetupDiCreateDevRegKeyW, invalidHandle(),
                                &SetupApi::SetupDiCreateDevRegKeyW, DeviceInfoSet, deviceInfoData,
                                Scope, HwProfile, KeyType, InfHandle, InfSectionName);
}

BOOL FaultInjectingPlatform::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                       DeviceInfoData *deviceInfoData,
                                                       DriverInfoData *driverInfoData)
{
    return failingWithLastError(Operation::SetupDiGetSelectedDriverW, BOOL{0},
                                &SetupApi::SetupDiGetSelectedDriverW, DeviceInfoSet, deviceInfoData,
                                driverInfoData);
}

BOOL FaultInjectingPlatform::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    return failingWithLastError(Operation::GetVersionExW, BOOL{0},
                                &SystemInformation::GetVersionExW, lpVersionInformation);
}

} // namespace platform
