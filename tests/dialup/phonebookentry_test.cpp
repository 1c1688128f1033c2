#include "dialup/phonebookentry.h"
#include "platform/text.h"
#include "tests/dialup/dialupfixture.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"

#include <QRegularExpression>
#include <QSettings>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

using namespace platform;

namespace {

const QString created = "Successfully created the DIALUP CONNECTION :D :D";

/// Keeps what the calls were handed beyond what the machine keeps itself.
class RecordKeepingMachine : public ScriptedMachine
{
public:
    QList<DWORD> queriedSizes; ///< byte count that the size was asked with
    QList<DWORD> entrySizes;   ///< dwSize that the properties were asked with
    bool blockWasClear = true;
    RasEntry defaults{}; ///< the record as the system gave it

    RecordKeepingMachine()
    {
        RasGetEntryPropertiesW.wrap([this](auto &next, const WCHAR *phonebook, const WCHAR *name,
                                           RasEntry *entry, DWORD *bytes, auto... rest) {
            if (entry) {
                entrySizes.append(entry->dwSize);
                const auto *block = reinterpret_cast<const BYTE *>(entry);
                blockWasClear = std::all_of(block + sizeof(DWORD), block + *bytes,
                                            [](BYTE byte) { return byte == 0; });
            } else {
                queriedSizes.append(*bytes);
            }
            const DWORD result = next(phonebook, name, entry, bytes, rest...);
            if (entry && result == Success)
                defaults = *entry;
            return result;
        });
    }
};

/// The keys that were there when the success line came, and who took it before.
QStringList keysAtSuccess;
QtMessageHandler catcher = nullptr;

/// Moves the phone to another port when the success line comes.
void movePhoneAtSuccess(QtMsgType type, const QMessageLogContext &context, const QString &line)
{
    if (line == created) {
        keysAtSuccess = QSettings().allKeys();
        QSettings().setValue("CurrentPort", 12);
    }
    catcher(type, context, line);
}

/// A system without devices that answers the size query with success.
class NoSizeMachine : public ScriptedMachine
{
public:
    NoSizeMachine()
    {
        RasGetEntryPropertiesW = [](auto...) { return Success; };
    }
};

} // namespace

class PhonebookEntryTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init() { m_store->clear(); }

    void createsTheFirstEntry();
    void orderAfterStoring();
    void entryRecord();
    void optionBits_data();
    void optionBits();
    void recordSizes_data();
    void recordSizes();
    void numbersGoOn();
    void largestCountStays();
    void latestEntryOfAPort();
    void deviceThatSortsLast();
    void longDeviceName();
    void noModem();
    void sizeQueryAnswersSuccess();
    void operationFails_data();
    void operationFails();
    void storingFails_data();
    void storingFails();

private:
    static Bench<> &withModem(Bench<> &bench)
    {
        bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
        return bench;
    }

    std::unique_ptr<TestSettings> m_store;
};

void PhonebookEntryTest::createsTheFirstEntry()
{
    Bench<> bench;
    withModem(bench);
    QVERIFY(createDialupConnection());
    QCOMPARE(
        bench.calls(),
        QStringList({"RasGetEntryPropertiesW(null, \"\", null, &, null, null)", "GetProcessHeap()",
                     zeroed(5680), "RasGetEntryPropertiesW(null, \"\", &, &, null, null)",
                     "RasEnumDevicesW(null, &, &)", "GetProcessHeap()", zeroed(296),
                     "RasEnumDevicesW(&, &, &)", "HeapFree(0x1, 0, @)",
                     "RasSetEntryPropertiesW(null, \"TolvaneModem 1\", &, 5680, null, 0)",
                     "HeapFree(0x1, 0, @)"}));
    QCOMPARE(bench.log.lines(), QStringList({created}));
    // Without a current port the name belongs to port 0.
    QCOMPARE(QSettings().allKeys(), QStringList({"NoOfDialups", "ports/0"}));
    QCOMPARE(QSettings().value("NoOfDialups"), QVariant(1));
    QCOMPARE(QSettings().value("ports/0"), QVariant("TolvaneModem 1"));
    QCOMPARE(bench.leftOpen(), QString());
}

