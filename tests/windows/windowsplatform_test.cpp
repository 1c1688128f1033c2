// Every operation of platform/windows, called once under Wine: platform-calls
// makes the calls and looks at results, records and codes; what the doubles
// recorded of them is held against its form here.

#include "tests/windows/phoneonport.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QTest>

#include <cstdio>

class WindowsPlatformTest : public QObject
{
    Q_OBJECT

private slots:
    void forwardsEveryOperation();
};

void WindowsPlatformTest::forwardsEveryOperation()
{
    const std::unique_ptr<WineMachine> windows = newMachine("windowsplatform");
    onMachine(*windows, [](WineMachine &machine) {
        PhoneOnPort phone(machine);
        phone.plugIn();
        QString output;
        const int failed = machine.run(machine.folder() + "\\platform-calls.exe", {}, &output);
        // Its own report tells more than the messages of this one can hold.
        if (failed != 0)
            std::fputs(qPrintable(output), stderr);
        QCOMPARE(failed, 0);
        QVERIFY(output.contains(", 0 failed, 0 skipped"));
        // The doubles were there to the end, and the installer was really started.
        QVERIFY(!machine.calls().filter("exit sets").isEmpty());
        machine.waitForCall("^InstallDriver.exe ");
    });
}

QTEST_GUILESS_MAIN(WindowsPlatformTest)
#include "windowsplatform_test.moc"
