#include "platform/simulated/dialdialog.h"
#include "platform/simulated/entryrecord.h"
#include "platform/simulated/usbbus.h"
#include "tests/platform/simulated_fixture.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <cstring>

using namespace platform;
using namespace platform::simulated;

namespace {

RootDevice modem(const QString &name = "MTK GPRS Modem", const QString &port = "COM5")
{
    RootDevice device;
    device.instanceId = "ROOT\\MODEM\\" + name;
    device.className = "Modem";
    device.friendlyName = name;
    device.driverInf = "oem0.inf";
    device.hasDriverKey = true;
    device.driverKey["AttachedTo"] = port;
    return device;
}

/// A machine with its port driver, a modem and an entry for it.
class ReadyMachine : public TestMachine
{
public:
    ReadyMachine()
    {
        change([](simulated::MachineState &state) {
            state.portDriverInstalled = true;
            state.devices += modem();
            RasEntry entry = simulated::defaultEntry();
            copyToBuffer("MTK GPRS Modem", entry.szDeviceName, 129);
            copyToBuffer("*98#", entry.szLocalPhoneNumber, 129);
            state.phonebook["TolvaneModem 1"] = simulated::entryToJson(entry);
        });
    }

    void addConnection(const QString &plugId, const QString &entry = "TolvaneModem 1")
    {
        change([&](simulated::MachineState &state) {
            simulated::Connection connection;
            connection.handle = state.nextConnection++;
            connection.entry = entry;
            connection.device = "MTK GPRS Modem";
            connection.plugId = plugId;
            connection.port = 5;
            state.connections += connection;
        });
    }
};

/// The records as the program asks for them: room for 100, only the first size.
struct ConnectionList {
    explicit ConnectionList(SimulatedPc &pc)
    {
        records[0].dwSize = RasConnectionSize;
        size = sizeof records;
        result = pc.RasEnumConnectionsW(records, &size, &count);
    }
    QStringList names() const
    {
        QStringList list;
        for (DWORD i = 0; i < count; ++i)
            list += fromField(records[i].szEntryName);
        return list;
    }
    RasConnection records[100] = {};
    DWORD size = 0;
    DWORD count = 0;
    DWORD result = 0;
};

struct DialResult {
    BOOL connected = 0;
    RasDialDialog info = {};
};

/// Calls RasDialDlgW; `play` runs once its dialog is there.
DialResult dial(SimulatedPc &pc, const std::function<void(QDialog *)> &play,
                QString entry = "TolvaneModem 1", QString number = "*99#")
{
    DialResult result;
    result.info.dwSize = RasDialDialogSize;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        timer.stop();
        play(dialog);
    });
    timer.start(1);
    result.connected = pc.RasDialDlgW(nullptr, reinterpret_cast<WCHAR *>(entry.data()),
                                      reinterpret_cast<WCHAR *>(number.data()), &result.info);
    return result;
}

void click(QDialog *dialog, const char *name)
{
    QTest::mouseClick(dialog->findChild<QPushButton *>(name), Qt::LeftButton);
}

QString status(QDialog *dialog)
{
    return dialog->findChild<QLabel *>("statusLabel")->text();
}

/// Waits for the dialog's error, which it returns, and cancels.
QString errorOf(QDialog *dialog)
{
    const bool failed = QTest::qWaitFor([dialog] { return status(dialog).startsWith("Error"); });
    const QString text = failed ? status(dialog) : "no error: " + status(dialog);
    click(dialog, "cancelButton");
    return text;
}

} // namespace

