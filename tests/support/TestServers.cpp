#include "support/TestServers.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace LumTests::TestServers {

namespace {

std::string textFromEnvironment(const char* name)
{
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        throw std::runtime_error(std::string(name) + " is not set: start this program with lum_test_server");
    }
    return value;
}

std::uint16_t portFromEnvironment(const char* name)
{
    return static_cast<std::uint16_t>(std::stoul(textFromEnvironment(name)));
}

const char* portVariable(Certificate certificate)
{
    switch (certificate) {
    case Certificate::SelfSigned:
        return "LUM_TEST_HTTPS_SELF_SIGNED_PORT";
    case Certificate::WrongHost:
        return "LUM_TEST_HTTPS_WRONG_HOST_PORT";
    case Certificate::Expired:
        return "LUM_TEST_HTTPS_EXPIRED_PORT";
    case Certificate::UnknownAuthority:
        return "LUM_TEST_HTTPS_TRUSTED_PORT";
    }
    return "";
}

} // namespace

std::uint16_t scriptedPort()
{
    return portFromEnvironment("LUM_TEST_HTTP_PORT");
}

std::uint16_t silentPort()
{
    return portFromEnvironment("LUM_TEST_SILENT_PORT");
}

std::uint16_t closedPort()
{
    return portFromEnvironment("LUM_TEST_CLOSED_PORT");
}

std::uint16_t fullPort()
{
    return portFromEnvironment("LUM_TEST_FULL_PORT");
}

std::uint16_t nginxPort()
{
    return portFromEnvironment("LUM_TEST_NGINX_PORT");
}

std::vector<std::uint16_t> hostilePorts()
{
    std::istringstream words(textFromEnvironment("LUM_TEST_HOSTILE_PORTS"));
    std::vector<std::uint16_t> ports;
    for (std::uint16_t port = 0; words >> port;) {
        ports.push_back(port);
    }
    return ports;
}

std::string url(std::uint16_t port, const std::string& pathAndQuery)
{
    return "http://127.0.0.1:" + std::to_string(port) + pathAndQuery;
}

std::string scripted(const std::string& pathAndQuery)
{
    return url(scriptedPort(), pathAndQuery);
}

std::string scriptedIpv6(const std::string& pathAndQuery)
{
    return "http://[::1]:" + std::to_string(scriptedPort()) + pathAndQuery;
}

std::string silent()
{
    return url(silentPort(), "/");
}

std::string nginx(const std::string& path)
{
    return url(nginxPort(), path);
}

std::uint16_t securePort(Certificate certificate)
{
    return portFromEnvironment(portVariable(certificate));
}

std::string secure(Certificate certificate, const std::string& path)
{
    return "https://127.0.0.1:" + std::to_string(securePort(certificate)) + path;
}

std::string secureByName(Certificate certificate, const std::string& path)
{
    return "https://localhost:" + std::to_string(securePort(certificate)) + path;
}

std::string newKey()
{
    static const std::string prefix = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) + "-";
    static std::atomic<int> last{0};
    return prefix + std::to_string(++last);
}

std::string queryValue(const std::string& text)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        encoded += '%';
        encoded += kDigits[byte >> 4U];
        encoded += kDigits[byte & 0x0FU];
    }
    return encoded;
}

} // namespace LumTests::TestServers
