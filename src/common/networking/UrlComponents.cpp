#include "common/networking/UrlComponents.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace LumNetworking {

namespace {

constexpr std::uint32_t kHighestPort = 65535;

/// The most characters that a port has when it is printed.
constexpr std::size_t kMostOfPort = 5;

constexpr bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Letters and digits of ASCII, whatever the host's locale: a URL reads the same in every process.
constexpr bool isAlphanumeric(char character)
{
    return isDigit(character) || (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

char toLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase)
{
    return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                      [](char left, char right) { return toLower(left) == right; });
}

constexpr bool isUnreserved(char character)
{
    return isAlphanumeric(character) || character == '-' || character == '_' || character == '.' || character == '~';
}

/// A table instead of comparisons: whether each byte is copied when it is encoded.
constexpr std::array<bool, 256> makeUnreserved()
{
    std::array<bool, 256> unreserved{};
    for (std::size_t byte = 0; byte < unreserved.size(); ++byte) {
        unreserved[byte] = isUnreserved(static_cast<char>(byte));
    }
    return unreserved;
}

constexpr std::array<bool, 256> kUnreserved = makeUnreserved();

/// These write into room that is there and return where the next character goes.
char* write(char* out, std::string_view text)
{
    return std::copy(text.begin(), text.end(), out);
}

char* writeEncoded(char* out, std::string_view text)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (kUnreserved[byte]) {
            *out++ = character;
            continue;
        }
        *out++ = '%';
        *out++ = kDigits[byte >> 4U];
        *out++ = kDigits[byte & 0x0FU];
    }
    return out;
}

bool needsSlash(const std::string& path)
{
    return !path.empty() && path.front() != '/';
}

/// The most that path and query can take, with every byte of the query encoded.
std::size_t mostOfPathAndQuery(const UrlComponents& url)
{
    std::size_t most = url.path.size() + 1;
    for (const auto& [key, value] : url.queryParameters) {
        most += (key.size() + value.size()) * 3 + 2;
    }
    return most;
}

char* writePathAndQuery(char* out, const UrlComponents& url)
{
    if (needsSlash(url.path)) {
        *out++ = '/';
    }
    out = write(out, url.path);
    char separator = '?';
    for (const auto& [key, value] : url.queryParameters) {
        *out++ = separator;
        out = writeEncoded(out, key);
        *out++ = '=';
        out = writeEncoded(out, value);
        separator = '&';
    }
    return out;
}

/// With the colon before it, if there is a port to print.
char* writePort(char* out, std::uint32_t port)
{
    if (port < 1 || port > kHighestPort) {
        return out;
    }
    *out++ = ':';
    return std::to_chars(out, out + kMostOfPort, port).ptr;
}

/// The value of a hexadecimal digit, or -1.
int hexValue(char character)
{
    if (isDigit(character)) {
        return character - '0';
    }
    const char lower = toLower(character);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string decode(std::string_view text)
{
    std::size_t escape = text.find('%');
    std::string out(text.substr(0, escape));
    while (escape != std::string_view::npos) {
        text.remove_prefix(escape);
        const bool isEscape = text.size() > 2 && hexValue(text[1]) >= 0 && hexValue(text[2]) >= 0;
        out += isEscape ? static_cast<char>(hexValue(text[1]) * 16 + hexValue(text[2])) : '%';
        text.remove_prefix(isEscape ? 3 : 1);
        escape = text.find('%');
        out += text.substr(0, escape);
    }
    return out;
}

/// The text up to the first separator; `rest` becomes what follows it.
std::string_view splitOff(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view head = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return head;
}

/// Four groups of one to three digits; the values of the groups are not checked.
bool isDottedIpv4(std::string_view host)
{
    std::size_t dots = 0;
    std::size_t digits = 0;
    for (const char character : host) {
        if (isDigit(character)) {
            ++digits;
        } else if (character == '.') {
            ++dots;
            if (digits == 0) {
                return false;
            }
            digits = 0;
        } else {
            return false;
        }
        if (digits > 3) {
            return false;
        }
    }
    return dots == 3 && digits > 0;
}

bool isHostName(std::string_view host)
{
    for (std::size_t index = 0; index < host.size(); ++index) {
        const bool isFirst = index == 0;
        const char previous = isFirst ? '\0' : host[index - 1];
        const char character = host[index];
        if (isAlphanumeric(character)) {
            continue;
        }
        if (character == '.') {
            if (isFirst || previous == '.' || previous == '-') {
                return false;
            }
        } else if (character == '-') {
            if (isFirst || index + 1 == host.size() || previous == '.') {
                return false;
            }
        } else {
            return false;
        }
    }
    return true;
}

bool isValidHost(std::string_view host)
{
    if (host.empty()) {
        return false;
    }
    if (host.front() == '[' && host.back() == ']') {
        return host.size() > 2;
    }
    return isDottedIpv4(host) || isHostName(host);
}

bool parsePort(std::string_view digits, std::uint32_t& port)
{
    if (digits.empty()) {
        return false;
    }
    std::uint32_t value = 0;
    for (const char digit : digits) {
        if (!isDigit(digit)) {
            return false;
        }
        value = value * 10 + static_cast<std::uint32_t>(digit - '0');
        if (value > kHighestPort) {
            return false;
        }
    }
    port = value;
    return value != 0;
}

/// Takes the scheme and its separator off the text.
UrlParseStatus parseScheme(std::string_view& text, UrlComponents& out)
{
    constexpr std::string_view kSeparator = "://";
    const std::size_t end = text.find(kSeparator);
    if (end == std::string_view::npos) {
        return UrlParseStatus::MissingScheme;
    }
    const std::string_view scheme = text.substr(0, end);
    out.isSecure = equalsIgnoringCase(scheme, "https");
    if (!out.isSecure && !equalsIgnoringCase(scheme, "http")) {
        return UrlParseStatus::UnsupportedScheme;
    }
    text.remove_prefix(end + kSeparator.size());
    return UrlParseStatus::Parsed;
}

/// The length of the host at the start of the authority, or npos for a bracket that is not closed.
std::size_t hostLength(std::string_view authority)
{
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t bracket = authority.find(']');
        return bracket == std::string_view::npos ? bracket : bracket + 1;
    }
    return std::min(authority.find(':'), authority.size());
}

