#include "platform/simulated/simulatedpc.h"

namespace platform {

HANDLE SimulatedPc::GetProcessHeap()
{
    return m_memory.GetProcessHeap();
}

void *SimulatedPc::HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    return m_memory.HeapAlloc(hHeap, dwFlags, dwBytes);
}

BOOL SimulatedPc::HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem)
{
    return m_memory.HeapFree(hHeap, dwFlags, lpMem);
}

void *SimulatedPc::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return m_memory.LocalAlloc(uFlags, uBytes);
}

void *SimulatedPc::LocalFree(void *hMem)
{
    return m_memory.LocalFree(hMem);
}

} // namespace platform
