// The packaged operators' window and command, and the main program with what
// they have stored.

#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>

namespace {

const char operatorsTitle[] = "Tolvane Mobile Operators";

} // namespace

class OperatorChoiceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup() { m_phone->unplug(); }

    void chosenInTheWindowAndDialled();
    void commandPrintsAndAnswers();
    void textsTravel();
    void presetsForEveryone();
    void commandStartsTheWindow();

private:
    /// Runs the command; its exit code. What it printed is in m_output.
    int command(const QStringList &arguments)
    {
        return m_machine->run(m_machine->folder() + "\\tolvane-operators.exe", arguments,
                              &m_output);
    }

    std::unique_ptr<WineMachine> m_machine;
    std::unique_ptr<PhoneOnPort> m_phone;
    QString m_output;
};

void OperatorChoiceTest::initTestCase()
{
    m_machine = newMachine("operatorchoice");
    m_phone = std::make_unique<PhoneOnPort>(*m_machine);
    m_machine->setWindowsVersion("win7");
}

void OperatorChoiceTest::cleanupTestCase()
{
    m_phone.reset();
    m_machine.reset();
}

void OperatorChoiceTest::chosenInTheWindowAndDialled()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        // As after the first set-up: no operator was chosen yet.
        machine.setSettings({{"CurrentPort", "7"},
                             {"NoOfDialups", "1"},
                             {"isINFSetupDone", "true"},
                             {"ports/7", "TolvaneModem 1"}});
        machine.setMachine(machineWithPhone() + QStringList{"dial ask"});
        const QString program = machine.folder() + "\\TolvaneOperators.exe";
        const WindowId window = machine.startUntil(operatorsTitle, program);
        desktop.keepPicture("operators-1-started");
        desktop.pressIn(window, {"n", "i", "g", "e", "r", "i", "a", "space", "m", "t", "n"});
        desktop.press({"Down", "space"});
        desktop.keepPicture("operators-2-chosen");
        desktop.pressUntil(window, "alt+v", "The stored list", [&machine] {
            return machine.settingsText().contains("MobileOperators=@Variant(");
        });
        desktop.keepPicture("operators-3-saved");
        QCOMPARE(machine.setting("ports/7"), QString("TolvaneModem 1"));
        desktop.close(window);
        QCOMPARE(machine.waitForExit(), 0);

        m_phone->plugIn();
        desktop.pressUntil(machine.startUntil(mainTitle), "ctrl+c", "A dial", [&machine] {
            return machine.debug().contains("is successfully reconfigured.");
        });
        const WindowId dialog = desktop.waitForWindow("Connect TolvaneModem 1");
        QCOMPARE(
            m_phone->bytesFromPc(),
            QStringList({"AT\\r", "AT+CGDCONT=1,\\\"IP\\\",\\\"web.gprs.mtnnigeria.net\\\"\\r"}));
        desktop.pressIn(dialog, "Return");
        desktop.waitForNoWindow("Connect TolvaneModem 1");
        QCOMPARE(machine.connections(), QStringList("TolvaneModem 1"));
        desktop.keepPicture("operators-4-connected");
        QCOMPARE(machine.setting("CurrentMobileOperator"), QString("MTN"));
    });
}

void OperatorChoiceTest::commandPrintsAndAnswers()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        QCOMPARE(command({"--country", "de", "--list"}), 0);
        QVERIFY2(m_output.startsWith("# Germany\n"), qPrintable(m_output));
        QVERIFY(m_output.contains("\nVodafone = web.vodafone.de\n"));
        QCOMPARE(command({"--set", "--add", "My \"own\" one = own.net", "--list"}), 0);
        QCOMPARE(m_output, QString("My \"own\" one = own.net\n"));
        QVERIFY(machine.settingsText().contains("MobileOperators=@Variant("));
        QCOMPARE(command({"--add", "nothing"}), 2);
        QVERIFY(m_output.startsWith("tolvane-operators: --add \"nothing\": "));
        QCOMPARE(command({"--import", "C:\\nowhere.txt"}), 1);
        QVERIFY(m_output.startsWith("tolvane-operators: C:\\nowhere.txt cannot be read: "));
    });
}

void OperatorChoiceTest::textsTravel()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        const QString name = QString::fromUtf8("Café موبايلي");
        QCOMPARE(command({"--set", "--add", name + "=cafe.net", "--export", "C:\\list.txt"}), 0);
        QFile file(machine.driveC() + "/list.txt");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), name + " = cafe.net\r\n");
        file.remove();
        QCOMPARE(command({"--list"}), 0);
        QCOMPARE(m_output, name + " = cafe.net\n");
    });
}

void OperatorChoiceTest::presetsForEveryone()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        QCOMPARE(command({"--system", "--country", "br", "--set"}), 0);
        const QString folder = machine.hostFolder() + "/settings/Brantiq Developer Network";
        QVERIFY(QFile::exists(folder + "/Tolvane Modem Connector.ini"));
        QVERIFY(machine.settingsText().isEmpty());
        QCOMPARE(command({"--list"}), 0);
        QVERIFY2(m_output.contains("Vivo = zap.vivo.com.br\n"), qPrintable(m_output));
        QVERIFY(QDir(folder).removeRecursively());
    });
}

void OperatorChoiceTest::commandStartsTheWindow()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        QCOMPARE(command({}), 0);
        const WindowId window =
            machine.desktop.waitForWindow(operatorsTitle, WineMachine::StartPatience);
        machine.desktop.close(window);
    });
}

QTEST_GUILESS_MAIN(OperatorChoiceTest)
#include "operatorchoice_test.moc"
