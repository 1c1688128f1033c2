#include "tests/serial/serialfixture.h"

#include <QMutex>
#include <QSemaphore>
#include <QTest>

#include <cstring>
#include <thread>

using namespace platform;

namespace {

const QByteArray waitFailed = "Waiting for single object failed with error no 995\n";

/// A port on which a wait blocks, as the real one does, until somebody
/// answers.
class BlockingMachine : public ScriptedMachine
{
public:
    void answer(const QByteArray &chunk)
    {
        {
            const QMutexLocker lock(&m_lock);
            chunks.append(chunk);
        }
        m_answers.release();
    }

    /// Returns when the program waits for the n-th time.
    void untilWaiting(int times) { m_waits.acquire(times); }

    BlockingMachine()
    {
        WaitForSingleObject.wrap([this](auto &next, HANDLE handle, DWORD milliseconds) {
            m_waits.release();
            if (milliseconds != WaitInfinite)
                return WaitFailed;
            m_answers.acquire();
            const QMutexLocker lock(&m_lock);
            return next(handle, milliseconds);
        });
        ReadFile.wrap([this](auto &next, auto... arguments) {
            const QMutexLocker lock(&m_lock);
            return next(arguments...);
        });
    }

private:
    QMutex m_lock;
    QSemaphore m_answers;
    QSemaphore m_waits;
};

/// A port that keeps the records it is handed, to be looked at later.
class RecordKeepingMachine : public ScriptedMachine
{
public:
    struct Event {
        void *attributes;
        BOOL manualReset;
        BOOL initialState;
        const WCHAR *name;
    };
    QList<Event> events;
    QList<Overlapped> overlapped;
    QList<bool> bufferWasClear;
    QList<DWORD> countBefore;
    QList<DWORD> sizes;

    RecordKeepingMachine()
    {
        CreateEventW.wrap([this](auto &next, void *attributes, BOOL manualReset, BOOL initialState,
                                 const WCHAR *name) {
            events.append({attributes, manualReset, initialState, name});
            return next(attributes, manualReset, initialState, name);
        });
        WaitCommEvent.wrap([this](auto &next, HANDLE file, DWORD *mask, Overlapped *record) {
            overlapped.append(*record);
            return next(file, mask, record);
        });
        ReadFile.wrap([this](auto &next, HANDLE file, void *buffer, DWORD size, DWORD *count,
                             Overlapped *record) {
            overlapped.append(*record);
            const auto *bytes = static_cast<const char *>(buffer);
            bool clear = true;
            for (DWORD i = 0; i < size; ++i)
                clear = clear && bytes[i] == 0;
            bufferWasClear.append(clear);
            countBefore.append(*count);
            sizes.append(size);
            next(file, buffer, size, count, record);
            // The count of a read is what counts, also when it says that it failed.
            SetLastError(ErrorGenFailure);
            return 0;
        });
    }
};

/// What a port does with a read.
enum class Reads {
    CompleteAtOnce,
    PendAndAreDone, ///< the bytes are in the buffer when the call returns
    PendAndWait,    ///< they come when the outcome is waited for
};

/// A port whose driver may let every read pend. The count is then told with the
/// outcome; what the call itself leaves there means nothing.
class PendingReadsMachine : public ScriptedMachine
{
public:
    Reads reads = Reads::PendAndAreDone;

    PendingReadsMachine()
    {
        ReadFile.wrap([this](auto &next, HANDLE file, void *buffer, DWORD size, DWORD *count,
                             Overlapped *record) {
            if (reads == Reads::CompleteAtOnce)
                return next(file, buffer, size, count, record);
            m_received.fill('\0', static_cast<int>(size));
            DWORD received = 0;
            next(file, m_received.data(), size, &received, record);
            m_received.truncate(static_cast<int>(received));
            m_buffer = buffer;
            m_record = record;
            if (reads == Reads::PendAndAreDone)
                deliver();
            *count = received == 0 ? size : 0;
            SetLastError(ErrorIoPending);
            return 0;
        });
        GetOverlappedResult.wrap(
            [this](auto &next, HANDLE file, Overlapped *record, DWORD *count, BOOL wait) {
                if (record != m_record || !wait)
                    return next(file, record, count, wait);
                if (reads == Reads::PendAndWait)
                    deliver();
                m_record = nullptr;
                *count = static_cast<DWORD>(m_received.size());
                return 1;
            });
    }

private:
    void deliver()
    {
        std::memcpy(m_buffer, m_received.constData(), static_cast<std::size_t>(m_received.size()));
    }

