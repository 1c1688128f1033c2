#include "platform/standin/guid.h"
#include "tests/platform/installationbench.h"

using namespace platform;

namespace {

constexpr DWORD RegistryMultiString = 7; // REG_MULTI_SZ
constexpr DWORD RegistryNumber = 4;      // REG_DWORD
constexpr DWORD KeyRead = 0x20019;       // KEY_READ

/// An empty record that may be filled.
DeviceInfoData sizedRecord()
{
    DeviceInfoData data = {};
    data.cbSize = sizeof data;
    return data;
}

} // namespace

/// Devices, their sets, their properties and their driver keys.
class DeviceInstallationTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_bench = InstallationBench::make(); }
    void cleanup() { m_bench.reset(); }

    void aModemIsMade();
    void aDeviceThatWasNeverRegisteredIsForgotten();
    void anIdThatIsTakenMeanwhileBecomesAnother();
    void aRemovedDeviceIsGone();
    void aRemovedDeviceIsGoneFromOtherSets();
    void registeredDevicesAreListed();
    void portsAreListedButNotChanged();
    void aSetOfNoClassTakesAnyDevice();
    void makingADeviceIsRefused();
    void instanceIdsTellTheirSize();
    void hardwareIdsAreReadBack();
    void propertiesAreRefused();
    void badHardwareIdsAreRefused();
    void foreignRecordsAreRefused();
    void foreignHandlesAreRefused_data();
    void foreignHandlesAreRefused();
    void setsAreRefused();
    void driverKeysAreRefused();
    void registryValuesAreRefused();
    void aKeyOpenedForReadingIsNotWritten();
    void withoutRightsNothingIsChanged();

private:
    std::unique_ptr<InstallationBench> m_bench;
};

void DeviceInstallationTest::aModemIsMade()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.created);
    QCOMPARE(modem.instanceId(), QString("ROOT\\MODEM\\0000"));
    QVERIFY(modem.setHardwareId());
    QVERIFY(m_bench->kept().devices.isEmpty()); // not registered yet
    QVERIFY(modem.registerIt());

    FAILS_WITH(ErrorKeyDoesNotExist, modem.openKey());
    HKEY key = modem.createKey();
    QVERIFY(key != invalidHandle());
    QCOMPARE(modem.writePort(key, "COM5"), Success);
    QCOMPARE(m_bench->system.RegCloseKey(key), LONG(0));
    QVERIFY(modem.registerIt()); // a second time, as the program does
    DriverInfoData driver = {};
    FAILS_WITH(ErrorInvalidParameter,
               m_bench->system.SetupDiGetSelectedDriverW(modem.set, &modem.data, nullptr));
    FAILS_WITH(ErrorInvalidUserBuffer,
               m_bench->system.SetupDiGetSelectedDriverW(modem.set, &modem.data, &driver));
    driver.cbSize = sizeof driver;
    FAILS_WITH(ErrorNoDriverSelected,
               m_bench->system.SetupDiGetSelectedDriverW(modem.set, &modem.data, &driver));
    key = modem.openKey(); // now there is one
    QVERIFY(key != invalidHandle());
    QCOMPARE(m_bench->system.RegCloseKey(key), LONG(0));
    key = modem.createKey(); // it is opened, with what is in it
    QVERIFY(key != invalidHandle());
    QCOMPARE(m_bench->system.RegCloseKey(key), LONG(0));

    QCOMPARE(m_bench->kept().devices.size(), 1);
    const RootDevice device = m_bench->kept().devices.first();
    QCOMPARE(device.instanceId, QString("ROOT\\MODEM\\0000"));
    QCOMPARE(device.className, QString("Modem"));
    QCOMPARE(device.classGuid, guidText(modemClass));
    QCOMPARE(device.classGuid, QString("{4D36E96D-E325-11CE-BFC1-08002BE10318}"));
    QCOMPARE(device.hardwareIds, QStringList("mtkgprsmodem"));
    QCOMPARE(device.driverKey.value("AttachedTo"), QString("COM5"));
    QVERIFY(device.friendlyName.isEmpty()); // it has no driver
}

void DeviceInstallationTest::aDeviceThatWasNeverRegisteredIsForgotten()
{
    {
        NewModem modem(*m_bench);
        QVERIFY(modem.setHardwareId());
        FAILS_WITH(ErrorNotRegistered, modem.openKey());
        FAILS_WITH(ErrorNotRegistered, modem.createKey());
        QVERIFY(modem.remove());
        FAILS_WITH(ErrorNoSuchDevInst, modem.registerIt());
        NewModem other(*m_bench);
    }
    QVERIFY(m_bench->kept().devices.isEmpty());
}

