#include "platform/platform.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStringList>
#include <QTest>

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

using namespace platform;

namespace {

/// An operation of each way to fail.
struct Letters : Family {
    Operation<DWORD(DWORD number)> Code{this, "Code", FailureCode::Result};
    Operation<BOOL(DWORD first, DWORD second)> Zero{this, "Zero"};
    Operation<HANDLE(DWORD number)> Handle{this, "Handle", invalidHandle()};
    Operation<DWORD(DWORD number)> Wait{this, "Wait", DWORD(WaitFailed)};
    Operation<void *(void *block)> Block{this, "Block", firstArgument};
    Operation<DWORD()> Never{this, "Never", FailureCode::None};
};

/// Carries out what it is asked for, and remembers it.
struct Carrier {
    DWORD code(DWORD number)
    {
        asked += QString::number(number);
        return number + 1;
    }

    QStringList asked;
};

/// Lets every call fail with a code, or none.
struct Watcher : CallWatcher {
    bool beforeCall(const AnyOperation &operation, const std::vector<Argument> &arguments,
                    DWORD *failure) override
    {
        QStringList texts;
        for (const Argument &argument : arguments)
            texts += argument.description();
        seen += QString("%1(%2)").arg(operation.name(), texts.join(", "));
        *failure = code.value_or(0);
        return code.has_value();
    }
    void failedWith(DWORD failure) override { lastError = failure; }

    std::optional<DWORD> code;
    QStringList seen;
    std::optional<DWORD> lastError;
};

} // namespace

class OperationTest : public QObject
{
    Q_OBJECT

private slots:
    void aSlotIsProvidedOnceItIsFilled();
    void anEmptySlotEndsTheProcess();
    void aPlainFunctionGetsItsContext();
    void anObjectLivesAsLongAsASlotKeepsIt();
    void theLastWrapIsCalledFirst();
    void aWrapKeepsWhatItWraps();
    void aDecoratedSlotHandsCallsOn();
    void aWatcherSeesTheCall();
    void aCallFailsInItsOperationsWay();
    void aFamilyKeepsTheOrderOfDeclaration();
    void aPlatformHasTheOperationsOfItsFamilies();
};

void OperationTest::aSlotIsProvidedOnceItIsFilled()
{
    Letters letters;
    for (const AnyOperation *operation : letters.operations())
        QVERIFY2(!operation->isProvided(), operation->name());
    letters.Code = [](DWORD number) { return number + 1; };
    QVERIFY(letters.Code.isProvided());
    QVERIFY(!letters.Zero.isProvided());
    QCOMPARE(letters.Code(1), DWORD(2));
    letters.Code = [](DWORD number) { return number + 2; };
    QCOMPARE(letters.Code(1), DWORD(3));
}

void OperationTest::anEmptySlotEndsTheProcess()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {"call-an-empty-slot"});
    QVERIFY(process.waitForFinished());
    const QByteArray errors = process.readAllStandardError();
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QVERIFY2(errors.contains("this platform backend provides no RasHangUpW"), errors.constData());
    QCOMPARE(process.readAllStandardOutput(), QByteArray("before\n"));
}

void OperationTest::aPlainFunctionGetsItsContext()
{
    Letters letters;
    Carrier carrier;
    letters.Code = PlainFunction<DWORD(DWORD)>{
        [](void *context, DWORD number) { return static_cast<Carrier *>(context)->code(number); },
        &carrier};
    QCOMPARE(letters.Code(7), DWORD(8));
    QCOMPARE(carrier.asked, QStringList("7"));
}

void OperationTest::anObjectLivesAsLongAsASlotKeepsIt()
{
    Letters letters;
    auto carrier = std::make_shared<Carrier>();
    const std::weak_ptr<Carrier> observed = carrier;
    letters.Code.provide(carrier, &Carrier::code);
    letters.Wait.provide(carrier, &Carrier::code);
    carrier.reset();
    QCOMPARE(letters.Code(1), DWORD(2));
    letters.Code = [](DWORD) { return DWORD(0); };
    QCOMPARE(letters.Wait(2), DWORD(3));
    QCOMPARE(observed.lock()->asked, QStringList({"1", "2"}));
    letters.Wait = [](DWORD) { return DWORD(0); };
    QVERIFY(observed.expired());
}

void OperationTest::theLastWrapIsCalledFirst()
{
    Letters letters;
    QStringList order;
    letters.Code = [&order](DWORD number) {
        order += "filled " + QString::number(number);
        return number * 2;
    };
    letters.Code.wrap([&order](const auto &next, DWORD number) {
        order += "first " + QString::number(number);
        return next(number + 1) + 1;
    });
    letters.Code.wrap([&order](const auto &next, DWORD number) {
        order += "second " + QString::number(number);
        return next(number + 10) + 100;
    });
    QCOMPARE(letters.Code(0), DWORD(11 * 2 + 1 + 100));
    QCOMPARE(order, QStringList({"second 0", "first 10", "filled 11"}));
}

void OperationTest::aWrapKeepsWhatItWraps()
{
    Letters letters;
    auto carrier = std::make_shared<Carrier>();
    const std::weak_ptr<Carrier> observed = carrier;
    letters.Code.provide(carrier, &Carrier::code);
    carrier.reset();
    letters.Code.wrap([](const auto &next, DWORD number) { return next(number); });
    QCOMPARE(letters.Code(1), DWORD(2));
    letters.Code = [](DWORD) { return DWORD(0); };
    QVERIFY(observed.expired());
}

