#pragma once

#include "platform/types.h"

#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

class QString;

// An operation of the operating system is declared once, as a named and typed
// slot of its API family:
//
//     struct Ras : Family {
//         Operation<DWORD(RasConnectionHandle hrasconn)> RasHangUpW{this, "RasHangUpW",
//                                                                   FailureCode::Result};
//     };
//
// It is called like a function. A backend fills the slot, a decorator or a test
// puts itself in between; nothing else knows the list of arguments. What does
// not depend on them is in operation.cpp, so that a slot costs little code.
namespace platform {

class AnyOperation;

/// Where a caller finds the error code of an operation that failed.
enum class FailureCode {
    LastError, ///< the result says that it failed, GetLastError why
    Result,    ///< the result is the code; 0 is success
    None,      ///< the operation cannot fail
};

/// The failing result of an operation that gives its first argument back when
/// it could do nothing with it.
struct FirstArgument {
};
inline constexpr FirstArgument firstArgument;

/// An argument of a call, whatever its type was. Valid during the call.
class Argument
{
public:
    template<typename Type>
    explicit Argument(Type *pointer)
        : m_kind(kindOf<std::remove_const_t<Type>, Type>()),
          m_bits(reinterpret_cast<ULONG_PTR>(pointer))
    {
    }
    template<typename Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
    explicit Argument(Number number)
        : m_kind(std::is_signed_v<Number> ? Kind::Signed : Kind::Unsigned),
          m_bits(static_cast<std::uint64_t>(number))
    {
    }

    /// Text in double quotes, numbers in decimal, handles in hexadecimal, other
    /// pointers as "&", null as "null".
    QString description() const;

    std::uint64_t bits() const { return m_bits; }

private:
    enum class Kind { WideText, Text, Handle, Pointer, Signed, Unsigned };

    template<typename Type, typename Qualified> static constexpr Kind kindOf()
    {
        if (std::is_same_v<Type, WCHAR>)
            return Kind::WideText;
        if (std::is_same_v<Type, char>)
            return Kind::Text;
        return std::is_same_v<Qualified, void> ? Kind::Handle : Kind::Pointer;
    }

    Kind m_kind;
    std::uint64_t m_bits;
};

/// Sees the calls of the operations that it watches. Called in the thread of
/// the call.
class CallWatcher
{
public:
    virtual ~CallWatcher() = default;

    /// An operation is about to be carried out. True lets it fail instead, with
    /// *code; never true for one that cannot fail.
    virtual bool beforeCall(const AnyOperation &operation, const std::vector<Argument> &arguments,
                            DWORD *code) = 0;

    /// A call was made to fail: the code that GetLastError answers from now on.
    virtual void failedWith(DWORD code) = 0;
};

/// The operations of one API. Its slots enter themselves.
class Family
{
public:
    Family() = default;
    Family(const Family &) = delete;
    Family &operator=(const Family &) = delete;

    /// In the order of their declaration.
    const std::vector<AnyOperation *> &operations() const { return m_operations; }

private:
    friend class AnyOperation;
    std::vector<AnyOperation *> m_operations;
};

/// What an operation is, whatever its arguments are.
class AnyOperation
{
public:
    AnyOperation(const AnyOperation &) = delete;
    AnyOperation &operator=(const AnyOperation &) = delete;

    /// The operating system's name for it.
    const char *name() const { return m_name; }
    FailureCode failureCode() const { return m_failureCode; }

    /// Whether a backend has filled the slot. Calling an empty one is a
    /// programming error and ends the process with the operation's name.
    bool isProvided() const { return m_isProvided; }

    /// Hands every call on to the same slot of another platform, the watcher
    /// first. Both must outlive this slot's calls. A null watcher sees nothing.
    void decorate(const AnyOperation &real, CallWatcher *watcher);

protected:
    /// A function of the operation's own type, with the context before its arguments.
    using Call = void (*)();

    AnyOperation(Family *family, const char *name, FailureCode failureCode,
                 std::uint64_t failedResult, bool givesArgumentBack, Call unprovided,
                 Call decorated) noexcept;
    ~AnyOperation();

    void fill(Call call, std::shared_ptr<void> context);
    /// The same with a context that lives long enough by itself.
    void fill(Call call, void *context);

    /// Tells the watcher of a decorated slot. True with the result's bits when
    /// the call is to fail.
    static bool isMadeToFail(const AnyOperation &operation, const Argument *arguments,
                             std::size_t count, std::uint64_t *result);
    [[noreturn]] static void endUnprovided(const AnyOperation &operation);