class SimulatedRasTest : public QObject
{
    Q_OBJECT

private slots:
    void listsDevices();
    void checksTheSizesOfTheDeviceList();
    void givesDefaultProperties();
    void storesAnEntry();
    void refusesEntryProperties();
    void keepsEveryFieldOfAnEntry();
    void listsConnections();
    void fillsOnlyTheDeclaredRecord();
    void checksTheSizesOfTheConnectionList();
    void dropsConnectionsOfPhonesThatAreGone();
    void dials();
    void dialsTheEntrysOwnNumber();
    void explainsAFailedDial_data();
    void explainsAFailedDial();
    void dialsAgainAfterAFailure();
    void staysResponsiveAndCancels();
    void breaksOffWithEscape();
    void endsWhenThePhoneIsUnplugged();
    void endsWhenThePhoneIsSilent();
    void needsTheCarrier();
    void freesAPhoneLeftConnected();
    void refusesToDial();
    void dialsWithTheKeyboard();
    void hangsUp();
    void hangsUpASilentPhone();
    void refusesToHangUp();
};

void SimulatedRasTest::listsDevices()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    machine.change([](simulated::MachineState &state) {
        state.devices += modem();
        state.devices += modem("MTK GPRS Modem #2");
        RootDevice bare = modem("No driver");
        bare.driverInf.clear();
        state.devices += bare;
    });
    DWORD size = 0;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumDevicesW(nullptr, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(3 * 296));
    std::vector<RasDeviceInfo> devices(3);
    devices[0].dwSize = RasDeviceInfoSize;
    QCOMPARE(pc.RasEnumDevicesW(devices.data(), &size, &count), DWORD(Success));
    QCOMPARE(count, DWORD(3));
    QStringList names;
    for (const RasDeviceInfo &device : devices)
        names += fromField(device.szDeviceType) + ":" + fromField(device.szDeviceName);
    QCOMPARE(names, QStringList({"vpn:WAN Miniport (L2TP)", "modem:MTK GPRS Modem",
                                 "modem:MTK GPRS Modem #2"}));
}

void SimulatedRasTest::checksTheSizesOfTheDeviceList()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    RasDeviceInfo device = {};
    DWORD size = sizeof device;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumDevicesW(&device, &size, &count), DWORD(RasErrorInvalidSize));
    device.dwSize = RasDeviceInfoSize;
    size = 295;
    QCOMPARE(pc.RasEnumDevicesW(&device, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(296));
    QCOMPARE(count, DWORD(1));
    QCOMPARE(pc.RasEnumDevicesW(&device, &size, &count), DWORD(Success));
    QCOMPARE(pc.RasEnumDevicesW(&device, nullptr, &count), DWORD(ErrorInvalidParameter));
    QCOMPARE(pc.RasEnumDevicesW(&device, &size, nullptr), DWORD(ErrorInvalidParameter));
}

void SimulatedRasTest::givesDefaultProperties()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    const QString name;
    DWORD size = 0;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), nullptr, &size, nullptr, nullptr),
             DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(5616));
    QByteArray block(int(size), '\xEE');
    auto *entry = reinterpret_cast<RasEntry *>(block.data());
    entry->dwSize = RasEntrySize;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(size, DWORD(5616));
    QCOMPARE(entry->dwSize, DWORD(4048));
    QVERIFY(entry->dwfOptions & EntryPreviewUserPassword);
    QVERIFY(entry->dwfOptions & EntryPreviewPhoneNumber);
    QCOMPARE(fromField(entry->szDeviceType), QString("modem"));
    QVERIFY(fromField(entry->szDeviceName).isEmpty());
    QCOMPARE(block.at(4048), '\xEE'); // behind the declared record
    entry->dwSize = 5616;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(block.at(4048), '\0');
    entry->dwSize = 4000;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorInvalidSize));
    entry->dwSize = RasEntrySize;
    size = 4047;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(5616));
    const QString unknown = "No such entry";
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(unknown), entry, &size, nullptr, nullptr),
             DWORD(RasErrorEntryNotFound));
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, nullptr, entry, &size, nullptr, nullptr),
             DWORD(ErrorInvalidParameter));
    QCOMPARE(pc.RasGetEntryPropertiesW(wide(unknown), wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorCannotOpenPhonebook));
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = true; });
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorCannotOpenPhonebook));
}

