#pragma once

#include "Windows/Cli/LumCliAbi.h"

namespace LumUtilsCli {

/// A managed object, lent by its owner for a call. It keeps nothing alive.
struct ManagedReference {
    const LumCliHostTable* host;
    LumCliHandle handle;

    bool IsNull() const { return handle == 0; }
};

/// A strong handle: the managed object lives as long as this does. The handle is released exactly once.
class ManagedHandle {
public:
    /// Takes over a handle that belongs to the caller.
    static ManagedHandle Adopt(const LumCliHostTable& host, LumCliHandle owned) noexcept;

    /// A handle of its own to the object; the null reference stays one. Throws ManagedException if the managed half
    /// cannot make one.
    explicit ManagedHandle(const ManagedReference& object);

    ~ManagedHandle();
    ManagedHandle(ManagedHandle&& other) noexcept;
    ManagedHandle(const ManagedHandle&) = delete;
    ManagedHandle& operator=(const ManagedHandle&) = delete;

    const LumCliHostTable& Host() const { return *host; }
    LumCliHandle Get() const { return handle; }
    bool IsNull() const { return handle == 0; }

    /// Gives the handle to the caller, who releases it.
    LumCliHandle Release() noexcept;

private:
    ManagedHandle(const LumCliHostTable& hostTable, LumCliHandle owned) noexcept;

    const LumCliHostTable* host;
    LumCliHandle handle;
};

} // namespace LumUtilsCli
