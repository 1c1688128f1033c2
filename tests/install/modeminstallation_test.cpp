#include "install/installationsteps.h"
#include "install/modeminstallation.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTest>

#include <algorithm>
#include <iterator>
#include <memory>

using namespace platform;

namespace {

const QString infPath = "C:\\drivers\\modem_inf_64.inf";

// The lines of InstallRootEnumeratedDriver and RegisterModem on a machine on
// which everything works, in order.
const QString plain = "InstallRootEnumeratedDriver";
const QString classRead = messageLine(plain, "\"SetupDiGetINFClass Done. INF Class is Modem\"");
const QString setMade = messageLine(plain, "\"SetupDiCreateDeviceInfoList Done.\"");
const QString deviceMade =
    messageLine(plain, "\"SetupDiCreateDeviceInfo Done. New Generated Id is ROOT\\MODEM\\0000\"");
const QString idSet =
    messageLine(plain, "SetupDiSetDeviceRegistryProperty finished. Now it has id mtkgprsmodem");
const QString registered = messageLine("RegisterModem", "SetupDiRegisterDeviceInfo OK\n");
const QString keyMade = messageLine(
    "RegisterModem", "SetupDiCreateDevRegKey succeded. Now the modem has entry in registry");
const QString valueSet = messageLine(
    "RegisterModem", "\"RegSetValueEx succeded. Now the modem is registered with AttachedTo\"");
const QString registeredAgain = messageLine(
    "RegisterModem", "SetupDiRegisterDeviceInfo call for the second time succeded(don't "
                     "know why called it :-S. But it is needed.");
const QString noSelectedDriver =
    errorLine("RegisterModem", "SetupDiGetSelectedDriver failes. It's success is not important "
                               "though. It always fails. I don't know why to call it in the 1st "
                               "place :-S.");
const QString attached =
    errorLine(plain, "\"RegisterModem finished. Tried to register it to COM5\"");
const QString notAttached =
    errorLine(plain, "\"RegisterModem failed. Tried to register it to COM5\"");
const QString updated =
    messageLine(plain, "\"UpdateDriverForPlugAndPlayDevices finished. Reboot required == \"");
const QString updateFailed = errorLine(plain, "UpdateDriverForPlugAndPlayDevices failed.");

QString lastErrorLine(DWORD code)
{
    return messageLine(plain, QString("\"Last Error %1\"").arg(code));
}

const QStringList registrationLines = {registered, keyMade, valueSet, registeredAgain,
                                       noSelectedDriver};
const QStringList linesUntilUpdate =
    QStringList{classRead, setMade, deviceMade, idSet} + registrationLines + QStringList{attached};

const QStringList callsUntilRegistration = {
    "SetupDiGetINFClassW(\"C:\\drivers\\modem_inf_64.inf\", &, \"\", 200, null)",
    "SetupDiCreateDeviceInfoList(&, null)",
    "SetupDiCreateDeviceInfoW(0x10, \"Modem\", &, null, null, 1, &)",
    "SetupDiGetDeviceInstanceIdW(0x10, &, \"\", 1000, &)",
    "SetupDiSetDeviceRegistryPropertyW(0x10, &, 1, &, 28)",
};
const QStringList callsOfRegistration = {
    "SetupDiRegisterDeviceInfo(0x10, &, 0, null, null, null)",
    "SetupDiOpenDevRegKey(0x10, &, 1, 0, 2, 983103)",
    "SetupDiCreateDevRegKeyW(0x10, &, 1, 0, 2, null, null)",
    "RegSetValueExW(0x20, \"AttachedTo\", 0, 1, &, 10)",
    "RegCloseKey(0x20)",
    "SetupDiRegisterDeviceInfo(0x10, &, 0, null, null, null)",
    "SetupDiGetSelectedDriverW(0x10, &, &)",
};
const QStringList callsOfUpdate = {
    "LoadLibraryW(\"newdev.dll\")",
    "GetProcAddress(0x30, \"UpdateDriverForPlugAndPlayDevicesW\")",
    "UpdateDriverForPlugAndPlayDevicesW(null, \"mtkgprsmodem\", "
    "\"C:\\drivers\\modem_inf_64.inf\", 1, &)",
    "FreeLibrary(0x30)",
};
const QString removal = "SetupDiCallClassInstaller(5, 0x10, &)";
const QString destruction = "SetupDiDestroyDeviceInfoList(0x10)";

/// Runs InstallRootEnumeratedDriver for COM5.
bool install(BOOL *rebootRequired)
{
    // Behind the id lies what must become the second NUL, and its neighbour.
    WCHAR hardwareId[] = {'m', 't', 'k', 'g', 'p', 'r', 's', 'm', 'o', 'd', 'e', 'm', 0, 'X', 'Y'};
    static_assert(std::size(hardwareId) == 15, "12 characters, two NULs, one behind");
    const QString portName = "COM5";
    const bool result =
        InstallRootEnumeratedDriver(hardwareId, wide(infPath), wide(portName), rebootRequired);
    if (hardwareId[14] != 'Y')
        qFatal("written beyond the second NUL");
    return result;
}

bool install()
{
    BOOL reboot = false;
    return install(&reboot);
}

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

/// Keeps the codes that the thread's last error is set to. Destroying the
/// device set leaves a code of its own.
class ErrorKeepingMachine : public ScriptedMachine
{
public:
    QList<DWORD> codes;
    int codesAtDestruction = -1;
    static constexpr DWORD destructionError = 77;

