// The Linux dial dialog as a window among others.

#include "platform/linux/dialdialog.h"
#include "tests/platform/besideawizard.h"

#include <QTest>

using platform::linuxsystem::DialDialog;

class LinuxDialDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void endsNothingBesideAWizard()
    {
        QVERIFY(endsNothing([] {
            DialDialog dialog("TolvaneModem 1", "*99#", "pppd",
                              [] { return DialDialog::Target(); });
            QTimer::singleShot(0, &dialog, [&dialog] { dialog.reject(); });
            dialog.exec();
        }));
    }
};

QTEST_MAIN(LinuxDialDialogTest)
#include "dialdialog_test.moc"
