#include "tests/linux/filemode.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const char settings[] = "Brantiq Developer Network/Tolvane Modem Connector.ini";

const char messages[] = "Brantiq Developer Network/Tolvane Modem Connector";

} // namespace

/// tolvane-dialler-setup, with stand-ins for the program and for what asks the
/// system who is who.
class SetupTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void settingsGoToTheProgramAndBack();
    void messagesGoToTheUser();
    void messagesThatCannotBeHandedBackAreNoFailure();
    void theProgramsStatusIsTold();
    void settingsThatCannotBeHandedBackAreKept();
    void itAsksForRights();
    void aUserWithoutAHomeIsRefused();

private:
    /// A program of that name, found before the system's.
    void standIn(const QString &name, const QByteArray &script)
    {
        write("bin/" + name, "#!/bin/sh\n" + script + '\n');
        setMode(m_folder->filePath("bin/" + name), 0755);
    }
    void write(const QString &name, const QByteArray &content)
    {
        QVERIFY(QDir().mkpath(QFileInfo(m_folder->filePath(name)).path()));
        QFile file(m_folder->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QByteArray contentOf(const QString &name) const
    {
        QFile file(m_folder->filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    int run()
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PATH", m_folder->filePath("bin") + ':' + environment.value("PATH"));
        environment.insert("TMPDIR", m_folder->filePath("temporary"));
        environment.insert("HOME_OF_ANNA", m_folder->filePath("home"));
        environment.insert("SUDO_USER", "anna");
        process.setProcessEnvironment(environment);
        process.start("sh", {TMC_PACKAGING "/tolvane-dialler-setup"});
        process.waitForFinished();
        m_errors = process.readAllStandardError();
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    QStringList leftBehind() const
    {
        return QDir(m_folder->filePath("temporary"))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_errors;
};

void SetupTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_folder->path()).mkpath("temporary"));
    QVERIFY(QDir(m_folder->path()).mkpath("home"));
    standIn("id", "echo 0");
    standIn("getent", "echo \"anna:x:1000:1000::$HOME_OF_ANNA:/bin/sh\"");
    standIn("runuser", "[ \"$1 $2 $3\" = '-u anna --' ] && shift 3 && exec \"$@\"");
    standIn("tolvane-dialler", QByteArray("echo changed >>\"$XDG_CONFIG_HOME/") + settings + '"');
}

void SetupTest::settingsGoToTheProgramAndBack()
{
    QCOMPARE(run(), 0);
    QCOMPARE(contentOf(QString("home/.config/") + settings), QByteArray("changed\n"));
    QCOMPARE(run(), 0);
    QCOMPARE(contentOf(QString("home/.config/") + settings), QByteArray("changed\nchanged\n"));
    QCOMPARE(leftBehind(), QStringList());
}

void SetupTest::messagesGoToTheUser()
{
    standIn("tolvane-dialler", QByteArray("folder=\"$XDG_DATA_HOME/") + messages +
                                   "\"; mkdir -p \"$folder\"; "
                                   "echo one >\"$folder/messages-1.log\"; "
                                   "echo two >\"$folder/messages-2.log\"; "
                                   "echo other >\"$folder/other\"");
    write(QString("home/.local/share/") + messages + "/messages-1.log", "earlier");
    QCOMPARE(run(), 0);
    const QString folder = QString("home/.local/share/") + messages;
    QCOMPARE(contentOf(folder + "/messages-2.log"), QByteArray("two\n"));
    QCOMPARE(contentOf(folder + "/messages-1.log"), QByteArray("earlier"));
    QVERIFY(!QFile::exists(m_folder->filePath(folder + "/other")));
    QCOMPARE(leftBehind(), QStringList());
}

void SetupTest::messagesThatCannotBeHandedBackAreNoFailure()
{
    standIn("tolvane-dialler", QByteArray("echo changed >>\"$XDG_CONFIG_HOME/") + settings +
                                   "\"; mkdir -p \"$XDG_DATA_HOME/" + messages +
                                   "\"; echo one >\"$XDG_DATA_HOME/" + messages +
                                   "/messages-1.log\"");
    write("home/.local", "no folder");
    QCOMPARE(run(), 0);
    QCOMPARE(contentOf(QString("home/.config/") + settings), QByteArray("changed\n"));
    QCOMPARE(leftBehind(), QStringList());
}

void SetupTest::theProgramsStatusIsTold()
{
    standIn("tolvane-dialler", "exit 7");
    QCOMPARE(run(), 7);
    QVERIFY(QDir(m_folder->filePath("home")).isEmpty());
    QCOMPARE(leftBehind(), QStringList());
}

void SetupTest::settingsThatCannotBeHandedBackAreKept()
{
    write("home/.config", "no folder");
    QCOMPARE(run(), 1);
    QCOMPARE(leftBehind().size(), 1);
    const QString kept = "temporary/" + leftBehind().first();
    QVERIFY2(m_errors.contains(m_folder->filePath(kept).toLocal8Bit()), m_errors.constData());
    QCOMPARE(contentOf(kept + '/' + settings), QByteArray("changed\n"));
}

void SetupTest::itAsksForRights()
{
    standIn("id", "echo 1000");
    QCOMPARE(run(), 1);
    QVERIFY2(m_errors.contains("sudo tolvane-dialler-setup"), m_errors.constData());
    QVERIFY(QDir(m_folder->filePath("home")).isEmpty());
}

void SetupTest::aUserWithoutAHomeIsRefused()
{
    standIn("getent", "exit 2");
    QCOMPARE(run(), 1);
    QVERIFY2(m_errors.contains("no home folder of anna"), m_errors.constData());
    QCOMPARE(leftBehind(), QStringList());
}

QTEST_APPLESS_MAIN(SetupTest)
#include "setup_test.moc"
