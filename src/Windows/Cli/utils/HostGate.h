#pragma once

#include "Windows/Cli/LumCliAbi.h"

#include <stdexcept>

namespace LumUtilsCli {

/// Thrown in place of a call into a managed half that has gone.
class HostUnloaded : public std::runtime_error {
public:
    HostUnloaded() : std::runtime_error("The application domain of the host's objects has been unloaded.") {}
};

/// A call into the managed half, from before its first instruction until after its last. The gate of the managed half
/// is passed on the way in, unless it is closed, and knows until the end that somebody is inside.
class HostCall {
public:
    explicit HostCall(const LumCliHostTable& host) noexcept;
    ~HostCall();
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;

    /// Whether the managed half may be called.
    bool IsLetIn() const { return isLetIn; }

private:
    LumCliGate* gate;
    bool isLetIn;
};

} // namespace LumUtilsCli