    ErrorKeepingMachine()
    {
        SetLastError.wrap([this](auto &next, DWORD code) {
            codes.append(code);
            next(code);
        });
        SetupDiDestroyDeviceInfoList.wrap([this](auto &next, HDEVINFO set) {
            codesAtDestruction = static_cast<int>(codes.size());
            const BOOL destroyed = next(set);
            platform::setLastError(destructionError);
            return destroyed;
        });
    }
};

} // namespace

class ModemInstallationTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init() { m_store->clear(); }

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
    void operationFails_data();
    void operationFails();
    void existingKeyIsLeftOpen();
    void updateFails_data();
    void updateFails();
    void realErrorIsKeptOverTheRemoval();
    void failedWriteIsCarriedOn();

    void registersOnItsOwn();
    void loaderPassesArgumentsAndErrorOn();

    void stepInstallsOnTheFoundPort();
    void secondRunAddsASecondDevice();
    void stepWithoutAPort();
    void stepReadsThePortJustFound();
    void stepFails_data();
    void stepFails();

private:
    std::unique_ptr<TestSettings> m_store;
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
    QCOMPARE(bench.calls().at(2),
             QString("SetupDiCreateDeviceInfoW(0x10, \"Some Class\", &, null, null, 1, &)"));
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
    QCOMPARE(write.type, DWORD{1});
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

