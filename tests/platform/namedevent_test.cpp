#include "platform/platform.h"
#include "platform/posix/process.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/support/ordinaryuser.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

/// A process as this backend sees it. Two of them in one process are strangers.
struct TestProcess : Platform {
    TestProcess()
    {
        const auto handles = std::make_shared<Handles>();
        provideKernelObjects(this, handles);
        provideProcess(
            this, handles, [](const QString &name) { return name; }, ownEnvironment);
    }

    HANDLE open(const QString &name) { return CreateEventW(nullptr, 0, 0, wide(name)); }
};

/// A process of its own that runs the function and then stays.
class OtherProcess
{
public:
    explicit OtherProcess(const std::function<bool()> &function)
    {
        int ends[2] = {};
        if (::pipe(ends) != 0)
            qFatal("no pipe");
        m_process = ::fork();
        if (m_process == 0) {
            const char outcome = function() ? 'y' : 'n';
            if (::write(ends[1], &outcome, 1) == 1)
                ::pause();
            ::_exit(1);
        }
        char outcome = 0;
        m_isWell = ::read(ends[0], &outcome, 1) == 1 && outcome == 'y';
        ::close(ends[0]);
        ::close(ends[1]);
    }
    ~OtherProcess() { crash(); }
    OtherProcess(const OtherProcess &) = delete;
    OtherProcess &operator=(const OtherProcess &) = delete;

    bool isWell() const { return m_isWell; }
    void stop() const { signal(SIGSTOP, WUNTRACED); }
    void crash()
    {
        if (m_process > 0)
            signal(SIGKILL, 0);
        m_process = -1;
    }

private:
    void signal(int number, int options) const
    {
        ::kill(m_process, number);
        ::waitpid(m_process, nullptr, options);
    }

    pid_t m_process = -1;
    bool m_isWell = false;
};

} // namespace

/// The events that processes share by name.
class NamedEventTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { qputenv("DISPLAY", m_display); }

    void theSecondOpensWhatTheFirstMade();
    void aSignalReachesItsMaker();
    void openingIsNoSignal();
    void aSignalBeforeTheWaitIsKept();
    void manyOpeners();
    void onlyTheMakerMayWait();
    void theMakerIsGone();
    void theNameGoesWithItsMaker();
    void aCrashLeavesNothing();
    void aChildDoesNotKeepTheName();
    void aMakerThatHangsIsNotWaitedFor();
    void startsAtTheSameMoment();
    void anotherUserHasTheName();
    void anotherUserIsNotHeard();
    void sessionsDoNotMeet();
    void refusedNames_data();
    void refusedNames();
    void refusesRightsOfItsOwn();

private:
    QString m_name;
    QByteArray m_display = qgetenv("DISPLAY");
};

void NamedEventTest::init()
{
    // Other runs of this test have names of their own.
    m_name = QString("Local\\test %1 %2").arg(::getpid()).arg(QTest::currentTestFunction());
    qputenv("DISPLAY", ":77");
}

void NamedEventTest::theSecondOpensWhatTheFirstMade()
{
    TestProcess first;
    TestProcess second;
    setLastError(99);
    QVERIFY(first.open(m_name));
    QCOMPARE(lastError(), Success);
    QVERIFY(second.open(m_name));
    QCOMPARE(lastError(), ErrorAlreadyExists);
    QVERIFY(second.open(m_name + " of another kind"));
    QCOMPARE(lastError(), Success);
}

void NamedEventTest::aSignalReachesItsMaker()
{
    TestProcess first;
    TestProcess second;
    const HANDLE made = first.open(m_name);
    const HANDLE opened = second.open(m_name);
    std::atomic<DWORD> waited{WaitFailed};
    std::thread waiter([&] { waited = first.WaitForSingleObject(made, WaitInfinite); });
    QVERIFY(second.SetEvent(opened));
    waiter.join();
    QCOMPARE(waited.load(), WaitObject0);
    // It is one that resets itself.
    QCOMPARE(first.WaitForSingleObject(made, 0), WaitTimeout);
    QVERIFY(first.SetEvent(made));
    QCOMPARE(first.WaitForSingleObject(made, 0), WaitObject0);
}

