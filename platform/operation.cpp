#include "platform/operation.h"

#include "platform/text.h"

#include <QString>
#include <QtGlobal>

namespace platform {

QString Argument::description() const
{
    if (m_kind == Kind::Signed)
        return QString::number(static_cast<qint64>(m_bits));
    if (m_kind == Kind::Unsigned)
        return QString::number(m_bits);
    if (m_bits == 0)
        return "null";
    const auto address = static_cast<ULONG_PTR>(m_bits);
    switch (m_kind) {
    case Kind::WideText:
        return '"' + fromWide(reinterpret_cast<const WCHAR *>(address)) + '"';
    case Kind::Text:
        return '"' + QString::fromLatin1(reinterpret_cast<const char *>(address)) + '"';
    case Kind::Handle:
        return "0x" + QString::number(m_bits, 16);
    default:
        return "&";
    }
}

AnyOperation::AnyOperation(Family *family, const char *name, FailureCode failureCode,
                           std::uint64_t failedResult, bool givesArgumentBack, Call unprovided,
                           Call decorated) noexcept
    : m_name(name),
      m_failureCode(failureCode),
      m_givesArgumentBack(givesArgumentBack),
      m_failedResult(failedResult),
      m_decorated(decorated),
      m_call(unprovided),
      m_context(std::shared_ptr<void>(), this)
{
    family->m_operations.push_back(this);
}

AnyOperation::~AnyOperation() = default;

void AnyOperation::fill(Call call, std::shared_ptr<void> context)
{
    m_call = call;
    m_context = std::move(context);
    m_isProvided = true;
}

void AnyOperation::fill(Call call, void *context)
{
    fill(call, std::shared_ptr<void>(std::shared_ptr<void>(), context));
}

void AnyOperation::decorate(const AnyOperation &real, CallWatcher *watcher)
{
    m_real = &real;
    m_watcher = watcher;
    fill(m_decorated, this);
}

bool AnyOperation::isMadeToFail(const AnyOperation &operation, const Argument *arguments,
                                std::size_t count, std::uint64_t *result)
{
    DWORD code = Success;
    if (!operation.m_watcher ||
        !operation.m_watcher->beforeCall(
            operation, std::vector<Argument>(arguments, arguments + count), &code))
        return false;
    if (operation.m_failureCode == FailureCode::Result) {
        *result = code;
        return true;
    }
    operation.m_watcher->failedWith(code);
    *result = operation.m_givesArgumentBack ? arguments[0].bits() : operation.m_failedResult;
    return true;
}

void AnyOperation::endUnprovided(const AnyOperation &operation)
{
    qFatal("this platform backend provides no %s", operation.m_name);
}

} // namespace platform
