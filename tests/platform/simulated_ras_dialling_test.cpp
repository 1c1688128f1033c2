#include "tests/platform/simulated_ras_fixture.h"

using namespace platform;
using namespace platform::simulated;

/// Dialling in the dial dialog.
class SimulatedRasDiallingTest : public QObject
{
    Q_OBJECT

private slots:
    void dials();
    void asksFirstWhereTheEntryWantsIt_data();
    void asksFirstWhereTheEntryWantsIt();
    void dialsTheEntrysOwnNumber();
    void explainsAFailedDial_data();
    void explainsAFailedDial();
    void dialsAgainAfterAFailure();
    void staysResponsiveAndCancels();
    void endsWithTheProgram();
    void endsWhenThePhoneIsUnplugged();
    void endsWhenThePhoneIsSilent();
    void needsTheCarrier();
    void hangsUpWhatConnectsTooLate();
    void freesAPhoneLeftConnected();
    void refusesToDial();
    void saysWhatIsWrongWithTheEntry();
};

void SimulatedRasDiallingTest::dials()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QString title;
    QString number;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        title = dialog->windowTitle();
        number = dialog->findChild<QLabel *>("numberLabel")->text();
    });
    QVERIFY(result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success));
    QCOMPARE(title, QString("Connect TolvaneModem 1 (simulated)"));
    QCOMPARE(number, QString("*99#"));
    QCOMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#"}));
    const ConnectionList list(pc);
    QCOMPARE(list.names(), QStringList{"TolvaneModem 1"});
    const simulated::Connection connection = machine.state().connections.first();
    QCOMPARE(connection.plugId, phone.plugId());
    QCOMPARE(connection.port, 5);
    QCOMPARE(connection.device, QString("MTK GPRS Modem"));
    // The line is taken now, also for another dial.
    const QString error = errorOfDial(pc);
    QVERIFY2(error.contains("633"), qPrintable(error));
    QCOMPARE(ConnectionList(pc).count, DWORD(1));
}

void SimulatedRasDiallingTest::asksFirstWhereTheEntryWantsIt_data()
{
    QTest::addColumn<DWORD>("option");
    QTest::newRow("user and password") << EntryPreviewUserPassword;
    QTest::newRow("phone number") << EntryPreviewPhoneNumber;
}

void SimulatedRasDiallingTest::asksFirstWhereTheEntryWantsIt()
{
    QFETCH(DWORD, option);
    ReadyMachine machine;
    machine.change([option](simulated::MachineState &state) {
        RasEntry entry = entryFromJson(state.phonebook["TolvaneModem 1"]);
        entry.dwfOptions |= option;
        state.phonebook["TolvaneModem 1"] = entryToJson(entry);
    });
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QString asked;
    QVERIFY(dial(pc, [&](QDialog *dialog) {
                asked = status(dialog);
                dialButton(dialog)->click();
            }).connected);
    QCOMPARE(asked, QString("Press Dial to connect."));
    QCOMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#"}));
}

void SimulatedRasDiallingTest::dialsTheEntrysOwnNumber()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*98#", "\r\nCONNECT\r\n");
    QVERIFY(dial(pc, {}, "TolvaneModem 1", "").connected);
    QCOMPARE(phone.commands().last(), QString("ATD*98#"));
}

void SimulatedRasDiallingTest::explainsAFailedDial_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    const QString dialling = "ATD*99#";
    QTest::newRow("no carrier") << dialling << QByteArray("\r\nNO CARRIER\r\n") << 678 << "answer";
    QTest::newRow("no answer") << dialling << QByteArray("\r\nNO ANSWER\r\n") << 678 << "answer";
    QTest::newRow("busy") << dialling << QByteArray("\r\nBUSY\r\n") << 676 << "busy";
    QTest::newRow("no tone") << dialling << QByteArray("\r\nNO DIALTONE\r\n") << 680 << "tone";
    QTest::newRow("error") << dialling << QByteArray("\r\nERROR\r\n") << 692 << "failure";
    QTest::newRow("echoed") << dialling << QByteArray("ATD*99#\r\r\n+CME ERROR: 30\r\n") << 692
                            << "failure";
    QTest::newRow("no reset") << "ATZ" << QByteArray("ATZ\r\r\nERROR\r\n") << 692 << "failure";
}

void SimulatedRasDiallingTest::explainsAFailedDial()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, answer);
    QFETCH(int, code);
    QFETCH(QString, words);
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer(command, answer);
    QString error;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        error = waitForError(dialog);
        cancelButton(dialog)->click();
    });
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(code));
    QVERIFY2(error.startsWith(QString("Error %1: ").arg(code)), qPrintable(error));
    QVERIFY2(error.contains(words), qPrintable(error));
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
}

void SimulatedRasDiallingTest::dialsAgainAfterAFailure()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "\r\nNO CARRIER\r\n");
    QString error;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        error = waitForError(dialog);
        phone.setAnswer("ATD*99#", "\r\nCONNECT\r\n");
        dialButton(dialog)->click();
    });
    QVERIFY2(error.contains("678"), qPrintable(error));
    QVERIFY(result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success));
}

