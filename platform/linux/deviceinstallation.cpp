#include "platform/linux/deviceinstallation.h"

#include "platform/linux/families.h"
#include "platform/linux/systempath.h"
#include "platform/platform.h"
#include "platform/posix/storedfiles.h"
#include "platform/standin/guid.h"
#include "platform/standin/inffile.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>

namespace platform::linuxsystem {

namespace {

constexpr DWORD ErrorInvalidUserBuffer = 1784;   // ERROR_INVALID_USER_BUFFER
constexpr DWORD ErrorNotRegistered = 0xE0000208; // ERROR_DEVINFO_NOT_REGISTERED
constexpr DWORD ErrorClassMismatch = 0xE0000201; // ERROR_CLASS_MISMATCH
constexpr DWORD RegistryMultiString = 7;         // REG_MULTI_SZ
constexpr DWORD CopyNoOverwrite = 0x8;           // SP_COPY_NOOVERWRITE
constexpr DWORD KnownUpdateFlags = 0x7;          // INSTALLFLAG_FORCE and its two companions

/// Reads an INF; none with the last error set: 2, 5 or 0xE0000100.
std::optional<InfFile> readInf(const QString &path)
{
    const QFileInfo file(path);
    if (!file.isFile()) {
        fail(ErrorFileNotFound);
        return {};
    }
    if (!file.isReadable()) {
        fail(ErrorAccessDenied);
        return {};
    }
    QString reason;
    std::optional<InfFile> inf = InfFile::read(path, &reason);
    if (!inf)
        fail(ErrorInvalidInfStyle);
    return inf;
}

/// Hands a text out the way the device installation functions do: the size is
/// in characters, and what is needed is told in any case.
BOOL giveText(const QString &text, WCHAR *buffer, DWORD size, DWORD *required)
{
    const auto needed = static_cast<DWORD>(text.size() + 1);
    if (required)
        *required = needed;
    if (!buffer || size < needed)
        return fail(ErrorInsufficientBuffer);
    std::memcpy(buffer, text.utf16(), needed * sizeof(WCHAR));
    return 1;
}

/// The entries of a multi-string; none when it is not terminated.
std::optional<QStringList> multiString(const BYTE *data, DWORD bytes)
{
    const auto units = static_cast<int>(bytes / sizeof(WCHAR));
    QString text(units, QChar());
    std::memcpy(text.data(), data, static_cast<std::size_t>(units) * sizeof(WCHAR));
    if (bytes % sizeof(WCHAR) != 0 || !text.endsWith(QString(2, QChar())))
        return {};
    QStringList entries = text.split(QChar());
    entries.removeAll(QString());
    return entries;
}

bool servesHardwareId(const InfModel &model, const QString &hardwareId)
{
    return model.hardwareIds.contains(hardwareId, Qt::CaseInsensitive);
}

} // namespace

DeviceInstallation::DeviceInstallation(const std::shared_ptr<StateStore> &store) : m_store(store) {}

BOOL DeviceInstallation::SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *,
                                          DWORD OEMSourceMediaType, DWORD CopyStyle,
                                          WCHAR *DestinationInfFileName,
                                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                          WCHAR **DestinationInfFileNameComponent)
{
    if (!SourceInfFileName)
        return fail(ErrorInvalidParameter);
    if (OEMSourceMediaType != SourceMediaNone ||
        (CopyStyle & ~(CopyInfCatalogOnly | CopyNoOverwrite)) || DestinationInfFileNameComponent)
        return failUnsupported("SetupCopyOEMInfW", "this media type or copy style");
    const QString source = systemPath(fromWide(SourceInfFileName));
    if (!readInf(source))
        return 0;
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly))
        return fail(ErrorAccessDenied);
    const QByteArray content = file.readAll();

    QString stored;
    DWORD outcome = Success;
    const DWORD code = m_store->change([&](QJsonObject *) {
        const QDir folder(m_store->folder() + "/inf");
        outcome = makeFolder(folder.path());
        if (outcome != Success)
            return false;
        for (int number = 0;; ++number) {
            stored = folder.filePath(QString("oem%1.inf").arg(number));
            QFile existing(stored);
            if (!existing.exists())
                break;
            if (existing.open(QIODevice::ReadOnly) && existing.readAll() == content)
                return false;
        }
        outcome = replaceFile(stored, content, 0644);
        return false;
    });
    if (code != Success || outcome != Success)
        return fail(code != Success ? code : outcome);
    if (!DestinationInfFileName && !RequiredSize)
        return 1;
    return giveText(stored, DestinationInfFileName, DestinationInfFileNameSize, RequiredSize);
}

