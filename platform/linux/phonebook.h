#pragma once

#include "platform/linux/systempaths.h"
#include "platform/ras.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace platform::linuxsystem {

/// An entry of the phone book, as its file names tell. A value.
struct EntryName {
    QString name;
    uid_t owner = 0;
};

/// The dial-up entries of one user of this machine. Each has a peers file of
/// pppd, which only root may read or change, and a record below the state
/// folder, as it was set, which everybody may read. Any thread.
class PhoneBook
{
public:
    /// The entries of the user whom the paths name.
    PhoneBook(const Program &program, const SystemPaths &paths);

    /// The file name, and the link name, of an entry: "My Modem" is the
    /// program's prefix and My_Modem, and @1000 when the user is not root. A
    /// blank becomes an underscore; whatever is not a letter or digit of ASCII,
    /// a dot or a hyphen becomes %XX. Empty for a name that is empty or too long
    /// for a file.
    QString fileName(const QString &entryName) const;

    /// The entry that a file or link name belongs to, whoever owns it; none for
    /// a name that fileName() does not make.
    std::optional<EntryName> entryName(const QString &fileName) const;

    /// An entry's record: Success, 5 when it may not be read, 621 when it is
    /// damaged, 623 when there is no such entry.
    DWORD read(const QString &entryName, RasEntry *entry) const;

    /// Makes or replaces an entry at once. The device is the line that pppd
    /// opens when nobody tells it another; it may be empty. Success, 5 without
    /// the rights, or when somebody else than root could change the programs that
    /// pppd runs; 87 for a name or number that cannot be dialled, 621 when pppd has
    /// no folder for peers or an entry of this user is damaged.
    DWORD write(const QString &entryName, const RasEntry &entry, const QString &device) const;

    /// Replaces what a network gets that wants a name and a password, whatever entry
    /// of this user's is dialled. Only root may read it. The codes of a file that is
    /// written: Success, 5, 31.
    DWORD writeSignIn(const QString &name, const QString &password) const;

    /// Makes the usual name and password, if none were ever written. The same codes.
    DWORD ensureSignIn() const;

    /// What pppd has of an entry.
    enum class Peer {
        Good,
        Missing,
        Changeable, ///< others than root can change it, or a program or file that it names
    };
    /// Programs and files are those that the entry names: it may have been made by an
    /// earlier version or by a copy elsewhere. The path that others can change is
    /// told. Only root may ask.
    Peer peer(const QString &entryName, QString *changeable) const;

    /// Takes away the record of an entry that pppd does not have.
    void forget(const QString &entryName) const;

private:
    QString fileName(const EntryName &entry) const;
    QByteArray recordOf(const RasEntry &entry) const;
    QByteArray peerOf(const QByteArray &link, const RasEntry &entry, const QString &device) const;
    DWORD readFile(const QString &path, RasEntry *entry) const;

    QString m_filePrefix;
    QByteArray m_signature; ///< the first line of each file
    QString m_peers;
    QString m_records;
    QString m_signIn; ///< a file of pppd's options
    QString m_drivers;
    uid_t m_owner;
    TrustedPlaces m_trusted;
};

/// Whether a number holds only what a modem dials: digits, * # + , and the
/// letters A to D, P, T, W, one at least and 80 at most.
bool isDialable(const QString &number);

} // namespace platform::linuxsystem
