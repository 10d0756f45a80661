#pragma once

#include "Windows/Cli/utils/HostGate.h"
#include "Windows/Cli/utils/ManagedHandle.h"

#include <memory>
#include <string>

namespace LumUtilsCli {

/// A managed exception on its way through native frames. Copies share the exception's handle; the last one releases it.
///
/// It is no std::exception: its message is the managed half's to tell, and may fail to arrive.
class ManagedException {
public:
    /// Throws std::bad_alloc, with the handle released, if there is no memory for the shared owner.
    explicit ManagedException(ManagedHandle exceptionHandle);

    /// The exception's Message as native text. Throws whatever the managed half or the conversion throws.
    std::string Message() const;

    /// Gives the handle to the caller, who releases it. This and all copies are then empty.
    LumCliHandle Release() const noexcept { return handle->Release(); }

private:
    std::shared_ptr<ManagedHandle> handle;
};

/// Takes over the exception that a function of the table returned, and throws it. Nothing happens for 0.
void rethrowManaged(const LumCliHostTable& host, LumCliHandle exception);

/// Calls a function of the table, and throws the exception that it returns. Throws HostUnloaded if the managed half has
/// gone.
template <typename Call>
void callManaged(const LumCliHostTable& host, Call call)
{
    const HostCall inside(host);
    if (!inside.IsLetIn()) {
        throw HostUnloaded();
    }
    rethrowManaged(host, call());
}

/// Throws a new managed exception. The text is ASCII, or null where the kind has none. Throws HostUnloaded if the
/// managed half has gone.
[[noreturn]] void throwManaged(const LumCliHostTable& host, LumCliExceptionKind kind, const char* text);

} // namespace LumUtilsCli
