#include "app/identity.h"
#include "platform/linux/phonebook.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/fulldisk.h"
#include "tests/linux/trustedplaces.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const char drivers[] = "/opt/it's here";

RasEntry entryWith(const QString &number)
{
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    entry.dwfOptions = 0x12345678;
    copyToBuffer(number, entry.szLocalPhoneNumber, 129);
    copyToBuffer("Tolvane GPRS Modem", entry.szDeviceName, 129);
    copyToBuffer("RASDT_Modem", entry.szDeviceType, 17);
    return entry;
}

} // namespace

class PhoneBookTest : public QObject
{
    Q_OBJECT

private slots:
    void namesAreMappedAndBack_data();
    void namesAreMappedAndBack();
    void foreignFilesAreNoEntries_data();
    void foreignFilesAreNoEntries();
    void namesThatNoFileCanHaveAreRefused();
    void anEntryIsKeptWhole();
    void theFileTellsPppdWhatToDo();
    void theNetworkGetsANameAndAPassword();
    void replacingLosesNothingOnFailure();
    void numbersThatCannotBeDialledAreRefused_data();
    void numbersThatCannotBeDialledAreRefused();
    void missingEntriesAndBooks();
    void damagedEntries_data();
    void damagedEntries();
    void missingRights();
    void entriesOfTwoUsers();
    void whatPppdDoesNotHaveIsForgotten();
    void aDiallerThatOthersCanChangeIsRefused();
    void whatAnEntryRunsIsLookedAtAgain_data();
    void whatAnEntryRunsIsLookedAtAgain();
    void anEntryThatOthersCanChangeIsNotGood();
    void aFullDiskIsToldAndLosesNothing();
    void aWriterThatIsKilledLeavesNoEntry();
    void filesThatAreNoEntriesDoNoHarm();

private:
    QByteArray contentOf(const QString &name) const
    {
        QFile file(m_folder->filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void put(const QString &name, const QByteArray &content) const
    {
        QFile file(m_folder->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    /// That user's entries.
    PhoneBook book(uid_t user = 0) const
    {
        SystemPaths paths;
        paths.peers = m_folder->filePath("peers");
        paths.state = m_folder->filePath("state");
        paths.drivers = drivers;
        paths.user = user;
        paths.trusted = testPlaces({m_folder->path()});
        return PhoneBook(programIdentity(), paths);
    }
    DWORD write(const QString &name, const RasEntry &entry) const
    {
        return book().write(name, entry, "/dev/tolvane-modem-x");
    }
    QStringList filesIn(const QString &folder) const
    {
        return QDir(m_folder->filePath(folder)).entryList(QDir::Files | QDir::Hidden);
    }

    std::unique_ptr<QTemporaryDir> m_folder;

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_folder->path()).mkpath("peers"));
    }
};

void PhoneBookTest::namesAreMappedAndBack_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("file");
    QTest::newRow("usual") << "TolvaneModem 1"
                           << "tolvane-TolvaneModem_1";
    QTest::newRow("underscore") << "a_b"
                                << "tolvane-a%5fb";
    QTest::newRow("per cent") << "100%"
                              << "tolvane-100%25";
    QTest::newRow("way out") << "../../etc/passwd"
                             << "tolvane-..%2f..%2fetc%2fpasswd";
    QTest::newRow("shell") << "$(reboot);'\"`"
                           << "tolvane-%24%28reboot%29%3b%27%22%60";
    QTest::newRow("line") << "a\nconnect evil"
                          << "tolvane-a%0aconnect_evil";
    QTest::newRow("umlaut") << QString::fromUtf8("Büro") << "tolvane-B%c3%bcro";
    QTest::newRow("blanks") << "  "
                            << "tolvane-__";
}

void PhoneBookTest::namesAreMappedAndBack()
{
    QFETCH(QString, name);
    QFETCH(QString, file);
    QCOMPARE(book().fileName(name), file);
    QCOMPARE(book().entryName(file).value_or(EntryName{"none"}).name, name);
    QCOMPARE(write(name, entryWith("*99#")), Success);
    QCOMPARE(filesIn("peers"), QStringList(file));
}