void SimulatedRasTest::storesAnEntry()
{
    TestMachine machine;
    const QString name = "TolvaneModem 1";
    {
        SimulatedPc pc(machine.directory());
        RasEntry entry = simulated::defaultEntry();
        entry.dwSize = RasEntrySize;
        copyToBuffer("MTK GPRS Modem", entry.szDeviceName, 129);
        copyToBuffer("*99#", entry.szLocalPhoneNumber, 129);
        std::memset(entry.szDeviceType, 0, sizeof entry.szDeviceType);
        copyToBuffer("RASDT_Modem", entry.szDeviceType, 17);
        entry.dwfOptions &= ~(EntryPreviewUserPassword | EntryPreviewPhoneNumber);
        QCOMPARE(pc.RasSetEntryPropertiesW(nullptr, wide(name), &entry, 5616, nullptr, 0),
                 DWORD(Success));
    }
    SimulatedPc restarted(machine.directory());
    RasEntry read = {};
    read.dwSize = RasEntrySize;
    DWORD size = sizeof read;
    QCOMPARE(restarted.RasGetEntryPropertiesW(nullptr, wide(name), &read, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(fromField(read.szDeviceType), QString("RASDT_Modem"));
    QCOMPARE(fromField(read.szDeviceName), QString("MTK GPRS Modem"));
    QCOMPARE(fromField(read.szLocalPhoneNumber), QString("*99#"));
    QCOMPARE(read.dwfOptions, DWORD(0x04000110));
}

void SimulatedRasTest::refusesEntryProperties()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    RasEntry good = simulated::defaultEntry();
    good.dwSize = RasEntrySize;
    copyToBuffer("MTK GPRS Modem", good.szDeviceName, 129);
    copyToBuffer("*99#", good.szLocalPhoneNumber, 129);
    const auto set = [&](RasEntry *entry, const QString &name = "Entry", DWORD size = 5616) {
        return pc.RasSetEntryPropertiesW(nullptr, wide(name), entry, size, nullptr, 0);
    };
    QCOMPARE(set(nullptr), DWORD(RasErrorInvalidBuffer));
    RasEntry bad = good;
    bad.dwSize = 4047;
    QCOMPARE(set(&bad), DWORD(RasErrorInvalidSize));
    bad.dwSize = 0;
    QCOMPARE(set(&bad), DWORD(ErrorInvalidParameter));
    QCOMPARE(set(&good, "Entry", 4047), DWORD(RasErrorInvalidBuffer));
    bad = good;
    bad.szLocalPhoneNumber[0] = 0;
    QCOMPARE(set(&bad), DWORD(ErrorInvalidParameter));
    bad = good;
    bad.szDeviceName[0] = 0;
    QCOMPARE(set(&bad), DWORD(ErrorInvalidParameter));
    QCOMPARE(set(&good, ""), DWORD(123));
    QCOMPARE(set(&good, QString(257, 'x')), DWORD(123));
    BYTE block = 0;
    const QString name = "Entry";
    QCOMPARE(pc.RasSetEntryPropertiesW(nullptr, wide(name), &good, 4048, &block, 1),
             DWORD(ErrorNotSupported));
    QCOMPARE(pc.RasSetEntryPropertiesW(wide(name), wide(name), &good, 4048, nullptr, 0),
             DWORD(RasErrorCannotOpenPhonebook));
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = true; });
    QCOMPARE(set(&good), DWORD(RasErrorCannotOpenPhonebook));
    machine.setAdministrator(false);
    QCOMPARE(set(&good), DWORD(ErrorAccessDenied));
    QVERIFY(machine.state().phonebook.isEmpty());
    machine.change([](simulated::MachineState &state) {
        state.phonebookDamaged = false;
        state.administrator = true;
    });
    QCOMPARE(set(&good), DWORD(Success));
}