// The line comes before anything is stored, and only then the port is read. Nobody
// can see which of the two settings is stored first: the file is written as a whole.
void PhonebookEntryTest::orderAfterStoring()
{
    Bench<> bench;
    withModem(bench);
    QSettings().setValue("CurrentPort", 5);
    catcher = qInstallMessageHandler(movePhoneAtSuccess);
    const bool result = createDialupConnection();
    qInstallMessageHandler(catcher);
    QVERIFY(result);
    QCOMPARE(keysAtSuccess, QStringList({"CurrentPort"}));
    QCOMPARE(QSettings().allKeys(), QStringList({"CurrentPort", "NoOfDialups", "ports/12"}));
}

void PhonebookEntryTest::entryRecord()
{
    Bench<RecordKeepingMachine> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem #2"}};
    QVERIFY(createDialupConnection());
    QCOMPARE(bench.machine.queriedSizes, QList<DWORD>({0}));
    QCOMPARE(bench.machine.entrySizes, QList<DWORD>({4048}));
    QVERIFY(bench.machine.blockWasClear);
    const auto &stored = bench.machine.storedEntries.first();
    QVERIFY(stored.phonebookNull && stored.deviceInfoNull);
    QCOMPARE(stored.record.dwSize, DWORD{4048});
    QCOMPARE(fromField(stored.record.szDeviceName), QString("MTK GPRS Modem #2"));
    QCOMPARE(fromField(stored.record.szLocalPhoneNumber), QString("*99#"));
    // The constant's name, not "modem".
    QCOMPARE(fromField(stored.record.szDeviceType), QString("RASDT_Modem"));

    // Everything else is as the system gave it.
    RasEntry rest = stored.record;
    const RasEntry &defaults = bench.machine.defaults;
    rest.dwfOptions = defaults.dwfOptions;
    std::copy(std::begin(defaults.szDeviceName), std::end(defaults.szDeviceName),
              std::begin(rest.szDeviceName));
    std::copy(std::begin(defaults.szLocalPhoneNumber), std::end(defaults.szLocalPhoneNumber),
              std::begin(rest.szLocalPhoneNumber));
    std::copy(std::begin(defaults.szDeviceType), std::end(defaults.szDeviceType),
              std::begin(rest.szDeviceType));
    QCOMPARE(std::memcmp(&rest, &defaults, sizeof rest), 0);
    QCOMPARE(rest.dwIdleDisconnectSeconds, DWORD{4711});
}

void PhonebookEntryTest::optionBits_data()
{
    QTest::addColumn<DWORD>("before");
    QTest::addColumn<DWORD>("after");
    QTest::newRow("both set") << DWORD{0x01200010} << DWORD{0x00000010};
    QTest::newRow("user and password") << DWORD{0x01000000} << DWORD{0};
    QTest::newRow("phone number") << DWORD{0x00200000} << DWORD{0};
    QTest::newRow("none") << DWORD{0} << DWORD{0};
    QTest::newRow("all") << DWORD{0xFFFFFFFF} << DWORD{0xFEDFFFFF};
    QTest::newRow("all others") << DWORD{0xFEDFFFFF} << DWORD{0xFEDFFFFF};
}

void PhonebookEntryTest::optionBits()
{
    QFETCH(const DWORD, before);
    QFETCH(const DWORD, after);
    Bench<> bench;
    withModem(bench).machine.defaultEntryOptions = before;
    QVERIFY(createDialupConnection());
    QCOMPARE(bench.machine.storedEntries.first().record.dwfOptions, after);
}

// The size argument stays what the query gave, whatever dwSize says; the block
// always holds a whole record.
void PhonebookEntryTest::recordSizes_data()
{
    QTest::addColumn<DWORD>("size");
    QTest::addColumn<QString>("allocation");
    QTest::newRow("4048") << DWORD{4048} << zeroed(4048);
    QTest::newRow("5616, Windows XP") << DWORD{5616} << zeroed(5616);
    QTest::newRow("5680, Windows 7") << DWORD{5680} << zeroed(5680);
    QTest::newRow("9000") << DWORD{9000} << zeroed(9000);
    QTest::newRow("100") << DWORD{100} << zeroed(4048);
}

void PhonebookEntryTest::recordSizes()
{
    QFETCH(const DWORD, size);
    QFETCH(const QString, allocation);
    Bench<> bench;
    withModem(bench).machine.entryInfoSize = size;
    QVERIFY(createDialupConnection());
    QCOMPARE(bench.calls().at(2), allocation);
    QCOMPARE(bench.machine.storedEntries.first().size, size);
}