void PhoneBookTest::foreignFilesAreNoEntries_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("another's") << "provider";
    QTest::newRow("capital digits") << "tolvane-a%5Fb";
    QTest::newRow("needless escape") << "tolvane-%41";
    QTest::newRow("nothing") << "tolvane-";
    QTest::newRow("temporary") << "tolvane-a.XyZ$";
    QTest::newRow("no user") << "tolvane-a@";
    QTest::newRow("root as a user") << "tolvane-a@0";
    QTest::newRow("two users") << "tolvane-a@1@2";
    QTest::newRow("user with a sign") << "tolvane-a@+1";
    QTest::newRow("user beyond all") << "tolvane-a@4294967296";
}

void PhoneBookTest::foreignFilesAreNoEntries()
{
    QFETCH(QString, file);
    QVERIFY(!book().entryName(file));
}

void PhoneBookTest::namesThatNoFileCanHaveAreRefused()
{
    QCOMPARE(write("", entryWith("*99#")), ErrorInvalidParameter);
    QCOMPARE(write(QString(256, 'x'), entryWith("*99#")), ErrorInvalidParameter);
    RasEntry entry;
    QCOMPARE(book().read(QString(256, 'x'), &entry), RasErrorEntryNotFound);
    QVERIFY(filesIn("peers").isEmpty());
    QVERIFY(filesIn("state/entries").isEmpty());
}

void PhoneBookTest::anEntryIsKeptWhole()
{
    const RasEntry written = entryWith("*99#");
    QCOMPARE(write("TolvaneModem 1", written), Success);
    RasEntry read;
    QCOMPARE(book().read("TolvaneModem 1", &read), Success);
    QVERIFY(std::memcmp(&written, &read, sizeof read) == 0);
    QCOMPARE(book().read("tolvanemodem 1", &read), RasErrorEntryNotFound);
}

void PhoneBookTest::theFileTellsPppdWhatToDo()
{
    QCOMPARE(write("TolvaneModem 1", entryWith("*99#")), Success);
    const QList<QByteArray> lines = contentOf("peers/tolvane-TolvaneModem_1").split('\n');
    QVERIFY(lines.contains("linkname \"tolvane-TolvaneModem_1\""));
    // One word for pppd, and within it one word for the shell.
    QVERIFY(lines.contains("connect \"'/opt/it'\\\\''s here/DialPhone'\""));
    QVERIFY(lines.contains("set \"DIAL_ENTRY_NUMBER=*99#\""));
    for (const char *option :
         {"noauth", "hide-password", "lock", "modem", "defaultroute", "defaultroute-metric 50",
          "usepeerdns", "ip-up-script \"/opt/it's here/LinkUp\"",
          "ip-down-script \"/opt/it's here/LinkDown\""})
        QVERIFY2(lines.contains(option), option);
    QVERIFY(lines.contains("\"/dev/tolvane-modem-x\""));
    // Whoever could read it could make pppd use it on a line of his own.
    struct stat facts = {};
    const QString file = m_folder->filePath("peers/tolvane-TolvaneModem_1");
    QCOMPARE(::stat(file.toLocal8Bit().constData(), &facts), 0);
    QCOMPARE(facts.st_mode & 0777, mode_t(0600));
}

void PhoneBookTest::theNetworkGetsANameAndAPassword()
{
    const QByteArray mark = "# Dial-up entry of Tolvane Modem Connector\n";
    QCOMPARE(write("TolvaneModem 1", entryWith("*99#")), Success);
    const QByteArray option =
        "\nfile \"" + m_folder->filePath("state/sign-in/0").toLocal8Bit() + "\"\n";
    QVERIFY(contentOf("peers/tolvane-TolvaneModem_1").contains(option));
    QCOMPARE(contentOf("state/sign-in/0"), mark + "user \"gprs\"\npassword \"gprs\"\n");
    QCOMPARE(book().writeSignIn(R"(an "o\ther")", QString::fromUtf8("Schlüssel")), Success);
    const QByteArray own = mark + R"(user "an \"o\\ther\"")"
                                  "\npassword \"Schlüssel\"\n";
    QCOMPARE(contentOf("state/sign-in/0"), own);
    // They survive a new set-up, and are the user's own.
    QCOMPARE(write("TolvaneModem 2", entryWith("*99#")), Success);
    QVERIFY(contentOf("peers/tolvane-TolvaneModem_2").contains(option));
    QCOMPARE(contentOf("state/sign-in/0"), own);
    QCOMPARE(book(1000).ensureSignIn(), Success);
    QCOMPARE(contentOf("state/sign-in/1000"), mark + "user \"gprs\"\npassword \"gprs\"\n");
    struct stat facts = {};
    QCOMPARE(::stat(m_folder->filePath("state/sign-in/0").toLocal8Bit().constData(), &facts), 0);
    QCOMPARE(facts.st_mode & 0777, mode_t(0600));
}

