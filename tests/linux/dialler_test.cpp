#include "platform/linux/messagenotices.h"
#include "platform/linux/pppddialler.h"
#include "platform/linux/pppdresult.h"
#include "platform/posix/serialdevice.h"
#include "tests/linux/filemode.h"
#include "tests/linux/pppdfixture.h"
#include "tests/platform/dialdialog.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTest>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

/// A phone that is always there.
PppdDialler::Target phone()
{
    return {Success, linkName, "/dev/ttyACM0"};
}

/// Keeps the dialler's last failure, which must stay longer than the dialler.
void keepFailure(const PppdDialler &dialler, DialFailure *seen)
{
    QObject::connect(&dialler, &PppdDialler::failed, &dialler,
                     [seen](const DialFailure &failure) { *seen = failure; });
}

} // namespace

/// Dials with a stand-in for pppd, and the dialog that shows them.
class DiallerTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }
    void cleanup() { endLinks(); }

    void aDialSucceeds();
    void aDialFails_data();
    void aDialFails();
    void theLastLinesAreTold();
    void aMissingPppdIsAFailure();
    void aPppdThatMayNotBeRunIsAFailure();
    void whoHasThePortIsNamed();
    void aNoticeIsShownBesideTheProgram();
    void nameAndPasswordAreStoredBeforeTheDial();
    void whatCannotBeStoredIsNotDialledWith();
    void aDialEndsWithItsDialler();
    void aDialIsStopped();
    void pppdGetsEachTextAsOneArgument();
    void pppdGetsNothingThatIsOpen();
    void thePhoneIsLookedForAtEachDial();
    void theDialogConnects();
    void theDialogIsCancelled();
    void theDialogHasRoomForEachReason_data();
    void theDialogHasRoomForEachReason();
};

void DiallerTest::aDialSucceeds()
{
    plan("say:DialPhone:_dialling_*99# say:DialPhone:_connected say:Connect:_ppp0_<-->_x "
         "exit:0");
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    QStringList told;
    connect(&dialler, &PppdDialler::progressed, this,
            [&told](const QString &text) { told += text; });
    dialler.start();
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
    QTest::newRow("not setuid") << QByteArray("exit:3") << 5 << "may not";
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
    QTest::newRow("another number") << answer("+CME_ERROR:_100") << 651 << "refused";
    QTest::newRow("no card") << answer("+CME_ERROR:_10") << 10 << "no card";
    QTest::newRow("PIN") << answer("+CME_ERROR:_11") << 11 << "PIN";
    QTest::newRow("PUK") << answer("+CME_ERROR:_12") << 12 << "PUK";
    QTest::newRow("card broken") << answer("+CME_ERROR:_13") << 13 << "cannot use";
    QTest::newRow("wrong card") << answer("+CME_ERROR:_15") << 15 << "cannot use";
    QTest::newRow("no network") << answer("+CME_ERROR:_30") << 30 << "no network";
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
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    dialler.start();
    QTRY_VERIFY(seen.code != 0);
    QCOMPARE(seen.code, DWORD(code));
    QVERIFY2(seen.text.contains(words), qPrintable(seen.text));
}

void DiallerTest::theLastLinesAreTold()
{
    QByteArray steps;
    for (int i = 1; i <= 50; ++i)
        steps += "say:line_" + QByteArray::number(i) + ' ';
    plan(steps + "say:DialPhone:_line_+CPIN:_SIM_PIN exit:8");
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    dialler.start();
    QTRY_VERIFY(seen.code != 0);
    const QStringList lines = seen.details.split('\n');
    QCOMPARE(lines.size(), 40);
    QCOMPARE(lines.first(), QString("line 12"));
    QCOMPARE(lines.last(), QString("DialPhone: line +CPIN: SIM PIN"));
    // Those of the dial before are not among them.
    plan("say:again exit:1");
    seen = {};
    dialler.start();
    QTRY_COMPARE(seen.details, QString("again"));
}

void DiallerTest::aMissingPppdIsAFailure()
{
    qputenv("STANDIN_PPPD_PROGRAM", m_folder->filePath("none").toLocal8Bit());
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    dialler.start();
    QTRY_COMPARE(seen.code, DWORD(711));
    QVERIFY2(seen.text.contains("package \"ppp\""), qPrintable(seen.text));
}

void DiallerTest::aPppdThatMayNotBeRunIsAFailure()
{
    const QString pppd = m_folder->filePath("pppd");
    QVERIFY(QFile::copy(m_paths.pppd, pppd));
    setMode(pppd, 0);
    DialFailure seen;
    qputenv("STANDIN_PPPD_PROGRAM", pppd.toLocal8Bit());
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    dialler.start();
    QTRY_COMPARE(seen.code, DWORD(ErrorAccessDenied));
    QVERIFY2(seen.text.contains("may not"), qPrintable(seen.text));
}