    QByteArray m_received;
    void *m_buffer = nullptr;
    const Overlapped *m_record = nullptr; ///< of the read that pends
};

/// A wait that ends otherwise than signalled, with a result of the test's
/// choosing.
class UnsignalledMachine : public ScriptedMachine
{
public:
    DWORD waitResult = 0;

    UnsignalledMachine()
    {
        WaitForSingleObject = [this](HANDLE, DWORD) {
            SetLastError(ErrorInvalidHandle);
            return waitResult;
        };
    }
};

/// Ends what is pending when the port is closed, as the system does: it writes
/// to the memory that it was handed. Waits and reads pend, and the outcome of a
/// read cannot be waited for.
class LateMachine : public ScriptedMachine
{
public:
    struct Pending {
        DWORD *count; ///< or the events
        void *buffer; ///< null for a wait
        Overlapped *overlapped;
        HANDLE event; ///< that the record named when it was handed in
    };
    QList<Pending> pending;
    int recordsThatLived = 0;

    LateMachine()
    {
        WaitCommEvent.wrap([this](auto &next, HANDLE file, DWORD *mask, Overlapped *record) {
            pending.append({mask, nullptr, record, record->hEvent});
            return next(file, mask, record);
        });
        ReadFile.wrap([this](auto &next, HANDLE file, void *buffer, DWORD size, DWORD *count,
                             Overlapped *record) {
            next(file, buffer, size, count, record);
            *count = 0;
            pending.append({count, buffer, record, record->hEvent});
            SetLastError(ErrorIoPending);
            return 0;
        });
        GetOverlappedResult = [this](HANDLE, Overlapped *, DWORD *, BOOL) {
            SetLastError(ErrorGenFailure);
            return 0;
        };
        CloseHandle.wrap([this](auto &next, HANDLE object) {
            for (const Pending &operation : std::as_const(pending)) {
                recordsThatLived += operation.overlapped->hEvent == operation.event ? 1 : 0;
                *operation.count = 0;
                operation.overlapped->Internal = ErrorOperationAborted;
                if (operation.buffer)
                    std::memset(operation.buffer, 'x', 100);
            }
            pending.clear();
            return next(object);
        });
    }
};

} // namespace

class ModemPortAnswersTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void eachReadGetsAClearBufferAndCount();
    void readsUntilThereIsNothingAndWaitsAgain();
    void outcomeOfAPendingReadIsAskedFor();
    void pendingReadThatFailsCountsAsNothing();
    void failingReadCountsAsNothing();
    void waitCommEventIsNotLookedAt();
    void noEventObject();
    void waitFails_data();
    void waitFails();
    void waitEndsUnsignalled_data();
    void waitEndsUnsignalled();
    void recordsOutliveAFailedWait();
    void buffersOutliveAReadThatStaysPending();
    void silentModemIsWaitedFor();
};

