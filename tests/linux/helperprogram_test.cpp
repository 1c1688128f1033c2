#include "platform/linux/helper/protocol.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/ownership.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform::linuxsystem;

namespace {

constexpr int alarmTime = 300000; // microseconds of processor time

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The processor time in microseconds that a helper, or the child that serves in its
/// place, has used of its own.
long long workTime(pid_t helper)
{
    const QString folder = QString("/proc/%1/").arg(helper);
    const QByteArray child = contentOf(folder + QString("task/%1/children").arg(helper)).trimmed();
    const QByteArray facts =
        contentOf((child.isEmpty() ? folder : "/proc/" + child + '/') + "stat");
    const QByteArray ticks = facts.mid(facts.indexOf(") ") + 2).split(' ').value(11);
    return ticks.toLongLong() * 1000000 / ::sysconf(_SC_CLK_TCK);
}

void limit(__rlimit_resource resource, rlim_t value, bool isForGood)
{
    rlimit limits = {};
    ::getrlimit(resource, &limits);
    limits.rlim_cur = value;
    limits.rlim_max = isForGood ? value : limits.rlim_max;
    ::setrlimit(resource, &limits);
}

/// Whether root may raise limits that have been lowered: not in every container.
bool mayRaiseLimits()
{
    const pid_t process = ::fork();
    if (process == 0) {
        limit(RLIMIT_FSIZE, 1000000, true);
        const rlimit much = {RLIM_INFINITY, RLIM_INFINITY};
        ::_exit(::setrlimit(RLIMIT_FSIZE, &much) == 0 ? 0 : 1);
    }
    int status = 1;
    return ::waitpid(process, &status, 0) == process && status == 0;
}

/// Everything about a process that its user may set before he starts a program.
void spoilThisProcess(bool isForGood)
{
    ::setenv("ASKERS_WORD", "1", 1);
    ::umask(0);
    ::nice(10);
    limit(RLIMIT_FSIZE, 1000000, isForGood);
    limit(RLIMIT_NOFILE, 40, isForGood);
    limit(RLIMIT_CORE, 1000000, isForGood);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    ::sched_setaffinity(0, sizeof one, &one);
    const int adjustment = ::open("/proc/self/oom_score_adj", O_WRONLY);
    if (::write(adjustment, "900", 3) != 3)
        ::_exit(1);
    ::close(adjustment);
    std::signal(SIGUSR1, SIG_IGN);
    std::signal(SIGCHLD, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    const itimerval soon = {{0, 0}, {0, alarmTime}};
    ::setitimer(ITIMER_PROF, &soon, nullptr);
    ::setitimer(ITIMER_VIRTUAL, &soon, nullptr);
}

} // namespace

/// The helper as a program: whom it serves at all.
class HelperProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void whoMayNotStartIt_data();
    void whoMayNotStartIt();
    void anOrdinaryUserMayNotStartIt();
    void everyDriverFileIsRootsAlone();
    void nothingOfTheAskersGoesOn_data();
    void nothingOfTheAskersGoesOn();

private:
    /// A copy of the helper in a folder that is root's alone; null where there is none.
    static std::unique_ptr<QTemporaryDir> copyOfItsOwn()
    {
        if (::geteuid() != 0 || !isOnlyRoots(ownFolder()))
            return nullptr;
        auto folder = std::make_unique<QTemporaryDir>(ownFolder() + "/helper-XXXXXX");
        if (!QFile::copy(ownFolder() + helperName, folder->path() + helperName) ||
            !QDir(folder->path()).mkdir("drivers"))
            qFatal("the helper cannot be copied");
        return folder;
    }

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
    const auto folder = copyOfItsOwn();
    if (!folder)
        QSKIP("Only root's files pass, in folders that are root's alone.");
    QFile rules(folder->filePath("drivers/70-phone.rules"));
    QVERIFY(rules.open(QIODevice::WriteOnly));
    const auto own = QFile::ReadOwner | QFile::WriteOwner;
    QVERIFY(rules.setPermissions(own));
    const QString good = startedWith({"set-up"}, "1000", {}, folder->path());
    QVERIFY2(good.startsWith("0 ") && good.contains("ready"), qPrintable(good));
    const QString forRoot = startedWith({"set-up"}, QString(), {}, folder->path());
    QVERIFY2(forRoot.startsWith("0 ") && forRoot.contains("ready"), qPrintable(forRoot));
    QVERIFY(rules.setPermissions(own | QFile::WriteGroup));
    const QString bad = startedWith({"set-up"}, "1000", {}, folder->path());
    QVERIFY2(bad.startsWith("1 ") && bad.contains(rules.fileName()), qPrintable(bad));
    QVERIFY(rules.setPermissions(own));
    // As /tmp: what lies there now may lie there no longer when it runs.
    QVERIFY(::chmod(folder->path().toLocal8Bit().constData(), 01777) == 0);
    const QString shared = startedWith({"set-up"}, "1000", {}, folder->path());
    QVERIFY2(shared.startsWith("1 ") && shared.contains("others than root can change"),
             qPrintable(shared));
}

