#include "Windows/Cli/utils/ManagedText.h"

#include "Windows/Cli/utils/ManagedException.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace LumUtilsCli {

namespace {

constexpr const char* kTooLong = "Size of string exceeds INT_MAX.";
constexpr const char* kNullText = "NULLPTR is not supported for this conversion.";
// The two blanks in each belong to the text.
constexpr const char* kUndecodable =
    "Conversion from MultiByte to WideChar failed.  Please check the content of the string and/or locale settings.";
constexpr const char* kUnencodable =
    "Conversion from WideChar to MultiByte failed.  Please check the content of the string and/or locale settings.";

constexpr std::size_t kLargestSize = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());

/// As many units as are measured at once: the platform counts the bytes in an int, and one unit may take three.
constexpr std::int32_t kMeasuredUnits = 1 << 24;

bool isHighSurrogate(LumCliChar unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

/// Uninitialised room; no text has more units than it has bytes.
std::unique_ptr<LumCliChar[]> makeRoom(std::size_t size)
{
    return std::unique_ptr<LumCliChar[]>(new LumCliChar[size]);
}

std::unique_ptr<LumCliChar[]> makeRoomOrThrowManaged(const LumCliHostTable& host, std::size_t size)
{
    try {
        return makeRoom(size);
    } catch (const std::bad_alloc&) {
        throwManaged(host, kLumCliInsufficientMemory, nullptr);
    }
}

/// Whether every byte of the thread's code page is a character. Some of them the strict conversion refuses all the
/// same: those for which the code page names no character, and to which it gives one of its own.
bool hasOneBytePerCharacter()
{
    CPINFO info{};
    return GetCPInfo(CP_THREAD_ACP, &info) && info.MaxCharSize == 1;
}

/// Decodes a text that is not empty into as many units as it has bytes. Returns the number of units, or 0 if the text
/// is not valid.
int decode(const char* text, int size, LumCliChar* units)
{
    const int count = MultiByteToWideChar(CP_THREAD_ACP, MB_ERR_INVALID_CHARS, text, size, units, size);
    if (count > 0 || !hasOneBytePerCharacter()) {
        return count;
    }
    return MultiByteToWideChar(CP_THREAD_ACP, 0, text, size, units, size);
}

/// Encodes a text that is not empty, or measures it if there is no buffer. Returns the number of bytes, or 0.
int encode(const LumCliChar* text, std::int32_t length, char* buffer, int size)
{
    const int count =
        WideCharToMultiByte(CP_THREAD_ACP, WC_NO_BEST_FIT_CHARS, text, length, buffer, size, nullptr, nullptr);
    if (count > 0 || GetLastError() != ERROR_INVALID_FLAGS) {
        return count;
    }
    // UTF-8 as the ANSI code page has every character, so it does not take the flag; it has one for invalid text.
    return WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, length, buffer, size, nullptr, nullptr);
}

/// The number of bytes, or 0 if the text cannot be encoded.
std::size_t measure(LumCliText text)
{
    std::size_t total = 0;
    while (text.length > 0) {
        std::int32_t part = std::min(text.length, kMeasuredUnits);
        if (part < text.length && isHighSurrogate(text.text[part - 1])) {
            --part;
        }
        const int count = encode(text.text, part, nullptr, 0);
        if (count <= 0) {
            return 0;
        }
        total += static_cast<std::size_t>(count);
        text.text += part;
        text.length -= part;
    }
    return total;
}

} // namespace

ManagedText ManagedText::Convert(const LumCliHostTable& host, std::string_view text)
{
    if (text.size() > kLargestSize) {
        throwManaged(host, kLumCliArgumentOutOfRange, kTooLong);
    }
    ManagedText managed;
    if (text.empty()) {
        return managed;
    }
    const int size = static_cast<int>(text.size());
    managed.units = makeRoomOrThrowManaged(host, text.size());
    managed.length = decode(text.data(), size, managed.units.get());
    if (managed.length <= 0) {
        throwManaged(host, kLumCliArgument, kUndecodable);
    }
    return managed;
}

ManagedText ManagedText::Decode(const char* text)
{
    const int size = static_cast<int>(std::min(std::strlen(text), kLargestSize));
    ManagedText managed;
    if (size > 0) {
        managed.units = makeRoom(static_cast<std::size_t>(size));
        managed.length = MultiByteToWideChar(CP_THREAD_ACP, 0, text, size, managed.units.get(), size);
    }
    return managed;
}

LumCliText ManagedText::View() const
{
    static constexpr LumCliChar kNothing = 0;
    return {units ? units.get() : &kNothing, length};
}

std::string toNativeText(const LumCliHostTable& host, const LumCliText& text)
{
    if (text.text == nullptr) {
        throwManaged(host, kLumCliArgumentNull, kNullText);
    }
    if (text.length == 0) {
        return {};
    }
    const std::size_t size = measure(text);
    if (size == 0) {
        throwManaged(host, kLumCliArgument, kUnencodable);
    }
    if (size > kLargestSize) {
        throwManaged(host, kLumCliArgumentOutOfRange, kTooLong);
    }
    std::string native(size, '\0');
    if (encode(text.text, text.length, native.data(), static_cast<int>(size)) <= 0) {
        throwManaged(host, kLumCliArgument, kUnencodable);
    }
    return native;
}

} // namespace LumUtilsCli
