// Ordinary users, in no group, who start the program from their menu; a password is an
// administrator's.

#include "tests/desktop/waiting.h"
#include "tests/desktop/wizardpage.h"
#include "tests/linux/desktop/desktopsystem.h"
#include "tests/linux/desktop/scenarios.h"
#include "tests/linux/desktop/seat.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/phone.h"

#include <QDir>
#include <QFile>

namespace {

const char administrator[] = "clara";
const char password[] = "open";
const char setUpDone[] = "NoOfDialups";

bool isSetUp(const Seat &seat)
{
    return setting(setUpDone, seat.settings).toInt() == 1;
}

/// The first start ends with the set-up; the countdown belongs to the next one.
void finishAndStartAgain(Seat &seat)
{
    const Desktop &desktop = seat.person.desktop;
    // The settings are there before the button can be pressed.
    desktop.pressUntil(seat.person.waitForWindow(wizardTitle), "alt+f", "Finished",
                       [&] { return desktop.window(wizardTitle).isEmpty(); });
    seat.person.desktop.close(seat.person.waitForWindow(mainTitle));
    seat.startFromMenu();
}

} // namespace

void DesktopScenarios::ordinaryUsersAtTheComputer()
{
    scenario([this](Person &) {
        installPackage();
        plugPhone(true);
        letLineSettle();
        must("useradd", {"--create-home", "--groups", "sudo", administrator});
        must("sh", {"-c", QString("echo %1:%2 | chpasswd").arg(administrator, password)});

        Seat anna("anna", 7, qEnvironmentVariable("PICTURES"));
        setsUpWithAPassword(anna);
        finishAndStartAgain(anna);
        anna.person.dial(); // nobody touches anything
        fetchPage();
        anna.person.desktop.keepPicture("connected");

        Seat bert("bert", 8, qEnvironmentVariable("PICTURES"));
        secondUser(bert);
    });
}

void DesktopScenarios::setsUpWithAPassword(Seat &anna)
{
    const auto failures = [&] { return anna.person.log().count("Port INF setup failed."); };
    anna.startFromMenu();
    anna.person.waitForWindow(wizardTitle);
    anna.person.desktop.press("Return"); // Next
    anna.dismissQuestion("password-is-asked-for");
    waitFor("The step's failure", [&] { return failures() == 1; });
    const WindowId wizard = anna.person.waitForWindow(wizardTitle);
    anna.person.desktop.keepPicture("password-cancelled");

    pressRetry(anna.person.desktop, wizard);
    anna.giveWrongPassword("shut", "password-refused");
    anna.dismissQuestion("password-is-asked-for-again");
    waitFor("The step's failure", [&] { return failures() == 2; });
    expect(!isSetUp(anna) && !QFile::exists("/etc/ppp/peers/tolvane-TolvaneModem_1@1001"),
           "It was set up without the password");

    anna.person.waitForWindow(wizardTitle);
    pressRetry(anna.person.desktop, wizard);
    anna.givePassword(password, "right-password");
    waitFor("The set-up", [&] { return isSetUp(anna); });
    anna.waitForNoQuestion();
    anna.person.waitForWindow(wizardTitle);
    anna.person.desktop.keepPicture("set-up-done");
}

// The other's session stays, as when users are switched.
void DesktopScenarios::secondUser(Seat &bert)
{
    bert.startFromMenu();
    bert.person.waitForWindow(wizardTitle);
    bert.person.desktop.press("Return"); // Next
    bert.givePassword(password, "password-of-the-second-user");
    waitFor("The set-up", [&] { return isSetUp(bert); });
    bert.waitForNoQuestion();
    finishAndStartAgain(bert);
    const QStringList entries = QDir("/etc/ppp/peers").entryList({"tolvane-*@*"});
    expect(entries.size() == 2, "The entries: " + entries.join(' '));

    // He sees what the other has connected, and ends it where polkit allows it.
    bert.person.waitForWindow(mainTitle);
    bert.person.waitForLog("No of Connections = 1");
    bert.person.desktop.moveMouseAway();
    bert.person.desktop.keepPicture("sees-the-other-s-connection");
    bert.person.pressMainButton();
    bert.dismissQuestion("another-s-connection");
    expect(isLinkUp(), "The other's connection ended without a password");
    fetchPage();
    bert.person.pressMainButton();
    bert.givePassword(password, "ends-another-s-connection");
    waitFor("The link's end", [] { return !isLinkUp(); });
    waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });

    // His own needs none.
    letLineSettle();
    bert.person.pressMainButton();
    bert.person.dial();
    fetchPage();
    bert.person.desktop.keepPicture("connected");
    bert.person.pressMainButton();
    waitFor("The link's end", [] { return !isLinkUp(); });
    waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
}
