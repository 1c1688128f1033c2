#include "tests/platform/simulated_ras_fixture.h"

#include <QJsonObject>

#include <cstring>
#include <iterator>

using namespace platform;
using namespace platform::simulated;

namespace {

/// Hands each text field of the record to `act`.
template<typename Entry, typename Act> void eachText(Entry &entry, const Act &act)
{
    act(entry.szAreaCode);
    act(entry.szLocalPhoneNumber);
    act(entry.szScript);
    act(entry.szAutodialDll);
    act(entry.szAutodialFunc);
    act(entry.szDeviceType);
    act(entry.szDeviceName);
    act(entry.szX25PadType);
    act(entry.szX25Address);
    act(entry.szX25Facilities);
    act(entry.szX25UserData);
    act(entry.szCustomDialDll);
}

QStringList texts(const RasEntry &entry)
{
    QStringList list;
    eachText(entry, [&list](const auto &field) { list.append(fromField(field)); });
    return list;
}

} // namespace

/// Modem devices and phone-book entries.
class SimulatedRasEntriesTest : public QObject
{
    Q_OBJECT

private slots:
    void listsDevices();
    void checksTheSizesOfTheDeviceList();
    void givesDefaultProperties();
    void storesAnEntry();
    void refusesEntryProperties();
    void rightsToChangeThePhoneBook();
    void keepsEveryFieldOfAnEntry();
};

void SimulatedRasEntriesTest::listsDevices()
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

void SimulatedRasEntriesTest::checksTheSizesOfTheDeviceList()
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

void SimulatedRasEntriesTest::givesDefaultProperties()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    const QString name;
    DWORD size = 0;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), nullptr, &size, nullptr, nullptr),
             DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(5680));
    QByteArray block(int(size), '\xEE');
    auto *entry = reinterpret_cast<RasEntry *>(block.data());
    entry->dwSize = RasEntrySize;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(size, DWORD(5680));
    QCOMPARE(entry->dwSize, DWORD(4048));
    QVERIFY(entry->dwfOptions & EntryPreviewUserPassword);
    QVERIFY(entry->dwfOptions & EntryPreviewPhoneNumber);
    QCOMPARE(fromField(entry->szDeviceType), QString("modem"));
    QVERIFY(fromField(entry->szDeviceName).isEmpty());
    QCOMPARE(block.at(4048), '\xEE'); // behind the declared record
    entry->dwSize = 5680;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(block.at(4048), '\0');
    for (const DWORD known : {5616, 5656}) { // Windows XP, Vista
        entry->dwSize = known;
        QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
                 DWORD(Success));
    }
    entry->dwSize = 4000;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorInvalidSize));
    entry->dwSize = RasEntrySize;
    size = 4047;
    QCOMPARE(pc.RasGetEntryPropertiesW(nullptr, wide(name), entry, &size, nullptr, nullptr),
             DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(5680));
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

void SimulatedRasEntriesTest::storesAnEntry()
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
        QCOMPARE(pc.RasSetEntryPropertiesW(nullptr, wide(name), &entry, 5680, nullptr, 0),
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

void SimulatedRasEntriesTest::refusesEntryProperties()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    RasEntry good = simulated::defaultEntry();
    good.dwSize = RasEntrySize;
    copyToBuffer("MTK GPRS Modem", good.szDeviceName, 129);
    copyToBuffer("*99#", good.szLocalPhoneNumber, 129);
    const auto set = [&](RasEntry *entry, const QString &name = "Entry", DWORD size = 5680) {
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
    // Characters that are not seen, and would make it look like another's name.
    for (const ushort code : {0x0A, 0x7F, 0x200B, 0x2028, 0x202E, 0x2066, 0xFEFF, 0xD800})
        QCOMPARE(set(&good, "Ent" + QString(QChar(code)) + "ry"), DWORD(123));
    BYTE block = 0;
    const QString name = "Entry";
    QCOMPARE(pc.RasSetEntryPropertiesW(nullptr, wide(name), &good, 4048, &block, 1),
             DWORD(ErrorNotSupported));
    QCOMPARE(pc.RasSetEntryPropertiesW(wide(name), wide(name), &good, 4048, nullptr, 0),
             DWORD(RasErrorCannotOpenPhonebook));
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = true; });
    QCOMPARE(set(&good), DWORD(RasErrorCannotOpenPhonebook));
    QVERIFY(machine.state().phonebook.isEmpty());
    machine.change([](simulated::MachineState &state) { state.phonebookDamaged = false; });
    QCOMPARE(set(&good), DWORD(Success));
    QCOMPARE(set(&good, QString::fromUtf8("Büro, 我的 📱")), DWORD(Success));
}

// A user's own phone book needs no rights; another is an administrator's.
void SimulatedRasEntriesTest::rightsToChangeThePhoneBook()
{
    TestMachine machine;
    SimulatedPc pc(machine.directory());
    RasEntry entry = simulated::defaultEntry();
    entry.dwSize = RasEntrySize;
    copyToBuffer("MTK GPRS Modem", entry.szDeviceName, 129);
    copyToBuffer("*99#", entry.szLocalPhoneNumber, 129);
    const auto set = [&](const QString &name) {
        return pc.RasSetEntryPropertiesW(nullptr, wide(name), &entry, RasEntrySize, nullptr, 0);
    };
    machine.setAdministrator(false);
    QCOMPARE(set("Own"), DWORD(Success));
    machine.change([](simulated::MachineState &state) { state.phonebookProtected = true; });
    QCOMPARE(set("Refused"), DWORD(ErrorAccessDenied));
    machine.setAdministrator(true);
    QCOMPARE(set("Everybody's"), DWORD(Success));
    QCOMPARE(QStringList(machine.state().phonebook.keys()), QStringList({"Everybody's", "Own"}));
}

void SimulatedRasEntriesTest::keepsEveryFieldOfAnEntry()
{
    // Every unit of the record different from a default and from its neighbours;
    // each text as long as its field allows.
    RasEntry entry = {};
    auto *units = reinterpret_cast<WCHAR *>(&entry);
    for (std::size_t i = 0; i < sizeof entry / sizeof(WCHAR); ++i)
        units[i] = static_cast<WCHAR>(0x100 + i % 0x3000);
    eachText(entry, [](auto &field) { field[std::size(field) - 1] = 0; });
    const QJsonObject json = simulated::entryToJson(entry);
    QCOMPARE(json.size(), 26 + 12 + 1);
    const RasEntry read = simulated::entryFromJson(json);
    QCOMPARE(texts(read), texts(entry));
    QVERIFY(read.guidId == entry.guidId);
    QCOMPARE(read.dwVpnStrategy, entry.dwVpnStrategy);
    const QJsonObject again = simulated::entryToJson(read);
    for (const QString &field : json.keys())
        QCOMPARE(again.value(field), json.value(field));
}

QTEST_MAIN(SimulatedRasEntriesTest)
#include "simulated_ras_entries_test.moc"
