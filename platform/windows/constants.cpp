// Every constant of the contract has the value that the system's headers give to
// the name in its comment. Checked by the compiler; nothing here runs.

#include "platform/platform.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <newdev.h>
#include <ras.h>
#include <raserror.h>
#include <sddl.h>
#include <setupapi.h>

#define SAME_VALUE(ours, theirs)                                                                   \
    static_assert(                                                                                 \
        static_cast<unsigned long>(platform::ours) == static_cast<unsigned long>(theirs), #theirs)

SAME_VALUE(Success, ERROR_SUCCESS);
SAME_VALUE(ErrorFileNotFound, ERROR_FILE_NOT_FOUND);
SAME_VALUE(ErrorAccessDenied, ERROR_ACCESS_DENIED);
SAME_VALUE(ErrorInvalidHandle, ERROR_INVALID_HANDLE);
SAME_VALUE(ErrorNotEnoughMemory, ERROR_NOT_ENOUGH_MEMORY);
SAME_VALUE(ErrorInvalidData, ERROR_INVALID_DATA);
SAME_VALUE(ErrorGenFailure, ERROR_GEN_FAILURE);
SAME_VALUE(ErrorNotSupported, ERROR_NOT_SUPPORTED);
SAME_VALUE(ErrorFileExists, ERROR_FILE_EXISTS);
SAME_VALUE(ErrorInvalidParameter, ERROR_INVALID_PARAMETER);
SAME_VALUE(ErrorInsufficientBuffer, ERROR_INSUFFICIENT_BUFFER);
SAME_VALUE(ErrorModuleNotFound, ERROR_MOD_NOT_FOUND);
SAME_VALUE(ErrorProcedureNotFound, ERROR_PROC_NOT_FOUND);
SAME_VALUE(ErrorAlreadyExists, ERROR_ALREADY_EXISTS);
SAME_VALUE(ErrorNoMoreItems, ERROR_NO_MORE_ITEMS);
SAME_VALUE(ErrorOperationAborted, ERROR_OPERATION_ABORTED);
SAME_VALUE(ErrorIoPending, ERROR_IO_PENDING);
SAME_VALUE(ErrorInvalidFlags, ERROR_INVALID_FLAGS);
SAME_VALUE(ErrorDeviceNotConnected, ERROR_DEVICE_NOT_CONNECTED);

SAME_VALUE(ConfigSuccess, CR_SUCCESS);
SAME_VALUE(ConfigDefault, CR_DEFAULT);
SAME_VALUE(ConfigInvalidDevNode, CR_INVALID_DEVNODE);
SAME_VALUE(ConfigFailure, CR_FAILURE);
SAME_VALUE(ConfigAccessDenied, CR_ACCESS_DENIED);
SAME_VALUE(LocateNormal, CM_LOCATE_DEVNODE_NORMAL);
SAME_VALUE(ReenumerateNormal, CM_REENUMERATE_NORMAL);

SAME_VALUE(AnyProcess, ASFW_ANY);
SAME_VALUE(SddlRevision1, SDDL_REVISION_1);

SAME_VALUE(WaitObject0, WAIT_OBJECT_0);
SAME_VALUE(WaitTimeout, WAIT_TIMEOUT);
SAME_VALUE(WaitFailed, WAIT_FAILED);
SAME_VALUE(WaitInfinite, INFINITE);

SAME_VALUE(HeapZeroMemory, HEAP_ZERO_MEMORY);
SAME_VALUE(LocalZeroInit, LPTR);

SAME_VALUE(InstallFlagForce, INSTALLFLAG_FORCE);
SAME_VALUE(ErrorInWow64, ERROR_IN_WOW64);

SAME_VALUE(EntryPreviewUserPassword, RASEO_PreviewUserPw);
SAME_VALUE(EntryPreviewPhoneNumber, RASEO_PreviewPhoneNumber);
SAME_VALUE(RasErrorBufferTooSmall, ERROR_BUFFER_TOO_SMALL);
SAME_VALUE(RasErrorInvalidBuffer, ERROR_BUFFER_INVALID);
SAME_VALUE(RasErrorCannotOpenPhonebook, ERROR_CANNOT_OPEN_PHONEBOOK);
SAME_VALUE(RasErrorEntryNotFound, ERROR_CANNOT_FIND_PHONEBOOK_ENTRY);
SAME_VALUE(RasErrorCorruptPhonebook, ERROR_CORRUPT_PHONEBOOK);
SAME_VALUE(RasErrorPortDisconnected, ERROR_REMOTE_DISCONNECTION);
SAME_VALUE(RasErrorUserDisconnected, ERROR_USER_DISCONNECTION);
SAME_VALUE(RasErrorInvalidSize, ERROR_INVALID_SIZE);
SAME_VALUE(RasErrorPortNotAvailable, ERROR_PORT_NOT_AVAILABLE);
SAME_VALUE(RasErrorUnknown, ERROR_UNKNOWN);
SAME_VALUE(RasErrorRequestTimeout, ERROR_REQUEST_TIMEOUT);
SAME_VALUE(RasErrorFromDevice, ERROR_FROM_DEVICE);
SAME_VALUE(RasErrorDeviceNotReady, ERROR_DEVICE_NOT_READY);
SAME_VALUE(RasErrorLineBusy, ERROR_LINE_BUSY);
SAME_VALUE(RasErrorNoAnswer, ERROR_NO_ANSWER);
SAME_VALUE(RasErrorNoCarrier, ERROR_NO_CARRIER);
SAME_VALUE(RasErrorNoDialTone, ERROR_NO_DIALTONE);
SAME_VALUE(RasErrorAuthentication, ERROR_AUTHENTICATION_FAILURE);
SAME_VALUE(RasErrorPortOrDevice, ERROR_PORT_OR_DEVICE);
SAME_VALUE(RasErrorPppTimeout, ERROR_PPP_TIMEOUT);
SAME_VALUE(RasErrorNoProtocols, ERROR_PPP_NO_PROTOCOLS_CONFIGURED);
SAME_VALUE(RasErrorInvalidHandle, ERROR_INVALID_HANDLE);

SAME_VALUE(RegistryString, REG_SZ);
SAME_VALUE(ErrorKeyDeleted, ERROR_KEY_DELETED);

SAME_VALUE(GenericRead, GENERIC_READ);
SAME_VALUE(GenericWrite, GENERIC_WRITE);
SAME_VALUE(OpenExisting, OPEN_EXISTING);
SAME_VALUE(FileFlagOverlapped, FILE_FLAG_OVERLAPPED);
SAME_VALUE(MaxDword, MAXDWORD);
SAME_VALUE(BaudRate9600, CBR_9600);
SAME_VALUE(NoParity, NOPARITY);
SAME_VALUE(OneStopBit, ONESTOPBIT);
SAME_VALUE(EventReceivedCharacter, EV_RXCHAR);
SAME_VALUE(EventTransmitEmpty, EV_TXEMPTY);

SAME_VALUE(SourceMediaNone, SPOST_NONE);
SAME_VALUE(CopyNoOverwrite, SP_COPY_NOOVERWRITE);
SAME_VALUE(CopyInfCatalogOnly, SP_COPY_OEMINF_CATALOG_ONLY);
SAME_VALUE(MaxClassNameSize, MAX_CLASS_NAME_LEN);
SAME_VALUE(GetPresentDevices, DIGCF_PRESENT);
SAME_VALUE(PropertyHardwareId, SPDRP_HARDWAREID);
SAME_VALUE(PropertyFriendlyName, SPDRP_FRIENDLYNAME);
SAME_VALUE(GenerateDeviceId, DICD_GENERATE_ID);
SAME_VALUE(FunctionRemove, DIF_REMOVE);
SAME_VALUE(ScopeGlobal, DICS_FLAG_GLOBAL);
SAME_VALUE(DriverKey, DIREG_DRV);
SAME_VALUE(KeyAllAccess, KEY_ALL_ACCESS);
SAME_VALUE(ErrorInvalidUserBuffer, ERROR_INVALID_USER_BUFFER);
SAME_VALUE(ErrorWrongInfStyle, ERROR_WRONG_INF_STYLE);
SAME_VALUE(ErrorNoAssociatedClass, ERROR_NO_ASSOCIATED_CLASS);
SAME_VALUE(ErrorClassMismatch, ERROR_CLASS_MISMATCH);
SAME_VALUE(ErrorNoDriverSelected, ERROR_NO_DRIVER_SELECTED);
SAME_VALUE(ErrorKeyDoesNotExist, ERROR_KEY_DOES_NOT_EXIST);
SAME_VALUE(ErrorInvalidDevInstName, ERROR_INVALID_DEVINST_NAME);
SAME_VALUE(ErrorInvalidClass, ERROR_INVALID_CLASS);
SAME_VALUE(ErrorNotRegistered, ERROR_DEVINFO_NOT_REGISTERED);
SAME_VALUE(ErrorNoSuchDevInst, ERROR_NO_SUCH_DEVINST);

SAME_VALUE(PlatformWin32Nt, VER_PLATFORM_WIN32_NT);
SAME_VALUE(ProductWorkstation, VER_NT_WORKSTATION);
SAME_VALUE(SuiteStorageServer, VER_SUITE_STORAGE_SERVER);
SAME_VALUE(MetricServerR2, SM_SERVERR2);
SAME_VALUE(ArchitectureIntel, PROCESSOR_ARCHITECTURE_INTEL);
SAME_VALUE(ArchitectureItanium, PROCESSOR_ARCHITECTURE_IA64);
SAME_VALUE(ArchitectureX64, PROCESSOR_ARCHITECTURE_AMD64);
