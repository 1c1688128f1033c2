// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "platform/linux/activelinks.h"
#include "platform/linux/dialdialog.h"
#include "platform/linux/families.h"
#include "platform/linux/phonebook.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/posix/serialdevice.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/support/ordinaryuser.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const char entryName[] = "TolvaneModem 1";
const char linkName[] = "tolvane-TolvaneModem_1";
const char modemName[] = "Tolvane GPRS Modem";
constexpr uid_t nobody = 65534;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// Dialling, links and the RAS operations, with a stand-in for pppd.
class DiallingTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

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

    void linksAreFound();
    void whatIsNoLinkIsNotFound_data();
    void whatIsNoLinkIsNotFound();
    void linksInPppdsOwnFolderAreFound();
    void aLinkIsEnded();
    void aLinkThatDoesNotEndCountsAsEnded();

    void connectionsAreListed();
    void listsTellTheSizeTheyNeed();
    void onlyThatLinkIsHungUp();
    void anotherUsersLinkIsNotHungUp();
    void dialDialogRefusals();
    void dialDialogTellsItsError();
    void dialDialogFindsThePhone();
    void devicesAreListed();
    void listingDevicesIsRefused();
    void entryProperties();
    void settingAnEntryIsRefused();

private:
    void plan(const QByteArray &steps) { qputenv("STANDIN_PPPD", steps); }
    pid_t startLink(const QByteArray &interface, const QString &name = linkName,
                    const QByteArray &first = {});
    void addModem(const QString &name, const QString &port);
    RasEntry entryFor(const QString &modem) const;
    /// The Linux machine's remote access, on this test's folders.
    Platform &ras()
    {
        m_platform = std::make_unique<Platform>();
        provideRas(m_platform.get(), m_paths, m_store);
        return *m_platform;
    }
    /// Presses a button of the modal dialog once it is there.
    void press(const QString &button, const std::function<void(DialDialog *)> &look = {});

    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<StateStore> m_store;
    SystemPaths m_paths;
    std::unique_ptr<Platform> m_platform;
};

void DiallingTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QDir(m_folder->path()).mkpath("peers");
    QDir(m_folder->path()).mkpath("run");
    m_paths.state = m_folder->filePath("state");
    m_paths.peers = m_folder->filePath("peers");
    m_paths.run = m_folder->filePath("run");
    m_paths.pppd = QCoreApplication::applicationDirPath() + "/standin/pppd";
    m_paths.drivers = "/drivers";
    m_store = std::make_shared<StateStore>(m_paths.state);
    qputenv("STANDIN_RUN", m_paths.run.toLocal8Bit());
    qputenv("STANDIN_ARGUMENTS", m_folder->filePath("arguments").toLocal8Bit());
    qputenv("STANDIN_DESCRIPTORS", m_folder->filePath("descriptors").toLocal8Bit());
    plan("");
    setLastError(Success);
}

void DiallingTest::cleanup()
{
    for (const ActiveLink &link : activeLinks(m_paths.run))
        ::kill(link.process, SIGKILL);
}

pid_t DiallingTest::startLink(const QByteArray &interface, const QString &name,
                              const QByteArray &first)
{
    plan(first + "link:" + interface);
    QProcess process;
    process.start(m_paths.pppd, {"call", name});
    if (!process.waitForFinished())
        return 0;
    return contentOf(m_paths.run + "/ppp-" + name + ".pid").split('\n').first().toInt();
}

void DiallingTest::addModem(const QString &name, const QString &port)
{
    m_store->change([&](QJsonObject *state) {
        DeviceList list;
        readDevices(*state, &list);
        RootDevice device;
        device.instanceId = newInstanceId(list.devices, "Modem");
        device.friendlyName = name;
        device.hasDriverKey = true;
        device.driverKey.insert("AttachedTo", port);
        list.devices.append(device);
        writeDevices(state, list);
        return true;
    });
}

RasEntry DiallingTest::entryFor(const QString &modem) const
{
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    entry.dwfOptions = 0x10;
    entry.dwFramingProtocol = 1;
    entry.dwType = 1;
    copyToBuffer("modem", entry.szDeviceType, 17);
    copyToBuffer("*99#", entry.szLocalPhoneNumber, 129);
    copyToBuffer(modem, entry.szDeviceName, 129);
    return entry;
}

void DiallingTest::press(const QString &button, const std::function<void(DialDialog *)> &look)
{
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [timer, button, look] {
        auto *dialog = qobject_cast<DialDialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        timer->deleteLater();
        timer->stop();
        dialog->findChild<QPushButton *>(button)->click();
        if (look)
            look(dialog);
    });
    timer->start(5);
}

