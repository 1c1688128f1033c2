#include "dialup/connectionstatus.h"
#include "platform/text.h"
#include "tests/support/bench.h"

#include <QTest>

#include <algorithm>

using namespace platform;

namespace {

RasConnectionHandle handle(int number)
{
    return reinterpret_cast<RasConnectionHandle>(static_cast<ULONG_PTR>(0x700 + number));
}

QList<ScriptedMachine::Connection> connectionsNamed(const QStringList &names)
{
    QList<ScriptedMachine::Connection> connections;
    for (const QString &name : names)
        connections.append({name, handle(static_cast<int>(connections.size()) + 1)});
    return connections;
}

/// The lines of a scan that looks at these names; the last one may match.
QStringList scanned(const QString &wanted, int count, const QStringList &names)
{
    QStringList lines = {"in isDialupConnectionConnected, connName:  " + quoted(wanted),
                         "Msg from  isDialupConnectionConnected  -  \"No of Connections = " +
                             QString::number(count) + "\" \n",
                         "The following RAS connections are currently active: \n"};
    for (const QString &name : names) {
        lines.append(quoted(name));
        lines.append((name == wanted ? " ==  " : " !=  ") + quoted(wanted) + " \n");
    }
    return lines;
}

/// Reports a count that was set, whatever the list holds, and a first entry
/// whose name has no terminator.
class EnumeratingMachine : public ScriptedMachine
{
public:
    DWORD reportedCount = 0;

    EnumeratingMachine()
    {
        RasEnumConnectionsW.wrap([this](auto &next, RasConnection *list, DWORD *bytes,
                                        DWORD *count) {
            const DWORD result = next(list, bytes, count);
            *count = reportedCount;
            std::fill(std::begin(list[0].szEntryName), std::end(list[0].szEntryName), WCHAR{'n'});
            return result;
        });
    }
};

} // namespace

class ConnectionStatusTest : public QObject
{
    Q_OBJECT

private slots:
    void scans_data();
    void scans();
    void enumerationIsHandedAClearBuffer();
    void enumerationFails_data();
    void enumerationFails();
    void hundredConnections();
    void moreThanAHundredConnections();
    void hangsUpTheFirstMatchOnly();
    void hangUpFails();
    void hangUpDoesNotWait();
    void nameWithoutTerminator();
    void countBeyondTheList();
};

void ConnectionStatusTest::scans_data()
{
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("match"); // position, -1 for none
    QTest::newRow("none active") << "TolvaneModem 1" << QStringList() << -1;
    QTest::newRow("the only one") << "TolvaneModem 1" << QStringList{"TolvaneModem 1"} << 0;
    QTest::newRow("another one") << "TolvaneModem 1" << QStringList{"Office"} << -1;
    QTest::newRow("in the middle")
        << "TolvaneModem 1" << QStringList{"Office", "TolvaneModem 1", "Home", "Travel"} << 1;
    QTest::newRow("last") << "TolvaneModem 1" << QStringList{"Office", "Home", "TolvaneModem 1"}
                          << 2;
    QTest::newRow("twice") << "TolvaneModem 1" << QStringList{"TolvaneModem 1", "TolvaneModem 1"}
                           << 0;
    QTest::newRow("other case") << "TolvaneModem 1"
                                << QStringList{"tolvanemodem 1", "TOLVANEMODEM 1"} << -1;
    QTest::newRow("longer and shorter")
        << "TolvaneModem 1" << QStringList{"TolvaneModem 10", "TolvaneModem "} << -1;
    QTest::newRow("blanks around")
        << "TolvaneModem 1" << QStringList{" TolvaneModem 1", "TolvaneModem 1 "} << -1;
    QTest::newRow("empty name") << "" << QStringList{"Office", "TolvaneModem 1"} << -1;
    QTest::newRow("beyond ASCII") << QString::fromUtf8("Caf\u00e9 \u0995 \"x\"")
                                  << QStringList{"Cafe",
                                                 QString::fromUtf8("Caf\u00e9 \u0995 \"x\"")}
                                  << 1;
}

void ConnectionStatusTest::scans()
{
    QFETCH(const QString, wanted);
    QFETCH(const QStringList, names);
    QFETCH(const int, match);
    // Names behind the match are neither logged nor compared.
    const QStringList lookedAt = names.mid(0, match < 0 ? -1 : match + 1);
    const QStringList lines = scanned(wanted, static_cast<int>(names.size()), lookedAt);
    {
        Bench<> bench;
        bench.machine.connections = connectionsNamed(names);
        QCOMPARE(isDialupConnectionConnected(wanted), match >= 0);
        QCOMPARE(bench.log.lines(), lines);
        QCOMPARE(bench.injector.operations(), QStringList({"RasEnumConnectionsW"}));
        QCOMPARE(bench.leftOpen(), QString());
    }
    // The hang-up shares every text with the query, its name included.
    Bench<> bench;
    bench.machine.connections = connectionsNamed(names);
    QCOMPARE(hangUpDialupConnection(wanted), match >= 0);
    QCOMPARE(bench.log.lines(), lines);
    QCOMPARE(bench.machine.hungUp, match < 0 ? QList<RasConnectionHandle>()
                                             : QList<RasConnectionHandle>({handle(match + 1)}));
    QCOMPARE(bench.leftOpen(), QString());
}

