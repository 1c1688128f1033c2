#include "tests/install/modeminstallationfixture.h"

#include <QTest>

#include <algorithm>

using namespace platform;

namespace {

/// The class name and the GUIDs that the device creation is handed.
class ClassCheckingMachine : public ScriptedMachine
{
public:
    QList<DWORD> guids;
    DWORD classNameUnitsCleared = 0;
    QList<DWORD> driverBytes;

    ClassCheckingMachine()
    {
        SetupDiGetINFClassW.wrap(
            [this](auto &next, const WCHAR *inf, Guid *guid, WCHAR *name, auto... rest) {
                // The buffer has 100 characters whatever its size is said to be.
                for (int i = 0; i < 100; ++i)
                    classNameUnitsCleared += name[i] == 0 ? 1 : 0;
                return next(inf, guid, name, rest...);
            });
        SetupDiCreateDeviceInfoList.wrap([this](auto &next, const Guid *guid, auto parent) {
            guids.append(guid->Data1);
            return next(guid, parent);
        });
        SetupDiCreateDeviceInfoW.wrap(
            [this](auto &next, HDEVINFO set, const WCHAR *name, const Guid *guid, auto... rest) {
                guids.append(guid->Data1);
                return next(set, name, guid, rest...);
            });
        SetupDiGetSelectedDriverW.wrap(
            [this](auto &next, HDEVINFO set, DeviceInfoData *device, DriverInfoData *driver) {
                const auto *bytes = reinterpret_cast<const BYTE *>(driver);
                driverBytes.append(
                    static_cast<DWORD>(std::count(bytes, bytes + sizeof(DriverInfoData), BYTE{0})));
                return next(set, device, driver);
            });
    }
};

} // namespace

class ModemInstallationTest : public QObject
{
    Q_OBJECT

private slots:
    void installs();
    void classAndRecordsAreHandedOn();
    void hardwareIdIsAMultiString();
    void hardwareIdOfAnotherLength();
    void portNameIsWritten_data();
    void portNameIsWritten();
    void rebootFlagIsNotLookedAt_data();
    void rebootFlagIsNotLookedAt();
    void selectedDriverThatExists();
    void instanceId_data();
    void instanceId();
    void registersOnItsOwn();
    void loaderPassesArgumentsAndErrorOn();
};

