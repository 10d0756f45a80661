#include "common/utils/codec/UtfCodec.h"

#include "platform/LumMemory.h"

#include <algorithm>

namespace LumUtils::Codec {

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr char32_t kHighestCodePoint = 0x10FFFF;

/// The result goes through a buffer of this many units and is then appended: filling a string of the final length with
/// zeros first would cost about as much as the conversion.
constexpr std::size_t kBuffer = 4096;

bool isSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

unsigned char byteAt(std::string_view text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

/// The bytes of a sequence that begins with this one, 0 if none does.
std::size_t sequenceLength(unsigned char lead)
{
    if (lead < 0x80U) {
        return 1;
    }
    if (lead < 0xC2U || lead > 0xF4U) {
        return 0;
    }
    return lead < 0xE0U ? 2 : lead < 0xF0U ? 3 : 4;
}

/// The code point at the beginning of the text, and its length; kInvalid for anything but the shortest form of a
/// Unicode scalar value.
char32_t readCodePoint(std::string_view text, std::size_t& length)
{
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const unsigned char lead = byteAt(text, 0);
    length = sequenceLength(lead);
    if (length == 1) {
        return lead;
    }
    if (length == 0 || length > text.size()) {
        return kInvalid;
    }
    char32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        const unsigned char byte = byteAt(text, index);
        if ((byte & 0xC0U) != 0x80U) {
            return kInvalid;
        }
        codePoint = (codePoint << 6U) | (byte & 0x3FU);
    }
    const bool isScalar = codePoint >= kSmallest[length] && codePoint <= kHighestCodePoint && !isSurrogate(codePoint);
    return isScalar ? codePoint : kInvalid;
}

/// The same for UTF-16; kInvalid for an unpaired surrogate.
char32_t readCodePoint(WideView text, std::size_t& length)
{
    const auto unitAt = [text](std::size_t index) { return static_cast<char32_t>(text[index]); };
    length = 1;
    if (!isSurrogate(unitAt(0))) {
        return unitAt(0);
    }
    const bool isPair = unitAt(0) < 0xDC00 && text.size() > 1 && isSurrogate(unitAt(1)) && unitAt(1) >= 0xDC00;
    if (!isPair) {
        return kInvalid;
    }
    length = 2;
    return 0x10000 + ((unitAt(0) - 0xD800) << 10U) + (unitAt(1) - 0xDC00);
}

std::size_t writtenLength(char32_t codePoint, const WideChar* /*to*/)
{
    return codePoint < 0x10000 ? 1 : 2;
}

std::size_t writtenLength(char32_t codePoint, const char* /*to*/)
{
    return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

void writeCodePoint(char32_t codePoint, WideChar* units)
{
    if (codePoint < 0x10000) {
        units[0] = static_cast<WideChar>(codePoint);
        return;
    }
    units[0] = static_cast<WideChar>(0xD800 + ((codePoint - 0x10000) >> 10U));
    units[1] = static_cast<WideChar>(0xDC00 + (codePoint & 0x3FFU));
}

void writeCodePoint(char32_t codePoint, char* bytes)
{
    constexpr unsigned int kMarks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const std::size_t length = writtenLength(codePoint, bytes);
    for (std::size_t index = length - 1; index > 0; --index) {
        bytes[index] = static_cast<char>(0x80U | (codePoint & 0x3FU));
        codePoint >>= 6U;
    }
    bytes[0] = static_cast<char>(kMarks[length] | codePoint);
}

/// How many characters at the beginning are ASCII. In blocks the compiler looks at many at a time.
template <typename View>
std::size_t asciiLength(View text)
{
    constexpr std::size_t kBlock = 16;
    using Unsigned = std::make_unsigned_t<std::conditional_t<sizeof(typename View::value_type) == 1, char, short>>;
    std::size_t length = 0;
    for (; text.size() - length >= kBlock; length += kBlock) {
        unsigned int bits = 0;
        for (std::size_t index = 0; index < kBlock; ++index) {
            bits |= static_cast<Unsigned>(text[length + index]);
        }
        if (bits >= 0x80) {
            break;
        }
    }
    while (length < text.size() && static_cast<Unsigned>(text[length]) < 0x80) {
        ++length;
    }
    return length;
}

template <typename To, typename View>
std::optional<std::size_t> measurePlainly(View text)
{
    std::size_t total = 0;
    while (!text.empty()) {
        const std::size_t ascii = asciiLength(text);
        text.remove_prefix(ascii);
        total += ascii;
        if (text.empty()) {
            break;
        }
        std::size_t length = 0;
        const char32_t codePoint = readCodePoint(text, length);
        if (codePoint == kInvalid) {
            return std::nullopt;
        }
        total += writtenLength(codePoint, static_cast<const To*>(nullptr));
        text.remove_prefix(length);
    }
    return total;
}

template <typename To, typename View>
Progress convertPlainly(View text, To* out, std::size_t room)
{
    Progress done;
    while (done.read < text.size()) {
        const View rest = text.substr(done.read);
        const std::size_t ascii = asciiLength(rest.substr(0, room - done.written));
        std::transform(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(ascii), out + done.written,
                       [](auto unit) { return static_cast<To>(unit); });
        done.read += ascii;
        done.written += ascii;
        if (ascii > 0) {
            continue;
        }
        std::size_t length = 0;
        const char32_t codePoint = readCodePoint(rest, length);
        if (writtenLength(codePoint, out) > room - done.written) {
            break;
        }
        writeCodePoint(codePoint, out + done.written);
        done.read += length;
        done.written += writtenLength(codePoint, out);
    }
    return done;
}

/// Adds what the plain code makes of the rest to what a kernel did.
template <typename To, typename View>
Progress continuePlainly(Progress done, View text, To* out, std::size_t room)
{
    const Progress rest = convertPlainly(text.substr(done.read), out + done.written, room - done.written);
    return {done.read + rest.read, done.written + rest.written};
}

template <typename To, typename View>
std::optional<std::size_t> measureRest(Progress done, View text)
{
    const std::optional<std::size_t> rest = measurePlainly<To>(text.substr(done.read));
    return rest ? std::optional<std::size_t>(done.written + *rest) : std::nullopt;
}

template <typename Text, typename View>
Text convertAll(Progress (*convert)(const CodecKernels&, View, typename Text::value_type*, std::size_t),
                const CodecKernels& kernels, View text, std::size_t length)
{
    typename Text::value_type buffer[kBuffer];
    Text converted;
    LumPlatform::ReserveToFill(converted, length);
    while (!text.empty()) {
        const Progress done = convert(kernels, text, buffer, kBuffer);
        converted.append(buffer, done.written);
        text.remove_prefix(done.read);
    }
    return converted;
}

} // namespace

std::optional<std::size_t> measureUtf8(const CodecKernels& kernels, std::string_view text)
{
    return measureRest<WideChar>(kernels.measureUtf8(text.data(), text.size()), text);
}

std::optional<std::size_t> measureUtf16(const CodecKernels& kernels, WideView text)
{
    return measureRest<char>(kernels.measureUtf16(text.data(), text.size()), text);
}

Progress convertUtf8(const CodecKernels& kernels, std::string_view text, WideChar* units, std::size_t room)
{
    return continuePlainly(kernels.convertUtf8(text.data(), text.size(), units, room), text, units, room);
}

Progress convertUtf16(const CodecKernels& kernels, WideView text, char* bytes, std::size_t room)
{
    return continuePlainly(kernels.convertUtf16(text.data(), text.size(), bytes, room), text, bytes, room);
}

std::optional<WideString> utf8ToUtf16(const CodecKernels& kernels, std::string_view text)
{
    const std::optional<std::size_t> length = measureUtf8(kernels, text);
    if (!length) {
        return std::nullopt;
    }
    return convertAll<WideString>(convertUtf8, kernels, text, *length);
}

std::optional<std::string> utf16ToUtf8(const CodecKernels& kernels, WideView text)
{
    const std::optional<std::size_t> length = measureUtf16(kernels, text);
    if (!length) {
        return std::nullopt;
    }
    return convertAll<std::string>(convertUtf16, kernels, text, *length);
}

} // namespace LumUtils::Codec
