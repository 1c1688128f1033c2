#pragma once

#include "platform/linux/systempaths.h"
#include "platform/types.h"

#include <QList>
#include <QString>

#include <sys/types.h>

namespace platform::linuxsystem {

/// A process that uses a serial line. A value.
struct LineHolder {
    pid_t process = 0;
    uid_t user = 0;
    QString program; ///< as ps(1) shows it, 15 characters at most
};

/// As which ModemManager is listed.
inline constexpr char modemManagerProgram[] = "ModemManager";

/// Who has a line open, or has announced it in a lock file (LCK..ttyACM0 in the
/// locks folder). Processes of others are seen with root's rights only, their lock
/// files always. Any thread.
QList<LineHolder> holdersOf(const QString &node, const QString &locksFolder);

/// How long ModemManager may take to let a line go. Milliseconds.
inline constexpr int LetGoPatience = 10000;

/// Makes ModemManager let go of a line that it holds, by having systemd start it
/// anew: it never lets go by itself, but a new one heeds the marks of the udev
/// rule. Waits for that. Other modems that it drives lose
/// their connections, so nothing is done when the line is free or somebody else
/// holds it. Success when the line is free; otherwise 5, and whose program holds
/// it. Needs root's rights. Any thread.
DWORD freeLine(const QString &node, const SystemPaths &paths, QString *holder,
               int patience = LetGoPatience);

} // namespace platform::linuxsystem
