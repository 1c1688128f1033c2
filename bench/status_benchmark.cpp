// The query that the program makes every ten seconds while it is connected, for an entry
// that is not among the connections, so that all of them are compared.

#include "bench/loggedprogram.h"
#include "dialup/connectionstatus.h"
#include "platform/linux/linuxplatform.h"
#include "tests/linux/pppdfixture.h"
#include "tests/support/scriptedmachine.h"

#include <benchmark/benchmark.h>

namespace {

void query(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(isDialupConnectionConnected("not there"));
    state.SetComplexityN(state.range(0));
    platform::setCurrent(nullptr);
}

void inMemory(benchmark::State &state)
{
    ScriptedMachine machine;
    for (int i = 0; i < state.range(0); ++i)
        machine.connections.append({QString("Connection %1").arg(i), nullptr});
    platform::setCurrent(&machine);
    query(state);
}

/// Links of the stand-in for pppd, which are processes.
void onLinux(benchmark::State &state)
{
    PppdFixture fixture;
    fixture.prepare();
    for (int i = 0; i < state.range(0); ++i) {
        if (fixture.startLink("lo", QString("tolvane-link%1").arg(i)) <= 0)
            state.SkipWithError("a link does not come up");
    }
    platform::linuxsystem::LinuxPlatform machine(fixture.m_paths, programIdentity());
    platform::setCurrent(&machine);
    query(state);
    fixture.endLinks();
}

} // namespace

int main(int argc, char *argv[])
{
    LoggedProgram program(argc, argv);
    for (const int connections : {0, 10, 100}) {
        const int lines = 3 + 2 * connections;
        program.measure("inMemory", inMemory, connections, lines);
        program.measure("onLinux", onLinux, connections, lines);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