void SimulatedRasTest::keepsEveryFieldOfAnEntry()
{
    // Every byte of the record different from a default and from its neighbours,
    // apart from the padding, the size and the fields' last, unused unit.
    RasEntry entry = {};
    auto *units = reinterpret_cast<WCHAR *>(&entry);
    for (std::size_t i = 0; i < sizeof entry / sizeof(WCHAR); ++i)
        units[i] = static_cast<WCHAR>(0x100 + i % 0x3000);
    const QJsonObject json = simulated::entryToJson(entry);
    QCOMPARE(json.size(), 26 + 12 + 1);
    const RasEntry read = simulated::entryFromJson(json);
    QCOMPARE(simulated::entryToJson(read).value("szDeviceName").toString().size(), 128);
    QCOMPARE(read.dwVpnStrategy, entry.dwVpnStrategy);
    QVERIFY(read.guidId == entry.guidId);
    for (const QString &field : json.keys()) {
        const QJsonValue again = simulated::entryToJson(read).value(field);
        if (again.isString())
            QVERIFY2(json.value(field).toString().startsWith(again.toString()), qPrintable(field));
        else
            QCOMPARE(again, json.value(field));
    }
}

void SimulatedRasTest::listsConnections()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ConnectionList none(pc);
    QCOMPARE(none.result, DWORD(Success));
    QCOMPARE(none.count, DWORD(0));
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId(), "first");
    machine.addConnection(phone.plugId(), "second");
    const ConnectionList two(pc);
    QCOMPARE(two.result, DWORD(Success));
    QCOMPARE(two.names(), QStringList({"first", "second"}));
    QCOMPARE(two.size, DWORD(2 * 1360));
    QCOMPARE(two.records[1].dwSize, DWORD(RasConnectionSize));
    QVERIFY(two.records[0].hrasconn != two.records[1].hrasconn);
    QCOMPARE(fromField(two.records[0].szDeviceType), QString("modem"));
    QCOMPARE(fromField(two.records[0].szDeviceName), QString("MTK GPRS Modem"));
    SimulatedPc another(machine.directory()); // connections belong to the system
    QCOMPARE(ConnectionList(another).count, DWORD(2));
}

void SimulatedRasTest::fillsOnlyTheDeclaredRecord()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    RasConnection record;
    std::memset(static_cast<void *>(&record), 0xEE, sizeof record);
    record.dwSize = RasConnectionSize;
    DWORD size = sizeof record;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(Success));
    QCOMPARE(record.dwSubEntry, DWORD(0xEEEEEEEE));
    record.dwSize = sizeof record;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(Success));
    QCOMPARE(record.dwSubEntry, DWORD(0));
}

void SimulatedRasTest::checksTheSizesOfTheConnectionList()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    RasConnection record = {};
    DWORD size = sizeof record;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(RasErrorInvalidSize));
    record.dwSize = RasConnectionSize;
    size = 1359;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(1360));
    QCOMPARE(count, DWORD(1));
    QCOMPARE(pc.RasEnumConnectionsW(nullptr, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(pc.RasEnumConnectionsW(&record, nullptr, &count), DWORD(ErrorInvalidParameter));
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, nullptr), DWORD(ErrorInvalidParameter));
}

void SimulatedRasTest::dropsConnectionsOfPhonesThatAreGone()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    QCOMPARE(ConnectionList(pc).count, DWORD(1));
    phone.publish(false); // the network ended it
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    phone.publish(true); // for ever
    QCOMPARE(ConnectionList(pc).count, DWORD(0));

    machine.addConnection(phone.plugId());
    phone.plugIn(); // unplugged and in again
    phone.publish(true);
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    machine.addConnection(phone.plugId());
    phone.unplug();
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    QVERIFY(machine.state().connections.isEmpty());
}

void SimulatedRasTest::dials()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QString title;
    QString number;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        title = dialog->windowTitle();
        number = dialog->findChild<QLabel *>("numberLabel")->text();
        click(dialog, "dialButton");
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
    QString error;
    QVERIFY(!dial(pc, [&](QDialog *dialog) {
                 click(dialog, "dialButton");
                 error = errorOf(dialog);
             }).connected);
    QVERIFY2(error.contains("633"), qPrintable(error));
}

