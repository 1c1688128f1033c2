#include "platform/linux/families.h"
#include "platform/linux/modemdevices.h"
#include "platform/linux/statestore.h"
#include "platform/newdev.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/fulldisk.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

struct Devices : Platform {
    explicit Devices(const std::shared_ptr<StateStore> &store)
    {
        provideDeviceInstallation(this, store);
    }
};

const WCHAR hardwareId[] = u"mtkgprsmodem\0";
const DWORD hardwareIdBytes = 2 * 12 + 4;

/// The INF file that is delivered.
const QString deliveredInf = QStringLiteral(TMC_DRIVERS "/modem_inf_64.inf");

#define FAILS_WITH(code, call)                                                                     \
    do {                                                                                           \
        setLastError(Success);                                                                     \
        QVERIFY(!(call));                                                                          \
        QCOMPARE(lastError(), DWORD(code));                                                        \
    } while (false)

} // namespace

/// Device installation over a state store of the test's own.
class DevicesTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void anInfIsCopiedOnce();
    void copyingAnInfIsRefused();
    void theDeliveredInfsNameTheirClass_data();
    void theDeliveredInfsNameTheirClass();
    void readingAClassIsRefused();
    void aModemIsInstalled();
    void aSecondModemHasItsOwnName();
    void aDeviceThatWasNeverRegisteredIsForgotten();
    void aRemovedDeviceIsGone();
    void instanceIdsTellTheirSize();
    void driverKeysAreRefused();
    void registryValuesAreRefused();
    void setsAreRefused();
    void propertiesAreRefused();
    void updatingADriverIsRefused();
    void withoutRightsNothingIsChanged();
    void withoutRightsAKeyIsOnlyRead();
    void aDamagedStoreIsKept();
    void aFullDiskIsTold();

private:
    QList<ModemDevice> stored() const
    {
        QJsonObject state;
        m_store->read(&state);
        return readDevices(state);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<StateStore> m_store;
};

namespace {

const Guid modemClass = {
    0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

/// A device set with one new modem in it.
struct NewModem {
    explicit NewModem(Platform &owner) : installation(owner)
    {
        set = installation.SetupDiCreateDeviceInfoList(&modemClass, nullptr);
        data.cbSize = sizeof data;
        created = installation.SetupDiCreateDeviceInfoW(set, u"Modem", &modemClass, nullptr,
                                                        nullptr, GenerateDeviceId, &data) != 0;
    }
    ~NewModem() { installation.SetupDiDestroyDeviceInfoList(set); }

    bool setHardwareId()
    {
        return installation.SetupDiSetDeviceRegistryPropertyW(
                   set, &data, PropertyHardwareId, reinterpret_cast<const BYTE *>(hardwareId),
                   hardwareIdBytes) != 0;
    }
    bool registerIt()
    {
        return installation.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr) !=
               0;
    }
    HKEY openKey(DWORD type = DriverKey)
    {
        return installation.SetupDiOpenDevRegKey(set, &data, ScopeGlobal, 0, type, KeyAllAccess);
    }
    HKEY createKey()
    {
        return installation.SetupDiCreateDevRegKeyW(set, &data, ScopeGlobal, 0, DriverKey, nullptr,
                                                    nullptr);
    }
    LONG writePort(HKEY key, const QString &port)
    {
        return installation.RegSetValueExW(key, u"AttachedTo", 0, RegistryString,
                                           reinterpret_cast<const BYTE *>(wide(port)),
                                           static_cast<DWORD>(2 * port.size() + 2));
    }

    Platform &installation;
    HDEVINFO set = nullptr;
    DeviceInfoData data = {};
    bool created = false;
};

} // namespace

void DevicesTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_store = std::make_shared<StateStore>(m_folder->filePath("state"));
    setLastError(Success);
}

