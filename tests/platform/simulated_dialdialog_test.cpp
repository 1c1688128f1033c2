// The simulated PC's dial dialog as a window among others.

#include "platform/simulated/dialdialog.h"
#include "tests/platform/besideawizard.h"
#include "tests/platform/simulated_fixture.h"

#include <QTest>

class SimulatedDialDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void endsNothingBesideAWizard()
    {
        const TestMachine machine;
        QVERIFY(endsNothing([&] {
            platform::simulated::DialDialog dialog(machine.directory(), "TolvaneModem 1", "*99#");
            QTimer::singleShot(0, &dialog, [&dialog] { dialog.reject(); });
            dialog.exec();
        }));
    }
};

QTEST_MAIN(SimulatedDialDialogTest)
#include "simulated_dialdialog_test.moc"
