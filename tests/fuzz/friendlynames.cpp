// What the drivers of the ports call themselves: UTF-16 of any kind, with sizes that
// are wrong or change between the query and the call.

#include "install/portdiscovery.h"
#include "platform/text.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/scriptedmachine.h"

#include <QHash>

#include <sys/mman.h>
#include <unistd.h>

using namespace platform;

namespace {

/// Blocks at whose end the memory ends: the toolkit, which reads the names, is not built
/// with the sanitizers.
class Blocks
{
public:
    void *allocate(std::size_t size)
    {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        const std::size_t used = (size + 1) / 2 * 2; // whole characters
        const std::size_t pages = (used / page + 1) * page;
        void *start = ::mmap(nullptr, pages + page, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        require(start != MAP_FAILED, "there is memory");
        auto *end = static_cast<char *>(start) + pages;
        require(::mprotect(end, page, PROT_NONE) == 0, "there is an end of it");
        m_blocks.insert(end - used, {start, pages + page});
        return end - used;
    }

    void free(void *block)
    {
        require(!block || m_blocks.contains(block), "what is freed was allocated");
        const auto [start, size] = m_blocks.take(block);
        if (start)
            ::munmap(start, size);
    }

    bool isEmpty() const { return m_blocks.isEmpty(); }

private:
    QHash<void *, std::pair<void *, std::size_t>> m_blocks;
};

/// Reports sizes and fills buffers as the input says.
class HostileDrivers : public ScriptedMachine
{
public:
    explicit HostileDrivers(Input *input)
    {
        LocalAlloc = [this](UINT, SIZE_T size) { return blocks.allocate(size); };
        LocalFree = [this](void *block) -> void * {
            blocks.free(block);
            return nullptr;
        };
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

    Blocks blocks;
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
    require(machine.blocks.isEmpty(), "every buffer is freed");
    setCurrent(nullptr);
    return 0;
}
