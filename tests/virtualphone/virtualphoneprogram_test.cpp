#include "tests/virtualphone/serialline.h"
#include "virtualphone/controlserver.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace virtualphone;

namespace {

const char commandNames[] = "plug, unplug, status, drop, set, accept-apn, registration, card, quit";

struct Outcome {
    int exitCode = -1;
    QString output;
    QString errors;
};

} // namespace

/// The program as a user and a script meet it.
class VirtualPhoneProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void help();
    void version();
    void wrongArguments_data();
    void wrongArguments();
    void saysWhereItIsPluggedIn();
    void startsUnplugged();
    void announcesThatItIsReady();
    void optionsReachThePhone();
    void networkProgramGetsTheData();
    void networkProgramIsStoppedWhileItStarts();
    void networkProgramThatEndsDropsTheConnection_data();
    void networkProgramThatEndsDropsTheConnection();
    void endsOnSignals_data();
    void endsOnSignals();
    void endsOnQuit();
    void killedPhoneIsReplaced();
    void secondPhoneInTheSameSocket();
    void secondPhoneOnTheBus();
    void sendsCommands();
    void nobodyToSendTo();
    void severalCommandsOnOneConnection();
    void clientThatNeverEndsItsLine();
    void needsABus_data();
    void needsABus();
    void unusableBus();
    void unwritableTranscript();
    void transcriptOnStandardOutput();
    void controlPathTooLong();
    void closedPortCostsNothing();

private:
    static QString program() { return QCoreApplication::applicationDirPath() + "/virtual-phone"; }
    QString bus() const { return m_directory->filePath("usb"); }
    QString busFile(int socket = 1) const
    {
        return QString("%1/socket%2.json").arg(bus()).arg(socket);
    }
    void start(const QStringList &arguments = {});
    Outcome run(const QStringList &arguments) const;
    QString send(const QString &command) const
    {
        return sendControlCommand(bus() + "/phone.ctl", command);
    }
    QString tty(int socket = 1) const;

    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<QProcess> m_phone;
    QString m_firstLine;
};

void VirtualPhoneProgramTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
}

void VirtualPhoneProgramTest::cleanup()
{
    if (m_phone && m_phone->state() != QProcess::NotRunning) {
        m_phone->terminate();
        QVERIFY(m_phone->waitForFinished());
    }
    m_phone.reset();
    m_directory.reset();
}

void VirtualPhoneProgramTest::start(const QStringList &arguments)
{
    m_phone = std::make_unique<QProcess>();
    m_phone->start(program(), QStringList{"--bus", bus()} + arguments);
    QVERIFY(m_phone->waitForStarted());
    while (!m_phone->canReadLine() && m_phone->waitForReadyRead()) {
    }
    m_firstLine = QString::fromUtf8(m_phone->readLine()).trimmed();
    QVERIFY2(!m_firstLine.isEmpty(), m_phone->readAllStandardError().constData());
}

Outcome VirtualPhoneProgramTest::run(const QStringList &arguments) const
{
    QProcess process;
    process.start(program(), arguments);
    Outcome outcome;
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit)
        outcome.exitCode = process.exitCode();
    else
        process.kill();
    outcome.output = QString::fromUtf8(process.readAllStandardOutput());
    outcome.errors = QString::fromUtf8(process.readAllStandardError());
    return outcome;
}

QString VirtualPhoneProgramTest::tty(int socket) const
{
    QFile file(busFile(socket));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object().value("tty").toString();
}

void VirtualPhoneProgramTest::help()
{
    const Outcome outcome = run({"--help"});
    QCOMPARE(outcome.exitCode, 0);
    QCOMPARE(outcome.errors, QString());
    for (const char *option :
         {"--bus",        "--socket",   "--unplugged",    "--product",   "--accept-apn",
          "--transcript", "--card",     "--registration", "--scan-time", "--guard-time",
          "--control",    "--ready-fd", "--send",         "--echo",      "--delay",
          "--split",      "--join",     "--silent",       "--error",     "--unplug-on",
          "--noise",      "--glue",     "--help",         "--version"})
        QVERIFY2(outcome.output.contains(option), option);
}

void VirtualPhoneProgramTest::version()
{
    const Outcome outcome = run({"--version"});
    QCOMPARE(outcome.exitCode, 0);
    QVERIFY2(
        QRegularExpression("^virtual-phone \\d+\\.\\d+\\.\\d+\n$").match(outcome.output).hasMatch(),
        qPrintable(outcome.output));
}