void DiallingTest::aDialSucceeds()
{
    plan("say:tolvane-dial:_dialling_*99# say:tolvane-dial:_connected say:Connect:_ppp0_<-->_x "
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

void DiallingTest::aDialFails_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    const auto answer = [](const QByteArray &text) {
        return "say:tolvane-dial:_failed_" + text + " exit:8";
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

void DiallingTest::aDialFails()
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

void DiallingTest::aMissingPppdIsAFailure()
{
    Dialler dialler(m_folder->filePath("none"));
    DialFailure seen;
    connect(&dialler, &Dialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start(linkName, "/dev/ttyACM0", "*99#");
    QTRY_COMPARE(seen.code, DWORD(711));
    QVERIFY2(seen.text.contains("package \"ppp\""), qPrintable(seen.text));
}

void DiallingTest::aPppdThatMayNotBeRunIsAFailure()
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

void DiallingTest::aDialIsStopped()
{
    plan("say:tolvane-dial:_dialling_1 wait");
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

void DiallingTest::pppdGetsEachTextAsOneArgument()
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
void DiallingTest::pppdGetsNothingThatIsOpen()
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

void DiallingTest::theDialogConnects()
{
    DialDialog dialog(entryName, "*99#", m_paths.pppd, [] {
        return DialDialog::Target{Success, linkName, "/dev/ttyACM0"};
    });
    QCOMPARE(dialog.windowTitle(), QString("Connect TolvaneModem 1"));
    press("dialButton");
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(dialog.lastError(), DWORD(Success));
}

void DiallingTest::theDialogSaysWhyNot()
{
    plan("say:tolvane-dial:_failed_NO_CARRIER exit:8");
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

void DiallingTest::theDialogIsCancelled()
{
    plan("say:tolvane-dial:_dialling_*99# wait");
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

void DiallingTest::theDialogAsksAnewWhereThePhoneIs()
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

void DiallingTest::linksAreFound()
{
    QVERIFY(activeLinks(m_paths.run).isEmpty());
    const pid_t process = startLink("lo");
    const QList<ActiveLink> links = activeLinks(m_paths.run);
    QCOMPARE(links.size(), 1);
    QCOMPARE(links.first().entryName, QString(entryName));
    QCOMPARE(links.first().process, process);
    QCOMPARE(links.first().interface, QString("lo"));
    ::kill(process, SIGKILL);
    // The file of a killed pppd stays, the link does not.
    QTRY_VERIFY(activeLinks(m_paths.run).isEmpty());
    QVERIFY(QFile::exists(m_paths.run + "/ppp-" + linkName + ".pid"));
}

void DiallingTest::whatIsNoLinkIsNotFound_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no number") << QByteArray("x\nlo\n");
    QTest::newRow("no interface yet") << QByteArray("%1\n");
    QTest::newRow("interface without address") << QByteArray("%1\nnone0\n");
    QTest::newRow("another program") << QByteArray::number(::getpid()) + "\nlo\n";
    QTest::newRow("another link's pppd") << QByteArray("%2\nlo\n");
}

void DiallingTest::whatIsNoLinkIsNotFound()
{
    QFETCH(QByteArray, content);
    const pid_t own = startLink("lo");
    const pid_t other = startLink("lo", "tolvane-other");
    content.replace("%1", QByteArray::number(own));
    content.replace("%2", QByteArray::number(other));
    QFile file(m_paths.run + "/ppp-" + linkName + ".pid");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    const QList<ActiveLink> links = activeLinks(m_paths.run);
    QCOMPARE(links.size(), 1);
    QCOMPARE(links.first().entryName, QString("other"));
    ::kill(own, SIGKILL);
}

void DiallingTest::linksInPppdsOwnFolderAreFound()
{
    startLink("lo");
    const QString file = QString("ppp-") + linkName + ".pid";
    QVERIFY(QDir(m_paths.run).mkdir("pppd"));
    QVERIFY(QFile::rename(m_paths.run + '/' + file, m_paths.run + "/pppd/" + file));
    QCOMPARE(activeLinks(m_paths.run).size(), 1);
}

void DiallingTest::aLinkIsEnded()
{
    startLink("lo");
    const ActiveLink link = activeLinks(m_paths.run).first();
    QCOMPARE(endLink(link), DWORD(Success));
    QVERIFY(!QFile::exists(m_paths.run + "/ppp-" + linkName + ".pid"));
    QCOMPARE(endLink(link), DWORD(ErrorInvalidHandle));
    ActiveLink own = link;
    own.process = ::getpid(); // the number came round
    QCOMPARE(endLink(own), DWORD(ErrorInvalidHandle));
}

void DiallingTest::aLinkThatDoesNotEndCountsAsEnded()
{
    startLink("lo", linkName, "deaf ");
    const ActiveLink link = activeLinks(m_paths.run).first();
    QCOMPARE(endLink(link, 50), DWORD(Success));
    QCOMPARE(activeLinks(m_paths.run).size(), 1);
}

void DiallingTest::connectionsAreListed()
{
    addModem(modemName, "COM5");
    QCOMPARE(
        ras().RasSetEntryPropertiesW(nullptr, wide(QString(entryName)), nullptr, 0, nullptr, 0),
        RasErrorInvalidBuffer);
    RasEntry entry = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, wide(QString(entryName)), &entry, RasEntrySize,
                                          nullptr, 0),
             DWORD(Success));
    const pid_t process = startLink("lo");
    std::vector<RasConnection> records(100);
    records[0].dwSize = RasConnectionSize;
    DWORD bytes = 136000;
    DWORD count = 0;
    QCOMPARE(ras().RasEnumConnectionsW(records.data(), &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(1));
    QCOMPARE(bytes, DWORD(sizeof(RasConnection)));
    QCOMPARE(fromField(records[0].szEntryName), QString(entryName));
    QCOMPARE(fromField(records[0].szDeviceName), QString(modemName));
    QCOMPARE(fromField(records[0].szDeviceType), QString("modem"));
    QCOMPARE(reinterpret_cast<ULONG_PTR>(records[0].hrasconn), ULONG_PTR(process));
}

void DiallingTest::listsTellTheSizeTheyNeed()
{
    RasConnection record = {};
    DWORD bytes = 0;
    DWORD count = 7;
    QCOMPARE(ras().RasEnumConnectionsW(nullptr, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(0));
    startLink("lo");
    QCOMPARE(ras().RasEnumConnectionsW(nullptr, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(bytes, DWORD(1360));
    record.dwSize = 1;
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, &count), RasErrorInvalidSize);
    record.dwSize = RasConnectionSize;
    bytes = 1359;
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(ras().RasEnumConnectionsW(&record, nullptr, &count), ErrorInvalidParameter);
    QCOMPARE(ras().RasEnumConnectionsW(&record, &bytes, nullptr), ErrorInvalidParameter);
}

void DiallingTest::onlyThatLinkIsHungUp()
{
    const pid_t one = startLink("lo");
    const pid_t other = startLink("lo", "tolvane-other");
    const auto handle = [](pid_t process) {
        return reinterpret_cast<RasConnectionHandle>(static_cast<ULONG_PTR>(process));
    };
    QCOMPARE(ras().RasHangUpW(handle(::getpid())), RasErrorInvalidHandle);
    QCOMPARE(ras().RasHangUpW(nullptr), RasErrorInvalidHandle);
    QCOMPARE(ras().RasHangUpW(handle(one)), DWORD(Success));
    QCOMPARE(ras().RasHangUpW(handle(one)), RasErrorInvalidHandle);
    const QList<ActiveLink> links = activeLinks(m_paths.run);
    QCOMPARE(links.size(), 1);
    QCOMPARE(links.first().process, other);
}

void DiallingTest::anotherUsersLinkIsNotHungUp()
{
    if (::geteuid() != 0)
        QSKIP("Only an administrator can become another user.");
    setMode(m_folder->path(), 0755);
    const auto handle = reinterpret_cast<RasConnectionHandle>(ULONG_PTR(startLink("lo")));
    // Signals ask for more than the files' user: for a process of that user.
    const pid_t other = ::fork();
    if (other == 0) {
        const bool isOther = ::setresuid(nobody, nobody, nobody) == 0;
        ::_exit(isOther ? int(ras().RasHangUpW(handle)) : 255);
    }
    int status = 0;
    QCOMPARE(::waitpid(other, &status, 0), other);
    QCOMPARE(WEXITSTATUS(status), int(ErrorAccessDenied));
    QCOMPARE(activeLinks(m_paths.run).size(), 1);
}

void DiallingTest::dialDialogRefusals()
{
    WCHAR entry[] = u"TolvaneModem 1";
    WCHAR empty[] = u"";
    WCHAR number[] = u"*99#";
    RasDialDialog info = {};
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, nullptr), 0);
    QCOMPARE(lastError(), ErrorInvalidParameter);
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, RasErrorInvalidSize);
    info.dwSize = RasDialDialogSize;
    QCOMPARE(ras().RasDialDlgW(nullptr, empty, number, &info), 0);
    QCOMPARE(info.dwError, ErrorInvalidParameter);
    QCOMPARE(ras().RasDialDlgW(nullptr, nullptr, number, &info), 0);
    QCOMPARE(ras().RasDialDlgW(number, entry, number, &info), 0);
    QCOMPARE(info.dwError, RasErrorCannotOpenPhonebook);
    info.dwSubEntry = 1;
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, ErrorNotSupported);
}

void DiallingTest::dialDialogTellsItsError()
{
    WCHAR entry[] = u"TolvaneModem 1";
    WCHAR number[] = u"*99#";
    RasDialDialog info = {};
    info.dwSize = RasDialDialogSize;
    const auto dialAndCancel = [&] {
        press("dialButton", [](DialDialog *dialog) {
            dialog->findChild<QPushButton *>("cancelButton")->click();
        });
        return ras().RasDialDlgW(nullptr, entry, number, &info);
    };
    QCOMPARE(dialAndCancel(), 0);
    QCOMPARE(info.dwError, RasErrorEntryNotFound);
    addModem(modemName, "COM77");
    RasEntry properties = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, entry, &properties, RasEntrySize, nullptr, 0),
             DWORD(Success));
    QCOMPARE(dialAndCancel(), 0);
    QCOMPARE(info.dwError, RasErrorPortOrDevice); // no phone at COM77
    m_store->change([](QJsonObject *state) {
        writeDevices(state, {});
        return true;
    });
    QCOMPARE(dialAndCancel(), 0);
    QCOMPARE(info.dwError, RasErrorPortNotAvailable);
    press("cancelButton");
    QCOMPARE(ras().RasDialDlgW(nullptr, entry, number, &info), 0);
    QCOMPARE(info.dwError, DWORD(Success));
    setMode(m_folder->path(), 0755);
    setMode(m_paths.peers, 0);
    {
        const OrdinaryUser user;
        QCOMPARE(dialAndCancel(), 0);
    }
    setMode(m_paths.peers, 0755);
    QCOMPARE(info.dwError, DWORD(ErrorAccessDenied));
}

