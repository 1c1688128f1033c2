#include "app/identity.h"
#include "app/singleinstance.h"
#include "tests/support/bench.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

#include <condition_variable>
#include <mutex>

namespace {

const char settingsFile[] = "C:\\Users\\Anna\\Tolvane Modem Connector.ini";

/// A machine whose events of a name can be waited for.
class WaitingMachine : public ScriptedMachine
{
public:
    WaitingMachine()
    {
        SetEvent.wrap([event = m_event](auto &next, platform::HANDLE handle) {
            event->signal();
            return next(handle);
        });
        // A thread that waits may outlive the machine, and so holds the event.
        WaitForSingleObject = [event = m_event](platform::HANDLE, platform::DWORD) {
            return std::shared_ptr<Event>(event)->wait();
        };
    }

    /// What another start does.
    void signal() { m_event->signal(); }
    /// From now on waiting fails.
    void failWaits()
    {
        const std::lock_guard lock(m_event->mutex);
        m_event->fails = true;
    }
    int waits() const
    {
        const std::lock_guard lock(m_event->mutex);
        return m_event->waits;
    }

private:
    struct Event {
        void signal()
        {
            const std::lock_guard lock(mutex);
            isSignalled = true;
            changed.notify_all();
        }
        platform::DWORD wait()
        {
            std::unique_lock lock(mutex);
            ++waits;
            if (fails)
                return platform::WaitFailed;
            changed.wait(lock, [this] { return isSignalled; });
            isSignalled = false;
            return platform::WaitObject0;
        }

        std::mutex mutex;
        std::condition_variable changed;
        bool isSignalled = false;
        bool fails = false;
        int waits = 0;
    };

    const std::shared_ptr<Event> m_event = std::make_shared<Event>();
};

/// Counts the starts that are reported, on the thread that made it.
class Starts : public QObject
{
public:
    explicit Starts(const SingleInstance &instance)
    {
        connect(&instance, &SingleInstance::startedAgain, this, [this] { ++count; });
    }

    int count = 0;
};

} // namespace

class SingleInstanceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { setApplicationIdentity(); }

    void theFirstStartHoldsAName();
    void theNameTellsUsersApart();
    void aLaterStartTellsTheFirstAndEnds();
    void everyUserOfTheDesktopMayTellIt();
    void withoutRightsOfItsOwn();
    void nobodyIsTurnedAwayWhenTheSystemDoesNotSay();
    void nobodyGivesWayToAnOfferThatCannotBeSeen();
    void theFirstEndsJustThen();
    void laterStartsAreReported();
    void aStartBeforeTheWatchIsReported();
    void aWaitThatFailsIsNoStart();
    void theEndIsNoStart();
    void theEndWaitsForNobody();
};

void SingleInstanceTest::theFirstStartHoldsAName()
{
    Bench bench;
    {
        const SingleInstance instance(settingsFile);
        QVERIFY(instance.isFirst());
        QCOMPARE(bench.machine.eventNames.size(), 1);
        // Another version of the program, which may run, uses the same one. The rest of it
        // may have no backslash, and all of it 260 characters.
        const QString name = bench.machine.eventNames.first();
        const QRegularExpression form("^Local\\\\Tolvane Modem Connector [0-9a-f]{40}$");
        QVERIFY2(form.match(name).hasMatch(), qPrintable(name));
        QCOMPARE(bench.machine.signalled, 0);
        QCOMPARE(bench.leftOpen(), QString("1 event"));
    }
    QCOMPARE(bench.leftOpen(), QString());
}

void SingleInstanceTest::theNameTellsUsersApart()
{
    Bench bench;
    const SingleInstance anna(settingsFile);
    const SingleInstance again(settingsFile);
    const SingleInstance bert("C:\\Users\\Bert\\Tolvane Modem Connector.ini");
    const QStringList names = bench.machine.eventNames;
    QCOMPARE(names.size(), 3);
    QCOMPARE(names[0], names[1]);
    QVERIFY(names[0] != names[2]);
}

void SingleInstanceTest::aLaterStartTellsTheFirstAndEnds()
{
    Bench bench;
    bench.machine.namesAreTaken = true;
    {
        SingleInstance instance(settingsFile);
        QVERIFY(!instance.isFirst());
        instance.watch();
        // Before the event: by the time the first one comes it must have the right.
        QCOMPARE(
            bench.injector.operations(),
            QStringList({"IsUserAnAdmin", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
                         "CreateEventW", "LocalFree", "AllowSetForegroundWindow", "SetEvent",
                         "CloseHandle"}));
        QCOMPARE(bench.machine.foregroundGivenTo, platform::AnyProcess);
        QCOMPARE(bench.machine.signalled, 1);
    }
    QCOMPARE(bench.machine.signalled, 1);
    QCOMPARE(bench.leftOpen(), QString());
}

