#include "platform/posix/errno.h"

#include <QTest>

#include <cerrno>

using namespace platform;

class ErrnoTest : public QObject
{
    Q_OBJECT

private slots:
    void numbersBecomeCodes_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<DWORD>("code");
        for (const int gone : {ENOENT, ENXIO, ENODEV})
            QTest::addRow("%d: not there", gone) << gone << DWORD(2);
        for (const int refused : {EACCES, EPERM, EBUSY, EWOULDBLOCK})
            QTest::addRow("%d: refused", refused) << refused << DWORD(5);
        QTest::newRow("no descriptor") << EBADF << DWORD(6);
        QTest::newRow("no memory") << ENOMEM << DWORD(8);
        QTest::newRow("the device does not answer") << EIO << DWORD(1167);
        QTest::newRow("anything else") << ENOSPC << DWORD(31);
    }

    void numbersBecomeCodes()
    {
        QFETCH(int, number);
        QTEST(errorFromErrno(number), "code");
    }
};

QTEST_GUILESS_MAIN(ErrnoTest)
#include "errno_test.moc"
