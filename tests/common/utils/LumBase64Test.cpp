#include "common/utils/LumBase64.h"

#include "support/AllocationLimit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using LumUtils::base64Decode;
using LumUtils::base64Encode;
using LumUtils::base64EncodeWrapped;
using namespace std::string_literals;

const std::string kStandard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const std::string kUrlSafe = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr const char* kInvalid = "Input is not valid base64-encoded data.";
constexpr const char* kStray = "invalid string position";

/// The text of what decoding throws, behind the kind of it.
std::string thrownBy(const std::string& text, bool removeLineFeeds = false)
{
    try {
        return "decoded: " + base64Decode(text, removeLineFeeds);
    } catch (const std::out_of_range& error) {
        return "out_of_range: "s + error.what();
    } catch (const std::runtime_error& error) {
        return "runtime_error: "s + error.what();
    }
}

const std::string kInvalidThrown = "runtime_error: "s + kInvalid;
const std::string kStrayThrown = "out_of_range: "s + kStray;

char byte(unsigned int value)
{
    return static_cast<char>(static_cast<unsigned char>(value));
}

/// The definition of the encoding, group by group.
std::string encodedGroup(unsigned int first, unsigned int second, unsigned int third, bool urlSafe)
{
    const std::string& alphabet = urlSafe ? kUrlSafe : kStandard;
    const unsigned int group = first * 65536 + second * 256 + third;
    return {alphabet[group / 262144], alphabet[group / 4096 % 64], alphabet[group / 64 % 64], alphabet[group % 64]};
}

TEST(LumBase64Test, OneByteHasTwoCharactersOfPadding)
{
    EXPECT_EQ(base64Encode("f"), "Zg==");
    EXPECT_EQ(base64Encode("f", true), "Zg..");
}

TEST(LumBase64Test, TheAlphabetsDifferInTheirLastTwoCharactersAndTheirPadding)
{
    EXPECT_EQ(base64Encode("\xFB\xFF"), "+/8=");
    EXPECT_EQ(base64Encode("\xFB\xFF", true), "-_8.");
}

TEST(LumBase64Test, EitherAlphabetAndAnyMixtureIsDecoded)
{
    EXPECT_EQ(base64Decode("-_8."), "\xFB\xFF");
    EXPECT_EQ(base64Decode("+/8="), "\xFB\xFF");
    EXPECT_EQ(base64Decode("+_8."), "\xFB\xFF");
    EXPECT_EQ(base64Decode("-/8="), "\xFB\xFF");
    EXPECT_EQ(base64Decode("+_-/"), "\xFB\xFF\xBF");
    EXPECT_EQ(base64Decode("Zg.="), "f");
    EXPECT_EQ(base64Decode("Zg=."), "f");
}

TEST(LumBase64Test, ALineFeedAfterTheTextIsInvalid)
{
    EXPECT_EQ(thrownBy("Zg==\n"), kInvalidThrown);
}

TEST(LumBase64Test, PaddingIsOptional)
{
    EXPECT_EQ(base64Decode("Zg"), "f");
    EXPECT_EQ(base64Decode("Zg="), "f");
    EXPECT_EQ(base64Decode("Zg."), "f");
    EXPECT_EQ(base64Decode("Zm8"), "fo");
    EXPECT_EQ(base64Decode("Zm9vYg"), "foob");
    EXPECT_EQ(base64Decode("Zm9vYmE"), "fooba");
}

TEST(LumBase64Test, AfterPaddingInTheThirdPlaceTheFourthIsNotLookedAt)
{
    EXPECT_EQ(base64Decode("Zg=x"), "f");
    EXPECT_EQ(base64Decode("Zg.!"), "f");
    EXPECT_EQ(base64Decode("Zg=\0"s), "f");
    EXPECT_EQ(base64Decode("Zm9vZg=\xFF"), "foof");
}

