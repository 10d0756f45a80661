#include "common/utils/LumTimeUtils.h"

#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <string>
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
