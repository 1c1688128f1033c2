#include "platform/standin/ras.h"

#include "platform/simulated/entryrecord.h"
#include "platform/simulated/families.h"
#include "platform/simulated/hangup.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/modemdialler.h"
#include "platform/simulated/usbbus.h"

namespace platform::simulated {

namespace {

/// Dial-up knows a modem only once its driver has been installed on it.
bool isModem(const RootDevice &device)
{
    return device.className.compare("Modem", Qt::CaseInsensitive) == 0 &&
           !device.driverInf.isEmpty() && !device.friendlyName.isEmpty();
}

/// Connections go out over the phones in the USB sockets.
class PhoneMachine : public DialUpMachine
{
public:
    explicit PhoneMachine(const QString &directory) : m_directory(directory) {}

    QList<ActiveConnection> connections() override
    {
        MachineSession session(m_directory);
        dropDeadConnections(&session);
        QList<ActiveConnection> list;
        for (const Connection &connection : std::as_const(session.state.connections)) {
            const auto handle = reinterpret_cast<RasConnectionHandle>(ULONG_PTR(connection.handle));
            list.append({handle, connection.entry, connection.device});
        }
        return list;
    }

    DWORD hangUp(RasConnectionHandle handle) override
    {
        // Handles are the connections' running numbers; nothing is ever followed.
        const auto number = reinterpret_cast<ULONG_PTR>(handle);
        if (number == 0 || number > 0x7FFFFFFF)
            return RasErrorInvalidHandle;
        return simulated::hangUp(m_directory, static_cast<int>(number));
    }

    DWORD devices(QList<DialDevice> *list) override
    {
        list->append(DialDevice{"vpn", "WAN Miniport (L2TP)"});
        const MachineSession session(m_directory);
        for (const RootDevice &device : session.state.devices) {
            if (isModem(device))
                list->append(DialDevice{"modem", device.friendlyName});
        }
        return Success;
    }

    DWORD readEntry(const QString &name, RasEntry *entry) override
    {
        const MachineSession session(m_directory);
        if (session.state.phonebookDamaged)
            return RasErrorCannotOpenPhonebook;
        if (!name.isEmpty() && !session.state.phonebook.contains(name))
            return RasErrorEntryNotFound;
        *entry =
            name.isEmpty() ? defaultEntry() : entryFromJson(session.state.phonebook.value(name));
        return Success;
    }

    /// The device itself may come later: it is looked for when the entry is used.
    DWORD writeEntry(const QString &name, const RasEntry &entry) override
    {
        MachineSession session(m_directory);
        // A user's own phone book is his to change.
        if (session.state.phonebookProtected && !session.state.administrator)
            return ErrorAccessDenied;
        if (session.state.phonebookDamaged)
            return RasErrorCannotOpenPhonebook;
        session.state.phonebook[name] = entryToJson(entry);
        return session.save() ? Success : ErrorGenFailure;
    }

    std::unique_ptr<Dialler> dialler(const QString &entryName, const QString &number) override
    {
        return std::make_unique<ModemDialler>(m_directory, entryName, number);
    }

    QString dialTitle(const QString &entryName) const override
    {
        return QString("Connect %1 (simulated)").arg(entryName);
    }

private:
    const QString m_directory;
};

} // namespace

void provideRas(Platform *platform, const QString &directory)
{
    platform::provideRas(platform, std::make_shared<PhoneMachine>(directory));
}

} // namespace platform::simulated