TEST(LumBase64Test, ASingleLastCharacterIsOutOfRange)
{
    EXPECT_EQ(thrownBy("Zg==Z"), kStrayThrown);
    EXPECT_EQ(thrownBy("Z"), kStrayThrown);
    EXPECT_EQ(thrownBy("Zm9vZ"), kStrayThrown);
    EXPECT_EQ(thrownBy("Zm9v-"), kStrayThrown);
    EXPECT_EQ(thrownBy(std::string(16385, 'A')), kStrayThrown);
}

TEST(LumBase64Test, ASingleLastCharacterThatIsInNoAlphabetIsInvalid)
{
    for (const char* const text : {"=", ".", "!", "Zm9v=", "Zm9v.", "Zm9v ", "Zg==="}) {
        EXPECT_EQ(thrownBy(text), kInvalidThrown) << text;
    }
}

TEST(LumBase64Test, WhatComesFirstInTheTextDecides)
{
    EXPECT_EQ(thrownBy("Z!==Z"), kInvalidThrown);
    EXPECT_EQ(thrownBy("Zm9!Z"), kInvalidThrown);
    EXPECT_EQ(thrownBy("Zg==Zg==Z"), kInvalidThrown);
}

TEST(LumBase64Test, PaddingInTheFirstTwoPlacesOrBeforeTheLastGroupIsInvalid)
{
    for (const char* const text : {"==", "=A", "A=", "A.", "..", "=AAA", "A=AA", ".AAA", "A.AA", "====", "AA==AAAA",
                                   "AAA=AAAA", "AA..AA..", "AA=AAAAA", "Zg==Zg==", "Zg==Zg"}) {
        EXPECT_EQ(thrownBy(text), kInvalidThrown) << text;
    }
}

TEST(LumBase64Test, NothingIsNothing)
{
    EXPECT_EQ(base64Encode(""), "");
    EXPECT_EQ(base64Encode("", true), "");
    EXPECT_EQ(base64EncodeWrapped(""), "");
    EXPECT_EQ(base64Decode(""), "");
    EXPECT_EQ(base64Decode("", true), "");
}