BOOL DeviceInstallation::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid,
                                             WCHAR *ClassName, DWORD ClassNameSize,
                                             DWORD *RequiredSize)
{
    if (!InfName || !ClassGuid || !ClassName)
        return fail(ErrorInvalidParameter);
    const std::optional<InfFile> inf = readInf(systemPath(fromWide(InfName)));
    if (!inf)
        return 0;
    if (!inf->classGuid() || inf->className().isEmpty())
        return fail(ErrorNoAssociatedClass);
    *ClassGuid = *inf->classGuid();
    return giveText(inf->className(), ClassName, ClassNameSize, RequiredSize);
}

HDEVINFO DeviceInstallation::SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator,
                                                  HWND, DWORD Flags)
{
    if (!ClassGuid || !(*ClassGuid == PortsClassGuid) || Enumerator || Flags != GetPresentDevices) {
        failUnsupported("SetupDiGetClassDevsW", "devices other than the present ports");
        return invalidHandle();
    }
    QList<SerialPortDevice> ports;
    const DWORD code = presentSerialPorts(m_store.get(), &ports);
    if (code != Success) {
        fail(code);
        return invalidHandle();
    }
    auto set = std::make_shared<DeviceSet>();
    set->classGuid = *ClassGuid;
    for (const SerialPortDevice &port : ports) {
        Member member;
        member.devInst = m_nextDevInst++;
        member.classGuid = *ClassGuid;
        member.friendlyName = friendlyName(port);
        member.isPort = true;
        set->members.append(member);
    }
    return m_sets.add(std::move(set));
}

HDEVINFO DeviceInstallation::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND)
{
    if (!ClassGuid) {
        failUnsupported("SetupDiCreateDeviceInfoList", "sets of no class");
        return invalidHandle();
    }
    auto set = std::make_shared<DeviceSet>();
    set->classGuid = *ClassGuid;
    return m_sets.add(std::move(set));
}

BOOL DeviceInstallation::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return m_sets.remove(DeviceInfoSet) ? 1 : fail(ErrorInvalidHandle);
}

BOOL DeviceInstallation::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                               DeviceInfoData *deviceInfoData)
{
    const auto set = m_sets.find(DeviceInfoSet);
    if (!set)
        return fail(ErrorInvalidHandle);
    if (!deviceInfoData || deviceInfoData->cbSize != sizeof *deviceInfoData)
        return fail(ErrorInvalidUserBuffer);
    if (MemberIndex >= static_cast<DWORD>(set->members.size()))
        return fail(ErrorNoMoreItems);
    const Member &member = set->members.at(static_cast<int>(MemberIndex));
    deviceInfoData->ClassGuid = member.classGuid;
    deviceInfoData->DevInst = member.devInst;
    deviceInfoData->Reserved = 0;
    return 1;
}

BOOL DeviceInstallation::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    std::shared_ptr<DeviceSet> set;
    const Member *device = member(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return 0;
    QString text;
    DWORD type = RegistryString;
    if (Property == PropertyFriendlyName) {
        text = device->isPort ? device->friendlyName : device->device.name;
    } else if (Property == PropertyHardwareId) {
        text = device->device.hardwareIds.join(QChar());
        type = RegistryMultiString;
    } else {
        return failUnsupported("SetupDiGetDeviceRegistryPropertyW", "this property");
    }
    if (text.isEmpty())
        return fail(ErrorInvalidData);
    if (type == RegistryMultiString)
        text += QChar();

    const auto bytes = static_cast<DWORD>((text.size() + 1) * int(sizeof(WCHAR)));
    if (PropertyRegDataType)
        *PropertyRegDataType = type;
    if (RequiredSize)
        *RequiredSize = bytes;
    if (!PropertyBuffer || PropertyBufferSize < bytes)
        return fail(ErrorInsufficientBuffer);
    std::memcpy(PropertyBuffer, text.utf16(), bytes);
    return 1;
}

BOOL DeviceInstallation::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                           DeviceInfoData *deviceInfoData,
                                                           DWORD Property,
                                                           const BYTE *PropertyBuffer,
                                                           DWORD PropertyBufferSize)
{
    std::shared_ptr<DeviceSet> set;
    Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return 0;
    if (Property != PropertyHardwareId)
        return failUnsupported("SetupDiSetDeviceRegistryPropertyW", "this property");
    const auto ids = PropertyBuffer ? multiString(PropertyBuffer, PropertyBufferSize)
                                    : std::optional<QStringList>();
    if (!ids)
        return fail(ErrorInvalidParameter);
    device->device.hardwareIds = *ids;
    if (!device->isRegistered)
        return 1;
    return changeDevice(device->device.instanceId,
                        [&ids](ModemDevice *stored) { stored->hardwareIds = *ids; });
}

