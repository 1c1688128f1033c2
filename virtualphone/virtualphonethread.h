#pragma once

#include "virtualphone/virtualphone.h"

#include <memory>

namespace virtualphone {

/// A virtual phone that runs in a thread of its own, for callers whose thread
/// blocks while it talks to the phone. Every call blocks until the phone has
/// carried it out; calls may come from any thread.
class VirtualPhoneThread
{
public:
    explicit VirtualPhoneThread(const PhoneOptions &options = {});

    /// Unplugs the phone and ends the thread.
    ~VirtualPhoneThread();

    /// Starts the thread and plugs the phone in. Returns the port's device, or
    /// an empty string with a message in *error (which may be null). Once only.
    QString start(QString *error = nullptr);

    /// Carries out a command of PhoneControl ("unplug", "set echo off", ...)
    /// and returns its answer. Only after start().
    QString control(const QString &command);

    /// The port's device; empty while unplugged. Only after start().
    QString ttyName();

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace virtualphone