void ModemInstallationTest::installs()
{
    Bench<> bench;
    QVERIFY(install());
    QCOMPARE(bench.calls(), callsUntilRegistration + callsOfRegistration + callsOfUpdate +
                                QStringList{destruction});
    const QStringList lines = bench.log.lines();
    QCOMPARE(lines.size(), linesUntilUpdate.size() + 3);
    QCOMPARE(QStringList(lines.mid(0, linesUntilUpdate.size())), linesUntilUpdate);
    // The toolkit's own complaint about the text without a place for the word.
    QVERIFY(lines.at(lines.size() - 3).startsWith("QString::arg: Argument missing"));
    QCOMPARE(lines.at(lines.size() - 2), updated);
    QCOMPARE(lines.last(), lastErrorLine(0));
    QCOMPARE(bench.machine.registrations, 2);
    QCOMPARE(bench.machine.removals, 0);
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemInstallationTest::classAndRecordsAreHandedOn()
{
    Bench<ClassCheckingMachine> bench;
    bench.machine.infClass = "Some Class";
    QVERIFY(install());
    QCOMPARE(bench.machine.classNameUnitsCleared, DWORD{100});
    QCOMPARE(bench.machine.guids, QList<DWORD>({0x4D36E96D, 0x4D36E96D}));
    QCOMPARE(
        bench.calls().at(2),
        QString(
            "SetupDiCreateDeviceInfoW(0x10, \"Some Class\", &, null, null, 1, &)")); // DICD_GENERATE_ID
    QCOMPARE(bench.log.lines().first(),
             messageLine(plain, "\"SetupDiGetINFClass Done. INF Class is Some Class\""));
    // The driver record is clear, its size field included.
    QCOMPARE(bench.machine.selectedDriverSize, DWORD{0});
    QCOMPARE(bench.machine.driverBytes, QList<DWORD>({DWORD{sizeof(DriverInfoData)}}));
}

void ModemInstallationTest::hardwareIdIsAMultiString()
{
    Bench<> bench;
    QVERIFY(install());
    const QString expected = QString("mtkgprsmodem") + QChar(0) + QChar(0);
    QCOMPARE(bench.machine.hardwareId,
             QByteArray(reinterpret_cast<const char *>(expected.utf16()), 28));
}

// The line names the usual id whatever the buffer holds.
void ModemInstallationTest::hardwareIdOfAnotherLength()
{
    Bench<> bench;
    WCHAR hardwareId[] = {'a', 'b', 0, 'X'};
    const QString portName = "COM5";
    BOOL reboot = false;
    QVERIFY(InstallRootEnumeratedDriver(hardwareId, wide(infPath), wide(portName), &reboot));
    QCOMPARE(bench.machine.hardwareId, QByteArray("a\0b\0\0\0\0\0", 8));
    QVERIFY(bench.log.lines().contains(idSet));
}

void ModemInstallationTest::portNameIsWritten_data()
{
    QTest::addColumn<QString>("portName");
    QTest::newRow("COM5") << "COM5";
    QTest::newRow("COM0") << "COM0";
    QTest::newRow("COM256") << "COM256";
    QTest::newRow("longest") << "COM-2147483648";
}

void ModemInstallationTest::portNameIsWritten()
{
    QFETCH(const QString, portName);
    Bench<> bench;
    WCHAR hardwareId[16] = {'x'};
    BOOL reboot = false;
    QVERIFY(InstallRootEnumeratedDriver(hardwareId, wide(infPath), wide(portName), &reboot));
    QCOMPARE(bench.machine.registryWrites.size(), 1);
    const auto &write = bench.machine.registryWrites.first();
    QCOMPARE(write.name, QString("AttachedTo"));
    QCOMPARE(write.type, RegistryString);
    QCOMPARE(write.data, QByteArray(reinterpret_cast<const char *>(portName.utf16()),
                                    static_cast<int>(portName.size()) * 2 + 2));
    QVERIFY(bench.log.lines().contains(
        errorLine(plain, "\"RegisterModem finished. Tried to register it to " + portName + '"')));
}

void ModemInstallationTest::rebootFlagIsNotLookedAt_data()
{
    QTest::addColumn<bool>("withFlag");
    QTest::addColumn<bool>("wanted");
    QTest::addColumn<QString>("word");
    QTest::newRow("wanted") << true << true << "true";
    QTest::newRow("not wanted") << true << false << "true";
    QTest::newRow("no flag") << false << true << "false";
}

void ModemInstallationTest::rebootFlagIsNotLookedAt()
{
    QFETCH(const bool, withFlag);
    QFETCH(const bool, wanted);
    QFETCH(const QString, word);
    Bench<> bench;
    bench.machine.updateWantsReboot = wanted;
    BOOL flag = 7;
    QVERIFY(install(withFlag ? &flag : nullptr));
    QCOMPARE(flag, withFlag ? BOOL{wanted} : BOOL{7});
    QVERIFY(bench.log.lines().contains(updated));
    QCOMPARE(bench.log.lines().filter("Argument missing").size(), 1);
    QVERIFY(bench.log.lines().filter("Argument missing").first().endsWith(", " + word));
}

void ModemInstallationTest::selectedDriverThatExists()
{
    Bench<> bench;
    bench.machine.selectedDriver = true;
    QVERIFY(install());
    QVERIFY(!bench.log.lines().contains(noSelectedDriver));
    QCOMPARE(bench.log.lines().at(8),
             errorLine("RegisterModem",
                       "SetupDiGetSelectedDriver succeded! I didn't hope for success. It's success "
                       "is not important though. It always fails. I don't know why to call it in "
                       "the 1st place :-S."));
}

void ModemInstallationTest::instanceId_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QList<int>>("failing"); // tries that fail
    QTest::addColumn<QStringList>("sizes");  // that the tries hand in
    QTest::addColumn<QStringList>("lines");
    const auto made = [](const QString &id) {
        return messageLine(plain,
                           quoted("SetupDiCreateDeviceInfo Done. New Generated Id is " + id));
    };
    const QString unknown =
        errorLine(plain, "An error occured when getting the instance id. but it's not a big prob.");
    const QString longId(1500, 'i');
    const QString fits(999, 'i');
    const QString justNot(1000, 'i');
    QTest::newRow("short") << "ROOT\\MODEM\\0003" << QList<int>{} << QStringList{"1000"}
                           << QStringList{made("ROOT\\MODEM\\0003")};
    QTest::newRow("fits") << fits << QList<int>{} << QStringList{"1000"} << QStringList{made(fits)};
    QTest::newRow("just does not fit")
        << justNot << QList<int>{} << QStringList{"1000", "1001"} << QStringList{made(justNot)};
    QTest::newRow("long") << longId << QList<int>{} << QStringList{"1000", "1501"}
                          << QStringList{made(longId)};
    QTest::newRow("long and unreadable")
        << longId << QList<int>{2} << QStringList{"1000", "1501"} << QStringList{unknown, made("")};
    const QString longest(0xFFFF, 'i'); // with its end the largest size
    QTest::newRow("longest") << longest << QList<int>{} << QStringList{"1000", "65536"}
                             << QStringList{made(longest)};
    // No id is so long, so there is no second try.
    QTest::newRow("absurdly long") << QString(0x10000, 'i') << QList<int>{} << QStringList{"1000"}
                                   << QStringList{unknown, made("")};
    // A try that fails for another reason reports no size.
    QTest::newRow("unreadable") << "x" << QList<int>{1, 2} << QStringList{"1000", "0"}
                                << QStringList{unknown, made("")};
}

