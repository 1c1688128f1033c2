#pragma once

#include "platform/platform.h"
#include "tests/faults/expectations.h"

#include <memory>

namespace faults {

/// A machine to walk on. Made in the process that walks.
class WalkedMachine
{
public:
    virtual ~WalkedMachine() = default;

    virtual platform::Platform *platform() = 0;
    /// What it says of itself in the log.
    virtual Facts facts() const = 0;
    /// Another copy of the program runs already, or no longer. Only the scripted
    /// machine has one.
    virtual void setOtherCopy(bool isThere) = 0;
    /// The phone will answer the commands of one dial.
    virtual void answerDial() = 0;
    /// Called again and again while the person waits: leaves whatever dialog of the
    /// machine's own tells of a failure.
    virtual void answerDialogs() {}
    /// How often it was handed something that it never gave out.
    virtual int misuses() const = 0;
};

/// A machine, kept in `folder`: what a walk changes there is found by the next
/// one.
std::unique_ptr<WalkedMachine> scriptedMachine(const QString &folder);
std::unique_ptr<WalkedMachine> simulatedMachine(const QString &folder);

} // namespace faults
