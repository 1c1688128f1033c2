#include "platform/newdev.h"
#include "platform/standin/guid.h"
#include "platform/standin/lasterror.h"
#include "tests/platform/simulated_fixture.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace platform;
using namespace platform::simulated;

namespace {

const Guid modemClass = {
    0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

QString invalidOr(DWORD code)
{
    return code > 0xFFFF ? "0x" + QString::number(code, 16).toUpper() : QString::number(code);
}

/// A result as a text, so that a failing comparison shows the code.
QString outcome(BOOL result)
{
    return result ? QString("done") : invalidOr(lastError());
}

bool copyInf(SimulatedPc &pc, const QString &path)
{
    return pc.SetupCopyOEMInfW(wide(path), wide(path), SourceMediaNone, CopyInfCatalogOnly, nullptr,
                               0, nullptr, nullptr) != 0;
}

BOOL updateDriver(SimulatedPc &pc, const QString &id, const QString &inf,
                  DWORD flags = InstallFlagForce, BOOL *reboot = nullptr)
{
    return pc.UpdateDriverForPlugAndPlayDevicesW(nullptr, wide(id), wide(inf), flags, reboot);
}

/// The program's way to a modem device, step by step.
struct NewDevice {
    explicit NewDevice(SimulatedPc &machine) : pc(machine)
    {
        set = pc.SetupDiCreateDeviceInfoList(&modemClass, nullptr);
        data.cbSize = sizeof data;
        const QString name = "Modem";
        if (!pc.SetupDiCreateDeviceInfoW(set, wide(name), &modemClass, nullptr, nullptr,
                                         GenerateDeviceId, &data))
            qFatal("the test's device cannot be made");
    }
    ~NewDevice() { pc.SetupDiDestroyDeviceInfoList(set); }

    BOOL setHardwareId(const QString &id)
    {
        const QString multi = id + QString(1, QChar(0));
        return pc.SetupDiSetDeviceRegistryPropertyW(set, &data, PropertyHardwareId,
                                                    reinterpret_cast<const BYTE *>(multi.utf16()),
                                                    static_cast<DWORD>(2 * id.size() + 4));
    }
    BOOL registerDevice()
    {
        return pc.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr);
    }
    HKEY openKey()
    {
        return pc.SetupDiOpenDevRegKey(set, &data, ScopeGlobal, 0, DriverKey, KeyAllAccess);
    }
    HKEY createKey()
    {
        return pc.SetupDiCreateDevRegKeyW(set, &data, ScopeGlobal, 0, DriverKey, nullptr, nullptr);
    }
    QString instanceId()
    {
        WCHAR buffer[1000] = {};
        DWORD required = 0;
        pc.SetupDiGetDeviceInstanceIdW(set, &data, buffer, 1000, &required);
        return fromWide(buffer);
    }

    SimulatedPc &pc;
    HDEVINFO set;
    DeviceInfoData data = {};
};

LONG setAttachedTo(SimulatedPc &pc, HKEY key, const QString &port)
{
    const QString name = "AttachedTo";
    return pc.RegSetValueExW(key, wide(name), 0, RegistryString,
                             reinterpret_cast<const BYTE *>(port.utf16()),
                             static_cast<DWORD>(2 * port.size() + 2));
}

} // namespace

