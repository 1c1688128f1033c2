// The search for the phone's port among many serial devices, none of which is a phone: in
// memory, on the simulated PC, and on the Linux backend. The last needs umockdev-wrapper.

// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "bench/loggedprogram.h"
#include "install/portdiscovery.h"
#include "platform/linux/linuxplatform.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedpc.h"
#include "platform/text.h"
#include "tests/support/scriptedmachine.h"
#include "virtualphone/pluggedphone.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>

namespace {

const char converter[] = "USB Serial Converter";

void search(benchmark::State &state, platform::Platform *machine)
{
    platform::setCurrent(machine);
    GetModemPorts(); // numbers are given once
    for (auto _ : state)
        benchmark::DoNotOptimize(GetModemPorts());
    state.SetComplexityN(state.range(0));
    platform::setCurrent(nullptr);
}

void inMemory(benchmark::State &state)
{
    ScriptedMachine machine;
    for (int i = 0; i < state.range(0); ++i)
        machine.ports.append({QString("%1 (COM%2)").arg(converter).arg(i + 5)});
    search(state, &machine);
}

void onSimulatedPc(benchmark::State &state)
{
    using platform::simulated::MachineSession;
    const QTemporaryDir folder;
    {
        MachineSession session(folder.path());
        session.state.portDriverInstalled = true;
        if (!session.save() || !QDir(folder.path()).mkpath("usb"))
            return state.SkipWithError("the PC cannot be written");
    }
    for (int i = 1; i <= state.range(0); ++i) {
        const virtualphone::PluggedPhone device{converter, "/dev/null", QString::number(i), false,
                                                ::getpid()};
        QFile file(folder.filePath("usb/") + virtualphone::socketFileName(i));
        if (!file.open(QIODevice::WriteOnly) || file.write(device.toJson()) < 0)
            return state.SkipWithError("a device cannot be plugged in");
    }
    platform::simulated::SimulatedPc machine(folder.path());
    search(state, &machine);
}

char *addDevice(UMockdevTestbed *bed, const char *subsystem, const std::string &name,
                const char *parent, const char *attribute, const std::string &value,
                const char *property, const std::string &propertyValue)
{
    return umockdev_testbed_add_device(bed, subsystem, name.c_str(), parent, attribute,
                                       value.c_str(), nullptr, property, propertyValue.c_str(),
                                       nullptr);
}

void onLinux(benchmark::State &state)
{
    UMockdevTestbed *bed = umockdev_testbed_new();
    if (!umockdev_in_mock_environment())
        return state.SkipWithError("start this with umockdev-wrapper");
    for (int i = 0; i < state.range(0); ++i) {
        const std::string number = std::to_string(i);
        char *device = addDevice(bed, "usb", "1-" + number, nullptr, "serial", "S" + number,
                                 "DEVTYPE", "usb_device");
        char *interface = addDevice(bed, "usb", "1-" + number + ":1.0", device, "bInterfaceNumber",
                                    "00", "DEVTYPE", "usb_interface");
        g_free(addDevice(bed, "tty", "ttyUSB" + number, interface, "dev", "188:" + number,
                         "DEVNAME", "/dev/ttyUSB" + number));
        g_free(interface);
        g_free(device);
    }
    const QTemporaryDir folder;
    platform::linuxsystem::SystemPaths paths;
    paths.state = folder.filePath("state");
    {
        platform::linuxsystem::LinuxPlatform machine(paths, programIdentity());
        search(state, &machine);
    }
    g_object_unref(bed);
}

} // namespace

int main(int argc, char *argv[])
{
    LoggedProgram program(argc, argv);
    // One line for each device.
    for (const int devices : {1, 16, 256, 4096}) {
        program.measure("inMemory", inMemory, devices, devices);
        program.measure("onLinux", onLinux, devices, devices);
    }
    // Its ports have the numbers that Windows has: no more than COM256.
    for (const int devices : {1, 16, 128, 250})
        program.measure("onSimulatedPc", onSimulatedPc, devices, devices);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
