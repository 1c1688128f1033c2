#include "virtualphone/controlserver.h"
#include "virtualphone/phonecontrol.h"
#include "virtualphone/virtualphone.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace virtualphone;

namespace {

const int usageError = 2;

int signalPipe[2];

void onSignal(int)
{
    // Only what is safe in a signal handler. When the pipe is full the program
    // has been woken already.
    const int error = errno;
    const ssize_t written = write(signalPipe[1], "", 1);
    static_cast<void>(written);
    errno = error;
}

void quitOnSignals(QCoreApplication *application)
{
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, application);
    QObject::connect(notifier, &QSocketNotifier::activated, application, &QCoreApplication::quit);
    struct sigaction action {
    };
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

int fail(const QString &message, int exitCode = 1)
{
    fprintf(stderr, "virtual-phone: %s\n", qPrintable(message));
    if (exitCode == usageError)
        fprintf(stderr, "Try \"virtual-phone --help\".\n");
    return exitCode;
}

void addOptions(QCommandLineParser *parser)
{
    parser->addHelpOption();
    parser->addVersionOption();
    parser->addOptions({
        {"bus", "Directory of the USB bus; it must be named.", "directory"},
        {"socket", "USB socket to plug into.", "number", "1"},
        {"unplugged", "Start unplugged."},
        {"product",
         "Name that the port driver gives the port; some phones are a \"Tolvane Modem Driver\".",
         "name", PhoneOptions().product},
        {"accept-apn",
         "Access point name that the network accepts; may be repeated. Without it: internet, "
         "blweb, gpinternet.",
         "name"},
        {"network-command",
         "Program behind data connections, with its arguments, on its standard input and output; "
         "for example \"pppd notty 10.0.0.1:10.0.0.2\". Without it bytes are only counted.",
         "command"},
        {"transcript", "Write every byte on the line to this file, \"-\" for standard output.",
         "file"},
        {"guard-time", "Pause before and after +++.", "milliseconds", "1000"},
        {"card", "The card in the phone; its PIN is 1234 and its PUK 12345678.", cardStates,
         "ready"},
        {"registration", "How the network receives the phone.", registrationStates, "home"},
        {"scan-time", "Time to look for networks, AT+COPS=?.", "milliseconds", "8000"},
        {"control", "File name of the control socket, in the bus directory.", "name", "phone.ctl"},
        {"ready-fd", "Write a line to this descriptor, and close it, once ready.", "number"},
        {"send",
         "Send a command to the running phone and print its answer: " +
             PhoneControl::commandHelp().join(", ") + '.',
         "command"},
    });
    for (const MisbehaviourHelp &help : misbehaviourHelp())
        parser->addOption({help.name, help.meaning, help.value});
}

bool readTime(const QString &text, uint maximum, int *milliseconds)
{
    bool isNumber = false;
    const uint read = text.toUInt(&isNumber);
    if (!isNumber || read > maximum)
        return false;
    *milliseconds = static_cast<int>(read);
    return true;
}

/// Reads the command line. Returns what is wrong with it, or an empty string.
QString readOptions(const QCommandLineParser &parser, PhoneOptions *options)
{
    options->busDirectory = parser.value("bus");
    options->product = parser.value("product");
    options->acceptedApns = parser.values("accept-apn");
    options->transcriptFile = parser.value("transcript");
    options->networkCommand = QProcess::splitCommand(parser.value("network-command"));
    if (!readSocketNumber(parser.value("socket"), &options->socket))
        return QString("\"%1\" is not a socket; sockets are numbered 1 to 99")
            .arg(parser.value("socket"));
    if (!readTime(parser.value("guard-time"), 60000, &options->guardTimeMs))
        return QString("\"%1\" is not a guard time").arg(parser.value("guard-time"));
    if (!readTime(parser.value("scan-time"), 600000, &options->scanTimeMs))
        return QString("\"%1\" is not a time to scan").arg(parser.value("scan-time"));
    if (!readCardState(parser.value("card"), &options->card))
        return QString("\"%1\" is not a card; there are: %2").arg(parser.value("card"), cardStates);
    if (!readRegistration(parser.value("registration"), &options->registration))
        return QString("\"%1\" is not a registration; there are: %2")
            .arg(parser.value("registration"), registrationStates);
    if (options->busDirectory.isEmpty())
        return "the bus directory is missing: --bus DIRECTORY";
    if (options->product.isEmpty())
        return "the product has no name";
    if (parser.value("control").isEmpty() || parser.value("control").contains('/'))
        return QString("\"%1\" is not a file name for the control socket")
            .arg(parser.value("control"));
    for (const QString &apn : options->acceptedApns) {
        if (apn.isEmpty())
            return "an access point name is empty";
    }
    for (const MisbehaviourHelp &help : misbehaviourHelp()) {
        QString error;
        if (parser.isSet(help.name) &&
            !options->misbehaviour.set(help.name, parser.value(help.name), &error))
            return error;
    }
    return {};
}

bool announceReady(const QString &descriptor)
{
    bool isNumber = false;
    const int fd = descriptor.toInt(&isNumber);
    const char line[] = "ready\n";
    if (!isNumber || fd < 0 || write(fd, line, sizeof line - 1) < 0)
        return false;
    if (fd > STDERR_FILENO)
        close(fd);
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("virtual-phone");
    QCoreApplication::setApplicationVersion(VIRTUAL_PHONE_VERSION);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A GPRS phone's modem on a pseudo-terminal, plugged into a simulated PC.");
    addOptions(&parser);
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText(), usageError);
    if (parser.isSet("help")) {
        fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet("version")) {
        printf("virtual-phone %s\n", VIRTUAL_PHONE_VERSION);
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return fail(QString("unexpected argument \"%1\"").arg(parser.positionalArguments().at(0)),
                    usageError);
    PhoneOptions options;
    QString error = readOptions(parser, &options);
    if (!error.isEmpty())
        return fail(error, usageError);
    const QString controlPath = QDir(options.busDirectory).filePath(parser.value("control"));

    if (parser.isSet("send")) {
        const QString answer = sendControlCommand(controlPath, parser.value("send"));
        const bool isOk = answer.startsWith("ok");
        fprintf(isOk ? stdout : stderr, "%s\n", qPrintable(answer));
        return isOk ? 0 : 1;
    }

    quitOnSignals(&application);
    if (!QDir().mkpath(options.busDirectory))
        return fail(QString("cannot make the bus directory %1").arg(options.busDirectory));
    VirtualPhone phone(options);
    PhoneControl control(&phone);
    // Queued, so that the client gets its answer first.
    QObject::connect(&control, &PhoneControl::quitRequested, &application, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    ControlServer server([&control](const QString &command) { return control.execute(command); });
    if (!phone.openTranscript(&error))
        return fail(error);
    // The USB socket before the control socket: a second phone on the bus may get
    // neither, and then the message about the USB socket helps more.
    if (!parser.isSet("unplugged") && !phone.plug(options.socket, &error))
        return fail(error);
    if (!server.listen(controlPath, &error))
        return fail(error);

    if (phone.isPlugged())
        printf("virtual-phone: plugged into socket %d as %s, control socket %s\n", phone.socket(),
               qPrintable(phone.ttyName()), qPrintable(controlPath));
    else
        printf("virtual-phone: unplugged, control socket %s\n", qPrintable(controlPath));
    fflush(stdout);
    if (parser.isSet("ready-fd") && !announceReady(parser.value("ready-fd")))
        return fail(QString("cannot write to descriptor %1").arg(parser.value("ready-fd")));
    return QCoreApplication::exec();
}