void DiallingTest::dialDialogFindsThePhone()
{
    UMockdevTestbed *machine = umockdev_testbed_new();
    if (!umockdev_in_mock_environment())
        QSKIP("Needs a machine of the test's own: linux_dial_target runs it with one.");
    char *const end = nullptr;
    g_free(umockdev_testbed_add_device(machine, "tty", "rfcomm7", nullptr, end, "DEVNAME",
                                       "/dev/rfcomm7", "TOLVANE_MODEM_PORT", "1", end));
    addModem(modemName, "COM5");
    WCHAR entry[] = u"TolvaneModem 1";
    RasEntry properties = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, entry, &properties, RasEntrySize, nullptr, 0),
             DWORD(Success));
    RasDialDialog info = {};
    info.dwSize = RasDialDialogSize;
    press("dialButton");
    QVERIFY(ras().RasDialDlgW(nullptr, entry, nullptr, &info));
    // The entry's own number goes with it, as none was given.
    QVERIFY(contentOf(m_folder->filePath("arguments"))
                .startsWith("call\ntolvane-TolvaneModem_1\n/dev/rfcomm7\nset\nDIAL_NUMBER=*99#\n"));

    WCHAR number[] = u"$(reboot)";
    press("dialButton",
          [](DialDialog *dialog) { dialog->findChild<QPushButton *>("cancelButton")->click(); });
    QVERIFY(!ras().RasDialDlgW(nullptr, entry, number, &info));
    QCOMPARE(info.dwError, ErrorInvalidParameter);
    g_object_unref(machine);
}