void ModemPortAnswersTest::answers_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<int>("response");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<int>("notRead"); // chunks that are left for the next command
    using Chunks = QList<QByteArray>;
    const auto line = [](const QByteArray &chunk) { return QByteArray(chunk + '\n'); };

    QTest::newRow("OK") << Chunks{ok} << 0 << line(ok) << 0;
    QTest::newRow("ERROR") << Chunks{error} << 10 << line(error) << 0;
    QTest::newRow("echo in the chunk")
        << Chunks{"AT\r" + ok} << 2 << line("AT\r" + ok) + waitFailed << 0;
    QTest::newRow("echo, then OK") << Chunks{"AT\r", ok} << 0 << line("AT\r") + line(ok) << 0;
    QTest::newRow("echo in the chunk, then OK")
        << Chunks{"AT\r" + ok, ok} << 0 << line("AT\r" + ok) + line(ok) << 0;
    QTest::newRow("line between") << Chunks{"\r\n+CSQ: 20,0\r\n", ok} << 0
                                  << line("\r\n+CSQ: 20,0\r\n") + line(ok) << 0;
    QTest::newRow("split answer") << Chunks{"\r\nO", "K\r\n"} << 2
                                  << line("\r\nO") + line("K\r\n") + waitFailed << 0;
    QTest::newRow("split answer, then ERROR") << Chunks{"\r\nOK", "\r\n", error} << 10
                                              << line("\r\nOK") + line("\r\n") + line(error) << 0;
    QTest::newRow("two answers in one chunk")
        << Chunks{ok + ok} << 2 << line(ok + ok) + waitFailed << 0;
    QTest::newRow("OK and ERROR in one chunk")
        << Chunks{ok + error, error} << 10 << line(ok + error) + line(error) << 0;
    QTest::newRow("first of two chunks") << Chunks{ok, error} << 0 << line(ok) << 1;
    QTest::newRow("without the first line end")
        << Chunks{"OK\r\n", ok} << 0 << line("OK\r\n") + line(ok) << 0;
    QTest::newRow("without the second line end")
        << Chunks{"\r\nOK", ok} << 0 << line("\r\nOK") + line(ok) << 0;
    QTest::newRow("line feed only") << Chunks{"\nOK\n", ok} << 0 << line("\nOK\n") + line(ok) << 0;
    QTest::newRow("lower case") << Chunks{"\r\nok\r\n", ok} << 0 << line("\r\nok\r\n") + line(ok)
                                << 0;
    QTest::newRow("+CME ERROR") << Chunks{"\r\n+CME ERROR: 3\r\n", error} << 10
                                << line("\r\n+CME ERROR: 3\r\n") + line(error) << 0;
    QTest::newRow("one byte behind") << Chunks{ok + " ", ok} << 0 << line(ok + " ") + line(ok) << 0;
    // The terminator is part of what is compared, and nothing behind it.
    const QByteArray okAndJunk("\r\nOK\r\n\0junk", 11);
    QTest::newRow("OK, NUL and more") << Chunks{okAndJunk} << 0 << line(ok) << 0;
    const QByteArray errorAndJunk("\r\nERROR\r\n\0junk", 14);
    QTest::newRow("ERROR, NUL and more") << Chunks{errorAndJunk} << 10 << line(error) << 0;
    QTest::newRow("NUL first") << Chunks{QByteArray("\0\r\nOK\r\n", 7), ok} << 0
                               << line("") + line(ok) << 0;
    QTest::newRow("only NULs") << Chunks{QByteArray(5, '\0'), ok} << 0 << line("") + line(ok) << 0;
    // A full buffer holds no terminator.
    const QByteArray full(100, 'x');
    QTest::newRow("100 bytes") << Chunks{full, ok} << 0 << line(full) + line(ok) << 0;
    QTest::newRow("99 bytes") << Chunks{full.left(99), ok} << 0 << line(full.left(99)) + line(ok)
                              << 0;
    const QByteArray okFilled = ok + QByteArray(94, 'x');
    QTest::newRow("100 bytes that begin with OK")
        << Chunks{okFilled, error} << 10 << line(okFilled) + line(error) << 0;
    // A short chunk behind a long one is not completed by what was there.
    QTest::newRow("100 bytes, then a part")
        << Chunks{full, "\r\nOK", ok} << 0 << line(full) + line("\r\nOK") + line(ok) << 0;
    QTest::newRow("percent signs") << Chunks{"%s%n%d", ok} << 0 << line("%s%n%d") + line(ok) << 0;
    QTest::newRow("beyond ASCII") << Chunks{"\xff\x80", ok} << 0 << line("\xff\x80") + line(ok)
                                  << 0;
    // An empty chunk is a read that finds nothing.
    QTest::newRow("nothing, then OK") << Chunks{"", ok} << 0 << line(ok) << 0;
    QTest::newRow("nothing many times") << Chunks{"", "", "", "", error} << 10 << line(error) << 0;
    QTest::newRow("part, nothing, part") << Chunks{"\r\nO", "", "K\r\n", "", ok} << 0
                                         << line("\r\nO") + line("K\r\n") + line(ok) << 0;
    QTest::newRow("never anything") << Chunks{} << 2 << waitFailed << 0;
}

void ModemPortAnswersTest::answers()
{
    QFETCH(const QList<QByteArray>, chunks);
    QFETCH(const int, response);
    QFETCH(const QByteArray, printed);
    QFETCH(const int, notRead);
    // It makes no difference how the reads complete.
    for (const Reads reads : {Reads::CompleteAtOnce, Reads::PendAndAreDone, Reads::PendAndWait}) {
        Bench<PendingReadsMachine> bench;
        bench.machine.reads = reads;
        const HANDLE port = openModemPort(7).handle;
        bench.log.clear();
        bench.machine.chunks = chunks;
        int result = -1;
        QCOMPARE(printedBy([&] { result = waitForResponse(port); }), printed);
        QCOMPARE(result, response);
        QCOMPARE(bench.machine.chunks.size(), notRead);
        QCOMPARE(bench.leftOpen(), QString("1 port, 1 event"));
        QCOMPARE(bench.log.lines(), QStringList());
        QCOMPARE(bench.machine.written, QByteArray());
    }
}

