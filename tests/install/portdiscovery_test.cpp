#include "install/portdiscovery.h"
#include "platform/text.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"

#include <QFile>
#include <QSettings>
#include <QTest>

#include <memory>

using namespace platform;

namespace {

const QString function = "\"SetCurrentPortSettings\"";

QString device(const QString &name)
{
    return "Got Device  " + quoted(name);
}

/// A driver whose answer to the size query is too small by some units, so
/// that the name does not fit when it is read.
class GrowingNameMachine : public ScriptedMachine
{
public:
    QList<DWORD> reported; ///< sizes in bytes; the real one when used up
    QList<DWORD> offered;  ///< buffer sizes that were handed in

    GrowingNameMachine()
    {
        SetupDiGetDeviceRegistryPropertyW.wrap(
            [this](auto &next, HDEVINFO set, DeviceInfoData *device, DWORD property, DWORD *type,
                   BYTE *buffer, DWORD bytes, DWORD *required) {
                offered.append(bytes);
                if (reported.isEmpty())
                    return next(set, device, property, type, buffer, bytes, required);
                *required = reported.takeFirst();
                SetLastError(ErrorInsufficientBuffer);
                return 0;
            });
    }
};

/// A property without any content: even no buffer is large enough.
class EmptyPropertyMachine : public ScriptedMachine
{
public:
    EmptyPropertyMachine()
    {
        SetupDiGetDeviceRegistryPropertyW = [](HDEVINFO, DeviceInfoData *, DWORD, DWORD *, BYTE *,
                                               DWORD, DWORD *required) {
            *required = 0;
            return 1;
        };
    }
};

/// Fills a buffer of so few bytes that there is no room for a terminator, in memory in
/// which more text follows.
class TinyNameMachine : public ScriptedMachine
{
public:
    explicit TinyNameMachine(DWORD size = 1)
    {
        SetupDiGetDeviceRegistryPropertyW = [this, size](HDEVINFO, DeviceInfoData *, DWORD, DWORD *,
                                                         BYTE *buffer, DWORD, DWORD *required) {
            *required = size;
            std::fill_n(buffer, buffer ? size : 0, BYTE{'A'});
            if (!buffer)
                SetLastError(ErrorInsufficientBuffer);
            return buffer ? 1 : 0;
        };
        LocalAlloc.wrap([](auto &next, UINT flags, SIZE_T bytes) {
            void *block = next(flags, bytes + sizeof(WCHAR) * 10);
            copyToBuffer("BBBB", reinterpret_cast<WCHAR *>(static_cast<BYTE *>(block) + bytes), 10);
            return block;
        });
    }
};

class NoNameMachine : public TinyNameMachine
{
public:
    NoNameMachine() : TinyNameMachine(0) {}
};

/// The set of the Ports class with DIGCF_PRESENT.
const QString presentPorts = "SetupDiGetClassDevsW(&, null, null, 2)";
/// The two queries for SPDRP_FRIENDLYNAME: for the name's size in bytes, then
/// for the name.
const QString nameSize = "SetupDiGetDeviceRegistryPropertyW(0x10, &, 12, &, null, 0, &)";

QString nameOf(int bytes)
{
    return QString("SetupDiGetDeviceRegistryPropertyW(0x10, &, 12, &, &, %1, &)").arg(bytes);
}

/// An allocation of that many bytes with LPTR: fixed and filled with zeros.
QString zeroed(int bytes)
{
    return QString("LocalAlloc(64, %1)").arg(bytes);
}

} // namespace

class PortDiscoveryTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init() { m_store->clear(); }

    void findsThePort();
    void severalPortsInTheSystemsOrder();
    void portsAfterOneWithoutANumber();
    void names_data();
    void names();
    void longName();
    void nameThatGrows();
    void nameThatNeverFits();
    void unreadableName();
    void nameThatIsReadAndRefused();
    void emptyProperty();
    void aNameEndsWithItsBuffer();
    void noPorts();
    void enumerationEnds_data();
    void enumerationEnds();
    void operationFails_data();
    void operationFails();
    void failedSearchOverwritesThePort();
    void eachSearchWritesAnew();
    void theSamePortIsNotWrittenAgain();

private:
    std::unique_ptr<TestSettings> m_store;
};