void SimulatedRasDiallingTest::staysResponsiveAndCancels()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "");
    bool dialling = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        dialling = QTest::qWaitFor([&] { return status(dialog) == "Dialling *99#..."; });
        cancelButton(dialog)->click();
    });
    QVERIFY(dialling);
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success)); // nothing failed
    // The attempt was broken off and the port is free.
    QTRY_COMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#", ""}));
    const QString path = "\\\\.\\COM5";
    QVERIFY(pc.CreateFileW(wide(path), GenericRead | GenericWrite, 0, nullptr, OpenExisting,
                           FileFlagOverlapped, nullptr) != invalidHandle());
}

void SimulatedRasDiallingTest::endsWithTheProgram()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "");
    bool dialling = false;
    DialResult result;
    QTimer::singleShot(0, this, [&] {
        result = dial(pc, [&](QDialog *dialog) {
            dialling = QTest::qWaitFor([&] { return status(dialog) == "Dialling *99#..."; });
            QCoreApplication::exit(2);
        });
    });
    QCOMPARE(QApplication::exec(), 2);
    QVERIFY(dialling);
    QVERIFY(!result.connected);
    QTRY_COMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#", ""}));
}

void SimulatedRasDiallingTest::endsWhenThePhoneIsUnplugged()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "");
    QString error;
    bool dialling = false;
    dial(pc, [&](QDialog *dialog) {
        dialling = QTest::qWaitFor([&] { return status(dialog).startsWith("Dialling"); });
        phone.unplug();
        error = waitForError(dialog);
        cancelButton(dialog)->click();
    });
    QVERIFY(dialling);
    QVERIFY2(error.contains("692"), qPrintable(error));
    error = errorOfDial(pc);
    QVERIFY2(error.contains("633"), qPrintable(error));
}

void SimulatedRasDiallingTest::endsWhenThePhoneIsSilent()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    machine.change([](simulated::MachineState &state) { state.answerTimeoutMs = 100; });
    phone.setAnswer("ATD*99#", "");
    QString error = errorOfDial(pc);
    QVERIFY2(error.contains("678"), qPrintable(error));
    phone.setAnswer("ATZ", "");
    error = errorOfDial(pc);
    QVERIFY2(error.contains("692"), qPrintable(error));
}

void SimulatedRasDiallingTest::needsTheCarrier()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.raisesCarrier = false;
    QString error;
    bool verifying = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        verifying = QTest::qWaitFor([&] { return status(dialog).startsWith("Verifying"); });
        error = waitForError(dialog);
        cancelButton(dialog)->click();
    });
    QVERIFY(verifying);
    QVERIFY(!result.connected);
    QVERIFY2(error.contains("678"), qPrintable(error));
}

// Whoever gives up must not be left with a connection that nobody shows.
void SimulatedRasDiallingTest::hangsUpWhatConnectsTooLate()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.raisesCarrier = false;
    ScriptedPhone other(machine.directory(), 2, "USB Modem Driver");
    other.publish(true);
    machine.addConnection(other.plugId(), "Another entry", 6);
    bool verifying = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        verifying = QTest::qWaitFor([&] { return status(dialog).startsWith("Verifying"); });
        cancelButton(dialog)->click();
        phone.publish(true);
    });
    QVERIFY(verifying);
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success));
    QCOMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#", "+++", "ATH"}));
    QCOMPARE(ConnectionList(pc).names(), QStringList("Another entry"));
}

void SimulatedRasDiallingTest::freesAPhoneLeftConnected()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true); // in data state, with no connection known
    QVERIFY(dial(pc).connected);
    QCOMPARE(phone.commands(), QStringList({"+++", "ATH", "ATZ", "ATD*99#"}));
}

void SimulatedRasDiallingTest::refusesToDial()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    QString entry = "TolvaneModem 1";
    auto *name = reinterpret_cast<WCHAR *>(entry.data());
    RasDialDialog info = {};
    const auto refusal = [&](WCHAR *book, WCHAR *which) {
        return pc.RasDialDlgW(book, which, nullptr, &info) ? 0 : info.dwError;
    };
    QCOMPARE(refusal(nullptr, name), DWORD(RasErrorInvalidSize));
    info.dwSize = RasDialDialogSize;
    QCOMPARE(refusal(name, name), DWORD(RasErrorCannotOpenPhonebook));
    QCOMPARE(refusal(nullptr, nullptr), DWORD(ErrorInvalidParameter));
    info.dwFlags = 1;
    QCOMPARE(refusal(nullptr, name), DWORD(ErrorNotSupported));
    info.dwFlags = 0;
    DWORD code = 0;
    std::thread thread([&] { code = refusal(nullptr, name); });
    thread.join();
    QCOMPARE(code, DWORD(ErrorNotSupported));
    QVERIFY(!pc.RasDialDlgW(nullptr, name, nullptr, nullptr));
}

void SimulatedRasDiallingTest::saysWhatIsWrongWithTheEntry()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = true; });
    QString error = errorOfDial(pc);
    QVERIFY2(error.startsWith("Error 621: "), qPrintable(error));
    machine.change([](simulated::MachineState &state) {
        state.phonebookDamaged = false;
        state.devices.clear();
    });
    error = errorOfDial(pc);
    QVERIFY2(error.startsWith("Error 633: "), qPrintable(error));
    machine.change([](simulated::MachineState &state) { state.phonebook.clear(); });
    error = errorOfDial(pc);
    QVERIFY2(error.startsWith("Error 623: "), qPrintable(error));
}

QTEST_MAIN(SimulatedRasDiallingTest)
#include "simulated_ras_dialling_test.moc"
