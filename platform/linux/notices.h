#pragma once

#include <QString>

#include <functional>

namespace platform::linuxsystem {

/// What the user has to know and no dialog of the program tells. Any thread.
class Notices
{
public:
    virtual ~Notices() = default;

    /// The phone's port cannot be opened: that program has it, or an unknown one
    /// when the name is empty.
    virtual void portInUse(const QString &program) = 0;

    /// This program itself has left the phone's port open.
    virtual void portKept() = 0;

    /// The user has not the right to open the phone's port.
    virtual void portForbidden() = 0;

    /// That file, which holds what is set up on this machine, is damaged. `putAside`
    /// renames it, in the GUI thread if the user wants that, and answers whether it
    /// could. Told once, however often this is called before that.
    virtual void stateDamaged(const QString &file, const std::function<bool()> &putAside) = 0;

    /// The user may not read that file. Told once.
    virtual void stateForbidden(const QString &file) = 0;
};

} // namespace platform::linuxsystem