void PortDiscoveryTest::findsThePort()
{
    Bench<> bench;
    bench.machine.ports = {{"Communications Port (COM1)"}, {"USB Modem Driver (COM5)"}};
    QVERIFY(SetCurrentPortSettings());
    QCOMPARE(
        bench.calls(),
        QStringList({presentPorts, "SetupDiEnumDeviceInfo(0x10, 0, &)", nameSize, "LocalFree(null)",
                     zeroed(108), nameOf(54), "LocalFree(@)", "SetupDiEnumDeviceInfo(0x10, 1, &)",
                     nameSize, "LocalFree(null)", zeroed(96), nameOf(48), "LocalFree(@)",
                     "SetupDiEnumDeviceInfo(0x10, 2, &)", "SetupDiDestroyDeviceInfoList(0x10)"}));
    QCOMPARE(bench.log.lines(),
             QStringList({device("Communications Port (COM1)"), device("USB Modem Driver (COM5)"),
                          "Got Port  5", messageLine(function, quoted("port 5 available"))}));
    QCOMPARE(QSettings().allKeys(), QStringList({"CurrentPort"}));
    QCOMPARE(QSettings().value("CurrentPort"), QVariant(5));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::severalPortsInTheSystemsOrder()
{
    Bench<> bench;
    bench.machine.ports = {{"Tolvane Modem Driver (COM7)"},
                           {"Communications Port (COM1)"},
                           {"USB Modem Driver (COM3)"}};
    QCOMPARE(GetModemPorts(), QList<int>({7, 3}));
    QCOMPARE(bench.log.lines(), QStringList({device("Tolvane Modem Driver (COM7)"), "Got Port  7",
                                             device("Communications Port (COM1)"),
                                             device("USB Modem Driver (COM3)"), "Got Port  3"}));
    QCOMPARE(QSettings().allKeys(), QStringList());

    bench.log.clear();
    QVERIFY(SetCurrentPortSettings());
    QCOMPARE(QSettings().value("CurrentPort").toInt(), 7);
    QCOMPARE(bench.log.lines().last(), messageLine(function, quoted("port 7 available")));
}

void PortDiscoveryTest::portsAfterOneWithoutANumber()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver"}, {"USB Modem Driver (COM6)"}};
    QCOMPARE(GetModemPorts(), QList<int>({6}));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("port"); // -1: not accepted, -2: accepted without a number
    QTest::newRow("USB Modem Driver") << "USB Modem Driver (COM5)" << 5;
    QTest::newRow("Tolvane Modem Driver") << "Tolvane Modem Driver (COM7)" << 7;
    QTest::newRow("two digits") << "USB Modem Driver (COM12)" << 12;
    QTest::newRow("COM256") << "USB Modem Driver (COM256)" << 256;
    QTest::newRow("text in the middle") << "My USB Modem Driver, new (COM8)" << 8;
    QTest::newRow("both texts") << "Tolvane Modem Driver USB Modem Driver (COM4)" << 4;
    QTest::newRow("digit earlier") << "USB Modem Driver #2 (COM9)" << 2;
    QTest::newRow("digit ahead of the text") << "3G USB Modem Driver (COM9)" << 3;
    QTest::newRow("digits at the end") << "USB Modem Driver COM31" << 31;
    QTest::newRow("number in two runs") << "USB Modem Driver 1 2" << 1;
    QTest::newRow("leading zeros") << "USB Modem Driver (COM007)" << 7;
    QTest::newRow("zero") << "USB Modem Driver (COM0)" << 0;
    // 2^32 + 5
    QTest::newRow("longer than a number") << "USB Modem Driver (COM4294967301)" << 5;
    QTest::newRow("surrogates") << QString::fromUtf8(
                                       "\U0001F4F1 USB Modem Driver \U0001F4F1 (COM6)")
                                << 6;
    QTest::newRow("lone surrogate") << QString(QChar(0xD83D)) + "USB Modem Driver (COM6)" << 6;
    QTest::newRow("digits of another script")
        << QString::fromUtf8("USB Modem Driver \u0667\uff17 (COM6)") << 6;
    QTest::newRow("lower case") << "usb modem driver (COM5)" << -1;
    QTest::newRow("lower case, other text") << "tolvane modem driver (COM5)" << -1;
    QTest::newRow("upper case") << "USB MODEM DRIVER (COM5)" << -1;
    QTest::newRow("two blanks") << "USB  Modem Driver (COM5)" << -1;
    QTest::newRow("part of the text") << "USB Modem (COM5)" << -1;
    QTest::newRow("serial port") << "Communications Port (COM1)" << -1;
    QTest::newRow("empty") << "" << -1;
    QTest::newRow("no digit") << "USB Modem Driver" << -2;
    QTest::newRow("no digit in parentheses") << "Tolvane Modem Driver (COM)" << -2;
}

