#include "tests/endtoend/firstrun.h"

#include "tests/desktop/waiting.h"
#include "tests/endtoend/session.h"

SeenOfFirstRun walkFirstRun(Session &session, const ShowStep &show,
                            const std::function<void()> &setUp)
{
    SeenOfFirstRun seen;
    session.machine.startPhone();
    session.startProgram();
    session.wizard();
    show("welcome", "Nothing is stored: the wizard opens. Next.");
    expect(!session.isMainWindowShown(), "The main window shows before there is an entry");
    setUp();
    show("set-up", "Port found, modem and dial-up connection made. Finish.");
    session.pressFinish();
    session.desktop.waitForNoWindow(WizardTitle);
    seen.setupLog = session.machine.log();

    session.mainWindow();
    session.learnFace(Face::ConnectNow);
    show("main-window", "The main window; nothing is dialled by itself yet. Connect Now.");
    session.blockWindow();
    session.learnFace(Face::PleaseWait);
    show("please-wait", "The window waits for the phone's answer, for as long as it takes.");
    session.slowPhone();
    session.machine.phone("set silent off");

    session.holdDial();
    show("dial-dialog", "The APN is set; the system's dial dialog dials.");
    session.letDialGoOn();
    session.waitForConnection();
    session.learnFace(Face::Disconnect);
    show("connected", "Connected. Disconnect.");
    expect(session.machine.connectionCount() == 1, "The PC has no connection");
    seen.heard = session.machine.heard();
    seen.printed = session.machine.printed();

    session.pressButton();
    session.waitForFace(Face::ConnectNow);
    show("disconnected", "Disconnected.");
    expect(session.machine.connectionCount() == 0, "The PC still has a connection");
    return seen;
}

void closeProgram(Session &session)
{
    session.desktop.close(session.mainWindow());
    const int exitCode = session.machine.waitForProgramEnd(patience);
    expect(exitCode == 0, QString("The program ended with code %1").arg(exitCode));
}
