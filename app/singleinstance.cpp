#include "app/singleinstance.h"

#include "platform/platform.h"
#include "platform/text.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QElapsedTimer>

using platform::current;
using platform::wide;

namespace {

/// How often a start that waits for another one's end looks for it; milliseconds.
constexpr platform::DWORD LookAgain = 20;

/// Whoever uses the desktop may open and signal the events. By itself the system
/// would refuse that to a start without an administrator's rights where another one
/// has made the event with them. These rights are all that it takes: events have no
/// integrity level of their own, so that one made by an elevated program counts as
/// made at the level of the others, and "Local\\" is the same folder for both,
/// because they run in one session.
const QString interactiveUsers = "D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)";

/// A path does not fit: these names are short and have no backslash of their own.
QString eventName(const QString &settingsFile)
{
    const QByteArray hash =
        QCryptographicHash::hash(settingsFile.toUtf8(), QCryptographicHash::Sha1);
    return QString("Local\\%1 %2").arg(QCoreApplication::applicationName(), QString(hash.toHex()));
}

/// An event of a name, as the system hands it out.
struct NamedEvent {
    platform::HANDLE handle; // null when the system does not say
    bool wasThere;           // somebody else has made it
};

NamedEvent openEvent(const QString &name)
{
    platform::SecurityAttributes attributes = {sizeof attributes, nullptr, 0};
    const bool hasRights = current().ConvertStringSecurityDescriptorToSecurityDescriptorW(
                               wide(interactiveUsers), platform::SddlRevision1,
                               &attributes.lpSecurityDescriptor, nullptr) != 0;
    const platform::HANDLE event =
        current().CreateEventW(hasRights ? &attributes : nullptr, false, false, wide(name));
    const platform::DWORD error = current().GetLastError();
    if (hasRights)
        current().LocalFree(attributes.lpSecurityDescriptor);
    return {event, event && error == platform::ErrorAlreadyExists};
}

/// The object of a thread that still runs must not be destroyed.
void leaveBehind(std::unique_ptr<QThread> thread)
{
    static QThread *left = nullptr;
    left = thread.release();
    Q_UNUSED(left);
}

} // namespace

class SingleInstance::Watcher : public QThread
{
public:
    explicit Watcher(SingleInstance *instance) : m_instance(instance), m_watch(instance->m_watch) {}

protected:
    void run() override
    {
        while (current().WaitForSingleObject(m_watch->event, platform::WaitInfinite) ==
               platform::WaitObject0) {
            if (m_watch->ending)
                return;
            // The answer is known, and the GUI thread may be blocked.
            if (m_instance->m_isAdministrator)
                m_instance->refuseOffer();
            emit m_instance->startedAgain();
        }
    }

private:
    SingleInstance *const m_instance;
    const std::shared_ptr<Watch> m_watch;
};

SingleInstance::SingleInstance(const QString &settingsFile)
    : m_name(eventName(settingsFile)),
      m_offer(m_name + " offer"),
      m_isAdministrator(current().IsUserAnAdmin() != 0)
{
    const NamedEvent event = openEvent(m_name);
    if (!event.handle)
        return;
    if (!event.wasThere) {
        m_watch->event = event.handle;
        return;
    }
    // The user has just started this one, so it may put windows in front; the
    // first one may not.
    current().AllowSetForegroundWindow(platform::AnyProcess);
    // The offer comes first: the other one looks for it when it is told.
    const NamedEvent offer = m_isAdministrator ? openEvent(m_offer) : NamedEvent{nullptr, false};
    const bool isTold = current().SetEvent(event.handle) != 0;
    // The name is free only when nobody has the event open.
    current().CloseHandle(event.handle);
    if (offer.handle && !offer.wasThere) {
        m_isFirst = takeOver(offer.handle);
        return;
    }
    if (offer.handle)
        current().CloseHandle(offer.handle); // another start is waiting already
    m_isFirst = !isTold;
}

SingleInstance::~SingleInstance()
{
    letNameGo();
}

void SingleInstance::watch()
{
    if (!m_watch->event)
        return;
    m_watcher = std::make_unique<Watcher>(this);
    m_watcher->start();
}

// Two of them must not both go on, nor both end. So this one lets the name go before
// it looks for the offer, and the other one looks for the name after it has withdrawn
// the offer: if the offer is still there, the name will be found.
bool SingleInstance::giveWay(bool isBusy)
{
    if (m_isAdministrator)
        return false;
    if (isBusy || !m_watch->event) {
        refuseOffer();
        return false;
    }
    if (!isOffered())
        return false;
    letNameGo();
    if (isOffered())
        return true;
    if (!takeName())
        return true; // whoever has it goes on
    watch();
    return false;
}

/// False when another one holds the name.
bool SingleInstance::takeName()
{
    const NamedEvent event = openEvent(m_name);
    if (event.wasThere) {
        current().CloseHandle(event.handle);
        return false;
    }
    m_watch = std::make_shared<Watch>();
    m_watch->event = event.handle;
    return true;
}

/// Waits until the other one has let the name go, which it does when it takes this
/// offer or ends. False when it refuses, or does not answer in time.
bool SingleInstance::takeOver(void *offer)
{
    bool isTaken = false;
    bool isRefused = false;
    QElapsedTimer timer;
    for (timer.start(); !isTaken && !isRefused && !timer.hasExpired(AnswerTime);) {
        isRefused = current().WaitForSingleObject(offer, LookAgain) != platform::WaitTimeout;
        isTaken = takeName();
    }
    current().CloseHandle(offer);
    return isTaken || takeName();
}

bool SingleInstance::isOffered() const
{
    const NamedEvent offer = openEvent(m_offer);
    if (offer.handle)
        current().CloseHandle(offer.handle);
    return offer.wasThere;
}

void SingleInstance::refuseOffer() const
{
    const NamedEvent offer = openEvent(m_offer);
    if (offer.wasThere)
        current().SetEvent(offer.handle);
    if (offer.handle)
        current().CloseHandle(offer.handle);
}

void SingleInstance::letNameGo()
{
    if (!m_watch->event)
        return;
    m_watch->ending = true;
    const bool isTold = current().SetEvent(m_watch->event) != 0;
    if (m_watcher && isTold)
        m_watcher->wait();
    else if (m_watcher)
        leaveBehind(std::move(m_watcher)); // the end of the program must not wait for it
    m_watcher.reset();
    current().CloseHandle(m_watch->event);
    m_watch->event = nullptr;
}
