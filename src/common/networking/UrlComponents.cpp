#include "common/networking/UrlComponents.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <tuple>
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

constexpr char toLower(char character)
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

/// What a byte means in a host name.
enum class HostByte : unsigned char { Plain, Mark, Foreign };

constexpr HostByte hostByte(char character)
{
    if (isAlphanumeric(character)) {
        return HostByte::Plain;
    }
    return character == '-' || character == '.' ? HostByte::Mark : HostByte::Foreign;
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

/// Two digits of which one is none have a value above every byte's.
constexpr unsigned int kNoDigit = 0x100;

constexpr unsigned int hexValue(char character)
{
    const char lower = toLower(character);
    if (isDigit(lower)) {
        return static_cast<unsigned int>(lower - '0');
    }
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned int>(lower - 'a') + 10 : kNoDigit;
}

constexpr std::array<bool, 256> kUnreserved = tableOf(isUnreserved);
constexpr std::array<HostByte, 256> kHostBytes = tableOf(hostByte);
constexpr std::array<QueryByte, 256> kQueryBytes = tableOf(queryByte);
constexpr std::array<unsigned int, 256> kHexValues = tableOf(hexValue);

template <const auto& table>
constexpr auto lookUp(char character)
{
    return table[static_cast<unsigned char>(character)];
}

/// The first character that is not plain by the table. Four are looked up for one decision.
template <const auto& table>
const char* skipPlain(const char* at, const char* end)
{
    const auto kind = [](char character) { return static_cast<unsigned int>(lookUp<table>(character)); };
    while (end - at >= 4 && (kind(at[0]) | kind(at[1]) | kind(at[2]) | kind(at[3])) == 0) {
        at += 4;
    }
    while (at != end && kind(*at) == 0) {
        ++at;
    }
    return at;
}

/// These write into room that is there and return where the next character goes.
char* write(char* out, std::string_view text)
{
    return std::copy(text.begin(), text.end(), out);
}

char* writeEncoded(char* out, std::string_view text)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : text) {
        if (lookUp<kUnreserved>(character)) {
            *out++ = character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
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

/// The byte that the two digits stand for, or kNoDigit and more.
unsigned int hexByte(const char* digits)
{
    return lookUp<kHexValues>(digits[0]) * 16 + lookUp<kHexValues>(digits[1]);
}

/// An escape is three characters; what only looks like one stands for itself.
void decodeInPlace(std::string& text)
{
    char* out = text.data();
    const char* const end = out + text.size();
    for (const char* at = out; at != end;) {
        const unsigned int byte = *at == '%' && end - at > 2 ? hexByte(at + 1) : kNoDigit;
        const bool isEscape = byte < kNoDigit;
        *out++ = isEscape ? static_cast<char>(byte) : *at;
        at += isEscape ? 3 : 1;
    }
    text.resize(static_cast<std::size_t>(out - text.data()));
}

std::string decoded(std::string_view text)
{
    std::string result(text);
    decodeInPlace(result);
    return result;
}

/// The parts of a URL as they stand in its text.
struct UrlText {
    bool isSecure = false;
    std::uint32_t port = UrlComponents::kNoPort;
    std::string_view host;
    std::string_view path;
    std::string_view query;
};

/// Whether the text begins with the prefix, in whatever case.
inline bool startsWith(std::string_view text, std::string_view lowerCasePrefix)
{
    const std::string_view start = text.substr(0, lowerCasePrefix.size());
    return start == lowerCasePrefix || equalsIgnoringCase(start, lowerCasePrefix);
}

/// Takes the scheme and its separator off the text.
UrlParseStatus takeScheme(std::string_view& text, UrlText& url)
{
    url.isSecure = startsWith(text, kSecureScheme);
    if (url.isSecure || startsWith(text, kPlainScheme)) {
        text.remove_prefix(url.isSecure ? kSecureScheme.size() : kPlainScheme.size());
        return UrlParseStatus::Parsed;
    }
    return text.find("://") == std::string_view::npos ? UrlParseStatus::MissingScheme
                                                      : UrlParseStatus::UnsupportedScheme;
}

/// The length of the host name or dotted IPv4 address at the start of the text, 0 if there is none: letters and digits,
/// with a dot or hyphens between them, and a dot at the end if need be.
std::size_t hostNameLength(std::string_view text)
{
    const char* const end = text.data() + text.size();
    // The beginning counts as a dot: neither mark may stand after one.
    char mark = '.';
    for (const char* at = text.data();; ++at) {
        const char* const label = at;
        at = skipPlain<kHostBytes>(at, end);
        const bool isEmpty = at == label;
        if (at == end || lookUp<kHostBytes>(*at) != HostByte::Mark) {
            return isEmpty && mark == '-' ? 0 : static_cast<std::size_t>(at - text.data());
        }
        if (isEmpty && (mark == '.' || *at == '.')) {
            return 0;
        }
        mark = *at;
    }
}

/// The length of the host at the start of the text, 0 if there is none.
std::size_t hostLength(std::string_view text)
{
    if (text.empty() || text.front() != '[') {
        return hostNameLength(text);
    }
    const std::size_t bracket = text.substr(0, text.find('/')).find(']');
    return bracket == std::string_view::npos || bracket == 1 ? 0 : bracket + 1;
}

/// Takes a port with its colon off the text.
bool takePort(std::string_view& text, std::uint32_t& port)
{
    port = 0;
    text.remove_prefix(1);
    for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1)) {
        port = port * 10 + static_cast<std::uint32_t>(text.front() - '0');
        if (port > kHighestPort) {
            return false;
        }
    }
    return port != 0;
}

