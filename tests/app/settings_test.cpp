#include "app/damagedsettings.h"
#include "app/operators.h"
#include "app/settings.h"
#include "dialup/phonebookentry.h"
#include "install/installationsteps.h"
#include "tests/app/settingsfiles.h"
#include "tests/support/bench.h"
#include "tests/support/ordinaryuser.h"
#include "tests/support/testsettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class SettingsTest : public QObject
{
    Q_OBJECT

private slots:
    // A store of its own for each case: files that a case leaves behind, and
    // what the process remembers of them, are out of the next one's way.
    void init() { m_store = std::make_unique<TestSettings>(); }

    void keys();
    void portGroupInTheFile();
    void writtenValueIsVisibleAtOnce();
    void hasDialupEntryFor_data();
    void hasDialupEntryFor();
    void presetIsReadAndUserWins();
    void writesGoToTheUsersFileOnly();
    void whatIsStoredIsNotWrittenAgain_data();
    void whatIsStoredIsNotWrittenAgain();

    void valueOfAnotherType_data();
    void valueOfAnotherType();
    void damagedFileReadsAsFarAsItGoes_data();
    void damagedFileReadsAsFarAsItGoes();
    void folderThatCannotBeWritten_data();
    void folderThatCannotBeWritten();
    void readOnlyFileLosesNothing();
    void readOnlyFolderIsReported();
    void writableSettingsAreNotReported();

private:
    /// The same with the line ends of one system, whichever this one has.
    static QByteArray readText(const QString &fileName)
    {
        return contentOf(fileName).replace("\r\n", "\n");
    }

    std::unique_ptr<TestSettings> m_store;
};

void SettingsTest::keys()
{
    QCOMPARE(settingskeys::NoOfDialups, "NoOfDialups");
    QCOMPARE(settingskeys::isINFSetupDone, "isINFSetupDone");
    QCOMPARE(settingskeys::CurrentPort, "CurrentPort");
    QCOMPARE(settingskeys::CurrentMobileOperator, "CurrentMobileOperator");
    QCOMPARE(settingskeys::MobileOperators, "MobileOperators");
    QCOMPARE(settingskeys::port(7), QString("ports/7"));
    QCOMPARE(settingskeys::port(0), QString("ports/0"));
    QCOMPARE(settingskeys::port(256), QString("ports/256"));
    QCOMPARE(settingskeys::port(-1), QString("ports/-1"));
}

void SettingsTest::portGroupInTheFile()
{
    QSettings().setValue(settingskeys::port(7), "TolvaneModem 1");
    QSettings().setValue(settingskeys::CurrentPort, 7);
    QCOMPARE(readText(m_store->userFile()),
             QByteArray("[General]\nCurrentPort=7\n\n[ports]\n7=TolvaneModem 1\n"));
    QCOMPARE(QSettings().value(settingskeys::port(0)).toString(), QString(""));
}

void SettingsTest::writtenValueIsVisibleAtOnce()
{
    const QSettings reader;
    QCOMPARE(reader.value(settingskeys::CurrentPort).toInt(), 0);
    QSettings writer;
    writer.setValue(settingskeys::CurrentPort, 9);
    QCOMPARE(reader.value(settingskeys::CurrentPort).toInt(), 9);
}

void SettingsTest::hasDialupEntryFor_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("expected");
    QTest::newRow("absent") << QByteArray() << false;
    QTest::newRow("0") << QByteArray("NoOfDialups=0") << false;
    QTest::newRow("1") << QByteArray("NoOfDialups=1") << true;
    QTest::newRow("quoted 0") << QByteArray("NoOfDialups=\"0\"") << false;
    QTest::newRow("text") << QByteArray("NoOfDialups=many") << true;
    QTest::newRow("empty") << QByteArray("NoOfDialups=") << true;
    QTest::newRow("list") << QByteArray("NoOfDialups=0, 0") << true;
    QTest::newRow("nothing") << QByteArray("NoOfDialups=@Invalid()") << true;
    QTest::newRow("binary") << QByteArray("NoOfDialups=@ByteArray(\\x1\\x2)") << true;
    QTest::newRow("damaged") << QByteArray("NoOfDialups=@Variant(\\0\\0)") << true;
}