BOOL DeviceInstallation::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                                  const Guid *ClassGuid, const WCHAR *, HWND,
                                                  DWORD CreationFlags,
                                                  DeviceInfoData *deviceInfoData)
{
    const auto set = m_sets.find(DeviceInfoSet);
    if (!set)
        return fail(ErrorInvalidHandle);
    if (!DeviceName || DeviceName[0] == 0 || !ClassGuid)
        return fail(ErrorInvalidParameter);
    if (deviceInfoData && deviceInfoData->cbSize != sizeof *deviceInfoData)
        return fail(ErrorInvalidUserBuffer);
    if (!(*ClassGuid == set->classGuid))
        return fail(ErrorClassMismatch);
    if (CreationFlags != GenerateDeviceId)
        return failUnsupported("SetupDiCreateDeviceInfoW", "device ids of the caller's own");
    QJsonObject state;
    const DWORD code = m_store->read(&state);
    if (code != Success)
        return fail(code);

    Member member;
    member.devInst = m_nextDevInst++;
    member.classGuid = *ClassGuid;
    QList<ModemDevice> taken = readDevices(state);
    for (const Member &other : std::as_const(set->members))
        taken.append(other.device);
    member.device.className = fromWide(DeviceName);
    member.device.classGuid = guidText(*ClassGuid);
    member.device.instanceId = newInstanceId(taken, member.device.className);
    set->members.append(member);
    if (deviceInfoData) {
        deviceInfoData->ClassGuid = member.classGuid;
        deviceInfoData->DevInst = member.devInst;
        deviceInfoData->Reserved = 0;
    }
    return 1;
}

BOOL DeviceInstallation::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                     DeviceInfoData *deviceInfoData,
                                                     WCHAR *DeviceInstanceId,
                                                     DWORD DeviceInstanceIdSize,
                                                     DWORD *RequiredSize)
{
    std::shared_ptr<DeviceSet> set;
    const Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return 0;
    return giveText(device->device.instanceId, DeviceInstanceId, DeviceInstanceIdSize,
                    RequiredSize);
}

BOOL DeviceInstallation::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData, DWORD,
                                                   void *CompareProc, void *, DeviceInfoData *)
{
    std::shared_ptr<DeviceSet> set;
    Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return 0;
    if (CompareProc)
        return failUnsupported("SetupDiRegisterDeviceInfo", "a search for duplicates");
    if (device->isRegistered)
        return 1;
    const DWORD code = m_store->change([device](QJsonObject *state) {
        QList<ModemDevice> devices = readDevices(*state);
        // Another program may have taken the id since.
        if (indexOfDevice(devices, device->device.instanceId) >= 0)
            device->device.instanceId = newInstanceId(devices, device->device.className);
        devices.append(device->device);
        writeDevices(state, devices);
        return true;
    });
    if (code != Success)
        return fail(code);
    device->isRegistered = true;
    return 1;
}

BOOL DeviceInstallation::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData)
{
    std::shared_ptr<DeviceSet> set;
    Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return 0;
    if (InstallFunction != FunctionRemove)
        return failUnsupported("SetupDiCallClassInstaller", "functions other than DIF_REMOVE");
    if (!device->isRegistered)
        return 1;
    const QString id = device->device.instanceId;
    const DWORD code = m_store->change([&id](QJsonObject *state) {
        QList<ModemDevice> devices = readDevices(*state);
        const int index = indexOfDevice(devices, id);
        if (index < 0)
            return false;
        devices.removeAt(index);
        writeDevices(state, devices);
        return true;
    });
    if (code != Success)
        return fail(code);
    device->isRegistered = false;
    return 1;
}

HKEY DeviceInstallation::failedKey(DWORD code)
{
    fail(code);
    return invalidHandle();
}

HKEY DeviceInstallation::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet,
                                              DeviceInfoData *deviceInfoData, DWORD Scope,
                                              DWORD HwProfile, DWORD KeyType, DWORD)
{
    std::shared_ptr<DeviceSet> set;
    const Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return invalidHandle();
    if (Scope != ScopeGlobal || HwProfile != 0 || KeyType != DriverKey)
        return failedKey(ErrorInvalidParameter);
    if (!device->isRegistered)
        return failedKey(ErrorNotRegistered);
    QJsonObject state;
    const DWORD code = m_store->read(&state);
    if (code != Success)
        return failedKey(code);
    const QList<ModemDevice> devices = readDevices(state);
    const int index = indexOfDevice(devices, device->device.instanceId);
    if (index < 0)
        return failedKey(ErrorNoSuchDevInst);
    if (!devices.at(index).hasDriverKey)
        return failedKey(ErrorKeyDoesNotExist);
    auto key = std::make_shared<DriverKeyHandle>();
    key->instanceId = device->device.instanceId;
    return m_keys.add(std::move(key));
}

