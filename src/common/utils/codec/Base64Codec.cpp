#include "common/utils/codec/Base64Codec.h"

#include "platform/LumMemory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace LumUtils::Codec {

namespace {

/// By `urlSafe`.
constexpr std::array<std::string_view, 2> kAlphabets{
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"};
constexpr std::array<char, 2> kPaddings{'=', '.'};

/// A table instead of a search: the six bits of each character of either alphabet, kNoValue for any other.
constexpr std::uint32_t kNoValue = 0x80;

constexpr std::array<std::uint8_t, 256> makeValues()
{
    std::array<std::uint8_t, 256> values{};
    for (std::uint8_t& value : values) {
        value = kNoValue;
    }
    for (const std::string_view alphabet : kAlphabets) {
        for (std::size_t value = 0; value < alphabet.size(); ++value) {
            values[static_cast<unsigned char>(alphabet[value])] = static_cast<std::uint8_t>(value);
        }
    }
    return values;
}

constexpr std::array<std::uint8_t, 256> kValues = makeValues();

/// A longer text goes through a buffer of this many characters and is then appended: filling a string of the final
/// length with zeros first would cost about as much as the conversion. Whole groups of the vector kernels fit.
constexpr std::size_t kBufferCharacters = 16384;
constexpr std::size_t kBufferBytes = kBufferCharacters / 4 * 3;

[[noreturn]] void throwInvalid()
{
    throw std::runtime_error("Input is not valid base64-encoded data.");
}

bool isPadding(char character)
{
    return character == kPaddings[0] || character == kPaddings[1];
}

std::uint32_t valueOf(char character)
{
    return kValues[static_cast<unsigned char>(character)];
}

/// For a last group that is a single character: it is looked at before the missing one is.
[[noreturn]] void throwStray(char character)
{
    if (valueOf(character) == kNoValue) {
        throwInvalid();
    }
    throw std::out_of_range("invalid string position");
}

void encodeLastGroup(const unsigned char* bytes, std::size_t length, bool urlSafe, char* text)
{
    const std::string_view alphabet = kAlphabets[urlSafe ? 1 : 0];
    const char padding = kPaddings[urlSafe ? 1 : 0];
    const std::uint32_t first = bytes[0];
    const std::uint32_t second = length > 1 ? bytes[1] : 0U;
    text[0] = alphabet[first >> 2U];
    text[1] = alphabet[(first << 4U | second >> 4U) & 0x3FU];
    text[2] = length > 1 ? alphabet[second << 2U & 0x3FU] : padding;
    text[3] = padding;
}

void decodeGroup(const char* text, unsigned char* bytes)
{
    const std::uint32_t first = valueOf(text[0]);
    const std::uint32_t second = valueOf(text[1]);
    const std::uint32_t third = valueOf(text[2]);
    const std::uint32_t fourth = valueOf(text[3]);
    if (((first | second | third | fourth) & kNoValue) != 0) {
        throwInvalid();
    }
    bytes[0] = static_cast<unsigned char>(first << 2U | second >> 4U);
    bytes[1] = static_cast<unsigned char>(second << 4U | third >> 2U);
    bytes[2] = static_cast<unsigned char>(third << 6U | fourth);
}

/// Two to four characters, of which the third and the fourth may be padding. Returns the number of bytes.
std::size_t decodeLastGroup(const char* text, std::size_t length, unsigned char* bytes)
{
    const std::size_t meant = length == 2 || isPadding(text[2]) ? 2 : length == 3 || isPadding(text[3]) ? 3 : 4;
    char group[4] = {'A', 'A', 'A', 'A'};
    std::copy_n(text, meant, group);
    unsigned char decoded[3] = {};
    decodeGroup(group, decoded);
    std::copy_n(decoded, meant - 1, bytes);
    return meant - 1;
}

void appendBase64(const CodecKernels& kernels, const unsigned char* bytes, std::size_t length, bool urlSafe,
                  std::string& text)
{
    char buffer[kBufferCharacters];
    while (length > 0) {
        const std::size_t count = std::min(length, kBufferBytes);
        encodeBase64(kernels, bytes, count, urlSafe, buffer);
        text.append(buffer, base64Length(count));
        bytes += count;
        length -= count;
    }
}

void appendDecoded(const CodecKernels& kernels, const char* text, std::size_t length, std::string& bytes)
{
    unsigned char buffer[kBufferBytes];
    while (length > 0) {
        const std::size_t count = std::min(length, kBufferCharacters);
        const std::size_t written = decodeBase64(kernels, text, count, count == length, buffer);
        bytes.append(reinterpret_cast<const char*>(buffer), written);
        text += count;
        length -= count;
    }
}

/// Every group of the text has two characters at least.
std::string decodeWhole(const CodecKernels& kernels, const char* text, std::size_t length)
{
    const std::size_t most = (length + 3) / 4 * 3;
    if (length <= kBufferCharacters) {
        std::string bytes(most, '\0');
        bytes.resize(decodeBase64(kernels, text, length, true, reinterpret_cast<unsigned char*>(bytes.data())));
        return bytes;
    }
    std::string bytes;
    LumPlatform::ReserveToFill(bytes, most);
    appendDecoded(kernels, text, length, bytes);
    return bytes;
}

} // namespace

void encodeBase64(const CodecKernels& kernels, const unsigned char* bytes, std::size_t length, bool urlSafe, char* text)
{
    const std::string_view alphabet = kAlphabets[urlSafe ? 1 : 0];
    const Progress done = kernels.encodeBase64(bytes, length, alphabet.data(), text);
    bytes += done.read;
    text += done.written;
    length -= done.read;
    for (; length >= 3; length -= 3) {
        const std::uint32_t group = static_cast<std::uint32_t>(bytes[0]) << 16U |
                                    static_cast<std::uint32_t>(bytes[1]) << 8U | static_cast<std::uint32_t>(bytes[2]);
        text[0] = alphabet[group >> 18U];
        text[1] = alphabet[group >> 12U & 0x3FU];
        text[2] = alphabet[group >> 6U & 0x3FU];
        text[3] = alphabet[group & 0x3FU];
        bytes += 3;
        text += 4;
    }
    if (length > 0) {
        encodeLastGroup(bytes, length, urlSafe, text);
    }
}

std::size_t decodeBase64(const CodecKernels& kernels, const char* text, std::size_t length, bool hasLastGroup,
                         unsigned char* bytes)
{
    Progress done = kernels.decodeBase64(text, length, kValues.data(), bytes);
    while (length - done.read > 4 || (!hasLastGroup && length != done.read)) {
        decodeGroup(text + done.read, bytes + done.written);
        done.read += 4;
        done.written += 3;
    }
    if (length != done.read) {
        done.written += decodeLastGroup(text + done.read, length - done.read, bytes + done.written);
    }
    return done.written;
}

std::string base64Encode(const CodecKernels& kernels, const void* bytes, std::size_t length, bool urlSafe)
{
    const auto* const from = static_cast<const unsigned char*>(bytes);
    if (length <= kBufferBytes) {
        std::string text(base64Length(length), '\0');
        encodeBase64(kernels, from, length, urlSafe, text.data());
        return text;
    }
    std::string text;
    LumPlatform::ReserveToFill(text, base64Length(length));
    appendBase64(kernels, from, length, urlSafe, text);
    return text;
}

std::string base64Decode(const CodecKernels& kernels, const char* text, std::size_t length)
{
    const std::size_t stray = length % 4 == 1 ? 1 : 0;
    const std::size_t whole = length - stray;
    std::string bytes = decodeWhole(kernels, text, whole);
    if (stray != 0) {
        throwStray(text[whole]);
    }
    return bytes;
}

} // namespace LumUtils::Codec
