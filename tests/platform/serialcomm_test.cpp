#include "platform/platform.h"
#include "platform/posix/serialcomm.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/platform/posix_pty.h"

#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <sys/resource.h>
#include <thread>

using namespace platform;

namespace {

/// Ports are what the test plugs in.
struct TestSerial : Platform {
    TestSerial()
    {
        const auto handles = std::make_shared<Handles>();
        provideKernelObjects(this, handles);
        provideSerialComm(this, handles, [this](int number, QString *node) {
            *node = nodes.value(number);
            return node->isEmpty() ? ErrorFileNotFound : Success;
        });
    }

    QMap<int, QString> nodes;
};

HANDLE openPath(TestSerial &serial, const QString &path)
{
    return serial.CreateFileW(wide(path), GenericRead | GenericWrite, 0, nullptr, OpenExisting,
                              FileFlagOverlapped, nullptr);
}

const CommTimeouts atOnce = {MaxDword, 0, 0, 0, 0};

/// A port opened and set up as the program does it, and its records.
struct OpenPort {
    explicit OpenPort(TestSerial &owner, DWORD mask = EventReceivedCharacter | EventTransmitEmpty)
        : serial(owner)
    {
        serial.nodes[5] = pty.node();
        handle = openPath(serial, "\\\\.\\COM5");
        CommTimeouts timeouts = atOnce;
        if (handle == invalidHandle() || !serial.SetCommTimeouts(handle, &timeouts) ||
            !serial.SetCommMask(handle, mask))
            qFatal("the test's port does not open");
        overlapped.hEvent = serial.CreateEventW(nullptr, 1, 0, nullptr);
    }
    ~OpenPort()
    {
        serial.CloseHandle(overlapped.hEvent);
        serial.CloseHandle(handle);
    }

    QByteArray read(int size = 100)
    {
        QByteArray buffer(size, '\0');
        DWORD count = 0;
        readResult =
            serial.ReadFile(handle, buffer.data(), static_cast<DWORD>(size), &count, &overlapped);
        readError = readResult ? DWORD(Success) : lastError();
        return buffer.left(static_cast<int>(count));
    }
    DWORD waitForInput()
    {
        serial.WaitCommEvent(handle, &events, &overlapped);
        return serial.WaitForSingleObject(overlapped.hEvent, 5000);
    }

    TestSerial &serial;
    Pty pty;
    HANDLE handle = nullptr;
    Overlapped overlapped = {};
    DWORD events = 0;
    BOOL readResult = 0;
    DWORD readError = 0;
};

} // namespace

class SerialCommTest : public QObject
{
    Q_OBJECT

private slots:
    void opensAPort_data();
    void opensAPort();
    void refusesOtherNames_data();
    void refusesOtherNames();
    void refusesOtherWaysOfOpening();
    void opensOnlyOnce();
    void isExclusiveAcrossProcesses();
    void freesThePortWhenClosed();
    void opensWithNothingReceived();
    void refusesANodeThatIsNoTerminal();
    void keepsLineSettings();
    void setsLineSettings();
    void refusesBadLineSettings_data();
    void refusesBadLineSettings();
    void switchesTheTerminalToRaw();
    void refusesOtherTimeouts();
    void refusesReadsBeforeTimeouts();
    void refusesOtherEvents();
    void readsWhatIsThere();
    void deliversAChunkOf100Bytes();
    void keepsSplitAnswersApart();
    void writesAtOnce();
    void writesNothing();
    void reportsAnEmptyTransmitterOnce();
    void finishesAWriteThatTheLineDidNotTake();
    void finishesAWriteWhileWaitingForInput();
    void writesInOrder();
    void wakesUpWhenInputComes();
    void reportsInputThatIsThereAlready();
    void completesInTheBackground();
    void refusesASecondWait();
    void endsAWaitWhenTheMaskChanges();
    void timesOut();
    void waitsForAnEventThatAnotherThreadArms();
    void waitsWithoutWakingUp();
    void countsAutoResetEvents();
    void endsAWaitOnHangUp();
    void failsEverythingAfterHangUp();
    void endsAPendingWriteOnHangUp();
    void endsPendingOperationsOnClose();
    void refusesForeignHandles();
};

