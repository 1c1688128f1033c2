#include "tests/platform/serialcommfixture.h"

#include <QTest>

#include <thread>

using namespace platform;

/// Reading and writing, also on a line or a handle that is gone.
class SerialCommTransferTest : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatIsThere();
    void deliversAChunkOf100Bytes();
    void keepsSplitAnswersApart();
    void writesAtOnce();
    void writesNothing();
    void reportsAnEmptyTransmitterOnce();
    void finishesAWriteThatTheLineDidNotTake();
    void finishesAWriteWhileWaitingForInput();
    void writesInOrder();
    void failsEverythingAfterHangUp();
    void endsAPendingWriteOnHangUp();
    void endsAPendingWriteOnClose();
    void refusesForeignHandles();
    void refusesMissingArguments();
};

void SerialCommTransferTest::readsWhatIsThere()
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

void SerialCommTransferTest::deliversAChunkOf100Bytes()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.send(QByteArray(100, 'x') + "\r\nOK\r\n");
    QCOMPARE(port.waitForInput(), DWORD(WaitObject0));
    QCOMPARE(port.read(), QByteArray(100, 'x'));
    QCOMPARE(port.read(), QByteArray("\r\nOK\r\n"));
}

void SerialCommTransferTest::keepsSplitAnswersApart()
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

void SerialCommTransferTest::writesAtOnce()
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

void SerialCommTransferTest::writesNothing()
{
    TestSerial serial;
    OpenPort port(serial);
    DWORD written = 1;
    QVERIFY(serial.WriteFile(port.handle, "", 0, &written, &port.overlapped));
    QCOMPARE(written, DWORD(0));
}

void SerialCommTransferTest::reportsAnEmptyTransmitterOnce()
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

void SerialCommTransferTest::finishesAWriteThatTheLineDidNotTake()
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

void SerialCommTransferTest::finishesAWriteWhileWaitingForInput()
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

void SerialCommTransferTest::writesInOrder()
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

void SerialCommTransferTest::failsEverythingAfterHangUp()
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

void SerialCommTransferTest::endsAPendingWriteOnHangUp()
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

void SerialCommTransferTest::endsAPendingWriteOnClose()
{
    TestSerial serial;
    OpenPort port(serial);
    const QByteArray data(1024 * 1024, 'w');
    QVERIFY(!serial.WriteFile(port.handle, data.constData(), DWORD(data.size()), nullptr,
                              &port.overlapped));
    QCOMPARE(lastError(), DWORD(ErrorIoPending));
    QVERIFY(serial.CloseHandle(port.handle));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.overlapped.Internal, ULONG_PTR(ErrorOperationAborted));
    QVERIFY(port.overlapped.InternalHigh < ULONG_PTR(data.size()));
}

void SerialCommTransferTest::refusesForeignHandles()
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

void SerialCommTransferTest::refusesMissingArguments()
{
    TestSerial serial;
    OpenPort port(serial);
    const auto refused = [](BOOL result) {
        const bool wrong = !result && lastError() == ErrorInvalidParameter;
        setLastError(Success);
        return wrong;
    };
    char buffer[1];
    DWORD count = 1;
    QVERIFY(refused(serial.WaitCommEvent(port.handle, nullptr, &port.overlapped)));
    QVERIFY(refused(serial.WaitCommEvent(port.handle, &port.events, nullptr)));
    QVERIFY(refused(serial.ReadFile(port.handle, nullptr, 1, &count, &port.overlapped)));
    QCOMPARE(count, DWORD(0));
    QVERIFY(refused(serial.ReadFile(port.handle, buffer, 1, &count, nullptr)));
    QVERIFY(refused(serial.WriteFile(port.handle, nullptr, 1, &count, &port.overlapped)));
    QVERIFY(refused(serial.WriteFile(port.handle, buffer, 1, &count, nullptr)));
    QVERIFY(refused(serial.GetOverlappedResult(port.handle, nullptr, &count, 0)));
    QVERIFY(refused(serial.GetOverlappedResult(port.handle, &port.overlapped, nullptr, 0)));
}

QTEST_GUILESS_MAIN(SerialCommTransferTest)
#include "serialcomm_transfer_test.moc"
