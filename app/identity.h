#pragma once

#include "platform/program.h"

#include <QString>

/// A phone's modem port has one of these in its friendly name.
inline constexpr char TolvanePortName[] = "Tolvane Modem Driver";
inline constexpr char UsbPortName[] = "USB Modem Driver";

/// Names the organisation and the application and chooses where settings lie:
/// INI files, the system-wide one in `settings/` beside the executable. Call
/// once, right after the application object was made and before the first
/// settings object.
void setApplicationIdentity();

/// The folder of the executable, without a separator at its end. The same while
/// the program ends, when the application object no longer tells: a set-up step
/// may still be running then. setApplicationIdentity() takes it. Any thread.
QString applicationFolder();

/// What the operating system's side has to know of this program.
platform::Program programIdentity();