void PhoneBookTest::replacingLosesNothingOnFailure()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    const QByteArray before = contentOf("peers/tolvane-a");
    QCOMPARE(write("a", entryWith("rm -rf")), ErrorInvalidParameter);
    QCOMPARE(contentOf("peers/tolvane-a"), before);
    QCOMPARE(write("a", entryWith("2")), Success);
    RasEntry entry;
    QCOMPARE(book().read("a", &entry), Success);
    QCOMPARE(fromField(entry.szLocalPhoneNumber), QString("2"));
}

void PhoneBookTest::numbersThatCannotBeDialledAreRefused_data()
{
    QTest::addColumn<QString>("number");
    QTest::addColumn<bool>("isDialable");
    QTest::newRow("usual") << "*99#" << true;
    QTest::newRow("context") << "*99***1#" << true;
    QTest::newRow("tone") << "T0,123W+49" << true;
    QTest::newRow("longest") << QString(80, '1') << true;
    QTest::newRow("too long") << QString(81, '1') << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("second command") << "*99#\rAT+CFUN=0" << false;
    QTest::newRow("shell") << "$(reboot)" << false;
    QTest::newRow("quote") << "1\"" << false;
    QTest::newRow("option line") << "1\nplugin evil.so" << false;
    QTest::newRow("semicolon") << "1;" << false;
    QTest::newRow("wide digit") << QString(QChar(0x0661)) << false;
}

void PhoneBookTest::numbersThatCannotBeDialledAreRefused()
{
    QFETCH(QString, number);
    QFETCH(bool, isDialable);
    QCOMPARE(::isDialable(number), isDialable);
    QCOMPARE(write("a", entryWith(number)),
             isDialable ? DWORD(Success) : DWORD(ErrorInvalidParameter));
}

void PhoneBookTest::missingEntriesAndBooks()
{
    RasEntry entry;
    QCOMPARE(book().read("a", &entry), RasErrorEntryNotFound);
    QVERIFY(QDir(m_folder->filePath("peers")).removeRecursively());
    QCOMPARE(book().read("a", &entry), RasErrorEntryNotFound);
    QCOMPARE(write("a", entryWith("1")), RasErrorCannotOpenPhonebook);
}

void PhoneBookTest::damagedEntries_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray signature = "# Dial-up entry of Tolvane Modem Connector\n";
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not ours") << QByteArray("noauth\n");
    QTest::newRow("no record") << signature;
    QTest::newRow("half a record") << signature + "# record AAAAZHic\n";
    QTest::newRow("record of another size")
        << signature + "# record " + qCompress(QByteArray(100, 'x')).toBase64() + '\n';
    QTest::newRow("record of another version")
        << signature + "# record " + qCompress(QByteArray(4048, 'x')).toBase64() + '\n';
}

void PhoneBookTest::damagedEntries()
{
    QFETCH(QByteArray, content);
    QVERIFY(QDir(m_folder->path()).mkpath("state/entries"));
    put("state/entries/tolvane-damaged", content);
    RasEntry entry;
    QCOMPARE(book().read("damaged", &entry), RasErrorCannotOpenPhonebook);
    QCOMPARE(write("other", entryWith("1")), RasErrorCannotOpenPhonebook);
    QCOMPARE(write("damaged", entryWith("1")), RasErrorCannotOpenPhonebook);
    QCOMPARE(contentOf("state/entries/tolvane-damaged"), content);
    // Another user's entries are not his matter.
    QCOMPARE(book(1000).write("other", entryWith("1"), {}), Success);
}

