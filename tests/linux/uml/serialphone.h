#pragma once

// The phone hangs on a serial line in user-mode Linux, as there is no USB: it is
// plugged in while a rule of an administrator's own marks that line. phone.h
// declares what can be done with it.

inline constexpr char phoneRule[] = "/etc/udev/rules.d/99-phone-on-serial-line.rules";