void SettingsTest::hasDialupEntryFor()
{
    QFETCH(const QByteArray, line);
    QFETCH(const bool, expected);
    TestSettings::write(m_store->userFile(), "[General]\n" + line + "\n");
    QCOMPARE(hasDialupEntry(), expected);
    // The same before the value was ever on disk.
    if (line == "NoOfDialups=0" || line == "NoOfDialups=1") {
        QSettings().setValue(settingskeys::NoOfDialups, line.endsWith('1') ? 1 : 0);
        QCOMPARE(hasDialupEntry(), expected);
    }
}

void SettingsTest::presetIsReadAndUserWins()
{
    TestSettings::write(m_store->systemFile(),
                        "[General]\nNoOfDialups=3\nCurrentPort=4\n[ports]\n4=preset\n");
    QVERIFY(hasDialupEntry());
    QCOMPARE(QSettings().value(settingskeys::port(4)).toString(), QString("preset"));
    QSettings().setValue(settingskeys::NoOfDialups, 0);
    QVERIFY(!hasDialupEntry());
    QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), 4);
}

void SettingsTest::writesGoToTheUsersFileOnly()
{
    const QByteArray preset = "[General]\nCurrentPort=4\n";
    TestSettings::write(m_store->systemFile(), preset);
    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    QVERIFY(SetCurrentPortSettings());
    QCOMPARE(contentOf(m_store->systemFile()), preset);
    QCOMPARE(readText(m_store->userFile()), QByteArray("[General]\nCurrentPort=5\n"));
}

// Every reader through the function that reads: a value of another type
// converts as far as it goes and is otherwise the default.
void SettingsTest::whatIsStoredIsNotWrittenAgain_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("preset");
    QTest::addColumn<QByteArray>("after");
    const QByteArray written = "[General]\nCurrentPort=5\n";
    // A remark does not survive a writing.
    QTest::newRow("stored") << "; by hand\n" + written << QByteArray() << "; by hand\n" + written;
    QTest::newRow("another") << QByteArray("; by hand\n[General]\nCurrentPort=6\n") << QByteArray()
                             << written;
    QTest::newRow("nothing") << QByteArray() << QByteArray() << written;
    // What an administrator sets may change.
    QTest::newRow("preset") << QByteArray() << written << written;
}

void SettingsTest::whatIsStoredIsNotWrittenAgain()
{
    QFETCH(const QByteArray, before);
    QFETCH(const QByteArray, preset);
    QFETCH(const QByteArray, after);
    TestSettings::write(m_store->userFile(), before);
    TestSettings::write(m_store->systemFile(), preset);
    storeSetting(settingskeys::CurrentPort, 5);
    QCOMPARE(readText(m_store->userFile()), after);
}

void SettingsTest::valueOfAnotherType_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("setupDone"); // what "isINFSetupDone" then is
    QTest::addColumn<int>("number");     // what the numbers then are
    QTest::newRow("text") << QByteArray("some text") << true << 0;
    QTest::newRow("false") << QByteArray("false") << false << 0;
    QTest::newRow("number") << QByteArray("6") << true << 6;
    QTest::newRow("fraction") << QByteArray("6.5") << true << 0;
    QTest::newRow("list") << QByteArray("1, 2") << false << 0;
    QTest::newRow("map") << QByteArray("@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)") << false << 0;
    QTest::newRow("binary") << QByteArray("@ByteArray(\\x1\\xff)") << true << 0;
    QTest::newRow("empty") << QByteArray("") << false << 0;
}

