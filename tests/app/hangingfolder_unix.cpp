#include "tests/app/hangingfolder.h"

#include <condition_variable>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Folder {
    std::mutex mutex;
    std::condition_variable changed;
    bool answers = false;
};

/// Never destroyed: a thread may wait for it to the very end.
Folder &hangingFolder()
{
    static auto *folder = new Folder;
    return *folder;
}

} // namespace

void letFolderAnswer()
{
    Folder &folder = hangingFolder();
    const std::lock_guard<std::mutex> lock(folder.mutex);
    folder.answers = true;
    folder.changed.notify_all();
}

// Defined in the executable, this comes before the system's.
extern "C" int open64(const char *path, int flags, ...)
{
    if (std::strstr(path, "/hanging/") && (flags & O_CREAT)) {
        Folder &folder = hangingFolder();
        std::unique_lock<std::mutex> lock(folder.mutex);
        folder.changed.wait(lock, [&] { return folder.answers; });
    }
    std::va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