void DiallingTest::devicesAreListed()
{
    DWORD bytes = 0;
    DWORD count = 0;
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(0));
    addModem(modemName, "COM5");
    addModem(QString(), "COM6"); // has no driver
    addModem("Tolvane GPRS Modem #2", "COM6");
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), RasErrorBufferTooSmall);
    QCOMPARE(bytes, DWORD(2 * 296));
    RasDeviceInfo records[2] = {};
    QCOMPARE(ras().RasEnumDevicesW(records, &bytes, &count), RasErrorInvalidSize);
    records[0].dwSize = RasDeviceInfoSize;
    QCOMPARE(ras().RasEnumDevicesW(records, &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(2));
    QCOMPARE(fromField(records[0].szDeviceType), QString("modem"));
    QCOMPARE(fromField(records[1].szDeviceName), QString("Tolvane GPRS Modem #2"));
}

void DiallingTest::listingDevicesIsRefused()
{
    addModem(modemName, "COM5");
    setMode(m_paths.state, 0);
    DWORD bytes = 0;
    DWORD count = 0;
    DWORD code = Success;
    {
        const OrdinaryUser user;
        code = ras().RasEnumDevicesW(nullptr, &bytes, &count);
    }
    setMode(m_paths.state, 0755);
    QCOMPARE(code, DWORD(ErrorAccessDenied));
    QFile store(m_paths.state + "/state.json");
    QVERIFY(store.open(QIODevice::WriteOnly));
    store.write("{");
    store.close();
    QCOMPARE(ras().RasEnumDevicesW(nullptr, &bytes, &count), ErrorInvalidData);
}