void SerialCommTest::opensAPort_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("number");
    QTest::newRow("COM5") << "\\\\.\\COM5" << 5;
    QTest::newRow("COM12") << "\\\\.\\COM12" << 12;
    QTest::newRow("COM256") << "\\\\.\\COM256" << 256;
    QTest::newRow("lower case") << "\\\\.\\com7" << 7;
}

void SerialCommTest::opensAPort()
{
    QFETCH(QString, path);
    QFETCH(int, number);
    TestSerial serial;
    Pty pty;
    serial.nodes[number] = pty.node();
    const HANDLE handle = openPath(serial, path);
    QVERIFY(handle != invalidHandle());
    QVERIFY(serial.CloseHandle(handle));
}

void SerialCommTest::refusesOtherNames_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<DWORD>("code");
    QTest::newRow("no such port") << "\\\\.\\COM6" << DWORD(ErrorFileNotFound);
    QTest::newRow("port 0") << "\\\\.\\COM0" << DWORD(ErrorFileNotFound);
    QTest::newRow("leading zero") << "\\\\.\\COM05" << DWORD(ErrorFileNotFound);
    QTest::newRow("sign") << "\\\\.\\COM+5" << DWORD(ErrorFileNotFound);
    QTest::newRow("no number") << "\\\\.\\COM" << DWORD(ErrorFileNotFound);
    QTest::newRow("other device") << "\\\\.\\LPT5" << DWORD(ErrorFileNotFound);
    QTest::newRow("file") << "C:\\file" << DWORD(ErrorNotSupported);
}

void SerialCommTest::refusesOtherNames()
{
    QFETCH(QString, path);
    QFETCH(DWORD, code);
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    serial.nodes[0] = pty.node();
    QCOMPARE(openPath(serial, path), invalidHandle());
    QCOMPARE(lastError(), code);
}

void SerialCommTest::refusesOtherWaysOfOpening()
{
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    const QString path = "\\\\.\\COM5";
    const auto open = [&](DWORD access, DWORD share, DWORD disposition, DWORD flags) {
        setLastError(Success);
        const HANDLE handle =
            serial.CreateFileW(wide(path), access, share, nullptr, disposition, flags, nullptr);
        return handle == invalidHandle() ? lastError() : DWORD(Success);
    };
    const DWORD both = GenericRead | GenericWrite;
    QCOMPARE(open(both, 1, OpenExisting, FileFlagOverlapped), DWORD(ErrorInvalidParameter));
    QCOMPARE(open(both, 0, 2, FileFlagOverlapped), DWORD(ErrorInvalidParameter));
    QCOMPARE(open(GenericRead, 0, OpenExisting, FileFlagOverlapped), DWORD(ErrorNotSupported));
    QCOMPARE(open(both, 0, OpenExisting, 0), DWORD(ErrorNotSupported));
    QCOMPARE(
        serial.CreateFileW(nullptr, both, 0, nullptr, OpenExisting, FileFlagOverlapped, nullptr),
        invalidHandle());
    QCOMPARE(open(both, 0, OpenExisting, FileFlagOverlapped), DWORD(Success));
}