// Each operation in turn: what is logged, what is still called, what is left
// open, and which failures count as success.
void ModemInstallationTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("leftOpen");

    const QStringList beforeRegistration = {classRead, setMade, deviceMade, idSet};
    const QStringList end = {removal, destruction};
    const auto registrationFails = [&](int goodLines, const QString &line, DWORD lastError) {
        return QStringList(
            beforeRegistration + registrationLines.mid(0, goodLines) +
            QStringList{errorLine("RegisterModem", line), notAttached, lastErrorLine(lastError)});
    };
    const auto callsOf = [&](int ofRegistration) {
        return QStringList(callsUntilRegistration + callsOfRegistration.mid(0, ofRegistration) +
                           end);
    };
    const DWORD code = 0xE0000235;

    QTest::newRow("class") << "SetupDiGetINFClassW" << 1 << code << false
                           << QStringList{errorLine(plain, "ERROR SetupDiGetINFClass")}
                           << QStringList(callsUntilRegistration.mid(0, 1)) << "";
    QTest::newRow("set") << "SetupDiCreateDeviceInfoList" << 1 << code << false
                         << QStringList{classRead,
                                        errorLine(plain, "ERROR SetupDiCreateDeviceInfoList")}
                         << QStringList(callsUntilRegistration.mid(0, 2)) << "";
    // These two count as success, and nothing is removed.
    QTest::newRow("device") << "SetupDiCreateDeviceInfoW" << 1 << code << true
                            << QStringList{classRead, setMade, errorLine(plain, "CreateDeviceInfo"),
                                           lastErrorLine(code)}
                            << QStringList(callsUntilRegistration.mid(0, 3) +
                                           QStringList{destruction})
                            << "";
    QTest::newRow("hardware id") << "SetupDiSetDeviceRegistryPropertyW" << 1 << code << true
                                 << QStringList{classRead, setMade, deviceMade,
                                                errorLine(plain, "SetDeviceRegistryProperty"),
                                                lastErrorLine(code)}
                                 << QStringList(callsUntilRegistration + QStringList{destruction})
                                 << "";

    QTest::newRow("registration") << "SetupDiRegisterDeviceInfo" << 1 << code << false
                                  << registrationFails(0, "SetupDiRegisterDeviceInfo Device\n",
                                                       code)
                                  << callsOf(1) << "";
    QTest::newRow("key cannot be opened")
        << "SetupDiOpenDevRegKey" << 1 << ErrorAccessDenied << false
        << registrationFails(1, "SetupDiOpenDevRegKey failed", ErrorAccessDenied) << callsOf(2)
        << "";
    QTest::newRow("key cannot be made")
        << "SetupDiCreateDevRegKeyW" << 1 << code << false
        << registrationFails(1, "SetupDiOpenDevRegKey/SetupDiCreateDevRegKey failed: ", code)
        << callsOf(3) << "";
    QTest::newRow("second registration")
        << "SetupDiRegisterDeviceInfo" << 2 << code << false
        << registrationFails(3,
                             "SetupDiRegisterDeviceInfo call for the second time failed(don't know "
                             "why called it :-S. But it is needed.",
                             code)
        << callsOf(6) << "";

    // Results that are not looked at.
    const QStringList allLines = linesUntilUpdate + QStringList{updated, lastErrorLine(0)};
    const QStringList allCalls =
        callsUntilRegistration + callsOfRegistration + callsOfUpdate + QStringList{destruction};
    QStringList linesOfFailedWrite = allLines;
    linesOfFailedWrite.insert(linesOfFailedWrite.indexOf(valueSet),
                              errorLine("RegisterModem", "RegSetValueEx"));
    QTest::newRow("value") << "RegSetValueExW" << 1 << ErrorAccessDenied << true
                           << linesOfFailedWrite << allCalls << "";
    QTest::newRow("close key") << "RegCloseKey" << 1 << ErrorInvalidHandle << true << allLines
                               << allCalls << "1 key";
    QTest::newRow("selected driver") << "SetupDiGetSelectedDriverW" << 1 << ErrorNoDriverSelected
                                     << true << allLines << allCalls << "";
    QTest::newRow("free library") << "FreeLibrary" << 1 << ErrorInvalidHandle << true << allLines
                                  << allCalls << "1 library";
    QTest::newRow("destroy set") << "SetupDiDestroyDeviceInfoList" << 1 << ErrorInvalidHandle
                                 << true << allLines << allCalls << "1 device set";
}

void ModemInstallationTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const DWORD, code);
    QFETCH(const bool, result);
    QFETCH(const QStringList, lines);
    QFETCH(const QStringList, calls);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.fail(operation, code, call);
    QCOMPARE(install(), result);
    QCOMPARE(bench.injector.firedFaults(), 1);
    QStringList logged;
    for (const QString &line : bench.log.lines()) {
        if (!line.startsWith("QString::arg"))
            logged.append(line);
    }
    QCOMPARE(logged, lines);
    QCOMPARE(bench.calls(), calls);
    QCOMPARE(bench.leftOpen(), leftOpen);
    QCOMPARE(bench.machine.removals, calls.contains(removal) ? 1 : 0);
}

// A key that is there belongs to somebody else: the device is removed again,
// the opened key is not closed.
void ModemInstallationTest::existingKeyIsLeftOpen()
{
    Bench<> bench;
    bench.machine.driverKeyExists = true;
    QVERIFY(!install());
    QCOMPARE(bench.log.lines().at(5), errorLine("RegisterModem", "SetupDiOpenDevRegKey failed"));
    QCOMPARE(bench.log.lines().at(6), notAttached);
    QCOMPARE(bench.machine.registryWrites.size(), 0);
    QCOMPARE(bench.machine.removals, 1);
    QCOMPARE(bench.leftOpen(), QString("1 key"));
}

