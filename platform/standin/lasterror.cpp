#include "platform/standin/lasterror.h"

#include "platform/platform.h"

#include <cstdio>

namespace platform {

namespace {
thread_local DWORD currentCode = Success;
}

DWORD lastError()
{
    return currentCode;
}

void setLastError(DWORD code)
{
    currentCode = code;
}

void provideErrorHandling(Platform *platform)
{
    platform->GetLastError = lastError;
    platform->SetLastError = setLastError;
}

BOOL fail(DWORD code)
{
    setLastError(code);
    return 0;
}

BOOL failUnsupported(const char *operation, const char *what)
{
    std::fprintf(stderr, "%s: not supported by this platform: %s\n", operation, what);
    return fail(ErrorNotSupported);
}

} // namespace platform
