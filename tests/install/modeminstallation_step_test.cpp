#include "install/installationsteps.h"
#include "tests/install/modeminstallationfixture.h"
#include "tests/support/testsettings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTest>

#include <memory>

using namespace platform;

class ModemInstallationStepTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init() { m_store->clear(); }

    void stepInstallsOnTheFoundPort();
    void secondRunAddsASecondDevice();
    void stepWithoutAPort();
    void stepReadsThePortJustFound();
    void stepFails_data();
    void stepFails();

private:
    std::unique_ptr<TestSettings> m_store;
};

void ModemInstallationStepTest::stepInstallsOnTheFoundPort()
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
void ModemInstallationStepTest::secondRunAddsASecondDevice()
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

void ModemInstallationStepTest::stepWithoutAPort()
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

void ModemInstallationStepTest::stepReadsThePortJustFound()
{
    Bench<> bench;
    QSettings().setValue("CurrentPort", 5);
    bench.machine.ports = {{"USB Modem Driver (COM256)"}};
    QVERIFY(InstallModem());
    QCOMPARE(bench.machine.registryWrites.first().data.size(), 14);
    QVERIFY(bench.log.lines().contains(
        errorLine(plain, "\"RegisterModem finished. Tried to register it to COM256\"")));
}

void ModemInstallationStepTest::stepFails_data()
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

void ModemInstallationStepTest::stepFails()
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

QTEST_GUILESS_MAIN(ModemInstallationStepTest)
#include "modeminstallation_step_test.moc"