void SerialCommTest::opensOnlyOnce()
{
    TestSerial serial;
    OpenPort port(serial);
    QCOMPARE(openPath(serial, "\\\\.\\COM5"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
    TestSerial other; // another user of the same machine
    other.nodes[9] = port.pty.node();
    QCOMPARE(openPath(other, "\\\\.\\COM9"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
}

void SerialCommTest::isExclusiveAcrossProcesses()
{
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    QProcess holder;
    holder.start("flock", {"--exclusive", "--nonblock", pty.node(), "sh", "-c", "echo held; cat"});
    QVERIFY(holder.waitForStarted());
    QVERIFY(holder.waitForReadyRead());
    QCOMPARE(openPath(serial, "\\\\.\\COM5"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
    holder.closeWriteChannel();
    QVERIFY(holder.waitForFinished());
    QVERIFY(openPath(serial, "\\\\.\\COM5") != invalidHandle());
}

void SerialCommTest::freesThePortWhenClosed()
{
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    for (int i = 0; i < 3; ++i) {
        const HANDLE handle = openPath(serial, "\\\\.\\COM5");
        QVERIFY(handle != invalidHandle());
        QVERIFY(serial.CloseHandle(handle));
        QVERIFY(!serial.CloseHandle(handle));
        QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
    }
}

void SerialCommTest::opensWithNothingReceived()
{
    TestSerial serial;
    Pty pty;
    serial.nodes[5] = pty.node();
    QVERIFY(serial.CloseHandle(openPath(serial, "\\\\.\\COM5")));
    pty.send("\r\nNO CARRIER\r\n"); // comes while the port is closed
    const HANDLE handle = openPath(serial, "\\\\.\\COM5");
    QVERIFY(handle != invalidHandle());
    pty.send("\r\nOK\r\n"); // and this while it is open
    CommTimeouts timeouts = atOnce;
    QVERIFY(serial.SetCommTimeouts(handle, &timeouts));
    QVERIFY(serial.SetCommMask(handle, EventReceivedCharacter));
    Overlapped overlapped = {};
    overlapped.hEvent = serial.CreateEventW(nullptr, 1, 0, nullptr);
    DWORD events = 0;
    serial.WaitCommEvent(handle, &events, &overlapped);
    QCOMPARE(serial.WaitForSingleObject(overlapped.hEvent, 5000), DWORD(WaitObject0));
    char buffer[100];
    DWORD count = 0;
    QVERIFY(serial.ReadFile(handle, buffer, sizeof buffer, &count, &overlapped));
    QCOMPARE(QByteArray(buffer, static_cast<int>(count)), QByteArray("\r\nOK\r\n"));
    serial.CloseHandle(overlapped.hEvent);
    serial.CloseHandle(handle);
}

void SerialCommTest::refusesANodeThatIsNoTerminal()
{
    QTemporaryDir dir;
    QFile file(dir.filePath("node"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    TestSerial serial;
    serial.nodes[5] = file.fileName();
    QCOMPARE(openPath(serial, "\\\\.\\COM5"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
    serial.nodes[5] = dir.filePath("missing");
    QCOMPARE(openPath(serial, "\\\\.\\COM5"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
}

void SerialCommTest::keepsLineSettings()
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

void SerialCommTest::setsLineSettings()
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

void SerialCommTest::refusesBadLineSettings_data()
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

void SerialCommTest::refusesBadLineSettings()
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

void SerialCommTest::switchesTheTerminalToRaw()
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

void SerialCommTest::refusesOtherTimeouts()
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

void SerialCommTest::refusesReadsBeforeTimeouts()
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

void SerialCommTest::refusesOtherEvents()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.SetCommMask(port.handle, 0x0100));
    QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    QVERIFY(serial.SetCommMask(port.handle, 0));
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
}

void SerialCommTest::readsWhatIsThere()
{
    TestSerial serial;
    OpenPort port(serial);
    QCOMPARE(port.read(), QByteArray());
    QVERIFY(port.readResult);
    port.pty.send("\r\nOK\r\n");
    QCOMPARE(port.waitForInput(), DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
    QCOMPARE(port.read(), QByteArray("\r\nOK\r\n"));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray());
    DWORD count = 9;
    QVERIFY(serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 0));
    QCOMPARE(count, DWORD(0));
}

void SerialCommTest::deliversAChunkOf100Bytes()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.send(QByteArray(100, 'x') + "\r\nOK\r\n");
    QCOMPARE(port.waitForInput(), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray(100, 'x'));
    QCOMPARE(port.read(), QByteArray("\r\nOK\r\n"));
}

void SerialCommTest::keepsSplitAnswersApart()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.send("AT\r\r\nO"); // an echo, and the answer's first half
    QCOMPARE(port.waitForInput(), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray("AT\r\r\nO"));
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    port.pty.send("K\r\n");
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 5000), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray("K\r\n"));
}

void SerialCommTest::writesAtOnce()
{
    TestSerial serial;
    OpenPort port(serial);
    DWORD written = 0;
    QVERIFY(serial.WriteFile(port.handle, "AT\r", 3, &written, &port.overlapped));
    QCOMPARE(written, DWORD(3));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.pty.receive(3), QByteArray("AT\r"));
    DWORD count = 0;
    QVERIFY(serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1));
    QCOMPARE(count, DWORD(3));
}

void SerialCommTest::writesNothing()
{
    TestSerial serial;
    OpenPort port(serial);
    DWORD written = 1;
    QVERIFY(serial.WriteFile(port.handle, "", 0, &written, &port.overlapped));
    QCOMPARE(written, DWORD(0));
}

void SerialCommTest::reportsAnEmptyTransmitterOnce()
{
    TestSerial serial;
    OpenPort port(serial);
    DWORD written = 0;
    Overlapped write = {};
    QVERIFY(serial.WriteFile(port.handle, "AT\r", 3, &written, &write));
    QVERIFY(serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(port.events, DWORD(EventTransmitEmpty));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray());
    // Once only, and the event is reset by arming it again.
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitTimeout));
}

void SerialCommTest::finishesAWriteThatTheLineDidNotTake()
{
    TestSerial serial;
    OpenPort port(serial);
    const QByteArray data(1024 * 1024, 'w');
    DWORD written = 1;
    QVERIFY(!serial.WriteFile(port.handle, data.constData(), DWORD(data.size()), &written,
                              &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    QCOMPARE(written, DWORD(0));
    DWORD count = 0;
    QVERIFY(!serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 0));
    QCOMPARE(lastError(), DWORD(996));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitTimeout));

    QByteArray received;
    std::thread reader([&] { received = port.pty.receive(data.size()); });
    const BOOL finished = serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1);
    reader.join();
    QVERIFY(finished);
    QCOMPARE(count, DWORD(data.size()));
    QCOMPARE(received, data);
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
}

