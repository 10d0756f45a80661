#include "common/networking/HttpRequestResult.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace {

using LumNetworking::HttpRequestResult;
using LumNetworking::HttpRequestResultToString;

std::string textOf(std::int32_t value)
{
    return HttpRequestResultToString(static_cast<HttpRequestResult>(value));
}

TEST(HttpRequestResultTest, EveryValueHasItsText)
{
    EXPECT_EQ(textOf(0), "SUCCESS");
    EXPECT_EQ(textOf(1), "FAILED");
    EXPECT_EQ(textOf(2), "CANCELLED");
}

TEST(HttpRequestResultTest, EnumeratorsHaveTheirValues)
{
    EXPECT_EQ(static_cast<std::int32_t>(HttpRequestResult::SUCCESS), 0);
    EXPECT_EQ(static_cast<std::int32_t>(HttpRequestResult::FAILED), 1);
    EXPECT_EQ(static_cast<std::int32_t>(HttpRequestResult::CANCELLED), 2);
    EXPECT_EQ(sizeof(HttpRequestResult), 4U);
}

TEST(HttpRequestResultTest, AnyOtherValueIsUnknownWithItsNumber)
{
    EXPECT_EQ(textOf(-1), "UNKNOWN: -1");
    EXPECT_EQ(textOf(3), "UNKNOWN: 3");
    EXPECT_EQ(textOf(std::numeric_limits<std::int32_t>::max()), "UNKNOWN: 2147483647");
    EXPECT_EQ(textOf(std::numeric_limits<std::int32_t>::min()), "UNKNOWN: -2147483648");
}

} // namespace
