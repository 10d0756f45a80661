#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace LumTests {

/// Where the servers of lum_test_server are. Each function throws, and so fails the test, if the program was not
/// started by it.
namespace TestServers {

std::uint16_t scriptedPort();
std::uint16_t silentPort();
std::uint16_t closedPort();

/// Of 127.0.0.1 only, as the following.
std::uint16_t fullPort();
std::uint16_t nginxPort();
std::vector<std::uint16_t> hostilePorts();

/// http://127.0.0.1:PORT and the path.
std::string url(std::uint16_t port, const std::string& pathAndQuery);

/// The scripted server's URL.
std::string scripted(const std::string& pathAndQuery);

/// The same by its IPv6 address.
std::string scriptedIpv6(const std::string& pathAndQuery);

std::string silent();
std::string nginx(const std::string& path);

/// Which certificate an https server shows.
enum class Certificate {
    SelfSigned,
    WrongHost,
    Expired,
    /// In order, but for that no system knows the authority that signed it.
    UnknownAuthority,
};

std::uint16_t securePort(Certificate certificate);
std::string secure(Certificate certificate, const std::string& path);

/// The same by the name localhost.
std::string secureByName(Certificate certificate, const std::string& path);

/// A key for the scripted server's gates and counts, which each run of a test has of its own: a gate opens once only.
std::string newKey();

/// The text as it stands in a query.
std::string queryValue(const std::string& text);

} // namespace TestServers

} // namespace LumTests