HKEY DeviceInstallation::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                                 DeviceInfoData *deviceInfoData, DWORD Scope,
                                                 DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                                 const WCHAR *InfSectionName)
{
    std::shared_ptr<DeviceSet> set;
    const Member *device = modem(DeviceInfoSet, deviceInfoData, &set);
    if (!device)
        return invalidHandle();
    if (Scope != ScopeGlobal || HwProfile != 0 || KeyType != DriverKey)
        return failedKey(ErrorInvalidParameter);
    if (InfHandle || InfSectionName) {
        failUnsupported("SetupDiCreateDevRegKeyW", "keys filled from an INF");
        return invalidHandle();
    }
    if (!device->isRegistered)
        return failedKey(ErrorNotRegistered);
    if (!changeDevice(device->device.instanceId,
                      [](ModemDevice *stored) { stored->hasDriverKey = true; }))
        return invalidHandle();
    auto key = std::make_shared<DriverKeyHandle>();
    key->instanceId = device->device.instanceId;
    return m_keys.add(std::move(key));
}

BOOL DeviceInstallation::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData,
                                                   DriverInfoData *driverInfoData)
{
    std::shared_ptr<DeviceSet> set;
    if (!member(DeviceInfoSet, deviceInfoData, &set))
        return 0;
    if (!driverInfoData || driverInfoData->cbSize != sizeof *driverInfoData)
        return fail(ErrorInvalidParameter);
    return fail(ErrorNoDriverSelected);
}

LONG DeviceInstallation::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD, DWORD dwType,
                                        const BYTE *lpData, DWORD cbData)
{
    const auto key = m_keys.find(hKey);
    if (!key)
        return static_cast<LONG>(ErrorInvalidHandle);
    if (dwType != RegistryString) {
        failUnsupported("RegSetValueExW", "values other than text");
        return static_cast<LONG>(ErrorNotSupported);
    }
    if (!lpData || cbData % sizeof(WCHAR) != 0)
        return static_cast<LONG>(ErrorInvalidParameter);
    QString text(static_cast<int>(cbData / sizeof(WCHAR)), QChar());
    std::memcpy(text.data(), lpData, cbData);
    text = text.left(text.indexOf(QChar()));
    const QString name = lpValueName ? fromWide(lpValueName) : QString();
    const DWORD before = lastError();
    const BOOL stored = changeDevice(
        key->instanceId, [&](ModemDevice *device) { device->driverKey.insert(name, text); });
    const DWORD code = lastError();
    setLastError(before); // registry functions answer the code alone
    return static_cast<LONG>(stored ? DWORD(Success) : code);
}

LONG DeviceInstallation::RegCloseKey(HKEY hKey)
{
    return static_cast<LONG>(m_keys.remove(hKey) ? Success : ErrorInvalidHandle);
}

BOOL DeviceInstallation::updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, DWORD flags,
                                      BOOL *rebootRequired)
{
    if (!hardwareId || !infPath)
        return fail(ErrorInvalidParameter);
    if (flags & ~KnownUpdateFlags)
        return fail(ErrorInvalidFlags);
    const QString path = systemPath(fromWide(infPath));
    const std::optional<InfFile> inf = readInf(path);
    if (!inf)
        return 0;
    const QString id = fromWide(hardwareId);
    std::optional<InfModel> model;
    for (const InfModel &candidate : inf->models(QString())) {
        if (!model && servesHardwareId(candidate, id))
            model = candidate;
    }

    DWORD outcome = ErrorNoSuchDevInst;
    const DWORD code = m_store->change([&](QJsonObject *state) {
        QList<ModemDevice> devices = readDevices(*state);
        for (ModemDevice &device : devices) {
            if (!device.hardwareIds.contains(id, Qt::CaseInsensitive))
                continue;
            if (!model) {
                outcome = ErrorNoMoreItems;
                return false;
            }
            outcome = Success;
            if (device.name.isEmpty())
                device.name = uniqueName(devices, model->description);
        }
        writeDevices(state, devices);
        return outcome == Success;
    });
    if (code != Success || outcome != Success)
        return fail(code != Success ? code : outcome);
    if (rebootRequired)
        *rebootRequired = 0;
    return 1;
}