void VirtualPhoneProgramTest::wrongArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    const auto row = [](const QStringList &arguments, const QString &message) {
        QTest::newRow(qPrintable(arguments.join(' '))) << arguments << message;
    };
    row({"--loud"}, "Unknown option 'loud'.");
    row({"extra"}, "unexpected argument \"extra\"");
    row({"--socket", "x"}, "\"x\" is not a socket; sockets are numbered 1 to 99");
    row({"--socket", "0"}, "\"0\" is not a socket; sockets are numbered 1 to 99");
    row({"--socket", "100"}, "\"100\" is not a socket; sockets are numbered 1 to 99");
    row({"--guard-time", "long"}, "\"long\" is not a guard time");
    row({"--scan-time", "-1"}, "\"-1\" is not a time to scan");
    row({"--card", "x"}, "\"x\" is not a card; there are: ready|pin|puk|none");
    row({"--registration", "x"},
        "\"x\" is not a registration; there are: home|roaming|searching|denied|none");
    row({"--product", ""}, "the product has no name");
    row({"--bus", ""}, "the bus directory is missing: --bus DIRECTORY");
    row({"--accept-apn", ""}, "an access point name is empty");
    row({"--control", "a/b"}, "\"a/b\" is not a file name for the control socket");
    row({"--echo", "loud"}, "\"loud\" is not a value for echo; it takes on|off|glued");
    row({"--delay", "-1"}, "\"-1\" is not a value for delay; it takes MILLISECONDS");
    row({"--noise", "\\q"}, "\"\\q\" is not a value for noise; it takes TEXT|off");
}

void VirtualPhoneProgramTest::wrongArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    if (!arguments.contains("--bus"))
        arguments += QStringList{"--bus", bus()};
    const Outcome outcome = run(arguments);
    QCOMPARE(outcome.exitCode, 2);
    QCOMPARE(outcome.output, QString());
    QCOMPARE(outcome.errors, "virtual-phone: " + message + "\nTry \"virtual-phone --help\".\n");
    QVERIFY(!QFile::exists(bus()));
}

void VirtualPhoneProgramTest::saysWhereItIsPluggedIn()
{
    start({"--socket", "4"});
    QVERIFY(!tty(4).isEmpty());
    QCOMPARE(m_firstLine, QString("virtual-phone: plugged into socket 4 as %1, control socket %2")
                              .arg(tty(4), bus() + "/phone.ctl"));
    SerialLine line(tty(4));
    QVERIFY(line.write("AT\r"));
    QCOMPARE(line.readChunks(2), (QList<QByteArray>{"AT\r", "\r\nOK\r\n"}));
}

void VirtualPhoneProgramTest::startsUnplugged()
{
    start({"--unplugged", "--socket", "5"});
    QCOMPARE(m_firstLine,
             QString("virtual-phone: unplugged, control socket %1/phone.ctl").arg(bus()));
    QVERIFY(!QFile::exists(busFile(5)));
    QVERIFY(send("plug").startsWith("ok plugged into socket 5 as /dev/pts/"));
    QVERIFY(QFile::exists(busFile(5)));
}

void VirtualPhoneProgramTest::announcesThatItIsReady()
{
    const QString ready = m_directory->filePath("ready");
    m_phone = std::make_unique<QProcess>();
    m_phone->start("/bin/sh", {"-c", "exec \"$0\" --bus \"$1\" --ready-fd 9 9>\"$2\"", program(),
                               bus(), ready});
    QVERIFY(m_phone->waitForStarted());
    const auto text = [&ready] {
        QFile file(ready);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QTRY_COMPARE(text(), QByteArray("ready\n"));
    QVERIFY(send("status").startsWith("ok plugged"));
    // Closed, so that who reads from a pipe sees its end.
    QVERIFY(QFileInfo(QString("/proc/%1/fd/9").arg(m_phone->processId())).symLinkTarget() != ready);
    const Outcome outcome =
        run({"--bus", bus(), "--socket", "2", "--control", "second", "--ready-fd", "99"});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.errors, QString("virtual-phone: cannot write to descriptor 99\n"));
    QVERIFY(!QFile::exists(busFile(2)));
}

