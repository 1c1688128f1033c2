#include "platform/setupapi.h"

#include "platform/simulated/deviceinfoset.h"
#include "platform/simulated/deviceinstallation.h"
#include "platform/simulated/infstore.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/openkey.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/guid.h"
#include "platform/standin/inffile.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace platform::simulated {

namespace {

constexpr DWORD ErrorInvalidUserBuffer = 1784;       // ERROR_INVALID_USER_BUFFER
constexpr DWORD ErrorClassMismatch = 0xE0000201;     // ERROR_CLASS_MISMATCH
constexpr DWORD ErrorInvalidDeviceName = 0xE0000205; // ERROR_INVALID_DEVINST_NAME
constexpr DWORD ErrorDeviceExists = 0xE0000207;      // ERROR_DEVINST_ALREADY_EXISTS
constexpr DWORD ErrorNotRegistered = 0xE0000208;     // ERROR_DEVINFO_NOT_REGISTERED
constexpr DWORD ErrorNoSuchDevice = 0xE000020B;      // ERROR_NO_SUCH_DEVINST
constexpr DWORD RegistryMultiString = 7;             // REG_MULTI_SZ
constexpr int LongestInstanceId = 200;               // MAX_DEVICE_ID_LEN
constexpr DEVINST FirstPortNode = 0x1000;            // nodes of ports follow their numbers

/// A text as the registry keeps it, terminator included.
QByteArray wideBytes(const QString &text)
{
    return QByteArray(reinterpret_cast<const char *>(text.utf16()),
                      static_cast<int>((text.size() + 1) * sizeof(WCHAR)));
}

/// REG_MULTI_SZ: every text with its terminator, and one more at the end.
QByteArray multiString(const QStringList &texts)
{
    QByteArray bytes;
    for (const QString &text : texts)
        bytes += wideBytes(text);
    return bytes + QByteArray(sizeof(WCHAR), '\0');
}

/// The texts of a multi-string; false when it does not end as one must.
bool readMultiString(const BYTE *bytes, DWORD size, QStringList *texts)
{
    if (size % sizeof(WCHAR) != 0 || size < 2 * sizeof(WCHAR))
        return false;
    QString content(static_cast<int>(size / sizeof(WCHAR)), Qt::Uninitialized);
    std::memcpy(content.data(), bytes, size);
    if (!content.endsWith(QString(2, QChar(0))))
        return false;
    *texts = content.split(QChar(0), Qt::SkipEmptyParts);
    return true;
}

/// Hands a text out by the size protocol in characters.
BOOL giveText(const QString &text, WCHAR *buffer, DWORD size, DWORD *requiredSize)
{
    const auto required = static_cast<DWORD>(text.size() + 1);
    if (requiredSize)
        *requiredSize = required;
    if (!buffer || size < required)
        return fail(ErrorInsufficientBuffer);
    const QByteArray bytes = wideBytes(text);
    std::memcpy(buffer, bytes.constData(), static_cast<size_t>(bytes.size()));
    return 1;
}

/// What the caller sees of an element. Reserved belongs to the system, so it
/// can carry the key that finds the element again.
DeviceInfoData recordOf(const DeviceInfoElement &element)
{
    DeviceInfoData data = {};
    data.cbSize = sizeof data;
    data.ClassGuid = element.classGuid;
    data.DevInst = element.devInst;
    data.Reserved = element.key;
    return data;
}

/// The element that a record stands for; null with the last error set.
DeviceInfoElement *elementOf(DeviceInfoSet *set, const DeviceInfoData *data)
{
    if (!set) {
        setLastError(ErrorInvalidHandle);
        return nullptr;
    }
    if (!data || data->cbSize != sizeof *data) {
        setLastError(ErrorInvalidUserBuffer);
        return nullptr;
    }
    for (DeviceInfoElement &element : set->elements) {
        if (element.key == data->Reserved && element.devInst == data->DevInst && !element.removed)
            return &element;
    }
    setLastError(ErrorNoSuchDevice);
    return nullptr;
}

/// A file of the INF store by its bare name, any other by its path.
QString infPath(const QString &directory, const WCHAR *name)
{
    const QString path = hostPath(fromWide(name));
    return path.contains('/') ? path : storedInfPath(directory, path);
}

/// Reads and takes apart an INF; none with the last error set.
std::optional<InfFile> openInf(const char *operation, const QString &path, QByteArray *content)
{
    QFile file(path);
    if (!QFile::exists(path) || !file.open(QIODevice::ReadOnly)) {
        setLastError(QFile::exists(path) ? ErrorAccessDenied : ErrorFileNotFound);
        return std::nullopt;
    }
    *content = file.readAll();
    QString error;
    auto inf = InfFile::parse(*content, &error);
    if (!inf) {
        std::fprintf(stderr, "simulated PC: %s: %s: %s\n", operation, qPrintable(path),
                     qPrintable(error));
        setLastError(ErrorInvalidInfStyle);
    }
    return inf;
}

/// Ports come and go with their phones: a set keeps what was there when it
/// was made.
DeviceInfoElement portElement(DWORD devInst, const QString &instanceId, const QString &friendlyName,
                              const QString &hardwareId)
{
    DeviceInfoElement element;
    element.devInst = devInst;
    element.instanceId = instanceId;
    element.className = "Ports";
    element.classGuid = PortsClassGuid;
    element.friendlyName = friendlyName;
    element.hardwareIds = QStringList{hardwareId};
    return element;
}

/// The lowest number that neither the machine nor the set uses.
QString generatedId(const MachineState &state, const DeviceInfoSet &set, const QString &name)
{
    for (int number = 0;; ++number) {
        const QString id =
            QString("ROOT\\%1\\%2").arg(name.toUpper()).arg(number, 4, 10, QChar('0'));
        const auto isIt = [&id](const auto &each) { return each.instanceId == id; };
        if (std::none_of(state.devices.begin(), state.devices.end(), isIt) &&
            std::none_of(set.elements.begin(), set.elements.end(), isIt))
            return id;
    }
}

} // namespace