void DevicesTest::anInfIsCopiedOnce()
{
    Devices devices(m_store);
    const QString windowsPath = QString(deliveredInf).replace('/', '\\');
    for (int i = 0; i < 2; ++i)
        QVERIFY(devices.SetupCopyOEMInfW(wide(windowsPath), wide(windowsPath), 0,
                                         CopyInfCatalogOnly, nullptr, 0, nullptr, nullptr));
    QCOMPARE(QDir(m_store->folder() + "/inf").entryList(QDir::Files), QStringList("oem0.inf"));
    WCHAR name[260] = {};
    DWORD required = 0;
    FAILS_WITH(ErrorInsufficientBuffer, devices.SetupCopyOEMInfW(wide(windowsPath), nullptr, 0, 0,
                                                                 name, 3, &required, nullptr));
    QVERIFY(devices.SetupCopyOEMInfW(wide(windowsPath), nullptr, 0, 0, name, required, nullptr,
                                     nullptr));
    QCOMPARE(fromField(name), m_store->folder() + "/inf/oem0.inf");
}

void DevicesTest::copyingAnInfIsRefused()
{
    Devices devices(m_store);
    const auto copy = [&devices](const QString &path, DWORD media = 0, DWORD style = 0) {
        return devices.SetupCopyOEMInfW(wide(path), nullptr, media, style, nullptr, 0, nullptr,
                                        nullptr);
    };
    FAILS_WITH(ErrorFileNotFound, copy(m_folder->filePath("none.inf")));
    FAILS_WITH(ErrorFileNotFound, copy(m_folder->path()));
    FAILS_WITH(ErrorNotSupported, copy(deliveredInf, 1));
    FAILS_WITH(ErrorNotSupported, copy(deliveredInf, 0, 1));
    FAILS_WITH(ErrorInvalidParameter,
               devices.SetupCopyOEMInfW(nullptr, nullptr, 0, 0, nullptr, 0, nullptr, nullptr));
    QFile noInf(m_folder->filePath("no.inf"));
    QVERIFY(noInf.open(QIODevice::WriteOnly));
    noInf.write("[Version\nnothing");
    noInf.close();
    FAILS_WITH(ErrorInvalidInfStyle, copy(noInf.fileName()));
    QVERIFY(!QDir(m_store->folder() + "/inf").exists());
}

void DevicesTest::theDeliveredInfsNameTheirClass_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("32") << TMC_DRIVERS "/modem_inf_32.inf";
    QTest::newRow("64") << TMC_DRIVERS "/modem_inf_64.inf";
}

void DevicesTest::theDeliveredInfsNameTheirClass()
{
    QFETCH(QString, file);
    Devices devices(m_store);
    Guid guid = {};
    WCHAR name[100] = {};
    DWORD required = 0;
    QVERIFY(devices.SetupDiGetINFClassW(wide(file), &guid, name, 200, nullptr));
    QVERIFY(guid == modemClass);
    QCOMPARE(fromField(name), QString("Modem"));
    FAILS_WITH(ErrorInsufficientBuffer,
               devices.SetupDiGetINFClassW(wide(file), &guid, name, 5, &required));
    QCOMPARE(required, DWORD(6));
}

void DevicesTest::readingAClassIsRefused()
{
    Devices devices(m_store);
    Guid guid = {};
    WCHAR name[100] = {};
    QFile noClass(m_folder->filePath("no-class.inf"));
    QVERIFY(noClass.open(QIODevice::WriteOnly));
    noClass.write("[Version]\nSignature=\"$CHICAGO$\"\n");
    noClass.close();
    FAILS_WITH(ErrorNoAssociatedClass,
               devices.SetupDiGetINFClassW(wide(noClass.fileName()), &guid, name, 100, nullptr));
    FAILS_WITH(ErrorFileNotFound, devices.SetupDiGetINFClassW(u"/none", &guid, name, 100, nullptr));
    FAILS_WITH(ErrorInvalidParameter,
               devices.SetupDiGetINFClassW(nullptr, &guid, name, 100, nullptr));
    FAILS_WITH(ErrorInvalidParameter,
               devices.SetupDiGetINFClassW(wide(deliveredInf), nullptr, name, 100, nullptr));
}

