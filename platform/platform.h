#pragma once

#include "platform/errorhandling.h"
#include "platform/kernelobjects.h"
#include "platform/memory.h"
#include "platform/modules.h"
#include "platform/process.h"
#include "platform/ras.h"
#include "platform/registry.h"
#include "platform/serialcomm.h"
#include "platform/setupapi.h"
#include "platform/systeminformation.h"

namespace platform {

/// Everything the program asks of the operating system, one interface per API
/// family. A backend implements them all; the configuration manager and the
/// driver update are reached through Modules, as on Windows.
class Platform : public ErrorHandling,
                 public KernelObjects,
                 public Memory,
                 public Modules,
                 public Process,
                 public Ras,
                 public Registry,
                 public SerialComm,
                 public SetupApi,
                 public SystemInformation
{
};

/// The backend in use. Calling it before setCurrent() is a programming error
/// and ends the process. Any thread.
Platform &current();

/// Chooses the backend; called once by main() before any thread is started
/// (tests: before each case). The backend stays the caller's and must outlive
/// every call.
void setCurrent(Platform *backend);

/// The backend that this executable was built with. Made at the first call
/// and alive until the process ends. Defined once in each backend's folder.
Platform &backend();

} // namespace platform
