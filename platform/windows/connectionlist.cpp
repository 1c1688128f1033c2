#include "platform/windows/connectionlist.h"

#include "platform/windows/forward.h"

#include <ras.h>
#include <raserror.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace platform {

// A macro in the system's header, so it needs a name of its own. It is the
// record of Windows XP. No release for this processor is older, and each takes
// the records of those before it.
using SystemRasConnection = RASCONNW;
static_assert(sizeof(SystemRasConnection) == 1372, "RASCONNW of Windows XP, 64 bits");

template<> struct AreSame<RasConnection, SystemRasConnection> : std::true_type {
};

namespace {

template<typename Record> DWORD ask(Record *list, DWORD *bytes, DWORD *count)
{
    using conversions::convert;
    return ::RasEnumConnectionsW(convert<SystemRasConnection *>(list), convert<LPDWORD>(bytes),
                                 convert<LPDWORD>(count));
}

} // namespace

// Not one line as the other operations are. The program declares records of
// RasConnectionSize bytes, which is no release's size on 64 bits. A system that
// refuses it would show no connection at all. So it is asked once more for a
// record that it knows, and what it answers is laid out as the program expects
// it.
DWORD listConnections(RasConnection *list, DWORD *bytes, DWORD *count)
{
    const DWORD given = *bytes;
    const DWORD result = ask(list, bytes, count);
    if (result != ERROR_INVALID_SIZE || !list || list->dwSize != RasConnectionSize)
        return result;

    // The caller's buffer holds fewer of the larger records.
    std::vector<SystemRasConnection> records(std::max<DWORD>(given / sizeof(RasConnection), 1));
    records.front().dwSize = sizeof(SystemRasConnection);
    auto size = static_cast<DWORD>(records.size() * sizeof(SystemRasConnection));
    const DWORD answer = ask(records.data(), &size, count);
    if (answer != ERROR_SUCCESS && answer != ERROR_BUFFER_TOO_SMALL)
        return answer;
    *bytes = size / sizeof(SystemRasConnection) * sizeof(RasConnection);
    for (DWORD i = 0; answer == ERROR_SUCCESS && i < *count && i < records.size(); ++i) {
        // Both begin alike as far as the declared size reaches.
        std::memcpy(&list[i], &records[i], RasConnectionSize);
        list[i].dwSize = RasConnectionSize;
    }
    return answer;
}

} // namespace platform