void DevicesTest::aModemIsInstalled()
{
    Devices devices(m_store);
    {
        NewModem modem(devices);
        QVERIFY(modem.created && modem.setHardwareId() && modem.registerIt());
        QVERIFY(modem.openKey() == invalidHandle());
        QCOMPARE(lastError(), ErrorKeyDoesNotExist);
        HKEY key = modem.createKey();
        QVERIFY(key != invalidHandle());
        QCOMPARE(modem.writePort(key, "COM5"), LONG(0));
        QCOMPARE(devices.RegCloseKey(key), LONG(0));
        QVERIFY(modem.registerIt()); // once more does no harm
        DriverInfoData driver = {};
        FAILS_WITH(ErrorInvalidParameter,
                   devices.SetupDiGetSelectedDriverW(modem.set, &modem.data, &driver));
        driver.cbSize = sizeof driver;
        FAILS_WITH(ErrorNoDriverSelected,
                   devices.SetupDiGetSelectedDriverW(modem.set, &modem.data, &driver));
        BOOL reboot = 1;
        QVERIFY(devices.UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId, wide(deliveredInf),
                                                           InstallFlagForce, &reboot));
        QCOMPARE(reboot, 0);
        key = modem.openKey(); // now there is one
        QVERIFY(key != invalidHandle());
        QCOMPARE(devices.RegCloseKey(key), LONG(0));
    }
    QCOMPARE(stored().size(), 1);
    const ModemDevice device = stored().first();
    QCOMPARE(device.instanceId, QString("ROOT\\MODEM\\0000"));
    QCOMPARE(device.className, QString("Modem"));
    QCOMPARE(device.classGuid, QString("{4D36E96D-E325-11CE-BFC1-08002BE10318}"));
    QCOMPARE(device.hardwareIds, QStringList("mtkgprsmodem"));
    QCOMPARE(device.driverKey.value("AttachedTo"), QString("COM5"));
    QCOMPARE(device.name, QString("Tolvane GPRS Modem"));
}

void DevicesTest::aSecondModemHasItsOwnName()
{
    Devices devices(m_store);
    for (int i = 0; i < 2; ++i) {
        NewModem modem(devices);
        QVERIFY(modem.setHardwareId() && modem.registerIt());
        QVERIFY(devices.UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId, wide(deliveredInf),
                                                           InstallFlagForce, nullptr));
    }
    QCOMPARE(stored().size(), 2);
    QCOMPARE(stored().at(0).name, QString("Tolvane GPRS Modem"));
    QCOMPARE(stored().at(1).name, QString("Tolvane GPRS Modem #2"));
    QCOMPARE(stored().at(1).instanceId, QString("ROOT\\MODEM\\0001"));
}

void DevicesTest::aDeviceThatWasNeverRegisteredIsForgotten()
{
    Devices devices(m_store);
    {
        NewModem modem(devices);
        QVERIFY(modem.setHardwareId());
        QVERIFY(modem.openKey() == invalidHandle());
        QCOMPARE(lastError(), DWORD(0xE0000208));
        QVERIFY(modem.createKey() == invalidHandle());
        QVERIFY(devices.SetupDiCallClassInstaller(FunctionRemove, modem.set, &modem.data));
    }
    QVERIFY(stored().isEmpty());
}

void DevicesTest::aRemovedDeviceIsGone()
{
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    HKEY key = modem.createKey();
    FAILS_WITH(ErrorNotSupported, devices.SetupDiCallClassInstaller(1, modem.set, &modem.data));
    QVERIFY(devices.SetupDiCallClassInstaller(FunctionRemove, modem.set, &modem.data));
    QVERIFY(stored().isEmpty());
    QCOMPARE(DWORD(modem.writePort(key, "COM5")), ErrorNoSuchDevInst);
}