void DeviceInstallationTest::anIdThatIsTakenMeanwhileBecomesAnother()
{
    NewModem first(*m_bench);
    NewModem second(*m_bench);
    QCOMPARE(second.instanceId(), QString("ROOT\\MODEM\\0000"));
    QVERIFY(first.registerIt());
    QVERIFY(second.registerIt());
    QCOMPARE(first.instanceId(), QString("ROOT\\MODEM\\0000"));
    QCOMPARE(second.instanceId(), QString("ROOT\\MODEM\\0001"));
    QCOMPARE(m_bench->kept().devices.size(), 2);
    QCOMPARE(m_bench->kept().devices.at(1).instanceId, QString("ROOT\\MODEM\\0001"));
}

void DeviceInstallationTest::aRemovedDeviceIsGone()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    const HKEY key = modem.createKey();
    QVERIFY(key != invalidHandle());
    FAILS_WITH(ErrorNotSupported,
               m_bench->system.SetupDiCallClassInstaller(1, modem.set, &modem.data));
    QVERIFY(modem.remove());
    QVERIFY(m_bench->kept().devices.isEmpty());
    QCOMPARE(modem.writePort(key, "COM5"), ErrorKeyDeleted); // its key went with it
    FAILS_WITH(ErrorNoSuchDevInst, modem.registerIt());
    DeviceInfoData data = sizedRecord();
    FAILS_WITH(ErrorNoMoreItems, m_bench->system.SetupDiEnumDeviceInfo(modem.set, 0, &data));
}

void DeviceInstallationTest::aRemovedDeviceIsGoneFromOtherSets()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    const HDEVINFO set =
        m_bench->system.SetupDiGetClassDevsW(&modemClass, nullptr, nullptr, GetPresentDevices);
    DeviceInfoData data = sizedRecord();
    QVERIFY(m_bench->system.SetupDiEnumDeviceInfo(set, 0, &data));
    QVERIFY(modem.remove());
    DWORD size = 0;
    FAILS_WITH(ErrorNoSuchDevInst, m_bench->system.SetupDiGetDeviceRegistryPropertyW(
                                       set, &data, PropertyHardwareId, nullptr, nullptr, 0, &size));
    const BYTE id[] = {'i', 0, 0, 0, 0, 0};
    FAILS_WITH(ErrorNoSuchDevInst, m_bench->system.SetupDiSetDeviceRegistryPropertyW(
                                       set, &data, PropertyHardwareId, id, sizeof id));
    FAILS_WITH(ErrorNoSuchDevInst,
               m_bench->system.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr));
    FAILS_WITH(ErrorNoSuchDevInst, m_bench->system.SetupDiOpenDevRegKey(set, &data, ScopeGlobal, 0,
                                                                        DriverKey, KeyAllAccess));
    QVERIFY(m_bench->system.SetupDiDestroyDeviceInfoList(set));
}

void DeviceInstallationTest::registeredDevicesAreListed()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    const HDEVINFO set =
        m_bench->system.SetupDiGetClassDevsW(&modemClass, nullptr, nullptr, GetPresentDevices);
    DeviceInfoData data = sizedRecord();
    QVERIFY(m_bench->system.SetupDiEnumDeviceInfo(set, 0, &data));
    QVERIFY(data.ClassGuid == modemClass);
    QCOMPARE(data.DevInst, modem.data.DevInst);
    FAILS_WITH(ErrorNoMoreItems, m_bench->system.SetupDiEnumDeviceInfo(set, 1, &data));
    DWORD size = 0;
    DWORD type = 0;
    WCHAR ids[100] = {};
    QVERIFY(m_bench->system.SetupDiGetDeviceRegistryPropertyW(
        set, &data, PropertyHardwareId, &type, reinterpret_cast<BYTE *>(ids), 200, &size));
    QCOMPARE(type, RegistryMultiString);
    QCOMPARE(size, DWORD(2 * 12 + 4));
    QCOMPARE(fromField(ids), QString("mtkgprsmodem"));
    const auto property = [&](DWORD which) {
        return m_bench->system.SetupDiGetDeviceRegistryPropertyW(set, &data, which, &type, nullptr,
                                                                 0, &size);
    };
    FAILS_WITH(ErrorInvalidData, property(PropertyFriendlyName)); // without a driver no name
    FAILS_WITH(ErrorNotSupported, property(3));
    QVERIFY(m_bench->system.SetupDiDestroyDeviceInfoList(set));
}

