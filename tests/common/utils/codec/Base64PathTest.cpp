#include "common/utils/codec/Base64Codec.h"
#include "common/utils/codec/CodecPaths.h"

#include <cstring>
#include <stdexcept>

/// Every path of base64 on its own, in allocations that end where the text does.

namespace {

using namespace LumUtils::Codec;
using LumTests::CodecPath;
using LumTests::ExactRoom;
using LumTests::ExactText;

constexpr std::size_t kLengths = 257;
constexpr std::size_t kOffsets = 256;

class Base64PathTest : public testing::TestWithParam<CodecPath> {
protected:
    const CodecKernels& kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Paths, Base64PathTest, testing::ValuesIn(LumTests::codecPaths()), LumTests::nameOfPath);

std::string randomBytes(std::mt19937& random, std::size_t length)
{
    std::string bytes(length, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() % 256); });
    return bytes;
}

/// Bit by bit, as the encoding is defined.
std::string encodedBitByBit(const std::string& bytes, bool urlSafe)
{
    const std::string alphabet =
        std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789") + (urlSafe ? "-_" : "+/");
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        std::size_t value = 0;
        for (std::size_t next = bit; next < bit + 6; ++next) {
            const bool isSet =
                next < bytes.size() * 8 && (static_cast<unsigned char>(bytes[next / 8]) >> (7 - next % 8) & 1) != 0;
            value = value * 2 + (isSet ? 1 : 0);
        }
        text += alphabet[value];
    }
    text.append((4 - text.size() % 4) % 4, urlSafe ? '.' : '=');
    return text;
}

/// The same for whole groups, each by division: quick enough for all that there are.
std::string encodedGroups(const std::string& bytes, bool urlSafe)
{
    const std::string alphabet =
        std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789") + (urlSafe ? "-_" : "+/");
    std::string text;
    text.reserve(bytes.size() / 3 * 4);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        const auto byte = [&](std::size_t next) { return static_cast<unsigned char>(bytes[index + next]); };
        const unsigned int group = byte(0) * 65536U + byte(1) * 256U + byte(2);
        text +=
            {alphabet[group / 262144], alphabet[group / 4096 % 64], alphabet[group / 64 % 64], alphabet[group % 64]};
    }
    return text;
}

std::string encoded(const CodecKernels& kernels, const ExactText<unsigned char>& bytes, bool urlSafe)
{
    ExactRoom<char> text(base64Length(bytes.Size()));
    encodeBase64(kernels, bytes.Data(), bytes.Size(), urlSafe, text.Data());
    return text.Text();
}

std::string decoded(const CodecKernels& kernels, const ExactText<char>& text, std::size_t byteCount)
{
    ExactRoom<unsigned char> bytes(byteCount);
    EXPECT_EQ(decodeBase64(kernels, text.Data(), text.Size(), true, bytes.Data()), byteCount);
    const std::basic_string<unsigned char> all = bytes.Text();
    return std::string(all.begin(), all.end());
}

TEST_P(Base64PathTest, EveryLengthAtEveryOffsetIsEncodedWithinItsBuffers)
{
    std::mt19937 random(1);
    for (std::size_t length = 0; length < kLengths; ++length) {
        const std::string bytes = randomBytes(random, length);
        const std::string standard = encodedBitByBit(bytes, false);
        const std::string urlSafe = encodedBitByBit(bytes, true);
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            const ExactText<unsigned char> text(bytes, offset);
            ASSERT_EQ(encoded(kernels, text, false), standard) << length << " at " << offset;
            ASSERT_EQ(encoded(kernels, text, true), urlSafe) << length << " at " << offset;
        }
    }
}

TEST_P(Base64PathTest, EveryLengthAtEveryOffsetIsDecodedWithinItsBuffers)
{
    std::mt19937 random(2);
    for (std::size_t length = 0; length < kLengths; ++length) {
        const std::string bytes = randomBytes(random, length);
        const std::string padded = encodedBitByBit(bytes, length % 2 == 0);
        const std::string bare = padded.substr(0, padded.find_last_not_of("=.") + 1);
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            ASSERT_EQ(decoded(kernels, ExactText<char>(padded, offset), length), bytes) << length << " at " << offset;
            ASSERT_EQ(decoded(kernels, ExactText<char>(bare, offset), length), bytes) << length << " at " << offset;
        }
    }
}

