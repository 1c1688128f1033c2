// The records that remote access hands out: texts without terminators, counts and
// sizes of any value, which change between the query and the call.

#include "dialup/connectionstatus.h"
#include "dialup/modemdevices.h"
#include "dialup/phonebookentry.h"
#include "install/fatalerror.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/scriptedmachine.h"
#include "tests/support/testsettings.h"

#include <QCoreApplication>

using namespace platform;

namespace {

struct ProgramEnds {
};

class HostileRas : public ScriptedMachine
{
public:
    explicit HostileRas(Input *input)
    {
        RasEnumConnectionsW = [input](RasConnection *records, DWORD *bytes, DWORD *count) -> DWORD {
            return answer(input, records, bytes, count);
        };
        RasEnumDevicesW = [input](RasDeviceInfo *records, DWORD *bytes, DWORD *count) -> DWORD {
            return answer(input, records, bytes, count);
        };
        RasGetEntryPropertiesW = [input](const WCHAR *, const WCHAR *, RasEntry *record,
                                         DWORD *bytes, BYTE *, DWORD *) -> DWORD {
            DWORD count = 0;
            return answer(input, record, bytes, &count);
        };
        RasHangUpW = [input](RasConnectionHandle) -> DWORD { return input->number<DWORD>(); };
    }

private:
    /// A code, how to fill the buffer, the size and the count that are told, and
    /// what the buffer is filled with.
    static DWORD answer(Input *input, void *records, DWORD *bytes, DWORD *count)
    {
        const DWORD codes[] = {Success, RasErrorBufferTooSmall, RasErrorInvalidSize};
        const DWORD code = codes[input->number<std::uint8_t>() % 3];
        const bool isRepeated = (input->number<std::uint8_t>() & 1) != 0;
        const DWORD given = records ? *bytes : 0;
        *bytes = input->number<DWORD>() % (1 << 20);
        *count = input->number<DWORD>();
        const QByteArray content = input->take(input->number<std::uint16_t>());
        auto *at = static_cast<char *>(records);
        for (DWORD left = content.isEmpty() ? 0 : given; left > 0;) {
            const DWORD part = std::min(left, static_cast<DWORD>(content.size()));
            std::memcpy(at, content.constData(), part);
            at += part;
            left = isRepeated ? left - part : 0;
        }
        return code;
    }
};

} // namespace

/// In place of the program's own: shows no box and ends no process.
[[noreturn]] void ShowFatalError(const char *, const char *)
{
    throw ProgramEnds();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    static const TestSettings settings;
    Input input(data, size);
    HostileRas machine(&input);
    setCurrent(&machine);
    const int what = input.number<std::uint8_t>() % 4;
    try {
        if (what == 0)
            isDialupConnectionConnected("TolvaneModem 1");
        else if (what == 1)
            hangUpDialupConnection("TolvaneModem 1");
        else if (what == 2)
            GetRasDevices();
        else
            createDialupConnection();
    } catch (const ProgramEnds &) {
        require(what >= 2, "a look at the connections ends no program");
    }
    require(machine.misuses() == 0, "no block is freed twice");
    setCurrent(nullptr);
    return 0;
}
