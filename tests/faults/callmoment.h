#pragma once

#include "platform/platform.h"

#include <QStringList>

#include <functional>
#include <mutex>

namespace faults {

/// A decorator over any backend that lets something happen before one call of all, in
/// the thread of that call. The backend stays the caller's and must outlive it.
class CallMoment : public platform::Platform, private platform::CallWatcher
{
public:
    /// Before the n-th call, from 1; never with 0.
    CallMoment(platform::Platform &real, int call, std::function<void()> happens)
        : m_call(call), m_happens(std::move(happens))
    {
        const std::vector<platform::AnyOperation *> own = allOperations();
        const std::vector<platform::AnyOperation *> behind = real.allOperations();
        for (std::size_t i = 0; i < own.size(); ++i)
            own[i]->decorate(*behind[i], this);
        // Asking for the code is no moment of its own.
        GetLastError.decorate(real.GetLastError, nullptr);
        SetLastError.decorate(real.SetLastError, nullptr);
    }

    /// From now on it does not happen any more; whether it has.
    bool end()
    {
        const std::lock_guard lock(m_mutex);
        const bool hasHappened = m_call > 0 && m_operations.size() >= m_call;
        m_call = 0;
        return hasHappened;
    }

    /// The calls so far, by name.
    QStringList operations() const
    {
        const std::lock_guard lock(m_mutex);
        return m_operations;
    }

private:
    bool beforeCall(const platform::AnyOperation &operation,
                    const std::vector<platform::Argument> &, platform::DWORD *) override
    {
        bool isNow = false;
        {
            const std::lock_guard lock(m_mutex);
            m_operations.append(operation.name());
            isNow = m_operations.size() == m_call;
        }
        if (isNow)
            m_happens();
        return false;
    }

    void failedWith(platform::DWORD) override {}

    int m_call;
    const std::function<void()> m_happens;
    mutable std::mutex m_mutex;
    QStringList m_operations;
};

} // namespace faults
