#include "tests/linux/servicefixture.h"

#include "app/identity.h"
#include "platform/linux/helper/checks.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/setupapi.h"
#include "platform/posix/filelock.h"
#include "tests/linux/filemode.h"
#include "tests/linux/fulldisk.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

constexpr std::chrono::milliseconds Patience(50);
constexpr int ThousandsOfFiles = 3000;

} // namespace

class HostileStateTest;
using Spoiling = std::function<void(HostileStateTest *)>;
Q_DECLARE_METATYPE(Spoiling)

/// A state folder that somebody else has filled, or owns. Neither the window nor the helper
/// may wait there for ever, end, or change anything elsewhere.
class HostileStateTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_machine.prepare(); }
    void cleanup()
    {
        m_lock.reset();
        m_machine.endMachine();
    }

    void anythingMayLieThere_data();
    void anythingMayLieThere();
    void aFullDiskChangesNothing();
    void theHelperWorksNowhereElse_data();
    void theHelperWorksNowhereElse();
    void aFolderThatIsNotThereYetIsGood();
    void whatMayNotBeReadIsNotEmpty();

private:
    QString path(const QString &name) const { return m_machine.path(name); }
    QByteArray bytes(const QString &name) const { return path(name).toLocal8Bit(); }
    void take(const QString &name) const
    {
        const QFileInfo there(path(name));
        if (there.isDir() && !there.isSymLink())
            QVERIFY(QDir(path(name)).removeRecursively());
        else
            QFile::remove(path(name));
    }
    void pipe(const QString &name) const
    {
        take(name);
        QCOMPARE(::mkfifo(bytes(name).constData(), 0666), 0);
    }
    void socket(const QString &name) const
    {
        take(name);
        QCOMPARE(::mknod(bytes(name).constData(), S_IFSOCK | 0666, 0), 0);
    }
    void link(const QString &name, const QString &target) const
    {
        take(name);
        QVERIFY(QFile::link(target.startsWith('/') ? target : path(target), path(name)));
    }
    void folder(const QString &name) const
    {
        take(name);
        QVERIFY(QDir().mkpath(path(name)));
    }
    void file(const QString &name) const
    {
        take(name);
        m_machine.put(name, "in the way");
    }
    void sparse(const QString &name) const
    {
        file(name);
        QCOMPARE(::truncate(bytes(name).constData(), off_t(1) << 40), 0);
    }
    void manyFiles(const QString &pattern) const
    {
        for (int number = 0; number < ThousandsOfFiles; ++number)
            m_machine.put(pattern.arg(number), "x");
    }
    /// What whoever makes a link would like to have changed.
    void putElsewhere() const
    {
        m_machine.put("elsewhere/precious", "keep this");
        setMode(path("elsewhere/precious"), 0600);
    }
    QStringList elsewhere() const
    {
        return QDir(path("elsewhere")).entryList(QDir::AllEntries | QDir::Hidden);
    }

    /// What the helper refuses to start for.
    QString changeable() const
    {
        SystemPaths paths = m_machine.m_paths;
        paths.helper = "/usr/bin/env"; // is root's alone
        paths.pppd = paths.helper;
        return changeablePath(paths);
    }

    ServiceFixture m_machine;
    std::unique_ptr<FileLock> m_lock; ///< of somebody who does not give it back
};

