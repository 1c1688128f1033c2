#include "app/singleinstance.h"

#include "platform/platform.h"
#include "platform/text.h"

#include <QCoreApplication>
#include <QCryptographicHash>

using platform::current;
using platform::wide;

namespace {

/// Whoever uses the desktop may signal the event. By itself the system would
/// refuse a start without an administrator's rights where the first one has
/// them.
const QString interactiveUsers = "D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)";

/// A path does not fit: these names are short and have no backslash of their own.
QString eventName(const QString &settingsFile)
{
    const QByteArray hash =
        QCryptographicHash::hash(settingsFile.toUtf8(), QCryptographicHash::Sha1);
    return QString("Local\\%1 %2").arg(QCoreApplication::applicationName(), QString(hash.toHex()));
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
            emit m_instance->startedAgain();
        }
    }

private:
    SingleInstance *const m_instance;
    const std::shared_ptr<Watch> m_watch;
};

SingleInstance::SingleInstance(const QString &settingsFile)
{
    platform::SecurityAttributes attributes = {sizeof attributes, nullptr, 0};
    const bool hasRights = current().ConvertStringSecurityDescriptorToSecurityDescriptorW(
                               wide(interactiveUsers), platform::SddlRevision1,
                               &attributes.lpSecurityDescriptor, nullptr) != 0;
    const QString name = eventName(settingsFile);
    const platform::HANDLE event =
        current().CreateEventW(hasRights ? &attributes : nullptr, false, false, wide(name));
    const platform::DWORD error = current().GetLastError();
    if (hasRights)
        current().LocalFree(attributes.lpSecurityDescriptor);
    if (!event)
        return;
    if (error != platform::ErrorAlreadyExists) {
        m_watch->event = event;
        return;
    }
    // The user has just started this one, so it may put windows in front; the
    // first one may not.
    current().AllowSetForegroundWindow(platform::AnyProcess);
    m_isFirst = !current().SetEvent(event);
    current().CloseHandle(event);
}

SingleInstance::~SingleInstance()
{
    if (!m_watch->event)
        return;
    m_watch->ending = true;
    const bool isTold = current().SetEvent(m_watch->event) != 0;
    if (m_watcher && isTold)
        m_watcher->wait();
    else if (m_watcher)
        leaveBehind(std::move(m_watcher)); // the end of the program must not wait for it
    current().CloseHandle(m_watch->event);
}

void SingleInstance::watch()
{
    if (!m_watch->event)
        return;
    m_watcher = std::make_unique<Watcher>(this);
    m_watcher->start();
}
