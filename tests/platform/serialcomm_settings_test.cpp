#include "tests/platform/serialcommfixture.h"

#include <QTest>

using namespace platform;

/// Line settings, time-outs and event masks.
class SerialCommSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void keepsLineSettings();
    void setsLineSettings();
    void refusesBadLineSettings_data();
    void refusesBadLineSettings();
    void tellsOfAParityCheck();
    void switchesTheTerminalToRaw();
    void refusesOtherTimeouts();
    void refusesReadsBeforeTimeouts();
    void refusesOtherEvents();
};

void SerialCommSettingsTest::keepsLineSettings()
{
    TestSerial serial;
    OpenPort port(serial);
    termios before = {};
    QCOMPARE(::tcgetattr(port.pty.master(), &before), 0);
    DeviceControlBlock settings = {};
    QVERIFY(serial.GetCommState(port.handle, &settings));
    QCOMPARE(settings.DCBlength, DWORD(28));
    QVERIFY(settings.Flags & 1); // binary
    settings.BaudRate = BaudRate9600;
    settings.ByteSize = 8;
    settings.Parity = NoParity;
    settings.StopBits = OneStopBit;
    QVERIFY(serial.SetCommState(port.handle, &settings));
    termios after = {};
    QCOMPARE(::tcgetattr(port.pty.master(), &after), 0);
    QCOMPARE(after.c_iflag, before.c_iflag);
    QCOMPARE(after.c_oflag, before.c_oflag);
    QCOMPARE(after.c_lflag, before.c_lflag);
    QCOMPARE(after.c_cc[VMIN], before.c_cc[VMIN]);
    QVERIFY(after.c_cflag & CLOCAL);
    QVERIFY(after.c_cflag & CREAD);
}

void SerialCommSettingsTest::setsLineSettings()
{
    TestSerial serial;
    OpenPort port(serial);
    DeviceControlBlock settings = {};
    QVERIFY(serial.GetCommState(port.handle, &settings));
    settings.BaudRate = 115200;
    settings.StopBits = 2;
    settings.Flags |= 0x0300; // XON/XOFF both ways
    QVERIFY(serial.SetCommState(port.handle, &settings));
    termios line = {};
    QCOMPARE(::tcgetattr(port.pty.master(), &line), 0);
    QCOMPARE(::cfgetospeed(&line), speed_t(B115200));
    QVERIFY(line.c_cflag & CSTOPB);
    QVERIFY(line.c_iflag & IXON);
    DeviceControlBlock read = {};
    QVERIFY(serial.GetCommState(port.handle, &read));
    QCOMPARE(read.BaudRate, DWORD(115200));
    QCOMPARE(read.StopBits, BYTE(2));
    QCOMPARE(read.Flags, settings.Flags);

    settings.BaudRate = BaudRate9600;
    settings.StopBits = OneStopBit;
    settings.Flags &= ~DWORD(0x0300);
    QVERIFY(serial.SetCommState(port.handle, &settings));
    QVERIFY(serial.GetCommState(port.handle, &read));
    QCOMPARE(read.BaudRate, DWORD(9600));
    QCOMPARE(read.ByteSize, BYTE(8));
    QCOMPARE(read.Parity, BYTE(0));
    QCOMPARE(read.StopBits, BYTE(0));
}

void SerialCommSettingsTest::refusesBadLineSettings_data()
{
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<int>("byteSize");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("flags");
    QTest::addColumn<DWORD>("code");
    const DWORD invalid = ErrorInvalidParameter;
    const int flags = 0x1011;
    QTest::newRow("baud rate") << 9601 << 8 << 0 << 0 << flags << invalid;
    QTest::newRow("baud rate 0") << 0 << 8 << 0 << 0 << flags << invalid;
    QTest::newRow("4 bits") << 9600 << 4 << 0 << 0 << flags << invalid;
    QTest::newRow("9 bits") << 9600 << 9 << 0 << 0 << flags << invalid;
    QTest::newRow("no such parity") << 9600 << 8 << 5 << 0 << flags << invalid;
    QTest::newRow("1.5 stop bits") << 9600 << 8 << 0 << 1 << flags << invalid;
    QTest::newRow("not binary") << 9600 << 8 << 0 << 0 << 0x1010 << invalid;
    // A pseudo-terminal has neither: the driver would drop them silently.
    QTest::newRow("7 bits") << 9600 << 7 << 0 << 0 << flags << invalid;
    QTest::newRow("even parity") << 9600 << 8 << 2 << 0 << flags << invalid;
    QTest::newRow("DSR flow") << 9600 << 8 << 0 << 0 << (flags | 8) << DWORD(ErrorNotSupported);
}