void ModemPortAnswersTest::eachReadGetsAClearBufferAndCount()
{
    Bench<RecordKeepingMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.machine.chunks = {QByteArray(100, 'x'), "AT\r", "", ok};
    int result = -1;
    printedBy([&] { result = waitForResponse(port); });

    QCOMPARE(result, 0);
    QCOMPARE(bench.machine.bufferWasClear, QList<bool>({true, true, true, true}));
    QCOMPARE(bench.machine.countBefore, QList<DWORD>({0, 0, 0, 0}));
    QCOMPARE(bench.machine.sizes, QList<DWORD>({100, 100, 100, 100}));
    // One manual-reset, unsignalled, unnamed event serves all of them.
    QCOMPARE(bench.machine.events.size(), 1);
    const auto &event = bench.machine.events.first();
    QVERIFY(!event.attributes && event.manualReset && !event.initialState && !event.name);
    for (const Overlapped &record : std::as_const(bench.machine.overlapped))
        QCOMPARE(record.hEvent, reinterpret_cast<HANDLE>(ULONG_PTR{0x20}));
    QCOMPARE(bench.machine.overlapped.first().Internal, ULONG_PTR{0});
    QCOMPARE(bench.machine.overlapped.first().Offset, DWORD{0});
}

void ModemPortAnswersTest::readsUntilThereIsNothingAndWaitsAgain()
{
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.machine.chunks = {"AT\r", "", ok};
    int result = -1;
    printedBy([&] { result = waitForResponse(port); });

    QCOMPARE(result, 0);
    const QStringList once = {"WaitCommEvent(0x10, &, &)",
                              "WaitForSingleObject(0x20, 4294967295)"}; // INFINITE
    const QString read = "ReadFile(0x10, @, 100, &, &)";
    QCOMPARE(bench.calls(),
             QStringList{newEvent} + once + QStringList({read, read}) + once + QStringList({read}));
}

// Only then: where a read completes at once no call is added.
void ModemPortAnswersTest::outcomeOfAPendingReadIsAskedFor()
{
    Bench<PendingReadsMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.machine.chunks = {"AT\r", "", ok};
    int result = -1;
    printedBy([&] { result = waitForResponse(port); });

    QCOMPARE(result, 0);
    const QStringList once = {"WaitCommEvent(0x10, &, &)",
                              "WaitForSingleObject(0x20, 4294967295)"}; // INFINITE
    const QStringList read = {"ReadFile(0x10, @, 100, &, &)", "GetOverlappedResult(0x10, &, &, 1)"};
    QCOMPARE(bench.calls(), QStringList{newEvent} + once + read + read + once + read);
}

void ModemPortAnswersTest::pendingReadThatFailsCountsAsNothing()
{
    Bench<PendingReadsMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.fail("GetOverlappedResult", ErrorOperationAborted);
    bench.machine.chunks = {error, ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }), ok + '\n');
    QCOMPARE(result, 0);
    QCOMPARE(bench.injector.operations().count("WaitForSingleObject"), 2);
}

void ModemPortAnswersTest::failingReadCountsAsNothing()
{
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.fail("ReadFile", ErrorDeviceNotConnected);
    bench.fail("ReadFile", ErrorGenFailure, 3);
    bench.machine.chunks = {"AT\r", ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }), "AT\r\n" + ok + '\n');
    QCOMPARE(result, 0);
    QCOMPARE(bench.injector.operations().count("WaitForSingleObject"), 3);
}

// Pending, already happened or failed: the wait that follows tells.
void ModemPortAnswersTest::waitCommEventIsNotLookedAt()
{
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.fail("WaitCommEvent", ErrorInvalidParameter);
    bench.machine.chunks = {ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }), ok + '\n');
    QCOMPARE(result, 0);
}

void ModemPortAnswersTest::noEventObject()
{
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.fail("CreateEventW", ErrorNotEnoughMemory);
    bench.machine.chunks = {ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }), QByteArray());
    QCOMPARE(result, 1);
    QCOMPARE(bench.injector.operations(), QStringList({"CreateEventW"}));
    QCOMPARE(bench.leftOpen(), QString("1 port"));
}

