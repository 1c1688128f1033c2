#include "app/identity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// The file below either scope's folder.
static const char settingsFile[] = "Brantiq Developer Network/Tolvane Modem Connector.ini";

class IdentityTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir(m_dir->path()).mkpath("home"));
        QVERIFY(QDir(m_dir->path()).mkpath("Program Files/App"));
        const QFileInfo self(QCoreApplication::applicationFilePath());
        const QString name =
            self.suffix().isEmpty() ? "identity_probe" : "identity_probe." + self.suffix();
        m_program = m_dir->filePath("Program Files/App/") + name;
        QVERIFY(QFile::copy(self.dir().filePath(name), m_program));
        // Windows has one place for this account, whatever the environment says.
        m_userFile = (isWindows() ? QDir::fromNativeSeparators(qEnvironmentVariable("APPDATA"))
                                  : m_dir->filePath("home/config")) +
                     '/' + settingsFile;
        QVERIFY2(!QFileInfo::exists(m_userFile), "the settings of this account are in use");
    }
    void cleanup()
    {
        if (m_probed)
            QFile::remove(m_userFile);
        m_probed = false;
    }

    void namesAndPlaces();
    void missingSettingsFolderIsNotMade();
    void presetIsAFallBackThatIsNeverWritten();
    void installedFilesKeepTheirNames();

private:
    static bool isWindows() { return QSysInfo::kernelType() == "winnt"; }

    QMap<QString, QString> probe(const QStringList &arguments = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", m_dir->filePath("home"));
        environment.insert("XDG_CONFIG_HOME", m_dir->filePath("home/config"));
        process.setProcessEnvironment(environment);
        process.start(m_program, arguments);
        m_probed = true;
        QMap<QString, QString> values;
        if (!process.waitForFinished() || process.exitCode() != 0) {
            qWarning("%s", process.readAllStandardError().constData());
            return values;
        }
        m_errors = process.readAllStandardError();
        const QStringList lines =
            QString::fromUtf8(process.readAllStandardOutput()).remove('\r').split('\n');
        for (const QString &line : lines)
            values.insert(line.section('=', 0, 0), line.section('=', 1));
        return values;
    }

    QScopedPointer<QTemporaryDir> m_dir;
    QString m_program;
    QString m_userFile;
    bool m_probed = false;
    QByteArray m_errors;
};

void IdentityTest::namesAndPlaces()
{
    const auto values = probe();
    QCOMPARE(values["organisation"], QString("Brantiq Developer Network"));
    QCOMPARE(values["application"], QString("Tolvane Modem Connector"));
    QCOMPARE(values["domain"], QString("brantiq.example"));
    QCOMPARE(values["ini"], QString("yes"));
    QCOMPARE(values["user"], m_userFile);
    QCOMPARE(QDir::cleanPath(values["system"]),
             m_dir->filePath("Program Files/App/settings/") + settingsFile);
}

void IdentityTest::missingSettingsFolderIsNotMade()
{
    const auto values = probe();
    QCOMPARE(values["preset"], QString("none"));
    QCOMPARE(m_errors, QByteArray());
    QVERIFY(!QFileInfo::exists(m_dir->filePath("Program Files/App/settings")));
}

void IdentityTest::presetIsAFallBackThatIsNeverWritten()
{
    const QString fileName = m_dir->filePath("Program Files/App/settings/") + settingsFile;
    QVERIFY(QDir().mkpath(QFileInfo(fileName).path()));
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.write("[General]\nPreset=delivered\n");
    file.flush();

    QCOMPARE(probe({"own"})["preset"], QString("delivered"));
    QCOMPARE(probe()["preset"], QString("own"));
    file.seek(0);
    QCOMPARE(file.readAll(), QByteArray("[General]\nPreset=delivered\n"));
    QVERIFY(QFileInfo::exists(m_userFile));
}

/// Under other names nothing would be found that was set up before.
void IdentityTest::installedFilesKeepTheirNames()
{
    const platform::Program program = programIdentity();
    QCOMPARE(program.name, QString("Tolvane Modem Connector"));
    QCOMPARE(program.stateFolder, QString("tolvane-modem-connector"));
    QCOMPARE(program.filePrefix, QString("tolvane-"));
    QCOMPARE(program.helper, QString("tolvane-dialler-helper"));
    QCOMPARE(program.modemPortMark, QString("TOLVANE_MODEM_PORT"));
    QVERIFY(program.modemPortName.contains(program.modemPortWords));
}

QTEST_GUILESS_MAIN(IdentityTest)
#include "identity_test.moc"
