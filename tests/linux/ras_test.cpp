// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "platform/linux/families.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/pppdfixture.h"
#include "tests/platform/dialdialog.h"
#include "tests/support/ordinaryuser.h"

#include <QJsonObject>
#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const char modemName[] = "Tolvane GPRS Modem";
constexpr uid_t nobody = 65534;

} // namespace

/// The RAS operations, with a stand-in for pppd.
class RasTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init()
    {
        prepare();
        m_store = std::make_shared<StateStore>(m_paths.state);
    }
    void cleanup() { endLinks(); }

    void connectionsAreListed();
    void listsTellTheSizeTheyNeed();
    void onlyThatLinkIsHungUp();
    void anotherUsersLinkIsNotHungUp();
    void dialDialogRefusals();
    void dialDialogTellsItsError();
    void dialDialogFindsThePhone();
    void devicesAreListed();
    void listingDevicesIsRefused();
    void entryProperties();
    void settingAnEntryIsRefused();

private:
    void addModem(const QString &name, const QString &port);
    RasEntry entryFor(const QString &modem) const;
    /// The Linux machine's remote access, on this test's folders.
    Platform &ras()
    {
        m_platform = std::make_unique<Platform>();
        provideRas(m_platform.get(), m_paths, programIdentity(), m_store,
                   std::make_shared<HelperClient>(m_paths));
        return *m_platform;
    }

    std::shared_ptr<StateStore> m_store;
    std::unique_ptr<Platform> m_platform;
};

void RasTest::addModem(const QString &name, const QString &port)
{
    m_store->change([&](QJsonObject *state) {
        DeviceList list;
        readDevices(*state, &list);
        RootDevice device;
        device.instanceId = newInstanceId(list.devices, "Modem");
        device.friendlyName = name;
        device.hasDriverKey = true;
        device.driverKey.insert("AttachedTo", port);
        list.devices.append(device);
        writeDevices(state, list);
        return true;
    });
}

RasEntry RasTest::entryFor(const QString &modem) const
{
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    entry.dwfOptions = 0x10;
    entry.dwFramingProtocol = 1;
    entry.dwType = 1;
    copyToBuffer("modem", entry.szDeviceType, 17);
    copyToBuffer("*99#", entry.szLocalPhoneNumber, 129);
    copyToBuffer(modem, entry.szDeviceName, 129);
    return entry;
}

void RasTest::connectionsAreListed()
{
    addModem(modemName, "COM5");
    QCOMPARE(
        ras().RasSetEntryPropertiesW(nullptr, wide(QString(entryName)), nullptr, 0, nullptr, 0),
        RasErrorInvalidBuffer);
    RasEntry entry = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, wide(QString(entryName)), &entry, RasEntrySize,
                                          nullptr, 0),
             DWORD(Success));
    const pid_t process = startLink("lo");
    std::vector<RasConnection> records(100);
    records[0].dwSize = RasConnectionSize;
    DWORD bytes = 136000;
    DWORD count = 0;
    QCOMPARE(ras().RasEnumConnectionsW(records.data(), &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(1));
    QCOMPARE(bytes, DWORD(sizeof(RasConnection)));
    QCOMPARE(fromField(records[0].szEntryName), QString(entryName));
    QCOMPARE(fromField(records[0].szDeviceName), QString(modemName));
    QCOMPARE(fromField(records[0].szDeviceType), QString("modem"));
    QCOMPARE(reinterpret_cast<ULONG_PTR>(records[0].hrasconn), ULONG_PTR(process));
}

void RasTest::listsTellTheSizeTheyNeed()
{
    RasConnection record = {};
    DWORD bytes = 0;
    DWORD count = 7;
    QCOMPARE(ras().RasEnumConnectionsW(nullptr, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(0));
    startLink("lo");
    QCOMPARE(ras().RasEnumConnectionsW(nullptr, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(bytes, DWORD(1360));
    record.dwSize = 1;
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, &count), RasErrorInvalidSize);
    record.dwSize = RasConnectionSize;
    bytes = 1359;
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(ras().RasEnumConnectionsW(&record, nullptr, &count), ErrorInvalidParameter);
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, nullptr), ErrorInvalidParameter);
}

