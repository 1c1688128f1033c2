#pragma once

#include "platform/posix/kernelobjects.h"

#include <QString>

#include <memory>

// Each of these fills the slots of one family over the state directory; the
// file of the family's name holds it. Any thread may call what they provide,
// RasDialDlgW excepted. What the simulated PC does not model it refuses with
// ErrorNotSupported and a line on standard error.
namespace platform::simulated {

void provideConfigManager(Platform *platform, const QString &directory);

/// Fills three families: SetupApi, Registry and NewDev. In setupapi.cpp.
void provideDeviceInstallation(Platform *platform, const QString &directory);

/// What is started runs on the same machine.
void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const QString &directory);

void provideRas(Platform *platform, const QString &directory);

/// The serial lines of the phones in the USB sockets. The port of a connection
/// that is up answers 5, the on-board port 50.
void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const QString &directory);

void provideSystemInformation(Platform *platform, const QString &directory);

} // namespace platform::simulated
