#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

/// SECURITY_ATTRIBUTES: who may use an object that is made.
struct SecurityAttributes {
    DWORD nLength; ///< size of the record
    void *lpSecurityDescriptor;
    BOOL bInheritHandle;
};
static_assert(sizeof(SecurityAttributes) == 24, "SECURITY_ATTRIBUTES on 64-bit Windows");

inline constexpr DWORD SddlRevision1 = 1; ///< SDDL_REVISION_1

/// Rights to objects (advapi32), and the user's own (shell32). Any thread.
struct Security : Family {
    /// The rights that a text in the security descriptor definition language
    /// grants. *SecurityDescriptor is the caller's until LocalFree. The size
    /// may be null. Zero on failure: 87 for a text that cannot be read, 50
    /// where objects have no such rights.
    Operation<BOOL(const WCHAR *StringSecurityDescriptor, DWORD StringSDRevision,
                   void **SecurityDescriptor, ULONG *SecurityDescriptorSize)>
        ConvertStringSecurityDescriptorToSecurityDescriptorW{
            this, "ConvertStringSecurityDescriptorToSecurityDescriptorW"};

    /// Whether this process has an administrator's rights. Zero when it has not,
    /// and also for an administrator who has not started it as one. It stays so
    /// for as long as the process lives; cannot fail.
    Operation<BOOL()> IsUserAnAdmin{this, "IsUserAnAdmin", FailureCode::None};
};

} // namespace platform
