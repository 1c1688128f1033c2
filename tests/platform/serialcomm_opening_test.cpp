#include "tests/platform/serialcommfixture.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace platform;

/// Which ports open, and for whom.
class SerialCommOpeningTest : public QObject
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
};

void SerialCommOpeningTest::opensAPort_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("number");
    QTest::newRow("COM5") << "\\\\.\\COM5" << 5;
    QTest::newRow("COM12") << "\\\\.\\COM12" << 12;
    QTest::newRow("COM256") << "\\\\.\\COM256" << 256;
    QTest::newRow("lower case") << "\\\\.\\com7" << 7;
}

void SerialCommOpeningTest::opensAPort()
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

void SerialCommOpeningTest::refusesOtherNames_data()
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

void SerialCommOpeningTest::refusesOtherNames()
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

void SerialCommOpeningTest::refusesOtherWaysOfOpening()
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

void SerialCommOpeningTest::opensOnlyOnce()
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

void SerialCommOpeningTest::isExclusiveAcrossProcesses()
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

void SerialCommOpeningTest::freesThePortWhenClosed()
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

void SerialCommOpeningTest::opensWithNothingReceived()
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

void SerialCommOpeningTest::refusesANodeThatIsNoTerminal()
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

QTEST_GUILESS_MAIN(SerialCommOpeningTest)
#include "serialcomm_opening_test.moc"
