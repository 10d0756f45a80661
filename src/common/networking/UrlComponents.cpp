#include "common/networking/UrlComponents.h"

#include "common/networking/Ipv6Address.h"
#include "common/utils/LumAscii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <new>
#include <string_view>
#include <tuple>
#include <utility>

namespace LumNetworking {

namespace {

constexpr std::string_view kSecureScheme = "https://";
constexpr std::string_view kPlainScheme = "http://";

constexpr std::uint32_t kHighestPort = 65535;

using LumUtils::Ascii::equalsIgnoringCase;
using LumUtils::Ascii::isAlphanumeric;
using LumUtils::Ascii::isDigit;
using LumUtils::Ascii::toLower;

/// Whether the character is written as an escape.
constexpr bool isEncoded(char character)
{
    return !isAlphanumeric(character) && character != '-' && character != '_' && character != '.' && character != '~';
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

constexpr std::array<bool, 256> kEncodedBytes = tableOf(isEncoded);
constexpr std::array<HostByte, 256> kHostBytes = tableOf(hostByte);
constexpr std::array<QueryByte, 256> kQueryBytes = tableOf(queryByte);
constexpr std::array<unsigned int, 256> kHexValues = tableOf(hexValue);

template <const auto& table>
constexpr auto lookUp(char character)
{
    return table[static_cast<unsigned char>(character)];
}

/// How many characters are looked up for one decision.
constexpr std::ptrdiff_t kStep = 4;

/// Whether the next characters are all plain, for which the table has 0.
template <const auto& table>
bool isStepPlain(const char* at)
{
    const auto kind = [](char character) { return static_cast<unsigned int>(lookUp<table>(character)); };
    return (kind(at[0]) | kind(at[1]) | kind(at[2]) | kind(at[3])) == 0;
}

template <const auto& table>
bool isPlain(char character)
{
    return static_cast<unsigned int>(lookUp<table>(character)) == 0;
}

/// The first character that is not plain.
template <const auto& table>
const char* skipPlain(const char* at, const char* end)
{
    while (end - at >= kStep && isStepPlain<table>(at)) {
        at += kStep;
    }
    while (at != end && isPlain<table>(*at)) {
        ++at;
    }
    return at;
}

char* writeEscape(char* out, char character)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(character);
    *out++ = '%';
    *out++ = kDigits[byte >> 4U];
    *out++ = kDigits[byte & 0x0FU];
    return out;
}

/// Writes into room for three times the text, and returns where the next character goes.
char* writeEncoded(char* out, std::string_view text)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;; out = writeEscape(out, *at++)) {
        for (; end - at >= kStep && isStepPlain<kEncodedBytes>(at); at += kStep) {
            out = std::copy(at, at + kStep, out);
        }
        for (; at != end && isPlain<kEncodedBytes>(*at); ++at) {
            *out++ = *at;
        }
        if (at == end) {
            return out;
        }
    }
}

/// More than a string can have, maybe.
std::uint64_t encodedLength(std::string_view text)
{
    const auto escapes = std::count_if(text.begin(), text.end(), isEncoded);
    return text.size() + static_cast<std::uint64_t>(escapes) * 2;
}

/// What a usual URL takes at most; it needs no memory before its length is known.
using UsualRoom = char[256];

/// Puts text together piece by piece: in the room that it is given, and when that is full behind what was in it before.
class TextWriter {
public:
    explicit TextWriter(UsualRoom& newRoom) : room(newRoom), out(newRoom), end(newRoom + sizeof(newRoom)) {}
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    void Add(std::string_view text)
    {
        if (text.size() <= Left()) {
            out = std::copy(text.begin(), text.end(), out);
        } else {
            EmptiedFor(text.size()).append(text);
        }
    }

    void Add(std::uint32_t number)
    {
        char digits[10];
        const char* const last = std::to_chars(digits, digits + sizeof(digits), number).ptr;
        Add(std::string_view(digits, static_cast<std::size_t>(last - digits)));
    }

    void AddEncoded(std::string_view text)
    {
        if (text.size() <= Left() / 3) {
            out = writeEncoded(out, text);
        } else {
            AddLongEncoded(text);
        }
    }

    /// The whole text; the writer is empty then.
    std::string Take() { return taken.empty() ? std::string(room, Length()) : std::move(EmptiedFor(0)); }

private:
    std::size_t Length() const { return static_cast<std::size_t>(out - room); }
    std::size_t Left() const { return static_cast<std::size_t>(end - out); }

    /// A long one may need most of what memory there is, so it is measured first.
    void AddLongEncoded(std::string_view text)
    {
        const std::uint64_t length = encodedLength(text);
        std::string& before = EmptiedFor(length);
        before.resize(before.size() + static_cast<std::size_t>(length));
        writeEncoded(before.data() + before.size() - length, text);
    }

    /// What was taken out of the room, which is empty then; so many characters can still be appended.
    std::string& EmptiedFor(std::uint64_t more)
    {
        if (Length() + more > taken.max_size() - taken.size()) {
            throw std::bad_alloc();
        }
        taken.append(room, Length());
        out = room;
        return taken;
    }

    std::string taken;
    char* const room;
    char* out;
    const char* const end;
};

void addPathAndQuery(TextWriter& text, const UrlComponents& url)
{
    if (!url.path.empty() && url.path.front() != '/') {
        text.Add("/");
    }
    text.Add(url.path);
    std::string_view separator = "?";
    for (const auto& [key, value] : url.queryParameters) {
        text.Add(separator);
        text.AddEncoded(key);
        text.Add("=");
        text.AddEncoded(value);
        separator = "&";
    }
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
    const std::size_t bracket = text.find(']');
    if (bracket == std::string_view::npos || !isIpv6Address(text.substr(1, bracket - 1))) {
        return 0;
    }
    return bracket + 1;
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
    UsualRoom room;
    TextWriter text(room);
    addPathAndQuery(text, *this);
    return text.Take();
}

std::string UrlComponents::GetUrl() const
{
    UsualRoom room;
    TextWriter text(room);
    text.Add(isSecure ? kSecureScheme : kPlainScheme);
    text.Add(host);
    if (port >= 1 && port <= kHighestPort) {
        text.Add(":");
        text.Add(port);
    }
    addPathAndQuery(text, *this);
    return text.Take();
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