BOOL DeviceInstallation::SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *,
                                          DWORD OEMSourceMediaType, DWORD CopyStyle,
                                          WCHAR *DestinationInfFileName,
                                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                          WCHAR **DestinationInfFileNameComponent)
{
    if (!SourceInfFileName)
        return fail(ErrorInvalidParameter);
    if (OEMSourceMediaType != SourceMediaNone || (CopyStyle & ~CopyInfCatalogOnly))
        return failUnsupported("SetupCopyOEMInfW", "source media and other copy styles");
    QByteArray content;
    const QString source = hostPath(fromWide(SourceInfFileName));
    const MachineSession session(m_directory);
    // A missing file is told first, as it is found before rights are needed.
    if (QFile::exists(source) && !session.state.administrator)
        return fail(ErrorAccessDenied);
    if (!openInf("SetupCopyOEMInfW", source, &content))
        return 0;
    const QString name = storeInf(m_directory, content);
    if (name.isEmpty())
        return fail(ErrorGenFailure);

    // Most callers do not ask where the file went.
    if (!DestinationInfFileName && !RequiredSize)
        return 1;
    const QString stored = windowsPath(storedInfPath(m_directory, name));
    if (!DestinationInfFileName) {
        *RequiredSize = static_cast<DWORD>(stored.size() + 1);
        return 1;
    }
    if (!giveText(stored, DestinationInfFileName, DestinationInfFileNameSize, RequiredSize))
        return 0;
    if (DestinationInfFileNameComponent)
        *DestinationInfFileNameComponent = DestinationInfFileName + (stored.size() - name.size());
    return 1;
}

BOOL DeviceInstallation::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid,
                                             WCHAR *ClassName, DWORD ClassNameSize,
                                             DWORD *RequiredSize)
{
    if (!InfName || !ClassGuid)
        return fail(ErrorInvalidParameter);
    QByteArray content;
    const auto inf = openInf("SetupDiGetINFClassW", infPath(m_directory, InfName), &content);
    if (!inf)
        return 0;
    const auto guid = inf->classGuid();
    if (!guid || inf->className().isEmpty())
        return fail(ErrorNoAssociatedClass);
    if (!giveText(inf->className(), ClassName, ClassNameSize, RequiredSize))
        return 0;
    // Only complete answers are handed out: the name may not have fitted.
    *ClassGuid = *guid;
    return 1;
}

