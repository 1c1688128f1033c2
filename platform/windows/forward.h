#pragma once

#include "platform/platform.h"

#include <windows.h>

#include <type_traits>

namespace platform {

/// Whether two records lie in memory alike, so that a pointer to one may be
/// handed on as a pointer to the other. records.cpp holds every pair that is
/// listed here against the system's header.
template<typename Ours, typename Theirs> struct AreSame : std::false_type {
};

namespace conversions {

template<typename From, typename To> constexpr bool areSameRecords()
{
    using Ours = std::remove_cv_t<std::remove_pointer_t<From>>;
    using Theirs = std::remove_cv_t<std::remove_pointer_t<To>>;
    if constexpr (std::is_integral_v<Ours> && std::is_integral_v<Theirs>)
        return sizeof(Ours) == sizeof(Theirs);
    else
        return AreSame<Ours, Theirs>::value || AreSame<Theirs, Ours>::value;
}

/// Converts an argument or a result to the other side's type. Compiles only
/// for a type that converts by itself, an opaque handle, or a pointer to a
/// record that AreSame names.
template<typename To, typename From> To convert(From value)
{
    if constexpr (std::is_convertible_v<From, To>)
        return value;
    else if constexpr (std::is_same_v<From, void *> &&
                       std::is_function_v<std::remove_pointer_t<To>>)
        return reinterpret_cast<To>(value);
    else if constexpr (std::is_same_v<From, void *>)
        return static_cast<To>(value);
    else if constexpr (areSameRecords<From, To>())
        return reinterpret_cast<To>(value);
    else
        static_assert(std::is_same_v<From, To>, "these two are not declared to be the same");
}

} // namespace conversions

/// A function of the system, to fill a slot with.
template<typename Result, typename... Parameters> class Forward
{
public:
    using Function = Result(WINAPI *)(Parameters...);

    explicit Forward(Function function) : m_function(function) {}

    template<typename OurResult, typename... Arguments>
    operator PlainFunction<OurResult(Arguments...)>() const
    {
        return {&call<OurResult, Arguments...>, reinterpret_cast<void *>(m_function)};
    }

private:
    template<typename OurResult, typename... Arguments>
    static OurResult call(void *function, Arguments... arguments)
    {
        using conversions::convert;
        const auto forward = reinterpret_cast<Function>(function);
        if constexpr (std::is_void_v<OurResult>)
            forward(convert<Parameters>(arguments)...);
        else
            return convert<OurResult>(forward(convert<Parameters>(arguments)...));
    }

    const Function m_function;
};

template<typename Result, typename... Parameters>
Forward<Result, Parameters...> forward(Result(WINAPI *function)(Parameters...))
{
    return Forward<Result, Parameters...>(function);
}

} // namespace platform