/// Takes host and port off the text, after which the path begins.
bool takeAuthority(std::string_view& text, UrlText& url)
{
    url.host = text.substr(0, hostLength(text));
    text.remove_prefix(url.host.size());
    const bool hasPort = !text.empty() && text.front() == ':';
    if (url.host.empty() || (hasPort && !takePort(text, url.port))) {
        return false;
    }
    return text.empty() || text.front() == '/';
}

/// The path is "/" if the text is empty; a fragment belongs to neither.
void splitPathAndQuery(std::string_view text, UrlText& url)
{
    const std::string_view whole = text.empty() ? std::string_view("/") : text.substr(0, text.find('#'));
    const std::size_t mark = whole.find('?');
    url.path = whole.substr(0, mark);
    if (mark != std::string_view::npos) {
        url.query = whole.substr(mark + 1);
    }
}

/// A key or a value as it stands in a query.
struct QueryPart {
    std::string_view text;
    bool hasEscape = false;
};

/// The text up to the next byte that ends such a part.
QueryPart partAt(const char* begin, const char* end, QueryByte endOfPart)
{
    const char* at = skipPlain<kQueryBytes>(begin, end);
    bool hasEscape = false;
    while (at != end && lookUp<kQueryBytes>(*at) < endOfPart) {
        hasEscape |= *at == '%';
        at = skipPlain<kQueryBytes>(at + 1, end);
    }
    return {std::string_view(begin, static_cast<std::size_t>(at - begin)), hasEscape};
}

/// What makes a string of the text where it is to stand.
std::tuple<const char*, std::size_t> stringOf(std::string_view text)
{
    return {text.data(), text.size()};
}

/// The last of several values of one key counts. Most queries are in the order of their keys, so that the place is the
/// end; nothing is copied on the way there.
void setParameter(std::map<std::string, std::string>& parameters, const QueryPart& key, const QueryPart& value)
{
    const std::size_t count = parameters.size();
    const auto place = key.hasEscape ? parameters.emplace_hint(parameters.end(), decoded(key.text), value.text)
                                     : parameters.emplace_hint(parameters.end(), std::piecewise_construct,
                                                               stringOf(key.text), stringOf(value.text));
    if (parameters.size() == count) {
        place->second = value.text;
    }
    if (value.hasEscape) {
        decodeInPlace(place->second);
    }
}

void parseQuery(std::string_view query, std::map<std::string, std::string>& parameters)
{
    const char* at = query.data();
    const char* const end = at + query.size();
    while (at != end) {
        const QueryPart key = partAt(at, end, QueryByte::EndOfKey);
        at += key.text.size();
        QueryPart value;
        const bool hasValue = at != end && *at == '=';
        if (hasValue) {
            value = partAt(at + 1, end, QueryByte::EndOfValue);
            at += 1 + value.text.size();
        }
        if (hasValue || !key.text.empty()) {
            setParameter(parameters, key, value);
        }
        at += at == end ? 0 : 1;
    }
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
    UrlText text;
    std::string_view rest = url;
    if (const UrlParseStatus status = takeScheme(rest, text); status != UrlParseStatus::Parsed) {
        return status;
    }
    if (!takeAuthority(rest, text)) {
        return UrlParseStatus::InvalidAuthority;
    }
    splitPathAndQuery(rest, text);
    UrlComponents parsed{text.isSecure, std::string(text.host), std::string(text.path), text.port, {}};
    parseQuery(text.query, parsed.queryParameters);
    out = std::move(parsed);
    return UrlParseStatus::Parsed;
}

} // namespace LumNetworking
