// The package goes and comes: what is kept, and what the program makes of it.

#include "tests/desktop/waiting.h"
#include "tests/linux/desktop/desktopsystem.h"
#include "tests/linux/desktop/scenarios.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/phone.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

const char package[] = "tolvane-modem-connector";

/// The dial finds no entry; the dialog leads into the wizard, which makes another.
void setUpAsOffered(Person &person)
{
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
}

} // namespace

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
        must("dpkg", {"--purge", package});
        expect(!isLinkUp(), "A link is left that nobody can end");
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
        waitFor("The marks are off", [&] { return !isMarked(); });
        installPackage();
        waitFor("The marks are on", isMarked);
        setUpAsOffered(person);
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}

// Its entry names no line, so nobody may dial with it any more: the program offers to make
// another.
void DesktopScenarios::upgradedFromAnOlderVersion()
{
    const QStringList older = QDir("/share/older").entryList({"*.deb"});
    if (older.isEmpty())
        QSKIP("no older package: this project's history is not there (tests/linux/desktop/older)");
    scenario([&](Person &person) {
        const QString entry = "/etc/ppp/peers/tolvane-TolvaneModem_1";
        if (isInstalled())
            must("dpkg", {"--purge", package});
        QFile::remove(settingsFile("/root/.config"));
        must("dpkg", {"--install", "/share/older/" + older.first()});
        plugPhone(true);
        person.setUp();
        const auto groupMayRead = [&] {
            return QFile::permissions(entry).testFlag(QFile::ReadGroup);
        };
        expect(contentOf(entry).contains("\nreplacedefaultroute\n") && groupMayRead(),
               "The older version's entry: " + contentOf(entry));

        installPackage(Installation::OverAnother);
        expect(!groupMayRead(), "Members of dip can still use the entry");
        setUpAsOffered(person);
        letLineSettle();
        person.pressMainButton();
        person.dial();
        fetchPage();
        waitFor("A page by its name", [] { return isNamedPageFetched(); });
        person.desktop.moveMouseAway();
        person.desktop.keepPicture("connected-after-the-upgrade");
        disconnect(person);
    });
}
