#pragma once

#include "platform/platform.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <mutex>

namespace platform {

/// A failure to be injected.
struct Fault {
    /// Operation name such as "RasHangUpW", also one bound at run time such as
    /// "CM_Locate_DevNode_ExA"; "*" stands for any operation.
    QString operation;
    /// Which of its calls fails, from 1.
    int call = 1;
    /// What it fails with: the result code of the RAS, registry and
    /// configuration manager functions, the last error of all others.
    DWORD code = 0;
    /// Whether every later call fails as well.
    bool always = false;
};

/// A decorator over any backend that lets chosen calls fail as the system
/// would and writes down every call in order. The backend does not see a call
/// that fails. Any thread. Operations that cannot fail pass through and do not
/// count for "*"; GetLastError and SetLastError are not written down.
class FaultInjectingPlatform : public Platform, private CallWatcher
{
public:
    /// The backend stays the caller's and must outlive the decorator.
    explicit FaultInjectingPlatform(Platform &real);

    /// The names that a fault may have, "*" excepted, in ascending order.
    static QStringList failingOperations();

    /// Adds a failure to those that wait for their call. An operation of
    /// another name never fires.
    void inject(const Fault &fault);
    /// Forgets faults, counts and calls.
    void reset();

    /// How many faults have fired.
    int firedFaults() const;
    /// The calls so far as "Operation(arguments)": text in double quotes,
    /// numbers in decimal, handles in hexadecimal, other pointers as "&", null
    /// as "null".
    QStringList calls() const;
    /// The operation names of calls().
    QStringList operations() const;

private:
    bool beforeCall(const AnyOperation &operation, const std::vector<Argument> &arguments,
                    DWORD *code) override;
    void failedWith(DWORD code) override;

    Platform &m_real;
    // Not QMutex: what it does under contention is hidden from the thread sanitizer.
    mutable std::mutex m_mutex;
    QList<Fault> m_faults;
    QHash<QString, int> m_counts;
    QStringList m_calls;
    QStringList m_operations;
    int m_fired = 0;
};

} // namespace platform