/// Takes host and port off the text, which is then the path and the query, "/" if there is neither.
UrlParseStatus parseAuthority(std::string_view& text, UrlComponents& out)
{
    const std::string_view authority = text.substr(0, text.find('/'));
    const std::size_t length = hostLength(authority);
    if (length == std::string_view::npos) {
        return UrlParseStatus::InvalidAuthority;
    }
    const std::string_view host = authority.substr(0, length);
    const std::string_view afterHost = authority.substr(length);
    out.port = UrlComponents::kNoPort;
    if (!afterHost.empty() && (afterHost.front() != ':' || !parsePort(afterHost.substr(1), out.port))) {
        return UrlParseStatus::InvalidAuthority;
    }
    if (!isValidHost(host)) {
        return UrlParseStatus::InvalidAuthority;
    }
    out.host = std::string(host);
    text.remove_prefix(authority.size());
    if (text.empty()) {
        text = "/";
    }
    return UrlParseStatus::Parsed;
}

void parseQuery(std::string_view query, std::map<std::string, std::string>& parameters)
{
    while (!query.empty()) {
        std::string_view value = splitOff(query, '&');
        if (value.empty()) {
            continue;
        }
        const std::string_view key = splitOff(value, '=');
        parameters.insert_or_assign(parameters.end(), decode(key), decode(value));
    }
}

void parsePathAndQuery(std::string_view text, UrlComponents& out)
{
    std::string_view query = text.substr(0, text.find('#'));
    out.path = std::string(splitOff(query, '?'));
    parseQuery(query, out.queryParameters);
}

} // namespace

std::string UrlComponents::GetPathAndQuery() const
{
    std::string text(mostOfPathAndQuery(*this), '\0');
    const char* const end = writePathAndQuery(text.data(), *this);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

std::string UrlComponents::GetUrl() const
{
    const std::string_view scheme = isSecure ? "https://" : "http://";
    std::string url(scheme.size() + host.size() + 1 + kMostOfPort + mostOfPathAndQuery(*this), '\0');
    char* end = write(url.data(), scheme);
    end = writePort(write(end, host), port);
    end = writePathAndQuery(end, *this);
    url.resize(static_cast<std::size_t>(end - url.data()));
    return url;
}

UrlParseStatus ParseUrl(const std::string& url, UrlComponents& out)
{
    if (url.empty()) {
        return UrlParseStatus::InvalidAuthority;
    }
    UrlComponents parsed;
    std::string_view rest = url;
    if (const UrlParseStatus status = parseScheme(rest, parsed); status != UrlParseStatus::Parsed) {
        return status;
    }
    if (const UrlParseStatus status = parseAuthority(rest, parsed); status != UrlParseStatus::Parsed) {
        return status;
    }
    parsePathAndQuery(rest, parsed);
    out = std::move(parsed);
    return UrlParseStatus::Parsed;
}

} // namespace LumNetworking
