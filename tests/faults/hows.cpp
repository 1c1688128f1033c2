#include "tests/faults/hows.h"

#include "platform/text.h"

#include <QMap>

#include <algorithm>
#include <functional>
#include <memory>

using namespace platform;

namespace faults {

namespace {

constexpr DWORD huge = 64 << 20; ///< bytes

/// True at the n-th call.
class Turn
{
public:
    explicit Turn(int call) : m_left(std::make_shared<int>(call)) {}
    bool comes() const { return --*m_left == 0; }

private:
    std::shared_ptr<int> m_left;
};

/// Fills a text without an end.
void fillUp(WCHAR *text, DWORD units)
{
    std::fill(text, text + units, WCHAR{'x'});
}

/// Wraps an operation: at its turn the real call is made, and then changed.
template<typename Signature, typename Change>
void change(Operation<Signature> *operation, int call, Change change)
{
    operation->wrap([turn = Turn(call), change](const auto &next, auto... arguments) {
        auto result = next(arguments...);
        if (turn.comes())
            change(&result, arguments...);
        return result;
    });
}

/// Wraps an operation: at its turn the answer stands for the real call.
template<typename Signature, typename Answer>
void replace(Operation<Signature> *operation, int call, Answer answer)
{
    operation->wrap([turn = Turn(call), answer](const auto &next, auto... arguments) {
        return turn.comes() ? answer(arguments...) : next(arguments...);
    });
}

struct UnusualAnswer {
    const char *operation;
    const char *name;
    std::function<void(Platform *, int call)> plant;
};

const std::vector<UnusualAnswer> &answers()
{
    static const std::vector<UnusualAnswer> all = {
        {"RasEnumConnectionsW", "empty",
         [](Platform *machine, int call) {
             change(&machine->RasEnumConnectionsW, call,
                    [](DWORD *, RasConnection *, DWORD *bytes, DWORD *count) {
                        *bytes = 0;
                        *count = 0;
                    });
         }},
        {"RasEnumConnectionsW", "huge",
         [](Platform *machine, int call) {
             change(&machine->RasEnumConnectionsW, call,
                    [](DWORD *, RasConnection *, DWORD *bytes, DWORD *count) {
                        *bytes = 0xFFFFFFFF;
                        *count = 0xFFFFFFFF;
                    });
         }},
        {"RasEnumConnectionsW", "unterminated",
         [](Platform *machine, int call) {
             replace(&machine->RasEnumConnectionsW, call,
                     [](RasConnection *records, DWORD *bytes, DWORD *count) -> DWORD {
                         fillUp(reinterpret_cast<WCHAR *>(records), *bytes / 2);
                         *count = 1;
                         return Success;
                     });
         }},
        {"RasEnumDevicesW", "empty",
         [](Platform *machine, int call) {
             replace(&machine->RasEnumDevicesW, call,
                     [](RasDeviceInfo *, DWORD *bytes, DWORD *count) -> DWORD {
                         *bytes = 0;
                         *count = 0;
                         return Success;
                     });
         }},
        {"RasEnumDevicesW", "huge",
         [](Platform *machine, int call) {
             change(&machine->RasEnumDevicesW, call,
                    [](DWORD *, RasDeviceInfo *records, DWORD *bytes, DWORD *count) {
                        *bytes = records ? *bytes : huge;
                        *count = 0xFFFFFFFF;
                    });
         }},
        {"RasEnumDevicesW", "unterminated",
         [](Platform *machine, int call) {
             change(&machine->RasEnumDevicesW, call,
                    [](DWORD *result, RasDeviceInfo *records, DWORD *, DWORD *) {
                        if (records)
                            fillUp(records[0].szDeviceType, 17 + 129);
                        else
                            *result = Success;
                    });
         }},
        {"RasGetEntryPropertiesW", "empty",
         [](Platform *machine, int call) {
             change(&machine->RasGetEntryPropertiesW, call,
                    [](DWORD *, const WCHAR *, const WCHAR *, RasEntry *record, DWORD *bytes,
                       BYTE *, DWORD *) {
                        if (!record)
                            *bytes = 0;
                    });
         }},
        {"RasGetEntryPropertiesW", "huge",
         [](Platform *machine, int call) {
             change(&machine->RasGetEntryPropertiesW, call,
                    [](DWORD *, const WCHAR *, const WCHAR *, RasEntry *record, DWORD *bytes,
                       BYTE *, DWORD *) {
                        if (!record)
                            *bytes = huge;
                    });
         }},
        {"SetupDiGetDeviceRegistryPropertyW", "empty",
         [](Platform *machine, int call) {
             replace(&machine->SetupDiGetDeviceRegistryPropertyW, call,
                     [](HDEVINFO, DeviceInfoData *, DWORD, DWORD *, BYTE *, DWORD,
                        DWORD *required) -> BOOL {
                         *required = 0;
                         return 1;
                     });
         }},
        {"SetupDiGetDeviceRegistryPropertyW", "unterminated",
         [](Platform *machine, int call) {
             replace(&machine->SetupDiGetDeviceRegistryPropertyW, call,
                     [](HDEVINFO, DeviceInfoData *, DWORD, DWORD *, BYTE *buffer, DWORD bytes,
                        DWORD *) -> BOOL {
                         fillUp(reinterpret_cast<WCHAR *>(buffer), bytes / 2);
                         return 1;
                     });
         }},
        {"SetupDiGetDeviceRegistryPropertyW", "huge",
         [](Platform *machine, int call) {
             change(&machine->SetupDiGetDeviceRegistryPropertyW, call,
                    [machine](BOOL *result, HDEVINFO, DeviceInfoData *, DWORD, DWORD *, BYTE *,
                              DWORD, DWORD *required) {
                        *result = 0;
                        *required = huge / 2;
                        machine->SetLastError(ErrorInsufficientBuffer);
                    });
         }},
        {"SetupDiGetDeviceRegistryPropertyW", "grows",
         [](Platform *machine, int call) {
             change(&machine->SetupDiGetDeviceRegistryPropertyW, call,
                    [machine](BOOL *result, HDEVINFO, DeviceInfoData *, DWORD, DWORD *, BYTE *,
                              DWORD bytes, DWORD *required) {
                        *result = 0;
                        *required = bytes + 2;
                        machine->SetLastError(ErrorInsufficientBuffer);
                    });
         }},
        {"SetupDiGetINFClassW", "empty",
         [](Platform *machine, int call) {
             change(
                 &machine->SetupDiGetINFClassW, call,
                 [](BOOL *, const WCHAR *, Guid *, WCHAR *name, DWORD, DWORD *) { name[0] = 0; });
         }},
        {"SetupDiGetINFClassW", "huge",
         [](Platform *machine, int call) {
             change(&machine->SetupDiGetINFClassW, call,
                    [](BOOL *, const WCHAR *, Guid *, WCHAR *name, DWORD, DWORD *) {
                        fillUp(name, MaxClassNameSize - 1);
                        name[MaxClassNameSize - 1] = 0;
                    });
         }},
        {"SetupDiGetDeviceInstanceIdW", "empty",
         [](Platform *machine, int call) {
             change(
                 &machine->SetupDiGetDeviceInstanceIdW, call,
                 [](BOOL *, HDEVINFO, DeviceInfoData *, WCHAR *id, DWORD, DWORD *) { id[0] = 0; });
         }},
        {"SetupDiGetDeviceInstanceIdW", "huge",
         [](Platform *machine, int call) {
             change(&machine->SetupDiGetDeviceInstanceIdW, call,
                    [machine](BOOL *result, HDEVINFO, DeviceInfoData *, WCHAR *, DWORD,
                              DWORD *required) {
                        *result = 0;
                        *required = 0xFFFFFFFF;
                        machine->SetLastError(ErrorInsufficientBuffer);
                    });
         }},
        {"GetVersionExW", "empty",
         [](Platform *machine, int call) {
             replace(&machine->GetVersionExW, call, [](OsVersionInfoEx *) -> BOOL { return 1; });
         }},
        {"GetCommState", "empty",
         [](Platform *machine, int call) {
             change(&machine->GetCommState, call,
                    [](BOOL *, HANDLE, DeviceControlBlock *settings) { *settings = {}; });
         }},
        {"WriteFile", "empty",
         [](Platform *machine, int call) {
             change(&machine->WriteFile, call,
                    [](BOOL *, HANDLE, const void *, DWORD, DWORD *written, Overlapped *) {
                        *written = 0;
                    });
         }},
        {"WriteFile", "huge",
         [](Platform *machine, int call) {
             change(&machine->WriteFile, call,
                    [](BOOL *, HANDLE, const void *, DWORD, DWORD *written, Overlapped *) {
                        *written = 0xFFFFFFFF;
                    });
         }},
        {"ReadFile", "empty",
         [](Platform *machine, int call) {
             replace(&machine->ReadFile, call,
                     [](HANDLE, void *, DWORD, DWORD *read, Overlapped *) -> BOOL {
                         *read = 0;
                         return 1;
                     });
         }},
        {"ReadFile", "unterminated",
         [](Platform *machine, int call) {
             replace(&machine->ReadFile, call,
                     [](HANDLE, void *buffer, DWORD bytes, DWORD *read, Overlapped *) -> BOOL {
                         std::fill_n(static_cast<char *>(buffer), bytes, 'x');
                         *read = bytes;
                         return 1;
                     });
         }},
        {"ReadFile", "huge",
         [](Platform *machine, int call) {
             replace(&machine->ReadFile, call,
                     [](HANDLE, void *buffer, DWORD bytes, DWORD *read, Overlapped *) -> BOOL {
                         std::fill_n(static_cast<char *>(buffer), bytes, 'x');
                         *read = 0xFFFFFFFF;
                         return 1;
                     });
         }},
        {"WaitForSingleObject", "timeout",
         [](Platform *machine, int call) {
             constexpr DWORD WaitTimeout = 258; // WAIT_TIMEOUT, although none was given
             replace(&machine->WaitForSingleObject, call,
                     [](HANDLE, DWORD) { return WaitTimeout; });
         }},
        {"CM_Locate_DevNode_ExA", "empty",
         [](Platform *machine, int call) {
             change(&machine->CM_Locate_DevNode_ExA, call,
                    [](ConfigRet *, DEVINST *node, char *, ULONG, MachineHandle) { *node = 0; });
         }},
    };
    return all;
}

} // namespace

QList<DWORD> failureCodes(const AnyOperation &operation)
{
    static const QMap<QString, QList<DWORD>> ofOperation = {
        {"CreateEventW", {ErrorAccessDenied, ErrorNotEnoughMemory}},
        {"SetEvent", {ErrorInvalidHandle}},
        {"WaitForSingleObject", {ErrorInvalidHandle, ErrorOperationAborted}},
        {"CloseHandle", {ErrorInvalidHandle}},
        {"HeapAlloc", {Success, ErrorNotEnoughMemory}},
        {"HeapFree", {ErrorInvalidParameter}},
        {"LocalAlloc", {ErrorNotEnoughMemory}},
        {"LocalFree", {ErrorInvalidHandle}},
        {"GetModuleHandleW", {ErrorModuleNotFound}},
        {"LoadLibraryW", {ErrorModuleNotFound, ErrorNotEnoughMemory}},
        {"GetProcAddress", {ErrorProcedureNotFound}},
        {"FreeLibrary", {ErrorInvalidHandle}},
        {"CreateProcessW", {ErrorFileNotFound, ErrorAccessDenied, ErrorNotSupported}},
        {"RasEnumConnectionsW",
         {RasErrorBufferTooSmall, RasErrorInvalidSize, RasErrorUnknown, ErrorAccessDenied}},
        {"RasHangUpW", {RasErrorInvalidHandle, ErrorAccessDenied, RasErrorUnknown}},
        {"RasDialDlgW", {Success, RasErrorNoAnswer, ErrorInvalidParameter}},
        {"RasEnumDevicesW",
         {RasErrorBufferTooSmall, RasErrorInvalidSize, ErrorAccessDenied, ErrorInvalidData}},
        {"RasGetEntryPropertiesW",
         {RasErrorBufferTooSmall, RasErrorEntryNotFound, RasErrorCannotOpenPhonebook,
          ErrorAccessDenied}},
        {"RasSetEntryPropertiesW",
         {ErrorAccessDenied, ErrorInvalidParameter, RasErrorInvalidBuffer,
          RasErrorCannotOpenPhonebook, RasErrorInvalidSize, ErrorGenFailure, 123}},
        {"RegSetValueExW", {ErrorAccessDenied, ErrorInvalidHandle, 1018}},
        {"RegCloseKey", {ErrorInvalidHandle}},
        {"ConvertStringSecurityDescriptorToSecurityDescriptorW",
         {ErrorInvalidParameter, ErrorNotSupported}},
        {"CreateFileW", {ErrorFileNotFound, ErrorAccessDenied, ErrorDeviceNotConnected}},
        {"GetCommState", {ErrorInvalidHandle, ErrorDeviceNotConnected}},
        {"SetCommState", {ErrorInvalidParameter, ErrorDeviceNotConnected}},
        {"SetCommTimeouts", {ErrorInvalidHandle, ErrorDeviceNotConnected}},
        {"SetCommMask", {ErrorInvalidHandle, ErrorDeviceNotConnected}},
        {"WaitCommEvent", {ErrorInvalidHandle, ErrorIoPending, ErrorDeviceNotConnected}},
        {"ReadFile", {ErrorOperationAborted, ErrorIoPending, ErrorDeviceNotConnected}},
        {"WriteFile", {ErrorOperationAborted, ErrorIoPending, ErrorDeviceNotConnected}},
        {"GetOverlappedResult", {ErrorOperationAborted, ErrorDeviceNotConnected}},
        {"SetupCopyOEMInfW",
         {ErrorFileNotFound, ErrorAccessDenied, ErrorWrongInfStyle, ErrorInsufficientBuffer}},
        {"SetupDiGetINFClassW",
         {ErrorFileNotFound, ErrorInsufficientBuffer, ErrorNoAssociatedClass, ErrorInvalidClass}},
        {"SetupDiGetClassDevsW", {ErrorInvalidParameter, ErrorNotEnoughMemory}},
        {"SetupDiCreateDeviceInfoList", {ErrorNotEnoughMemory}},
        {"SetupDiDestroyDeviceInfoList", {ErrorInvalidHandle}},
        {"SetupDiEnumDeviceInfo", {ErrorNoMoreItems, ErrorInvalidHandle, ErrorInvalidUserBuffer}},
        {"SetupDiGetDeviceRegistryPropertyW",
         {ErrorInvalidData, ErrorInsufficientBuffer, ErrorNoSuchDevInst}},
        {"SetupDiSetDeviceRegistryPropertyW", {ErrorAccessDenied, ErrorInvalidData}},
        {"SetupDiCreateDeviceInfoW",
         {ErrorAccessDenied, ErrorClassMismatch, ErrorInvalidDevInstName}},
        {"SetupDiGetDeviceInstanceIdW", {ErrorInsufficientBuffer, ErrorNoSuchDevInst}},
        {"SetupDiRegisterDeviceInfo", {ErrorAccessDenied, ErrorNoSuchDevInst}},
        {"SetupDiCallClassInstaller", {ErrorAccessDenied, ErrorNoSuchDevInst}},
        {"SetupDiOpenDevRegKey", {ErrorKeyDoesNotExist, ErrorAccessDenied, ErrorNotRegistered}},
        {"SetupDiCreateDevRegKeyW", {ErrorAccessDenied, ErrorNotRegistered}},
        {"SetupDiGetSelectedDriverW", {ErrorInvalidUserBuffer, ErrorNoDriverSelected}},
        {"GetVersionExW", {ErrorInsufficientBuffer}},
        {"AllowSetForegroundWindow", {ErrorAccessDenied, ErrorNotSupported}},
        {"CM_Locate_DevNode_ExA", {ConfigDefault, ConfigInvalidDevNode, ConfigFailure}},
        {"CM_Reenumerate_DevNode_Ex", {ConfigInvalidDevNode, ConfigAccessDenied, ConfigFailure}},
        {"UpdateDriverForPlugAndPlayDevicesW",
         {ErrorFileNotFound, ErrorAccessDenied, ErrorInvalidParameter, ErrorNoMoreItems,
          ErrorInvalidFlags, ErrorNoSuchDevInst, ErrorInWow64}},
    };
    if (operation.failureCode() == FailureCode::None)
        return {};
    const auto found = ofOperation.constFind(operation.name());
    if (found == ofOperation.constEnd())
        qFatal("%s may fail, and its codes are not in this table", operation.name());
    return found.value();
}

QStringList unusualAnswers(const QString &operation)
{
    QStringList names;
    for (const UnusualAnswer &answer : answers()) {
        if (operation == QLatin1String(answer.operation))
            names += answer.name;
    }
    return names;
}

void plant(Platform *machine, const QString &operation, const QString &answer, int call)
{
    for (const UnusualAnswer &known : answers()) {
        if (operation == QLatin1String(known.operation) && answer == QLatin1String(known.name))
            return known.plant(machine, call);
    }
    qFatal("%s has no unusual answer \"%s\"", qPrintable(operation), qPrintable(answer));
}

} // namespace faults
