#pragma once

#include <cstdint>
#include <string>

namespace LumTests {

/// Asks the HTTP server at that port of 127.0.0.1 for the path, with nothing of the library, and waits until it has
/// answered: for tests that leave no memory to the library. Throws if it cannot.
void requestPlainly(std::uint16_t port, const std::string& pathAndQuery);

} // namespace LumTests