void ConnectionStatusTest::enumerationIsHandedAClearBuffer()
{
    for (const bool hangUp : {false, true}) {
        Bench<> bench;
        if (hangUp)
            hangUpDialupConnection("TolvaneModem 1");
        else
            isDialupConnectionConnected("TolvaneModem 1");
        QCOMPARE(bench.machine.enumeratedSize, DWORD{1340});
        QCOMPARE(bench.machine.enumeratedBytes, DWORD{136000});
        QCOMPARE(bench.machine.enumeratedCount, DWORD{0});
        QVERIFY(bench.machine.enumerationBufferWasZero);
        QCOMPARE(bench.calls(), QStringList({"RasEnumConnectionsW(&, &, &)"}));
    }
}

void ConnectionStatusTest::enumerationFails_data()
{
    QTest::addColumn<DWORD>("code");
    QTest::newRow("buffer too small") << RasErrorBufferTooSmall;
    QTest::newRow("invalid size") << RasErrorInvalidSize;
    QTest::newRow("not enough memory") << ErrorNotEnoughMemory;
    QTest::newRow("service missing") << DWORD{711};
}

void ConnectionStatusTest::enumerationFails()
{
    QFETCH(const DWORD, code);
    Bench<> bench;
    bench.machine.connections = connectionsNamed({"TolvaneModem 1"});
    bench.injector.inject({"RasEnumConnectionsW", 1, code, true});
    QVERIFY(!isDialupConnectionConnected("TolvaneModem 1"));
    QVERIFY(!hangUpDialupConnection("TolvaneModem 1"));
    // Neither retried nor logged.
    QCOMPARE(bench.injector.operations(),
             QStringList({"RasEnumConnectionsW", "RasEnumConnectionsW"}));
    const QString line = "in isDialupConnectionConnected, connName:  \"TolvaneModem 1\"";
    QCOMPARE(bench.log.lines(), QStringList({line, line}));
}

void ConnectionStatusTest::hundredConnections()
{
    QStringList names;
    for (int i = 1; i < 100; ++i)
        names.append(QString("Other %1").arg(i));
    names.append("TolvaneModem 1");
    Bench<> bench;
    bench.machine.connections = connectionsNamed(names);
    QVERIFY(isDialupConnectionConnected("TolvaneModem 1"));
    QCOMPARE(bench.log.lines(), scanned("TolvaneModem 1", 100, names));
    QVERIFY(hangUpDialupConnection("TolvaneModem 1"));
    QCOMPARE(bench.machine.hungUp, QList<RasConnectionHandle>({handle(100)}));
}

void ConnectionStatusTest::moreThanAHundredConnections()
{
    QStringList names = {"TolvaneModem 1"};
    for (int i = 1; i <= 100; ++i)
        names.append(QString("Other %1").arg(i));
    Bench<> bench;
    bench.machine.connections = connectionsNamed(names);
    QVERIFY(!isDialupConnectionConnected("TolvaneModem 1"));
    QVERIFY(!hangUpDialupConnection("TolvaneModem 1"));
    QCOMPARE(bench.machine.hungUp, QList<RasConnectionHandle>());
    QCOMPARE(bench.log.lines().size(), 2);
}

void ConnectionStatusTest::hangsUpTheFirstMatchOnly()
{
    Bench<> bench;
    bench.machine.connections =
        connectionsNamed({"Office", "TolvaneModem 1", "TolvaneModem 1", "Home"});
    QVERIFY(hangUpDialupConnection("TolvaneModem 1"));
    QCOMPARE(bench.calls(), QStringList({"RasEnumConnectionsW(&, &, &)", "RasHangUpW(0x702)"}));
    QVERIFY(isDialupConnectionConnected("TolvaneModem 1"));
    QVERIFY(hangUpDialupConnection("TolvaneModem 1"));
    QVERIFY(!hangUpDialupConnection("TolvaneModem 1"));
    QCOMPARE(bench.machine.hungUp, QList<RasConnectionHandle>({handle(2), handle(3)}));
}

void ConnectionStatusTest::hangUpFails()
{
    Bench<> bench;
    bench.machine.connections = connectionsNamed({"TolvaneModem 1", "TolvaneModem 1"});
    bench.fail("RasHangUpW", RasErrorInvalidHandle);
    QVERIFY(!hangUpDialupConnection("TolvaneModem 1"));
    // The code is not logged and no other connection is tried.
    QCOMPARE(bench.log.lines(), scanned("TolvaneModem 1", 2, {"TolvaneModem 1"}));
    QCOMPARE(bench.injector.operations(), QStringList({"RasEnumConnectionsW", "RasHangUpW"}));
}

void ConnectionStatusTest::hangUpDoesNotWait()
{
    Bench<> bench;
    bench.machine.connections = connectionsNamed({"TolvaneModem 1"});
    QVERIFY(hangUpDialupConnection("TolvaneModem 1"));
    QCOMPARE(bench.injector.operations(), QStringList({"RasEnumConnectionsW", "RasHangUpW"}));
}

void ConnectionStatusTest::nameWithoutTerminator()
{
    Bench<EnumeratingMachine> bench;
    bench.machine.reportedCount = 1;
    const QString full(257, 'n');
    QVERIFY(isDialupConnectionConnected(full));
    QCOMPARE(bench.log.lines(), scanned(full, 1, {full}));
}

// No more records are looked at than there are.
void ConnectionStatusTest::countBeyondTheList()
{
    Bench<EnumeratingMachine> bench;
    bench.machine.reportedCount = 101;
    QVERIFY(!isDialupConnectionConnected("TolvaneModem 1"));
    QStringList names = {QString(257, 'n')};
    while (names.size() < 100)
        names.append("");
    QCOMPARE(bench.log.lines().size(), 203);
    QCOMPARE(bench.log.lines(), scanned("TolvaneModem 1", 101, names));
}

QTEST_GUILESS_MAIN(ConnectionStatusTest)
#include "connectionstatus_test.moc"
