#include "app/identity.h"
#include "platform/linux/phonebook.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/fulldisk.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const char dialProgram[] = "/opt/it's here/DialPhone";

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
    void replacingLosesNothingOnFailure();
    void numbersThatCannotBeDialledAreRefused_data();
    void numbersThatCannotBeDialledAreRefused();
    void missingEntriesAndBooks();
    void damagedEntries_data();
    void damagedEntries();
    void missingRights();
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
    PhoneBook book() const { return PhoneBook(programIdentity(), m_folder->path(), dialProgram); }

    std::unique_ptr<QTemporaryDir> m_folder;

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }
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
    QCOMPARE(book().entryName(file).value_or("none"), name);
    QCOMPARE(book().write(name, entryWith("*99#")), Success);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList(file));
}

void PhoneBookTest::foreignFilesAreNoEntries_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("another's") << "provider";
    QTest::newRow("capital digits") << "tolvane-a%5Fb";
    QTest::newRow("needless escape") << "tolvane-%41";
    QTest::newRow("nothing") << "tolvane-";
    QTest::newRow("temporary") << "tolvane-a.XyZ$";
}

void PhoneBookTest::foreignFilesAreNoEntries()
{
    QFETCH(QString, file);
    QVERIFY(!book().entryName(file));
}

void PhoneBookTest::namesThatNoFileCanHaveAreRefused()
{
    QCOMPARE(book().write("", entryWith("*99#")), ErrorInvalidParameter);
    QCOMPARE(book().write(QString(256, 'x'), entryWith("*99#")), ErrorInvalidParameter);
    RasEntry entry;
    QCOMPARE(book().read(QString(256, 'x'), &entry), RasErrorEntryNotFound);
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void PhoneBookTest::anEntryIsKeptWhole()
{
    const RasEntry written = entryWith("*99#");
    QCOMPARE(book().write("TolvaneModem 1", written), Success);
    RasEntry read;
    QCOMPARE(book().read("TolvaneModem 1", &read), Success);
    QVERIFY(std::memcmp(&written, &read, sizeof read) == 0);
    QCOMPARE(book().read("tolvanemodem 1", &read), RasErrorEntryNotFound);
}

void PhoneBookTest::theFileTellsPppdWhatToDo()
{
    QCOMPARE(book().write("TolvaneModem 1", entryWith("*99#")), Success);
    const QList<QByteArray> lines = contentOf("tolvane-TolvaneModem_1").split('\n');
    QVERIFY(lines.contains("linkname \"tolvane-TolvaneModem_1\""));
    // One word for pppd, and within it one word for the shell.
    QVERIFY(lines.contains("connect \"'/opt/it'\\\\''s here/DialPhone'\""));
    QVERIFY(lines.contains("set \"DIAL_ENTRY_NUMBER=*99#\""));
    for (const char *option :
         {"noauth", "user gprs", "password gprs", "lock", "modem", "defaultroute", "usepeerdns"})
        QVERIFY2(lines.contains(option), option);
    const QFile::Permissions permissions =
        QFile(m_folder->filePath("tolvane-TolvaneModem_1")).permissions();
    QVERIFY(!(permissions & (QFile::ReadOther | QFile::WriteOther | QFile::WriteGroup)));
}

void PhoneBookTest::replacingLosesNothingOnFailure()
{
    QCOMPARE(book().write("a", entryWith("1")), Success);
    const QByteArray before = contentOf("tolvane-a");
    QCOMPARE(book().write("a", entryWith("rm -rf")), ErrorInvalidParameter);
    QCOMPARE(contentOf("tolvane-a"), before);
    QCOMPARE(book().write("a", entryWith("2")), Success);
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
    QCOMPARE(book().write("a", entryWith(number)),
             isDialable ? DWORD(Success) : DWORD(ErrorInvalidParameter));
}

void PhoneBookTest::missingEntriesAndBooks()
{
    RasEntry entry;
    QCOMPARE(book().read("a", &entry), RasErrorEntryNotFound);
    const PhoneBook none(programIdentity(), m_folder->filePath("none"), dialProgram);
    QCOMPARE(none.read("a", &entry), RasErrorCannotOpenPhonebook);
    QCOMPARE(none.write("a", entryWith("1")), RasErrorCannotOpenPhonebook);
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
    put("tolvane-damaged", content);
    RasEntry entry;
    QCOMPARE(book().read("damaged", &entry), RasErrorCannotOpenPhonebook);
    QCOMPARE(book().write("other", entryWith("1")), RasErrorCannotOpenPhonebook);
    QCOMPARE(book().write("damaged", entryWith("1")), RasErrorCannotOpenPhonebook);
    QCOMPARE(contentOf("tolvane-damaged"), content);
}

void PhoneBookTest::missingRights()
{
    QCOMPARE(book().write("a", entryWith("1")), Success);
    setMode(m_folder->path(), 0555);
    setMode(m_folder->filePath("tolvane-a"), 0);
    {
        const OrdinaryUser user;
        RasEntry entry;
        QCOMPARE(book().read("a", &entry), ErrorAccessDenied);
        QCOMPARE(book().write("b", entryWith("1")), ErrorAccessDenied);
    }
    setMode(m_folder->path(), 0);
    {
        const OrdinaryUser user;
        RasEntry entry;
        QCOMPARE(book().read("a", &entry), ErrorAccessDenied);
        QCOMPARE(book().write("b", entryWith("1")), ErrorAccessDenied);
    }
    setMode(m_folder->path(), 0755);
}

void PhoneBookTest::aFullDiskIsToldAndLosesNothing()
{
    QCOMPARE(book().write("a", entryWith("1")), Success);
    const QByteArray before = contentOf("tolvane-a");
    DWORD code = Success;
    {
        const FullDisk disk;
        code = book().write("a", entryWith("2"));
    }
    QCOMPARE(code, ErrorGenFailure);
    QCOMPARE(contentOf("tolvane-a"), before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden),
             QStringList("tolvane-a"));
}

void PhoneBookTest::aWriterThatIsKilledLeavesNoEntry()
{
    const pid_t writer = ::fork();
    if (writer == 0) {
        const FullDisk disk;
        std::signal(SIGXFSZ, SIG_DFL); // in the middle of the writing
        rlimit none = {};
        ::setrlimit(RLIMIT_CORE, &none);
        book().write("a", entryWith("1"));
        ::_exit(0);
    }
    int status = 0;
    QCOMPARE(::waitpid(writer, &status, 0), writer);
    QVERIFY(WIFSIGNALED(status));
    const QStringList left = QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(left.size(), 1);
    QVERIFY2(!book().entryName(left.first()), qPrintable(left.first()));
    QCOMPARE(book().write("b", entryWith("1")), Success);
}

void PhoneBookTest::filesThatAreNoEntriesDoNoHarm()
{
    put("tolvane-a~", "an editor's copy");
    QCOMPARE(book().write("a", entryWith("1")), Success);
}

QTEST_APPLESS_MAIN(PhoneBookTest)
#include "phonebook_test.moc"
