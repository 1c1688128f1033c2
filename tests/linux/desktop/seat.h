#pragma once

#include "tests/linux/guest/person.h"

/// An ordinary user who sits at the computer: logged in on a virtual terminal, as a login
/// manager does it, with a display, a window manager, a menu and polkit's agent of his
/// own. Who logs in is the one whom systemd and polkit take to be at the computer.
class Seat
{
public:
    /// Makes the user, who is in no group, and logs him in.
    Seat(const QString &user, int terminal, const QString &pictures);
    /// Logs him out. What he has connected stays.
    ~Seat();

    Person person;

    /// His settings folder.
    const QString settings;

    void startFromMenu();
    /// Waits for polkit's question and gives that password.
    void givePassword(const QString &password, const QString &picture);
    /// The same with a wrong one: polkit says so and asks again.
    void giveWrongPassword(const QString &password, const QString &picture);
    /// Waits for polkit's question and cancels it.
    void dismissQuestion(const QString &picture);
    /// Waits until polkit asks no more.
    void waitForNoQuestion() const;

private:
    QString m_unit;
};
