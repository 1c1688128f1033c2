// The dial dialog has something to say, and the person does what it says.

#include "tests/desktop/waiting.h"
#include "tests/linux/desktop/desktopsystem.h"
#include "tests/linux/desktop/scenarios.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/phone.h"

#include <QFile>

void DesktopScenarios::cardAndNetworkAreNamed()
{
    scenario([this](Person &person) {
        setUp(person);
        plugPhone(true);
        person.startProgram();
        person.waitForWindow(mainTitle);
        const auto dialWith = [&](const QString &state, const QString &words, int error) {
            letLineSettle();
            phone(state);
            person.pressMainButton();
            person.dialInVain(QString(state).replace(' ', '-'), words, error);
        };
        dialWith("card pin", "Enter its PIN", 11);
        dialWith("card none", "no card", 10);
        phone("card ready");
        dialWith("registration searching", "no network", 30);
        phone("registration home");
        letLineSettle();
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}

void DesktopScenarios::networkWantsANameAndAPassword()
{
    scenario([this](Person &person) {
        const auto write = [](const QString &name, const QByteArray &content) {
            QFile file("/etc/netns/network/ppp/" + name);
            expect(file.open(QIODevice::WriteOnly), "Cannot write " + name);
            file.write(content);
        };
        setUp(person);
        plugPhone(true);
        letLineSettle();
        write("options", "require-chap\n");
        write("chap-secrets", "anna * secret *\n");
        person.startProgram();
        person.pressMainButton();
        person.waitForWindow(dialTitle);
        waitFor("The dialling", [] { return processOf(pppd) > 0; });
        waitFor("The end of pppd", [] { return processOf(pppd) == 0; });
        person.desktop.keepPicture("name-and-password");
        letLineSettle();
        person.desktop.press({"a", "n", "n", "a", "Tab", "s", "e", "c", "r", "e", "t", "Return"});
        person.dial();
        fetchPage();
        disconnect(person);
        // It is kept.
        letLineSettle();
        person.pressMainButton();
        person.dial();
        disconnect(person);
        write("options", "noauth\n");
        write("chap-secrets", "* * gprs *\n");
    });
}

// What settings from another computer lead to, too.
void DesktopScenarios::purgedAndInstalledAgain()
{
    scenario([this](Person &person) {
        const auto isMarked = [] {
            return must("udevadm", {"info", "--query=property", port}).contains("TOLVANE_MODEM");
        };
        connectWithProgram(person);
        person.endProgram();
        expect(isMarked(), "The port has no mark");
        must("dpkg", {"--purge", "tolvane-modem-connector"});
        expect(!isLinkUp(), "A link is left that nobody can end");
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
        waitFor("The marks are off", [&] { return !isMarked(); });
        installPackage();
        waitFor("The marks are on", isMarked);
        person.startProgram();
        person.pressMainButton();
        const WindowId window = person.waitForWindow(dialTitle);
        waitFor("The reason", [&] { return person.dialogText().startsWith("Error 623"); });
        person.desktop.keepPicture("set-up-is-offered");
        person.desktop.pressIn(window, "alt+s"); // Set Up
        person.waitForWindow(wizardTitle);
        person.desktop.press("Return"); // Next
        waitFor("The set-up", [] { return setting("NoOfDialups").toInt() == 2; });
        person.desktop.press("Return"); // Finish
        person.desktop.waitForNoWindow(wizardTitle);
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}