class SimulatedDevicesTest : public QObject
{
    Q_OBJECT

private slots:
    void copiesAnInf()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString source = machine.write("modem.inf", modemInf());
        QVERIFY(source.contains('\\'));
        QVERIFY(copyInf(pc, source));
        QFile stored(machine.path("inf/oem0.inf"));
        QVERIFY(stored.open(QIODevice::ReadOnly));
        QCOMPARE(stored.readAll(), modemInf());
        QVERIFY(copyInf(pc, source)); // the same again: no second file
        QVERIFY(copyInf(pc, machine.write("other.inf", modemInf("other"))));
        QCOMPARE(QDir(machine.path("inf")).entryList(QDir::Files),
                 QStringList({"oem0.inf", "oem1.inf"}));
    }

    void saysWhereAnInfWent()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString source = machine.write("modem.inf", modemInf());
        const auto copy = [&](WCHAR *buffer, DWORD size, DWORD *required, WCHAR **component) {
            return pc.SetupCopyOEMInfW(wide(source), nullptr, SourceMediaNone, CopyInfCatalogOnly,
                                       buffer, size, required, component);
        };
        WCHAR path[500] = {};
        DWORD required = 0;
        WCHAR *component = nullptr;
        QVERIFY(copy(nullptr, 0, &required, nullptr));
        QVERIFY(!copy(path, required - 1, &required, nullptr));
        QCOMPARE(lastError(), DWORD(ErrorInsufficientBuffer));
        QVERIFY(copy(path, required, &required, &component));
        QCOMPARE(fromWide(path), machine.path("inf/oem0.inf").replace('/', '\\'));
        QCOMPARE(fromWide(component), QString("oem0.inf"));
        QCOMPARE(required, DWORD(fromWide(path).size() + 1));
    }

    void refusesToCopyAnInf()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        QVERIFY(!copyInf(pc, machine.path("missing.inf")));
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
        QVERIFY(!copyInf(pc, machine.write("letter.inf", "Dear reader")));
        QCOMPARE(invalidOr(lastError()), QString("0xE0000100"));
        const QString source = machine.write("modem.inf", modemInf());
        QVERIFY(!pc.SetupCopyOEMInfW(wide(source), nullptr, 2, 0, nullptr, 0, nullptr, nullptr));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QVERIFY(!pc.SetupCopyOEMInfW(nullptr, nullptr, 0, 0, nullptr, 0, nullptr, nullptr));
        QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
        machine.setAdministrator(false);
        QVERIFY(!copyInf(pc, source));
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
        QVERIFY(!QFile::exists(machine.path("inf/oem0.inf")));
    }

    void readsAnInfsClass()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString source = machine.write("modem.inf", modemInf());
        Guid guid = {};
        WCHAR name[100] = {};
        DWORD required = 0;
        QVERIFY(pc.SetupDiGetINFClassW(wide(source), &guid, name, 200, nullptr));
        QVERIFY(guid == modemClass);
        QCOMPARE(fromWide(name), QString("Modem"));
        QVERIFY(!pc.SetupDiGetINFClassW(wide(source), &guid, name, 5, &required));
        QCOMPARE(lastError(), DWORD(ErrorInsufficientBuffer));
        QCOMPARE(required, DWORD(6));
        QVERIFY(copyInf(pc, source));
        const QString stored = "oem0.inf"; // a bare name means the store's
        QVERIFY(pc.SetupDiGetINFClassW(wide(stored), &guid, name, 6, nullptr));

        const auto refusal = [&](const QString &inf) {
            return outcome(pc.SetupDiGetINFClassW(wide(inf), &guid, name, 100, nullptr));
        };
        QCOMPARE(refusal(machine.path("missing.inf")), QString("2"));
        QCOMPARE(refusal("missing.inf"), QString("2"));
        QCOMPARE(refusal(machine.write("letter.inf", "Dear reader")), QString("0xE0000100"));
        QCOMPARE(refusal(machine.write("bare.inf", "[Version]\nSignature=\"$Chicago$\"\n")),
                 QString("0xE0000200"));
    }

    void makesAModem()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString inf = machine.write("modem.inf", modemInf());
        QVERIFY(copyInf(pc, inf));
        NewDevice device(pc);
        QCOMPARE(device.instanceId(), QString("ROOT\\MODEM\\0000"));
        QVERIFY(device.setHardwareId("mtkgprsmodem"));
        QVERIFY(machine.state().devices.isEmpty()); // not registered yet
        QVERIFY(device.registerDevice());

        QCOMPARE(device.openKey(), invalidHandle());
        QCOMPARE(invalidOr(lastError()), QString("0xE0000204"));
        const HKEY key = device.createKey();
        QVERIFY(key != invalidHandle());
        QCOMPARE(setAttachedTo(pc, key, "COM5"), LONG(0));
        QCOMPARE(pc.RegCloseKey(key), LONG(0));
        QVERIFY(device.registerDevice()); // a second time, as the program does
        DriverInfoData driver = {};
        QVERIFY(!pc.SetupDiGetSelectedDriverW(device.set, &device.data, &driver));
        QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
        driver.cbSize = sizeof driver;
        QVERIFY(!pc.SetupDiGetSelectedDriverW(device.set, &device.data, &driver));
        QCOMPARE(lastError(), DWORD(ErrorNoDriverSelected));

        BOOL reboot = 1;
        QCOMPARE(outcome(updateDriver(pc, "mtkgprsmodem", inf, InstallFlagForce, &reboot)),
                 QString("done"));
        QCOMPARE(reboot, 0);
        const auto devices = machine.state().devices;
        QCOMPARE(devices.size(), 1);
        QCOMPARE(devices.first().friendlyName, QString("MTK GPRS Modem"));
        QCOMPARE(devices.first().driverInf, QString("oem0.inf"));
        QCOMPARE(devices.first().hardwareIds, QStringList{"mtkgprsmodem"});
        QCOMPARE(devices.first().driverKey.value("AttachedTo"), QString("COM5"));
        QCOMPARE(devices.first().classGuid, guidText(modemClass));

        // A key that exists opens.
        const HKEY opened = device.openKey();
        QVERIFY(opened != invalidHandle());
        QCOMPARE(pc.RegCloseKey(opened), LONG(0));
    }

    void numbersFurtherModems()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString inf = machine.write("modem.inf", modemInf());
        QVERIFY(copyInf(pc, inf));
        for (int i = 0; i < 3; ++i) {
            SimulatedPc restarted(machine.directory());
            NewDevice device(restarted);
            QVERIFY(device.setHardwareId("MTKGPRSMODEM")); // ids compare in any case
            QVERIFY(device.registerDevice());
            QVERIFY(updateDriver(restarted, "mtkgprsmodem", inf));
        }
        const auto devices = machine.state().devices;
        QCOMPARE(devices.at(1).instanceId, QString("ROOT\\MODEM\\0001"));
        QCOMPARE(devices.at(1).friendlyName, QString("MTK GPRS Modem #2"));
        QCOMPARE(devices.at(2).friendlyName, QString("MTK GPRS Modem #3"));
        QVERIFY(devices.at(1).devInst != devices.at(2).devInst);
    }

    void refusesADriverUpdate()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString inf = machine.write("modem.inf", modemInf());
        const QString id = "mtkgprsmodem";
        const auto update = [&](const QString &path, DWORD flags = InstallFlagForce) {
            return outcome(updateDriver(pc, id, path, flags));
        };
        QCOMPARE(update(machine.path("missing.inf")), QString("2"));
        QCOMPARE(update(machine.write("letter.inf", "Dear reader")), QString("0xE0000100"));
        QCOMPARE(update(inf, 8), QString("1004"));
        QCOMPARE(update(inf), QString("0xE000022F")); // not in the store
        QVERIFY(copyInf(pc, inf));
        QCOMPARE(update(inf), QString("0xE000020B")); // no such device
        NewDevice device(pc);
        QVERIFY(device.setHardwareId(id));
        QCOMPARE(update(inf), QString("0xE000020B")); // not registered
        QVERIFY(device.registerDevice());
        const QString other = machine.write("other.inf", modemInf("other"));
        QVERIFY(copyInf(pc, other));
        QCOMPARE(update(other), QString("259")); // nothing in it for this id
        machine.setAdministrator(false);
        QCOMPARE(update(inf), QString("5"));
        machine.setAdministrator(true);
        QVERIFY(machine.state().devices.first().driverInf.isEmpty());
        QCOMPARE(update(inf, 0), QString("done"));
        QCOMPARE(update(inf, 0), QString("259")); // no better than the present one
        QCOMPARE(update(inf, InstallFlagForce), QString("done"));
    }

    void looksForTheProcessorsModels()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        QByteArray content = modemInf();
        content.replace(",NTamd64", "").replace("[Models.NTamd64]", "[Unused]");
        const QString inf = machine.write("modem_32.inf", content);
        QVERIFY(copyInf(pc, inf));
        NewDevice device(pc);
        QVERIFY(device.setHardwareId("mtkgprsmodem"));
        QVERIFY(device.registerDevice());
        QCOMPARE(outcome(updateDriver(pc, "mtkgprsmodem", inf)), QString("259"));
        machine.change([](simulated::MachineState &state) {
            state.windows.processor = simulated::Processor::X86;
        });
        QCOMPARE(outcome(updateDriver(pc, "mtkgprsmodem", inf)), QString("done"));
    }

    void discardsUnregisteredDevices()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        {
            NewDevice first(pc);
            NewDevice second(pc);
            QCOMPARE(second.instanceId(), QString("ROOT\\MODEM\\0000"));
            QVERIFY(first.registerDevice());
            QVERIFY(!second.registerDevice()); // the id is taken meanwhile
            QCOMPARE(invalidOr(lastError()), QString("0xE0000207"));
        }
        QCOMPARE(machine.state().devices.size(), 1);
    }

    void removesADevice()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice device(pc);
        QVERIFY(device.registerDevice());
        const HKEY key = device.createKey();
        QVERIFY(key != invalidHandle());
        QVERIFY(!pc.SetupDiCallClassInstaller(1, device.set, &device.data));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QVERIFY(pc.SetupDiCallClassInstaller(FunctionRemove, device.set, &device.data));
        QVERIFY(machine.state().devices.isEmpty());
        QCOMPARE(setAttachedTo(pc, key, "COM5"), LONG(1018)); // its key went with it
        QVERIFY(!device.registerDevice());
        QCOMPARE(invalidOr(lastError()), QString("0xE000020B"));
        DeviceInfoData data = {};
        data.cbSize = sizeof data;
        QVERIFY(!pc.SetupDiEnumDeviceInfo(device.set, 0, &data));
        QCOMPARE(lastError(), DWORD(ErrorNoMoreItems));

        NewDevice unregistered(pc);
        QVERIFY(pc.SetupDiCallClassInstaller(FunctionRemove, unregistered.set, &unregistered.data));
        QVERIFY(!unregistered.registerDevice());
    }

    void needsRights()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice registered(pc);
        QVERIFY(registered.registerDevice());
        machine.setAdministrator(false);
        NewDevice device(pc);
        QCOMPARE(outcome(device.registerDevice()), QString("5"));
        QCOMPARE(registered.createKey(), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
        QCOMPARE(outcome(registered.setHardwareId("x")), QString("5"));
        QCOMPARE(
            outcome(pc.SetupDiCallClassInstaller(FunctionRemove, registered.set, &registered.data)),
            QString("5"));
        QCOMPARE(machine.state().devices.size(), 1);
    }

    void listsRegisteredDevices()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice device(pc);
        QVERIFY(device.setHardwareId("mtkgprsmodem"));
        QVERIFY(device.registerDevice());
        const HDEVINFO set =
            pc.SetupDiGetClassDevsW(&modemClass, nullptr, nullptr, GetPresentDevices);
        DeviceInfoData data = {};
        data.cbSize = sizeof data;
        QVERIFY(pc.SetupDiEnumDeviceInfo(set, 0, &data));
        QVERIFY(data.ClassGuid == modemClass);
        QVERIFY(!pc.SetupDiEnumDeviceInfo(set, 1, &data));
        QCOMPARE(lastError(), DWORD(ErrorNoMoreItems));
        DWORD size = 0;
        DWORD type = 0;
        WCHAR ids[100] = {};
        QVERIFY(pc.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyHardwareId, &type,
                                                     reinterpret_cast<BYTE *>(ids), 200, &size));
        QCOMPARE(type, DWORD(7));
        QCOMPARE(size, DWORD(2 * 12 + 4));
        QCOMPARE(fromWide(ids), QString("mtkgprsmodem"));
        // Without a driver it has no name.
        QVERIFY(!pc.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyFriendlyName, &type,
                                                      nullptr, 0, &size));
        QCOMPARE(lastError(), DWORD(ErrorInvalidData));
        QVERIFY(!pc.SetupDiGetDeviceRegistryPropertyW(set, &data, 3, &type, nullptr, 0, &size));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QVERIFY(pc.SetupDiCallClassInstaller(FunctionRemove, device.set, &device.data));
        QVERIFY(!pc.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyHardwareId, &type,
                                                      nullptr, 0, &size));
        QCOMPARE(invalidOr(lastError()), QString("0xE000020B"));
    }

    void refusesToMakeADevice()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const HDEVINFO set = pc.SetupDiCreateDeviceInfoList(&modemClass, nullptr);
        DeviceInfoData data = {};
        data.cbSize = sizeof data;
        const auto create = [&](const QString &name, const Guid &guid, DWORD flags) {
            return outcome(pc.SetupDiCreateDeviceInfoW(set, wide(name), &guid, nullptr, nullptr,
                                                       flags, &data));
        };
        QCOMPARE(create("Modem", PortsClassGuid, GenerateDeviceId), QString("0xE0000201"));
        QCOMPARE(create("ROOT\\MODEM\\7", modemClass, GenerateDeviceId), QString("0xE0000205"));
        QCOMPARE(create("", modemClass, GenerateDeviceId), QString("0xE0000205"));
        QCOMPARE(create("Modem", modemClass, 0), QString("50"));
        data.cbSize = 28;
        QCOMPARE(create("Modem", modemClass, GenerateDeviceId), QString("1784"));
        data.cbSize = sizeof data;
        QCOMPARE(create("Modem", modemClass, GenerateDeviceId), QString("done"));
        QCOMPARE(create("Modem", modemClass, GenerateDeviceId), QString("done"));
        WCHAR id[100] = {};
        DWORD required = 0;
        QVERIFY(!pc.SetupDiGetDeviceInstanceIdW(set, &data, id, 3, &required));
        QCOMPARE(lastError(), DWORD(ErrorInsufficientBuffer));
        QCOMPARE(required, DWORD(16));
        QVERIFY(pc.SetupDiGetDeviceInstanceIdW(set, &data, id, required, &required));
        QCOMPARE(fromWide(id), QString("ROOT\\MODEM\\0001"));
    }

    void refusesBadHardwareIds()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice device(pc);
        const QString id = QString("id") + QString(2, QChar(0));
        const auto set = [&](DWORD property, DWORD size) {
            return outcome(pc.SetupDiSetDeviceRegistryPropertyW(
                device.set, &device.data, property, reinterpret_cast<const BYTE *>(id.utf16()),
                size));
        };
        QCOMPARE(set(PropertyHardwareId, 4), QString("13")); // no terminator
        QCOMPARE(set(PropertyHardwareId, 6), QString("13")); // only one
        QCOMPARE(set(PropertyHardwareId, 7), QString("13"));
        QCOMPARE(set(PropertyHardwareId, 0), QString("13"));
        QCOMPARE(set(PropertyFriendlyName, 8), QString("50"));
        QCOMPARE(set(PropertyHardwareId, 8), QString("done"));
    }

    void refusesForeignRecordsAndHandles()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice device(pc);
        const HDEVINFO other = pc.SetupDiCreateDeviceInfoList(nullptr, nullptr);
        DeviceInfoData data = device.data;
        QVERIFY(!pc.SetupDiRegisterDeviceInfo(other, &data, 0, nullptr, nullptr, nullptr));
        QCOMPARE(invalidOr(lastError()), QString("0xE000020B"));
        data.cbSize = 0;
        QVERIFY(!pc.SetupDiRegisterDeviceInfo(device.set, &data, 0, nullptr, nullptr, nullptr));
        QCOMPARE(lastError(), DWORD(1784));
        QVERIFY(!pc.SetupDiRegisterDeviceInfo(device.set, nullptr, 0, nullptr, nullptr, nullptr));
        QVERIFY(
            !pc.SetupDiRegisterDeviceInfo(device.set, &device.data, 1, nullptr, nullptr, nullptr));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));

        QVERIFY(pc.SetupDiDestroyDeviceInfoList(other));
        data = device.data;
        DWORD size = 0;
        DriverInfoData driver = {};
        for (const HDEVINFO set : {HDEVINFO(other), HDEVINFO(nullptr), invalidHandle()}) {
            QCOMPARE(outcome(pc.SetupDiDestroyDeviceInfoList(set)), QString("6"));
            QCOMPARE(outcome(pc.SetupDiEnumDeviceInfo(set, 0, &data)), QString("6"));
            QCOMPARE(outcome(pc.SetupDiGetDeviceRegistryPropertyW(set, &data, 1, nullptr, nullptr,
                                                                  0, &size)),
                     QString("6"));
            QCOMPARE(outcome(pc.SetupDiSetDeviceRegistryPropertyW(set, &data, 1, nullptr, 0)),
                     QString("6"));
            const QString name = "Modem";
            QCOMPARE(outcome(pc.SetupDiCreateDeviceInfoW(set, wide(name), &modemClass, nullptr,
                                                         nullptr, 1, &data)),
                     QString("6"));
            QCOMPARE(outcome(pc.SetupDiGetDeviceInstanceIdW(set, &data, nullptr, 0, &size)),
                     QString("6"));
            QCOMPARE(
                outcome(pc.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr)),
                QString("6"));
            QCOMPARE(outcome(pc.SetupDiCallClassInstaller(FunctionRemove, set, &data)),
                     QString("6"));
            QCOMPARE(pc.SetupDiOpenDevRegKey(set, &data, 1, 0, 2, KeyAllAccess), invalidHandle());
            QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
            QCOMPARE(outcome(pc.SetupDiGetSelectedDriverW(set, &data, &driver)), QString("6"));
        }
    }

    void refusesOtherKeysAndValues()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        NewDevice device(pc);
        QCOMPARE(device.createKey(), invalidHandle());
        QCOMPARE(invalidOr(lastError()), QString("0xE0000208")); // not registered
        QVERIFY(device.registerDevice());
        QCOMPARE(pc.SetupDiOpenDevRegKey(device.set, &device.data, 2, 0, 2, KeyAllAccess),
                 invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QCOMPARE(pc.SetupDiOpenDevRegKey(device.set, &device.data, 1, 0, 1, KeyAllAccess),
                 invalidHandle());
        const QString section = "Section";
        QCOMPARE(
            pc.SetupDiCreateDevRegKeyW(device.set, &device.data, 1, 0, 2, nullptr, wide(section)),
            invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));

        const HKEY key = device.createKey();
        const BYTE number[4] = {};
        QCOMPARE(pc.RegSetValueExW(key, nullptr, 0, 4, number, 4), LONG(ErrorNotSupported));
        QCOMPARE(pc.RegSetValueExW(key, nullptr, 1, 1, number, 4), LONG(ErrorInvalidParameter));
        QCOMPARE(pc.RegSetValueExW(key, nullptr, 0, 1, nullptr, 4), LONG(ErrorInvalidParameter));
        QCOMPARE(pc.RegCloseKey(key), LONG(0));
        QCOMPARE(pc.RegCloseKey(key), LONG(ErrorInvalidHandle));
        QCOMPARE(setAttachedTo(pc, key, "COM5"), LONG(ErrorInvalidHandle));
        QCOMPARE(setAttachedTo(pc, nullptr, "COM5"), LONG(ErrorInvalidHandle));
    }
};

QTEST_GUILESS_MAIN(SimulatedDevicesTest)
#include "simulated_devices.moc"