void SettingsTest::valueOfAnotherType()
{
    QFETCH(const QByteArray, value);
    QFETCH(const bool, setupDone);
    QFETCH(const int, number);
    TestSettings::write(m_store->userFile(), "[General]\nisINFSetupDone=" + value +
                                                 "\nNoOfDialups=" + value +
                                                 "\nCurrentPort=" + value + "\n");
    Bench<> bench;
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};

    QVERIFY(SetupAllInfs());
    QCOMPARE(bench.machine.startedProcesses.isEmpty(), setupDone);
    QVERIFY(createDialupConnection());
    const QString name = QString("TolvaneModem %1").arg(number + 1);
    QCOMPARE(bench.machine.storedEntries.first().name, name);
    QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), number + 1);
    QCOMPARE(QSettings().value(settingskeys::port(number)).toString(), name);

    // The installation of the modem has the port looked for before it reads it.
    bench.machine.ports = {{"USB Modem Driver (COM12)"}};
    QVERIFY(InstallModem());
    const QString port = "COM12";
    QCOMPARE(bench.machine.registryWrites.first().data,
             QByteArray(reinterpret_cast<const char *>(port.utf16()), 12));
}

void SettingsTest::damagedFileReadsAsFarAsItGoes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("entries");
    QTest::newRow("binary garbage") << QByteArray("\x00\xff\xfe\x7f[[[==\n\x01", 10) << 0;
    QTest::newRow("half a line") << QByteArray("[General]\nNoOfDialups=2\nCurr") << 2;
    QTest::newRow("half a section") << QByteArray("[General]\nNoOfDialups=2\n[por") << 2;
    QTest::newRow("half a map") << QByteArray(
                                       "[General]\nNoOfDialups=2\nMobileOperators=@Variant(\\0\\0")
                                << 2;
    QTest::newRow("garbage between") << damagedBytes << 2;
    QTest::newRow("empty") << QByteArray("") << 0;
    QTest::newRow("zeros") << QByteArray(4096, '\0') << 0;
}

void SettingsTest::damagedFileReadsAsFarAsItGoes()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const int, entries);
    TestSettings::write(m_store->userFile(), bytes);
    QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), entries);
    QCOMPARE(hasDialupEntry(), entries != 0);
    // And it can be written again.
    QSettings().setValue(settingskeys::CurrentPort, 12);
    touch(m_store->userFile());
    QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), 12);
    QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), entries);
}

// The tests may run with all rights, so what cannot be written is a folder
// that cannot exist.
void SettingsTest::folderThatCannotBeWritten_data()
{
    QTest::addColumn<bool>("belowAFile");
    QTest::newRow("below a file") << true;
    QTest::newRow("in /proc") << false;
}

void SettingsTest::folderThatCannotBeWritten()
{
    QFETCH(const bool, belowAFile);
    QTemporaryDir dir;
    const QString place = belowAFile ? dir.filePath("file") : QString("/proc/settings");
    if (belowAFile)
        TestSettings::write(place, "not a folder");
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, place);

    Bench<> bench;
    bench.machine.ports = {{"USB Modem Driver (COM5)"}};
    bench.machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
    QVERIFY(SetupAllInfs());
    QVERIFY(SetCurrentPortSettings());
    QVERIFY(createDialupConnection());
    QVERIFY(!hasDialupEntry());
    preserveDamagedSettings();
    bench.log.clear();
    reportUnwritableSettings();
    QCOMPARE(bench.log.lines(),
             QStringList({"The settings cannot be written: " + QSettings().fileName()}));
    QVERIFY(QSettings().fileName().contains(place));
    QCOMPARE(MobileOperatorNames().size(), 5);
    if (belowAFile)
        QCOMPARE(contentOf(place), QByteArray("not a folder"));
}