void RasTest::onlyThatLinkIsHungUp()
{
    const pid_t one = startLink("lo");
    const pid_t other = startLink("lo", "tolvane-other");
    const auto handle = [](pid_t process) {
        return reinterpret_cast<RasConnectionHandle>(static_cast<ULONG_PTR>(process));
    };
    QCOMPARE(ras().RasHangUpW(handle(::getpid())), RasErrorInvalidHandle);
    QCOMPARE(ras().RasHangUpW(nullptr), RasErrorInvalidHandle);
    QCOMPARE(ras().RasHangUpW(handle(one)), DWORD(Success));
    QCOMPARE(ras().RasHangUpW(handle(one)), RasErrorInvalidHandle);
    const QList<ActiveLink> found = links();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().process, other);
}

void RasTest::anotherUsersLinkIsNotHungUp()
{
    if (::geteuid() != 0)
        QSKIP("Only an administrator can become another user.");
    setMode(m_folder->path(), 0755);
    const auto handle = reinterpret_cast<RasConnectionHandle>(ULONG_PTR(startLink("lo")));
    // Signals ask for more than the files' user: for a process of that user.
    const pid_t other = ::fork();
    if (other == 0) {
        const bool isOther = ::setresuid(nobody, nobody, nobody) == 0;
        ::_exit(isOther ? int(ras().RasHangUpW(handle)) : 255);
    }
    int status = 0;
    QCOMPARE(::waitpid(other, &status, 0), other);
    QCOMPARE(WEXITSTATUS(status), int(ErrorAccessDenied));
    QCOMPARE(links().size(), 1);
}

void RasTest::dialDialogRefusals()
{
    WCHAR entry[] = u"TolvaneModem 1";
    WCHAR empty[] = u"";
    WCHAR number[] = u"*99#";
    RasDialDialog info = {};
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, nullptr), 0);
    QCOMPARE(lastError(), ErrorInvalidParameter);
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, RasErrorInvalidSize);
    info.dwSize = RasDialDialogSize;
    QCOMPARE(ras().RasDialDlgW(nullptr, empty, number, &info), 0);
    QCOMPARE(info.dwError, ErrorInvalidParameter);
    QCOMPARE(ras().RasDialDlgW(nullptr, nullptr, number, &info), 0);
    QCOMPARE(ras().RasDialDlgW(number, entry, number, &info), 0);
    QCOMPARE(info.dwError, RasErrorCannotOpenPhonebook);
    info.dwSubEntry = 1;
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, ErrorNotSupported);
}

void RasTest::dialDialogTellsItsError()
{
    WCHAR entry[] = u"TolvaneModem 1";
    WCHAR number[] = u"*99#";
    RasDialDialog info = {};
    info.dwSize = RasDialDialogSize;
    QString told;
    const auto dialAndCancel = [&] {
        inDialDialog([&told](DialDialog *dialog) {
            told = status(dialog);
            cancelButton(dialog)->click();
        });
        return ras().RasDialDlgW(nullptr, entry, number, &info);
    };
    QCOMPARE(dialAndCancel(), 0);
    QCOMPARE(info.dwError, RasErrorUserDisconnected);
    QVERIFY2(told.startsWith("Error 623: ") && told.contains("Press Set Up"), qPrintable(told));
    inDialDialog([](DialDialog *dialog) { dialButton(dialog)->click(); });
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, RasErrorEntryNotFound);
    addModem(modemName, "COM77");
    RasEntry properties = entryFor(modemName);
    const auto store = [&] {
        return ras().RasSetEntryPropertiesW(nullptr, entry, &properties, RasEntrySize, nullptr, 0);
    };
    QCOMPARE(store(), DWORD(Success));
    QCOMPARE(dialAndCancel(), 0);
    QCOMPARE(info.dwError, RasErrorPortOrDevice); // no phone at COM77
    for (const DWORD option : {EntryPreviewUserPassword, EntryPreviewPhoneNumber}) {
        properties.dwfOptions |= option;
        QCOMPARE(store(), DWORD(Success));
        QCOMPARE(dialAndCancel(), 0);
        QCOMPARE(told, QString("Press Dial to connect."));
        QCOMPARE(info.dwError, DWORD(Success));
        properties.dwfOptions &= ~option;
    }
    QCOMPARE(store(), DWORD(Success));
    m_store->change([](QJsonObject *state) {
        writeDevices(state, {});
        return true;
    });
    QCOMPARE(dialAndCancel(), 0);
    QVERIFY2(told.startsWith("Error 633: ") && told.contains("Press Set Up"), qPrintable(told));
    QCOMPARE(info.dwError, RasErrorUserDisconnected);
    setMode(m_folder->path(), 0755);
    const QString record = m_paths.state + "/entries/" + linkName;
    setMode(record, 0);
    {
        const OrdinaryUser user;
        QCOMPARE(dialAndCancel(), 0);
    }
    setMode(record, 0644);
    QCOMPARE(info.dwError, DWORD(ErrorAccessDenied));
    QVERIFY2(told.contains("may not"), qPrintable(told));
}

