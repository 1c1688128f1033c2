#include "tests/support/scriptedmachine.h"

#include <cstdlib>
#include <new>

// On Windows even the creation of a debug stream clears the thread's last
// error, long before the line is written. Every creation allocates, so here
// each allocation clears it: a code that is read from GetLastError inside the
// expression that logs it would be 0.
void *operator new(std::size_t size)
{
    ScriptedMachine::clearLastErrorOfThread();
    if (void *memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    ScriptedMachine::clearLastErrorOfThread();
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}
