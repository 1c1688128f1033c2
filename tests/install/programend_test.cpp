// A set-up step that is still running when the program closes.

#include "install/installationsteps.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QtConcurrent>
#include <QTest>
#include <QThread>

class ProgramEndTest : public QObject
{
    Q_OBJECT

private slots:
    void runningStepFindsTheDrivers();
};

// The destructor of the application waits for the step, but has taken the
// application object away before.
void ProgramEndTest::runningStepFindsTheDrivers()
{
    Bench<> bench;
    QFuture<bool> step;
    QString folder;
    {
        int argc = 1;
        QByteArray program = QFile::encodeName("programend_test");
        char *argv[] = {program.data(), nullptr};
        const QCoreApplication application(argc, argv);
        const TestSettings settings;
        folder = QCoreApplication::applicationDirPath().replace('/', '\\');
        QVERIFY(!folder.isEmpty());
        step = QtConcurrent::run([] {
            while (QCoreApplication::instance())
                QThread::yieldCurrentThread();
            return SetupAllInfs();
        });
    }
    QVERIFY(step.isFinished());
    QVERIFY(step.result());
    QCOMPARE(bench.machine.startedProcesses.size(), 1);
    QCOMPARE(bench.machine.startedProcesses.first().application,
             folder + "\\drivers\\InstallDriver.exe");
    QVERIFY(bench.log.lines()
                .filter("GetModemINFLocation")
                .first()
                .contains(folder + "\\drivers\\modem_inf_"));
    QCOMPARE(bench.log.lines().filter("QCoreApplication"), QStringList());
}

QTEST_APPLESS_MAIN(ProgramEndTest)
#include "programend_test.moc"
