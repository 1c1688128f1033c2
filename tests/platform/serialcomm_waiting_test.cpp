#include "platform/posix/openport.h"
#include "platform/posix/serialdevice.h"
#include "tests/platform/serialcommfixture.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <sys/resource.h>
#include <thread>

using namespace platform;

/// Waiting for events, and what ends a wait.
class SerialCommWaitingTest : public QObject
{
    Q_OBJECT

private slots:
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
    void endsPendingOperationsOnClose();
    void aPortIsClosedWhileItIsUsed();
};

void SerialCommWaitingTest::wakesUpWhenInputComes()
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

void SerialCommWaitingTest::reportsInputThatIsThereAlready()
{
    TestSerial serial;
    OpenPort port(serial);
    port.pty.send("x");
    QTRY_VERIFY(serial.WaitCommEvent(port.handle, &port.events, &port.overlapped) ||
                lastError() == ErrorInvalidParameter);
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 5000), DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
}

void SerialCommWaitingTest::completesInTheBackground()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    DWORD count = 0;
    QVERIFY(!serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 0));
    QCOMPARE(lastError(), DWORD(996));
    port.pty.send("x");
    QVERIFY(serial.GetOverlappedResult(port.handle, &port.overlapped, &count, 1));
    QCOMPARE(port.events, DWORD(EventReceivedCharacter));
    QVERIFY(serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
}

void SerialCommWaitingTest::refusesASecondWait()
{
    TestSerial serial;
    OpenPort port(serial);
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    Overlapped second = {};
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &second));
    QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
}

void SerialCommWaitingTest::endsAWaitWhenTheMaskChanges()
{
    TestSerial serial;
    OpenPort port(serial);
    port.events = 99;
    QVERIFY(!serial.WaitCommEvent(port.handle, &port.events, &port.overlapped));
    QVERIFY(serial.SetCommMask(port.handle, EventReceivedCharacter));
    QCOMPARE(serial.WaitForSingleObject(port.overlapped.hEvent, 0), DWORD(WaitObject0));
    QCOMPARE(port.events, DWORD(0));
}

void SerialCommWaitingTest::timesOut()
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

void SerialCommWaitingTest::waitsForAnEventThatAnotherThreadArms()
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

void SerialCommWaitingTest::waitsWithoutWakingUp()
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

void SerialCommWaitingTest::countsAutoResetEvents()
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

void SerialCommWaitingTest::endsAWaitOnHangUp()
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

void SerialCommWaitingTest::endsPendingOperationsOnClose()
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

// A thread that has found the port by its handle goes on with it.
void SerialCommWaitingTest::aPortIsClosedWhileItIsUsed()
{
    const Pty pty;
    DWORD error = Success;
    const int descriptor = openSerialDevice(pty.node().toLocal8Bit().constData(), &error);
    QVERIFY(descriptor >= 0);
    const auto port = std::make_shared<SerialPort>(descriptor);
    QVERIFY(port->setTimeouts(atOnce));
    QVERIFY(port->setMask(EventReceivedCharacter));
    port->close();
    DWORD mask = 0;
    DWORD count = 9;
    char buffer[1];
    Overlapped overlapped = {};
    const auto refused = [](BOOL result) {
        const bool invalid = !result && lastError() == ErrorInvalidHandle;
        setLastError(Success);
        return invalid;
    };
    QVERIFY(refused(port->waitEvent(&mask, &overlapped, {})));
    QVERIFY(refused(port->read(buffer, 1, &count, &overlapped, {})));
    QCOMPARE(count, DWORD(0));
    QVERIFY(refused(port->write("x", 1, &count, &overlapped, {})));
    QCOMPARE(port->pollDescriptor(), -1); // whoever still waits is not woken by the line
    port->progress();
    QCOMPARE(overlapped.Internal, ULONG_PTR(0));
}

QTEST_GUILESS_MAIN(SerialCommWaitingTest)
#include "serialcomm_waiting_test.moc"