void DiallerTest::whoHasThePortIsNamed()
{
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    const QString line = ::ptsname(terminal);
    const int held = ::open(line.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(held >= 0);
    plan("exit:7");
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", [line] {
        return PppdDialler::Target{Success, linkName, line};
    });
    keepFailure(dialler, &seen);
    dialler.start();
    QTRY_COMPARE(seen.code, RasErrorPortNotAvailable);
    ::close(held);
    ::close(terminal);
    const QString own = contentOf("/proc/self/comm").trimmed();
    QCOMPARE(seen.text, QString("The program \"%1\" is using the phone. Close it, then press "
                                "Redial.")
                            .arg(own));
}

void DiallerTest::aNoticeIsShownBesideTheProgram()
{
    const auto box = [] {
        QList<QMessageBox *> boxes;
        for (QWidget *window : QApplication::topLevelWidgets()) {
            auto *found = qobject_cast<QMessageBox *>(window);
            if (found && found->isVisible())
                boxes += found;
        }
        return boxes.size() == 1 ? boxes.first() : nullptr;
    };
    MessageNotices notices;
    notices.portInUse("mini<b>com");
    QVERIFY(!box()); // the caller is not kept waiting
    QTRY_VERIFY(box());
    QCOMPARE(box()->text(), QString("The program \"mini<b>com\" is using the phone. Close it, then "
                                    "press Connect Now."));
    QCOMPARE(box()->textFormat(), Qt::PlainText);
    QVERIFY(!QApplication::activeModalWidget());
    QVERIFY(!box()->testAttribute(Qt::WA_QuitOnClose));
    for (const auto tell : {&MessageNotices::portKept, &MessageNotices::portForbidden}) {
        const QString before = box()->text();
        (notices.*tell)();
        QTRY_VERIFY(box() && box()->text() != before); // in the place of the other
    }
    notices.portInUse(QString());
    QTRY_VERIFY(box() && box()->text().startsWith("Another program"));
    box()->button(QMessageBox::Ok)->click();
    QVERIFY(!box());
}

void DiallerTest::nameAndPasswordAreStoredBeforeTheDial()
{
    plan("exit:19");
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    dialler.start();
    QTRY_COMPARE(seen.code, RasErrorAuthentication);
    const QString file = QString("%1/sign-in/%2").arg(m_paths.state).arg(m_paths.user);
    QVERIFY(!QFile::exists(file));
    QVERIFY(dialler.takesSignIn());
    dialler.setSignIn("anna", "secret");
    plan("exit:0");
    dialler.start();
    QVERIFY(connected.wait());
    QVERIFY(contentOf(file).endsWith("user \"anna\"\npassword \"secret\"\n"));
    // No other user can read it in a list of processes.
    QVERIFY(!contentOf(m_folder->filePath("arguments")).contains("secret"));
    // It is sent once.
    QVERIFY(QFile::remove(file));
    dialler.start();
    QVERIFY(connected.wait());
    QVERIFY(!QFile::exists(file));
}

void DiallerTest::whatCannotBeStoredIsNotDialledWith()
{
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    keepFailure(dialler, &seen);
    dialler.setSignIn("anna", "a\nb");
    dialler.start();
    QTRY_COMPARE(seen.code, ErrorInvalidParameter);
    QVERIFY(!QFile::exists(m_folder->filePath("arguments")));
}

void DiallerTest::aDialEndsWithItsDialler()
{
    plan("say:DialPhone:_dialling_1 wait");
    const QString helperFile = m_folder->filePath("helper");
    qputenv("STANDIN_HELPER_PID", helperFile.toLocal8Bit());
    {
        PppdDialler dialler(uncheckedHelper(), "1", phone);
        dialler.stop(); // nothing runs yet
        QString told;
        connect(&dialler, &PppdDialler::progressed, this,
                [&told](const QString &text) { told = text; });
        dialler.start();
        QTRY_COMPARE(told, QString("Dialling 1..."));
    }
    qunsetenv("STANDIN_HELPER_PID");
    const int helper = contentOf(helperFile).trimmed().toInt();
    QVERIFY(helper > 0);
    QVERIFY(::kill(helper, 0) != 0); // it has ended, and so pppd has before
}