void VirtualPhoneProgramTest::optionsReachThePhone()
{
    start({"--product", "Tolvane Modem Driver", "--accept-apn", "one", "--accept-apn", "two",
           "--echo", "off", "--split", "4", "--error", "AT+CSQ", "--transcript",
           m_directory->filePath("transcript"), "--guard-time", "50"});
    QFile file(busFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\"Tolvane Modem Driver\""));
    QVERIFY(send("status").endsWith("apns=one,two"));
    SerialLine line(tty());
    QVERIFY(line.write("AT\r"));
    QCOMPARE(line.readChunks(2), (QList<QByteArray>{"\r\nOK", "\r\n"}));
    QVERIFY(line.write("AT+CSQ\r"));
    QCOMPARE(line.readChunks(2), (QList<QByteArray>{"\r\nER", "ROR\r\n"}));
    QFile transcript(m_directory->filePath("transcript"));
    QVERIFY(transcript.open(QIODevice::ReadOnly));
    QVERIFY(transcript.readAll().contains("pc->phone 3 \"AT\\r\"\n"));
}

void VirtualPhoneProgramTest::networkProgramGetsTheData()
{
    start({"--echo", "off", "--network-command", "cat"});
    SerialLine line(tty());
    QVERIFY(line.write("AT+CGDCONT=1,\"IP\",\"internet\"\r"));
    QCOMPARE(line.readChunk(), QByteArray("\r\nOK\r\n"));
    QVERIFY(line.write("ATD*99#\r"));
    QCOMPARE(line.readChunk(), QByteArray("\r\nCONNECT\r\n"));
    const QByteArray block(8192, 'x');
    QVERIFY(line.write(block));
    QCOMPARE(line.readBytes(8192), block);
    QCOMPARE(send("drop"), QString("ok connection dropped"));
    QCOMPARE(line.readChunk(), QByteArray("\r\nNO CARRIER\r\n"));
    // The next connection has a program of its own.
    QVERIFY(line.write("ATD*99#\r"));
    QCOMPARE(line.readChunk(), QByteArray("\r\nCONNECT\r\n"));
    QVERIFY(line.write(block));
    QCOMPARE(line.readBytes(8192), block);
}

// A phone that hangs up at once: the signal that ends the network's program is not
// the phone's own.
void VirtualPhoneProgramTest::networkProgramIsStoppedWhileItStarts()
{
    start({"--echo", "off", "--delay", "0", "--network-command", "cat"});
    for (int i = 0; i < 50; ++i) {
        SerialLine line(tty());
        QVERIFY(line.write("AT+CGDCONT=1,\"IP\",\"internet\"\r"));
        QCOMPARE(line.readChunk(), QByteArray("\r\nOK\r\n"));
        QVERIFY(line.write("ATD*99#\r"));
        QCOMPARE(line.readChunk(), QByteArray("\r\nCONNECT\r\n"));
    }
    QTRY_VERIFY(send("status").contains("port=closed state=command carrier=no"));
}

void VirtualPhoneProgramTest::networkProgramThatEndsDropsTheConnection_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("reason");
    QTest::newRow("ends") << "sh -c \"exit 3\""
                          << "it ended with status 3";
    QTest::newRow("missing") << "/nonexistent/program"
                             << "No such file or directory";
}

void VirtualPhoneProgramTest::networkProgramThatEndsDropsTheConnection()
{
    QFETCH(QString, command);
    QFETCH(QString, reason);
    const QString transcript = m_directory->filePath("transcript");
    start({"--echo", "off", "--network-command", command, "--transcript", transcript});
    SerialLine line(tty());
    QVERIFY(line.write("AT+CGDCONT=1,\"IP\",\"internet\"\r"));
    QCOMPARE(line.readChunk(), QByteArray("\r\nOK\r\n"));
    QVERIFY(line.write("ATD*99#\r"));
    QCOMPARE(line.readBytes(25), QByteArray("\r\nCONNECT\r\n\r\nNO CARRIER\r\n"));
    QFile file(transcript);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY2(text.contains(reason.toUtf8()), text.constData());
}

void VirtualPhoneProgramTest::endsOnSignals_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("terminate") << SIGTERM;
    QTest::newRow("terminal gone") << SIGHUP;
}