void HostileStateTest::anythingMayLieThere_data()
{
    QTest::addColumn<Spoiling>("spoil");
    QTest::addColumn<DWORD>("read"); // how reading the store ends
    using Test = HostileStateTest;
    const auto row = [](const char *name, DWORD read, const Spoiling &spoil) {
        QTest::newRow(name) << spoil << read;
    };
    row("folder: a file", ErrorInvalidData, [](Test *t) { t->file("state"); });
    row("folder: a pipe", ErrorInvalidData, [](Test *t) { t->pipe("state"); });
    row("folder: a link to nowhere", Success, [](Test *t) { t->link("state", "none"); });
    row("state: a pipe", ErrorInvalidData, [](Test *t) { t->pipe("state/state.json"); });
    row("state: a socket", ErrorInvalidData, [](Test *t) { t->socket("state/state.json"); });
    row("state: a folder", ErrorInvalidData, [](Test *t) { t->folder("state/state.json"); });
    row("state: a link", ErrorInvalidData,
        [](Test *t) { t->link("state/state.json", "elsewhere/precious"); });
    row("state: a link to nowhere", ErrorInvalidData,
        [](Test *t) { t->link("state/state.json", "elsewhere/new"); });
    row("state: without an end", ErrorInvalidData,
        [](Test *t) { t->link("state/state.json", "/dev/zero"); });
    row("state: large", ErrorInvalidData, [](Test *t) { t->sparse("state/state.json"); });
    row("lock: held for ever", Success,
        [](Test *t) { t->m_lock = std::make_unique<FileLock>(t->path("state/state.lock"), 0600); });
    row("lock: a pipe", Success, [](Test *t) { t->pipe("state/state.lock"); });
    row("lock: a folder", Success, [](Test *t) { t->folder("state/state.lock"); });
    row("lock: a link", Success,
        [](Test *t) { t->link("state/state.lock", "elsewhere/precious"); });
    row("lock: a link to nowhere", Success,
        [](Test *t) { t->link("state/state.lock", "elsewhere/new"); });
    const QString record = QString("state/entries/") + ServiceFixture::ownEntry;
    row("entries: a file", Success, [](Test *t) { t->file("state/entries"); });
    row("entries: a pipe", Success, [](Test *t) { t->pipe("state/entries"); });
    row("entries: thousands", Success,
        [](Test *t) { t->manyFiles("state/entries/tolvane-x%1@1000"); });
    row("entries: thousands of others'", Success,
        [](Test *t) { t->manyFiles("state/entries/%1"); });
    row("entry: a pipe", Success, [record](Test *t) { t->pipe(record); });
    row("entry: a folder", Success, [record](Test *t) { t->folder(record); });
    row("entry: a link", Success, [record](Test *t) { t->link(record, "elsewhere/precious"); });
    row("entry: without an end", Success, [record](Test *t) { t->link(record, "/dev/zero"); });
    row("entry: large", Success, [record](Test *t) { t->sparse(record); });
    row("inf: a file", Success, [](Test *t) { t->file("state/inf"); });
    row("inf: a pipe", Success, [](Test *t) { t->pipe("state/inf/oem3.inf"); });
    row("inf: large", Success, [](Test *t) { t->sparse("state/inf/oem3.inf"); });
    row("inf: thousands", Success, [](Test *t) { t->manyFiles("state/inf/oem%1.inf"); });
    row("sign-in: a file", Success, [](Test *t) { t->file("state/sign-in"); });
    row("sign-in: a pipe", Success, [](Test *t) { t->pipe("state/sign-in/1000"); });
    row("sign-in: a folder", Success, [](Test *t) { t->folder("state/sign-in/1000"); });
    row("sign-in: a link", Success,
        [](Test *t) { t->link("state/sign-in/1000", "elsewhere/precious"); });
}

