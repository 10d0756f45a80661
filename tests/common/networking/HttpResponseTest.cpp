#include "common/networking/HttpResponse.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using LumNetworking::HttpResponse;

TEST(HttpResponseTest, DefaultResponseIsEmpty)
{
    const HttpResponse response;
    EXPECT_EQ(response.statusCode, 0);
    EXPECT_TRUE(response.body.empty());
    EXPECT_TRUE(response.headers.empty());
}

TEST(HttpResponseTest, FieldsHaveTheirTypesAndOrder)
{
    EXPECT_TRUE((std::is_same_v<decltype(HttpResponse::statusCode), std::int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(HttpResponse::body), std::string>));
    EXPECT_TRUE((std::is_same_v<decltype(HttpResponse::headers), std::map<std::string, std::vector<std::string>>>));
    const HttpResponse response{200, "body", {{"Name", {"first", "second"}}}};
    EXPECT_EQ(response.statusCode, 200);
    EXPECT_EQ(response.body, "body");
    EXPECT_EQ(response.headers.at("Name"), (std::vector<std::string>{"first", "second"}));
}

TEST(HttpResponseTest, BodyHoldsAnyByte)
{
    HttpResponse response;
    for (int value = 0; value < 256; ++value) {
        response.body += static_cast<char>(value);
    }
    ASSERT_EQ(response.body.size(), 256U);
    EXPECT_EQ(response.body[0], '\0');
    EXPECT_EQ(response.body[255], static_cast<char>(255));
}

TEST(HttpResponseTest, HeaderNamesAreOrderedByteWiseWithTheirCase)
{
    HttpResponse response;
    response.headers["a"].emplace_back("1");
    response.headers["A"].emplace_back("2");
    response.headers["B"].emplace_back("3");
    std::string order;
    for (const auto& [name, values] : response.headers) {
        order += name;
    }
    EXPECT_EQ(order, "ABa");
}

} // namespace
