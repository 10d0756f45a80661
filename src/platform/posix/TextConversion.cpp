#include "platform/posix/PosixPlatform.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr char32_t kHighestCodePoint = 0x10FFFF;
constexpr char32_t kReplacement = 0xFFFD;

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0U) == 0x80U;
}

bool isSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

/// How many bytes follow a lead byte, or -1 if it is none.
int continuationCount(unsigned char lead)
{
    if (lead < 0x80U) {
        return 0;
    }
    if (lead >= 0xC2U && lead <= 0xDFU) {
        return 1;
    }
    if (lead >= 0xE0U && lead <= 0xEFU) {
        return 2;
    }
    return lead >= 0xF0U && lead <= 0xF4U ? 3 : -1;
}

/// Reads one code point and steps over it; kInvalid for anything but the shortest form of a Unicode scalar value.
char32_t readUtf8(const char*& text, const char* end)
{
    const auto lead = static_cast<unsigned char>(*text++);
    const int count = continuationCount(lead);
    if (count <= 0) {
        return count == 0 ? lead : kInvalid;
    }
    if (end - text < count) {
        return kInvalid;
    }
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    char32_t codePoint = lead & (0x3FU >> static_cast<unsigned int>(count));
    for (int index = 0; index < count; ++index) {
        const auto byte = static_cast<unsigned char>(*text++);
        if (!isContinuation(byte)) {
            return kInvalid;
        }
        codePoint = (codePoint << 6U) | (byte & 0x3FU);
    }
    const bool isScalar = codePoint >= kSmallest[count] && codePoint <= kHighestCodePoint && !isSurrogate(codePoint);
    return isScalar ? codePoint : kInvalid;
}

/// Whether a byte may follow the lead byte at once: after some of them not every continuation begins valid text.
bool mayFollow(unsigned char lead, unsigned char second)
{
    switch (lead) {
    case 0xE0:
        return second >= 0xA0 && second <= 0xBF;
    case 0xED:
        return second >= 0x80 && second <= 0x9F;
    case 0xF0:
        return second >= 0x90 && second <= 0xBF;
    case 0xF4:
        return second >= 0x80 && second <= 0x8F;
    default:
        return isContinuation(second);
    }
}

/// The end of what one replacement character stands for where there is no valid text: the longest part that could begin
/// valid text, and at least one byte. Unicode recommends it, and decoders elsewhere do the same.
const char* endOfInvalid(const char* text, const char* end)
{
    const auto lead = static_cast<unsigned char>(*text);
    const int count = continuationCount(lead);
    const char* next = text + 1;
    if (count <= 0 || next == end || !mayFollow(lead, static_cast<unsigned char>(*next))) {
        return next;
    }
    while (next - text < count && next != end && isContinuation(static_cast<unsigned char>(*next))) {
        ++next;
    }
    return next;
}

/// As readUtf8, with one replacement character for each part that is not valid text.
char32_t readUtf8Replacing(const char*& text, const char* end)
{
    const char* const start = text;
    const char32_t codePoint = readUtf8(text, end);
    if (codePoint == kInvalid) {
        text = endOfInvalid(start, end);
        return kReplacement;
    }
    return codePoint;
}

/// Reads one code point and steps over it; kInvalid for an unpaired surrogate.
char32_t readUtf16(const WCHAR*& text, const WCHAR* end)
{
    const char32_t unit = *text++;
    if (!isSurrogate(unit)) {
        return unit;
    }
    const bool isPair = unit <= 0xDBFF && text != end && *text >= 0xDC00 && *text <= 0xDFFF;
    if (!isPair) {
        return kInvalid;
    }
    return 0x10000 + ((unit - 0xD800) << 10U) + (static_cast<char32_t>(*text++) - 0xDC00);
}

int encodeUtf16(char32_t codePoint, WCHAR (&units)[2])
{
    if (codePoint < 0x10000) {
        units[0] = static_cast<WCHAR>(codePoint);
        return 1;
    }
    units[0] = static_cast<WCHAR>(0xD800 + ((codePoint - 0x10000) >> 10U));
    units[1] = static_cast<WCHAR>(0xDC00 + ((codePoint - 0x10000) & 0x3FFU));
    return 2;
}

