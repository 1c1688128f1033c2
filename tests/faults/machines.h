#pragma once

#include "platform/platform.h"
#include "tests/faults/expectations.h"

#include <functional>
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
    /// The phone is pulled out of its socket; port and connection are gone, and who
    /// waits for it waits no longer. Any thread.
    virtual void pullPhone() = 0;
    /// It is in its socket again. Does nothing when it is there.
    virtual void plugPhone() = 0;
    /// Pulls the phone when it hears its n-th command, from 1, which it does not answer.
    /// Only on machines with a phone that hears.
    virtual void pullPhoneAtCommand(int) {}
    /// How many commands the phone has heard.
    virtual int heardCommands() const { return 0; }
    /// Whether the machine has a connection, whatever the program shows.
    virtual bool isConnected() const = 0;
    /// The network ends the connection.
    virtual void dropConnection() = 0;
    /// Forgets what it has noted of the program, so that it does not grow by it.
    virtual void forget() {}
    /// Called again and again while the person waits: leaves whatever dialog of the
    /// machine's own tells of a failure.
    virtual void answerDialogs() {}
    /// How often it was handed something that it never gave out.
    virtual int misuses() const = 0;

protected:
    /// Where the program finds its own files on every machine. Where the processor is
    /// known, it does not matter how it is asked for.
    static Facts ownFiles();
};

/// A machine, kept in `folder`: what a walk changes there is found by the next
/// one.
std::unique_ptr<WalkedMachine> scriptedMachine(const QString &folder);
std::unique_ptr<WalkedMachine> simulatedMachine(const QString &folder);
/// Only where the Linux backend is built, and under umockdev-wrapper.
std::unique_ptr<WalkedMachine> linuxMachine(const QString &folder);

using MachineMaker = std::function<std::unique_ptr<WalkedMachine>(const QString &folder)>;

} // namespace faults
