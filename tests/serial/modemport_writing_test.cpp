#include "tests/serial/serialfixture.h"

#include <QTest>

#include <cstring>

using namespace platform;

namespace {

/// A port that keeps the records of the writes.
class RecordKeepingMachine : public ScriptedMachine
{
public:
    QList<Overlapped> overlapped;

    RecordKeepingMachine()
    {
        WriteFile.wrap([this](auto &next, HANDLE file, const void *buffer, DWORD size, DWORD *count,
                              Overlapped *record) {
            overlapped.append(*record);
            return next(file, buffer, size, count, record);
        });
    }
};

/// A port on which nothing is sent before it is closed: the system looks at the
/// bytes and the record then.
class StuckMachine : public ScriptedMachine
{
public:
    struct Pending {
        const char *bytes;
        int size;
        Overlapped *overlapped;
        HANDLE event; ///< that the record named when it was handed in
    };
    QList<Pending> pending;
    QList<QByteArray> sentAtTheEnd;
    int recordsThatLived = 0;

    StuckMachine()
    {
        WriteFile = [this](HANDLE, const void *buffer, DWORD size, DWORD *, Overlapped *record) {
            pending.append({static_cast<const char *>(buffer), static_cast<int>(size), record,
                            record->hEvent});
            SetLastError(ErrorIoPending);
            return 0;
        };
        GetOverlappedResult = [this](HANDLE, Overlapped *, DWORD *, BOOL) {
            SetLastError(ErrorGenFailure);
            return 0;
        };
        CloseHandle.wrap([this](auto &next, HANDLE object) {
            for (const Pending &write : std::as_const(pending)) {
                sentAtTheEnd.append(QByteArray(write.bytes, write.size));
                recordsThatLived += write.overlapped->hEvent == write.event ? 1 : 0;
                write.overlapped->Internal = ErrorOperationAborted;
            }
            return next(object);
        });
    }
};

} // namespace

class ModemPortWritingTest : public QObject
{
    Q_OBJECT

private slots:
    void writesAtOnce();
    void writesPending();
    void writtenBytes_data();
    void writtenBytes();
    void writingFails_data();
    void writingFails();
    void memoryOutlivesAWriteThatStaysPending();
};

void ModemPortWritingTest::writesAtOnce()
{
    Bench<RecordKeepingMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bool written = false;
    QCOMPARE(printedBy([&] { written = writeCommand(port, "AT\r"); }),
             QByteArray("\nWriteFile completed immediately.\n"));

    QVERIFY(written);
    QCOMPARE(bench.calls(), QStringList({newEvent, "WriteFile(0x10, &, 3, &, &)"}));
    QCOMPARE(bench.machine.written, QByteArray("AT\r"));
    QCOMPARE(bench.machine.overlapped.size(), 1);
    Overlapped expected{};
    expected.hEvent = reinterpret_cast<HANDLE>(ULONG_PTR{0x20});
    QCOMPARE(std::memcmp(&bench.machine.overlapped.first(), &expected, sizeof expected), 0);
    // The event is never closed.
    QCOMPARE(bench.leftOpen(), QString("1 port, 1 event"));
}

void ModemPortWritingTest::writesPending()
{
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.machine.writesArePending = true;
    bool written = false;
    QCOMPARE(printedBy([&] { written = writeCommand(port, "AT\r"); }),
             QByteArray("\nWrite operation completed successfully.\n"));

    QVERIFY(written);
    QCOMPARE(bench.calls(), QStringList({newEvent, "WriteFile(0x10, &, 3, &, &)",
                                         "GetOverlappedResult(0x10, &, &, 1)"}));
    QCOMPARE(bench.leftOpen(), QString("1 port, 1 event"));
}

void ModemPortWritingTest::writtenBytes_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("AT") << QByteArray("AT\r");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("beyond ASCII") << QByteArray("\xe4\xff\r");
    QTest::newRow("long") << QByteArray(20000, 'x');
}

void ModemPortWritingTest::writtenBytes()
{
    QFETCH(const QByteArray, command);
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    printedBy([&] { writeCommand(port, command.constData()); });
    QCOMPARE(bench.machine.written, command);
}

void ModemPortWritingTest::writingFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<int>("calls");
    QTest::addColumn<QString>("leftOpen");
    QTest::newRow("no event") << "CreateEventW" << ErrorNotEnoughMemory << QByteArray() << 1
                              << "1 port";
    QTest::newRow("unplugged") << "WriteFile" << ErrorDeviceNotConnected
                               << QByteArray("\nWriteFile failed with error 1167.\n") << 2
                               << "1 port, 1 event";
    QTest::newRow("no code") << "WriteFile" << Success
                             << QByteArray("\nWriteFile failed with error 0.\n") << 2
                             << "1 port, 1 event";
    QTest::newRow("pending fails")
        << "GetOverlappedResult" << ErrorOperationAborted << QByteArray() << 3 << "1 port, 1 event";
}

void ModemPortWritingTest::writingFails()
{
    QFETCH(const QString, operation);
    QFETCH(const DWORD, code);
    QFETCH(const QByteArray, printed);
    QFETCH(const int, calls);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    const HANDLE port = openModemPort(7).handle;
    bench.injector.reset();
    bench.log.clear();
    bench.machine.writesArePending = true;
    bench.fail(operation, code);
    bool written = true;
    QCOMPARE(printedBy([&] { written = writeCommand(port, "AT\r"); }), printed);

    QVERIFY(!written);
    const QStringList all = {"CreateEventW", "WriteFile", "GetOverlappedResult"};
    QCOMPARE(bench.injector.operations(), QStringList(all.mid(0, calls)));
    QCOMPARE(bench.leftOpen(), leftOpen);
    QCOMPARE(bench.log.lines(), QStringList());
}

void ModemPortWritingTest::memoryOutlivesAWriteThatStaysPending()
{
    Bench<StuckMachine> bench;
    const HANDLE port = openModemPort(7).handle;
    printedBy([&] {
        QByteArray command = "AT\r";
        QVERIFY(!writeCommand(port, command.constData()));
        command.replace("AT", "AT+");
        QVERIFY(!writeCommand(port, command.constData()));
        command.fill('-'); // nothing of the caller's is used any longer
    });
    QVERIFY(current().CloseHandle(port));
    QCOMPARE(bench.machine.sentAtTheEnd, QList<QByteArray>({"AT\r", "AT+\r"}));
    QCOMPARE(bench.machine.recordsThatLived, 2);
}

QTEST_GUILESS_MAIN(ModemPortWritingTest)
#include "modemport_writing_test.moc"
