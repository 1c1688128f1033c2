// The packaged program's wizard, from the first start to Finish and to the fatal
// boxes.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QTest>

class SetupTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { m_machine.reset(); }

    void firstRunToFinish_data();
    void firstRunToFinish();
    void noPhoneInTheWizard();
    void wizardCancelled();
    void fatalBoxFromAPoolThread_data();
    void fatalBoxFromAPoolThread();

private:
    std::unique_ptr<WineMachine> m_machine;
};

void SetupTest::initTestCase()
{
    m_machine = newMachine("setup");
    m_machine->setWindowsVersion("win7");
}

void SetupTest::firstRunToFinish_data()
{
    QTest::addColumn<bool>("themed");
    QTest::addColumn<int>("entrySize"); // of the system's entry record
    QTest::newRow("themed") << true << 5680;
    // A later release's record may be larger than any that is known.
    QTest::newRow("classic") << false << 7000;
}

void SetupTest::firstRunToFinish()
{
    QFETCH(bool, themed);
    QFETCH(int, entrySize);
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        const QString picture = QString("first-run-") + QTest::currentDataTag();
        machine.setThemed(themed);
        machine.setMachine(machineWithPhone() +
                           QStringList{QString("entrysize %1").arg(entrySize)});
        const WindowId wizard = machine.startUntil(wizardTitle);
        machine.setThemed(true);
        desktop.keepPicture(picture + "-1-welcome");
        QCOMPARE(startSetup(machine), wizard);

        machine.waitForDebug("Successfully created the DIALUP CONNECTION :D :D\n");
        machine.waitForCall("^InstallDriver.exe ");
        // Finish is the default button now, and only now.
        waitFor("The entry of the port",
                [&] { return machine.setting("ports/7") == "TolvaneModem 1"; });
        desktop.keepPicture(picture + "-2-successful");
        desktop.pressIn(wizard, "Return");

        const WindowId window = desktop.waitForWindow(mainTitle);
        desktop.waitForNoWindow(wizardTitle);
        desktop.keepPicture(picture + "-3-main-window");

        const QString difference =
            firstDifference(setupOnly(machine.calls()), setupCalls(machine, entrySize));
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        QCOMPARE(machine.debug(), setupDebug(machine));
        QCOMPARE(machine.setting("NoOfDialups"), QString("1"));
        QCOMPARE(machine.setting("CurrentPort"), QString("7"));
        QCOMPARE(machine.setting("isINFSetupDone"), QString("true"));

        desktop.close(window);
        QCOMPARE(machine.waitForExit(), 0);
        // What the set-up opened it has closed.
        QVERIFY(machine.calls().contains("exit sets none"));
        QVERIFY(machine.calls().contains(leftOpen()));
    });
}

void SetupTest::noPhoneInTheWizard()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        machine.setMachine({"rasdevice modem|MTK GPRS Modem"});
        machine.start();
        const WindowId wizard = startSetup(machine);
        machine.waitForDebug("No ports available");
        waitFor("No port in the settings", [&] { return machine.setting("CurrentPort") == "0"; });
        desktop.keepPicture("no-phone-1-retry");

        // Plugged in, Retry goes on with the search for the port. The page has
        // given it the focus.
        machine.setMachine(machineWithPhone());
        desktop.pressIn(wizard, "space");
        machine.waitForDebug("Successfully created");
        QCOMPARE(machine.calls().filter("SetupCopyOEMInfW").size(), 1);
        desktop.keepPicture("no-phone-2-finish");
    });
}

void SetupTest::wizardCancelled()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        machine.setMachine(machineWithPhone());
        const WindowId wizard = machine.startUntil(wizardTitle);
        desktop.pressUntil(wizard, "Escape", "The program's end",
                           [&] { return machine.hasEnded(); });
        QCOMPARE(machine.waitForExit(), 0);
        QCOMPARE(machine.calls(), QStringList({"exit sets none", leftOpen()}));
        QCOMPARE(machine.settingsText(), QString());
    });
}

void SetupTest::fatalBoxFromAPoolThread_data()
{
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<QString>("title");

    QTest::newRow("devices") << QStringList{"fail RasEnumDevicesW 1 87"}
                             << "Error in Function GetRasDevices";
    QTest::newRow("second query") << QStringList{"fail RasEnumDevicesW 2 87"}
                                  << "Error in Function GetRasDevices";
    QTest::newRow("memory") << QStringList{"fail HeapAlloc 2 8"}
                            << "Error in Function GetRasDevices";
    QTest::newRow("newdev") << QStringList{} << "Error in Function newdev.dll";
}

void SetupTest::fatalBoxFromAPoolThread()
{
    QFETCH(QStringList, failures);
    QFETCH(QString, title);
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        machine.setMachine(machineWithPhone() + failures);
        if (failures.isEmpty())
            machine.setMissingLibraries({"newdev"});
        machine.start();
        startSetup(machine);
        const WindowId box = desktop.waitForWindow(title);
        desktop.keepPicture(QString("fatal-") + QTest::currentDataTag());
        desktop.pressIn(box, "Return");
        QCOMPARE(machine.waitForExit(), 0);
        QCOMPARE(machine.setting("NoOfDialups"), QString());
    });
}

QTEST_GUILESS_MAIN(SetupTest)
#include "setup_test.moc"
