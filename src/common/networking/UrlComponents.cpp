#include "common/networking/UrlComponents.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace LumNetworking {

namespace {

constexpr std::string_view kSecureScheme = "https://";
constexpr std::string_view kPlainScheme = "http://";

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

/// Tables instead of comparisons: what holds for each byte.
template <typename Value>
constexpr std::array<Value, 256> tableOf(Value (*valueOf)(char))
{
    std::array<Value, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        table[byte] = valueOf(static_cast<char>(byte));
    }
    return table;
}

/// What a byte means in a query. A key ends at the last two, a value at the last one.
enum class QueryByte : unsigned char { Plain, Escape, EndOfKey, EndOfValue };

constexpr QueryByte queryByte(char character)
{
    switch (character) {
    case '%':
        return QueryByte::Escape;
    case '=':
        return QueryByte::EndOfKey;
    case '&':
        return QueryByte::EndOfValue;
    default:
        return QueryByte::Plain;
    }
}

constexpr std::array<bool, 256> kAlphanumeric = tableOf(isAlphanumeric);
constexpr std::array<bool, 256> kUnreserved = tableOf(isUnreserved);
constexpr std::array<QueryByte, 256> kQueryBytes = tableOf(queryByte);

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

/// An escape is three characters; what only looks like one stands for itself.
void decodeInPlace(std::string& text)
{
    char* out = text.data();
    const char* const end = out + text.size();
    for (const char* at = out; at != end; ++at) {
        const bool isEscape = *at == '%' && end - at > 2 && hexValue(at[1]) >= 0 && hexValue(at[2]) >= 0;
        *out++ = isEscape ? static_cast<char>(hexValue(at[1]) * 16 + hexValue(at[2])) : *at;
        at += isEscape ? 2 : 0;
    }
    text.resize(static_cast<std::size_t>(out - text.data()));
}

std::string decoded(std::string_view text)
{
    std::string result(text);
    decodeInPlace(result);
    return result;
}

/// The text up to the first separator; `rest` becomes what follows it.
std::string_view splitOff(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view head = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return head;
}

/// A dotted IPv4 address is such a name too. The beginning counts as a dot: neither mark may stand after one.
bool isHostName(std::string_view host)
{
    char previous = '.';
    for (const char character : host) {
        if (!kAlphanumeric[static_cast<unsigned char>(character)]) {
            const bool isMark = character == '-' || (character == '.' && previous != '-');
            if (!isMark || previous == '.') {
                return false;
            }
        }
        previous = character;
    }
    return previous != '-';
}

bool isValidHost(std::string_view host)
{
    if (host.empty()) {
        return false;
    }
    if (host.front() == '[' && host.back() == ']') {
        return host.size() > 2;
    }
    return isHostName(host);
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

/// Takes the prefix off the text, if it is there in whatever case.
bool takeOff(std::string_view& text, std::string_view lowerCasePrefix)
{
    if (!equalsIgnoringCase(text.substr(0, lowerCasePrefix.size()), lowerCasePrefix)) {
        return false;
    }
    text.remove_prefix(lowerCasePrefix.size());
    return true;
}

/// Takes the scheme and its separator off the text.
UrlParseStatus parseScheme(std::string_view& text, UrlComponents& out)
{
    out.isSecure = takeOff(text, kSecureScheme);
    if (out.isSecure || takeOff(text, kPlainScheme)) {
        return UrlParseStatus::Parsed;
    }
    return text.find("://") == std::string_view::npos ? UrlParseStatus::MissingScheme
                                                      : UrlParseStatus::UnsupportedScheme;
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
    out.host = host;
    text.remove_prefix(authority.size());
    if (text.empty()) {
        text = "/";
    }
    return UrlParseStatus::Parsed;
}

/// A key or a value as it stands in a query.
struct QueryPart {
    std::string_view text;
    bool hasEscape = false;
};

/// Takes the text before the next such byte off the query, and leaves the byte there.
QueryPart takePart(std::string_view& query, QueryByte end)
{
    QueryPart part;
    std::size_t length = 0;
    for (; length < query.size(); ++length) {
        const QueryByte byte = kQueryBytes[static_cast<unsigned char>(query[length])];
        if (byte >= end) {
            break;
        }
        part.hasEscape |= byte == QueryByte::Escape;
    }
    part.text = query.substr(0, length);
    query.remove_prefix(length);
    return part;
}

/// The last of several values of one key counts. Most queries are in the order of their keys, so that the place is the
/// end; nothing is copied on the way there.
void setParameter(std::map<std::string, std::string>& parameters, const QueryPart& key, const QueryPart& value)
{
    const std::size_t count = parameters.size();
    const auto place = key.hasEscape ? parameters.emplace_hint(parameters.end(), decoded(key.text), value.text)
                                     : parameters.emplace_hint(parameters.end(), key.text, value.text);
    if (parameters.size() == count) {
        place->second = value.text;
    }
    if (value.hasEscape) {
        decodeInPlace(place->second);
    }
}

void parseQuery(std::string_view query, std::map<std::string, std::string>& parameters)
{
    while (!query.empty()) {
        const QueryPart key = takePart(query, QueryByte::EndOfKey);
        QueryPart value;
        const bool hasValue = !query.empty() && query.front() == '=';
        if (hasValue) {
            query.remove_prefix(1);
            value = takePart(query, QueryByte::EndOfValue);
        }
        query.remove_prefix(query.empty() ? 0 : 1);
        if (hasValue || !key.text.empty()) {
            setParameter(parameters, key, value);
        }
    }
}

void parsePathAndQuery(std::string_view text, UrlComponents& out)
{
    std::string_view query = text.substr(0, text.find('#'));
    out.path = splitOff(query, '?');
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
    const std::string_view scheme = isSecure ? kSecureScheme : kPlainScheme;
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
