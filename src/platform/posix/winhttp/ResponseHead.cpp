#include "platform/posix/winhttp/ResponseHead.h"

#include "platform/posix/winhttp/HeaderField.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace LumPlatform {

namespace {

/// A server must not fill the memory with its head.
constexpr std::size_t kLongestBlock = std::size_t{256} << 10U;

/// Enough for most heads.
constexpr std::size_t kUsualBlock = 512;

constexpr std::uint64_t kLongestBody = std::numeric_limits<std::int64_t>::max();

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isFolded(std::string_view line)
{
    return !line.empty() && (line.front() == ' ' || line.front() == '\t');
}

std::string_view withoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// The three digits of a status line "HTTP/1.1 200 OK"; 0 for another line.
long statusOf(std::string_view line)
{
    constexpr std::string_view kBeginning = "HTTP/1.";
    constexpr std::size_t kStatusStart = kBeginning.size() + 2;
    constexpr std::size_t kStatusEnd = kStatusStart + 3;
    if (line.size() < kStatusEnd || line.substr(0, kBeginning.size()) != kBeginning ||
        !isDigit(line[kBeginning.size()]) || line[kStatusStart - 1] != ' ') {
        return 0;
    }
    const std::string_view digits = line.substr(kStatusStart, 3);
    const bool isNumber = std::all_of(digits.begin(), digits.end(), isDigit) && digits.front() != '0';
    const bool isDelimited = line.size() == kStatusEnd || line[kStatusEnd] == ' ';
    return isNumber && isDelimited ? (digits[0] - '0') * 100 + (digits[1] - '0') * 10 + (digits[2] - '0') : 0;
}

/// A body length that is a plain decimal number below 2^63.
std::optional<std::uint64_t> bodyLength(std::string_view text)
{
    std::uint64_t length = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, length);
    const bool isNumber = error == std::errc() && parsed == end && length <= kLongestBody;
    return isNumber ? std::optional(length) : std::nullopt;
}

} // namespace

void ResponseHead::Clear()
{
    state = State::Empty;
    status = 0;
    block.clear();
    block.reserve(kUsualBlock);
    locationStart = 0;
    setsCookies = false;
    contentLength.reset();
}

ResponseHead::Verdict ResponseHead::AddLine(std::string_view line)
{
    const std::string_view text = withoutLineEnd(line);
    if (IsAtStart()) {
        return Begin(text);
    }
    if (text.empty()) {
        return End();
    }
    return isFolded(text) ? AddFolded(text) : AddField(text);
}

ResponseHead::Verdict ResponseHead::Begin(std::string_view line)
{
    Clear();
    status = statusOf(line);
    state = State::StatusLine;
    return status != 0 && AddText(line) ? Verdict::Incomplete : Verdict::Invalid;
}

ResponseHead::Verdict ResponseHead::AddField(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return Verdict::Invalid;
    }
    const std::string_view name = line.substr(0, colon);
    state = State::Fields;
    if (!TakeFraming(name, line.substr(colon + 1))) {
        return Verdict::Invalid;
    }
    if (locationStart == 0 && equalsIgnoringCase(name, "Location")) {
        locationStart = block.size() + colon + 1;
    }
    setsCookies = setsCookies || equalsIgnoringCase(name, "Set-Cookie");
    return AddText(line) ? Verdict::Incomplete : Verdict::Invalid;
}

/// A folded line goes on with the field before it, with one space between.
ResponseHead::Verdict ResponseHead::AddFolded(std::string_view line)
{
    if (state != State::Fields) {
        return Verdict::Invalid;
    }
    block.resize(block.size() - 2);
    block += ' ';
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return AddText(line) ? Verdict::Incomplete : Verdict::Invalid;
}

ResponseHead::Verdict ResponseHead::End()
{
    block += "\r\n";
    state = State::Complete;
    return status < 200 ? Verdict::Interim : Verdict::Final;
}

/// False if the head becomes too long.
bool ResponseHead::AddText(std::string_view line)
{
    if (block.size() + line.size() > kLongestBlock) {
        return false;
    }
    block += line;
    block += "\r\n";
    return true;
}

/// Looks at a field by which the response is framed; false if it is not to be relied on.
bool ResponseHead::TakeFraming(std::string_view name, std::string_view value)
{
    const std::string_view bareName = withoutBlanks(name);
    const bool isLength = equalsIgnoringCase(bareName, "Content-Length");
    if (!isLength && !equalsIgnoringCase(bareName, "Transfer-Encoding")) {
        return true;
    }
    state = State::FramingField;
    return bareName.size() == name.size() && (!isLength || TakeContentLength(value));
}

/// Takes a length, or a list of the same length several times (RFC 9112 section 6.3).
bool ResponseHead::TakeContentLength(std::string_view value)
{
    for (std::size_t start = 0; start <= value.size();) {
        const std::size_t end = std::min(value.find(',', start), value.size());
        const std::optional<std::uint64_t> length = bodyLength(withoutBlanks(value.substr(start, end - start)));
        if (!length || (contentLength && *contentLength != *length)) {
            return false;
        }
        contentLength = length;
        start = end + 1;
    }
    return true;
}

std::string_view ResponseHead::Location() const
{
    if (locationStart == 0) {
        return {};
    }
    const std::string_view value = std::string_view(block).substr(locationStart);
    return withoutBlanks(value.substr(0, value.find("\r\n")));
}

} // namespace LumPlatform
