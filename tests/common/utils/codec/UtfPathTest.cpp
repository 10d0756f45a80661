#include "common/utils/codec/CodecPaths.h"
#include "common/utils/codec/UtfCodec.h"

/// Every path of the UTF conversions on its own, in allocations that end where the text does.

namespace {

using namespace LumUtils::Codec;
using LumTests::CodecPath;
using LumTests::ExactRoom;
using LumTests::ExactText;
using LumUtils::WideChar;
using LumUtils::WideString;

constexpr std::size_t kLengths = 257;
constexpr std::size_t kOffsets = 256;

class UtfPathTest : public testing::TestWithParam<CodecPath> {
protected:
    const CodecKernels& kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Paths, UtfPathTest, testing::ValuesIn(LumTests::codecPaths()), LumTests::nameOfPath);

bool isSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

std::string encodedUtf8(char32_t codePoint)
{
    const auto byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
    if (codePoint < 0x80) {
        return {byte(codePoint)};
    }
    if (codePoint < 0x800) {
        return {byte(0xC0 + codePoint / 64), byte(0x80 + codePoint % 64)};
    }
    if (codePoint < 0x10000) {
        return {byte(0xE0 + codePoint / 4096), byte(0x80 + codePoint / 64 % 64), byte(0x80 + codePoint % 64)};
    }
    return {byte(0xF0 + codePoint / 262144), byte(0x80 + codePoint / 4096 % 64), byte(0x80 + codePoint / 64 % 64),
            byte(0x80 + codePoint % 64)};
}

WideString encodedUtf16(char32_t codePoint)
{
    if (codePoint < 0x10000) {
        return {static_cast<WideChar>(codePoint)};
    }
    const char32_t rest = codePoint - 0x10000;
    return {static_cast<WideChar>(0xD800 + rest / 1024), static_cast<WideChar>(0xDC00 + rest % 1024)};
}

struct Sample {
    std::string narrow;
    WideString wide;

    void Append(char32_t codePoint)
    {
        narrow += encodedUtf8(codePoint);
        wide += encodedUtf16(codePoint);
    }
};

/// A code point of one to four bytes, of which `mostBytes` are allowed.
char32_t randomCodePoint(std::mt19937& random, std::size_t mostBytes)
{
    const auto below = [&random](std::size_t limit) { return static_cast<char32_t>(random() % limit); };
    const std::size_t bytes = 1 + random() % mostBytes;
    if (bytes == 1) {
        return below(0x80);
    }
    if (bytes == 2) {
        return 0x80 + below(0x800 - 0x80);
    }
    if (bytes == 4) {
        return 0x10000 + below(0x100000);
    }
    const char32_t codePoint = 0x800 + below(0x10000 - 0x800);
    return isSurrogate(codePoint) ? codePoint - 0x800 : codePoint;
}

/// A text of exactly so many bytes.
Sample sampleOfBytes(std::mt19937& random, std::size_t length, std::size_t mostBytes)
{
    Sample sample;
    while (sample.narrow.size() < length) {
        sample.Append(randomCodePoint(random, std::min(mostBytes, length - sample.narrow.size())));
    }
    return sample;
}

/// A text of exactly so many units of UTF-16.
Sample sampleOfUnits(std::mt19937& random, std::size_t length, std::size_t mostBytes)
{
    Sample sample;
    while (sample.wide.size() < length) {
        sample.Append(randomCodePoint(random, length - sample.wide.size() == 1 ? std::min<std::size_t>(mostBytes, 3)
                                                                               : mostBytes));
    }
    return sample;
}

WideString toWide(const CodecKernels& kernels, const ExactText<char>& text)
{
    const std::string_view view(text.Data(), text.Size());
    ExactRoom<WideChar> units(measureUtf8(kernels, view).value_or(0));
    const Progress done = convertUtf8(kernels, view, units.Data(), units.Size());
    EXPECT_EQ(done.read, text.Size());
    EXPECT_EQ(done.written, units.Size());
    return units.Text();
}

std::string toNarrow(const CodecKernels& kernels, const ExactText<WideChar>& text)
{
    const WideView view(text.Data(), text.Size());
    ExactRoom<char> bytes(measureUtf16(kernels, view).value_or(0));
    const Progress done = convertUtf16(kernels, view, bytes.Data(), bytes.Size());
    EXPECT_EQ(done.read, text.Size());
    EXPECT_EQ(done.written, bytes.Size());
    return bytes.Text();
}

TEST_P(UtfPathTest, EveryLengthOfUtf8AtEveryOffsetIsConvertedWithinItsBuffers)
{
    std::mt19937 random(1);
    for (std::size_t length = 0; length < kLengths; ++length) {
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            const Sample sample = sampleOfBytes(random, length, 1 + offset % 4);
            ASSERT_TRUE(toWide(kernels, ExactText<char>(sample.narrow, offset)) == sample.wide)
                << length << " at " << offset << ": " << testing::PrintToString(sample.narrow);
        }
    }
}