void PhonebookEntryTest::numbersGoOn()
{
    Bench<> bench;
    withModem(bench);
    QSettings().setValue("CurrentPort", 5);
    QVERIFY(createDialupConnection());
    QSettings().setValue("CurrentPort", 12);
    QVERIFY(createDialupConnection());
    bench.fail("RasSetEntryPropertiesW", ErrorAccessDenied, 3);
    QVERIFY(!createDialupConnection());
    QVERIFY(createDialupConnection());
    QStringList names;
    for (const auto &entry : std::as_const(bench.machine.storedEntries))
        names.append(entry.name);
    QCOMPARE(names, QStringList({"TolvaneModem 1", "TolvaneModem 2", "TolvaneModem 3"}));
    QCOMPARE(QSettings().value("NoOfDialups"), QVariant(3));
    QCOMPARE(QSettings().value("ports/5").toString(), QString("TolvaneModem 1"));
    QCOMPARE(QSettings().value("ports/12").toString(), QString("TolvaneModem 3"));
}

// No number follows it: the entry of that number is made anew.
void PhonebookEntryTest::largestCountStays()
{
    Bench<> bench;
    withModem(bench);
    const int largest = std::numeric_limits<int>::max();
    QSettings().setValue("NoOfDialups", largest - 1);
    for (int run = 0; run < 2; ++run) {
        QVERIFY(createDialupConnection());
        QCOMPARE(bench.machine.storedEntries.last().name, QString("TolvaneModem 2147483647"));
        QCOMPARE(QSettings().value("NoOfDialups"), QVariant(largest));
        QCOMPARE(QSettings().value("ports/0").toString(), QString("TolvaneModem 2147483647"));
    }
}

void PhonebookEntryTest::latestEntryOfAPort()
{
    Bench<> bench;
    withModem(bench);
    QSettings().setValue("CurrentPort", 5);
    QSettings().setValue("NoOfDialups", 41);
    QSettings().setValue("ports/5", "TolvaneModem 7");
    QSettings().setValue("ports/6", "TolvaneModem 8");
    QVERIFY(createDialupConnection());
    QCOMPARE(QSettings().value("ports/5").toString(), QString("TolvaneModem 42"));
    QCOMPARE(QSettings().value("ports/6").toString(), QString("TolvaneModem 8"));
    QCOMPARE(QSettings().value("NoOfDialups").toInt(), 42);
}

void PhonebookEntryTest::deviceThatSortsLast()
{
    Bench<> bench;
    bench.machine.rasDevices = {{"modem", "Tolvane GPRS Modem"},
                                {"modem", "MTK GPRS Modem #9"},
                                {"modem", "MTK GPRS Modem"}};
    QVERIFY(createDialupConnection());
    QCOMPARE(fromField(bench.machine.storedEntries.first().record.szDeviceName),
             QString("Tolvane GPRS Modem"));
}

void PhonebookEntryTest::longDeviceName()
{
    Bench<> bench;
    const QString name = "MTK GPRS Modem" + QString(114, 'x');
    bench.machine.rasDevices = {{"modem", name}};
    QVERIFY(createDialupConnection());
    QCOMPARE(fromField(bench.machine.storedEntries.first().record.szDeviceName), name);
}

// The entry's block is not freed on this path.
void PhonebookEntryTest::noModem()
{
    for (const bool others : {false, true}) {
        Bench<> bench;
        if (others)
            bench.machine.rasDevices = {{"vpn", "WAN Miniport"}, {"modem", "Other Modem"}};
        QVERIFY(!createDialupConnection());
        QCOMPARE(bench.log.lines(), QStringList({"Error! No compatible modem found!"}));
        QCOMPARE(bench.machine.storedEntries.size(), 0);
        QCOMPARE(QSettings().allKeys(), QStringList());
        QCOMPARE(bench.leftOpen(), QString("1 block"));
    }
}

void PhonebookEntryTest::sizeQueryAnswersSuccess()
{
    Bench<NoSizeMachine> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
    QVERIFY(!createDialupConnection());
    QCOMPARE(bench.injector.operations(), QStringList({"RasGetEntryPropertiesW"}));
    QCOMPARE(bench.log.lines(), QStringList());
}

void PhonebookEntryTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("lastOperations"); // from the failing one on
    QTest::addColumn<QString>("leftOpen");
    QTest::newRow("size query") << "RasGetEntryPropertiesW" << 1 << RasErrorCannotOpenPhonebook
                                << false << QStringList() << QStringList{"RasGetEntryPropertiesW"}
                                << "";
    QTest::newRow("no memory") << "HeapAlloc" << 1 << ErrorNotEnoughMemory << false
                               << QStringList{"HeapAlloc failed!\n"} << QStringList{"HeapAlloc"}
                               << "";
    QTest::newRow("properties") << "RasGetEntryPropertiesW" << 2 << RasErrorBufferTooSmall << false
                                << QStringList{"RasGetEntryProperties failed"}
                                << QStringList{"RasGetEntryPropertiesW", "HeapFree"} << "";
    QTest::newRow("store") << "RasSetEntryPropertiesW" << 1 << RasErrorInvalidBuffer << false
                           << QStringList{"The address or buffer specified by lpRasEntry is "
                                          "invalid. \n"}
                           << QStringList{"RasSetEntryPropertiesW", "HeapFree"} << "";
    QTest::newRow("free the device list")
        << "HeapFree" << 1 << ErrorInvalidParameter << true << QStringList{created}
        << QStringList{"HeapFree", "RasSetEntryPropertiesW", "HeapFree"} << "1 block";
    QTest::newRow("free") << "HeapFree" << 2 << ErrorInvalidParameter << true
                          << QStringList{created} << QStringList{"HeapFree"} << "1 block";
}

void PhonebookEntryTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const DWORD, code);
    QFETCH(const bool, result);
    QFETCH(const QStringList, lines);
    QFETCH(const QStringList, lastOperations);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    withModem(bench).fail(operation, code, call);
    QCOMPARE(createDialupConnection(), result);
    QCOMPARE(bench.injector.firedFaults(), 1);
    QCOMPARE(bench.log.lines(), lines);
    const QStringList operations = bench.injector.operations();
    const auto before = operations.size() - lastOperations.size();
    QCOMPARE(QStringList(operations.mid(before)), lastOperations);
    QCOMPARE(lastOperations.first(), operation);
    QCOMPARE(QStringList(operations.mid(0, before)).count(operation), call - 1);
    const QStringList freed = bench.calls().filter(QRegularExpression("^HeapFree"));
    QCOMPARE(freed.count("HeapFree(0x1, 0, @)"), freed.size());
    QCOMPARE(QSettings().allKeys().isEmpty(), !result);
    QCOMPARE(bench.leftOpen(), leftOpen);
}

void PhonebookEntryTest::storingFails_data()
{
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<QString>("line");
    QTest::newRow("5") << DWORD{5}
                       << "The user does not have the correct privileges. Only an administrator "
                          "can complete this task.\n \n";
    QTest::newRow("87") << DWORD{87}
                        << "The RASENTRY structure pointed to by the lpRasEntry parameter does not "
                           "contain adequate information. See the description for lpRasEntry to "
                           "see what information is required. \n";
    QTest::newRow("610") << DWORD{610}
                         << "The address or buffer specified by lpRasEntry is invalid. \n";
    QTest::newRow("621") << DWORD{621} << "The phone book is corrupted or missing components. \n";
    QTest::newRow("1") << DWORD{1} << "Unknown error occured. Error code =  1 \n";
    QTest::newRow("632") << DWORD{632} << "Unknown error occured. Error code =  632 \n";
    QTest::newRow("0xE0000235") << DWORD{0xE0000235}
                                << "Unknown error occured. Error code =  3758096949 \n";
}

void PhonebookEntryTest::storingFails()
{
    QFETCH(const DWORD, code);
    QFETCH(const QString, line);
    QSettings().setValue("NoOfDialups", 3);
    QSettings().setValue("CurrentPort", 7);
    QSettings().setValue("ports/7", "TolvaneModem 3");
    Bench<> bench;
    withModem(bench).fail("RasSetEntryPropertiesW", code);
    QVERIFY(!createDialupConnection());
    QCOMPARE(bench.log.lines(), QStringList({line}));
    QCOMPARE(QSettings().value("NoOfDialups").toInt(), 3);
    QCOMPARE(QSettings().value("ports/7").toString(), QString("TolvaneModem 3"));
    QCOMPARE(QSettings().allKeys().size(), 3);
    QCOMPARE(bench.leftOpen(), QString());
}

QTEST_GUILESS_MAIN(PhonebookEntryTest)
#include "phonebookentry_test.moc"
