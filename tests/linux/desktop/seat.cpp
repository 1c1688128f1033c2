#include "tests/linux/desktop/seat.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/desktop/desktopsystem.h"
#include "tests/linux/guest/guestsystem.h"

#include <QDir>
#include <QFile>

#include <exception>

namespace {

// Of lxpolkit.
const char questionTitle[] = "Authentication";
const char refusalTitle[] = "Error";

QString unitOf(const QString &user)
{
    return "session-of-" + user;
}

Desktop::Display logIn(const QString &user, int terminal, const QString &log)
{
    const QString number = QString::number(terminal);
    const QString folder = "/tmp/display" + number;
    QDir(folder).removeRecursively(); // of an earlier session
    must("useradd", {"--create-home", "--shell", "/bin/bash", user});
    // With a terminal, PAM's session is one at the computer.
    must("systemd-run",
         {"--unit", unitOf(user), "--property=User=" + user, "--property=PAMName=login",
          "--property=TTYPath=/dev/tty" + number, "--property=StandardInput=tty",
          "--property=StandardOutput=append:" + log, "--property=StandardError=inherit",
          "--property=WorkingDirectory=~", "/usr/local/libexec/user-session", number});
    waitFor("The session of " + user, [&] { return QFile::exists(folder + "/ready"); });
    const QString session =
        must("loginctl", {"show-user", user, "--property=Display", "--value"}).trimmed();
    must("loginctl", {"activate", session});
    waitFor(user + " at the computer", [&] {
        return must("loginctl", {"show-session", session, "--property=Active", "--value"})
            .startsWith("yes");
    });
    return {":" + number, folder};
}

} // namespace

Seat::Seat(const QString &user, int terminal, const QString &pictures)
    : person(pictures + '/' + user, pictures + '/' + user + ".log",
             logIn(user, terminal, pictures + '/' + user + ".log")),
      settings("/home/" + user + "/.config"),
      m_unit(unitOf(user))
{
    person.desktop.setStillness(500);
}

Seat::~Seat()
{
    try {
        if (std::uncaught_exceptions() > 0)
            person.desktop.keepPicture("failure");
    } catch (const NotAsExpected &error) {
        note(QString("no picture of the failure: ") + error.what());
    }
    runInGuest("systemctl", {"stop", m_unit});
}

void Seat::startFromMenu()
{
    person.desktop.press("ctrl+Escape");
    person.desktop.waitForWindow("jgmenu");
    person.desktop.press({"c", "o", "n", "n", "e", "c", "t", "o", "r"});
    person.desktop.keepPicture("menu");
    person.desktop.press("Return");
}

void Seat::givePassword(const QString &password, const QString &picture)
{
    person.waitForWindow(questionTitle);
    person.desktop.press(password.split(QString(), Qt::SkipEmptyParts));
    person.desktop.keepPicture(picture);
    person.desktop.press("Return");
}

void Seat::giveWrongPassword(const QString &password, const QString &picture)
{
    givePassword(password, "wrong-password");
    person.waitForWindow(refusalTitle);
    person.desktop.keepPicture(picture);
    person.desktop.press("Return");
    person.desktop.waitForNoWindow(refusalTitle);
}

void Seat::dismissQuestion(const QString &picture)
{
    person.waitForWindow(questionTitle);
    person.desktop.keepPicture(picture);
    person.desktop.press("Escape");
    waitForNoQuestion();
}

void Seat::waitForNoQuestion() const
{
    person.desktop.waitForNoWindow(questionTitle);
}