void DeviceInstallationTest::portsAreListedButNotChanged()
{
    Platform &system = m_bench->system;
    const HDEVINFO set =
        system.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, GetPresentDevices);
    QVERIFY(set != invalidHandle());
    DeviceInfoData data = sizedRecord();
    DWORD count = 0;
    for (; system.SetupDiEnumDeviceInfo(set, count, &data); ++count) {
        QVERIFY(data.ClassGuid == PortsClassGuid);
        DWORD size = 0;
        FAILS_WITH(ErrorInsufficientBuffer,
                   system.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyFriendlyName,
                                                            nullptr, nullptr, 0, &size));
        QVERIFY(size > 2);
        FAILS_WITH(ErrorInsufficientBuffer,
                   system.SetupDiGetDeviceInstanceIdW(set, &data, nullptr, 0, &size));
        QVERIFY(size > 1);
        FAILS_WITH(ErrorNotSupported,
                   system.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr));
        FAILS_WITH(ErrorNotSupported, system.SetupDiCallClassInstaller(FunctionRemove, set, &data));
        FAILS_WITH(ErrorNotSupported, system.SetupDiSetDeviceRegistryPropertyW(
                                          set, &data, PropertyHardwareId, nullptr, 0));
        FAILS_WITH(ErrorNotSupported, system.SetupDiCreateDevRegKeyW(set, &data, ScopeGlobal, 0,
                                                                     DriverKey, nullptr, nullptr));
    }
    QCOMPARE(lastError(), ErrorNoMoreItems);
    QVERIFY(count > 0 || !m_bench->hasOnBoardPort());
    QVERIFY(system.SetupDiDestroyDeviceInfoList(set));
}

void DeviceInstallationTest::aSetOfNoClassTakesAnyDevice()
{
    const HDEVINFO set = m_bench->system.SetupDiCreateDeviceInfoList(nullptr, nullptr);
    QVERIFY(set != invalidHandle());
    QVERIFY(m_bench->system.SetupDiCreateDeviceInfoW(set, u"Modem", &modemClass, nullptr, nullptr,
                                                     GenerateDeviceId, nullptr));
    QVERIFY(m_bench->system.SetupDiCreateDeviceInfoW(set, u"Port", &PortsClassGuid, nullptr,
                                                     nullptr, GenerateDeviceId, nullptr));
    QVERIFY(m_bench->system.SetupDiDestroyDeviceInfoList(set));
}

void DeviceInstallationTest::makingADeviceIsRefused()
{
    const HDEVINFO set = m_bench->system.SetupDiCreateDeviceInfoList(&modemClass, nullptr);
    DeviceInfoData data = sizedRecord();
    const auto create = [&](const WCHAR *name, const Guid *guid, DWORD flags = GenerateDeviceId,
                            const WCHAR *description = nullptr) {
        return m_bench->system.SetupDiCreateDeviceInfoW(set, name, guid, description, nullptr,
                                                        flags, &data);
    };
    FAILS_WITH(ErrorClassMismatch, create(u"Modem", &PortsClassGuid));
    FAILS_WITH(ErrorInvalidDevInstName, create(u"ROOT\\MODEM\\7", &modemClass));
    FAILS_WITH(ErrorInvalidDevInstName, create(u"", &modemClass));
    FAILS_WITH(ErrorInvalidDevInstName, create(nullptr, &modemClass));
    FAILS_WITH(ErrorInvalidDevInstName, create(wide(QString(191, 'x')), &modemClass));
    FAILS_WITH(ErrorInvalidParameter, create(u"Modem", nullptr));
    FAILS_WITH(ErrorNotSupported, create(u"Modem", &modemClass, 0));
    FAILS_WITH(ErrorNotSupported, create(u"Modem", &modemClass, GenerateDeviceId, u"A modem"));
    data.cbSize = 28;
    FAILS_WITH(ErrorInvalidUserBuffer, create(u"Modem", &modemClass));
    data.cbSize = sizeof data;
    FAILS_WITH(ErrorNoMoreItems, m_bench->system.SetupDiEnumDeviceInfo(set, 0, &data));
    QVERIFY(m_bench->system.SetupDiDestroyDeviceInfoList(set));
}

