#include "platform/posix/kernelobjects.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"

namespace platform {

namespace {

class Objects
{
public:
    explicit Objects(std::shared_ptr<Handles> handles) : m_handles(std::move(handles)) {}

    HANDLE CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                        const WCHAR *lpName)
    {
        if (lpEventAttributes || lpName) {
            failUnsupported("CreateEventW", "named events and security attributes");
            return nullptr;
        }
        return m_handles->add(std::make_shared<Event>(bManualReset != 0, bInitialState != 0));
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
    const std::shared_ptr<Handles> m_handles;
};

} // namespace

void provideKernelObjects(Platform *platform, const std::shared_ptr<Handles> &handles)
{
    const auto objects = std::make_shared<Objects>(handles);
    platform->CreateEventW.provide(objects, &Objects::CreateEventW);
    platform->WaitForSingleObject.provide(objects, &Objects::WaitForSingleObject);
    platform->CloseHandle.provide(objects, &Objects::CloseHandle);
}

} // namespace platform