void ModemInstallationTest::updateFails_data()
{
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("text");
    QTest::newRow("2") << DWORD{2} << "2"
                       << "Error is ERROR_FILE_NOT_FOUND";
    QTest::newRow("0xE0000235") << DWORD{0xE0000235} << "3758096949"
                                << "Error is ERROR_IN_WOW64";
    QTest::newRow("1004") << DWORD{1004} << "1004"
                          << "Error is ERROR_INVALID_FLAGS";
    QTest::newRow("0xE000020B") << DWORD{0xE000020B} << "3758096907"
                                << "Error is ERROR_NO_SUCH_DEVINST";
    QTest::newRow("259") << DWORD{259} << "259"
                         << "Error is ERROR_NO_MORE_ITEMS";
    QTest::newRow("5") << DWORD{5} << "5"
                       << "Error is unknown";
    QTest::newRow("0") << DWORD{0} << "0"
                       << "Error is unknown";
}

void ModemInstallationTest::updateFails()
{
    QFETCH(const DWORD, code);
    QFETCH(const QString, number);
    QFETCH(const QString, text);
    Bench<> bench;
    bench.fail("UpdateDriverForPlugAndPlayDevicesW", code);
    QVERIFY(!install());
    QCOMPARE(bench.log.lines(),
             linesUntilUpdate +
                 QStringList({updateFailed, errorLine(plain, quoted("Error code " + number)),
                              errorLine(plain, text), lastErrorLine(code)}));
    QCOMPARE(bench.calls(), callsUntilRegistration + callsOfRegistration + callsOfUpdate +
                                QStringList({removal, destruction}));
    QCOMPARE(bench.leftOpen(), QString());
}

// The removal's own failure, and the set's destruction, are what the thread's
// last error would otherwise come from.
void ModemInstallationTest::realErrorIsKeptOverTheRemoval()
{
    {
        Bench<> bench;
        bench.fail("UpdateDriverForPlugAndPlayDevicesW", 1004);
        bench.fail("SetupDiDestroyDeviceInfoList", 6);
        QVERIFY(!install());
        QCOMPARE(bench.log.lines().last(), lastErrorLine(1004));
        QCOMPARE(bench.leftOpen(), QString("1 device set"));
    }
    Bench<> bench;
    bench.fail("UpdateDriverForPlugAndPlayDevicesW", 1004);
    bench.fail("SetupDiCallClassInstaller", 31);
    QVERIFY(!install());
    QCOMPARE(bench.log.lines().last(), lastErrorLine(31));
    QCOMPARE(bench.machine.removals, 0);
}

// The write's result becomes the thread's error; the kept one is restored
// behind the destruction of the set.
void ModemInstallationTest::failedWriteIsCarriedOn()
{
    Bench<ErrorKeepingMachine> bench;
    bench.fail("RegSetValueExW", ErrorAccessDenied);
    bench.fail("SetupDiRegisterDeviceInfo", 0xE0000217, 2);
    QVERIFY(!install());
    QCOMPARE(bench.log.lines().last(), lastErrorLine(0xE0000217));
    QCOMPARE(bench.machine.registryWrites.size(), 0);
    QVERIFY(bench.machine.codes.contains(ErrorAccessDenied));
    QCOMPARE(bench.machine.codes.mid(bench.machine.codesAtDestruction), QList<DWORD>({0xE0000217}));
    QCOMPARE(bench.leftOpen(), QString());
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
    calls[3] = "RegSetValueExW(0x20, \"AttachedTo\", 0, 1, &, 12)";
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

    bench.fail("UpdateDriverForPlugAndPlayDevicesW", 1004, 2);
    QCOMPARE(UpdateDriverForPlugAndPlayDevicesLoader(nullptr, wide(id), wide(path), 1, nullptr), 0);
    // Freeing the library clears the error on the machine.
    QCOMPARE(bench.machine.GetLastError(), DWORD{1004});
    QCOMPARE(bench.log.lines(), QStringList());
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemInstallationTest::stepInstallsOnTheFoundPort()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    QVERIFY(InstallModem());
    const QString inf =
        QCoreApplication::applicationDirPath().replace('/', '\\') + "\\drivers\\modem_inf_64.inf";
    const QStringList operations = bench.injector.operations();
    // The INF's place, then the search for the port, then the installation.
    QVERIFY(operations.indexOf("GetVersionExW") < operations.indexOf("SetupDiGetClassDevsW"));
    QVERIFY(operations.indexOf("SetupDiDestroyDeviceInfoList") <
            operations.indexOf("SetupDiGetINFClassW"));
    QCOMPARE(bench.log.lines().at(0), messageLine("\"GetModemINFLocation\"", quoted(inf)));
    QCOMPARE(bench.log.lines().at(3),
             messageLine("\"SetCurrentPortSettings\"", "\"port 5 available\""));
    QCOMPARE(QStringList(bench.log.lines().mid(4, linesUntilUpdate.size())), linesUntilUpdate);
    QVERIFY(bench.calls().filter("SetupDiGetINFClassW").first().contains(quoted(inf)));
    QVERIFY(bench.calls()
                .filter("UpdateDriverForPlugAndPlayDevicesW(")
                .first()
                .startsWith("UpdateDriverForPlugAndPlayDevicesW(null, \"mtkgprsmodem\", " +
                            quoted(inf) + ", 1, &)"));
    QCOMPARE(bench.machine.hardwareId.size(), 28);
    QCOMPARE(QSettings().allKeys(), QStringList({"CurrentPort"}));
    QCOMPARE(bench.leftOpen(), QString());
}