void DevicesTest::instanceIdsTellTheirSize()
{
    Devices devices(m_store);
    NewModem modem(devices);
    WCHAR id[16] = {};
    DWORD required = 0;
    FAILS_WITH(ErrorInsufficientBuffer,
               devices.SetupDiGetDeviceInstanceIdW(modem.set, &modem.data, id, 15, &required));
    QCOMPARE(required, DWORD(16));
    QVERIFY(devices.SetupDiGetDeviceInstanceIdW(modem.set, &modem.data, id, 16, nullptr));
    QCOMPARE(fromField(id), QString("ROOT\\MODEM\\0000"));
}

void DevicesTest::driverKeysAreRefused()
{
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    QVERIFY(modem.openKey(1) == invalidHandle());
    QCOMPARE(lastError(), ErrorInvalidParameter);
    QVERIFY(devices.SetupDiOpenDevRegKey(modem.set, &modem.data, 2, 0, DriverKey, 0) ==
            invalidHandle());
    QCOMPARE(lastError(), ErrorInvalidParameter);
    QVERIFY(devices.SetupDiCreateDevRegKeyW(modem.set, &modem.data, ScopeGlobal, 0, DriverKey,
                                            &devices, nullptr) == invalidHandle());
    QCOMPARE(lastError(), ErrorNotSupported);
    QVERIFY(devices.SetupDiCreateDevRegKeyW(modem.set, &modem.data, ScopeGlobal, 1, DriverKey,
                                            nullptr, nullptr) == invalidHandle());
    QCOMPARE(lastError(), ErrorInvalidParameter);
}

void DevicesTest::registryValuesAreRefused()
{
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    HKEY key = modem.createKey();
    const BYTE odd[3] = {};
    QCOMPARE(DWORD(devices.RegSetValueExW(key, u"x", 0, 4, odd, 2)), ErrorNotSupported);
    QCOMPARE(DWORD(devices.RegSetValueExW(key, u"x", 0, RegistryString, odd, 3)),
             ErrorInvalidParameter);
    QCOMPARE(DWORD(devices.RegSetValueExW(key, u"x", 0, RegistryString, nullptr, 2)),
             ErrorInvalidParameter);
    QCOMPARE(devices.RegCloseKey(key), LONG(0));
    QCOMPARE(DWORD(devices.RegCloseKey(key)), ErrorInvalidHandle);
    QCOMPARE(DWORD(modem.writePort(key, "COM5")), ErrorInvalidHandle);
}