void PhoneBookTest::missingRights()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    const QString record = m_folder->filePath("state/entries/tolvane-a");
    setMode(m_folder->path(), 0755);
    {
        // Everybody may know the entry, and only root may change it.
        const OrdinaryUser user;
        RasEntry entry;
        if (::geteuid() == 0 || ::getuid() == 0)
            QCOMPARE(book().read("a", &entry), Success);
    }
    setMode(m_folder->filePath("peers"), 0555);
    setMode(record, 0);
    {
        const OrdinaryUser user;
        RasEntry entry;
        QCOMPARE(book().read("a", &entry), ErrorAccessDenied);
        QCOMPARE(write("b", entryWith("1")), ErrorAccessDenied);
    }
    setMode(m_folder->filePath("peers"), 0755);
    setMode(record, 0644);
}

void PhoneBookTest::entriesOfTwoUsers()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    QCOMPARE(book(1000).write("a", entryWith("2"), {}), Success);
    QCOMPARE(book(1001).write("a", entryWith("3"), {}), Success);
    QCOMPARE(filesIn("peers"), QStringList({"tolvane-a", "tolvane-a@1000", "tolvane-a@1001"}));
    QVERIFY(contentOf("peers/tolvane-a@1000").contains("linkname \"tolvane-a@1000\"\n"));
    for (const uid_t user : {0, 1000, 1001}) {
        RasEntry entry;
        QCOMPARE(book(user).read("a", &entry), Success);
        QCOMPARE(fromField(entry.szLocalPhoneNumber), QString::number(user == 0 ? 1 : user - 998));
        const auto known = book(4711).entryName(book(user).fileName("a"));
        QVERIFY(known && known->name == "a" && known->owner == user);
    }
}

void PhoneBookTest::whatPppdDoesNotHaveIsForgotten()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    QString changeable;
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Good);
    QVERIFY(QFile::remove(m_folder->filePath("peers/tolvane-a")));
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Missing);
    QVERIFY(book().peer("", &changeable) == PhoneBook::Peer::Missing);
    book().forget("a");
    RasEntry entry;
    QCOMPARE(book().read("a", &entry), RasErrorEntryNotFound);
}

void PhoneBookTest::aDiallerThatOthersCanChangeIsRefused()
{
    setMode(m_folder->path(), 0755);
    QVERIFY(QDir(m_folder->path()).mkpath("drivers"));
    put("drivers/DialPhone", "#!/bin/true\n");
    SystemPaths paths;
    paths.peers = m_folder->filePath("peers");
    paths.state = m_folder->filePath("state");
    paths.drivers = m_folder->filePath("drivers");
    paths.trusted = testPlaces({m_folder->path()});
    const PhoneBook unpacked(programIdentity(), paths);
    QCOMPARE(unpacked.write("a", entryWith("1"), {}), Success);
    put("drivers/LinkChange", "#!/bin/true\n");
    setMode(m_folder->filePath("drivers/LinkChange"), 0777);
    QCOMPARE(unpacked.write("a", entryWith("1"), {}), ErrorAccessDenied);
    setMode(m_folder->filePath("drivers/LinkChange"), 0755);
    QCOMPARE(unpacked.write("a", entryWith("1"), {}), Success);
    for (const mode_t mode : {0777, 01777}) {
        setMode(m_folder->filePath("drivers"), mode);
        QCOMPARE(unpacked.write("a", entryWith("1"), {}), ErrorAccessDenied);
    }
}