// Nothing looks for the device of an earlier run.
void ModemInstallationTest::secondRunAddsASecondDevice()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    for (int run = 1; run <= 2; ++run) {
        QVERIFY(InstallModem());
        QCOMPARE(bench.injector.operations().count("SetupDiCreateDeviceInfoW"), run);
        // Each device is registered twice.
        QCOMPARE(bench.machine.registrations, 2 * run);
        QCOMPARE(bench.machine.registryWrites.size(), run);
    }
    QCOMPARE(bench.machine.removals, 0);
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemInstallationTest::stepWithoutAPort()
{
    Bench<> bench;
    QSettings().setValue("CurrentPort", 5);
    QVERIFY(InstallModem());
    QCOMPARE(bench.machine.registryWrites.first().data, QByteArray("C\0O\0M\0"
                                                                   "0\0\0\0",
                                                                   10));
    QVERIFY(bench.log.lines().contains(
        errorLine(plain, "\"RegisterModem finished. Tried to register it to COM0\"")));
    QCOMPARE(QSettings().value("CurrentPort").toInt(), 0);
}

void ModemInstallationTest::stepReadsThePortJustFound()
{
    Bench<> bench;
    QSettings().setValue("CurrentPort", 5);
    bench.machine.ports = {{"USB Modem Driver (COM256)"}};
    QVERIFY(InstallModem());
    QCOMPARE(bench.machine.registryWrites.first().data.size(), 14);
    QVERIFY(bench.log.lines().contains(
        errorLine(plain, "\"RegisterModem finished. Tried to register it to COM256\"")));
}

void ModemInstallationTest::stepFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("result");
    QTest::newRow("class") << "SetupDiGetINFClassW" << false;
    QTest::newRow("set") << "SetupDiCreateDeviceInfoList" << false;
    QTest::newRow("device") << "SetupDiCreateDeviceInfoW" << true;
    QTest::newRow("hardware id") << "SetupDiSetDeviceRegistryPropertyW" << true;
    QTest::newRow("registration") << "SetupDiRegisterDeviceInfo" << false;
    QTest::newRow("update") << "UpdateDriverForPlugAndPlayDevicesW" << false;
    QTest::newRow("search for the port") << "SetupDiGetClassDevsW" << true;
}

void ModemInstallationTest::stepFails()
{
    QFETCH(const QString, operation);
    QFETCH(const bool, result);
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.fail(operation, ErrorGenFailure);
    QCOMPARE(InstallModem(), result);
    const QString line = errorLine("InstallModem", "InstallRootEnumeratedDriver failed");
    QCOMPARE(bench.log.lines().count(line), result ? 0 : 1);
    if (!result)
        QCOMPARE(bench.log.lines().last(), line);
}

QTEST_GUILESS_MAIN(ModemInstallationTest)
#include "modeminstallation_test.moc"
