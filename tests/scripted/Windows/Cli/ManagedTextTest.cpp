#include "Windows/Cli/utils/ManagedText.h"

#include "Windows/Cli/utils/ManagedException.h"
#include "support/FakeManagedHost.h"
#include "support/ScriptedPlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using LumTests::FakeManagedHost;
using LumTests::ScriptedPlatform;
using testing::HasSubstr;

class ManagedTextTest : public testing::Test {
protected:
    std::string Native(const std::u16string& text)
    {
        return LumUtilsCli::toNativeText(host.table(), {text.data(), static_cast<std::int32_t>(text.size())});
    }

    ScriptedPlatform platform;
    FakeManagedHost host;
};

TEST_F(ManagedTextTest, ACodePageThatRefusesTheFlagIsUtf8)
{
    platform.failCall("WideCharToMultiByte", 1, ERROR_INVALID_FLAGS);
    platform.failCall("WideCharToMultiByte", 3, ERROR_INVALID_FLAGS);
    EXPECT_EQ(Native(u"a\u20AC"), "a\xE2\x82\xAC");
    const auto calls = platform.calls("WideCharToMultiByte");
    ASSERT_EQ(calls.size(), 4U);
    for (const std::size_t retry : {1U, 3U}) {
        EXPECT_THAT(calls[retry - 1], HasSubstr("(3, 0x400, ")) << "the thread's code page, no look-alikes";
        EXPECT_THAT(calls[retry], HasSubstr("(65001, 0x80, ")) << "UTF-8, nothing invalid";
    }
}

TEST_F(ManagedTextTest, InvalidTextIsRefusedInUtf8Too)
{
    platform.failCall("WideCharToMultiByte", 1, ERROR_INVALID_FLAGS);
    EXPECT_THROW(Native(u"a\xD800"), LumUtilsCli::ManagedException);
    EXPECT_EQ(platform.countOf("WideCharToMultiByte"), 2);
}

TEST_F(ManagedTextTest, AnotherFailureIsNotTriedInUtf8)
{
    platform.failCall("WideCharToMultiByte", 1, ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_THROW(Native(u"a"), LumUtilsCli::ManagedException);
    EXPECT_EQ(platform.countOf("WideCharToMultiByte"), 1);
}

TEST_F(ManagedTextTest, ATextThatTheStrictConversionRefusesIsOnlyTakenInACodePageOfSingleBytes)
{
    EXPECT_THROW(LumUtilsCli::ManagedText::Convert(host.table(), "a\x80"), LumUtilsCli::ManagedException);
    EXPECT_EQ(platform.countOf("GetCPInfo"), 1);
    EXPECT_EQ(platform.countOf("MultiByteToWideChar"), 1 + 1) << "the text, and the one of the exception";
}

TEST_F(ManagedTextTest, ACodePageOfWhichNothingIsKnownIsNotOfSingleBytes)
{
    platform.failCall("GetCPInfo", 1, ERROR_INVALID_PARAMETER);
    EXPECT_THROW(LumUtilsCli::ManagedText::Convert(host.table(), "a\x80"), LumUtilsCli::ManagedException);
}

} // namespace