void RasTest::dialDialogFindsThePhone()
{
    UMockdevTestbed *machine = umockdev_testbed_new();
    if (!umockdev_in_mock_environment())
        QSKIP("Needs a machine of the test's own: linux_dial_target_test runs it with one.");
    char *const end = nullptr;
    g_free(umockdev_testbed_add_device(machine, "tty", "rfcomm7", nullptr, end, "DEVNAME",
                                       "/dev/rfcomm7", "TOLVANE_MODEM_PORT", "1", end));
    addModem(modemName, "COM5");
    WCHAR entry[] = u"TolvaneModem 1";
    RasEntry properties = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, entry, &properties, RasEntrySize, nullptr, 0),
             DWORD(Success));
    RasDialDialog info = {};
    info.dwSize = RasDialDialogSize;
    QVERIFY(ras().RasDialDlgW(nullptr, entry, nullptr, &info));
    // The entry's own number goes with it, as none was given.
    QVERIFY(contentOf(m_folder->filePath("arguments"))
                .startsWith("call\ntolvane-TolvaneModem_1\n/dev/rfcomm7\nset\nDIAL_NUMBER=*99#\n"));

    WCHAR number[] = u"$(reboot)";
    inDialDialog([](DialDialog *dialog) { cancelButton(dialog)->click(); });
    QVERIFY(!ras().RasDialDlgW(nullptr, entry, number, &info));
    QCOMPARE(info.dwError, ErrorInvalidParameter);

    // A link that comes up in the moment in which its dial is given up.
    plan("say:DialPhone:_dialling_*99# wait");
    pid_t link = 0;
    inDialDialog([&](DialDialog *dialog) {
        if (QTest::qWaitFor([&] { return status(dialog) == "Dialling *99#..."; }))
            link = startLink("lo");
        cancelButton(dialog)->click();
    });
    QVERIFY(!ras().RasDialDlgW(nullptr, entry, nullptr, &info));
    QCOMPARE(info.dwError, DWORD(Success));
    QVERIFY(link != 0);
    QVERIFY(links().isEmpty());
    g_object_unref(machine);
}

void RasTest::devicesAreListed()
{
    DWORD bytes = 0;
    DWORD count = 0;
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(0));
    addModem(modemName, "COM5");
    addModem(QString(), "COM6"); // has no driver
    addModem("Tolvane GPRS Modem #2", "COM6");
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(bytes, DWORD(2 * 296));
    RasDeviceInfo records[2] = {};
    QCOMPARE(ras().RasEnumDevicesW(records, &bytes, &count), RasErrorInvalidSize);
    records[0].dwSize = RasDeviceInfoSize;
    QCOMPARE(ras().RasEnumDevicesW(records, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(2));
    QCOMPARE(fromField(records[0].szDeviceType), QString("modem"));
    QCOMPARE(fromField(records[1].szDeviceName), QString("Tolvane GPRS Modem #2"));
}