void HostileStateTest::anythingMayLieThere()
{
    QFETCH(Spoiling, spoil);
    QFETCH(DWORD, read);
    QVERIFY(QDir().mkpath(path("state/inf")));
    putElsewhere();
    const QStringList before = elsewhere();
    spoil(this);

    // The window of a user.
    const StateStore store(m_machine.m_paths.state, Patience);
    QJsonObject content;
    QCOMPARE(store.read(&content), read);
    RasEntry entry = {};
    PhoneBook(programIdentity(), m_machine.m_paths).read("TolvaneModem 1", &entry);
    for (const ServiceFixture::Good &good : m_machine.goodRequests()) {
        Service service(m_machine.m_paths, programIdentity(), good.role, Patience);
        Service::Dial dial;
        if (!Service::isDial(good.request))
            service.answer(good.request);
        else if (service.checkDial(good.request, &dial) == Success)
            QCOMPARE(dial.peer, QString(ServiceFixture::ownEntry));
    }
    QCOMPARE(elsewhere(), before);
    QFile precious(path("elsewhere/precious"));
    QVERIFY(precious.open(QIODevice::ReadOnly));
    QCOMPARE(precious.readAll(), QByteArray("keep this"));
    QCOMPARE(precious.permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
}

void HostileStateTest::aFullDiskChangesNothing()
{
    const QMap<QString, QByteArray> before = m_machine.files();
    for (const ServiceFixture::Good &good : m_machine.goodRequests()) {
        const QString what = good.request.value("do").toString();
        DWORD code = Success;
        {
            const FullDisk disk;
            code = m_machine.answer(good.role, good.request);
        }
        const bool isWritten =
            QStringList{"store-inf", "change-devices", "write-entry", "sign-in"}.contains(what);
        QVERIFY2(!isWritten || code == ErrorGenFailure, qPrintable(what));
        QCOMPARE(m_machine.harm(), QString());
        if (isWritten) {
            QMap<QString, QByteArray> now = m_machine.files();
            now.remove("state/inf"); // a folder takes no room in this
            now.remove("drivers/installed");
            QCOMPARE(now, before);
        }
    }
}

void HostileStateTest::theHelperWorksNowhereElse_data()
{
    QTest::addColumn<Spoiling>("spoil");
    QTest::addColumn<QString>("told");
    using Test = HostileStateTest;
    const auto row = [](const char *name, const char *told, const Spoiling &spoil) {
        QTest::newRow(name) << spoil << told;
    };
    row("nothing", "", [](Test *) {});
    row("a group's", "state/state.json", [](Test *t) { setMode(t->path("state"), 0775); });
    row("everybody's", "state/state.json", [](Test *t) { setMode(t->path("state"), 0757); });
    row("each his own", "state/state.json", [](Test *t) { setMode(t->path("state"), 01777); });
    row("a link", "state/state.json", [](Test *t) { t->link("state", "elsewhere"); });
    row("everybody's state", "state/state.json",
        [](Test *t) { setMode(t->path("state/state.json"), 0666); });
    row("everybody's lock", "state/state.lock",
        [](Test *t) { setMode(t->path("state/state.lock"), 0666); });
    row("everybody's entries", "state/entries",
        [](Test *t) { setMode(t->path("state/entries"), 0777); });
    row("a link for the INFs", "state/inf", [](Test *t) { t->link("state/inf", "elsewhere"); });
    row("a link for the sign-in", "state/sign-in",
        [](Test *t) { t->link("state/sign-in", "elsewhere"); });
    if (::geteuid() != 0)
        return;
    row("another user's", "state/state.json", [](Test *t) {
        QCOMPARE(::chown(t->bytes("state").constData(), ServiceFixture::asker, 0), 0);
    });
}

void HostileStateTest::theHelperWorksNowhereElse()
{
    QFETCH(Spoiling, spoil);
    QFETCH(QString, told);
    putElsewhere();
    spoil(this);
    QCOMPARE(changeable(), told.isEmpty() ? QString() : path(told));
}

void HostileStateTest::aFolderThatIsNotThereYetIsGood()
{
    take("state");
    QCOMPARE(changeable(), QString());
}

/// The folder of a user who lets nobody in.
void HostileStateTest::whatMayNotBeReadIsNotEmpty()
{
    setMode(m_machine.m_folder->path(), 0755);
    setMode(path("state"), 0700);
    DWORD code = Success;
    DWORD entryCode = Success;
    RasEntry entry = {};
    {
        const OrdinaryUser user;
        QJsonObject content;
        code = StateStore(m_machine.m_paths.state).read(&content);
        entryCode = PhoneBook(programIdentity(), m_machine.m_paths).read("TolvaneModem 1", &entry);
    }
    QCOMPARE(code, ErrorAccessDenied);
    QCOMPARE(entryCode, ErrorAccessDenied);
}

QTEST_APPLESS_MAIN(HostileStateTest)
#include "hostilestate_test.moc"
