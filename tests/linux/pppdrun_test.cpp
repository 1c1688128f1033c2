#include "platform/linux/helper/pppdrun.h"

#include "platform/linux/helper/protocol.h"
#include "tests/linux/pppdfixture.h"

#include <QTest>

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

constexpr int patience = 60; // seconds

/// From now on, and in everything that this process starts, the kernel does not know
/// that call: as an older one.
bool forget(unsigned call)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {4, steps};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

} // namespace

/// How the helper attends to pppd, on a kernel that has no descriptors of processes.
class PppdRunTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }
    void cleanup() { endLinks(); }

    void theEndIsNoticed_data();
    void theEndIsNoticed();
    void pppdGetsItsSignals();

private:
    /// The last line that a helper says of a dial; "hangs" if it says none in time.
    QString dialled(bool isStopped) const;
};

QString PppdRunTest::dialled(bool isStopped) const
{
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return "no socket";
    const pid_t helper = ::fork();
    if (helper == 0) {
        ::alarm(patience);
        sigset_t blocked;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, SIGUSR1);
        ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
        std::signal(SIGTERM, SIG_IGN); // as helpers do
        if (!forget(SYS_pidfd_open))
            ::_exit(1);
        runPppd(m_paths.pppd, linkName, "/dev/none", "1", ends[1], ends[1]);
        ::_exit(0);
    }
    ::close(ends[1]);
    LineReader reader(ends[0]);
    QByteArray line;
    QString last = "hangs";
    while (reader.next(&line) == LineReader::Result::Line) {
        last = line;
        if (isStopped && last.contains("line"))
            ::shutdown(ends[0], SHUT_WR);
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(helper, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? last : QString("hangs");
}

void PppdRunTest::theEndIsNoticed_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<bool>("isStopped");
    QTest::addColumn<int>("status");
    QTest::newRow("success") << QByteArray("say:x exit:0") << false << 0;
    QTest::newRow("failure") << QByteArray("exit:7") << false << 7;
    QTest::newRow("killed") << QByteArray("die") << false << 1;
    QTest::newRow("link") << QByteArray("link:lo exit:0") << false << 0;
    QTest::newRow("stopped") << QByteArray("say:x wait") << true << 5;
    QTest::newRow("stopped by force") << QByteArray("deaf say:x wait wait") << true << 1;
}

void PppdRunTest::theEndIsNoticed()
{
    QFETCH(QByteArray, steps);
    QFETCH(bool, isStopped);
    QFETCH(int, status);
    plan(steps);
    const QString told = QString("{\"code\":0,\"status\":%1}").arg(status);
    QCOMPARE(dialled(isStopped), told);
}

void PppdRunTest::pppdGetsItsSignals()
{
    qputenv("STANDIN_SIGNALS", m_folder->filePath("signals").toLocal8Bit());
    plan("exit:0");
    QCOMPARE(dialled(false), QString("{\"code\":0,\"status\":0}"));
    const QByteArray told = contentOf(m_folder->filePath("signals"));
    const auto mask = [&told](const char *name) {
        return told.mid(told.indexOf(name) + 8, 16).toULongLong(nullptr, 16);
    };
    QVERIFY2(mask("SigBlk:") == 0, told.constData());
    // The C library has the two above these ignored by all that it starts.
    QVERIFY2((mask("SigIgn:") & 0x7FFFFFFF) == 0, told.constData());
}

QTEST_GUILESS_MAIN(PppdRunTest)
#include "pppdrun_test.moc"