void RasTest::listingDevicesIsRefused()
{
    addModem(modemName, "COM5");
    setMode(m_paths.state, 0);
    DWORD bytes = 0;
    DWORD count = 0;
    DWORD code = Success;
    {
        const OrdinaryUser user;
        code = ras().RasEnumDevicesW(nullptr, &bytes, &count);
    }
    setMode(m_paths.state, 0755);
    QCOMPARE(code, DWORD(ErrorAccessDenied));
    QFile store(m_paths.state + "/state.json");
    QVERIFY(store.open(QIODevice::WriteOnly));
    store.write("{");
    store.close();
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), ErrorInvalidData);
}

void RasTest::entryProperties()
{
    const WCHAR empty[] = u"";
    DWORD size = 0;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, nullptr, &size, nullptr, nullptr),
             RasErrorBufferTooSmall);
    QCOMPARE(size, DWORD(5680)); // as Windows 7 asks for
    size = RasEntrySize;
    RasEntry entry = {};
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, nullptr, nullptr),
             RasErrorInvalidSize);
    entry.dwSize = RasEntrySize;
    addModem(modemName, "COM5");
    DWORD deviceSize = 5;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, nullptr, &deviceSize),
             DWORD(Success));
    QCOMPARE(deviceSize, DWORD(0));
    QVERIFY(entry.dwfOptions & EntryPreviewUserPassword);
    QVERIFY(entry.dwfOptions & EntryPreviewPhoneNumber);
    QCOMPARE(fromField(entry.szDeviceType), QString("modem"));
    QCOMPARE(fromField(entry.szDeviceName), QString(modemName));
    QCOMPARE(fromField(entry.szLocalPhoneNumber), QString());

    const QString name = entryName;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, wide(name), &entry, &size, nullptr, nullptr),
             RasErrorEntryNotFound);
    QCOMPARE(ras().RasGetEntryPropertiesW(empty, empty, &entry, &size, nullptr, nullptr),
             RasErrorCannotOpenPhonebook);
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, nullptr, &entry, &size, nullptr, nullptr),
             ErrorInvalidParameter);
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, nullptr, nullptr, nullptr),
             ErrorInvalidParameter);
    BYTE block = 0;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, &block, &deviceSize),
             ErrorNotSupported);
}

void RasTest::settingAnEntryIsRefused()
{
    const QString name = entryName;
    const auto set = [&](RasEntry entry, DWORD size = RasEntrySize) {
        return ras().RasSetEntryPropertiesW(nullptr, wide(name), &entry, size, nullptr, 0);
    };
    QCOMPARE(set(entryFor(modemName)), ErrorInvalidParameter); // no such modem
    addModem(modemName, "COM5");
    QCOMPARE(set(entryFor(modemName)), DWORD(Success));
    QCOMPARE(set(entryFor(modemName), RasEntrySize - 1), RasErrorInvalidBuffer);
    RasEntry entry = entryFor(modemName);
    entry.dwSize = 0;
    QCOMPARE(set(entry), ErrorInvalidParameter);
    entry.dwSize = RasEntrySize - 1;
    QCOMPARE(set(entry), RasErrorInvalidSize);
    entry = entryFor(modemName);
    entry.szLocalPhoneNumber[0] = 0;
    QCOMPARE(set(entry), ErrorInvalidParameter);
    entry = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, nullptr, &entry, RasEntrySize, nullptr, 0),
             DWORD(123)); // ERROR_INVALID_NAME
    QCOMPARE(ras().RasSetEntryPropertiesW(wide(name), wide(name), &entry, RasEntrySize, nullptr, 0),
             RasErrorCannotOpenPhonebook);
    BYTE block = 0;
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, wide(name), &entry, RasEntrySize, &block, 1),
             ErrorNotSupported);
    QFile store(m_paths.state + "/state.json");
    QVERIFY(store.open(QIODevice::WriteOnly));
    store.write("{");
    store.close();
    QCOMPARE(set(entryFor(modemName)), ErrorInvalidData);
}

QTEST_MAIN(RasTest)
#include "ras_test.moc"
