#include "platform/linux/activelinks.h"

#include "tests/linux/pppdfixture.h"

#include <QTest>

#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

/// Links that pppd has up, and how they are ended.
class ActiveLinksTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }
    void cleanup() { endLinks(); }

    void linksAreFound();
    void whatIsNoLinkIsNotFound_data();
    void whatIsNoLinkIsNotFound();
    void linksInPppdsOwnFolderAreFound();
    void aLinkIsEnded();
    void aLinkThatDoesNotEndCountsAsEnded();
};

void ActiveLinksTest::linksAreFound()
{
    QVERIFY(links().isEmpty());
    const pid_t process = startLink("lo");
    const QList<ActiveLink> found = links();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().entryName, QString(entryName));
    QCOMPARE(found.first().process, process);
    QCOMPARE(found.first().interface, QString("lo"));
    ::kill(process, SIGKILL);
    // The file of a killed pppd stays, the link does not.
    QTRY_VERIFY(links().isEmpty());
    QVERIFY(QFile::exists(m_paths.run + "/ppp-" + linkName + ".pid"));
}

void ActiveLinksTest::whatIsNoLinkIsNotFound_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no number") << QByteArray("x\nlo\n");
    QTest::newRow("no interface yet") << QByteArray("%1\n");
    QTest::newRow("interface without address") << QByteArray("%1\nnone0\n");
    QTest::newRow("another program") << QByteArray::number(::getpid()) + "\nlo\n";
    QTest::newRow("another link's pppd") << QByteArray("%2\nlo\n");
}

void ActiveLinksTest::whatIsNoLinkIsNotFound()
{
    QFETCH(QByteArray, content);
    const pid_t own = startLink("lo");
    const pid_t other = startLink("lo", "tolvane-other");
    content.replace("%1", QByteArray::number(own));
    content.replace("%2", QByteArray::number(other));
    QFile file(m_paths.run + "/ppp-" + linkName + ".pid");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    const QList<ActiveLink> found = links();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().entryName, QString("other"));
    ::kill(own, SIGKILL);
}

void ActiveLinksTest::linksInPppdsOwnFolderAreFound()
{
    startLink("lo");
    const QString file = QString("ppp-") + linkName + ".pid";
    QVERIFY(QDir(m_paths.run).mkdir("pppd"));
    QVERIFY(QFile::rename(m_paths.run + '/' + file, m_paths.run + "/pppd/" + file));
    // And a link of the system's own, which is no entry's.
    QVERIFY(QFile::copy(m_paths.run + "/pppd/" + file, m_paths.run + "/ppp-provider.pid"));
    QCOMPARE(links().size(), 1);
}

void ActiveLinksTest::aLinkIsEnded()
{
    startLink("lo");
    const ActiveLink link = links().first();
    QCOMPARE(endLink(link), DWORD(Success));
    QVERIFY(!QFile::exists(m_paths.run + "/ppp-" + linkName + ".pid"));
    QCOMPARE(endLink(link), DWORD(ErrorInvalidHandle));
    ActiveLink own = link;
    own.process = ::getpid(); // the number came round
    QCOMPARE(endLink(own), DWORD(ErrorInvalidHandle));
}

void ActiveLinksTest::aLinkThatDoesNotEndCountsAsEnded()
{
    startLink("lo", linkName, "deaf ");
    const ActiveLink link = links().first();
    QCOMPARE(endLink(link, 50), DWORD(Success));
    QCOMPARE(links().size(), 1);
}

QTEST_MAIN(ActiveLinksTest)
#include "activelinks_test.moc"
