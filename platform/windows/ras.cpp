#include "platform/windows/windowsplatform.h"

#include <windows.h>

#include <ras.h>
#include <rasdlg.h>

namespace platform {

DWORD WindowsPlatform::RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                                           DWORD *lpcConnections)
{
    return ::RasEnumConnectionsW(reinterpret_cast<LPRASCONNW>(lprasconn),
                                 reinterpret_cast<LPDWORD>(lpcb),
                                 reinterpret_cast<LPDWORD>(lpcConnections));
}

DWORD WindowsPlatform::RasHangUpW(RasConnectionHandle hrasconn)
{
    return ::RasHangUpW(static_cast<::HRASCONN>(hrasconn));
}

BOOL WindowsPlatform::RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                                  RasDialDialog *lpInfo)
{
    return ::RasDialDlgW(lpszPhonebook, lpszEntry, lpszPhoneNumber,
                         reinterpret_cast<LPRASDIALDLG>(lpInfo));
}

DWORD WindowsPlatform::RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
{
    return ::RasEnumDevicesW(reinterpret_cast<LPRASDEVINFOW>(lpRasDevInfo),
                             reinterpret_cast<LPDWORD>(lpcb),
                             reinterpret_cast<LPDWORD>(lpcDevices));
}

DWORD WindowsPlatform::RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                              RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                              BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize)
{
    return ::RasGetEntryPropertiesW(lpszPhonebook, lpszEntry,
                                    reinterpret_cast<LPRASENTRYW>(lpRasEntry),
                                    reinterpret_cast<LPDWORD>(lpdwEntryInfoSize), lpbDeviceInfo,
                                    reinterpret_cast<LPDWORD>(lpdwDeviceInfoSize));
}

DWORD WindowsPlatform::RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                              RasEntry *lpRasEntry, DWORD dwEntryInfoSize,
                                              BYTE *lpbDeviceInfo, DWORD dwDeviceInfoSize)
{
    return ::RasSetEntryPropertiesW(lpszPhonebook, lpszEntry,
                                    reinterpret_cast<LPRASENTRYW>(lpRasEntry), dwEntryInfoSize,
                                    lpbDeviceInfo, dwDeviceInfoSize);
}

} // namespace platform