TEST(LumBase64Test, ALengthOfZeroOrLessIsNothing)
{
    for (const std::int32_t length : {0, -1, -2, -3, -1000, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_EQ(base64Encode("abc", length, false), "") << length;
        EXPECT_EQ(base64Encode("abc", length, true), "") << length;
        EXPECT_EQ(base64Encode(nullptr, length, false), "") << length;
        EXPECT_EQ(base64EncodeWrapped("abc", length), "") << length;
        EXPECT_EQ(base64EncodeWrapped(nullptr, length), "") << length;
    }
}

TEST(LumBase64Test, APointerAndALengthAreEncodedAsTheyStand)
{
    EXPECT_EQ(base64Encode("abc\0d", 5, false), base64Encode("abc\0d"s));
    EXPECT_EQ(base64Encode("abcd", 1, true), base64Encode("a", true));
    EXPECT_EQ(base64EncodeWrapped("abcd", 3), base64EncodeWrapped("abc"));
}

/// The room for the text is asked for before a byte is looked at; there is none, so the bytes need not be there.
TEST(LumBase64Test, ALengthNearTheLargestNumberAsksForRoomOfItsOwn)
{
    const LumTests::AllocationLimit limit(std::size_t{1} << 20U);
    for (const std::int32_t less : {0, 1, 2, 3}) {
        const std::int32_t length = std::numeric_limits<std::int32_t>::max() - less;
        std::string failure;
        try {
            base64Encode("", length, false);
        } catch (const std::bad_alloc&) {
            failure = "no room";
        } catch (const std::length_error&) {
            failure = "no room"; // beyond what a string can have where addresses have 32 bits
        }
        EXPECT_EQ(failure, "no room") << length;
    }
}

TEST(LumBase64Test, EveryInputOfOneByteComesBack)
{
    for (unsigned int value = 0; value < 256; ++value) {
        const std::string bytes{byte(value)};
        EXPECT_EQ(base64Encode(bytes), encodedGroup(value, 0, 0, false).substr(0, 2) + "==");
        EXPECT_EQ(base64Encode(bytes, true), encodedGroup(value, 0, 0, true).substr(0, 2) + "..");
        EXPECT_EQ(base64Decode(base64Encode(bytes)), bytes);
        EXPECT_EQ(base64Decode(base64Encode(bytes, true)), bytes);
    }
}

TEST(LumBase64Test, EveryInputOfTwoBytesComesBack)
{
    for (unsigned int value = 0; value < 65536; ++value) {
        const std::string bytes{byte(value / 256), byte(value % 256)};
        ASSERT_EQ(base64Encode(bytes), encodedGroup(value / 256, value % 256, 0, false).substr(0, 3) + "=");
        ASSERT_EQ(base64Encode(bytes, true), encodedGroup(value / 256, value % 256, 0, true).substr(0, 3) + ".");
        ASSERT_EQ(base64Decode(base64Encode(bytes)), bytes);
        ASSERT_EQ(base64Decode(base64Encode(bytes, true)), bytes);
    }
}

TEST(LumBase64Test, EveryInputOfThreeBytesComesBack)
{
    std::string bytes(3, '\0');
    for (unsigned int first = 0; first < 256; ++first) {
        bytes[0] = byte(first);
        for (unsigned int rest = 0; rest < 65536; ++rest) {
            bytes[1] = byte(rest / 256);
            bytes[2] = byte(rest % 256);
            for (const bool urlSafe : {false, true}) {
                const std::string text = base64Encode(bytes, urlSafe);
                // Compared plainly: millions of expectations would take longer than the conversions.
                if (text != encodedGroup(first, rest / 256, rest % 256, urlSafe) || base64Decode(text) != bytes) {
                    FAIL() << first << ' ' << rest << ": " << text;
                }
            }
        }
    }
}

enum class Kind { Value, Padding, Neither };

Kind kindOf(char character)
{
    const bool isPadding = character == '=' || character == '.';
    const bool isValue = kStandard.find(character) != std::string::npos || character == '-' || character == '_';
    return isValue ? Kind::Value : isPadding ? Kind::Padding : Kind::Neither;
}

/// What the last group gives: the number of its bytes, or -1 if it is invalid.
int bytesOfTail(const std::string& tail)
{
    if (kindOf(tail[0]) != Kind::Value || kindOf(tail[1]) != Kind::Value || kindOf(tail[2]) == Kind::Neither) {
        return -1;
    }
    if (kindOf(tail[2]) == Kind::Padding) {
        return 1;
    }
    return kindOf(tail[3]) == Kind::Neither ? -1 : kindOf(tail[3]) == Kind::Padding ? 2 : 3;
}

TEST(LumBase64Test, EveryTailOfFourCharactersByClassIsJudgedByItsPlaces)
{
    // The classes' borders: what stands next to each range, and what lies far from all.
    const std::string characters = "AZaz09+/-_=.@[`{:,*'^ \n\r\t\x80\xFF"s + '\0';
    for (const char first : characters) {
        for (const char second : characters) {
            for (const char third : characters) {
                for (const char fourth : characters) {
                    const std::string tail{first, second, third, fourth};
                    const int count = bytesOfTail(tail);
                    const std::string expected = count < 0 ? kInvalidThrown : "decoded: ";
                    for (const std::string& head : {""s, "AAAA"s}) {
                        const std::string result = thrownBy(head + tail);
                        const std::size_t bytes = (head.size() / 4 * 3) + static_cast<std::size_t>(std::max(count, 0));
                        ASSERT_EQ(result.substr(0, expected.size()), expected) << testing::PrintToString(tail);
                        ASSERT_TRUE(count < 0 || result.size() == expected.size() + bytes)
                            << testing::PrintToString(tail);
                    }
                }
            }
        }
    }
}

TEST(LumBase64Test, EveryByteIsACharacterOfAnAlphabetOrInvalid)
{
    for (unsigned int value = 0; value < 256; ++value) {
        const char character = byte(value);
        const bool isValue = kindOf(character) == Kind::Value;
        for (const std::size_t length : {std::size_t{4}, std::size_t{80}, std::size_t{8192}}) {
            for (const std::size_t position : {std::size_t{0}, std::size_t{1}, length / 2, length - 5, length - 2}) {
                std::string text(length, 'A');
                text[position % length] = character;
                const bool isTail = position % length >= length - 2;
                const bool isRight = isValue || (isTail && kindOf(character) == Kind::Padding);
                EXPECT_EQ(thrownBy(text) == kInvalidThrown, !isRight)
                    << value << " at " << position << " of " << length;
            }
        }
    }
}

TEST(LumBase64Test, RemovingLineFeedsDecodesWrappedText)
{
    EXPECT_EQ(base64Decode("Zm9v\nYmFy\n", true), "foobar");
    EXPECT_EQ(base64Decode("\n\nZ\ng\n=\n=\n", true), "f");
    EXPECT_EQ(base64Decode("\n", true), "");
    EXPECT_EQ(thrownBy("Zg==\nZ", true), kStrayThrown);
    EXPECT_EQ(base64Decode("Zm9vYmFy", true), "foobar");
}

TEST(LumBase64Test, OtherWhiteSpaceIsNeverRemoved)
{
    for (const char* const text : {"Zm9v\r\nYmFy", "Zm9v YmFy", "Zm9v\tYmFy", "Zm9vYmFy\r\n", " Zm9v"}) {
        EXPECT_EQ(thrownBy(text, true), kInvalidThrown) << text;
    }
    EXPECT_EQ(thrownBy("Zm9v\nYmFy"), kInvalidThrown) << "nor is a line feed without being told";
}

TEST(LumBase64Test, WrappedTextHasALineFeedAfterEverySeventySixCharacters)
{
    for (const unsigned int length : {1U, 56U, 57U, 58U, 113U, 114U, 115U, 171U, 5000U}) {
        const std::string bytes(length, 'x');
        const std::string text = base64Encode(bytes);
        const std::string wrapped = base64EncodeWrapped(bytes);
        std::string expected;
        for (std::size_t index = 0; index < text.size(); ++index) {
            expected += text[index];
            expected += index % 76 == 75 ? "\n" : "";
        }
        EXPECT_EQ(wrapped, expected) << length;
        EXPECT_EQ(base64EncodeWrapped(bytes.data(), static_cast<std::int32_t>(length)), expected) << length;
        EXPECT_EQ(base64Decode(wrapped, true), bytes) << length;
    }
}

TEST(LumBase64Test, WrappedTextIsOfTheStandardAlphabet)
{
    EXPECT_EQ(base64EncodeWrapped("\xFB\xFF"), "+/8=");
    EXPECT_EQ(base64EncodeWrapped(std::string(57, '\xFF')), std::string(76, '/') + "\n");
}

template <typename... Arguments>
constexpr auto canEncode(int) -> decltype(base64Encode(std::declval<Arguments>()...), true)
{
    return true;
}

template <typename... Arguments>
constexpr bool canEncode(long)
{
    return false;
}

TEST(LumBase64Test, ALengthIsNeverTakenForTheAlphabet)
{
    EXPECT_TRUE((canEncode<const char*, bool>(0))) << "a text and the alphabet";
    EXPECT_TRUE((canEncode<const char*, std::int32_t, bool>(0)));
    EXPECT_FALSE((canEncode<const char*, std::int32_t>(0)));
    EXPECT_FALSE((canEncode<const char*, std::size_t>(0)));
}

} // namespace
