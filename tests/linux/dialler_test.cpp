#include "platform/linux/dialdialog.h"
#include "platform/linux/dialler.h"
#include "platform/posix/serialdevice.h"
#include "tests/linux/filemode.h"
#include "tests/linux/pppdfixture.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

/// One dial with a stand-in for pppd, and the dialog that shows it.
class DiallerTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }
    void cleanup() { endLinks(); }

    void aDialSucceeds();
    void aDialFails_data();
    void aDialFails();
    void aMissingPppdIsAFailure();
    void aPppdThatMayNotBeRunIsAFailure();
    void aDialIsStopped();
    void pppdGetsEachTextAsOneArgument();
    void pppdGetsNothingThatIsOpen();
    void theDialogConnects();
    void theDialogSaysWhyNot();
    void theDialogIsCancelled();
    void theDialogAsksAnewWhereThePhoneIs();
};

void DiallerTest::aDialSucceeds()
{
    plan("say:DialPhone:_dialling_*99# say:DialPhone:_connected say:Connect:_ppp0_<-->_x "
         "exit:0");
    Dialler dialler(m_paths.pppd);
    QSignalSpy connected(&dialler, &Dialler::connected);
    QStringList told;
    connect(&dialler, &Dialler::progressed, this, [&told](const QString &text) { told += text; });
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QVERIFY(connected.wait());
    QCOMPARE(told,
             QStringList({"Opening the phone's port...", "Dialling *99#...",
                          "The network answered. Signing in...", "Waiting for an address..."}));
    QVERIFY(!dialler.isRunning());
}

void DiallerTest::aDialFails_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    const auto answer = [](const QByteArray &text) {
        return "say:DialPhone:_failed_" + text + " exit:8";
    };
    QTest::newRow("fatal") << QByteArray("exit:1") << 635 << "log";
    QTest::newRow("options") << QByteArray("exit:2") << 625 << "entry is damaged";
    QTest::newRow("not setuid") << QByteArray("exit:3") << 5 << "group \"dip\"";
    QTest::newRow("kernel") << QByteArray("exit:4") << 711 << "kernel";
    QTest::newRow("signal") << QByteArray("exit:5") << 631 << "stopped";
    QTest::newRow("locked") << QByteArray("exit:6") << 633 << "another program";
    QTest::newRow("port") << QByteArray("exit:7") << 633 << "port";
    QTest::newRow("wrong access point") << answer("NO_CARRIER") << 679 << "operator";
    QTest::newRow("busy") << answer("BUSY") << 676 << "busy";
    QTest::newRow("no answer") << answer("NO_ANSWER") << 678 << "no answer";
    QTest::newRow("no dial tone") << answer("NO_DIALTONE") << 680 << "dial tone";
    QTest::newRow("no dial tone, in three words") << answer("NO_DIAL_TONE") << 680 << "dial tone";
    QTest::newRow("refused") << answer("ERROR") << 651 << "refused";
    QTest::newRow("error number") << answer("+CME_ERROR:_30") << 651 << "refused";
    QTest::newRow("phone silent") << answer("NOT_READY") << 666 << "does not answer";
    QTest::newRow("network silent") << answer("TIMEOUT") << 638 << "in time";
    QTest::newRow("unplugged") << answer("HANGUP") << 692 << "unplugged";
    QTest::newRow("dialler broken") << QByteArray("exit:8") << 651 << "refused";
    QTest::newRow("negotiation") << QByteArray("exit:10") << 720 << "address";
    QTest::newRow("sign-in of the network") << QByteArray("exit:11") << 635 << "log";
    QTest::newRow("echo") << QByteArray("exit:15") << 718 << "answering";
    QTest::newRow("hang-up") << QByteArray("exit:16") << 629 << "ended";
    QTest::newRow("loopback") << QByteArray("exit:17") << 629 << "ended";
    QTest::newRow("sign-in") << QByteArray("exit:19") << 691 << "sign-in";
    QTest::newRow("unknown") << QByteArray("exit:99") << 635 << "log";
    QTest::newRow("killed") << QByteArray("die") << 635 << "log";
}

