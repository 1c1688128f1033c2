#include "tests/serial/serialfixture.h"

#include <QTest>

#include <climits>
#include <cstring>

using namespace platform;

class ModemPortOpeningTest : public QObject
{
    Q_OBJECT

private slots:
    void opensAndConfigures();
    void changesFourLineFieldsOnly();
    void portPath_data();
    void portPath();
    void openingFails_data();
    void openingFails();
    void failureOfTheMaskIsReportedApart();
};

void ModemPortOpeningTest::opensAndConfigures()
{
    Bench<> bench;
    ModemPort port{};
    QCOMPARE(printedBy([&] { port = openModemPort(7); }), QByteArray());

    QCOMPARE(port.state, ModemPortState::Ready);
    QCOMPARE(port.handle, reinterpret_cast<HANDLE>(ULONG_PTR{0x10}));
    QCOMPARE(bench.calls(), QStringList{openingCom7} + configuration);
    QCOMPARE(bench.log.lines(),
             QStringList({"\"\\\\.\\COM7\" \n", "Serial port  7  is successfully reconfigured."}));
    QCOMPARE(bench.machine.timeouts.ReadIntervalTimeout, 0xFFFFFFFFu);
    QCOMPARE(bench.machine.timeouts.ReadTotalTimeoutMultiplier, 0u);
    QCOMPARE(bench.machine.timeouts.ReadTotalTimeoutConstant, 0u);
    QCOMPARE(bench.machine.timeouts.WriteTotalTimeoutMultiplier, 0u);
    QCOMPARE(bench.machine.timeouts.WriteTotalTimeoutConstant, 0u);
    QCOMPARE(bench.leftOpen(), QString("1 port"));
}

void ModemPortOpeningTest::changesFourLineFieldsOnly()
{
    Bench<> bench;
    DeviceControlBlock expected{};
    for (std::size_t i = 0; i < sizeof expected; ++i)
        reinterpret_cast<unsigned char *>(&expected)[i] = static_cast<unsigned char>(0xA0 + i);
    bench.machine.lineSettings = expected;
    bench.machine.stateQuery.DCBlength = 1;

    openModemPort(7);
    expected.BaudRate = 9600;
    expected.ByteSize = 8;
    expected.Parity = 0;
    expected.StopBits = 0;
    QCOMPARE(std::memcmp(&bench.machine.lineSettings, &expected, sizeof expected), 0);
    const DeviceControlBlock zero{};
    QCOMPARE(std::memcmp(&bench.machine.stateQuery, &zero, sizeof zero), 0);
}

void ModemPortOpeningTest::portPath_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("path");
    QTest::newRow("COM1") << 1 << "\\\\.\\COM1";
    QTest::newRow("COM9") << 9 << "\\\\.\\COM9";
    QTest::newRow("COM10") << 10 << "\\\\.\\COM10";
    QTest::newRow("COM12") << 12 << "\\\\.\\COM12";
    QTest::newRow("COM256") << 256 << "\\\\.\\COM256";
    QTest::newRow("none") << 0 << "\\\\.\\COM0";
    QTest::newRow("largest") << INT_MAX << "\\\\.\\COM2147483647";
    QTest::newRow("smallest") << INT_MIN << "\\\\.\\COM-2147483648";
}

void ModemPortOpeningTest::portPath()
{
    QFETCH(const int, number);
    QFETCH(const QString, path);
    Bench<> bench;
    openModemPort(number);
    QCOMPARE(bench.machine.openedPath, path);
    QCOMPARE(bench.log.lines(),
             QStringList({'"' + path + "\" \n",
                          QString("Serial port  %1  is successfully reconfigured.").arg(number)}));
}

void ModemPortOpeningTest::openingFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("calls");
    QTest::addColumn<QString>("leftOpen");
    // The handle of a port that was opened stays open on every one of these.
    QTest::newRow("missing") << "CreateFileW" << ErrorFileNotFound
                             << "CreateFile failed with error  2" << 1 << "";
    QTest::newRow("open elsewhere")
        << "CreateFileW" << ErrorAccessDenied << "CreateFile failed with error  5" << 1 << "";
    QTest::newRow("GetCommState") << "GetCommState" << ErrorGenFailure
                                  << "GetCommState failed with error 31" << 2 << "1 port";
    QTest::newRow("SetCommState") << "SetCommState" << ErrorInvalidParameter
                                  << "SetCommState failed with error 87" << 3 << "1 port";
    QTest::newRow("SetCommTimeouts") << "SetCommTimeouts" << DWORD{0xE0000235}
                                     << "Error setting time-outs 3758096949" << 4 << "1 port";
}

void ModemPortOpeningTest::openingFails()
{
    QFETCH(const QString, operation);
    QFETCH(const DWORD, code);
    QFETCH(const QString, line);
    QFETCH(const int, calls);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.fail(operation, code);
    ModemPort port{};
    QCOMPARE(printedBy([&] { port = openModemPort(7); }), QByteArray());
    QCOMPARE(port.state, ModemPortState::Failed);

    const QStringList all = {"CreateFileW", "GetCommState", "SetCommState", "SetCommTimeouts",
                             "SetCommMask"};
    QCOMPARE(bench.injector.operations(), QStringList(all.mid(0, calls)));
    QStringList lines = {"\"\\\\.\\COM7\" \n"};
    if (operation == "SetCommTimeouts")
        lines.append("Serial port  7  is successfully reconfigured.");
    lines.append(line);
    QCOMPARE(bench.log.lines(), lines);
    QCOMPARE(bench.leftOpen(), leftOpen);
}

void ModemPortOpeningTest::failureOfTheMaskIsReportedApart()
{
    Bench<> bench;
    bench.fail("SetCommMask", ErrorGenFailure);
    ModemPort port{};
    QCOMPARE(printedBy([&] { port = openModemPort(7); }), QByteArray());
    QCOMPARE(port.state, ModemPortState::NoEventMask);
    QCOMPARE(bench.injector.operations(),
             QStringList({"CreateFileW", "GetCommState", "SetCommState", "SetCommTimeouts",
                          "SetCommMask"}));
    QCOMPARE(bench.log.lines(),
             QStringList({"\"\\\\.\\COM7\" \n", "Serial port  7  is successfully reconfigured.",
                          "SetCommMask failed with error 31"}));
    QCOMPARE(bench.leftOpen(), QString("1 port"));
}

QTEST_GUILESS_MAIN(ModemPortOpeningTest)
#include "modemport_opening_test.moc"