void DiallerTest::aDialIsStopped()
{
    plan("say:DialPhone:_dialling_1 wait");
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "1", phone);
    QString told;
    keepFailure(dialler, &seen);
    connect(&dialler, &PppdDialler::progressed, this,
            [&told](const QString &text) { told = text; });
    dialler.start();
    QTRY_COMPARE(told, QString("Dialling 1..."));
    dialler.stop();
    QTRY_COMPARE(seen.code, DWORD(631));
}

void DiallerTest::pppdGetsEachTextAsOneArgument()
{
    PppdDialler dialler(uncheckedHelper(), "*99#", [] {
        return PppdDialler::Target{Success, "tolvane-%24%28reboot%29", "/dev/tty ACM0"};
    });
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    dialler.start();
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

    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    dialler.start();
    QVERIFY(connected.wait());
    closeSerialDevice(port);
    ::close(terminal);
    QByteArrayList seen = contentOf(m_folder->filePath("descriptors")).split('\n');
    seen.removeAll(QByteArray());
    QCOMPARE(seen, inherited);
}

void DiallerTest::thePhoneIsLookedForAtEachDial()
{
    DWORD code = RasErrorPortOrDevice;
    DialFailure seen;
    PppdDialler dialler(uncheckedHelper(), "*99#", [&code] {
        return PppdDialler::Target{code, linkName, "/dev/ttyACM0"};
    });
    keepFailure(dialler, &seen);
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    dialler.start();
    QTRY_COMPARE(seen.code, RasErrorPortOrDevice);
    QVERIFY2(seen.text.contains("not plugged in"), qPrintable(seen.text));
    QVERIFY(!dialler.isRunning());
    code = Success;
    dialler.start();
    QVERIFY(connected.wait());
}

void DiallerTest::theDialogConnects()
{
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    DialDialog dialog("Connect", entryName, "*99#", &dialler);
    QVERIFY(dialog.run(false));
    QVERIFY(contentOf(m_folder->filePath("arguments")).contains("DIAL_NUMBER=*99#\n"));
}

void DiallerTest::theDialogIsCancelled()
{
    plan("say:DialPhone:_dialling_*99# wait");
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    DialDialog dialog("Connect", entryName, "*99#", &dialler);
    bool dialling = false;
    bool stays = false;
    inDialDialog([&](DialDialog *open) {
        dialling = QTest::qWaitFor([&] { return status(open) == "Dialling *99#..."; });
        cancelButton(open)->click();
        stays = open->isVisible(); // until the line is free
    });
    QVERIFY(!dialog.run(false));
    QVERIFY(dialling && stays);
    QVERIFY(dialog.wasGivenUp());
    QVERIFY(!dialler.isRunning());
}

void DiallerTest::theDialogHasRoomForEachReason_data()
{
    QTest::addColumn<QString>("reason");
    const auto row = [](const QByteArray &from, const DialFailure &failure) {
        QTest::newRow(from) << QString("Error %1: %2").arg(failure.code).arg(failure.text);
    };
    for (int status = 1; status < 20; ++status)
        row("pppd " + QByteArray::number(status), pppdFailure(status, {}));
    for (const char *answer : {"NO CARRIER", "BUSY", "NO ANSWER", "NO DIALTONE", "NOT READY",
                               "TIMEOUT", "HANGUP", "ERROR", "+CME ERROR: 10", "+CME ERROR: 11",
                               "+CME ERROR: 12", "+CME ERROR: 13", "+CME ERROR: 30"})
        row(answer, modemFailure(answer));
    for (const DWORD code : {ErrorAccessDenied, ErrorServiceMissing, RasErrorCannotOpenPhonebook,
                             RasErrorEntryNotFound, RasErrorPortNotAvailable, RasErrorPortOrDevice,
                             ErrorInvalidParameter, RasErrorUnknown})
        row("before pppd " + QByteArray::number(code), failureOf(code));
}

/// A dialog that grew would move its buttons under the mouse.
void DiallerTest::theDialogHasRoomForEachReason()
{
    QFETCH(QString, reason);
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    DialDialog dialog("Connect", entryName, "*99#", &dialler);
    auto *label = dialog.findChild<QLabel *>("statusLabel");
    dialog.show();
    QCOMPARE(label->text(), QString("Press Dial to connect."));
    const QSize before = dialog.size();
    const int room = label->height();
    QVERIFY2(label->heightForWidth(label->width()) <= room, qPrintable(reason));
    label->setText(reason);
    QCoreApplication::processEvents();
    QVERIFY2(label->heightForWidth(label->width()) <= room, qPrintable(reason));
    QCOMPARE(dialog.size(), before);
}

QTEST_MAIN(DiallerTest)
#include "dialler_test.moc"