void DeviceInstallationTest::instanceIdsTellTheirSize()
{
    NewModem modem(*m_bench);
    QVERIFY(m_bench->system.SetupDiCreateDeviceInfoW(modem.set, u"Modem", &modemClass, nullptr,
                                                     nullptr, GenerateDeviceId, &modem.data));
    WCHAR id[16] = {};
    DWORD required = 0;
    const auto read = [&](DWORD size) {
        return m_bench->system.SetupDiGetDeviceInstanceIdW(modem.set, &modem.data, id, size,
                                                           &required);
    };
    FAILS_WITH(ErrorInsufficientBuffer, read(3));
    FAILS_WITH(ErrorInsufficientBuffer, read(15));
    QCOMPARE(required, DWORD(16));
    QVERIFY(read(16));
    QCOMPARE(fromField(id), QString("ROOT\\MODEM\\0001")); // the set holds the first
}

void DeviceInstallationTest::hardwareIdsAreReadBack()
{
    NewModem modem(*m_bench);
    const QString ids = QString("one") + QChar(0) + "two" + QString(2, QChar(0));
    for (int i = 0; i < 2; ++i) { // before and after it is registered
        QVERIFY(modem.setProperty(PropertyHardwareId, ids, 2 * int(ids.size())));
        QString read(ids.size(), '?');
        DWORD size = 0;
        QVERIFY(m_bench->system.SetupDiGetDeviceRegistryPropertyW(
            modem.set, &modem.data, PropertyHardwareId, nullptr,
            reinterpret_cast<BYTE *>(read.data()), static_cast<DWORD>(2 * ids.size()), &size));
        QCOMPARE(size, DWORD(2 * ids.size()));
        QCOMPARE(read, ids);
        QVERIFY(modem.registerIt());
    }
    QCOMPARE(m_bench->kept().devices.first().hardwareIds, QStringList({"one", "two"}));
}

void DeviceInstallationTest::propertiesAreRefused()
{
    NewModem modem(*m_bench);
    DWORD size = 0;
    const auto get = [&](DWORD property) {
        return m_bench->system.SetupDiGetDeviceRegistryPropertyW(modem.set, &modem.data, property,
                                                                 nullptr, nullptr, 0, &size);
    };
    FAILS_WITH(ErrorInvalidData, get(PropertyFriendlyName)); // it has no driver
    FAILS_WITH(ErrorInvalidData, get(PropertyHardwareId));
    FAILS_WITH(ErrorNotSupported, get(0));
    QVERIFY(modem.setHardwareId());
    FAILS_WITH(ErrorInsufficientBuffer, get(PropertyHardwareId));
    QCOMPARE(size, DWORD(2 * 12 + 4));
}

void DeviceInstallationTest::badHardwareIdsAreRefused()
{
    NewModem modem(*m_bench);
    const QString id = QString("id") + QString(2, QChar(0));
    FAILS_WITH(ErrorInvalidData, modem.setProperty(PropertyHardwareId, id, 4)); // no terminator
    FAILS_WITH(ErrorInvalidData, modem.setProperty(PropertyHardwareId, id, 6)); // only one
    FAILS_WITH(ErrorInvalidData, modem.setProperty(PropertyHardwareId, id, 7));
    FAILS_WITH(ErrorInvalidData, modem.setProperty(PropertyHardwareId, id, 0));
    FAILS_WITH(ErrorInvalidData, m_bench->system.SetupDiSetDeviceRegistryPropertyW(
                                     modem.set, &modem.data, PropertyHardwareId, nullptr, 4));
    FAILS_WITH(ErrorNotSupported, modem.setProperty(PropertyFriendlyName, id, 8));
    QVERIFY(modem.setProperty(PropertyHardwareId, id, 8));
}