void SerialCommTest::finishesAWriteWhileWaitingForInput()
{
    TestSerial serial;
    OpenPort port(serial);
    const QByteArray data(256 * 1024, 'w');
    Overlapped write = {};
    QVERIFY(!serial.WriteFile(port.handle, data.constData(), DWORD(data.size()), nullptr, &write));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    QByteArray received;
    std::thread phone([&] { received = port.pty.receive(data.size()); });
    const DWORD waited = port.waitForInput();
    phone.join();
    QCOMPARE(waited, DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(EventTransmitEmpty));
    QCOMPARE(received.size(), data.size());
    DWORD count = 0;
    QVERIFY(serial.GetOverlappedResult(port.handle, &write, &count, 0));
    QCOMPARE(count, DWORD(data.size()));
}

void SerialCommTest::writesInOrder()
{
    TestSerial serial;
    OpenPort port(serial);
    const QByteArray first(256 * 1024, 'a');
    Overlapped one = {};
    Overlapped two = {};
    QVERIFY(!serial.WriteFile(port.handle, first.constData(), DWORD(first.size()), nullptr, &one));
    QVERIFY(!serial.WriteFile(port.handle, "b", 1, nullptr, &two));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    QByteArray received;
    std::thread phone([&] { received = port.pty.receive(first.size() + 1); });
    DWORD count = 0;
    const BOOL finished = serial.GetOverlappedResult(port.handle, &two, &count, 1);
    phone.join();
    QVERIFY(finished);
    QCOMPARE(count, DWORD(1));
    QCOMPARE(received, first + "b");
    QVERIFY(serial.GetOverlappedResult(port.handle, &one, &count, 0));
    QCOMPARE(count, DWORD(first.size()));
}

