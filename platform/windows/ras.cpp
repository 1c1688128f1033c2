#include "platform/windows/connectionlist.h"
#include "platform/windows/families.h"
#include "platform/windows/forward.h"

#include <ras.h>
#include <rasdlg.h>

namespace platform {

// Macros in the system's header, so they need a name of their own.
using SystemRasDevice = RASDEVINFOW;
using SystemRasEntry = RASENTRYW;
using SystemDialDialog = RASDIALDLG;

template<> struct AreSame<RasDeviceInfo, SystemRasDevice> : std::true_type {
};
template<> struct AreSame<RasEntry, SystemRasEntry> : std::true_type {
};
template<> struct AreSame<RasDialDialog, SystemDialDialog> : std::true_type {
};

void provideRas(Platform *platform)
{
    platform->RasEnumConnectionsW = listConnections;
    platform->RasHangUpW = forward(::RasHangUpW);
    platform->RasDialDlgW = forward(::RasDialDlgW);
    platform->RasEnumDevicesW = forward(::RasEnumDevicesW);
    platform->RasGetEntryPropertiesW = forward(::RasGetEntryPropertiesW);
    platform->RasSetEntryPropertiesW = forward(::RasSetEntryPropertiesW);
}

} // namespace platform
