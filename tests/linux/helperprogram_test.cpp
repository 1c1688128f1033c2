#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

/// The helper as a program: whom it serves at all.
class HelperProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void whoMayNotStartIt_data();
    void whoMayNotStartIt();
    void anOrdinaryUserMayNotStartIt();
    void everyDriverFileIsRootsAlone();

private:
    static QString ownFolder() { return QCoreApplication::applicationDirPath(); }
    static constexpr char helperName[] = "/tolvane-dialler-helper";

    /// What it says when it is started so, with its exit status.
    static QString startedWith(const QStringList &arguments, const QString &asker,
                               const QStringList &before = {}, const QString &folder = ownFolder())
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!asker.isNull())
            environment.insert("PKEXEC_UID", asker);
        process.setProcessEnvironment(environment);
        const QStringList command = before + QStringList(folder + helperName) + arguments;
        process.start(command.first(), command.mid(1));
        process.closeWriteChannel();
        process.waitForFinished();
        return QString("%1 %2")
            .arg(process.exitCode())
            .arg(QString::fromLocal8Bit(process.readAllStandardError() + process.readAll()));
    }
};

void HelperProgramTest::whoMayNotStartIt_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("asker");
    QTest::addColumn<QString>("words");
    const QStringList role{"connect"};
    QTest::newRow("no role") << QStringList() << "1000"
                             << "the only argument";
    QTest::newRow("another role") << QStringList{"root"} << "1000"
                                  << "the only argument";
    QTest::newRow("two roles") << QStringList{"connect", "set-up"} << "1000"
                               << "the only argument";
    QTest::newRow("no number") << role << "anna"
                               << "PKEXEC_UID";
    QTest::newRow("empty") << role << ""
                           << "PKEXEC_UID";
    QTest::newRow("negative") << role << "-1"
                              << "PKEXEC_UID";
    QTest::newRow("nobody at all") << role << "4294967295"
                                   << "PKEXEC_UID";
    QTest::newRow("beyond all") << role << "4294968296"
                                << "PKEXEC_UID";
}

void HelperProgramTest::whoMayNotStartIt()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, asker);
    QFETCH(QString, words);
    if (::geteuid() != 0)
        QSKIP("Only root gets as far as this.");
    const QString said = startedWith(arguments, asker);
    QVERIFY2(said.startsWith("1 ") && said.contains(words) && !said.contains("ready"),
             qPrintable(said));
}

void HelperProgramTest::anOrdinaryUserMayNotStartIt()
{
    QStringList before;
    if (::geteuid() == 0)
        before = QStringList{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    const QString said = startedWith({"set-up"}, "0", before);
    if (said.contains("ermission denied"))
        QSKIP("The ordinary user may not read the build folder.");
    QVERIFY2(said.startsWith("1 ") && said.contains("started by pkexec"), qPrintable(said));
}

// The rules there become rules of the system.
void HelperProgramTest::everyDriverFileIsRootsAlone()
{
    if (::geteuid() != 0)
        QSKIP("Only root's files pass.");
    const QTemporaryDir folder;
    QVERIFY(QFile::copy(ownFolder() + helperName, folder.path() + helperName));
    QVERIFY(QDir(folder.path()).mkdir("drivers"));
    QFile rules(folder.filePath("drivers/70-phone.rules"));
    QVERIFY(rules.open(QIODevice::WriteOnly));
    const auto own = QFile::ReadOwner | QFile::WriteOwner;
    QVERIFY(rules.setPermissions(own));
    const QString good = startedWith({"set-up"}, "1000", {}, folder.path());
    QVERIFY2(good.startsWith("0 ") && good.contains("ready"), qPrintable(good));
    QVERIFY(rules.setPermissions(own | QFile::WriteGroup));
    const QString bad = startedWith({"set-up"}, "1000", {}, folder.path());
    QVERIFY2(bad.startsWith("1 ") && bad.contains(rules.fileName()), qPrintable(bad));
}

QTEST_GUILESS_MAIN(HelperProgramTest)
#include "helperprogram_test.moc"
