#pragma once

#include "platform/standin/dialler.h"

namespace platform::linuxsystem {

/// The exit status of a pppd that the user may not run.
inline constexpr int StatusNotPermitted = 3;

/// The exit status of a pppd that was told to end.
inline constexpr int StatusStopped = 5;

/// This machine cannot dial: it has no pppd, or its kernel has no PPP
/// (ERROR_RASMAN_CANNOT_INITIALIZE).
inline constexpr DWORD ErrorServiceMissing = 711;

/// The exit status of a pppd that cannot lock its line.
inline constexpr int StatusPortNotLocked = 6;

/// The exit status of a pppd that cannot open its line, and what the helper says of
/// one that is in use.
inline constexpr int StatusPortNotOpened = 7;

inline bool isPortInUse(int exitStatus)
{
    return exitStatus == StatusPortNotLocked || exitStatus == StatusPortNotOpened;
}

/// What a dial says when that program has the phone's port; an unknown one without
/// a name.
DialFailure portInUseFailure(const QString &program);

/// The failure behind an exit status of pppd (8 when the dialling program
/// failed, see pppd(8)). lastAnswer is what the phone answered last, or empty.
DialFailure pppdFailure(int exitStatus, const QString &lastAnswer);

/// The failure behind what dialphone::PhoneLine::dial() returned: an answer of
/// the modem, or why there was none. Where RAS has no number, as for a locked card,
/// it is the phone's own (dialphone/phoneline.h); all of RAS's are larger.
DialFailure modemFailure(const QString &answer);

/// A failure that this backend itself found before pppd ran.
DialFailure failureOf(DWORD code);

} // namespace platform::linuxsystem