TEST_P(Base64PathTest, EveryByteInEveryPlaceIsAValueOrInvalid)
{
    constexpr std::size_t kLength = 96;
    for (std::size_t position = 0; position < kLength - 4; ++position) {
        for (unsigned int value = 0; value < 256; ++value) {
            const char character = static_cast<char>(value);
            std::string text(kLength, 'A');
            text[position] = character;
            const bool isValue = (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
                                 (character >= 'A' && character <= 'Z') || character == '+' || character == '/' ||
                                 character == '-' || character == '_';
            bool isDecoded = true;
            try {
                base64Decode(kernels, text.data(), text.size());
            } catch (const std::runtime_error&) {
                isDecoded = false;
            }
            ASSERT_EQ(isDecoded, isValue) << value << " at " << position;
        }
    }
}

TEST_P(Base64PathTest, EveryValueInEveryPlaceComesBackFromEitherAlphabet)
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/-_";
    for (std::size_t position = 0; position < 64; ++position) {
        for (std::size_t index = 0; index < alphabet.size(); ++index) {
            std::string text(64, 'A');
            text[position] = alphabet[index];
            std::string standard = text;
            standard[position] = alphabet[index < 64 ? index : index - 2];
            const std::string bytes = base64Decode(kernels, text.data(), text.size());
            ASSERT_EQ(encodedBitByBit(bytes, false), standard) << position << ' ' << alphabet[index];
        }
    }
}

/// The vector kernels see many groups at once, so that each stands in one of their places.
TEST_P(Base64PathTest, EveryGroupOfThreeBytesComesBackFromEitherAlphabet)
{
    constexpr std::size_t kGroups = 65536;
    for (unsigned int first = 0; first < 256; ++first) {
        std::string bytes;
        for (unsigned int rest = 0; rest < kGroups; ++rest) {
            bytes += {static_cast<char>(first), static_cast<char>(rest / 256), static_cast<char>(rest % 256)};
        }
        const std::string standard = encodedGroups(bytes, false);
        const std::string urlSafe = encodedGroups(bytes, true);
        ASSERT_TRUE(base64Encode(kernels, bytes.data(), bytes.size(), false) == standard) << first;
        ASSERT_TRUE(base64Encode(kernels, bytes.data(), bytes.size(), true) == urlSafe) << first;
        ASSERT_TRUE(base64Decode(kernels, standard.data(), standard.size()) == bytes) << first;
        ASSERT_TRUE(base64Decode(kernels, urlSafe.data(), urlSafe.size()) == bytes) << first;
    }
}

/// What the last group gives: the number of its bytes, or -1 if it is invalid.
int bytesOfTail(const std::string& tail)
{
    const auto isPadding = [&tail](std::size_t index) { return tail[index] == '=' || tail[index] == '.'; };
    const auto isValue = [&](std::size_t index) { return !isPadding(index) && std::strchr("Zz9+_", tail[index]); };
    if (!isValue(0) || !isValue(1) || !(isValue(2) || isPadding(2))) {
        return -1;
    }
    if (isPadding(2)) {
        return 1;
    }
    return isPadding(3) ? 2 : isValue(3) ? 3 : -1;
}

TEST_P(Base64PathTest, EveryTailByClassIsJudgedByItsPlacesBehindAndWithinTheBlocks)
{
    // One of each class: what has a value, what pads, and what is neither.
    const std::string characters = "Zz9+_=.\n@\xFA";
    for (std::size_t index = 0; index < 10000; ++index) {
        const std::string tail{characters[index / 1000], characters[index / 100 % 10], characters[index / 10 % 10],
                               characters[index % 10]};
        const int count = bytesOfTail(tail);
        for (const std::size_t groups : {0U, 7U, 8U, 15U, 16U}) {
            const std::string text = std::string(groups * 4, 'A') + tail;
            int decodedCount = -1;
            try {
                const std::string bytes = base64Decode(kernels, text.data(), text.size());
                decodedCount = static_cast<int>(bytes.size() - groups * 3);
            } catch (const std::runtime_error& error) {
                ASSERT_STREQ(error.what(), "Input is not valid base64-encoded data.");
            }
            ASSERT_EQ(decodedCount, count) << testing::PrintToString(tail) << " after groups: " << groups;
        }
    }
}

TEST_P(Base64PathTest, TextsLongerThanAnyBufferComeBack)
{
    std::mt19937 random(3);
    for (const std::size_t length : {12287U, 12288U, 12289U, 12290U, 24575U, 24576U, 24577U, 100000U}) {
        const std::string bytes = randomBytes(random, length);
        for (const bool urlSafe : {false, true}) {
            const std::string text = base64Encode(kernels, bytes.data(), bytes.size(), urlSafe);
            ASSERT_TRUE(text == encodedBitByBit(bytes, urlSafe)) << length;
            ASSERT_TRUE(base64Decode(kernels, text.data(), text.size()) == bytes) << length;
        }
    }
}

} // namespace
