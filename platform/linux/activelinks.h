#pragma once

#include "platform/linux/phonebook.h"
#include "platform/types.h"

#include <QList>
#include <QString>

#include <sys/types.h>

namespace platform::linuxsystem {

/// How long a pppd that was told to end may take: it asks its peer twice, three
/// seconds apart, before it puts the line back. Milliseconds.
inline constexpr int PppdEndPatience = 8000;

/// A PPP link of the phone book that is up: its pppd lives and its interface
/// carries an address.
struct ActiveLink {
    QString entryName;
    QString name;      ///< by which pppd knows it: the entry's file name
    QString interface; ///< "ppp0"
    pid_t process = 0;
};

/// The links as the system has them now, whoever made them: found from the
/// process numbers that pppd leaves below the run folder. Left-over files of a
/// process that is gone or is another program do not count. Any thread.
QList<ActiveLink> activeLinks(const PhoneBook &phoneBook, const QString &runFolder);

/// Ends the link's pppd and waits until it has taken the interface down, that
/// many milliseconds at most. Success, also for one that is not done by then;
/// 5 for a link of another user, 6 when the process is gone already.
DWORD endLink(const ActiveLink &link, int patience = PppdEndPatience);

} // namespace platform::linuxsystem
