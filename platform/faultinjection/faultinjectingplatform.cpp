#include "platform/faultinjection/faultinjectingplatform.h"

namespace platform {

FaultInjectingPlatform::FaultInjectingPlatform(Platform &real) : m_real(real)
{
    const std::vector<AnyOperation *> own = allOperations();
    const std::vector<AnyOperation *> behind = real.allOperations();
    for (std::size_t i = 0; i < own.size(); ++i)
        own[i]->decorate(*behind[i], this);
    // Asking for the code is no call of interest.
    GetLastError.decorate(real.GetLastError, nullptr);
    SetLastError.decorate(real.SetLastError, nullptr);
}

QStringList FaultInjectingPlatform::failingOperations()
{
    const Platform any;
    QStringList names;
    for (const AnyOperation *operation : any.allOperations()) {
        if (operation->failureCode() != FailureCode::None)
            names.append(operation->name());
    }
    names.sort();
    return names;
}

void FaultInjectingPlatform::inject(const Fault &fault)
{
    const std::lock_guard lock(m_mutex);
    m_faults.append(fault);
}

void FaultInjectingPlatform::reset()
{
    const std::lock_guard lock(m_mutex);
    m_faults.clear();
    m_counts.clear();
    m_calls.clear();
    m_operations.clear();
    m_fired = 0;
}

int FaultInjectingPlatform::firedFaults() const
{
    const std::lock_guard lock(m_mutex);
    return m_fired;
}

QStringList FaultInjectingPlatform::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

QStringList FaultInjectingPlatform::operations() const
{
    const std::lock_guard lock(m_mutex);
    return m_operations;
}

bool FaultInjectingPlatform::beforeCall(const AnyOperation &operation,
                                        const std::vector<Argument> &arguments, DWORD *code)
{
    const QString name = operation.name();
    QStringList descriptions;
    for (const Argument &argument : arguments)
        descriptions.append(argument.description());
    const std::lock_guard lock(m_mutex);
    m_calls.append(name + '(' + descriptions.join(", ") + ')');
    m_operations.append(name);
    if (operation.failureCode() == FailureCode::None)
        return false;
    const int ofThis = ++m_counts[name];
    const int ofAny = ++m_counts["*"];
    for (const Fault &fault : std::as_const(m_faults)) {
        if (fault.operation != name && fault.operation != "*")
            continue;
        const int count = fault.operation == "*" ? ofAny : ofThis;
        if (count == fault.call || (fault.always && count > fault.call)) {
            ++m_fired;
            *code = fault.code;
            return true;
        }
    }
    return false;
}

void FaultInjectingPlatform::failedWith(DWORD code)
{
    m_real.SetLastError(code);
}

} // namespace platform
