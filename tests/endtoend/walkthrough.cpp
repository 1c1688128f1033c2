#include "tests/desktop/waiting.h"
#include "tests/endtoend/firstrun.h"
#include "tests/endtoend/session.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <cstdio>

// Walks through the program as a person does for the first and the second
// time, and leaves a picture of everything there is to see.

namespace {

void say(const char *what)
{
    std::printf("%s\n", what);
    std::fflush(stdout);
}

/// Without rights, and then with a driver installer that is slower than the
/// rescan.
void setUpWithDifficulties(Session &session, const ShowStep &show)
{
    session.pressNext();
    session.waitForFailedStep();
    show("driver-failed", "Without rights the driver step fails, in red. Retry with rights.");
    session.machine.pc({"set", "administrator", "on"});
    session.machine.pc({"set", "installer-duration", "4000"});
    session.machine.pc({"set", "rescan-duration", "1500"});
    session.pressRetry();
    session.machine.waitForLog("CM_Locate_DevNode_Ex done");
    show("rescan", "The driver installer works while the devices are rescanned.");
    session.machine.waitForLog("No ports available");
    session.waitForFailedStep();
    show("port-failed", "It was slower than the rescan. Unplug, plug, Retry.");
    waitFor("The driver installer",
            [&] { return session.machine.pcState().value("portDriverInstalled").toBool(); });
    session.machine.phone("unplug");
    session.machine.phone("plug");
    session.pressRetry();
    session.waitForSetup();
}

void firstRun(Session &session, const ShowStep &show)
{
    say("First run");
    session.machine.pc({"set", "administrator", "off"});
    walkFirstRun(session, show, [&] { setUpWithDifficulties(session, show); });

    session.chooseFromHelp(0);
    session.desktop.waitForFocus(session.desktop.waitForWindow("About"));
    show("about", "Help, About.");
    session.acknowledge("About");
    session.mainWindow();
    session.chooseFromHelp(1);
    session.desktop.waitForFocus(session.desktop.waitForWindow("Credits"));
    show("credits", "Help, Credits.");
    session.acknowledge("Credits");
    closeProgram(session);
}

void secondStart(Session &session, const ShowStep &show)
{
    say("Second start");
    session.startProgram();
    session.mainWindow();
    session.waitForFace(Face::ConnectNow);
    // The list has the keyboard. Opening it by mouse may take longer than the
    // countdown where the machine is busy.
    session.desktop.press({"Home", "Down"});
    show("countdown", "Port and entry are known: the countdown runs.");
    session.slowPhone();
    session.holdDial();
    show("auto-connect", "At zero the program dials and connects by itself.");
    session.letDialGoOn();
    session.waitUntilConnected();
    expect(session.machine.heard().contains("gpinternet"), "Another operator's APN was set");
    show("connected-again", "Connected through the operator chosen.");

    session.machine.phone("unplug");
    say("  The phone is unplugged; the next poll notices.");
    session.waitForFace(Face::ConnectNow);
    show("connection-lost", "Disconnected.");
    closeProgram(session);
}

void otherStarts(Session &session, const ShowStep &show)
{
    say("Other starts");
    session.startProgram();
    session.mainWindow();
    session.learnFace(Face::CheckConnection);
    show("waiting-for-port", "Without the phone the program waits for it.");
    session.machine.phone("accept-apn blweb");
    // No button is pressed: the program acts by itself every few seconds, and
    // the press could meet what has taken the button's place.
    session.machine.phone("plug");
    session.waitForFace(Face::ConnectNow);
    show("phone-found", "Plugged in: the next look finds it and the countdown begins.");
    session.waitForDialError();
    show("refused", "It dials; the network refuses the operator's APN. Cancel.");
    session.cancelDial();
    session.waitForFace(Face::ConnectNow);
    closeProgram(session);

    session.machine.pc({"fault", "add", "RasEnumDevicesW", "632"});
    session.startProgram();
    session.mainWindow();
    session.desktop.press("ctrl+n");
    session.pressNext();
    session.desktop.waitForFocus(session.desktop.waitForWindow("Error in Function GetRasDevices"));
    show("fatal-box", "An error that nothing can be done about ends the program.");
    session.desktop.press("Return");
    expect(session.machine.waitForProgramEnd(1000) == 0, "The program did not end well");
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("walkthrough");
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Walks through a first run, a second start and a few others on a virtual display, with "
        "the virtual phone on a simulated PC, and leaves numbered pictures.");
    parser.addHelpOption();
    parser.addOption({"scale", "Scale of the display: 1.25, 1.5, 2.", "factor", "1"});
    parser.addPositionalArgument("directory", "Where pictures and logs go.");
    parser.process(application);
    bool isNumber = false;
    const double scale = parser.value("scale").toDouble(&isNumber);
    if (parser.positionalArguments().size() != 1 || !isNumber || scale < 1 || scale > 2) {
        std::fprintf(stderr, "%s", qPrintable(parser.helpText()));
        return 2;
    }
    const QString directory = QDir(parser.positionalArguments().first()).absolutePath();

    std::unique_ptr<Session> session;
    int result = 0;
    try {
        session = std::make_unique<Session>(directory, scale);
        // One line for each step, and a picture that carries its number.
        const auto show = [&session](const char *picture, const char *what) {
            const QString file = session->desktop.keepPicture(picture);
            std::printf("  %-72s %s\n", what, qPrintable(QFileInfo(file).fileName()));
            std::fflush(stdout);
        };
        firstRun(*session, show);
        secondStart(*session, show);
        otherStarts(*session, show);
    } catch (const NotAsExpected &error) {
        std::fprintf(stderr, "Not as expected: %s\n", error.what());
        result = 1;
        try {
            if (session)
                std::fprintf(stderr, "The screen then: %s\n",
                             qPrintable(session->desktop.keepPicture("not-as-expected")));
        } catch (const NotAsExpected &again) {
            std::fprintf(stderr, "No picture of the screen: %s\n", again.what());
        }
    }
    session.reset();
    std::printf("\nPictures, program.log, program-output.txt, phone-transcript.txt:\n  %s\n",
                qPrintable(directory));
    return result;
}