DeviceInstallation::Member *DeviceInstallation::member(HDEVINFO set, const DeviceInfoData *data,
                                                       std::shared_ptr<DeviceSet> *held)
{
    *held = m_sets.find(set);
    if (!*held) {
        fail(ErrorInvalidHandle);
        return nullptr;
    }
    if (!data || data->cbSize != sizeof *data) {
        fail(ErrorInvalidUserBuffer);
        return nullptr;
    }
    for (Member &candidate : (*held)->members) {
        if (candidate.devInst == data->DevInst)
            return &candidate;
    }
    fail(ErrorNoSuchDevInst);
    return nullptr;
}

DeviceInstallation::Member *DeviceInstallation::modem(HDEVINFO set, const DeviceInfoData *data,
                                                      std::shared_ptr<DeviceSet> *held)
{
    Member *device = member(set, data, held);
    if (device && device->isPort) {
        failUnsupported("device installation", "changing a port");
        return nullptr;
    }
    return device;
}

BOOL DeviceInstallation::changeDevice(const QString &instanceId,
                                      const std::function<void(ModemDevice *)> &change)
{
    bool found = false;
    const DWORD code = m_store->change([&](QJsonObject *state) {
        QList<ModemDevice> devices = readDevices(*state);
        const int index = indexOfDevice(devices, instanceId);
        found = index >= 0;
        if (!found)
            return false;
        change(&devices[index]);
        writeDevices(state, devices);
        return true;
    });
    if (code != Success)
        return fail(code);
    return found ? 1 : fail(ErrorNoSuchDevInst);
}

void provideDeviceInstallation(Platform *platform, const std::shared_ptr<StateStore> &store)
{
    const auto installation = std::make_shared<DeviceInstallation>(store);
    platform->SetupCopyOEMInfW.provide(installation, &DeviceInstallation::SetupCopyOEMInfW);
    platform->SetupDiGetINFClassW.provide(installation, &DeviceInstallation::SetupDiGetINFClassW);
    platform->SetupDiGetClassDevsW.provide(installation, &DeviceInstallation::SetupDiGetClassDevsW);
    platform->SetupDiCreateDeviceInfoList.provide(installation,
                                                  &DeviceInstallation::SetupDiCreateDeviceInfoList);
    platform->SetupDiDestroyDeviceInfoList.provide(
        installation, &DeviceInstallation::SetupDiDestroyDeviceInfoList);
    platform->SetupDiEnumDeviceInfo.provide(installation,
                                            &DeviceInstallation::SetupDiEnumDeviceInfo);
    platform->SetupDiGetDeviceRegistryPropertyW.provide(
        installation, &DeviceInstallation::SetupDiGetDeviceRegistryPropertyW);
    platform->SetupDiSetDeviceRegistryPropertyW.provide(
        installation, &DeviceInstallation::SetupDiSetDeviceRegistryPropertyW);
    platform->SetupDiCreateDeviceInfoW.provide(installation,
                                               &DeviceInstallation::SetupDiCreateDeviceInfoW);
    platform->SetupDiGetDeviceInstanceIdW.provide(installation,
                                                  &DeviceInstallation::SetupDiGetDeviceInstanceIdW);
    platform->SetupDiRegisterDeviceInfo.provide(installation,
                                                &DeviceInstallation::SetupDiRegisterDeviceInfo);
    platform->SetupDiCallClassInstaller.provide(installation,
                                                &DeviceInstallation::SetupDiCallClassInstaller);
    platform->SetupDiOpenDevRegKey.provide(installation, &DeviceInstallation::SetupDiOpenDevRegKey);
    platform->SetupDiCreateDevRegKeyW.provide(installation,
                                              &DeviceInstallation::SetupDiCreateDevRegKeyW);
    platform->SetupDiGetSelectedDriverW.provide(installation,
                                                &DeviceInstallation::SetupDiGetSelectedDriverW);
    platform->RegSetValueExW.provide(installation, &DeviceInstallation::RegSetValueExW);
    platform->RegCloseKey.provide(installation, &DeviceInstallation::RegCloseKey);
    platform->UpdateDriverForPlugAndPlayDevicesW = [installation](HWND, const WCHAR *hardwareId,
                                                                  const WCHAR *infPath, DWORD flags,
                                                                  BOOL *rebootRequired) {
        return installation->updateDriver(hardwareId, infPath, flags, rebootRequired);
    };
}

} // namespace platform::linuxsystem