void SettingsTest::readOnlyFileLosesNothing()
{
    const QByteArray before = "[General]\nCurrentPort=7\nNoOfDialups=1\n\n[ports]\n7=Entry\n";
    const QString file = m_store->userFile();
    TestSettings::write(file, before);
    const auto readable = QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    const auto everything = readable | QFileDevice::WriteOwner | QFileDevice::WriteOther |
                            QFileDevice::ExeOwner | QFileDevice::ExeOther;
    // Nothing but the file's own mode keeps anybody out.
    const QDir folder = QFileInfo(file).dir();
    QVERIFY(QFile::setPermissions(folder.path(), everything));
    QVERIFY(QFile::setPermissions(QFileInfo(folder.path()).path(), everything));
    QVERIFY(QFile::setPermissions(file, readable));
    const LogCatcher log;
    {
        const OrdinaryUser user;
        if (!QFile(file).open(QIODevice::ReadOnly))
            QSKIP("The folder of temporary files is closed to other users.");
        if (QFile(file).open(QIODevice::ReadWrite))
            QSKIP("A read-only file can be written here; this process cannot give that up.");
        reportUnwritableSettings();
        QSettings().setValue(settingskeys::isINFSetupDone, true);
    }
    QCOMPARE(log.lines(), QStringList({"The settings cannot be written: " + file}));
    QCOMPARE(contentOf(file), before);
    QVERIFY(QFile::setPermissions(file, everything));
    touch(file);
    QCOMPARE(QSettings().value(settingskeys::port(7)).toString(), QString("Entry"));
    QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 1);
}

// The file may be written, but not replaced. What a set-up by an administrator
// left behind may look like this.
void SettingsTest::readOnlyFolderIsReported()
{
    const QByteArray before = "[General]\nCurrentPort=7\n";
    const QString file = m_store->userFile();
    TestSettings::write(file, before);
    const auto everything = QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                            QFileDevice::ExeOwner | QFileDevice::ReadOther |
                            QFileDevice::WriteOther | QFileDevice::ExeOther;
    const auto readable = everything & ~(QFileDevice::WriteOwner | QFileDevice::WriteOther);
    const QDir folder = QFileInfo(file).dir();
    QVERIFY(QFile::setPermissions(file, everything));
    QVERIFY(QFile::setPermissions(QFileInfo(folder.path()).path(), everything));
    QVERIFY(QFile::setPermissions(folder.path(), readable));
    const LogCatcher log;
    {
        const OrdinaryUser user;
        const bool closed = !QFile(file).open(QIODevice::ReadWrite);
        const bool open = QFile(folder.filePath("new")).open(QIODevice::WriteOnly);
        if (closed || open) {
            QFile::setPermissions(folder.path(), everything);
            QSKIP("Folders cannot be closed to this process here.");
        }
        reportUnwritableSettings();
        // That this is no false alarm.
        QSettings settings;
        settings.setValue(settingskeys::CurrentPort, 8);
        settings.sync();
        QCOMPARE(settings.status(), QSettings::AccessError);
    }
    QVERIFY(QFile::setPermissions(folder.path(), everything));
    QCOMPARE(log.lines(), QStringList({"The settings cannot be written: " + file}));
    QCOMPARE(contentOf(file), before);
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 1);
}

void SettingsTest::writableSettingsAreNotReported()
{
    const LogCatcher log;
    reportUnwritableSettings();
    // A first start has nothing yet, and this makes nothing but the folder.
    const QFileInfo file(m_store->userFile());
    QVERIFY(!file.exists());
    QCOMPARE(file.dir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList());

    TestSettings::write(m_store->userFile(), "[General]\nCurrentPort=7\n");
    // What is preset is not the user's to write.
    TestSettings::write(m_store->systemFile(), "[General]\nCurrentPort=4\n");
    QVERIFY(QFile::setPermissions(m_store->systemFile(), QFileDevice::ReadOwner));
    reportUnwritableSettings();
    QCOMPARE(contentOf(m_store->userFile()), QByteArray("[General]\nCurrentPort=7\n"));
    QVERIFY(QFile::setPermissions(m_store->systemFile(),
                                  QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QCOMPARE(log.lines(), QStringList());
}

QTEST_GUILESS_MAIN(SettingsTest)
#include "settings_test.moc"