HDEVINFO DeviceInstallation::SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator,
                                                  HWND, DWORD Flags)
{
    if (Enumerator || Flags != GetPresentDevices) {
        failUnsupported("SetupDiGetClassDevsW", "anything but the present devices of a class");
        return invalidHandle();
    }
    if (!ClassGuid) {
        setLastError(ErrorInvalidParameter);
        return invalidHandle();
    }
    const auto set = std::make_shared<DeviceInfoSet>(*ClassGuid);
    MachineSession session(m_directory);
    if (*ClassGuid == PortsClassGuid) {
        // The on-board port comes first: it was enumerated when the machine started.
        set->add(portElement(FirstPortNode + 1, "ACPI\\PNP0501\\1", "Communications Port (COM1)",
                             "ACPI\\PNP0501"));
        const auto ports = presentPorts(&session);
        if (!ports) {
            setLastError(ErrorGenFailure);
            return invalidHandle();
        }
        for (const PresentPort &port : *ports) {
            const auto node = FirstPortNode + static_cast<DEVINST>(port.number);
            const QString id = QString("USB\\PHONE\\SOCKET%1").arg(port.phone.socket);
            set->add(portElement(node, id, port.friendlyName(), "USB\\PHONE"));
        }
    }
    // Registered devices have no hardware behind them that could be missing, so
    // they are always present.
    const QString wanted = guidText(*ClassGuid);
    for (const Device &device : session.state.devices) {
        if (device.classGuid != wanted)
            continue;
        DeviceInfoElement element;
        element.devInst = static_cast<DWORD>(device.devInst);
        element.instanceId = device.instanceId;
        element.className = device.className;
        element.classGuid = *ClassGuid;
        element.registered = true;
        set->add(element);
    }
    return m_deviceSets.add(set);
}

HDEVINFO DeviceInstallation::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND)
{
    std::optional<Guid> guid;
    if (ClassGuid)
        guid = *ClassGuid;
    return m_deviceSets.add(std::make_shared<DeviceInfoSet>(guid));
}

BOOL DeviceInstallation::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return m_deviceSets.remove(DeviceInfoSet) ? 1 : fail(ErrorInvalidHandle);
}

BOOL DeviceInstallation::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                               DeviceInfoData *deviceInfoData)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    if (!set)
        return fail(ErrorInvalidHandle);
    if (!deviceInfoData || deviceInfoData->cbSize != sizeof *deviceInfoData)
        return fail(ErrorInvalidUserBuffer);
    DWORD index = 0;
    for (const DeviceInfoElement &element : set->elements) {
        // Indices close up over removed devices.
        if (element.removed || index++ != MemberIndex)
            continue;
        *deviceInfoData = recordOf(element);
        return 1;
    }
    return fail(ErrorNoMoreItems);
}

BOOL DeviceInstallation::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    const DeviceInfoElement *element = elementOf(set.get(), deviceInfoData);
    if (!element)
        return 0;
    QString friendlyName = element->friendlyName;
    QStringList hardwareIds = element->hardwareIds;
    if (element->registered) {
        MachineSession session(m_directory);
        const Device *device = session.state.findDevice(element->instanceId);
        if (!device)
            return fail(ErrorNoSuchDevice);
        friendlyName = device->friendlyName;
        hardwareIds = device->hardwareIds;
    }

    DWORD type = RegistryString;
    QByteArray value;
    switch (Property) {
    case PropertyFriendlyName:
        if (!friendlyName.isEmpty())
            value = wideBytes(friendlyName);
        break;
    case PropertyHardwareId:
        type = RegistryMultiString;
        if (!hardwareIds.isEmpty())
            value = multiString(hardwareIds);
        break;
    default:
        return failUnsupported("SetupDiGetDeviceRegistryPropertyW", "this property");
    }
    // A property that was never set differs from an empty one.
    if (value.isEmpty())
        return fail(ErrorInvalidData);

    const auto required = static_cast<DWORD>(value.size());
    if (PropertyRegDataType)
        *PropertyRegDataType = type;
    if (RequiredSize)
        *RequiredSize = required;
    if (!PropertyBuffer || PropertyBufferSize < required)
        return fail(ErrorInsufficientBuffer);
    std::memcpy(PropertyBuffer, value.constData(), required);
    return 1;
}

