#pragma once

#include "EasyHandle.h"

#include <cstdint>

namespace LumBench {

/// Asks the server how many connections it has accepted, over one connection that is kept.
class ServerStatus {
public:
    explicit ServerStatus(const std::string& url);

    /// Throws std::runtime_error if the server does not say.
    std::uint64_t AcceptedConnections();

private:
    EasyResponse response;
    EasyHandle handle;
};

} // namespace LumBench
