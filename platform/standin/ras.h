#pragma once

#include "platform/ras.h"
#include "platform/standin/dialler.h"

#include <QList>
#include <QString>

#include <memory>

namespace platform {

struct Platform;

/// A dial-up connection that is up now. A value.
struct ActiveConnection {
    RasConnectionHandle handle = nullptr;
    QString entry;
    QString device;
};

/// A device that remote access can dial with. A value.
struct DialDevice {
    QString type; ///< "modem"
    QString name;
};

/// What remote access needs to know of the machine it works on: all in which
/// one machine differs from another. Results are error codes, 0 for success.
/// Any thread, dialler() excepted.
class DialUpMachine
{
public:
    virtual ~DialUpMachine() = default;

    virtual QList<ActiveConnection> connections() = 0;

    /// Ends a connection; 6 for a handle that is none.
    virtual DWORD hangUp(RasConnectionHandle handle) = 0;

    virtual DWORD devices(QList<DialDevice> *list) = 0;

    /// An entry's record, or that of a new entry for the empty name: 621 when
    /// the phone book is damaged, 623 when there is no such entry.
    virtual DWORD readEntry(const QString &name, RasEntry *entry) = 0;

    /// Makes or replaces an entry whose record is complete: 5 without the
    /// rights, 621 when the phone book is damaged.
    virtual DWORD writeEntry(const QString &name, const RasEntry &entry) = 0;

    /// What dials an entry with a number. It finds out by itself, at each dial,
    /// what is wrong with the entry or its modem. GUI thread.
    virtual std::unique_ptr<Dialler> dialler(const QString &entry, const QString &number) = 0;

    /// The title of the dial dialog.
    virtual QString dialTitle(const QString &entry) const = 0;
};

/// Every operation of Ras over a machine, with the user's default phone book
/// as the only one.
void provideRas(Platform *platform, const std::shared_ptr<DialUpMachine> &machine);

} // namespace platform
