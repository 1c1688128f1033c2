#include "dialup/modemdevices.h"
#include "platform/text.h"
#include "tests/dialup/dialupfixture.h"
#include "tests/support/bench.h"

#include <QTest>

using namespace platform;

namespace {

using Devices = QList<ScriptedMachine::Device>;

/// Reports a count that is not the number of devices of the size query.
class ChangingMachine : public ScriptedMachine
{
public:
    DWORD sizeFieldSeen = 0;
    bool blockWasClear = true;

    ChangingMachine()
    {
        RasEnumDevicesW.wrap(
            [this](auto &next, RasDeviceInfo *devices, DWORD *bytes, DWORD *count) {
                if (devices) {
                    sizeFieldSeen = devices[0].dwSize;
                    const auto *block = reinterpret_cast<const BYTE *>(devices);
                    for (DWORD i = sizeof(DWORD); i < *bytes; ++i)
                        blockWasClear = blockWasClear && block[i] == 0;
                    // A device went away in between.
                    rasDevices.removeLast();
                }
                return next(devices, bytes, count);
            });
    }
};

/// Tells a size and a count that do not fit its devices. What lies behind the block
/// looks like more of them.
class MisreportingMachine : public ScriptedMachine
{
public:
    DWORD reportedSize = 0;
    DWORD reportedCount = 0;
    DWORD offeredSize = 0; ///< to the second call

    MisreportingMachine()
    {
        RasEnumDevicesW.wrap(
            [this](auto &next, RasDeviceInfo *devices, DWORD *bytes, DWORD *count) {
                if (!devices) {
                    *bytes = reportedSize;
                    return RasErrorBufferTooSmall;
                }
                offeredSize = *bytes;
                DWORD size = static_cast<DWORD>(rasDevices.size()) * RasDeviceInfoSize;
                const DWORD result = next(devices, &size, count);
                const DWORD block = qMax(offeredSize, RasDeviceInfoSize);
                for (DWORD i = (block - 1) / RasDeviceInfoSize + 1; i < MostRecords; ++i)
                    devices[i] = devices[0];
                *bytes = 10 * RasDeviceInfoSize;
                *count = reportedCount;
                return result;
            });
        HeapAlloc.wrap([](auto &next, HANDLE heap, DWORD flags, SIZE_T bytes) {
            return next(heap, flags, bytes + MostRecords * RasDeviceInfoSize);
        });
    }

private:
    static constexpr DWORD MostRecords = 10;
};

} // namespace

class ModemDevicesTest : public QObject
{
    Q_OBJECT

private slots:
    void asksTwice();
    void noDevices();
    void acceptedDevices_data();
    void acceptedDevices();
    void sorting();
    void namesThatFillTheirField();
    void deviceGoneBetweenTheCalls();
    void misreportedSizes_data();
    void misreportedSizes();
    void blockThatIsNotFreed();
};

void ModemDevicesTest::asksTwice()
{
    Bench<> bench;
    bench.machine.rasDevices = {{"vpn", "WAN Miniport"}, {"modem", "MTK GPRS Modem"}};
    QList<DWORD> firstAsked;
    bench.machine.RasEnumDevicesW.wrap(
        [&firstAsked](auto &next, RasDeviceInfo *devices, DWORD *bytes, DWORD *count) {
            if (!devices)
                firstAsked = {*bytes, *count};
            return next(devices, bytes, count);
        });
    QCOMPARE(GetRasDevices(), QStringList({"MTK GPRS Modem"}));
    QCOMPARE(firstAsked, QList<DWORD>({0, 0}));
    QCOMPARE(bench.calls(),
             QStringList({"RasEnumDevicesW(null, &, &)", "GetProcessHeap()", zeroed(592),
                          "RasEnumDevicesW(&, &, &)", "HeapFree(0x1, 0, @)"}));
    QCOMPARE(bench.log.lines(), QStringList());
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemDevicesTest::noDevices()
{
    Bench<> bench;
    QCOMPARE(GetRasDevices(), QStringList());
    QCOMPARE(bench.calls(), QStringList({"RasEnumDevicesW(null, &, &)"}));
}

void ModemDevicesTest::acceptedDevices_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("accepted"); // null when it is not
    const QString none;
    QTest::newRow("MTK") << "modem"
                         << "MTK GPRS Modem"
                         << "MTK GPRS Modem";
    QTest::newRow("Tolvane") << "modem"
                             << "Tolvane GPRS Modem"
                             << "Tolvane GPRS Modem";
    QTest::newRow("second instance") << "modem"
                                     << "MTK GPRS Modem #2"
                                     << "MTK GPRS Modem #2";
    QTest::newRow("text in the middle") << "modem"
                                        << "My Tolvane GPRS Modem (new)"
                                        << "My Tolvane GPRS Modem (new)";
    QTest::newRow("lower case") << "modem"
                                << "mtk gprs modem" << none;
    QTest::newRow("lower case, other text") << "modem"
                                            << "tolvane gprs modem" << none;
    QTest::newRow("part of the text") << "modem"
                                      << "GPRS Modem" << none;
    QTest::newRow("another modem") << "modem"
                                   << "Standard 56000 bps Modem" << none;
    QTest::newRow("empty name") << "modem"
                                << "" << none;
    QTest::newRow("VPN") << "vpn"
                         << "MTK GPRS Modem" << none;
    QTest::newRow("type in upper case") << "MODEM"
                                        << "MTK GPRS Modem" << none;
    QTest::newRow("longer type") << "modem2"
                                 << "MTK GPRS Modem" << none;
    QTest::newRow("shorter type") << "mode"
                                  << "MTK GPRS Modem" << none;
    QTest::newRow("constant's name as type") << "RASDT_Modem"
                                             << "MTK GPRS Modem" << none;
    QTest::newRow("empty type") << ""
                                << "MTK GPRS Modem" << none;
    // Of every unit only the low byte is kept.
    QTest::newRow("Latin-1") << "modem" << QString("MTK GPRS Modem ") + QChar(0xE9)
                             << QString("MTK GPRS Modem ") + QChar(0xE9);
    QTest::newRow("beyond Latin-1") << "modem" << QString("MTK GPRS Modem ") + QChar(0x0995)
                                    << QString("MTK GPRS Modem ") + QChar(0x95);
    QTest::newRow("surrogates") << "modem" << QString::fromUtf8("MTK GPRS Modem \U0001F4F1")
                                << QString("MTK GPRS Modem ") + QChar(0x3D) + QChar(0xF1);
    QTest::newRow("text out of low bytes") << "modem" << QString(QChar(0x054D)) + "TK GPRS Modem"
                                           << "MTK GPRS Modem";
    QTest::newRow("low byte 0 behind")
        << "modem" << QString("MTK GPRS Modem") + QChar(0x0100) + " #2"
        << "MTK GPRS Modem";
    QTest::newRow("low byte 0 ahead")
        << "modem" << QString(QChar(0x0100)) + "MTK GPRS Modem" << none;
}