void PortDiscoveryTest::names()
{
    QFETCH(const QString, name);
    QFETCH(const int, port);
    Bench<> bench;
    bench.machine.ports = {{name}};
    QStringList lines = {device(name)};
    if (port == -2)
        lines.append("No port number in " + quoted(name));
    if (port >= 0)
        lines.append(QString("Got Port  %1").arg(port));
    QCOMPARE(GetModemPorts(), port >= 0 ? QList<int>({port}) : QList<int>());
    QCOMPARE(bench.log.lines(), lines);
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::longName()
{
    Bench<> bench;
    const QString name = QString(30000, 'x') + " USB Modem Driver (COM11)";
    bench.machine.ports = {{name}, {"USB Modem Driver (COM2)"}};
    QCOMPARE(GetModemPorts(), QList<int>({11, 2}));
    QCOMPARE(bench.log.lines().first(), device(name));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::nameThatGrows()
{
    Bench<GrowingNameMachine> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.machine.reported = {4, 20, 40};
    QCOMPARE(GetModemPorts(), QList<int>({5}));
    // Each try offers what the one before reported and has twice that.
    QCOMPARE(bench.machine.offered, QList<DWORD>({0, 4, 20, 40, 48}));
    const QStringList calls = bench.calls();
    QCOMPARE(calls.filter("LocalAlloc"),
             QStringList({zeroed(8), zeroed(40), zeroed(80), zeroed(96)}));
    QCOMPARE(calls.filter("LocalFree").size(), 5);
    QCOMPARE(bench.leftOpen(), QString());
}

/// A driver to which no buffer is large enough must not stop the program.
void PortDiscoveryTest::nameThatNeverFits()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.injector.inject({"SetupDiGetDeviceRegistryPropertyW", 1, ErrorInsufficientBuffer, true});
    QCOMPARE(GetModemPorts(), QList<int>());
    QCOMPARE(bench.log.lines(), QStringList({device("")}));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::unreadableName()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)", false}, {"USB Modem Driver (COM6)", true}};
    QCOMPARE(GetModemPorts(), QList<int>({6}));
    QCOMPARE(bench.log.lines(),
             QStringList({device(""), device("USB Modem Driver (COM6)"), "Got Port  6"}));
    QCOMPARE(bench.leftOpen(), QString());
}

