#include "platform/posix/winhttp/RequestUrl.h"

#include <array>
#include <cstddef>

namespace LumPlatform {

namespace {

/// For scheme, brackets, port and slash.
constexpr std::size_t kLengthAroundNames = 20;

constexpr INTERNET_PORT kSecurePort = 443;
constexpr INTERNET_PORT kPlainPort = 80;

/// Which bytes may stand in a request line as they are.
constexpr std::array<bool, 256> makeAllowedBytes()
{
    std::array<bool, 256> allowed = {};
    for (std::size_t byte = 0x21; byte < 0x7F; ++byte) {
        allowed[byte] = true;
    }
    for (const char forbidden : {'"', '#', '<', '>', '[', '\\', ']', '^', '`', '{', '|', '}'}) {
        allowed[static_cast<unsigned char>(forbidden)] = false;
    }
    return allowed;
}

constexpr std::array<bool, 256> kAllowedBytes = makeAllowedBytes();

void appendEncoded(std::string& url, const std::string& name)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (kAllowedBytes[byte]) {
            url += character;
            continue;
        }
        url += '%';
        url += kDigits[byte >> 4U];
        url += kDigits[byte & 0x0FU];
    }
}

/// The host as it stands in a URL: an IPv6 address has brackets.
std::string urlHost(const std::string& host)
{
    if (host.find_first_of("/?#@\\% ") != std::string::npos) {
        return {};
    }
    const bool isBareIpv6 = host.find(':') != std::string::npos && host.front() != '[';
    return isBareIpv6 ? "[" + host + "]" : host;
}

} // namespace

std::string makeRequestUrl(const std::string& host, INTERNET_PORT port, const std::string& objectName, bool isSecure)
{
    const INTERNET_PORT defaultPort = isSecure ? kSecurePort : kPlainPort;
    std::string url;
    url.reserve(host.size() + objectName.size() + kLengthAroundNames);
    url += isSecure ? "https://" : "http://";
    url += urlHost(host);
    url += ':';
    url += std::to_string(port == INTERNET_DEFAULT_PORT ? defaultPort : port);
    if (objectName.empty() || objectName.front() != '/') {
        url += '/';
    }
    appendEncoded(url, objectName);
    return url;
}

} // namespace LumPlatform