void ModemDevicesTest::acceptedDevices()
{
    QFETCH(const QString, type);
    QFETCH(const QString, name);
    QFETCH(const QString, accepted);
    Bench<> bench;
    bench.machine.rasDevices = {{type, name}};
    QCOMPARE(GetRasDevices(), accepted.isNull() ? QStringList() : QStringList(accepted));
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemDevicesTest::sorting()
{
    Bench<> bench;
    bench.machine.rasDevices = {{"modem", "Tolvane GPRS Modem"},   {"modem", "MTK GPRS Modem #2"},
                                {"vpn", "Tolvane GPRS Modem #9"},  {"modem", "a MTK GPRS Modem"},
                                {"modem", "MTK GPRS Modem #10"},   {"modem", "MTK GPRS Modem"},
                                {"modem", "Tolvane GPRS Modem #2"}};
    QCOMPARE(GetRasDevices(),
             QStringList({"MTK GPRS Modem", "MTK GPRS Modem #10", "MTK GPRS Modem #2",
                          "Tolvane GPRS Modem", "Tolvane GPRS Modem #2", "a MTK GPRS Modem"}));
}

void ModemDevicesTest::namesThatFillTheirField()
{
    Bench<> bench;
    const QString name = "MTK GPRS Modem" + QString(114, 'x');
    QCOMPARE(name.size(), 128);
    bench.machine.rasDevices = {{"modem", name}, {QString(16, 'm'), "MTK GPRS Modem"}};
    QCOMPARE(GetRasDevices(), QStringList({name}));
}

void ModemDevicesTest::deviceGoneBetweenTheCalls()
{
    Bench<ChangingMachine> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}, {"modem", "MTK GPRS Modem #2"}};
    QCOMPARE(GetRasDevices(), QStringList({"MTK GPRS Modem"}));
    QCOMPARE(bench.machine.sizeFieldSeen, DWORD{296});
    QVERIFY(bench.machine.blockWasClear);
    QCOMPARE(bench.leftOpen(), QString());
}

// The block always holds a whole record, and no more records are looked at
// than it holds. The size argument stays what the query gave.
void ModemDevicesTest::misreportedSizes_data()
{
    QTest::addColumn<DWORD>("size");
    QTest::addColumn<DWORD>("count");
    QTest::addColumn<QString>("allocation");
    QTest::addColumn<int>("found");
    QTest::newRow("less than a record") << DWORD{100} << DWORD{1} << zeroed(296) << 1;
    QTest::newRow("nothing") << DWORD{0} << DWORD{1} << zeroed(296) << 1;
    QTest::newRow("part of a second record") << DWORD{400} << DWORD{2} << zeroed(400) << 1;
    QTest::newRow("count beyond the block") << DWORD{296} << DWORD{9} << zeroed(296) << 1;
    QTest::newRow("no devices after all") << DWORD{296} << DWORD{0} << zeroed(296) << 0;
}

void ModemDevicesTest::misreportedSizes()
{
    QFETCH(const DWORD, size);
    QFETCH(const DWORD, count);
    QFETCH(const QString, allocation);
    QFETCH(const int, found);
    Bench<MisreportingMachine> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
    bench.machine.reportedSize = size;
    bench.machine.reportedCount = count;
    QCOMPARE(GetRasDevices().size(), found);
    QCOMPARE(bench.calls().at(2), allocation);
    QCOMPARE(bench.machine.offeredSize, size);
    QCOMPARE(bench.leftOpen(), QString());
}

void ModemDevicesTest::blockThatIsNotFreed()
{
    Bench<> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
    bench.fail("HeapFree", ErrorInvalidParameter);
    QCOMPARE(GetRasDevices(), QStringList({"MTK GPRS Modem"}));
    QCOMPARE(bench.leftOpen(), QString("1 block"));
}

QTEST_GUILESS_MAIN(ModemDevicesTest)
#include "modemdevices_test.moc"
