// What the drivers of the ports call themselves: UTF-16 of any kind, with sizes that
// are wrong or change between the query and the call.

#include "install/portdiscovery.h"
#include "platform/text.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/scriptedmachine.h"

using namespace platform;

namespace {

/// Reports sizes and fills buffers as the input says.
class HostileDrivers : public ScriptedMachine
{
public:
    explicit HostileDrivers(Input *input)
    {
        SetupDiGetDeviceRegistryPropertyW = [this, input](HDEVINFO, DeviceInfoData *, DWORD,
                                                          DWORD *, BYTE *buffer, DWORD bytes,
                                                          DWORD *required) -> BOOL {
            const auto what = input->number<std::uint8_t>();
            if (what % 4 == 0) {
                *required = input->number<std::uint16_t>();
                SetLastError(ErrorInsufficientBuffer);
                return 0;
            }
            if (what % 4 == 1) {
                SetLastError(input->number<std::uint16_t>());
                return 0;
            }
            if (buffer) // all of it, without a terminator
                input->fill(buffer, bytes);
            *required = what % 4 == 2 ? bytes : input->number<std::uint32_t>();
            return 1;
        };
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    Input input(data, size);
    HostileDrivers machine(&input);
    setCurrent(&machine);
    const int count = input.number<std::uint8_t>() % 8;
    for (int i = 0; i < count; ++i)
        machine.ports.append({QString(), true});
    require(GetModemPorts().size() <= count, "no port is made up");
    require(machine.openBlocks() == 0, "every buffer is freed");
    setCurrent(nullptr);
    return 0;
}