void DeviceInstallationTest::foreignRecordsAreRefused()
{
    Platform &system = m_bench->system;
    NewModem modem(*m_bench);
    const HDEVINFO other = system.SetupDiCreateDeviceInfoList(nullptr, nullptr);
    DeviceInfoData data = modem.data;
    const auto registerIn = [&](HDEVINFO set, DeviceInfoData *record) {
        return system.SetupDiRegisterDeviceInfo(set, record, 0, nullptr, nullptr, nullptr);
    };
    FAILS_WITH(ErrorNoSuchDevInst, registerIn(other, &data));
    data.DevInst = 4711;
    FAILS_WITH(ErrorNoSuchDevInst, registerIn(modem.set, &data));
    FAILS_WITH(ErrorInvalidUserBuffer, registerIn(modem.set, nullptr));
    DeviceInfoData unsized = modem.data;
    unsized.cbSize = 0;
    FAILS_WITH(ErrorInvalidUserBuffer, registerIn(modem.set, &unsized));
    FAILS_WITH(ErrorInvalidUserBuffer, system.SetupDiEnumDeviceInfo(modem.set, 0, &unsized));
    FAILS_WITH(ErrorInvalidUserBuffer, system.SetupDiEnumDeviceInfo(modem.set, 0, nullptr));
    FAILS_WITH(ErrorInvalidUserBuffer,
               system.SetupDiCallClassInstaller(FunctionRemove, modem.set, &unsized));
    // The search for duplicates does not exist here.
    FAILS_WITH(ErrorNotSupported, system.SetupDiRegisterDeviceInfo(modem.set, &modem.data, 1,
                                                                   nullptr, nullptr, nullptr));
    FAILS_WITH(ErrorNotSupported, system.SetupDiRegisterDeviceInfo(modem.set, &modem.data, 0, &data,
                                                                   nullptr, nullptr));
    QVERIFY(system.SetupDiDestroyDeviceInfoList(other));
}

void DeviceInstallationTest::foreignHandlesAreRefused_data()
{
    QTest::addColumn<QString>("which");
    for (const char *which : {"destroyed", "null", "invalid", "the caller's own"})
        QTest::newRow(which) << which;
}

void DeviceInstallationTest::foreignHandlesAreRefused()
{
    QFETCH(QString, which);
    Platform &system = m_bench->system;
    NewModem modem(*m_bench);
    DeviceInfoData data = modem.data;
    const HDEVINFO destroyed = system.SetupDiCreateDeviceInfoList(nullptr, nullptr);
    QVERIFY(system.SetupDiDestroyDeviceInfoList(destroyed));
    const HDEVINFO set = which == "destroyed" ? destroyed
                         : which == "null"    ? nullptr
                         : which == "invalid" ? invalidHandle()
                                              : HDEVINFO(&data);
    DWORD size = 0;
    DriverInfoData driver = {};
    FAILS_WITH(ErrorInvalidHandle, system.SetupDiDestroyDeviceInfoList(set));
    FAILS_WITH(ErrorInvalidHandle, system.SetupDiEnumDeviceInfo(set, 0, &data));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiGetDeviceRegistryPropertyW(set, &data, 1, nullptr, nullptr, 0, &size));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiSetDeviceRegistryPropertyW(set, &data, 1, nullptr, 0));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiCreateDeviceInfoW(set, u"Modem", &modemClass, nullptr, nullptr,
                                               GenerateDeviceId, &data));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiGetDeviceInstanceIdW(set, &data, nullptr, 0, &size));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr));
    FAILS_WITH(ErrorInvalidHandle, system.SetupDiCallClassInstaller(FunctionRemove, set, &data));
    FAILS_WITH(ErrorInvalidHandle,
               system.SetupDiOpenDevRegKey(set, &data, ScopeGlobal, 0, DriverKey, KeyAllAccess));
    FAILS_WITH(ErrorInvalidHandle, system.SetupDiCreateDevRegKeyW(set, &data, ScopeGlobal, 0,
                                                                  DriverKey, nullptr, nullptr));
    FAILS_WITH(ErrorInvalidHandle, system.SetupDiGetSelectedDriverW(set, &data, &driver));
}

void DeviceInstallationTest::setsAreRefused()
{
    Platform &system = m_bench->system;
    FAILS_WITH(ErrorInvalidParameter,
               system.SetupDiGetClassDevsW(nullptr, nullptr, nullptr, GetPresentDevices));
    FAILS_WITH(ErrorNotSupported,
               system.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 0));
    FAILS_WITH(ErrorNotSupported,
               system.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 4));
    FAILS_WITH(ErrorNotSupported,
               system.SetupDiGetClassDevsW(&PortsClassGuid, u"USB", nullptr, GetPresentDevices));
}