// One with an administrator's rights among them, in either order.
void SingleInstanceTest::everyUserOfTheDesktopMayTellIt()
{
    Bench bench;
    const SingleInstance instance(settingsFile);
    QCOMPARE(bench.machine.rights, QString("D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)"));
    QVERIFY(bench.machine.eventHasRights);
}

void SingleInstanceTest::withoutRightsOfItsOwn()
{
    Bench bench;
    bench.fail("ConvertStringSecurityDescriptorToSecurityDescriptorW", 50);
    {
        const SingleInstance instance(settingsFile);
        QVERIFY(instance.isFirst());
        QVERIFY(!bench.machine.eventHasRights);
        QVERIFY(bench.calls().filter("CreateEventW(null, 0, 0, ").size() == 1);
        QCOMPARE(bench.leftOpen(), QString("1 event"));
    }
    QCOMPARE(bench.leftOpen(), QString());
}

// 5: somebody else took the name.
void SingleInstanceTest::nobodyIsTurnedAwayWhenTheSystemDoesNotSay()
{
    Bench bench;
    bench.fail("CreateEventW", 5);
    {
        SingleInstance instance(settingsFile);
        QVERIFY(instance.isFirst());
        instance.watch();
        // It has no name that it could let go.
        QVERIFY(!instance.giveWay(false));
    }
    QCOMPARE(bench.machine.signalled, 0);
    QCOMPARE(bench.leftOpen(), QString());
}

// 8: not enough memory to look for the offer.
void SingleInstanceTest::nobodyGivesWayToAnOfferThatCannotBeSeen()
{
    Bench bench;
    SingleInstance instance(settingsFile);
    bench.fail("CreateEventW", 8, 2);
    QVERIFY(!instance.giveWay(false));
    bench.fail("CreateEventW", 8, 3);
    QVERIFY(!instance.giveWay(true));
    QCOMPARE(bench.machine.signalled, 0);
    QCOMPARE(bench.leftOpen(), QString("1 event"));
}

void SingleInstanceTest::theFirstEndsJustThen()
{
    Bench bench;
    bench.machine.namesAreTaken = true;
    bench.fail("SetEvent", 31);
    const SingleInstance instance(settingsFile);
    QVERIFY(instance.isFirst());
    QCOMPARE(bench.leftOpen(), QString());
}

void SingleInstanceTest::laterStartsAreReported()
{
    Bench<WaitingMachine> bench;
    SingleInstance instance(settingsFile);
    const Starts starts(instance);
    instance.watch();
    bench.machine.signal();
    QTRY_COMPARE(starts.count, 1);
    bench.machine.signal();
    QTRY_COMPARE(starts.count, 2);
}

void SingleInstanceTest::aStartBeforeTheWatchIsReported()
{
    Bench<WaitingMachine> bench;
    SingleInstance instance(settingsFile);
    bench.machine.signal();
    const Starts starts(instance);
    instance.watch();
    QTRY_COMPARE(starts.count, 1);
}

// 6: the event is gone. The thread ends instead of asking again and again.
void SingleInstanceTest::aWaitThatFailsIsNoStart()
{
    Bench<WaitingMachine> bench;
    bench.machine.failWaits();
    SingleInstance instance(settingsFile);
    const Starts starts(instance);
    instance.watch();
    QTRY_COMPARE(bench.machine.waits(), 1);
    bench.machine.signal();
    QCoreApplication::processEvents();
    QCOMPARE(bench.machine.waits(), 1);
    QCOMPARE(starts.count, 0);
}

void SingleInstanceTest::theEndIsNoStart()
{
    Bench<WaitingMachine> bench;
    auto instance = std::make_unique<SingleInstance>(settingsFile);
    const Starts starts(*instance);
    instance->watch();
    instance.reset();
    QCoreApplication::processEvents();
    QCOMPARE(bench.machine.waits(), 1);
    QCOMPARE(starts.count, 0);
    QCOMPARE(bench.leftOpen(), QString());
}

// A thread that cannot be told is left behind.
void SingleInstanceTest::theEndWaitsForNobody()
{
    Bench<WaitingMachine> bench;
    {
        SingleInstance instance(settingsFile);
        instance.watch();
        QTRY_COMPARE(bench.machine.waits(), 1);
        bench.fail("SetEvent", 6);
    }
    QCOMPARE(bench.machine.signalled, 0);
    // It ends at the next start, without a look at what is gone.
    bench.machine.signal();
}

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "singleinstance_test.moc"