int encodeUtf8(char32_t codePoint, char (&bytes)[4])
{
    const auto continuation = [codePoint](unsigned int shift) {
        return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
    };
    if (codePoint < 0x80) {
        bytes[0] = static_cast<char>(codePoint);
        return 1;
    }
    if (codePoint < 0x800) {
        bytes[0] = static_cast<char>(0xC0U | (codePoint >> 6U));
        bytes[1] = continuation(0);
        return 2;
    }
    if (codePoint < 0x10000) {
        bytes[0] = static_cast<char>(0xE0U | (codePoint >> 12U));
        bytes[1] = continuation(6);
        bytes[2] = continuation(0);
        return 3;
    }
    bytes[0] = static_cast<char>(0xF0U | (codePoint >> 18U));
    bytes[1] = continuation(12);
    bytes[2] = continuation(6);
    bytes[3] = continuation(0);
    return 4;
}

/// How many units at the start of the text are ASCII. Most text is, and in blocks the compiler does many at a time.
template <typename From>
int asciiLength(const From* text, const From* end)
{
    constexpr std::ptrdiff_t kBlock = 16;
    const From* position = text;
    while (end - position >= kBlock) {
        unsigned int bits = 0;
        for (std::ptrdiff_t index = 0; index < kBlock; ++index) {
            bits |= static_cast<std::make_unsigned_t<From>>(position[index]);
        }
        if (bits >= 0x80) {
            break;
        }
        position += kBlock;
    }
    while (position != end && static_cast<std::make_unsigned_t<From>>(*position) < 0x80) {
        ++position;
    }
    return static_cast<int>(position - text);
}

/// Converts the whole text, or only measures it if the size is 0. Returns the number of units, or 0 with the last error
/// set.
template <typename From, typename To, std::size_t kLongest>
int convert(char32_t (*read)(const From*&, const From*), int (*encode)(char32_t, To (&)[kLongest]), const From* text,
            int length, To* buffer, int size)
{
    const From* const end = text + length;
    std::int64_t total = 0;
    while (text != end) {
        if (const int count = asciiLength(text, end); count > 0) {
            if (size > 0 && size - total < count) {
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return 0;
            }
            if (size > 0) {
                std::copy_n(text, count, buffer + total);
            }
            total += count;
            text += count;
            continue;
        }
        const char32_t codePoint = read(text, end);
        if (codePoint == kInvalid) {
            SetLastError(ERROR_NO_UNICODE_TRANSLATION);
            return 0;
        }
        To units[kLongest] = {};
        const int count = encode(codePoint, units);
        if (size > 0 && size - total < count) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
        if (size > 0) {
            std::copy_n(units, count, buffer + total);
        }
        total += count;
    }
    if (total > std::numeric_limits<int>::max()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    return static_cast<int>(total);
}

bool canDecode(UINT codePage, DWORD flags)
{
    return codePage == CP_THREAD_ACP && (flags == MB_ERR_INVALID_CHARS || flags == 0);
}

bool canEncode(UINT codePage, DWORD flags)
{
    return (codePage == CP_UTF8 && flags == WC_ERR_INVALID_CHARS) ||
           (codePage == CP_THREAD_ACP && flags == WC_NO_BEST_FIT_CHARS);
}

} // namespace

BOOL GetCPInfo(UINT codePage, CPINFO* info)
{
    constexpr UINT kLongestInUtf8 = 4;
    if (codePage != CP_THREAD_ACP || info == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    info->MaxCharSize = kLongestInUtf8;
    return TRUE;
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, WCHAR* buffer, int size)
{
    if (!canDecode(codePage, flags) || text == nullptr || length <= 0 || size < 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return convert(flags == 0 ? readUtf8Replacing : readUtf8, encodeUtf16, text, length, buffer, size);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* text, int length, char* buffer, int size,
                        const char* defaultCharacter, BOOL* usedDefault)
{
    const bool hasDefault = defaultCharacter != nullptr || usedDefault != nullptr;
    if (!canEncode(codePage, flags) || text == nullptr || length <= 0 || size < 0 || hasDefault) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return convert(readUtf16, encodeUtf8, text, length, buffer, size);
}
