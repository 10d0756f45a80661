#pragma once

#include <string>

namespace LumTests {

/// Makes the server at this address, as in "127.0.0.1:3128", the proxy that the system names to the library, for
/// http and https. For a process that has made no request; it lasts for the rest of the process.
void setSystemProxy(const std::string& server);

} // namespace LumTests