void SerialCommSettingsTest::refusesBadLineSettings()
{
    QFETCH(int, baudRate);
    QFETCH(int, byteSize);
    QFETCH(int, parity);
    QFETCH(int, stopBits);
    QFETCH(int, flags);
    QFETCH(DWORD, code);
    TestSerial serial;
    OpenPort port(serial);
    DeviceControlBlock before = {};
    QVERIFY(serial.GetCommState(port.handle, &before));
    DeviceControlBlock settings = before;
    settings.BaudRate = static_cast<DWORD>(baudRate);
    settings.ByteSize = static_cast<BYTE>(byteSize);
    settings.Parity = static_cast<BYTE>(parity);
    settings.StopBits = static_cast<BYTE>(stopBits);
    settings.Flags = static_cast<DWORD>(flags);
    QVERIFY(!serial.SetCommState(port.handle, &settings));
    QCOMPARE(lastError(), code);
    DeviceControlBlock after = {};
    QVERIFY(serial.GetCommState(port.handle, &after));
    QCOMPARE(memcmp(&after, &before, sizeof after), 0);
}

// Whoever had the line before may have switched it on.
void SerialCommSettingsTest::tellsOfAParityCheck()
{
    constexpr DWORD FlagParityCheck = 2;
    TestSerial serial;
    OpenPort port(serial);
    DeviceControlBlock settings = {};
    QVERIFY(serial.GetCommState(port.handle, &settings));
    QCOMPARE(settings.Flags & FlagParityCheck, DWORD(0));
    termios line = {};
    QCOMPARE(::tcgetattr(port.pty.master(), &line), 0);
    line.c_iflag |= INPCK;
    QCOMPARE(::tcsetattr(port.pty.master(), TCSANOW, &line), 0);
    QVERIFY(serial.GetCommState(port.handle, &settings));
    QCOMPARE(settings.Flags & FlagParityCheck, DWORD(FlagParityCheck));
}

void SerialCommSettingsTest::switchesTheTerminalToRaw()
{
    TestSerial serial;
    Pty pty;
    termios line = {};
    QCOMPARE(::tcgetattr(pty.master(), &line), 0);
    line.c_lflag |= ICANON | ECHO | ISIG;
    line.c_oflag |= OPOST | ONLCR;
    line.c_iflag |= ICRNL;
    QCOMPARE(::tcsetattr(pty.master(), TCSANOW, &line), 0);
    serial.nodes[5] = pty.node();
    const HANDLE handle = openPath(serial, "\\\\.\\COM5");
    QVERIFY(handle != invalidHandle());
    QCOMPARE(::tcgetattr(pty.master(), &line), 0);
    QVERIFY(!(line.c_lflag & (ICANON | ECHO | ISIG)));
    QVERIFY(!(line.c_oflag & OPOST));
    QVERIFY(!(line.c_iflag & ICRNL));
}

void SerialCommSettingsTest::refusesOtherTimeouts()
{
    TestSerial serial;
    OpenPort port(serial);
    for (int field = 0; field < 5; ++field) {
        CommTimeouts timeouts = atOnce;
        DWORD *fields[] = {&timeouts.ReadIntervalTimeout, &timeouts.ReadTotalTimeoutMultiplier,
                           &timeouts.ReadTotalTimeoutConstant,
                           &timeouts.WriteTotalTimeoutMultiplier,
                           &timeouts.WriteTotalTimeoutConstant};
        *fields[field] = 100;
        QVERIFY(!serial.SetCommTimeouts(port.handle, &timeouts));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }
}

void SerialCommSettingsTest::refusesReadsBeforeTimeouts()
{
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    const HANDLE handle = openPath(serial, "\\\\.\\COM5");
    Overlapped overlapped = {};
    char buffer[10];
    DWORD count = 7;
    QVERIFY(!serial.ReadFile(handle, buffer, sizeof buffer, &count, &overlapped));
    QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    QCOMPARE(count, DWORD(0));
}

void SerialCommSettingsTest::refusesOtherEvents()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.SetCommMask(port.handle, 0x0100));
    QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    QVERIFY(serial.SetCommMask(port.handle, 0));
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
}

QTEST_GUILESS_MAIN(SerialCommSettingsTest)
#include "serialcomm_settings_test.moc"
