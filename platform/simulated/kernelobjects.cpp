#include "platform/simulated/simulatedpc.h"

namespace platform {

HANDLE SimulatedPc::CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                                 const WCHAR *lpName)
{
    return m_ports.CreateEventW(lpEventAttributes, bManualReset, bInitialState, lpName);
}

DWORD SimulatedPc::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return m_ports.WaitForSingleObject(hHandle, dwMilliseconds);
}

BOOL SimulatedPc::CloseHandle(HANDLE hObject)
{
    return m_ports.CloseHandle(hObject);
}

} // namespace platform