void DiallerTest::aDialFails()
{
    QFETCH(QByteArray, plan);
    QFETCH(int, code);
    QFETCH(QString, words);
    this->plan(plan);
    Dialler dialler(m_paths.pppd);
    DialFailure seen;
    connect(&dialler, &Dialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QTRY_VERIFY(seen.code != 0);
    QCOMPARE(seen.code, DWORD(code));
    QVERIFY2(seen.text.contains(words), qPrintable(seen.text));
}

void DiallerTest::aMissingPppdIsAFailure()
{
    Dialler dialler(m_folder->filePath("none"));
    DialFailure seen;
    connect(&dialler, &Dialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QTRY_COMPARE(seen.code, DWORD(711));
    QVERIFY2(seen.text.contains("package \"ppp\""), qPrintable(seen.text));
}

void DiallerTest::aPppdThatMayNotBeRunIsAFailure()
{
    const QString pppd = m_folder->filePath("pppd");
    QVERIFY(QFile::copy(m_paths.pppd, pppd));
    setMode(pppd, 0);
    DialFailure seen;
    Dialler dialler(pppd);
    connect(&dialler, &Dialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QTRY_COMPARE(seen.code, DWORD(ErrorAccessDenied));
    QVERIFY2(seen.text.contains("group \"dip\""), qPrintable(seen.text));
}

void DiallerTest::aDialIsStopped()
{
    plan("say:DialPhone:_dialling_1 wait");
    Dialler dialler(m_paths.pppd);
    DialFailure seen;
    QString told;
    connect(&dialler, &Dialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    connect(&dialler, &Dialler::progressed, this, [&told](const QString &text) { told = text; });
    dialler.start(linkName, "/dev/ttyACM0", "1");
    QTRY_COMPARE(told, QString("Dialling 1..."));
    dialler.stop();
    QTRY_COMPARE(seen.code, DWORD(631));
}

void DiallerTest::pppdGetsEachTextAsOneArgument()
{
    Dialler dialler(m_paths.pppd);
    QSignalSpy connected(&dialler, &Dialler::connected);
    dialler.start("tolvane-%24%28reboot%29", "/dev/tty ACM0", "*99#");
    QVERIFY(connected.wait());
    QCOMPARE(contentOf(m_folder->filePath("arguments")),
             QByteArray("call\ntolvane-%24%28reboot%29\n/dev/tty ACM0\nset\nDIAL_NUMBER=*99#\n"
                        "logfd\n1\nupdetach\n"));
}

/// A port or a lock that pppd kept would stay in use after this program.
void DiallerTest::pppdGetsNothingThatIsOpen()
{
    DWORD error = Success;
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    const int port = openSerialDevice(::ptsname(terminal), &error);
    QVERIFY(port >= 0);
    // What whoever started this test has left open goes on through all.
    QByteArrayList inherited;
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        const int flags = ::fcntl(descriptor, F_GETFD);
        if (flags >= 0 && !(flags & FD_CLOEXEC))
            inherited += QByteArray::number(descriptor);
    }
    QVERIFY(!inherited.contains(QByteArray::number(port)));

    Dialler dialler(m_paths.pppd);
    QSignalSpy connected(&dialler, &Dialler::connected);
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QVERIFY(connected.wait());
    closeSerialDevice(port);
    ::close(terminal);
    QByteArrayList seen = contentOf(m_folder->filePath("descriptors")).split('\n');
    seen.removeAll(QByteArray());
    QCOMPARE(seen, inherited);
}

void DiallerTest::theDialogConnects()
{
    DialDialog dialog(entryName, "*99#", m_paths.pppd, [] {
        return DialDialog::Target{Success, linkName, "/dev/ttyACM0"};
    });
    QCOMPARE(dialog.windowTitle(), QString("Connect TolvaneModem 1"));
    press("dialButton");
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(dialog.lastError(), DWORD(Success));
}

void DiallerTest::theDialogSaysWhyNot()
{
    plan("say:DialPhone:_failed_NO_CARRIER exit:8");
    DialDialog dialog(entryName, "*99#", m_paths.pppd, [] {
        return DialDialog::Target{Success, linkName, "/dev/ttyACM0"};
    });
    dialog.show();
    auto *dial = dialog.findChild<QPushButton *>("dialButton");
    auto *status = dialog.findChild<QLabel *>("statusLabel");
    dial->click();
    QVERIFY(!dial->isEnabled());
    QTRY_VERIFY(dial->isEnabled());
    QVERIFY2(status->text().contains("operator") && status->text().endsWith("Error 679"),
             qPrintable(status->text()));
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.lastError(), DWORD(679));
    // Once more, and it works.
    plan("exit:0");
    dial->click();
    QTRY_VERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.lastError(), DWORD(Success));
}

void DiallerTest::theDialogIsCancelled()
{
    plan("say:DialPhone:_dialling_*99# wait");
    DialDialog dialog(entryName, "*99#", m_paths.pppd, [] {
        return DialDialog::Target{Success, linkName, "/dev/ttyACM0"};
    });
    dialog.show();
    auto *status = dialog.findChild<QLabel *>("statusLabel");
    dialog.findChild<QPushButton *>("dialButton")->click();
    QTRY_COMPARE(status->text(), QString("Dialling *99#..."));
    dialog.findChild<QPushButton *>("cancelButton")->click();
    QVERIFY(dialog.isVisible()); // until the line is free
    QTRY_VERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(dialog.wasCancelledWhileDialling());
}

void DiallerTest::theDialogAsksAnewWhereThePhoneIs()
{
    DWORD code = RasErrorPortOrDevice;
    DialDialog dialog(entryName, "*99#", m_paths.pppd, [&code] {
        return DialDialog::Target{code, linkName, "/dev/ttyACM0"};
    });
    dialog.show();
    dialog.findChild<QPushButton *>("dialButton")->click();
    QVERIFY(dialog.findChild<QLabel *>("statusLabel")->text().contains("not plugged in"));
    code = Success;
    dialog.findChild<QPushButton *>("dialButton")->click();
    QTRY_COMPARE(dialog.result(), int(QDialog::Accepted));
}

QTEST_MAIN(DiallerTest)
#include "dialler_test.moc"