BOOL DeviceInstallation::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                           DeviceInfoData *deviceInfoData,
                                                           DWORD Property,
                                                           const BYTE *PropertyBuffer,
                                                           DWORD PropertyBufferSize)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    DeviceInfoElement *element = elementOf(set.get(), deviceInfoData);
    if (!element)
        return 0;
    if (Property != PropertyHardwareId)
        return failUnsupported("SetupDiSetDeviceRegistryPropertyW", "this property");
    QStringList hardwareIds;
    if (!PropertyBuffer || !readMultiString(PropertyBuffer, PropertyBufferSize, &hardwareIds))
        return fail(ErrorInvalidData);
    // An unregistered device is the caller's own affair and needs no rights.
    if (!element->registered) {
        element->hardwareIds = hardwareIds;
        return 1;
    }
    MachineSession session(m_directory);
    Device *device = session.state.findDevice(element->instanceId);
    if (!device)
        return fail(ErrorNoSuchDevice);
    if (!session.state.administrator)
        return fail(ErrorAccessDenied);
    device->hardwareIds = hardwareIds;
    return session.save() ? 1 : fail(ErrorGenFailure);
}

BOOL DeviceInstallation::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                                  const Guid *ClassGuid,
                                                  const WCHAR *DeviceDescription, HWND,
                                                  DWORD CreationFlags,
                                                  DeviceInfoData *deviceInfoData)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    if (!set)
        return fail(ErrorInvalidHandle);
    if (!DeviceName || !ClassGuid)
        return fail(ErrorInvalidParameter);
    if (deviceInfoData && deviceInfoData->cbSize != sizeof *deviceInfoData)
        return fail(ErrorInvalidUserBuffer);
    if (CreationFlags != GenerateDeviceId || DeviceDescription)
        return failUnsupported("SetupDiCreateDeviceInfoW", "ids and descriptions of the caller's");
    // A set made for one class holds no other.
    if (set->classGuid && !(*set->classGuid == *ClassGuid))
        return fail(ErrorClassMismatch);
    const QString name = fromWide(DeviceName);
    if (name.isEmpty() || name.contains('\\') || name.size() > LongestInstanceId - 10)
        return fail(ErrorInvalidDeviceName);

    MachineSession session(m_directory);
    DeviceInfoElement element;
    element.devInst = static_cast<DWORD>(session.state.nextDevInst++);
    element.instanceId = generatedId(session.state, *set, name);
    element.className = name;
    element.classGuid = *ClassGuid;
    if (!session.save())
        return fail(ErrorGenFailure);
    // The node's number is used up even when the device is never registered, so
    // that no stale record can mean a later device.
    const DeviceInfoElement &added = set->add(element);
    if (deviceInfoData)
        *deviceInfoData = recordOf(added);
    return 1;
}

BOOL DeviceInstallation::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                     DeviceInfoData *deviceInfoData,
                                                     WCHAR *DeviceInstanceId,
                                                     DWORD DeviceInstanceIdSize,
                                                     DWORD *RequiredSize)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    const DeviceInfoElement *element = elementOf(set.get(), deviceInfoData);
    if (!element)
        return 0;
    return giveText(element->instanceId, DeviceInstanceId, DeviceInstanceIdSize, RequiredSize);
}