void DiallingTest::entryProperties()
{
    const WCHAR empty[] = u"";
    DWORD size = 0;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, nullptr, &size, nullptr, nullptr),
             RasErrorBufferTooSmall);
    QCOMPARE(size, DWORD(5616)); // as newer releases of Windows ask for
    size = RasEntrySize;
    RasEntry entry = {};
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, nullptr, nullptr),
             RasErrorInvalidSize);
    entry.dwSize = RasEntrySize;
    addModem(modemName, "COM5");
    DWORD deviceSize = 5;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, nullptr, &deviceSize),
             DWORD(Success));
    QCOMPARE(deviceSize, DWORD(0));
    QVERIFY(entry.dwfOptions & EntryPreviewUserPassword);
    QVERIFY(entry.dwfOptions & EntryPreviewPhoneNumber);
    QCOMPARE(fromField(entry.szDeviceType), QString("modem"));
    QCOMPARE(fromField(entry.szDeviceName), QString(modemName));
    QCOMPARE(fromField(entry.szLocalPhoneNumber), QString());

    const QString name = entryName;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, wide(name), &entry, &size, nullptr, nullptr),
             RasErrorEntryNotFound);
    QCOMPARE(ras().RasGetEntryPropertiesW(empty, empty, &entry, &size, nullptr, nullptr),
             RasErrorCannotOpenPhonebook);
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, nullptr, &entry, &size, nullptr, nullptr),
             ErrorInvalidParameter);
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, nullptr, nullptr, nullptr),
             ErrorInvalidParameter);
    BYTE block = 0;
    QCOMPARE(ras().RasGetEntryPropertiesW(nullptr, empty, &entry, &size, &block, &deviceSize),
             ErrorNotSupported);
}

void DiallingTest::settingAnEntryIsRefused()
{
    const QString name = entryName;
    const auto set = [&](RasEntry entry, DWORD size = RasEntrySize) {
        return ras().RasSetEntryPropertiesW(nullptr, wide(name), &entry, size, nullptr, 0);
    };
    QCOMPARE(set(entryFor(modemName)), ErrorInvalidParameter); // no such modem
    addModem(modemName, "COM5");
    QCOMPARE(set(entryFor(modemName)), DWORD(Success));
    QCOMPARE(set(entryFor(modemName), RasEntrySize - 1), RasErrorInvalidBuffer);
    RasEntry entry = entryFor(modemName);
    entry.dwSize = 0;
    QCOMPARE(set(entry), ErrorInvalidParameter);
    entry.dwSize = RasEntrySize - 1;
    QCOMPARE(set(entry), RasErrorInvalidSize);
    entry = entryFor(modemName);
    entry.szLocalPhoneNumber[0] = 0;
    QCOMPARE(set(entry), ErrorInvalidParameter);
    entry = entryFor(modemName);
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, nullptr, &entry, RasEntrySize, nullptr, 0),
             DWORD(123)); // ERROR_INVALID_NAME
    QCOMPARE(ras().RasSetEntryPropertiesW(wide(name), wide(name), &entry, RasEntrySize, nullptr, 0),
             RasErrorCannotOpenPhonebook);
    BYTE block = 0;
    QCOMPARE(ras().RasSetEntryPropertiesW(nullptr, wide(name), &entry, RasEntrySize, &block, 1),
             ErrorNotSupported);
    QFile store(m_paths.state + "/state.json");
    QVERIFY(store.open(QIODevice::WriteOnly));
    store.write("{");
    store.close();
    QCOMPARE(set(entryFor(modemName)), ErrorInvalidData);
}

QTEST_MAIN(DiallingTest)
#include "dialling_test.moc"