void VirtualPhoneProgramTest::endsOnSignals()
{
    QFETCH(int, number);
    start();
    SerialLine line(tty());
    QVERIFY(line.isOpen());
    QCOMPARE(kill(static_cast<pid_t>(m_phone->processId()), number), 0);
    QVERIFY(m_phone->waitForFinished());
    QCOMPARE(m_phone->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_phone->exitCode(), 0);
    QVERIFY(line.waitForHangUp());
    QCOMPARE(QDir(bus()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                   QDir::NoDotAndDotDot),
             QStringList());
}

void VirtualPhoneProgramTest::endsOnQuit()
{
    start();
    QCOMPARE(send("quit"), QString("ok"));
    QVERIFY(m_phone->waitForFinished());
    QCOMPARE(m_phone->exitCode(), 0);
    QVERIFY(!QFile::exists(busFile()));
}

void VirtualPhoneProgramTest::killedPhoneIsReplaced()
{
    start();
    const QString killed = tty();
    m_phone->kill();
    QVERIFY(m_phone->waitForFinished());
    QVERIFY(QFile::exists(busFile()));
    QVERIFY(QFile::exists(bus() + "/phone.ctl"));
    start();
    QVERIFY(m_firstLine.contains("socket 1 as " + tty()));
    QVERIFY(send("status").startsWith("ok plugged socket=1"));
    SerialLine line(tty());
    QVERIFY(line.write("AT\r"));
    QCOMPARE(line.readChunk(), QByteArray("AT\r"));
}

void VirtualPhoneProgramTest::secondPhoneInTheSameSocket()
{
    start();
    const QString first = tty();
    const Outcome outcome = run({"--bus", bus(), "--control", "second"});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.errors,
             QString("virtual-phone: another phone (process %1) is plugged into socket 1 of %2\n")
                 .arg(m_phone->processId())
                 .arg(bus()));
    QCOMPARE(tty(), first);
    QVERIFY(send("status").startsWith("ok plugged"));
}

void VirtualPhoneProgramTest::secondPhoneOnTheBus()
{
    start();
    const Outcome refused = run({"--bus", bus(), "--socket", "2"});
    QCOMPARE(refused.exitCode, 1);
    QCOMPARE(refused.errors,
             QString("virtual-phone: another phone (process %1) listens at %2/phone.ctl; give "
                     "this one its own name with --control\n")
                 .arg(m_phone->processId())
                 .arg(bus()));
    QVERIFY(!QFile::exists(busFile(2)));
    const std::unique_ptr<QProcess> first = std::move(m_phone);
    start({"--socket", "2", "--control", "second.ctl"});
    QVERIFY(tty(1) != tty(2));
    QVERIFY(send("status").contains("socket=1 "));
    const Outcome outcome = run({"--bus", bus(), "--control", "second.ctl", "--send", "status"});
    QVERIFY(outcome.output.contains("socket=2 "));
    first->terminate();
    QVERIFY(first->waitForFinished());
    QVERIFY(QFile::exists(busFile(2)));
}

void VirtualPhoneProgramTest::sendsCommands()
{
    start();
    Outcome outcome = run({"--bus", bus(), "--send", "unplug"});
    QCOMPARE(outcome.exitCode, 0);
    QCOMPARE(outcome.output, QString("ok unplugged\n"));
    QCOMPARE(outcome.errors, QString());
    outcome = run({"--bus", bus(), "--send", "unplug"});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.output, QString());
    QCOMPARE(outcome.errors, QString("error: not plugged in\n"));
    outcome = run({"--bus", bus(), "--send", "plug 3"});
    QCOMPARE(outcome.exitCode, 0);
    QCOMPARE(outcome.output, QString("ok plugged into socket 3 as %1\n").arg(tty(3)));
    outcome = run({"--bus", bus(), "--send", "dance"});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.errors,
             QString("error: unknown command \"dance\"; there are: %1\n").arg(commandNames));
    outcome = run({"--bus", bus(), "--send", "set noise a\\r\\nb"});
    QCOMPARE(outcome.output, QString("ok noise a\\r\\nb\n"));
}

void VirtualPhoneProgramTest::nobodyToSendTo()
{
    const Outcome outcome = run({"--bus", bus(), "--send", "status"});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(
        outcome.errors,
        QString("error: no phone listens at %1/phone.ctl: No such file or directory\n").arg(bus()));
}

