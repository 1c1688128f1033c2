// A start with an administrator's rights beside a program without them.

#include "app/identity.h"
#include "app/singleinstance.h"
#include "platform/text.h"
#include "tests/support/bench.h"

#include <QElapsedTimer>
#include <QTest>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace {

const char settingsFile[] = "C:\\Users\\Anna\\Tolvane Modem Connector.ini";

/// A machine whose named events are what Windows makes of them: there for as long
/// as a handle is open, waited for by any thread.
class SharingMachine : public ScriptedMachine
{
public:
    SharingMachine()
    {
        CreateEventW.wrap([this](auto &next, void *attributes, platform::BOOL manual,
                                 platform::BOOL initial, const platform::WCHAR *name) {
            const platform::HANDLE handle = next(attributes, manual, initial, name);
            const QString text = platform::fromWide(name);
            const std::lock_guard lock(m_mutex);
            std::shared_ptr<Event> event = m_byName[text].lock();
            SetLastError(event ? platform::ErrorAlreadyExists : platform::Success);
            if (!event)
                event = std::make_shared<Event>();
            m_byName[text] = event;
            m_byHandle[handle] = event;
            return handle;
        });
        SetEvent.wrap([this](auto &next, platform::HANDLE handle) {
            {
                const std::lock_guard lock(m_mutex);
                m_byHandle.at(handle)->isSignalled = true;
            }
            m_changed.notify_all();
            return next(handle);
        });
        WaitForSingleObject = [this](platform::HANDLE handle, platform::DWORD milliseconds) {
            std::unique_lock lock(m_mutex);
            const std::shared_ptr<Event> event = m_byHandle.at(handle);
            const auto isSignalled = [&event] { return event->isSignalled; };
            if (milliseconds == platform::WaitInfinite)
                m_changed.wait(lock, isSignalled);
            else if (!m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                         isSignalled))
                return platform::WaitTimeout;
            event->isSignalled = false;
            return platform::WaitObject0;
        };
        CloseHandle.wrap([this](auto &next, platform::HANDLE handle) {
            {
                const std::lock_guard lock(m_mutex);
                m_byHandle.erase(handle);
            }
            const platform::BOOL result = next(handle);
            if (afterClosing)
                afterClosing();
            return result;
        });
    }

    /// Whether somebody holds the event by which he offers to take over.
    bool isOfferMade()
    {
        const std::lock_guard lock(m_mutex);
        for (const auto &[name, event] : m_byName) {
            if (name.endsWith(" offer") && !event.expired())
                return true;
        }
        return false;
    }

    /// Runs after each handle that is closed.
    std::function<void()> afterClosing;

private:
    struct Event {
        bool isSignalled = false;
    };

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<QString, std::weak_ptr<Event>> m_byName;
    std::map<platform::HANDLE, std::shared_ptr<Event>> m_byHandle;
};

using TakeoverBench = Bench<SharingMachine>;

/// The program that is open: it answers every later start as main() does.
class OpenProgram : public QObject
{
public:
    explicit OpenProgram(TakeoverBench &bench, bool isAdministrator = false)
    {
        bench.machine.administrator = isAdministrator;
        instance = std::make_unique<SingleInstance>(settingsFile);
        connect(instance.get(), &SingleInstance::startedAgain, this, [this] {
            ++starts;
            gaveWay = instance->giveWay(isBusy);
        });
        instance->watch();
    }

    std::unique_ptr<SingleInstance> instance;
    bool isBusy = false;
    int starts = 0;
    bool gaveWay = false;
};

/// A start beside it, in a process of its own; here, on a thread of its own.
class Start
{
public:
    Start(TakeoverBench &bench, bool isAdministrator)
    {
        bench.machine.administrator = isAdministrator;
        m_thread = std::thread([this] {
            m_instance = std::make_unique<SingleInstance>(settingsFile);
            m_isDone = true;
        });
    }
    ~Start() { m_thread.join(); }

    bool isDone() const { return m_isDone; }
    bool isFirst() const { return m_instance->isFirst(); }

private:
    std::unique_ptr<SingleInstance> m_instance;
    std::atomic<bool> m_isDone{false};
    std::thread m_thread;
};

/// A handle to the event that somebody has open who wants to take over.
platform::HANDLE makeOffer(TakeoverBench &bench)
{
    const QString name = bench.machine.eventNames.first() + " offer";
    return bench.machine.CreateEventW(nullptr, false, false, platform::wide(name));
}

} // namespace

class TakeoverTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { setApplicationIdentity(); }

    void takesOver();
    void fromOneThatEnds();
    void aBusyProgramStays();
    void anAdministratorsProgramStays();
    void aProgramThatDoesNotAnswerStays();
    void withoutRightsNobodyTakesOver();
    void besideAnotherThatWaits();
    void everybodyMayAnswer();
    void withdrawnJustThen();
    void withdrawnAndTakenAllTheSame();
    void theSystemDoesNotSay();
};

