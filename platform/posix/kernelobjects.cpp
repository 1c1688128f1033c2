#include "platform/posix/kernelobjects.h"

#include "platform/platform.h"
#include "platform/posix/errno.h"
#include "platform/posix/namedevent.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

namespace platform {

namespace {

class Objects
{
public:
    explicit Objects(std::shared_ptr<Handles> handles) : m_handles(std::move(handles)) {}

    HANDLE CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                        const WCHAR *lpName)
    {
        if (lpEventAttributes) {
            failUnsupported("CreateEventW", "security attributes");
            return nullptr;
        }
        if (lpName)
            return openNamed(fromWide(lpName), bManualReset != 0, bInitialState != 0);
        return m_handles->add(std::make_shared<Event>(bManualReset != 0, bInitialState != 0));
    }

    BOOL SetEvent(HANDLE hEvent)
    {
        if (const auto event = m_handles->find<Event>(hEvent)) {
            event->set();
            return 1;
        }
        const auto opened = m_handles->find<OpenedEvent>(hEvent);
        if (!opened)
            return fail(ErrorInvalidHandle);
        const int error = opened->signal();
        return error == 0 ? 1 : fail(errorFromErrno(error));
    }

    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
    {
        // The object is held for the wait, so that closing it meanwhile is safe.
        const auto event = m_handles->find<Event>(hHandle);
        if (!event) {
            setLastError(ErrorInvalidHandle);
            return WaitFailed;
        }
        return event->wait(dwMilliseconds);
    }

    BOOL CloseHandle(HANDLE hObject)
    {
        const auto object = m_handles->remove(hObject);
        if (!object)
            return fail(ErrorInvalidHandle);
        object->close();
        return 1;
    }

private:
    HANDLE openNamed(const QString &name, bool manualReset, bool signalled)
    {
        const NamedEventResult result = openNamedEvent(name, manualReset, signalled);
        setLastError(result.opened ? ErrorAlreadyExists : result.code);
        if (result.made)
            return m_handles->add(result.made);
        return result.opened ? m_handles->add(result.opened) : nullptr;
    }

    const std::shared_ptr<Handles> m_handles;
};

} // namespace

void provideKernelObjects(Platform *platform, const std::shared_ptr<Handles> &handles)
{
    const auto objects = std::make_shared<Objects>(handles);
    platform->CreateEventW.provide(objects, &Objects::CreateEventW);
    platform->SetEvent.provide(objects, &Objects::SetEvent);
    platform->WaitForSingleObject.provide(objects, &Objects::WaitForSingleObject);
    platform->CloseHandle.provide(objects, &Objects::CloseHandle);
}

} // namespace platform
