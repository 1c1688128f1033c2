#pragma once

#include "platform/program.h"
#include "platform/ras.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace platform::linuxsystem {

/// The dial-up entries of this machine: one peers file of pppd for each, so
/// that `pppd call FILE DEVICE` also dials it without this program. A comment
/// in the file holds the record as it was set. Any thread.
class PhoneBook
{
public:
    /// The program whose entries these are, the folder of the peers files and
    /// the program that dials.
    PhoneBook(const Program &program, const QString &peersFolder, const QString &dialProgram);

    /// The file name, and the link name, of an entry: "My Modem" is the
    /// program's prefix and My_Modem. A blank becomes an underscore; whatever
    /// is not a letter or digit of ASCII, a dot or a hyphen becomes %XX. Empty
    /// for a name that is empty or too long for a file.
    QString fileName(const QString &entryName) const;

    /// The entry that a file or link name belongs to; none for a name that
    /// fileName() does not make.
    std::optional<QString> entryName(const QString &fileName) const;

    /// An entry's record: Success, 5 when the book may not be read, 621 when it
    /// or the entry is damaged, 623 when there is no such entry.
    DWORD read(const QString &entryName, RasEntry *entry) const;

    /// Makes or replaces an entry at once: Success, 5 without the rights, 87
    /// for a name or number that cannot be dialled, 621 when the book is
    /// missing or one of its entries is damaged.
    DWORD write(const QString &entryName, const RasEntry &entry) const;

private:
    DWORD open() const;
    DWORD readFile(const QString &path, RasEntry *entry) const;

    QString m_filePrefix;
    QByteArray m_signature; ///< the first line of each file
    QString m_folder;
    QString m_dialProgram;
};

/// Whether a number holds only what a modem dials: digits, * # + , and the
/// letters A to D, P, T, W, one at least and 80 at most.
bool isDialable(const QString &number);

} // namespace platform::linuxsystem
