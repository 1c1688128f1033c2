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
        setUp(person);
        plugPhone(true);
        letLineSettle();
        setNetwork(QByteArray("require-chap\n") + networkNameServer + networkAddresses,
                   "anna * secret *\n");
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
    });
}

// And then no name server: the other network's stay, and are asked through the phone.
void DesktopScenarios::networkGivesNoAddressOrNoNameServer()
{
    scenario([this](Person &person) {
        const QByteArray nameServers = contentOf("/etc/resolv.conf");
        expect(nameServers.contains("nameserver 10.0.2.3"), "The other network has none");
        setUp(person);
        plugPhone(true);
        letLineSettle();
        setNetwork("noauth\n10.9.0.1:\n");
        person.startProgram();
        person.pressMainButton();
        person.dialInVain("no-address", "The network gave no address", 720);
        expect(networkState() == m_before, "Routes or name servers have changed");

        setNetwork(QByteArray("noauth\n") + networkAddresses);
        letLineSettle();
        person.pressMainButton();
        person.dial();
        fetchPage();
        waitFor("The route by the phone", [] {
            return must("ip", {"route", "get", "198.51.100.1"}).contains("dev ppp0");
        });
        expect(contentOf("/etc/resolv.conf") == nameServers,
               "Other name servers: " + contentOf("/etc/resolv.conf"));
        disconnect(person);
    });
}