void SerialCommTest::wakesUpWhenInputComes()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    std::thread phone([&] { port.pty.send("x"); });
    const DWORD waited = serial.WaitForSingleObject(port.overlapped.hEvent, WaitInfinite);
    phone.join();
    QCOMPARE(waited, DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
}

void SerialCommTest::reportsInputThatIsThereAlready()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.send("x");
    QTRY_VERIFY(serial.WaitCommEvent(port.handle, &port.events, &port.overlapped) ||
                lastError() == ErrorInvalidParameter);
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 5000), DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
}

void SerialCommTest::completesInTheBackground()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    port.pty.send("x");
    DWORD count = 0;
    QVERIFY(serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
    QVERIFY(serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
}

void SerialCommTest::refusesASecondWait()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    Overlapped second = {};
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &second));
    QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
}

void SerialCommTest::endsAWaitWhenTheMaskChanges()
{
    TestSerial serial;
    OpenPort port(serial);
    port.events = 99;
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QVERIFY(serial.SetCommMask(port.handle, EventReceivedCharacter));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(0));
}

void SerialCommTest::timesOut()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 50), DWORD(WaitTimeout));
    QVERIFY(timer.elapsed() >= 50);
    port.pty.send("x");
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 5000), DWORD(WaitObject0));
}

void SerialCommTest::waitsForAnEventThatAnotherThreadArms()
{
    TestSerial serial;
    OpenPort port(serial);
    std::atomic<bool> ended{false};
    std::atomic<DWORD> waited{WaitFailed};
    std::thread waiter([&] {
        waited = serial.WaitForSingleObject(port.overlapped.hEvent, WaitInfinite);
        ended = true;
    });
    // Nothing will ever signal the event yet, so the wait goes on.
    QVERIFY(!QTest::qWaitFor([&] { return ended.load(); }, 100));
    serial.WaitCommEvent(port.handle, &port.events, &port.overlapped);
    QVERIFY(!QTest::qWaitFor([&] { return ended.load(); }, 100));
    port.pty.send("x");
    waiter.join();
    QCOMPARE(waited.load(), DWORD(WaitObject0));
}

void SerialCommTest::waitsWithoutWakingUp()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    long switches = -1;
    std::thread waiter([&] {
        rusage before = {};
        rusage after = {};
        ::getrusage(RUSAGE_THREAD, &before);
        serial.WaitForSingleObject(port.overlapped.hEvent, 500);
        ::getrusage(RUSAGE_THREAD, &after);
        switches = after.ru_nvcsw - before.ru_nvcsw;
    });
    waiter.join();
    QVERIFY2(switches <= 3, QByteArray::number(int(switches)));
}

void SerialCommTest::countsAutoResetEvents()
{
    TestSerial serial;
    const HANDLE automatic = serial.CreateEventW(nullptr, 0, 1, nullptr);
    QCOMPARE(serial.WaitForSingleObject(automatic, 0), DWORD(WaitObject0));
    QCOMPARE(serial.WaitForSingleObject(automatic, 0), DWORD(WaitTimeout));
    const HANDLE manual = serial.CreateEventW(nullptr, 1, 1, nullptr);
    QCOMPARE(serial.WaitForSingleObject(manual, 0), DWORD(WaitObject0));
    QCOMPARE(serial.WaitForSingleObject(manual, 0), DWORD(WaitObject0));
    const QString name = "named";
    QVERIFY(!serial.CreateEventW(nullptr, 1, 0, wide(name)));
    QCOMPARE(lastError(), DWORD(ErrorNotSupported));
}

void SerialCommTest::endsAWaitOnHangUp()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    DWORD waited = 0;
    DWORD code = 0;
    std::thread program([&] {
        waited = serial.WaitForSingleObject(port.overlapped.hEvent, WaitInfinite);
        code = lastError();
    });
    port.pty.hangUp();
    program.join();
    QCOMPARE(waited, DWORD(WaitFailed));
    QCOMPARE(code, DWORD(ErrorDeviceNotConnected));
}

