// The check of the recorded calls itself: it accepts what the program does and
// finds every call that is made wrongly.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QRegularExpression>
#include <QTest>

class DoublesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_machine = newMachine("doubles"); }
    void cleanupTestCase() { m_machine.reset(); }
    void findsTheBrokenCall_data();
    void findsTheBrokenCall();

private:
    std::unique_ptr<WineMachine> m_machine;
};

void DoublesTest::findsTheBrokenCall_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("complaint");

    QTest::newRow("nothing broken") << ""
                                    << "";
    QTest::newRow("a flag") << "flag"
                            << "SetupDiGetClassDevsW class=Ports .* flags=0";
    QTest::newRow("a size") << "size"
                            << "RasSetEntryPropertiesW .* size=4048";
    QTest::newRow("a text") << "text"
                            << "RasSetEntryPropertiesW .* type=\"RASDT\"";
    QTest::newRow("memory that is not zeroed") << "zero"
                                               << "RasGetEntryPropertiesW .* rest=NOT-ZERO";
    QTest::newRow("bytes of a registry value") << "bytes"
                                               << "RegSetValueExW .* bytes=8";
    QTest::newRow("a key left open") << "open-key"
                                     << "SetupDiRegisterDeviceInfo .* key=open";
    QTest::newRow("handles left open") << "open-process"
                                       << "missing: |CloseHandle";
    QTest::newRow("a command line") << "command-line"
                                    << "commandLine=\"InstallDriver\"";
    QTest::newRow("something behind a text") << "behind"
                                             << "commandLine=\"InstallDriver -a\" behind=NOT-ZERO";
    QTest::newRow("the order") << "order"
                               << "line 1\n";
}

void DoublesTest::findsTheBrokenCall()
{
    QFETCH(QString, what);
    QFETCH(QString, complaint);
    asExpected([&] {
        m_machine->reset();
        m_machine->setMachine(machineWithPhone());
        m_machine->run(m_machine->folder() + "\\setup-steps.exe",
                       what.isEmpty() ? QStringList() : QStringList{what});
        m_machine->keepLogs(QTest::currentDataTag());
    });

    QStringList complaints = wrongCalls(m_machine->calls());
    const QStringList recorded = setupOnly(m_machine->calls());
    const QString difference = firstDifference(recorded, setupCalls(*m_machine));
    if (!difference.isEmpty())
        complaints.append(difference);

    if (what.isEmpty()) {
        QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join('\n')));
        return;
    }
    QVERIFY2(!complaints.isEmpty(), "the broken call was not noticed");
    QVERIFY2(complaints.join('\n').contains(QRegularExpression(complaint)),
             qPrintable(complaints.join('\n')));
}

QTEST_GUILESS_MAIN(DoublesTest)
#include "doubles_test.moc"
