#include "platform/standin/lasterror.h"
#include "tests/install/modeminstallationfixture.h"

#include <QTest>

using namespace platform;

namespace {

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

class ModemInstallationFailuresTest : public QObject
{
    Q_OBJECT

private slots:
    void operationFails_data();
    void operationFails();
    void existingKeyIsLeftOpen();
    void updateFails_data();
    void updateFails();
    void realErrorIsKeptOverTheRemoval();
    void failedWriteIsCarriedOn();
};

// Each operation in turn: what is logged, what is still called, what is left
// open, and which failures count as success.
void ModemInstallationFailuresTest::operationFails_data()
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

void ModemInstallationFailuresTest::operationFails()
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
void ModemInstallationFailuresTest::existingKeyIsLeftOpen()
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

void ModemInstallationFailuresTest::updateFails_data()
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

void ModemInstallationFailuresTest::updateFails()
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
void ModemInstallationFailuresTest::realErrorIsKeptOverTheRemoval()
{
    {
        Bench<> bench;
        bench.fail("UpdateDriverForPlugAndPlayDevicesW", ErrorInvalidFlags);
        bench.fail("SetupDiDestroyDeviceInfoList", ErrorInvalidHandle);
        QVERIFY(!install());
        QCOMPARE(bench.log.lines().last(), lastErrorLine(ErrorInvalidFlags));
        QCOMPARE(bench.leftOpen(), QString("1 device set"));
    }
    Bench<> bench;
    bench.fail("UpdateDriverForPlugAndPlayDevicesW", ErrorInvalidFlags);
    bench.fail("SetupDiCallClassInstaller", ErrorGenFailure);
    QVERIFY(!install());
    QCOMPARE(bench.log.lines().last(), lastErrorLine(ErrorGenFailure));
    QCOMPARE(bench.machine.removals, 0);
}

// The write's result becomes the thread's error; the kept one is restored
// behind the destruction of the set.
void ModemInstallationFailuresTest::failedWriteIsCarriedOn()
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

QTEST_GUILESS_MAIN(ModemInstallationFailuresTest)
#include "modeminstallation_failures_test.moc"