void DevicesTest::setsAreRefused()
{
    Devices devices(m_store);
    DeviceInfoData data = {};
    FAILS_WITH(ErrorInvalidHandle, devices.SetupDiDestroyDeviceInfoList(&data));
    FAILS_WITH(ErrorInvalidHandle, devices.SetupDiEnumDeviceInfo(&data, 0, &data));
    FAILS_WITH(ErrorInvalidHandle,
               devices.SetupDiRegisterDeviceInfo(&data, &data, 0, nullptr, nullptr, nullptr));
    QVERIFY(devices.SetupDiGetClassDevsW(&modemClass, nullptr, nullptr, 2) == invalidHandle());
    QCOMPARE(lastError(), ErrorNotSupported);
    QVERIFY(devices.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 4) == invalidHandle());
    QVERIFY(devices.SetupDiCreateDeviceInfoList(nullptr, nullptr) == invalidHandle());

    NewModem modem(devices);
    FAILS_WITH(1784, devices.SetupDiEnumDeviceInfo(modem.set, 0, &data));
    data.cbSize = sizeof data;
    FAILS_WITH(ErrorNoMoreItems, devices.SetupDiEnumDeviceInfo(modem.set, 1, &data));
    data.DevInst = 4711;
    FAILS_WITH(ErrorNoSuchDevInst,
               devices.SetupDiRegisterDeviceInfo(modem.set, &data, 0, nullptr, nullptr, nullptr));
    FAILS_WITH(ErrorNotSupported, devices.SetupDiRegisterDeviceInfo(modem.set, &modem.data, 0,
                                                                    &data, nullptr, nullptr));
    // A record whose size is wrong, as each call meets it.
    DeviceInfoData unsized = {};
    FAILS_WITH(1784, devices.SetupDiCallClassInstaller(FunctionRemove, modem.set, &unsized));
    FAILS_WITH(1784, devices.SetupDiCreateDeviceInfoW(modem.set, u"Modem", &modemClass, nullptr,
                                                      nullptr, GenerateDeviceId, &unsized));
    const auto create = [&](const WCHAR *name, const Guid *guid, DWORD flags) {
        return devices.SetupDiCreateDeviceInfoW(modem.set, name, guid, nullptr, nullptr, flags,
                                                &data);
    };
    FAILS_WITH(0xE0000201, create(u"Modem", &PortsClassGuid, GenerateDeviceId));
    FAILS_WITH(ErrorNotSupported, create(u"Modem", &modemClass, 0));
    FAILS_WITH(ErrorInvalidParameter, create(u"", &modemClass, GenerateDeviceId));
    FAILS_WITH(ErrorInvalidParameter, create(nullptr, &modemClass, GenerateDeviceId));
}

void DevicesTest::propertiesAreRefused()
{
    Devices devices(m_store);
    NewModem modem(devices);
    DWORD size = 0;
    const auto get = [&](DWORD property) {
        return devices.SetupDiGetDeviceRegistryPropertyW(modem.set, &modem.data, property, nullptr,
                                                         nullptr, 0, &size);
    };
    FAILS_WITH(ErrorInvalidData, get(PropertyFriendlyName)); // it has no driver
    FAILS_WITH(ErrorInvalidData, get(PropertyHardwareId));
    FAILS_WITH(ErrorNotSupported, get(0));
    QVERIFY(modem.setHardwareId());
    FAILS_WITH(ErrorInsufficientBuffer, get(PropertyHardwareId));
    QCOMPARE(size, hardwareIdBytes);
    const auto set = [&](DWORD property, const BYTE *bytes, DWORD count) {
        return devices.SetupDiSetDeviceRegistryPropertyW(modem.set, &modem.data, property, bytes,
                                                         count);
    };
    const auto *id = reinterpret_cast<const BYTE *>(hardwareId);
    FAILS_WITH(ErrorNotSupported, set(PropertyFriendlyName, id, hardwareIdBytes));
    FAILS_WITH(ErrorInvalidParameter, set(PropertyHardwareId, id, hardwareIdBytes - 2));
    FAILS_WITH(ErrorInvalidParameter, set(PropertyHardwareId, id, hardwareIdBytes - 1));
    FAILS_WITH(ErrorInvalidParameter, set(PropertyHardwareId, nullptr, 4));
}

void DevicesTest::updatingADriverIsRefused()
{
    Devices devices(m_store);
    const QString none = m_folder->filePath("none.inf");
    FAILS_WITH(ErrorNoSuchDevInst,
               devices.UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId, wide(deliveredInf),
                                                          InstallFlagForce, nullptr));
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    const WCHAR other[] = u"other\0";
    QVERIFY(devices.SetupDiSetDeviceRegistryPropertyW(modem.set, &modem.data, PropertyHardwareId,
                                                      reinterpret_cast<const BYTE *>(other), 14));
    FAILS_WITH(ErrorNoMoreItems,
               devices.UpdateDriverForPlugAndPlayDevicesW(nullptr, other, wide(deliveredInf),
                                                          InstallFlagForce, nullptr));
    FAILS_WITH(ErrorFileNotFound,
               devices.UpdateDriverForPlugAndPlayDevicesW(nullptr, other, wide(none), 1, nullptr));
    FAILS_WITH(ErrorInvalidFlags, devices.UpdateDriverForPlugAndPlayDevicesW(
                                      nullptr, other, wide(deliveredInf), 8, nullptr));
    FAILS_WITH(ErrorInvalidParameter, devices.UpdateDriverForPlugAndPlayDevicesW(
                                          nullptr, nullptr, wide(none), 1, nullptr));
    QVERIFY(stored().first().name.isEmpty());
}

