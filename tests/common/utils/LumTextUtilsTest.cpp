#include "common/utils/LumTextUtils.h"

#include "platform/LumPlatform.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using LumUtils::trimString;
using LumUtils::utf16ToUtf8;
using LumUtils::utf8ToUtf16;
using LumUtils::WideChar;
using LumUtils::WideString;
using namespace std::string_literals;

constexpr DWORD kUntouched = 4711;

WideString wide(const std::u16string& text)
{
    return WideString(text.begin(), text.end());
}

bool isSurrogate(char32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

/// The encoding written out once more, plainly, to compare with.
std::string encodeUtf8(char32_t codePoint)
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

WideString encodeUtf16(char32_t codePoint)
{
    if (codePoint < 0x10000) {
        return {static_cast<WideChar>(codePoint)};
    }
    const char32_t rest = codePoint - 0x10000;
    return {static_cast<WideChar>(0xD800 + rest / 1024), static_cast<WideChar>(0xDC00 + rest % 1024)};
}

TEST(LumTextUtilsTest, TrimStringDropsWhiteSpaceAtBothEnds)
{
    EXPECT_EQ(trimString(" \t x y \r\n"), "x y");
    EXPECT_EQ(trimString("x"), "x");
    EXPECT_EQ(trimString("x "), "x");
    EXPECT_EQ(trimString(" x"), "x");
    EXPECT_EQ(trimString("\f\v\n\r\t x"), "x");
    EXPECT_EQ(trimString("x\f\v\n\r\t "), "x");
    EXPECT_EQ(trimString("x \t y"), "x \t y");
}

TEST(LumTextUtilsTest, TrimStringOfWhiteSpaceOnlyIsEmpty)
{
    EXPECT_EQ(trimString(""), "");
    EXPECT_EQ(trimString(" "), "");
    EXPECT_EQ(trimString(" \t\r\n\f\v"), "");
}

TEST(LumTextUtilsTest, TrimStringKeepsNulsAndBytesAboveAscii)
{
    EXPECT_EQ(trimString(" \0x\0 "s), "\0x\0"s);
    EXPECT_EQ(trimString(" \xC3\xA4 "), "\xC3\xA4");
    EXPECT_EQ(trimString("\xFF"), "\xFF");
}

TEST(LumTextUtilsTest, TrimStringAgreesWithIsspaceForEveryByte)
{
    for (int value = 0; value < 256; ++value) {
        const std::string byte(1, static_cast<char>(value));
        EXPECT_EQ(trimString(byte + "x" + byte), std::isspace(value) != 0 ? "x" : byte + "x" + byte) << value;
    }
}

TEST(LumTextUtilsTest, WideCharHasSixteenBits)
{
    EXPECT_EQ(sizeof(WideChar), 2U);
    EXPECT_TRUE((std::is_same_v<WideChar, WCHAR>)) << "the platform's calls take it as it is";
}

TEST(LumTextUtilsTest, EmptyTextIsEmptyBothWays)
{
    SetLastError(kUntouched);
    EXPECT_TRUE(utf8ToUtf16("").empty());
    EXPECT_TRUE(utf16ToUtf8(WideString()).empty());
    EXPECT_EQ(GetLastError(), kUntouched) << "an empty text is no failure";
}

TEST(LumTextUtilsTest, TextsConvertBothWays)
{
    const std::vector<std::pair<std::string, std::u16string>> rows{
        {"plain", u"plain"},
        {"\xC3\xA4\xC3\xB6\xC3\xBC", u"\u00E4\u00F6\u00FC"},
        {"\xE2\x82\xAC", u"\u20AC"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
        {"\xEF\xBB\xBFx", u"\uFEFFx"},
        {"\xEF\xBF\xBF", u"\uFFFF"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
    };
    for (const auto& [narrow, units] : rows) {
        EXPECT_EQ(utf8ToUtf16(narrow), wide(units));
        EXPECT_EQ(utf16ToUtf8(wide(units)), narrow);
    }
}

TEST(LumTextUtilsTest, EmbeddedNulsAreKeptBothWays)
{
    const WideString units = wide(std::u16string(u"a\0b\0", 4));
    EXPECT_EQ(utf8ToUtf16("a\0b\0"s), units);
    EXPECT_EQ(utf16ToUtf8(units), "a\0b\0"s);
    EXPECT_EQ(utf8ToUtf16("\0"s), WideString(1, WideChar{}));
    EXPECT_EQ(utf16ToUtf8(WideString(1, WideChar{})), "\0"s);
}

TEST(LumTextUtilsTest, EveryCodePointConvertsBothWays)
{
    std::string narrow;
    WideString units;
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (!isSurrogate(codePoint)) {
            narrow += encodeUtf8(codePoint);
            units += encodeUtf16(codePoint);
        }
    }
    // Compared as a whole: a million expectations would take longer than the conversions.
    EXPECT_TRUE(utf8ToUtf16(narrow) == units);
    EXPECT_TRUE(utf16ToUtf8(units) == narrow);
}

TEST(LumTextUtilsTest, EveryCodePointConvertsAlone)
{
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (isSurrogate(codePoint)) {
            continue;
        }
        const std::string narrow = encodeUtf8(codePoint);
        ASSERT_TRUE(utf8ToUtf16(narrow) == encodeUtf16(codePoint)) << std::hex << static_cast<unsigned>(codePoint);
        ASSERT_TRUE(utf16ToUtf8(encodeUtf16(codePoint)) == narrow) << std::hex << static_cast<unsigned>(codePoint);
    }
}

class InvalidUtf8Test : public testing::TestWithParam<std::string> {};

TEST_P(InvalidUtf8Test, GivesNothingAndTheLastErrorWhereverItStands)
{
    for (const std::string& text : {GetParam(), "ab" + GetParam(), GetParam() + "cd", "ab" + GetParam() + "cd"}) {
        SetLastError(kUntouched);
        EXPECT_TRUE(utf8ToUtf16(text).empty());
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
    }
}

INSTANTIATE_TEST_SUITE_P(Overlong, InvalidUtf8Test,
                         testing::Values("\xC0\x80", "\xC0\xAF", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
                                         "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF"));
INSTANTIATE_TEST_SUITE_P(Surrogates, InvalidUtf8Test,
                         testing::Values("\xED\xA0\x80", "\xED\xAF\xBF", "\xED\xB0\x80", "\xED\xBF\xBF",
                                         "\xED\xA0\xBD\xED\xB8\x80"));
INSTANTIATE_TEST_SUITE_P(Truncated, InvalidUtf8Test,
                         testing::Values("\xC3", "\xE2", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"));
INSTANTIATE_TEST_SUITE_P(AboveTheHighestCodePoint, InvalidUtf8Test,
                         testing::Values("\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF7\xBF\xBF\xBF",
                                         "\xF8\x88\x80\x80\x80", "\xFC\x84\x80\x80\x80\x80"));
INSTANTIATE_TEST_SUITE_P(StrayBytes, InvalidUtf8Test, testing::Values("\x80", "\xBF", "\xFE", "\xFF", "\xC3\xC3\xA4"));

TEST(LumTextUtilsTest, EveryByteAboveAsciiAloneIsInvalid)
{
    for (int value = 0x80; value < 0x100; ++value) {
        SetLastError(kUntouched);
        EXPECT_TRUE(utf8ToUtf16(std::string(1, static_cast<char>(value))).empty()) << value;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION)) << value;
    }
}

TEST(LumTextUtilsTest, EveryUnpairedSurrogateGivesNothingAndTheLastError)
{
    for (char32_t unit = 0xD800; unit <= 0xDFFF; ++unit) {
        const WideString text(1, static_cast<WideChar>(unit));
        SetLastError(kUntouched);
        ASSERT_TRUE(utf16ToUtf8(text).empty()) << static_cast<unsigned>(unit);
        ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION)) << static_cast<unsigned>(unit);
    }
}

TEST(LumTextUtilsTest, EverySurrogateWrittenAsUtf8GivesNothingAndTheLastError)
{
    for (char32_t surrogate = 0xD800; surrogate <= 0xDFFF; ++surrogate) {
        SetLastError(kUntouched);
        ASSERT_TRUE(utf8ToUtf16(encodeUtf8(surrogate)).empty()) << static_cast<unsigned>(surrogate);
        ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION)) << static_cast<unsigned>(surrogate);
    }
}

TEST(LumTextUtilsTest, SurrogatesInTheWrongOrderOrCompanyGiveNothing)
{
    const auto unit = [](unsigned int value) { return WideString(1, static_cast<WideChar>(value)); };
    const WideString high = unit(0xD83D);
    const WideString low = unit(0xDE00);
    const WideString letter = unit('x');
    for (const WideString& text : {low + high, high + high + low, high + low + low, high + letter, letter + high,
                                   low + letter, letter + low, high + letter + low}) {
        SetLastError(kUntouched);
        EXPECT_TRUE(utf16ToUtf8(text).empty());
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
    }
    EXPECT_EQ(utf16ToUtf8(letter + high + low + letter), "x\xF0\x9F\x98\x80x");
}

} // namespace
