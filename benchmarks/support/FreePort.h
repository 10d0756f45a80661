#pragma once

#include <cstdint>

namespace LumLocalServer {

/// A loopback TCP port that nobody listens on at the moment of the call. Throws std::system_error if there is none.
std::uint16_t FindFreePort();

} // namespace LumLocalServer