void SerialCommTest::failsEverythingAfterHangUp()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.hangUp();
    DWORD written = 1;
    QVERIFY(!serial.WriteFile(port.handle, "AT\r", 3, &written, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    QCOMPARE(written, DWORD(0));
    QCOMPARE(port.read(), QByteArray());
    QCOMPARE(port.readError, DWORD(ErrorDeviceNotConnected));
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, WaitInfinite), DWORD(WaitFailed));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    DWORD count = 0;
    QVERIFY(!serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    DeviceControlBlock settings = {};
    QVERIFY(!serial.GetCommState(port.handle, &settings));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    QVERIFY(!serial.SetCommState(port.handle, &settings));
    CommTimeouts timeouts = atOnce;
    QVERIFY(!serial.SetCommTimeouts(port.handle, &timeouts));
    QVERIFY(!serial.SetCommMask(port.handle, EventReceivedCharacter));
    QCOMPARE(lastError(), DWORD(ErrorDeviceNotConnected));
    QCOMPARE(openPath(serial, "\\\\.\\COM5"), invalidHandle());
    QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
}

void SerialCommTest::endsAPendingWriteOnHangUp()
{
    TestSerial serial;
    OpenPort port(serial);
    const QByteArray data(1024 * 1024, 'w');
    QVERIFY(!serial.WriteFile(port.handle, data.constData(), DWORD(data.size()), nullptr,
                              &port.overlapped));
    BOOL finished = 1;
    DWORD code = 0;
    DWORD count = 0;
    std::thread program([&] {
        finished = serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1);
        code = lastError();
    });
    port.pty.hangUp();
    program.join();
    QVERIFY(!finished);
    QCOMPARE(code, DWORD(ErrorDeviceNotConnected));
    QVERIFY(count < DWORD(data.size()));
}

void SerialCommTest::endsPendingOperationsOnClose()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    DWORD waited = WaitTimeout;
    std::thread waiter(
        [&] { waited = serial.WaitForSingleObject(port.overlapped.hEvent, WaitInfinite); });
    QVERIFY(serial.CloseHandle(port.handle));
    waiter.join();
    QCOMPARE(waited, DWORD(WaitObject0));
    QCOMPARE(port.overlapped.Internal, ULONG_PTR(ErrorOperationAborted));
}

void SerialCommTest::refusesForeignHandles()
{
    TestSerial serial;
    OpenPort port(serial);
    const HANDLE foreign[] = {nullptr, invalidHandle(), &serial, port.overlapped.hEvent};
    for (const HANDLE handle : foreign) {
        DeviceControlBlock settings = {};
        CommTimeouts timeouts = atOnce;
        DWORD count = 0;
        Overlapped overlapped = {};
        char buffer[1];
        const auto refused = [](BOOL result) {
            const bool invalid = !result && lastError() == ErrorInvalidHandle;
            setLastError(Success);
            return invalid;
        };
        QVERIFY(refused(serial.GetCommState(handle, &settings)));
        QVERIFY(refused(serial.SetCommState(handle, &settings)));
        QVERIFY(refused(serial.SetCommTimeouts(handle, &timeouts)));
        QVERIFY(refused(serial.SetCommMask(handle, 1)));
        QVERIFY(refused(serial.WaitCommEvent(handle, &count, &overlapped)));
        QVERIFY(refused(serial.ReadFile(handle, buffer, 1, &count, &overlapped)));
        QVERIFY(refused(serial.WriteFile(handle, buffer, 1, &count, &overlapped)));
        QVERIFY(refused(serial.GetOverlappedResult(handle, &overlapped, &count, 1)));
    }
    QCOMPARE(serial.WaitForSingleObject(port.handle, WaitInfinite), DWORD(WaitFailed));
    QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
    // A record whose event is not open is refused before anything is armed.
    Overlapped overlapped = {};
    overlapped.hEvent = &serial;
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &overlapped));
    QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
}

QTEST_GUILESS_MAIN(SerialCommTest)
#include "serialcomm_test.moc"