    const char *const m_name;
    const FailureCode m_failureCode;
    const bool m_givesArgumentBack;
    bool m_isProvided = false;
    const std::uint64_t m_failedResult;
    const Call m_decorated;
    Call m_call;
    std::shared_ptr<void> m_context;
    const AnyOperation *m_real = nullptr; // of a decorated slot
    CallWatcher *m_watcher = nullptr;
};

/// A function that is called with a context of its own: what fills a slot when
/// no object has to be kept.
template<typename Signature> struct PlainFunction;
template<typename Result, typename... Arguments> struct PlainFunction<Result(Arguments...)> {
    Result (*call)(void *context, Arguments...);
    void *context;
};

template<typename Signature> class Operation;

/// The slot of one operation. Fill it before other threads call it; calls
/// may then come from any thread that the operation itself allows.
template<typename Result, typename... Arguments>
class Operation<Result(Arguments...)> : public AnyOperation
{
public:
    /// The operation as an exported function of a library.
    using Address = Result(TMC_WINAPI *)(Arguments...);

    /// What fills the slot, to be called by what wraps it.
    class Next
    {
    public:
        Result operator()(Arguments... arguments) const
        {
            return m_call(m_context.get(), arguments...);
        }

    private:
        friend class Operation;
        Result (*m_call)(void *context, Arguments...);
        std::shared_ptr<void> m_context;
    };

    /// Enters the slot in its family. `failure` tells how a call looks that is
    /// made to fail: a FailureCode (the result is then 0, or the code), or the
    /// result that goes with a last error.
    template<typename Failure = FailureCode>
    Operation(Family *family, const char *name, Failure failure = FailureCode::LastError) noexcept
        : AnyOperation(family, name, codeOf(failure), resultOf(failure),
                       std::is_same_v<Failure, FirstArgument>, erased(&unprovided),
                       erased(&decorated))
    {
    }

    Result operator()(Arguments... arguments) const
    {
        return typed(m_call)(m_context.get(), arguments...);
    }

    /// Fills the slot with a function of these arguments, such as a lambda.
    template<typename Function,
             std::enable_if_t<std::is_invocable_r_v<Result, Function &, Arguments...>, int> = 0>
    Operation &operator=(Function function)
    {
        fill(erased(&callFunction<Function>), std::make_shared<Function>(std::move(function)));
        return *this;
    }

    Operation &operator=(PlainFunction<Result(Arguments...)> function)
    {
        fill(erased(function.call), function.context);
        return *this;
    }

    /// Fills the slot with a member function; the object lives as long as a
    /// slot keeps it.
    template<typename Object>
    void provide(const std::shared_ptr<Object> &object, Result (Object::*function)(Arguments...))
    {
        *this = [object, function](Arguments... arguments) -> Result {
            return (object.get()->*function)(arguments...);
        };
    }

    /// Puts a function in front of what fills the slot: it gets that as its
    /// first argument, and then the call's own.
    template<typename Wrapper> void wrap(Wrapper wrapper)
    {
        Next next;
        next.m_call = typed(m_call);
        next.m_context = m_context;
        *this = [next, wrapper](Arguments... arguments) -> Result {
            return wrapper(next, arguments...);
        };
    }

private:
    using TypedCall = Result (*)(void *context, Arguments...);

    static Call erased(TypedCall call) { return reinterpret_cast<Call>(call); }
    static TypedCall typed(Call call) { return reinterpret_cast<TypedCall>(call); }

    template<typename Failure> static constexpr FailureCode codeOf(Failure failure)
    {
        if constexpr (std::is_same_v<Failure, FailureCode>)
            return failure;
        else
            return FailureCode::LastError;
    }

    template<typename Failure> static std::uint64_t resultOf(Failure failure)
    {
        if constexpr (std::is_pointer_v<Failure> || std::is_integral_v<Failure>)
            return Argument(failure).bits();
        else
            return 0;
    }

    static Result fromBits([[maybe_unused]] std::uint64_t bits)
    {
        if constexpr (std::is_pointer_v<Result>)
            return reinterpret_cast<Result>(static_cast<ULONG_PTR>(bits));
        else
            return static_cast<Result>(bits);
    }

    template<typename Function> static Result callFunction(void *context, Arguments... arguments)
    {
        return (*static_cast<Function *>(context))(arguments...);
    }

    static Result unprovided(void *context, Arguments...)
    {
        endUnprovided(*static_cast<const Operation *>(context));
    }

    static Result decorated(void *context, Arguments... arguments)
    {
        const auto &self = *static_cast<const Operation *>(context);
        // One more than there are, since an array has at least one element.
        const Argument list[] = {Argument(arguments)..., Argument(0)};
        std::uint64_t result = 0;
        if (isMadeToFail(self, list, sizeof...(Arguments), &result))
            return fromBits(result);
        return (*static_cast<const Operation *>(self.m_real))(arguments...);
    }
};

} // namespace platform
