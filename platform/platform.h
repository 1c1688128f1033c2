#pragma once

#include "platform/configmanager.h"
#include "platform/errorhandling.h"
#include "platform/foreground.h"
#include "platform/kernelobjects.h"
#include "platform/memory.h"
#include "platform/modules.h"
#include "platform/newdev.h"
#include "platform/process.h"
#include "platform/program.h"
#include "platform/ras.h"
#include "platform/registry.h"
#include "platform/security.h"
#include "platform/serialcomm.h"
#include "platform/setupapi.h"
#include "platform/systeminformation.h"

#include <vector>

namespace platform {

/// Families of operations, put together.
template<typename... Families> struct OperationsOf : Families... {
    /// Every operation, family by family.
    std::vector<AnyOperation *> allOperations() const
    {
        std::vector<AnyOperation *> all;
        const auto append = [&all](const Family &family) {
            all.insert(all.end(), family.operations().begin(), family.operations().end());
        };
        (append(static_cast<const Families &>(*this)), ...);
        return all;
    }
};

/// Everything that the program asks of the operating system. A backend is one
/// of these with its slots filled.
struct Platform
    : OperationsOf<ErrorHandling, KernelObjects, Memory, Modules, Process, Ras, Registry, Security,
                   SerialComm, SetupApi, SystemInformation, Foreground, ConfigManager, NewDev> {
};

/// The backend in use. Calling it before setCurrent() is a programming error
/// and ends the process. Any thread.
Platform &current();

/// Chooses the backend; called once by main() before any thread is started
/// (tests: before each case). The backend stays the caller's and must outlive
/// every call.
void setCurrent(Platform *backend);

/// The backend that this executable was built with. Made at the first call, for
/// the program named there, and alive until the process ends. Defined once in
/// each backend's folder.
Platform &backend(const Program &program);

} // namespace platform