void SimulatedRasTest::dialsTheEntrysOwnNumber()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*98#", "\r\nCONNECT\r\n");
    QVERIFY(dial(
                pc, [](QDialog *dialog) { click(dialog, "dialButton"); }, "TolvaneModem 1", "")
                .connected);
    QCOMPARE(phone.commands().last(), QString("ATD*98#"));
}

void SimulatedRasTest::explainsAFailedDial_data()
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

void SimulatedRasTest::explainsAFailedDial()
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
        click(dialog, "dialButton");
        error = errorOf(dialog);
    });
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(code));
    QVERIFY2(error.startsWith(QString("Error %1: ").arg(code)), qPrintable(error));
    QVERIFY2(error.contains(words), qPrintable(error));
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
}

void SimulatedRasTest::dialsAgainAfterAFailure()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "\r\nNO CARRIER\r\n");
    bool enabled = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        auto *button = dialog->findChild<QPushButton *>("dialButton");
        click(dialog, "dialButton");
        enabled =
            QTest::qWaitFor([&] { return button->isEnabled() && status(dialog).contains("678"); });
        phone.setAnswer("ATD*99#", "\r\nCONNECT\r\n");
        click(dialog, "dialButton");
    });
    QVERIFY(enabled);
    QVERIFY(result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success));
}

void SimulatedRasTest::staysResponsiveAndCancels()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "");
    bool dialling = false;
    bool disabled = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        click(dialog, "dialButton");
        dialling = QTest::qWaitFor([&] { return status(dialog) == "Dialling *99#..."; });
        disabled = !dialog->findChild<QPushButton *>("dialButton")->isEnabled();
        click(dialog, "cancelButton");
    });
    QVERIFY(dialling);
    QVERIFY(disabled);
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success)); // nothing failed
    // The attempt was broken off and the port is free.
    QTRY_COMPARE(phone.commands(), QStringList({"ATZ", "ATD*99#", ""}));
    const QString path = "\\\\.\\COM5";
    QVERIFY(pc.CreateFileW(wide(path), GenericRead | GenericWrite, 0, nullptr, OpenExisting,
                           FileFlagOverlapped, nullptr) != invalidHandle());
}

void SimulatedRasTest::breaksOffWithEscape()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const DialResult result =
        dial(pc, [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
    QVERIFY(!result.connected);
    QCOMPARE(result.info.dwError, DWORD(Success));
}

void SimulatedRasTest::endsWhenThePhoneIsUnplugged()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.setAnswer("ATD*99#", "");
    QString error;
    bool dialling = false;
    dial(pc, [&](QDialog *dialog) {
        click(dialog, "dialButton");
        dialling = QTest::qWaitFor([&] { return status(dialog).startsWith("Dialling"); });
        phone.unplug();
        error = errorOf(dialog);
    });
    QVERIFY(dialling);
    QVERIFY2(error.contains("692"), qPrintable(error));
    dial(pc, [&](QDialog *dialog) {
        click(dialog, "dialButton");
        error = errorOf(dialog);
    });
    QVERIFY2(error.contains("633"), qPrintable(error));
}

void SimulatedRasTest::endsWhenThePhoneIsSilent()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    machine.change([](simulated::MachineState &state) { state.answerTimeoutMs = 100; });
    phone.setAnswer("ATD*99#", "");
    QString error;
    const auto play = [&](QDialog *dialog) {
        click(dialog, "dialButton");
        error = errorOf(dialog);
    };
    dial(pc, play);
    QVERIFY2(error.contains("678"), qPrintable(error));
    phone.setAnswer("ATZ", "");
    dial(pc, play);
    QVERIFY2(error.contains("692"), qPrintable(error));
}

