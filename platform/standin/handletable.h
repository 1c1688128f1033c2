#pragma once

#include "platform/types.h"

#include <memory>
#include <mutex>
#include <type_traits>
#include <unordered_map>

namespace platform {

/// The open handles of one kind. A handle is the address of its object. It is
/// looked up in the table before it is used, so a closed or foreign handle
/// gives an error and is never followed. Any thread.
template<class Object> class HandleTable
{
public:
    /// Makes the object known; the handle is valid until remove().
    HANDLE add(std::shared_ptr<Object> object)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        HANDLE handle = object.get();
        m_objects[handle] = std::move(object);
        return handle;
    }

    /// The object behind a handle, null when it is not open or not a Kind. The
    /// object stays alive while the caller holds it, closed or not.
    template<class Kind = Object> std::shared_ptr<Kind> find(HANDLE handle) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_objects.find(handle);
        if (found == m_objects.end())
            return nullptr;
        if constexpr (std::is_same_v<Kind, Object>)
            return found->second;
        else
            return std::dynamic_pointer_cast<Kind>(found->second);
    }

    /// Forgets a handle and gives its object back; null when it is not open.
    std::shared_ptr<Object> remove(HANDLE handle)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_objects.find(handle);
        if (found == m_objects.end())
            return nullptr;
        std::shared_ptr<Object> object = std::move(found->second);
        m_objects.erase(found);
        return object;
    }

private:
    mutable std::mutex m_mutex;
    std::unordered_map<HANDLE, std::shared_ptr<Object>> m_objects;
};

} // namespace platform
