#include "tests/faults/expectations.h"

namespace faults {

namespace {

/// What real machines make of a fault beside what the program does.
const struct {
    const char *part;
    const char *operation;
    const char *how; ///< "": any
    const char *reason;
} ownWays[] = {
    {secondStartPhase, "CloseHandle", "", "the event is still there at the next start"},
    {rescanStep, "LoadLibraryW", "", "the phone is not there without a rescan"},
    {rescanStep, "CM_Locate_DevNode_ExA", "", "the phone is not there without a rescan"},
    {rescanStep, "CM_Reenumerate_DevNode_Ex", "", "the phone is not there without a rescan"},
    {modemStep, "GetVersionExW", "", "the other INF serves the machine or does not"},
    {modemStep, "SetupDiGetINFClassW", "empty", "a device must have a name"},
    {modemStep, "SetupDiGetINFClassW", "huge", "the device's id has that name"},
    {modemStep, "RegSetValueExW", "", "a modem without a port does not dial"},
    {entryStep, "RasEnumDevicesW", "unterminated", "there may be another device before the modem"},
    {entryStep, "RasGetEntryPropertiesW", "huge", "the machine looks at the size"},
    {connectPhase, "GetCommState", "empty", "the driver refuses such settings"},
    {connectPhase, "SetCommMask", "", "the port stays in use, so the dial does not get it"},
    {connectPhase, "CloseHandle", "", "the port stays in use, so the dial does not get it"},
    {pollPhase, "RasEnumConnectionsW", "", "the connection that is not seen has the port"},
};

} // namespace

const char *untold(const Facts &facts, const Fault &fault)
{
    for (const auto &row : ownWays) {
        if (facts.isReal && fault.part == QLatin1String(row.part) &&
            fault.operation == QLatin1String(row.operation) &&
            (*row.how == 0 || fault.how == QLatin1String(row.how)))
            return row.reason;
    }
    return nullptr;
}

} // namespace faults