void SimulatedRasTest::needsTheCarrier()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.raisesCarrier = false;
    QString error;
    bool verifying = false;
    const DialResult result = dial(pc, [&](QDialog *dialog) {
        click(dialog, "dialButton");
        verifying = QTest::qWaitFor([&] { return status(dialog).startsWith("Verifying"); });
        click(dialog, "cancelButton"); // too late: the phone has connected
        error = errorOf(dialog);
    });
    QVERIFY(verifying);
    QVERIFY(!result.connected);
    QVERIFY2(error.contains("678"), qPrintable(error));
}

void SimulatedRasTest::freesAPhoneLeftConnected()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true); // in data state, with no connection known
    QVERIFY(dial(pc, [](QDialog *dialog) { click(dialog, "dialButton"); }).connected);
    QCOMPARE(phone.commands(), QStringList({"+++", "ATH", "ATZ", "ATD*99#"}));
}

void SimulatedRasTest::refusesToDial()
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
    QString unknown = "No such entry";
    QCOMPARE(refusal(nullptr, reinterpret_cast<WCHAR *>(unknown.data())),
             DWORD(RasErrorEntryNotFound));
    DWORD code = 0;
    std::thread thread([&] { code = refusal(nullptr, name); });
    thread.join();
    QCOMPARE(code, DWORD(ErrorNotSupported));
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = true; });
    QCOMPARE(refusal(nullptr, name), DWORD(RasErrorCannotOpenPhonebook));
    QVERIFY(!pc.RasDialDlgW(nullptr, name, nullptr, nullptr));

    // An entry whose modem is gone can be tried, and fails.
    machine.change([](simulated::MachineState &state) {
        state.phonebookDamaged = false;
        state.devices.clear();
    });
    QString error;
    dial(pc, [&](QDialog *dialog) {
        click(dialog, "dialButton");
        error = errorOf(dialog);
    });
    QVERIFY2(error.contains("633"), qPrintable(error));
}

void SimulatedRasTest::dialsWithTheKeyboard()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QVERIFY(dial(pc, [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Return); }).connected);
}

void SimulatedRasTest::hangsUp()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QVERIFY(dial(pc, [](QDialog *dialog) { click(dialog, "dialButton"); }).connected);
    const RasConnectionHandle handle = ConnectionList(pc).records[0].hrasconn;
    QCOMPARE(pc.RasHangUpW(handle), DWORD(Success));
    QCOMPARE(phone.commands().mid(2), QStringList({"+++", "ATH"}));
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    QCOMPARE(pc.RasHangUpW(handle), DWORD(RasErrorInvalidHandle));
    QVERIFY(dial(pc, [](QDialog *dialog) { click(dialog, "dialButton"); }).connected);
    QVERIFY(ConnectionList(pc).records[0].hrasconn != handle);
}

void SimulatedRasTest::hangsUpASilentPhone()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    phone.setAnswer("+++", "");
    machine.addConnection(phone.plugId());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(pc.RasHangUpW(ConnectionList(pc).records[0].hrasconn), DWORD(Success));
    QVERIFY(timer.elapsed() < 2500);
    QVERIFY(machine.state().connections.isEmpty());
}

void SimulatedRasTest::refusesToHangUp()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    QCOMPARE(pc.RasHangUpW(nullptr), DWORD(RasErrorInvalidHandle));
    QCOMPARE(pc.RasHangUpW(&machine), DWORD(RasErrorInvalidHandle));
    QCOMPARE(pc.RasHangUpW(reinterpret_cast<RasConnectionHandle>(ULONG_PTR(1))),
             DWORD(RasErrorInvalidHandle));
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    const RasConnectionHandle handle = ConnectionList(pc).records[0].hrasconn;
    phone.unplug();
    QCOMPARE(pc.RasHangUpW(handle), DWORD(RasErrorInvalidHandle));
}

QTEST_MAIN(SimulatedRasTest)
#include "simulated_ras_test.moc"
