#pragma once

#include "platform/posix/filelock.h"
#include "platform/simulated/machinestate.h"

#include <QString>

#include <memory>

namespace platform::simulated {

/// Where the machine of this process lives, as an absolute path: $SIMULATED_PC,
/// or tolvane-simulated-pc under $XDG_STATE_HOME or ~/.local/state.
QString defaultStateDirectory();

/// One operation's look at the machine: the state is read afresh under a lock
/// that every process and thread honours, and the lock is held until the
/// session ends. Keep it short, and never open a second one inside it.
class MachineSession
{
public:
    /// Makes the directory when it is missing. Whatever goes wrong is said on
    /// standard error; a damaged pc.json is kept beside the new one as
    /// pc.json.damaged-N.
    explicit MachineSession(const QString &directory);
    MachineSession(const MachineSession &) = delete;
    MachineSession &operator=(const MachineSession &) = delete;

    /// Writes the state, all of it or nothing. False when it cannot be
    /// written, said on standard error.
    bool save();

    QString directory() const { return m_directory; }

    /// To be changed freely; only save() makes it last.
    MachineState state;

private:
    bool lock();
    bool read();
    void keepDamagedFile(const QString &error);
    QString fileName() const;

    const QString m_directory;
    std::unique_ptr<platform::FileLock> m_lock;
    bool m_usable = false;
};

} // namespace platform::simulated