TEST_P(UtfPathTest, EveryLengthOfUtf16AtEveryOffsetIsConvertedWithinItsBuffers)
{
    std::mt19937 random(2);
    for (std::size_t length = 0; length < kLengths; ++length) {
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            const Sample sample = sampleOfUnits(random, length, 1 + offset % 4);
            ASSERT_TRUE(toNarrow(kernels, ExactText<WideChar>(sample.wide, offset)) == sample.narrow)
                << length << " at " << offset << ": " << testing::PrintToString(sample.narrow);
        }
    }
}

TEST_P(UtfPathTest, EveryCodePointInEveryPlaceOfABlockComesBack)
{
    for (std::size_t place = 0; place < 4; ++place) {
        // The others stand in runs of one length, so that each code point has many neighbours.
        Sample sample;
        for (std::size_t index = 0; index < place; ++index) {
            sample.Append('x');
        }
        for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
            if (!isSurrogate(codePoint)) {
                sample.Append(codePoint);
            }
        }
        ASSERT_TRUE(utf8ToUtf16(kernels, sample.narrow) == sample.wide);
        ASSERT_TRUE(utf16ToUtf8(kernels, sample.wide) == sample.narrow);
    }
}

TEST_P(UtfPathTest, RandomTextsOfEveryMixtureComeBack)
{
    std::mt19937 random(3);
    for (std::size_t round = 0; round < 4000; ++round) {
        const Sample sample = sampleOfBytes(random, random() % 3000, 1 + round % 4);
        ASSERT_TRUE(utf8ToUtf16(kernels, sample.narrow) == sample.wide) << round;
        ASSERT_TRUE(utf16ToUtf8(kernels, sample.wide) == sample.narrow) << round;
    }
}

TEST_P(UtfPathTest, TextsLongerThanAnyBufferComeBack)
{
    std::mt19937 random(4);
    for (std::size_t mostBytes = 1; mostBytes <= 4; ++mostBytes) {
        for (std::size_t length = 4090; length < 4110; ++length) {
            const Sample sample = sampleOfUnits(random, length, mostBytes);
            ASSERT_TRUE(utf8ToUtf16(kernels, sample.narrow) == sample.wide) << length;
            const Sample bytes = sampleOfBytes(random, length, mostBytes);
            ASSERT_TRUE(utf16ToUtf8(kernels, bytes.wide) == bytes.narrow) << length;
        }
    }
}

TEST_P(UtfPathTest, OnlyWholeCodePointsAreWrittenIntoSmallRoom)
{
    std::mt19937 random(5);
    const Sample sample = sampleOfBytes(random, 400, 4);
    for (std::size_t room = 0; room < 400; ++room) {
        ExactRoom<WideChar> units(room);
        const Progress toUnits = convertUtf8(kernels, sample.narrow, units.Data(), room);
        ASSERT_TRUE(units.Text().substr(0, toUnits.written) == sample.wide.substr(0, toUnits.written)) << room;
        ASSERT_TRUE(utf8ToUtf16(kernels, sample.narrow.substr(0, toUnits.read)) ==
                    sample.wide.substr(0, toUnits.written))
            << room;
        ASSERT_TRUE(toUnits.written + 2 > room || toUnits.read == sample.narrow.size()) << room;
        ExactRoom<char> bytes(room);
        const Progress toBytes = convertUtf16(kernels, sample.wide, bytes.Data(), room);
        ASSERT_EQ(bytes.Text().substr(0, toBytes.written), sample.narrow.substr(0, toBytes.written)) << room;
        ASSERT_TRUE(utf16ToUtf8(kernels, sample.wide.substr(0, toBytes.read)) ==
                    sample.narrow.substr(0, toBytes.written))
            << room;
        ASSERT_TRUE(toBytes.written + 4 > room || toBytes.read == sample.wide.size()) << room;
    }
}

/// Whether four bytes, followed by ASCII, are UTF-8, by the table of well-formed sequences.
bool areWellFormed(const std::string& bytes)
{
    struct Row {
        unsigned int lead[2];
        unsigned int second[2];
        std::size_t length;
    };
    constexpr Row kRows[] = {
        {{0x00, 0x7F}, {0, 0}, 1},       {{0xC2, 0xDF}, {0x80, 0xBF}, 2}, {{0xE0, 0xE0}, {0xA0, 0xBF}, 3},
        {{0xE1, 0xEC}, {0x80, 0xBF}, 3}, {{0xED, 0xED}, {0x80, 0x9F}, 3}, {{0xEE, 0xEF}, {0x80, 0xBF}, 3},
        {{0xF0, 0xF0}, {0x90, 0xBF}, 4}, {{0xF1, 0xF3}, {0x80, 0xBF}, 4}, {{0xF4, 0xF4}, {0x80, 0x8F}, 4}};
    const auto isIn = [&bytes](std::size_t index, unsigned int low, unsigned int high) {
        const unsigned int byte = static_cast<unsigned char>(bytes[index]);
        return byte >= low && byte <= high;
    };
    std::size_t index = 0;
    while (index < bytes.size()) {
        const Row* const row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& candidate) {
            return isIn(index, candidate.lead[0], candidate.lead[1]);
        });
        if (row == std::end(kRows) || index + row->length > bytes.size() ||
            (row->length > 1 && !isIn(index + 1, row->second[0], row->second[1]))) {
            return false;
        }
        for (std::size_t next = 2; next < row->length; ++next) {
            if (!isIn(index + next, 0x80, 0xBF)) {
                return false;
            }
        }
        index += row->length;
    }
    return true;
}