BOOL DeviceInstallation::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData, DWORD Flags,
                                                   void *CompareProc, void *CompareContext,
                                                   DeviceInfoData *DupDeviceInfoData)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    DeviceInfoElement *element = elementOf(set.get(), deviceInfoData);
    if (!element)
        return 0;
    if (Flags != 0 || CompareProc || CompareContext || DupDeviceInfoData)
        return failUnsupported("SetupDiRegisterDeviceInfo", "the search for duplicates");
    MachineSession session(m_directory);
    if (!session.state.administrator)
        return fail(ErrorAccessDenied);
    const Device *known = session.state.findDevice(element->instanceId);
    // Registering again is allowed and changes nothing.
    if (element->registered)
        return known ? 1 : fail(ErrorNoSuchDevice);
    // Another process took the generated id since this device was made.
    if (known)
        return fail(ErrorDeviceExists);

    Device device;
    device.devInst = static_cast<int>(element->devInst);
    device.instanceId = element->instanceId;
    device.className = element->className;
    device.classGuid = guidText(element->classGuid);
    device.hardwareIds = element->hardwareIds;
    session.state.devices += device;
    if (!session.save())
        return fail(ErrorGenFailure);
    element->registered = true;
    return 1;
}

BOOL DeviceInstallation::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    DeviceInfoElement *element = elementOf(set.get(), deviceInfoData);
    if (!element)
        return 0;
    if (InstallFunction != FunctionRemove)
        return failUnsupported("SetupDiCallClassInstaller", "functions other than DIF_REMOVE");
    if (element->registered) {
        MachineSession session(m_directory);
        if (!session.state.administrator)
            return fail(ErrorAccessDenied);
        QList<Device> &devices = session.state.devices;
        const QString id = element->instanceId;
        devices.erase(std::remove_if(devices.begin(), devices.end(),
                                     [&id](const auto &each) { return each.instanceId == id; }),
                      devices.end());
        if (!session.save())
            return fail(ErrorGenFailure);
    }
    // The element stays in its place: other records of the set remain valid.
    element->removed = true;
    return 1;
}

HKEY DeviceInstallation::openKey(HDEVINFO set, DeviceInfoData *data, DWORD scope, DWORD profile,
                                 DWORD type, bool create)
{
    const auto found = m_deviceSets.find(set);
    const DeviceInfoElement *element = elementOf(found.get(), data);
    if (!element)
        return invalidHandle();
    if (scope != ScopeGlobal || profile != 0 || type != DriverKey) {
        failUnsupported(create ? "SetupDiCreateDevRegKeyW" : "SetupDiOpenDevRegKey",
                        "keys other than the global driver key");
        return invalidHandle();
    }
    MachineSession session(m_directory);
    Device *device = session.state.findDevice(element->instanceId);
    DWORD code = Success;
    // Keys hang below the registered device, and opening one for all access is
    // an administrator's right even when it does not exist.
    if (!element->registered)
        code = ErrorNotRegistered;
    else if (!device)
        code = ErrorNoSuchDevice;
    else if (!session.state.administrator)
        code = ErrorAccessDenied;
    else if (!device->hasDriverKey && !create)
        code = ErrorKeyDoesNotExist;
    if (code == Success && !device->hasDriverKey) {
        device->hasDriverKey = true;
        if (!session.save())
            code = ErrorGenFailure;
    }
    if (code != Success) {
        setLastError(code);
        return invalidHandle();
    }
    return m_keys.add(std::make_shared<OpenKey>(element->instanceId));
}

HKEY DeviceInstallation::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet,
                                              DeviceInfoData *deviceInfoData, DWORD Scope,
                                              DWORD HwProfile, DWORD KeyType, DWORD)
{
    return openKey(DeviceInfoSet, deviceInfoData, Scope, HwProfile, KeyType, false);
}

HKEY DeviceInstallation::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                                 DeviceInfoData *deviceInfoData, DWORD Scope,
                                                 DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                                 const WCHAR *InfSectionName)
{
    if (InfHandle || InfSectionName) {
        failUnsupported("SetupDiCreateDevRegKeyW", "INF sections");
        return invalidHandle();
    }
    return openKey(DeviceInfoSet, deviceInfoData, Scope, HwProfile, KeyType, true);
}

BOOL DeviceInstallation::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData,
                                                   DriverInfoData *driverInfoData)
{
    const auto set = m_deviceSets.find(DeviceInfoSet);
    if (!elementOf(set.get(), deviceInfoData))
        return 0;
    if (!driverInfoData || driverInfoData->cbSize != sizeof *driverInfoData)
        return fail(ErrorInvalidParameter);
    // A driver is selected from a list, and nobody can build one here.
    return fail(ErrorNoDriverSelected);
}

} // namespace platform::simulated