void ModemInstallationTest::instanceId()
{
    QFETCH(const QString, id);
    QFETCH(const QList<int>, failing);
    QFETCH(const QStringList, sizes);
    QFETCH(const QStringList, lines);
    Bench<> bench;
    bench.machine.generatedId = id;
    for (const int call : failing)
        bench.fail("SetupDiGetDeviceInstanceIdW", ErrorInvalidData, call);
    QVERIFY(install());
    QStringList calls;
    for (const QString &size : sizes)
        calls.append("SetupDiGetDeviceInstanceIdW(0x10, &, \"\", " + size + ", &)");
    QCOMPARE(bench.calls().filter("SetupDiGetDeviceInstanceIdW"), calls);
    QCOMPARE(QStringList(bench.log.lines().mid(2, lines.size())), lines);
    QCOMPARE(bench.log.lines().at(2 + lines.size()), idSet);
}

void ModemInstallationTest::registersOnItsOwn()
{
    Bench<> bench;
    Guid guid{};
    const HDEVINFO set = bench.machine.SetupDiCreateDeviceInfoList(&guid, nullptr);
    DeviceInfoData device{};
    device.cbSize = sizeof device;
    const QString portName = "COM12";
    QVERIFY(RegisterModem(set, &device, wide(portName)));
    QStringList calls = callsOfRegistration;
    calls[3] = "RegSetValueExW(0x20, \"AttachedTo\", 0, 1, &, 12)"; // REG_SZ, 12 bytes
    QCOMPARE(bench.calls(), calls);
    QCOMPARE(bench.log.lines(), registrationLines);
    QCOMPARE(bench.leftOpen(), QString("1 device set"));
}

void ModemInstallationTest::loaderPassesArgumentsAndErrorOn()
{
    Bench<> bench;
    bench.machine.updateWantsReboot = true;
    const QString id = "some id";
    const QString path = "X:\\y.inf";
    BOOL reboot = false;
    const platform::HWND parent = reinterpret_cast<platform::HWND>(ULONG_PTR{0x77});
    QCOMPARE(UpdateDriverForPlugAndPlayDevicesLoader(parent, wide(id), wide(path), 5, &reboot), 1);
    QCOMPARE(reboot, 1);
    QCOMPARE(bench.calls().at(2),
             QString("UpdateDriverForPlugAndPlayDevicesW(0x77, \"some id\", \"X:\\y.inf\", 5, &)"));

    bench.fail("UpdateDriverForPlugAndPlayDevicesW", ErrorInvalidFlags, 2);
    QCOMPARE(UpdateDriverForPlugAndPlayDevicesLoader(nullptr, wide(id), wide(path), 1, nullptr), 0);
    // Freeing the library clears the error on the machine.
    QCOMPARE(bench.machine.GetLastError(), ErrorInvalidFlags);
    QCOMPARE(bench.log.lines(), QStringList());
    QCOMPARE(bench.leftOpen(), QString());
}

QTEST_GUILESS_MAIN(ModemInstallationTest)
#include "modeminstallation_test.moc"