TEST_P(UtfPathTest, EveryFourBytesByClassAreJudgedAlikeAnywhere)
{
    // The borders of each range in the table of well-formed sequences.
    const std::string borders =
        "\x01\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEF\xF0\xF1\xF3\xF4\xF5\xFF";
    std::string text(80, 'x');
    for (const char first : borders) {
        for (const char second : borders) {
            for (const char third : borders) {
                for (const char fourth : borders) {
                    const std::string bytes{first, second, third, fourth};
                    const bool isValid = areWellFormed(bytes);
                    // Within a block of the vector kernels, across two of them, and behind the last.
                    for (const std::size_t place : {2U, 29U, 30U, 31U, 62U, 76U}) {
                        text.replace(place, 4, bytes);
                        if (measureUtf8(kernels, text).has_value() != isValid) {
                            FAIL() << testing::PrintToString(bytes) << " at " << place;
                        }
                        text.replace(place, 4, "xxxx");
                    }
                }
            }
        }
    }
}

TEST_P(UtfPathTest, ASequenceCutByTheEndIsInvalid)
{
    std::mt19937 random(6);
    for (std::size_t length = 1; length < 150; ++length) {
        const Sample sample = sampleOfBytes(random, length, 4);
        for (const std::string& lead : {std::string("\xC3"), std::string("\xE2\x82"), std::string("\xF0\x9F\x98")}) {
            const std::string text = sample.narrow + lead;
            const ExactText<char> exact(text);
            ASSERT_FALSE(measureUtf8(kernels, {exact.Data(), exact.Size()})) << length;
            ASSERT_FALSE(utf8ToUtf16(kernels, text)) << length;
        }
    }
}

TEST_P(UtfPathTest, EveryLoneSurrogateInEveryPlaceIsInvalid)
{
    for (char32_t surrogate = 0xD800; surrogate <= 0xDFFF; ++surrogate) {
        for (const std::size_t place : {0U, 1U, 7U, 8U, 15U, 16U, 31U, 32U, 47U, 63U, 64U, 69U}) {
            WideString text(70, WideChar{'x'});
            text[place] = static_cast<WideChar>(surrogate);
            const ExactText<WideChar> exact(text);
            ASSERT_FALSE(measureUtf16(kernels, {exact.Data(), exact.Size()})) << place;
        }
    }
}

TEST_P(UtfPathTest, EverySurrogateWrittenAsUtf8InEveryPlaceIsInvalid)
{
    for (char32_t surrogate = 0xD800; surrogate <= 0xDFFF; ++surrogate) {
        for (const std::size_t place : {0U, 1U, 14U, 15U, 16U, 29U, 30U, 31U, 32U, 61U, 62U, 63U, 64U, 67U}) {
            std::string text(70, 'x');
            text.replace(place, 3, encodedUtf8(surrogate));
            const ExactText<char> exact(text);
            ASSERT_FALSE(measureUtf8(kernels, {exact.Data(), exact.Size()})) << place;
        }
    }
}

TEST_P(UtfPathTest, PairsInTheWrongOrderAreInvalidInEveryPlace)
{
    const auto high = static_cast<WideChar>(0xD83D);
    const auto low = static_cast<WideChar>(0xDE00);
    for (std::size_t place = 0; place < 70; ++place) {
        WideString text(72, WideChar{'x'});
        text[place] = high;
        text[place + 1] = low;
        ASSERT_EQ(measureUtf16(kernels, text), std::optional<std::size_t>(74)) << place;
        std::swap(text[place], text[place + 1]);
        ASSERT_FALSE(measureUtf16(kernels, text)) << place;
        text[place] = high;
        text[place + 1] = high;
        ASSERT_FALSE(measureUtf16(kernels, text)) << place;
        text[place] = low;
        text[place + 1] = low;
        ASSERT_FALSE(measureUtf16(kernels, text)) << place;
    }
}

TEST_P(UtfPathTest, DamagedTextsAreJudgedAsTheTableSays)
{
    std::mt19937 random(7);
    std::size_t validCount = 0;
    for (std::size_t round = 0; round < 100000; ++round) {
        std::string text = sampleOfBytes(random, 1 + random() % 200, 1 + round % 4).narrow;
        text[random() % text.size()] = static_cast<char>(random() % 256);
        const bool isValid = areWellFormed(text);
        validCount += isValid ? 1 : 0;
        ASSERT_EQ(utf8ToUtf16(kernels, text).has_value(), isValid) << testing::PrintToString(text);
    }
    EXPECT_GT(validCount, 1000U) << "both outcomes occur";
    EXPECT_LT(validCount, 99000U);
}

} // namespace