void OperationTest::aDecoratedSlotHandsCallsOn()
{
    Letters real;
    Letters decorator;
    decorator.Zero.decorate(real.Zero, nullptr);
    QVERIFY(decorator.Zero.isProvided());
    real.Zero = [](DWORD first, DWORD second) { return BOOL(first - second); };
    QCOMPARE(decorator.Zero(9, 4), BOOL(5));
    // What fills the real slot later is what is called.
    real.Zero = [](DWORD first, DWORD second) { return BOOL(first + second); };
    QCOMPARE(decorator.Zero(9, 4), BOOL(13));
}

void OperationTest::aWatcherSeesTheCall()
{
    Letters real;
    Letters decorator;
    Watcher watcher;
    real.Zero = [](DWORD first, DWORD second) { return BOOL(first - second); };
    real.Never = [] { return DWORD(7); };
    decorator.Zero.decorate(real.Zero, &watcher);
    decorator.Never.decorate(real.Never, &watcher);
    QCOMPARE(decorator.Zero(9, 4), BOOL(5));
    QCOMPARE(decorator.Never(), DWORD(7));
    QCOMPARE(watcher.seen, QStringList({"Zero(9, 4)", "Never()"}));
    QVERIFY(!watcher.lastError);
}

void OperationTest::aCallFailsInItsOperationsWay()
{
    // The real slots are empty: a call that reached one would end the test.
    Letters real;
    Letters decorator;
    Watcher watcher;
    decorator.Code.decorate(real.Code, &watcher);
    decorator.Zero.decorate(real.Zero, &watcher);
    decorator.Handle.decorate(real.Handle, &watcher);
    decorator.Wait.decorate(real.Wait, &watcher);
    decorator.Block.decorate(real.Block, &watcher);

    watcher.code = 5;
    QCOMPARE(decorator.Code.failureCode(), FailureCode::Result);
    QCOMPARE(decorator.Code(1), DWORD(5));
    QVERIFY(!watcher.lastError); // the result said it all

    watcher.code = 6;
    QCOMPARE(decorator.Zero.failureCode(), FailureCode::LastError);
    QCOMPARE(decorator.Zero(1, 2), BOOL(0));
    QCOMPARE(watcher.lastError, std::make_optional(DWORD(6)));

    watcher.code = 7;
    QCOMPARE(decorator.Handle.failureCode(), FailureCode::LastError);
    QCOMPARE(decorator.Handle(1), invalidHandle());
    QCOMPARE(watcher.lastError, std::make_optional(DWORD(7)));

    watcher.code = 8;
    QCOMPARE(decorator.Wait.failureCode(), FailureCode::LastError);
    QCOMPARE(decorator.Wait(1), DWORD(WaitFailed));
    QCOMPARE(watcher.lastError, std::make_optional(DWORD(8)));

    watcher.code = 9;
    int block = 0;
    QCOMPARE(decorator.Block.failureCode(), FailureCode::LastError);
    QCOMPARE(decorator.Block(&block), static_cast<void *>(&block));
    QCOMPARE(watcher.lastError, std::make_optional(DWORD(9)));

    QCOMPARE(decorator.Never.failureCode(), FailureCode::None);
}

void OperationTest::aFamilyKeepsTheOrderOfDeclaration()
{
    const Letters letters;
    QStringList names;
    for (const AnyOperation *operation : letters.operations())
        names += operation->name();
    QCOMPARE(names, QStringList({"Code", "Zero", "Handle", "Wait", "Block", "Never"}));
}

void OperationTest::aPlatformHasTheOperationsOfItsFamilies()
{
    const Platform empty;
    std::vector<AnyOperation *> expected;
    const auto append = [&expected](const Family &family) {
        expected.insert(expected.end(), family.operations().begin(), family.operations().end());
    };
    append(static_cast<const ErrorHandling &>(empty));
    append(static_cast<const KernelObjects &>(empty));
    append(static_cast<const Memory &>(empty));
    append(static_cast<const Modules &>(empty));
    append(static_cast<const Process &>(empty));
    append(static_cast<const Ras &>(empty));
    append(static_cast<const Registry &>(empty));
    append(static_cast<const Security &>(empty));
    append(static_cast<const SerialComm &>(empty));
    append(static_cast<const SetupApi &>(empty));
    append(static_cast<const SystemInformation &>(empty));
    append(static_cast<const Foreground &>(empty));
    append(static_cast<const ConfigManager &>(empty));
    append(static_cast<const NewDev &>(empty));
    QCOMPARE(empty.allOperations(), expected);

    QStringList names;
    for (const AnyOperation *operation : expected)
        names += operation->name();
    QVERIFY(names.contains("RasHangUpW"));
    QCOMPARE(names.removeDuplicates(), 0);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc > 1 && std::strcmp(argv[1], "call-an-empty-slot") == 0) {
        const Platform empty;
        std::puts("before");
        std::fflush(stdout);
        empty.RasHangUpW(nullptr);
        std::puts("after");
        return 0;
    }
    OperationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "operation_test.moc"