// What a driver leaves in the buffer when it fails is no name.
void PortDiscoveryTest::nameThatIsReadAndRefused()
{
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.machine.SetupDiGetDeviceRegistryPropertyW.wrap(
        [&bench](auto &next, HDEVINFO set, DeviceInfoData *device, DWORD property, DWORD *type,
                 BYTE *buffer, auto... sizes) {
            const BOOL result = next(set, device, property, type, buffer, sizes...);
            if (!buffer)
                return result;
            bench.machine.SetLastError(ErrorInvalidData);
            return BOOL{0};
        });
    QCOMPARE(GetModemPorts(), QList<int>());
    QCOMPARE(bench.log.lines(), QStringList({device("")}));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::aNameEndsWithItsBuffer()
{
    Bench<TinyNameMachine> tiny;
    tiny.machine.ports = {{"USB Modem Driver (COM5)"}};
    QCOMPARE(GetModemPorts(), QList<int>());
    QCOMPARE(tiny.log.lines(), QStringList({device("A")}));
    Bench<NoNameMachine> none;
    none.machine.ports = {{"USB Modem Driver (COM5)"}};
    QCOMPARE(GetModemPorts(), QList<int>());
    QCOMPARE(none.log.lines(), QStringList({device("")}));
}

void PortDiscoveryTest::emptyProperty()
{
    Bench<EmptyPropertyMachine> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    QCOMPARE(GetModemPorts(), QList<int>());
    QCOMPARE(bench.log.lines(), QStringList({device("")}));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::noPorts()
{
    Bench<> bench;
    QVERIFY(!SetCurrentPortSettings());
    QCOMPARE(bench.log.lines(), QStringList({errorLine(function, "No ports available")}));
    QCOMPARE(QSettings().value("CurrentPort"), QVariant(0));
    QVERIFY(QSettings().contains("CurrentPort"));
    QCOMPARE(bench.leftOpen(), QString());
}

void PortDiscoveryTest::enumerationEnds_data()
{
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<bool>("found");
    QTest::newRow("no more items") << ErrorNoMoreItems << true;
    QTest::newRow("success") << Success << true;
    QTest::newRow("invalid handle") << ErrorInvalidHandle << false;
    QTest::newRow("code of the installer") << DWORD{0xE0000235} << false;
}

void PortDiscoveryTest::enumerationEnds()
{
    QFETCH(const DWORD, code);
    QFETCH(const bool, found);
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.machine.enumerationEnd = code;
    QCOMPARE(GetModemPorts(), found ? QList<int>({5}) : QList<int>());
    QStringList lines = {device("USB Modem Driver (COM5)"), "Got Port  5"};
    if (!found)
        lines.append("Error occured after enumaration");
    QCOMPARE(bench.log.lines(), lines);
    // After an error the set is left open.
    QCOMPARE(bench.leftOpen(), found ? QString() : QString("1 device set"));
}

void PortDiscoveryTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<int>("port");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("leftOpen");
    const QString none = errorLine(function, "No ports available");
    const QString name = device("USB Modem Driver (COM5)");
    const QString found = messageLine(function, quoted("port 5 available"));
    const QString firstDevice = "SetupDiEnumDeviceInfo(0x10, 0, &)";
    const QString secondDevice = "SetupDiEnumDeviceInfo(0x10, 1, &)";
    const QStringList block = {"LocalFree(null)", zeroed(96)};
    const QString freed = "LocalFree(@)";
    const QString nothingFreed = "LocalFree(null)";
    const QString destroyed = "SetupDiDestroyDeviceInfoList(0x10)";
    const QStringList untilName =
        QStringList{presentPorts, firstDevice, nameSize} + block + QStringList{nameOf(48)};
    const QStringList all = untilName + QStringList{freed, secondDevice, destroyed};
    QTest::newRow("no set") << "SetupDiGetClassDevsW" << 1 << ErrorInvalidParameter << 0
                            << QStringList{"Got Invalid Handle Value on SetupDiGetClassDevs", none}
                            << QStringList{presentPorts} << "";
    QTest::newRow("first device") << "SetupDiEnumDeviceInfo" << 1 << ErrorAccessDenied << 0
                                  << QStringList{"Error occured after enumaration", none}
                                  << QStringList{presentPorts, firstDevice} << "1 device set";
    QTest::newRow("second device")
        << "SetupDiEnumDeviceInfo" << 2 << ErrorAccessDenied << 0
        << QStringList{name, "Got Port  5", "Error occured after enumaration", none}
        << untilName + QStringList{freed, secondDevice} << "1 device set";
    QTest::newRow("size of the name")
        << "SetupDiGetDeviceRegistryPropertyW" << 1 << ErrorInvalidData << 0
        << QStringList{device(""), none}
        << QStringList{presentPorts, firstDevice, nameSize, nothingFreed, secondDevice, destroyed}
        << "";
    QTest::newRow("name") << "SetupDiGetDeviceRegistryPropertyW" << 2 << ErrorInvalidData << 0
                          << QStringList{device(""), none} << all << "";
    QTest::newRow("no memory") << "LocalAlloc" << 1 << ErrorNotEnoughMemory << 0
                               << QStringList{device(""), none}
                               << QStringList{presentPorts, firstDevice, nameSize} + block +
                                      QStringList{nothingFreed, secondDevice, destroyed}
                               << "";
    QTest::newRow("free") << "LocalFree" << 2 << ErrorInvalidHandle << 5
                          << QStringList{name, "Got Port  5", found} << all << "1 block";
    QTest::newRow("destroy") << "SetupDiDestroyDeviceInfoList" << 1 << ErrorInvalidHandle << 5
                             << QStringList{name, "Got Port  5", found} << all << "1 device set";
}

void PortDiscoveryTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const DWORD, code);
    QFETCH(const int, port);
    QFETCH(const QStringList, lines);
    QFETCH(const QStringList, calls);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.fail(operation, code, call);
    QCOMPARE(SetCurrentPortSettings(), port != 0);
    QCOMPARE(bench.injector.firedFaults(), 1);
    QCOMPARE(bench.log.lines(), lines);
    QCOMPARE(bench.calls(), calls);
    QCOMPARE(QSettings().value("CurrentPort"), QVariant(port));
    QCOMPARE(bench.leftOpen(), leftOpen);
}

void PortDiscoveryTest::failedSearchOverwritesThePort()
{
    Bench<> bench;
    QSettings().setValue("CurrentPort", 7);
    QSettings().setValue("ports/7", "TolvaneModem 1");
    QVERIFY(!SetCurrentPortSettings());
    QCOMPARE(QSettings().value("CurrentPort"), QVariant(0));
    QCOMPARE(QSettings().value("ports/7").toString(), QString("TolvaneModem 1"));
}

void PortDiscoveryTest::eachSearchWritesAnew()
{
    Bench<> bench;
    for (const int port : {3, 14, 3}) {
        bench.machine.ports = {{QString("USB Modem Driver (COM%1)").arg(port)}};
        QVERIFY(SetCurrentPortSettings());
        QCOMPARE(QSettings().value("CurrentPort").toInt(), port);
    }
}

void PortDiscoveryTest::theSamePortIsNotWrittenAgain()
{
    // A remark does not survive a writing.
    const QByteArray before = "; by hand\n[General]\nCurrentPort=5\n";
    TestSettings::write(m_store->userFile(), before);
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    QVERIFY(SetCurrentPortSettings());
    QFile file(m_store->userFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
}

QTEST_GUILESS_MAIN(PortDiscoveryTest)
#include "portdiscovery_test.moc"