void VirtualPhoneProgramTest::severalCommandsOnOneConnection()
{
    start();
    const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(bus() + "/phone.ctl");
    memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    QCOMPARE(::connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    const QByteArray commands = "unplug\nunplug\nset delay 3"; // the last without its end
    QCOMPARE(::write(client, commands.constData(), static_cast<size_t>(commands.size())),
             ssize_t(commands.size()));
    ::shutdown(client, SHUT_WR);
    QByteArray answers;
    char buffer[256];
    ssize_t count = 0;
    while ((count = ::read(client, buffer, sizeof buffer)) > 0)
        answers.append(buffer, static_cast<int>(count));
    ::close(client);
    QCOMPARE(answers, QByteArray("ok unplugged\nerror: not plugged in\nok delay 3\n"));
}

void VirtualPhoneProgramTest::clientThatNeverEndsItsLine()
{
    start();
    const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(bus() + "/phone.ctl");
    memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    QCOMPARE(::connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    const QByteArray line(10000, 'x');
    ::send(client, line.constData(), static_cast<size_t>(line.size()), MSG_NOSIGNAL);
    char buffer[16];
    QVERIFY(::read(client, buffer, sizeof buffer) <= 0); // it is shown the door
    ::close(client);
    QVERIFY(send("status").startsWith("ok plugged"));
}

void VirtualPhoneProgramTest::needsABus_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("to start") << QStringList{};
    QTest::newRow("to send") << QStringList{"--send", "status"};
}

void VirtualPhoneProgramTest::needsABus()
{
    QFETCH(QStringList, arguments);
    const Outcome outcome = run(arguments);
    QCOMPARE(outcome.exitCode, 2);
    QCOMPARE(outcome.errors,
             QString("virtual-phone: the bus directory is missing: --bus DIRECTORY\n"
                     "Try \"virtual-phone --help\".\n"));
}

void VirtualPhoneProgramTest::unusableBus()
{
    QFile file(m_directory->filePath("file"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString below = m_directory->filePath("file/usb");
    const Outcome outcome = run({"--bus", below});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.errors, "virtual-phone: cannot make the bus directory " + below + "\n");
}

void VirtualPhoneProgramTest::unwritableTranscript()
{
    const QString missing = m_directory->filePath("missing/transcript");
    const Outcome outcome = run({"--bus", bus(), "--transcript", missing});
    QCOMPARE(outcome.exitCode, 1);
    QVERIFY2(outcome.errors.startsWith("virtual-phone: cannot write the transcript " + missing),
             qPrintable(outcome.errors));
    QVERIFY(!QFile::exists(busFile()));
}

void VirtualPhoneProgramTest::transcriptOnStandardOutput()
{
    start({"--transcript", "-"});
    QVERIFY2(m_firstLine.endsWith("phone plugged into socket 1 as " + tty()),
             qPrintable(m_firstLine));
}

void VirtualPhoneProgramTest::controlPathTooLong()
{
    const QString longBus = m_directory->filePath(QString(120, 'x'));
    const Outcome outcome = run({"--bus", longBus});
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(outcome.errors, "virtual-phone: the path of the control socket is too long: " +
                                 longBus + "/phone.ctl\n");
    QVERIFY(!QFile::exists(longBus + "/socket1.json"));
}

void VirtualPhoneProgramTest::closedPortCostsNothing()
{
    start();
    {
        SerialLine line(tty());
        QVERIFY(line.write("AT\r"));
        QCOMPARE(line.readBytes(9).size(), 9);
    }
    QTRY_VERIFY(send("status").contains("port=closed"));
    const auto switches = [this] {
        QFile file(QString("/proc/%1/status").arg(m_phone->processId()));
        return file.open(QIODevice::ReadOnly)
                   ? QRegularExpression("\\bvoluntary_ctxt_switches:\\s+(\\d+)")
                         .match(QString::fromLatin1(file.readAll()))
                         .captured(1)
                         .toInt()
                   : -1;
    };
    const int before = switches();
    QVERIFY(before > 0);
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > 300);
    // At most what remained of the status command.
    QVERIFY2(switches() - before <= 2, qPrintable(QString::number(switches() - before)));
}

QTEST_GUILESS_MAIN(VirtualPhoneProgramTest)
#include "virtualphoneprogram_test.moc"
