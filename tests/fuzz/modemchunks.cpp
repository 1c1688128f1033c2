// What the modem says while the access point name is written: chunks as its driver
// hands them out, at most 100 bytes each, and writes that complete at once or later.

#include "serial/apnconfiguration.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/scriptedmachine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    Input input(data, size);
    ScriptedMachine machine;
    platform::setCurrent(&machine);
    machine.writesArePending = (input.number<std::uint8_t>() & 1) != 0;
    const QString apn = QString::fromUtf8(input.chunk());
    while (!input.isEmpty())
        machine.chunks.append(input.chunk(100));
    require(configureModemApn(7, apn), "whatever the modem says, the dial goes on");
    require(machine.openPorts() == 0, "the port is closed");
    require(machine.written ==
                "AT\r" + QString("AT+CGDCONT=1,\"IP\",\"%1\"\r").arg(apn).toLatin1().split('\0')[0],
            "both commands are written");
    platform::setCurrent(nullptr);
    return 0;
}
