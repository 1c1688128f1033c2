#pragma once

#include "platform/linux/phonebook.h"
#include "platform/linux/portlist.h"
#include "platform/linux/statestore.h"
#include "platform/standin/ras.h"

#include <memory>

namespace platform::linuxsystem {

/// The phone book of one user together with the modems of this machine: what a
/// dial needs to know. Any thread.
class DialUpEntries
{
public:
    /// The entries of the user whom the paths name.
    DialUpEntries(const SystemPaths &paths, const Program &program,
                  const std::shared_ptr<StateStore> &store);

    const PhoneBook &phoneBook() const { return m_phoneBook; }

    /// The installed modems: Success, or the code with which the state store
    /// cannot be read.
    DWORD modems(QList<DialDevice> *list) const;

    /// Makes or replaces an entry: the codes of PhoneBook::write(), and 87 also
    /// for a modem that is not installed, as pppd could not be told its line.
    DWORD write(const QString &name, const RasEntry &entry) const;

    /// The line that an entry's modem is attached to, as it is now: 633 when the
    /// modem is not installed, 692 when its line is not there, or the code with
    /// which the entry cannot be read. Stores nothing and waits for nobody.
    DWORD findLine(const QString &entryName, QString *node) const;

private:
    DWORD findLineOf(const RasEntry &entry, const QList<SerialPortDevice> &ports, QString *node,
                     QString *stableNode) const;

    const Program m_program;
    const std::shared_ptr<StateStore> m_store;
    const PhoneBook m_phoneBook;
};

} // namespace platform::linuxsystem
