#include "common/utils/LumTimeUtils.h"

#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using LumTests::ScriptedPlatform;
using LumUtils::formatCurrentTime;

TEST(LumTimeUtilsTest, TheTimeIsThePlatformsLocalTime)
{
    ScriptedPlatform platform;
    platform.now = 951782399; // 2000-02-28 23:59:59 in Greenwich
    EXPECT_EQ(formatCurrentTime("%Y-%m-%d %H:%M:%S %j"), "2000-02-29 00:59:59 060");
    EXPECT_EQ(platform.calls("_"), (std::vector<std::string>{"_time64(null)", "_localtime64_s(951782399)"}));
}

/// A runtime that knows them all; on Windows some know only those of C89.
TEST(LumTimeUtilsTest, EveryConversionThatCDefinesIsFormatted)
{
    ScriptedPlatform platform;
    platform.now = 951782399;
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"%C", "20"},
        {"%D", "02/29/00"},
        {"%e", "29"},
        {"%F", "2000-02-29"},
        {"%g", "00"},
        {"%G", "2000"},
        {"%h", "Feb"},
        {"%n", "\n"},
        {"%r", "12:59:59 AM"},
        {"%R", "00:59"},
        {"%t", "\t"},
        {"%T", "00:59:59"},
        {"%u", "2"},
        {"%V", "09"},
        {"%a", "Tue"},
        {"%A", "Tuesday"},
        {"%b", "Feb"},
        {"%B", "February"},
        {"%d", "29"},
        {"%H", "00"},
        {"%I", "12"},
        {"%j", "060"},
        {"%m", "02"},
        {"%M", "59"},
        {"%p", "AM"},
        {"%S", "59"},
        {"%U", "09"},
        {"%w", "2"},
        {"%W", "09"},
        {"%y", "00"},
        {"%Y", "2000"},
        {"%%", "%"},
        {"%EC", "20"},
        {"%Ey", "00"},
        {"%EY", "2000"},
        {"%Ex", "02/29/00"},
        {"%EX", "00:59:59"},
        {"%Od", "29"},
        {"%Oe", "29"},
        {"%OH", "00"},
        {"%OI", "12"},
        {"%Om", "02"},
        {"%OM", "59"},
        {"%OS", "59"},
        {"%Ou", "2"},
        {"%OU", "09"},
        {"%OV", "09"},
        {"%Ow", "2"},
        {"%OW", "09"},
        {"%Oy", "00"},
        {"%c", "Tue Feb 29 00:59:59 2000"},
        {"%Ec", "Tue Feb 29 00:59:59 2000"},
        {"%x", "02/29/00"},
        {"%X", "00:59:59"},
    };
    for (const auto& [conversion, text] : cases) {
        EXPECT_EQ(formatCurrentTime(conversion), text) << conversion;
    }
}

TEST(LumTimeUtilsTest, TimesBeyondThirtyTwoBitsAreFormatted)
{
    ScriptedPlatform platform;
    platform.now = 4102444800;
    EXPECT_EQ(formatCurrentTime("%Y-%m-%d %H"), "2100-01-01 01");
}

TEST(LumTimeUtilsTest, ATimeThatThePlatformDoesNotTellIsEmpty)
{
    ScriptedPlatform platform;
    platform.failCall("_time64", 1, 0);
    EXPECT_EQ(formatCurrentTime("%Y"), "");
    platform.failCall("_localtime64_s", 1, 0);
    EXPECT_EQ(formatCurrentTime("%Y"), "");
    EXPECT_EQ(formatCurrentTime("%Y"), "1970");
}

} // namespace