void DevicesTest::withoutRightsNothingIsChanged()
{
    QVERIFY(QDir().mkpath(m_store->folder()));
    setMode(m_folder->path(), 0755);
    setMode(m_store->folder(), 0555);
    {
        const OrdinaryUser user;
        Devices devices(m_store);
        FAILS_WITH(ErrorAccessDenied, devices.SetupCopyOEMInfW(wide(deliveredInf), nullptr, 0, 0,
                                                               nullptr, 0, nullptr, nullptr));
        NewModem modem(devices);
        QVERIFY(modem.created && modem.setHardwareId());
        setLastError(Success);
        QVERIFY(!modem.registerIt());
        QCOMPARE(lastError(), ErrorAccessDenied);
        FAILS_WITH(ErrorAccessDenied, devices.UpdateDriverForPlugAndPlayDevicesW(
                                          nullptr, hardwareId, wide(deliveredInf), 1, nullptr));
    }
    setMode(m_store->folder(), 0755);
    QVERIFY(QDir(m_store->folder()).isEmpty());
}

void DevicesTest::withoutRightsAKeyIsOnlyRead()
{
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    HKEY key = modem.createKey();
    QCOMPARE(modem.writePort(key, "COM5"), LONG(0));
    setMode(m_folder->path(), 0755);
    setMode(m_store->folder() + "/state.lock", 0);
    {
        const OrdinaryUser user;
        QCOMPARE(DWORD(modem.writePort(key, "COM6")), ErrorAccessDenied);
        setLastError(Success);
        QVERIFY(modem.createKey() == invalidHandle());
        QCOMPARE(lastError(), ErrorAccessDenied);
        const HKEY again = modem.openKey();
        QVERIFY(again != invalidHandle());
        QCOMPARE(devices.RegCloseKey(again), LONG(0));
    }
    QCOMPARE(devices.RegCloseKey(key), LONG(0));
    QCOMPARE(stored().first().driverKey.value("AttachedTo"), QString("COM5"));
}

void DevicesTest::aDamagedStoreIsKept()
{
    QVERIFY(QDir().mkpath(m_store->folder()));
    QFile file(m_store->folder() + "/state.json");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[]");
    file.close();
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(!modem.created);
    QCOMPARE(lastError(), ErrorInvalidData);
    FAILS_WITH(ErrorInvalidData, devices.UpdateDriverForPlugAndPlayDevicesW(
                                     nullptr, hardwareId, wide(deliveredInf), 1, nullptr));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("[]"));
}

void DevicesTest::aFullDiskIsTold()
{
    Devices devices(m_store);
    NewModem modem(devices);
    QVERIFY(modem.registerIt());
    DWORD copied = Success;
    DWORD created = Success;
    {
        const FullDisk disk;
        devices.SetupCopyOEMInfW(wide(deliveredInf), nullptr, 0, 0, nullptr, 0, nullptr, nullptr);
        copied = lastError();
        modem.createKey();
        created = lastError();
    }
    QCOMPARE(copied, ErrorGenFailure);
    QCOMPARE(created, ErrorGenFailure);
    QVERIFY(QDir(m_store->folder() + "/inf").isEmpty());
    QVERIFY(!stored().first().hasDriverKey);
}

QTEST_APPLESS_MAIN(DevicesTest)
#include "devices_test.moc"
