#include "platform/linux/helper/line.h"

#include "platform/posix/serialdevice.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

/// Who loses the line before a dial, and who keeps it. The phone's end is the master
/// of a pseudo-terminal.
class LineTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void whoStillHasItOpenLosesIt();
    void whatItsOwnerClaimsIsNotTaken();
    void aLinkThatIsUpKeepsItsLine();
    void aLineIsNotLostToAPipe_data();
    void aLineIsNotLostToAPipe();
    void whatIsNoLineIsLeftToPppd();

private:
    /// Opens the line as a program would that claims nothing. Hung up, it forgets
    /// that it is to hand every byte on.
    int opened() const
    {
        const int line = ::open(m_node.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        termios settings = {};
        if (::tcgetattr(line, &settings) == 0) {
            ::cfmakeraw(&settings);
            ::tcsetattr(line, TCSANOW, &settings);
        }
        return line;
    }
    /// Whether what the phone sends arrives there, and the other way round.
    bool isConnected(int line) const
    {
        char byte = 0;
        pollfd sent = {line, POLLIN, 0};
        const bool isReceived = ::write(m_phone, "p", 1) == 1 && ::poll(&sent, 1, 5000) == 1 &&
                                ::read(line, &byte, 1) == 1 && byte == 'p';
        pollfd answered = {m_phone, POLLIN, 0};
        return isReceived && ::write(line, "l", 1) == 1 && ::poll(&answered, 1, 5000) == 1 &&
               ::read(m_phone, &byte, 1) == 1 && byte == 'l';
    }
    DWORD hangUp() const { return hangUpLine(QString::fromLatin1(m_node), m_locks->path()); }

    std::unique_ptr<QTemporaryDir> m_locks;
    QByteArray m_node;
    int m_phone = -1;
    int m_former = -1; ///< of somebody who has it open since before
};

void LineTest::init()
{
    m_locks = std::make_unique<QTemporaryDir>();
    m_phone = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(m_phone >= 0 && ::grantpt(m_phone) == 0 && ::unlockpt(m_phone) == 0);
    m_node = ::ptsname(m_phone);
    m_former = opened();
    QVERIFY(isConnected(m_former));
}

void LineTest::cleanup()
{
    ::close(m_former);
    ::close(m_phone);
}

void LineTest::whoStillHasItOpenLosesIt()
{
    // Its claim must not outlive it, or nobody but root could open the line again.
    QCOMPARE(::ioctl(m_former, TIOCEXCL), 0);
    const DWORD code = hangUp();
    if (::geteuid() != 0) {
        // Nobody else can do it, so there is no dial.
        QCOMPARE(code, DWORD(ErrorAccessDenied));
        return;
    }
    QCOMPARE(code, DWORD(Success));
    char byte = 0;
    QVERIFY(::read(m_former, &byte, 1) <= 0);
    QVERIFY(::write(m_former, "x", 1) < 0);
    // Who opens it now has it, again and again, as root and as the program does.
    for (int time = 0; time < 2; ++time) {
        const int line = opened();
        QVERIFY(line >= 0);
        QVERIFY(isConnected(line));
        ::close(line);
    }
    DWORD error = Success;
    const int line = openSerialDevice(m_node.constData(), &error);
    QVERIFY(line >= 0);
    int isClaimed = 1;
    ::close(line);
    const int after = opened();
    QCOMPARE(::ioctl(after, TIOCGEXCL, &isClaimed), 0);
    QCOMPARE(isClaimed, 0);
    ::close(after);
    QCOMPARE(hangUp(), DWORD(Success));
}

void LineTest::whatItsOwnerClaimsIsNotTaken()
{
    QCOMPARE(::flock(m_former, LOCK_EX | LOCK_NB), 0);
    QCOMPARE(hangUp(), DWORD(ErrorAccessDenied));
    QVERIFY(isConnected(m_former));
}

void LineTest::aLinkThatIsUpKeepsItsLine()
{
    QFile lock(m_locks->filePath("LCK.." + QString::fromLatin1(m_node).section('/', -1)));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write(QByteArray::number(::getpid()).rightJustified(10) + '\n');
    lock.close();
    QCOMPARE(hangUp(), DWORD(ErrorAccessDenied));
    QVERIFY(isConnected(m_former));
}

void LineTest::aLineIsNotLostToAPipe_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"pipe", "link", "folder"})
        QTest::newRow(kind) << kind;
}

/// Whatever anybody has put in the lock file's place: pppd would wait there for ever.
void LineTest::aLineIsNotLostToAPipe()
{
    QFETCH(QString, kind);
    const QString name = m_locks->filePath("LCK.." + QString::fromLatin1(m_node).section('/', -1));
    if (kind == "pipe")
        QCOMPARE(::mkfifo(name.toLocal8Bit().constData(), 0666), 0);
    else if (kind == "link")
        QVERIFY(QFile::link(m_locks->filePath("none"), name));
    else
        QVERIFY(QDir().mkdir(name));
    QCOMPARE(hangUp(), DWORD(ErrorAccessDenied));
    QVERIFY(isConnected(m_former));
}

void LineTest::whatIsNoLineIsLeftToPppd()
{
    QCOMPARE(hangUpLine("/dev/none", m_locks->path()), DWORD(Success));
    QCOMPARE(hangUpLine("/dev/null", m_locks->path()), DWORD(Success));
    QCOMPARE(hangUpLine(m_locks->path(), m_locks->path()), DWORD(Success));
}

QTEST_APPLESS_MAIN(LineTest)
#include "line_test.moc"