void PhoneBookTest::whatAnEntryRunsIsLookedAtAgain_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("isGood");
    QTest::newRow("none") << QByteArray("noauth") << true;
    QTest::newRow("the package's") << QByteArray("connect \"'/usr/bin/env'\"") << true;
    QTest::newRow("in a folder for all")
        << QByteArray("connect \"'FOLDER/shared/DialPhone'\"") << false;
    QTest::newRow("gone from a folder for all")
        << QByteArray("connect \"'FOLDER/shared/none/DialPhone'\"") << false;
    // Of a shell's command nobody can tell what it runs.
    QTest::newRow("two commands") << QByteArray("connect \"'/usr/bin/env'; '/x'\"") << false;
    QTest::newRow("arguments") << QByteArray("connect \"/usr/sbin/chat -f /tmp/chat\"") << false;
    QTest::newRow("a word alone") << QByteArray("connect /usr/bin/env") << false;
    QTest::newRow("nothing") << QByteArray("connect ") << false;
    QTest::newRow("no end") << QByteArray("connect \"'/usr/bin/env") << false;
    QTest::newRow("no path") << QByteArray("connect \"'env'\"") << false;
    // Options of a file that others can change may run whatever they like.
    QTest::newRow("options") << QByteArray("file \"/usr/bin/env\"") << true;
    QTest::newRow("others' options") << QByteArray("file \"FOLDER/shared/sign-in\"") << false;
    QTest::newRow("options without a path") << QByteArray("file sign-in") << false;
}

void PhoneBookTest::whatAnEntryRunsIsLookedAtAgain()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, isGood);
    QVERIFY(QDir(m_folder->path()).mkpath("shared"));
    put("shared/DialPhone", "#!/bin/true\n");
    setMode(m_folder->filePath("shared/DialPhone"), 0755);
    setMode(m_folder->filePath("shared"), 01777);
    QCOMPARE(write("a", entryWith("1")), Success);
    QString changeable = "untold";
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Good);
    QCOMPARE(changeable, QString());
    line.replace("FOLDER", m_folder->path().toLocal8Bit());
    put("peers/tolvane-a", "noauth\n" + line + "\nmodem\n");
    QVERIFY(book().peer("a", &changeable) ==
            (isGood ? PhoneBook::Peer::Good : PhoneBook::Peer::Changeable));
    QCOMPARE(changeable.isEmpty(), isGood);
}

void PhoneBookTest::anEntryThatOthersCanChangeIsNotGood()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    const QString file = m_folder->filePath("peers/tolvane-a");
    QString changeable;
    setMode(file, 0660);
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Changeable);
    QCOMPARE(changeable, file);
    setMode(file, 0600);
    setMode(m_folder->filePath("peers"), 0775);
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Changeable);
    setMode(m_folder->filePath("peers"), 0755);
    QVERIFY(book().peer("a", &changeable) == PhoneBook::Peer::Good);
}

void PhoneBookTest::aFullDiskIsToldAndLosesNothing()
{
    QCOMPARE(write("a", entryWith("1")), Success);
    const QByteArray before = contentOf("peers/tolvane-a");
    DWORD code = Success;
    {
        const FullDisk disk;
        code = write("a", entryWith("2"));
    }
    QCOMPARE(code, ErrorGenFailure);
    QCOMPARE(contentOf("peers/tolvane-a"), before);
    QCOMPARE(filesIn("peers"), QStringList("tolvane-a"));
}

void PhoneBookTest::aWriterThatIsKilledLeavesNoEntry()
{
    QCOMPARE(book().ensureSignIn(), Success); // which is written first
    const pid_t writer = ::fork();
    if (writer == 0) {
        const FullDisk disk;
        std::signal(SIGXFSZ, SIG_DFL); // in the middle of the writing
        rlimit none = {};
        ::setrlimit(RLIMIT_CORE, &none);
        write("a", entryWith("1"));
        ::_exit(0);
    }
    int status = 0;
    QCOMPARE(::waitpid(writer, &status, 0), writer);
    QVERIFY(WIFSIGNALED(status));
    const QStringList left = filesIn("peers");
    QCOMPARE(left.size(), 1);
    QVERIFY2(!book().entryName(left.first()), qPrintable(left.first()));
    QCOMPARE(write("b", entryWith("1")), Success);
}

void PhoneBookTest::filesThatAreNoEntriesDoNoHarm()
{
    QVERIFY(QDir(m_folder->path()).mkpath("state/entries"));
    put("state/entries/tolvane-a~", "an editor's copy");
    QCOMPARE(write("a", entryWith("1")), Success);
}

QTEST_APPLESS_MAIN(PhoneBookTest)
#include "phonebook_test.moc"