void TakeoverTest::takesOver()
{
    TakeoverBench bench;
    {
        OpenProgram program(bench);
        const Start second(bench, true);
        QTRY_VERIFY(second.isDone());
        QVERIFY(second.isFirst());
        QVERIFY(program.gaveWay);
        QCOMPARE(program.starts, 1);
        // It holds the name now.
        bench.machine.administrator = false;
        QVERIFY(!SingleInstance(settingsFile).isFirst());
        QCOMPARE(program.starts, 1);
    }
    QCOMPARE(bench.leftOpen(), QString());
}

void TakeoverTest::fromOneThatEnds()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    QObject::disconnect(program.instance.get(), nullptr, nullptr, nullptr); // it does not answer
    const Start second(bench, true);
    QTRY_VERIFY(bench.machine.isOfferMade());
    program.instance.reset();
    QTRY_VERIFY(second.isDone());
    QVERIFY(second.isFirst());
}

void TakeoverTest::aBusyProgramStays()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    program.isBusy = true;
    {
        QElapsedTimer timer;
        timer.start();
        const Start second(bench, true);
        QTRY_VERIFY(second.isDone());
        QVERIFY(!second.isFirst());
        QVERIFY(timer.elapsed() < SingleInstance::AnswerTime); // it was told so
    }
    QVERIFY(!program.gaveWay);
    QCOMPARE(bench.leftOpen(), QString("1 event"));
    // And still holds the name.
    const Start third(bench, false);
    QTRY_COMPARE(program.starts, 2);
    QTRY_VERIFY(third.isDone());
    QVERIFY(!third.isFirst());
}

// It answers while its window is blocked: the answer is known.
void TakeoverTest::anAdministratorsProgramStays()
{
    TakeoverBench bench;
    OpenProgram program(bench, true);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!SingleInstance(settingsFile).isFirst());
    QVERIFY(timer.elapsed() < SingleInstance::AnswerTime);
    QTRY_COMPARE(program.starts, 1);
    QVERIFY(!program.gaveWay);
    QTRY_COMPARE(bench.leftOpen(), QString("1 event"));
}

// Its window is blocked. When it comes back, nobody is there any more.
void TakeoverTest::aProgramThatDoesNotAnswerStays()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    bench.machine.administrator = true;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!SingleInstance(settingsFile).isFirst());
    QVERIFY(timer.elapsed() >= SingleInstance::AnswerTime);
    QTRY_COMPARE(program.starts, 1);
    QVERIFY(!program.gaveWay);
    QCOMPARE(bench.leftOpen(), QString("1 event"));
}

void TakeoverTest::withoutRightsNobodyTakesOver()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    const Start second(bench, false);
    QTRY_VERIFY(second.isDone());
    QVERIFY(!second.isFirst());
    QTRY_COMPARE(program.starts, 1);
    QVERIFY(!program.gaveWay);
}

void TakeoverTest::besideAnotherThatWaits()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    const platform::HANDLE offer = makeOffer(bench);
    bench.machine.administrator = true;
    QVERIFY(!SingleInstance(settingsFile).isFirst());
    QTRY_VERIFY(program.gaveWay); // to the other one
    bench.machine.CloseHandle(offer);
    QCOMPARE(bench.leftOpen(), QString());
}

void TakeoverTest::everybodyMayAnswer()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    program.isBusy = true;
    {
        const Start second(bench, true);
        QTRY_VERIFY(second.isDone());
    }
    // The offer is made with the rights of all other events.
    const QStringList made = bench.calls().filter(QRegularExpression("^CreateEventW\\("));
    QVERIFY(made.size() > 1);
    QCOMPARE(made.filter("CreateEventW(null").size(), 0);
}

// The name is free for a moment, and nobody else takes it.
void TakeoverTest::withdrawnJustThen()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    platform::HANDLE offer = makeOffer(bench);
    int closed = 0;
    bench.machine.afterClosing = [&] {
        // First the look for the offer, then the name.
        if (++closed == 2)
            bench.machine.CloseHandle(offer);
    };
    QVERIFY(!program.instance->giveWay(false));
    bench.machine.afterClosing = nullptr;
    QCOMPARE(bench.leftOpen(), QString("1 event"));
    bench.machine.administrator = false;
    QVERIFY(!SingleInstance(settingsFile).isFirst());
    QTRY_COMPARE(program.starts, 1);
}

void TakeoverTest::withdrawnAndTakenAllTheSame()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    const platform::HANDLE offer = makeOffer(bench);
    std::unique_ptr<SingleInstance> other;
    int closed = 0;
    bench.machine.afterClosing = [&] {
        if (++closed != 2)
            return;
        bench.machine.CloseHandle(offer);
        other = std::make_unique<SingleInstance>(settingsFile);
    };
    QVERIFY(program.instance->giveWay(false));
    bench.machine.afterClosing = nullptr;
    QVERIFY(other->isFirst());
}

// 8: not enough memory for the offer.
void TakeoverTest::theSystemDoesNotSay()
{
    TakeoverBench bench;
    OpenProgram program(bench);
    bench.machine.administrator = true;
    bench.fail("CreateEventW", 8, 3);
    QVERIFY(!SingleInstance(settingsFile).isFirst());
    QTRY_COMPARE(program.starts, 1);
    QVERIFY(!program.gaveWay);
}

QTEST_GUILESS_MAIN(TakeoverTest)
#include "takeover_test.moc"
