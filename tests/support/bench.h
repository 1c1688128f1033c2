#pragma once

#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/platform.h"
#include "tests/support/logcatcher.h"
#include "tests/support/scriptedmachine.h"

#include <QRegularExpression>
#include <QStringList>

/// A machine behind the fault injector as the current backend, with the debug
/// stream caught, for as long as it lives. `Machine` is ScriptedMachine or a
/// class derived from it that behaves differently in one place.
template<typename Machine = ScriptedMachine> class Bench
{
public:
    Bench() { platform::setCurrent(&injector); }
    ~Bench() { platform::setCurrent(nullptr); }
    Bench(const Bench &) = delete;
    Bench &operator=(const Bench &) = delete;

    /// Lets one call of an operation fail, counted from 1.
    void fail(const QString &operation, platform::DWORD code, int call = 1)
    {
        injector.inject({operation, call, code, false});
    }

    /// The calls in order, memory addresses replaced by "@": they differ from
    /// run to run, handles of the machine do not.
    QStringList calls() const
    {
        static const QRegularExpression address("0x[0-9a-f]{6,}");
        return injector.calls().replaceInStrings(address, "@");
    }

    /// What is still open, such as "1 port, 2 events"; "" when nothing is.
    QString leftOpen() const
    {
        QStringList parts;
        const auto add = [&](int count, const char *what) {
            if (count != 0)
                parts.append(QString("%1 %2%3").arg(count).arg(what, count == 1 ? "" : "s"));
        };
        add(machine.openPorts(), "port");
        add(machine.openEvents(), "event");
        add(machine.openDeviceSets(), "device set");
        add(machine.openKeys(), "key");
        add(machine.openProcessHandles(), "process handle");
        add(machine.openBlocks(), "block");
        add(machine.loadedLibraries(), "library");
        add(machine.misuses(), "misuse");
        return parts.join(", ");
    }

    Machine machine;
    platform::FaultInjectingPlatform injector{machine};
    LogCatcher log;
};
