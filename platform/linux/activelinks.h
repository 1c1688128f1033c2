#pragma once

#include "platform/linux/phonebook.h"
#include "platform/types.h"

#include <QList>
#include <QString>

#include <sys/types.h>

namespace platform::linuxsystem {

/// How long a pppd that was told to end may take: it first asks the other side
/// to end the connection, twice, three seconds apart. Milliseconds.
inline constexpr int PppdEndPatience = 8000;

/// A connected entry of the phone book: its pppd is running and its network
/// interface has an address.
struct ActiveLink {
    QString entryName;
    uid_t owner = 0;   ///< the user whose entry it is
    QString name;      ///< by which pppd knows it: the entry's file name
    QString interface; ///< "ppp0"
    pid_t process = 0;
};

/// The links that are up now, whoever made them. They are found by the files in
/// which pppd writes its process number, below the run folder. A file that is
/// left over from a pppd that has ended does not count. Any thread.
QList<ActiveLink> activeLinks(const PhoneBook &phoneBook, const QString &runFolder);

/// Ends the link's pppd and waits, at most `patience` milliseconds, until it
/// has taken the interface down. Success, even when pppd needs longer; 5 for a
/// link of another user, 6 when the process has ended already.
DWORD endLink(const ActiveLink &link, int patience = PppdEndPatience);

} // namespace platform::linuxsystem