void HelperProgramTest::nothingOfTheAskersGoesOn_data()
{
    QTest::addColumn<QString>("place");
    QTest::newRow("one of a group") << "member";
    QTest::newRow("first of a group") << "group";
    QTest::newRow("first of a session") << "session";
}

/// Told by what the helper starts as root.
void HelperProgramTest::nothingOfTheAskersGoesOn()
{
    QFETCH(QString, place);
    const auto folder = copyOfItsOwn();
    if (!folder)
        QSKIP("Only root's files pass, in folders that are root's alone.");
    QFile installer(folder->filePath("drivers/InstallDriver"));
    QVERIFY(installer.open(QIODevice::WriteOnly));
    installer.write("#!/bin/sh\n"
                    "cd \"${0%/*}\"\n"
                    "{ env; umask; grep -E '^(Sig|Cpus_allowed_list)' /proc/self/status\n"
                    // While it starts a process, the C library blocks all signals.
                    "until grep -q '^State:.S' /proc/$PPID/status; do :; done\n"
                    "grep SigBlk /proc/$PPID/status | sed 's/^/helper /'\n"
                    "cat /proc/self/limits /proc/self/stat\n"
                    "echo \"kill $(cat /proc/self/oom_score_adj)\"; } >told\n"
                    "mv told reached\n");
    installer.close();
    QVERIFY(::chmod(installer.fileName().toLocal8Bit().constData(), 0755) == 0);

    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    int ends[2] = {-1, -1};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const QByteArray program = (folder->path() + helperName).toLocal8Bit();
    const bool canRaise = mayRaiseLimits();
    const pid_t asker = ::fork();
    if (asker == 0) {
        if (place == "group")
            ::setpgid(0, 0);
        if (place == "session") {
            ::setsid();
            const int line = ::open(::ptsname(terminal), O_RDWR);
            ::ioctl(line, TIOCSCTTY, 0);
        }
        spoilThisProcess(canRaise);
        ::setenv("PKEXEC_UID", "1000", 1);
        ::dup2(ends[1], STDIN_FILENO);
        ::dup2(ends[1], STDOUT_FILENO);
        ::execl(program.constData(), "helper", "set-up", nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    LineReader reader(ends[0]);
    QByteArray line;
    QVERIFY(reader.next(&line, 30000) == LineReader::Result::Line);
    QCOMPARE(line, QByteArray("{\"ready\":true}"));
    // So much work that each timer would have rung.
    const QJsonObject nonsense{{"do", QString(100000, 'x')}};
    for (int request = 0; request < 100000 && workTime(asker) < 2 * alarmTime; ++request) {
        QVERIFY(sendLine(ends[0], nonsense));
        QVERIFY(reader.next(&line, 30000) == LineReader::Result::Line);
    }
    QVERIFY(workTime(asker) >= 2 * alarmTime);
    QVERIFY(sendLine(ends[0], installDriverRequest()));
    QVERIFY(reader.next(&line, 30000) == LineReader::Result::Line);
    QCOMPARE(line, QByteArray("{\"code\":0}"));
    QTRY_VERIFY(QFile::exists(folder->filePath("drivers/reached")));
    const QByteArray reached = contentOf(folder->filePath("drivers/reached"));
    ::close(ends[0]);
    int status = -1;
    QCOMPARE(::waitpid(asker, &status, 0), asker);
    QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    ::close(terminal);

    const auto tells = [&reached](const char *pattern) {
        return QRegularExpression(pattern, QRegularExpression::MultilineOption)
            .match(QString::fromLocal8Bit(reached))
            .hasMatch();
    };
    QVERIFY2(!reached.contains("ASKERS_WORD") && !reached.contains("PKEXEC_UID"), reached);
    QVERIFY2(tells("^0022$"), reached);
    QVERIFY2(tells("^Max file size +unlimited +unlimited"), reached);
    QVERIFY2(tells("^Max open files +1024 +4096"), reached);
    QVERIFY2(tells("^Max core file size +0 +0"), reached);
    QVERIFY2(tells("^kill 0$"), reached);
    QVERIFY2(tells("^helper SigBlk:\t0+$"), reached); // a shell blocks none anyway
    // The helper itself takes no notice of HUP, INT, PIPE and TERM.
    QVERIFY2(tells("^SigIgn:\t[01]{8}[08]0005003$"), reached);
    if (::sysconf(_SC_NPROCESSORS_ONLN) > 1)
        QVERIFY2(!tells("^Cpus_allowed_list:\t0$"), reached);
    // "NUMBER (NAME) state parent group session terminal", and further on the priority.
    const QByteArray facts = reached.mid(reached.indexOf("(cat) ") + 6);
    const QList<QByteArray> numbers = facts.split(' ');
    QVERIFY2(numbers.size() > 17, reached);
    QVERIFY2(numbers.at(3).toInt() != asker || place == "member", reached);
    QVERIFY2(numbers.at(3).toInt() != ::getsid(0), reached);
    QCOMPARE(numbers.at(4), QByteArray("0"));  // has no terminal
    QCOMPARE(numbers.at(16), QByteArray("0")); // nice
}

QTEST_GUILESS_MAIN(HelperProgramTest)
#include "helperprogram_test.moc"