void ModemPortAnswersTest::waitFails_data()
{
    QTest::addColumn<int>("wait");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("first") << 1 << QByteArray();
    QTest::newRow("second") << 2 << QByteArray("AT\r\n");
}

void ModemPortAnswersTest::waitFails()
{
    QFETCH(const int, wait);
    QFETCH(const QByteArray, printed);
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.fail("WaitForSingleObject", ErrorInvalidHandle, wait);
    bench.machine.chunks = {"AT\r", "", ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }),
             printed + "Waiting for single object failed with error no 6\n");
    QCOMPARE(result, 2);
    QCOMPARE(bench.leftOpen(), QString("1 port, 1 event"));
}

// Anything but signalled counts as failed: a time-out, an abandoned object.
void ModemPortAnswersTest::waitEndsUnsignalled_data()
{
    QTest::addColumn<DWORD>("waitResult");
    QTest::newRow("time-out") << DWORD{0x102}; // WAIT_TIMEOUT
    QTest::newRow("abandoned") << DWORD{0x80}; // WAIT_ABANDONED
    QTest::newRow("failed") << WaitFailed;
}

void ModemPortAnswersTest::waitEndsUnsignalled()
{
    QFETCH(const DWORD, waitResult);
    Bench<UnsignalledMachine> bench;
    bench.machine.waitResult = waitResult;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.machine.chunks = {ok};
    int result = -1;
    QCOMPARE(printedBy([&] { result = waitForResponse(port); }),
             QByteArray("Waiting for single object failed with error no 6\n"));
    QCOMPARE(result, 2);
    QCOMPARE(bench.injector.operations(),
             QStringList({"CreateEventW", "WaitCommEvent", "WaitForSingleObject"}));
}

// The port's event stays due then: what it is written to must still be there
// when the port is closed, for each of the two waits.
void ModemPortAnswersTest::recordsOutliveAFailedWait()
{
    Bench<LateMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    printedBy([&] {
        QCOMPARE(waitForResponse(port), 2);
        QCOMPARE(waitForResponse(port), 2);
    });
    QCOMPARE(bench.machine.pending.size(), 2);
    QVERIFY(bench.machine.pending.at(0).overlapped != bench.machine.pending.at(1).overlapped);
    QVERIFY(current().CloseHandle(port));
    QCOMPARE(bench.machine.recordsThatLived, 2);
}

void ModemPortAnswersTest::buffersOutliveAReadThatStaysPending()
{
    Bench<LateMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    QList<void *> buffers;
    printedBy([&] {
        for (int wait = 0; wait < 2; ++wait) {
            bench.machine.chunks = {ok};
            QCOMPARE(waitForResponse(port), 2);
            for (const LateMachine::Pending &operation : std::as_const(bench.machine.pending)) {
                if (operation.buffer && !buffers.contains(operation.buffer))
                    buffers.append(operation.buffer);
            }
        }
    });
    QCOMPARE(buffers.size(), 2);
    const auto handedIn = bench.machine.pending.size();
    QVERIFY(current().CloseHandle(port));
    QCOMPARE(bench.machine.recordsThatLived, handedIn);
}

// Nothing has a time-out: the wait lasts as long as the modem says nothing,
// and goes on behind everything that is not an answer.
void ModemPortAnswersTest::silentModemIsWaitedFor()
{
    Bench<BlockingMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    QSemaphore returned;
    int result = -1;
    QByteArray printed;
    {
        const StdoutCapture capture;
        std::thread program([&] {
            result = waitForResponse(port);
            returned.release();
        });
        bench.machine.untilWaiting(1);
        const bool early = returned.tryAcquire();
        bench.machine.answer("\r\n+CREG: 1\r\n");
        bench.machine.untilWaiting(1);
        const bool still = returned.tryAcquire();
        bench.machine.answer("");
        bench.machine.untilWaiting(1);
        bench.machine.answer(error);
        program.join();
        printed = capture.text();
        QVERIFY(!early && !still);
    }
    QCOMPARE(result, 10);
    QCOMPARE(printed, "\r\n+CREG: 1\r\n\n" + error + '\n');
}

QTEST_GUILESS_MAIN(ModemPortAnswersTest)
#include "modemport_answers_test.moc"
