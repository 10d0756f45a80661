#include "common/utils/LumTimeUtils.h"

#include "support/TimeZone.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace {

using LumUtils::formatCurrentTime;

std::string localText(std::time_t time)
{
    char text[64] = {};
    // No other thread of this program converts a time meanwhile.
    const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", std::localtime(&time));
    return std::string(text, length);
}

TEST(LumTimeUtilsTest, TheTimeIsTheCurrentLocalOne)
{
    const std::time_t before = std::time(nullptr);
    const std::string text = formatCurrentTime("%Y-%m-%d %H:%M:%S");
    const std::time_t after = std::time(nullptr);
    bool isBetween = false;
    for (std::time_t time = before; time <= after; ++time) {
        isBetween = isBetween || text == localText(time);
    }
    EXPECT_TRUE(isBetween) << text;
}

TEST(LumTimeUtilsTest, TheZoneIsTheProcesssOwn)
{
    // East of Greenwich, and not by whole hours: the offset has the other sign there.
    const LumTests::TimeZone zone("LUM-05:30");
    constexpr std::time_t kOffset = 5 * 3600 + 30 * 60;
    const std::time_t before = std::time(nullptr);
    const std::string text = formatCurrentTime("%Y-%m-%d %H:%M:%S");
    const std::time_t after = std::time(nullptr);
    bool isBetween = false;
    for (std::time_t time = before; time <= after; ++time) {
        const std::time_t moved = time + kOffset;
        char there[64] = {};
        const std::size_t length = std::strftime(there, sizeof(there), "%Y-%m-%d %H:%M:%S", std::gmtime(&moved));
        isBetween = isBetween || text == std::string(there, length);
    }
    EXPECT_TRUE(isBetween) << text;
}

TEST(LumTimeUtilsTest, TextAroundTheConversionsIsKept)
{
    EXPECT_EQ(formatCurrentTime("plain"), "plain");
    EXPECT_EQ(formatCurrentTime("100%% \xC3\xA4"), "100% \xC3\xA4");
}

TEST(LumTimeUtilsTest, UpTo255BytesAreDelivered)
{
    EXPECT_EQ(formatCurrentTime(std::string(254, 'x')), std::string(254, 'x'));
    EXPECT_EQ(formatCurrentTime(std::string(255, 'x')), std::string(255, 'x'));
    EXPECT_EQ(formatCurrentTime("%Y" + std::string(251, 'x')).size(), 255U);
}

TEST(LumTimeUtilsTest, ALongerResultIsEmpty)
{
    EXPECT_EQ(formatCurrentTime(std::string(256, 'x')), "");
    EXPECT_EQ(formatCurrentTime(std::string(255, 'x') + "%Y"), "");
    EXPECT_EQ(formatCurrentTime("%Y" + std::string(252, 'x')), "");
    EXPECT_EQ(formatCurrentTime(std::string(100000, 'x')), "");
}

TEST(LumTimeUtilsTest, AnEmptyPatternIsEmpty)
{
    EXPECT_EQ(formatCurrentTime(""), "");
}

TEST(LumTimeUtilsTest, ThePatternEndsAtItsFirstNul)
{
    EXPECT_EQ(formatCurrentTime(std::string("ab\0cd", 5)), "ab");
    EXPECT_EQ(formatCurrentTime(std::string("ab\0%Q", 5)), "ab");
    EXPECT_EQ(formatCurrentTime(std::string("%\0Y", 3)), "");
    EXPECT_EQ(formatCurrentTime(std::string("\0%Y", 3)), "");
}

TEST(LumTimeUtilsTest, EachConversionThatEveryRuntimeHasIsFormatted)
{
    for (const char conversion : std::string("aAbBcdHIjmMSUwWxXyY%")) {
        EXPECT_NE(formatCurrentTime(std::string("%") + conversion), "") << conversion;
    }
    EXPECT_EQ(formatCurrentTime("%j").size(), 3U);
    EXPECT_EQ(formatCurrentTime("%y").size(), 2U);
    EXPECT_NE(formatCurrentTime("%#c"), "") << "the other form";
}

TEST(LumTimeUtilsTest, AConversionThatIsNotDefinedGivesTheEmptyResult)
{
    for (const char* const format : {"%",  "%Y%", "%Q", "%Y %L", "% d",       "%-d", "%5d", "%_d", "%E", "%Ed",
                                     "%O", "%Oc", "%#", "%##d",  "%\xC3\xA4", "%1",  "%s",  "%k",  "%+", "%f"}) {
        EXPECT_EQ(formatCurrentTime(format), "") << format;
    }
}

TEST(LumTimeUtilsTest, SeveralThreadsFormatAtOnce)
{
    std::atomic<int> wellFormed{0};
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                wellFormed += formatCurrentTime("<%Y-%m-%dT%H:%M:%S>").size() == 21 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wellFormed, 1600);
}

} // namespace