void NamedEventTest::openingIsNoSignal()
{
    TestProcess first;
    TestProcess second;
    const HANDLE made = first.open(m_name);
    const HANDLE opened = second.open(m_name);
    QCOMPARE(first.WaitForSingleObject(made, 20), WaitTimeout);
    QVERIFY(second.CloseHandle(opened));
    QCOMPARE(first.WaitForSingleObject(made, 20), WaitTimeout);
}

void NamedEventTest::aSignalBeforeTheWaitIsKept()
{
    TestProcess first;
    TestProcess second;
    const HANDLE made = first.open(m_name);
    const HANDLE opened = second.open(m_name);
    QVERIFY(second.SetEvent(opened));
    QVERIFY(second.CloseHandle(opened));
    QCOMPARE(first.WaitForSingleObject(made, 0), WaitObject0);
    QCOMPARE(first.WaitForSingleObject(made, 0), WaitTimeout);
}

void NamedEventTest::manyOpeners()
{
    TestProcess first;
    TestProcess second;
    const HANDLE made = first.open(m_name);
    for (int i = 0; i < 50; ++i) {
        const HANDLE opened = second.open(m_name);
        QVERIFY(second.SetEvent(opened));
        QCOMPARE(first.WaitForSingleObject(made, 0), WaitObject0);
        QVERIFY(second.CloseHandle(opened));
    }
    QCOMPARE(first.WaitForSingleObject(made, 0), WaitTimeout);
}

void NamedEventTest::onlyTheMakerMayWait()
{
    TestProcess first;
    TestProcess second;
    QVERIFY(first.open(m_name));
    const HANDLE opened = second.open(m_name);
    QCOMPARE(second.WaitForSingleObject(opened, WaitInfinite), WaitFailed);
    QCOMPARE(lastError(), ErrorInvalidHandle);
}

void NamedEventTest::theMakerIsGone()
{
    TestProcess first;
    TestProcess second;
    const HANDLE made = first.open(m_name);
    const HANDLE opened = second.open(m_name);
    QVERIFY(first.CloseHandle(made));
    QVERIFY(!second.SetEvent(opened));
    QVERIFY(!second.SetEvent(made));
    QCOMPARE(lastError(), ErrorInvalidHandle);
}

void NamedEventTest::theNameGoesWithItsMaker()
{
    TestProcess first;
    TestProcess second;
    QVERIFY(first.CloseHandle(first.open(m_name)));
    QVERIFY(second.open(m_name));
    QCOMPARE(lastError(), Success);
}

void NamedEventTest::aCrashLeavesNothing()
{
    OtherProcess other([this] { return (new TestProcess)->open(m_name) != nullptr; });
    QVERIFY(other.isWell());
    TestProcess here;
    QVERIFY(here.open(m_name));
    QCOMPARE(lastError(), ErrorAlreadyExists);
    other.crash();
    QVERIFY(here.open(m_name));
    QCOMPARE(lastError(), Success);
}

// Such as a pppd that goes on when the program ends.
void NamedEventTest::aChildDoesNotKeepTheName()
{
    TestProcess first;
    const HANDLE made = first.open(m_name);
    const QString program = "/bin/sleep";
    QString commandLine = "sleep 60";
    StartupInfo startup = {};
    startup.cb = sizeof startup;
    ProcessInformation child = {};
    QVERIFY(first.CreateProcessW(wide(program), reinterpret_cast<WCHAR *>(commandLine.data()),
                                 nullptr, nullptr, 0, 0, nullptr, nullptr, &startup, &child));
    QVERIFY(first.CloseHandle(made));
    TestProcess second;
    // The system lets this process go on a moment before it closes what the child
    // does not get.
    const bool isFree = QTest::qWaitFor([&] {
        const HANDLE again = second.open(m_name);
        const DWORD code = lastError();
        second.CloseHandle(again);
        return again && code == Success;
    });
    const DWORD whileChecked = first.WaitForSingleObject(child.hProcess, 0);
    ::kill(static_cast<pid_t>(child.dwProcessId), SIGKILL);
    QCOMPARE(first.WaitForSingleObject(child.hProcess, 5000), WaitObject0);
    QVERIFY(isFree);
    QCOMPARE(whileChecked, WaitTimeout);
}

