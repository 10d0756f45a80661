#include "peers/UtfPeer.h"
#include "common/utils/codec/CodecPaths.h"
#include "common/utils/codec/UtfCodec.h"

/// The UTF conversions beside those of another library, on every path.

namespace {

using namespace LumUtils::Codec;
using LumTests::toNarrowByPeer;
using LumTests::toWideByPeer;
using LumUtils::WideString;

class UtfPeerTest : public testing::TestWithParam<LumTests::CodecPath> {
protected:
    const CodecKernels& kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Paths, UtfPeerTest, testing::ValuesIn(LumTests::codecPaths()), LumTests::nameOfPath);

/// Mostly of the given number of bytes per code point.
WideString randomText(std::mt19937& random, std::size_t length, std::size_t bytes)
{
    constexpr char32_t kFirst[] = {0, 0x20, 0x80, 0x800, 0x10000};
    constexpr char32_t kCount[] = {0, 0x60, 0x780, 0xD000, 0x100000};
    WideString text;
    while (text.size() < length) {
        const std::size_t kind = random() % 8 == 0 ? 1 + random() % 4 : bytes;
        const char32_t codePoint = kFirst[kind] + static_cast<char32_t>(random() % kCount[kind]);
        if (codePoint >= 0x10000) {
            text += static_cast<WideString::value_type>(0xD7C0 + codePoint / 1024);
            text += static_cast<WideString::value_type>(0xDC00 + codePoint % 1024);
        } else {
            text += static_cast<WideString::value_type>(codePoint);
        }
    }
    return text;
}

TEST_P(UtfPeerTest, RandomTextsAreConvertedAlikeBothWays)
{
    std::mt19937 random(1);
    for (std::size_t round = 0; round < 50000; ++round) {
        const WideString wide = randomText(random, random() % 300, 1 + round % 4);
        const std::optional<std::string> narrow = toNarrowByPeer(wide);
        ASSERT_TRUE(narrow);
        ASSERT_TRUE(utf16ToUtf8(kernels, wide) == narrow) << testing::PrintToString(*narrow);
        ASSERT_TRUE(utf8ToUtf16(kernels, *narrow) == wide) << testing::PrintToString(*narrow);
        ASSERT_TRUE(toWideByPeer(*narrow) == wide) << testing::PrintToString(*narrow);
    }
}

TEST_P(UtfPeerTest, DamagedUtf8IsJudgedAlike)
{
    std::mt19937 random(2);
    for (std::size_t round = 0; round < 50000; ++round) {
        std::string text = *toNarrowByPeer(randomText(random, 1 + random() % 100, 1 + round % 4));
        for (std::size_t damages = random() % 3; damages > 0; --damages) {
            text[random() % text.size()] = static_cast<char>(random() % 256);
        }
        ASSERT_TRUE(utf8ToUtf16(kernels, text) == toWideByPeer(text)) << testing::PrintToString(text);
    }
}

TEST_P(UtfPeerTest, DamagedUtf16IsJudgedAlike)
{
    std::mt19937 random(3);
    for (std::size_t round = 0; round < 50000; ++round) {
        WideString text = randomText(random, 1 + random() % 100, 1 + round % 4);
        for (std::size_t damages = random() % 3; damages > 0; --damages) {
            text[random() % text.size()] = static_cast<WideString::value_type>(0xD800 + random() % 0x800);
        }
        ASSERT_TRUE(utf16ToUtf8(kernels, text) == toNarrowByPeer(text)) << round;
    }
}

} // namespace
