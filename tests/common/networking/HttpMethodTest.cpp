#include "common/networking/HttpMethod.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace {

using LumNetworking::HttpMethod;
using LumNetworking::HttpMethodToString;

std::string textOf(std::int32_t value)
{
    return HttpMethodToString(static_cast<HttpMethod>(value));
}

TEST(HttpMethodTest, EveryValueHasItsText)
{
    EXPECT_EQ(textOf(0), "GET");
    EXPECT_EQ(textOf(1), "POST");
    EXPECT_EQ(textOf(2), "PUT");
    EXPECT_EQ(textOf(3), "PATCH");
    EXPECT_EQ(textOf(4), "DELETE");
}

TEST(HttpMethodTest, EnumeratorsHaveTheirValues)
{
    EXPECT_EQ(static_cast<std::int32_t>(HttpMethod::Get), 0);
    EXPECT_EQ(static_cast<std::int32_t>(HttpMethod::Post), 1);
    EXPECT_EQ(static_cast<std::int32_t>(HttpMethod::Put), 2);
    EXPECT_EQ(static_cast<std::int32_t>(HttpMethod::Patch), 3);
    EXPECT_EQ(static_cast<std::int32_t>(HttpMethod::Delete), 4);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<HttpMethod>, std::int32_t>));
}

TEST(HttpMethodTest, AnyOtherValueIsUnknownWithItsNumber)
{
    EXPECT_EQ(textOf(5), "UNKNOWN: 5");
    EXPECT_EQ(textOf(7), "UNKNOWN: 7");
    EXPECT_EQ(textOf(-1), "UNKNOWN: -1");
    EXPECT_EQ(textOf(std::numeric_limits<std::int32_t>::max()), "UNKNOWN: 2147483647");
    EXPECT_EQ(textOf(std::numeric_limits<std::int32_t>::min()), "UNKNOWN: -2147483648");
}

} // namespace