void NamedEventTest::aMakerThatHangsIsNotWaitedFor()
{
    const OtherProcess other([this] { return (new TestProcess)->open(m_name) != nullptr; });
    QVERIFY(other.isWell());
    other.stop();
    QElapsedTimer timer;
    timer.start();
    TestProcess here;
    const HANDLE opened = here.open(m_name);
    QCOMPARE(lastError(), ErrorAlreadyExists);
    // More than the system keeps for it.
    for (int i = 0; i < 2000; ++i)
        QVERIFY(here.SetEvent(opened));
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
}

// Whoever opens the name while it is being made waits until it is.
void NamedEventTest::startsAtTheSameMoment()
{
    for (int round = 0; round < 1000; ++round) {
        TestProcess processes[4];
        std::atomic<int> makers{0};
        std::atomic<int> openers{0};
        std::atomic<bool> go{false};
        std::vector<std::thread> starts;
        for (TestProcess &process : processes) {
            starts.emplace_back([&] {
                while (!go)
                    std::this_thread::yield();
                if (process.open(m_name))
                    ++(lastError() == ErrorAlreadyExists ? openers : makers);
            });
        }
        go = true;
        for (std::thread &start : starts)
            start.join();
        QCOMPARE(makers.load(), 1);
        QCOMPARE(openers.load(), 3);
    }
}

void NamedEventTest::anotherUserHasTheName()
{
    if (::geteuid() != 0)
        QSKIP("needs an administrator, who can be another user for a while");
    const OtherProcess other([this] {
        new OrdinaryUser;
        return (new TestProcess)->open(m_name) != nullptr;
    });
    QVERIFY(other.isWell());
    TestProcess here;
    QVERIFY(!here.open(m_name));
    QCOMPARE(lastError(), ErrorAccessDenied);
}

void NamedEventTest::anotherUserIsNotHeard()
{
    if (::geteuid() != 0)
        QSKIP("needs an administrator, who can be another user for a while");
    TestProcess here;
    const HANDLE made = here.open(m_name);
    const OtherProcess other([this] {
        new OrdinaryUser;
        TestProcess process;
        return !process.open(m_name) && lastError() == ErrorAccessDenied;
    });
    QVERIFY(other.isWell());
    QCOMPARE(here.WaitForSingleObject(made, 20), WaitTimeout);
}

void NamedEventTest::sessionsDoNotMeet()
{
    TestProcess first;
    TestProcess second;
    QVERIFY(first.open(m_name));
    qputenv("DISPLAY", ":78");
    QVERIFY(second.open(m_name));
    QCOMPARE(lastError(), Success);
    qunsetenv("DISPLAY");
    qputenv("WAYLAND_DISPLAY", "wayland-0");
    TestProcess third;
    QVERIFY(third.open(m_name));
    QCOMPARE(lastError(), Success);
    qputenv("WAYLAND_DISPLAY", "wayland-1");
    TestProcess fourth;
    QVERIFY(fourth.open(m_name));
    QCOMPARE(lastError(), Success);
    qunsetenv("WAYLAND_DISPLAY");
    // Without a display there is one more.
    TestProcess fifth;
    QVERIFY(fifth.open(m_name));
    QCOMPARE(lastError(), Success);
}

void NamedEventTest::refusedNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<DWORD>("code");
    QTest::newRow("all sessions") << "Global\\x" << DWORD(ErrorNotSupported);
    QTest::newRow("no session") << "x" << DWORD(ErrorNotSupported);
    QTest::newRow("too long") << "Local\\" + QString(108, 'x') << DWORD(206);
}

void NamedEventTest::refusedNames()
{
    QFETCH(const QString, name);
    QFETCH(const DWORD, code);
    TestProcess process;
    QVERIFY(!process.open(name));
    QCOMPARE(lastError(), code);
}

void NamedEventTest::refusesRightsOfItsOwn()
{
    TestProcess process;
    QVERIFY(!process.CreateEventW(&process, 0, 0, wide(m_name)));
    QCOMPARE(lastError(), DWORD(ErrorNotSupported));
}

QTEST_GUILESS_MAIN(NamedEventTest)
#include "namedevent_test.moc"