void DeviceInstallationTest::driverKeysAreRefused()
{
    Platform &system = m_bench->system;
    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    const auto open = [&](DWORD scope, DWORD profile, DWORD type) {
        return system.SetupDiOpenDevRegKey(modem.set, &modem.data, scope, profile, type,
                                           KeyAllAccess);
    };
    FAILS_WITH(ErrorNotSupported, open(2, 0, DriverKey)); // of one hardware profile
    FAILS_WITH(ErrorNotSupported, open(ScopeGlobal, 1, DriverKey));
    FAILS_WITH(ErrorNotSupported, open(ScopeGlobal, 0, 1)); // the device's own
    const auto create = [&](DWORD profile, void *inf, const WCHAR *section) {
        return system.SetupDiCreateDevRegKeyW(modem.set, &modem.data, ScopeGlobal, profile,
                                              DriverKey, inf, section);
    };
    FAILS_WITH(ErrorNotSupported, create(1, nullptr, nullptr));
    FAILS_WITH(ErrorNotSupported, create(0, &modem, nullptr));
    FAILS_WITH(ErrorNotSupported, create(0, nullptr, u"Section"));
    QVERIFY(!m_bench->kept().devices.first().hasDriverKey);
}

void DeviceInstallationTest::registryValuesAreRefused()
{
    Platform &system = m_bench->system;
    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    const HKEY key = modem.createKey();
    const BYTE bytes[4] = {};
    const auto write = [&](DWORD reserved, DWORD type, const BYTE *data, DWORD size) {
        return DWORD(system.RegSetValueExW(key, u"x", reserved, type, data, size));
    };
    QCOMPARE(write(0, RegistryNumber, bytes, 4), ErrorNotSupported);
    QCOMPARE(write(0, RegistryString, bytes, 3), ErrorNotSupported); // half a unit
    QCOMPARE(write(1, RegistryString, bytes, 4), ErrorInvalidParameter);
    QCOMPARE(write(0, RegistryString, nullptr, 4), ErrorInvalidParameter);
    QVERIFY(m_bench->kept().devices.first().driverKey.isEmpty());

    // The code is the result; the last error is left alone.
    setLastError(4711);
    QCOMPARE(system.RegCloseKey(key), LONG(0));
    QCOMPARE(DWORD(system.RegCloseKey(key)), ErrorInvalidHandle);
    QCOMPARE(modem.writePort(key, "COM5"), ErrorInvalidHandle);
    QCOMPARE(modem.writePort(nullptr, "COM5"), ErrorInvalidHandle);
    QCOMPARE(lastError(), DWORD(4711));
}

void DeviceInstallationTest::aKeyOpenedForReadingIsNotWritten()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    QCOMPARE(m_bench->system.RegCloseKey(modem.createKey()), LONG(0));
    m_bench->setAdministrator(false);
    FAILS_WITH(ErrorAccessDenied, modem.openKey(KeyAllAccess));
    const HKEY key = modem.openKey(KeyRead);
    QVERIFY(key != invalidHandle());
    m_bench->setAdministrator(true);
    QCOMPARE(modem.writePort(key, "COM5"), ErrorAccessDenied);
    QVERIFY(m_bench->kept().devices.first().driverKey.isEmpty());
}

void DeviceInstallationTest::withoutRightsNothingIsChanged()
{
    NewModem registered(*m_bench);
    QVERIFY(registered.setHardwareId() && registered.registerIt());
    const HKEY key = registered.createKey();
    QCOMPARE(registered.writePort(key, "COM5"), Success);
    NewModem unregistered(*m_bench);
    QVERIFY(unregistered.created);
    const DeviceList before = m_bench->kept();

    m_bench->setAdministrator(false);
    NewModem modem(*m_bench);
    QVERIFY(!modem.created);
    QCOMPARE(lastError(), ErrorAccessDenied);
    QVERIFY(unregistered.setHardwareId()); // the caller's own affair
    FAILS_WITH(ErrorAccessDenied, unregistered.registerIt());
    FAILS_WITH(ErrorAccessDenied, registered.createKey());
    FAILS_WITH(ErrorAccessDenied, registered.setHardwareId("x"));
    FAILS_WITH(ErrorAccessDenied, registered.remove());
    QCOMPARE(registered.writePort(key, "COM6"), ErrorAccessDenied);
    m_bench->setAdministrator(true);
    QVERIFY(m_bench->kept() == before);
}

QTEST_GUILESS_MAIN(DeviceInstallationTest)
#include "deviceinstallation_test.moc"
