#include "common/networking/UrlComponents.h"

#include <algorithm>
#include <string_view>

namespace LumNetworking {

namespace {

constexpr std::uint32_t kHighestPort = 65535;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Letters and digits of ASCII, whatever the host's locale: a URL reads the same in every process.
bool isAlphanumeric(char character)
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

bool isUnreserved(char character)
{
    return isAlphanumeric(character) || character == '-' || character == '_' || character == '.' || character == '~';
}

void appendEncoded(std::string& out, const std::string& text)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : text) {
        if (isUnreserved(character)) {
            out += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        out += '%';
        out += kDigits[byte >> 4U];
        out += kDigits[byte & 0x0FU];
    }
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
    std::string out;
    out.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool isEscape = text[index] == '%' && index + 2 < text.size() && hexValue(text[index + 1]) >= 0 &&
                              hexValue(text[index + 2]) >= 0;
        if (!isEscape) {
            out += text[index];
            continue;
        }
        out += static_cast<char>(hexValue(text[index + 1]) * 16 + hexValue(text[index + 2]));
        index += 2;
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
        parameters[decode(key)] = decode(value);
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
    std::string text;
    if (!path.empty() && path.front() != '/') {
        text += '/';
    }
    text += path;
    char separator = '?';
    for (const auto& [key, value] : queryParameters) {
        text += separator;
        appendEncoded(text, key);
        text += '=';
        appendEncoded(text, value);
        separator = '&';
    }
    return text;
}

std::string UrlComponents::GetUrl() const
{
    std::string url = isSecure ? "https://" : "http://";
    url += host;
    if (port >= 1 && port <= kHighestPort) {
        url += ':';
        url += std::to_string(port);
    }
    return url + GetPathAndQuery();
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
