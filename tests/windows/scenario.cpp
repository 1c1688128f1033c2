#include "tests/windows/scenario.h"

#include "tests/windows/callcheck.h"
#include "tests/windows/winemachine.h"

#include <QTest>

namespace {

QString nameOfTheCase()
{
    const char *row = QTest::currentDataTag();
    return QTest::currentTestFunction() + (row ? QString("-") + row : QString());
}

void endCase(WineMachine &machine)
{
    if (QTest::currentTestFailed())
        machine.desktop.keepPicture(nameOfTheCase() + "-failed");
    machine.stop();
    machine.keepLogs(nameOfTheCase());
    const QStringList wrong = wrongCalls(machine.allCalls());
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
}

} // namespace

std::unique_ptr<WineMachine> newMachine(const QString &artefacts)
{
    try {
        return std::make_unique<WineMachine>(artefacts);
    } catch (const NotAsExpected &error) {
        qFatal("%s", error.what());
    }
    return nullptr;
}

void asExpected(const std::function<void()> &body)
{
    try {
        body();
    } catch (const NotAsExpected &error) {
        QFAIL(error.what());
    }
}

void onMachine(WineMachine &machine, const std::function<void(WineMachine &)> &body)
{
    asExpected([&] {
        machine.reset();
        try {
            body(machine);
        } catch (const NotAsExpected &error) {
            throw NotAsExpected(
                QString("%1\n%2\nThe program's log:\n%3")
                    .arg(QString::fromUtf8(error.what()), machine.fate(), machine.debug()));
        }
    });
    asExpected([&] { endCase(machine); });
}
