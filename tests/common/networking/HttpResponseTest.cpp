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

TEST(HttpResponseTest, AHeaderIsFoundWhateverItsCase)
{
    const HttpResponse response{200, "", {{"content-TYPE", {"text/html"}}, {"X-List", {"first", "second"}}}};
    for (const char* const name : {"Content-Type", "content-type", "CONTENT-TYPE", "content-TYPE"}) {
        const std::vector<std::string>* const values = LumNetworking::FindHeader(response, name);
        ASSERT_NE(values, nullptr) << name;
        EXPECT_EQ(*values, std::vector<std::string>{"text/html"});
    }
    EXPECT_EQ(LumNetworking::FindHeader(response, "x-list"), &response.headers.at("X-List"));
}

TEST(HttpResponseTest, AHeaderThatIsNotThereIsNotFound)
{
    const HttpResponse response{200, "", {{"Content-Type", {"text/html"}}}};
    for (const char* const name :
         {"", "Content", "Content-Typ", "Content-Type2", "ContentXType", "-", "Content_Type"}) {
        EXPECT_EQ(LumNetworking::FindHeader(response, name), nullptr) << name;
    }
    EXPECT_EQ(LumNetworking::FindHeader(HttpResponse(), "Content-Type"), nullptr);
}

TEST(HttpResponseTest, OnlyTheCaseOfAsciiLettersMakesNoDifference)
{
    // Each pair differs in the bit that tells the cases of a letter apart.
    const HttpResponse response{200, "", {{"[a", {"1"}}, {"@b", {"2"}}, {"\xC3\x84", {"3"}}, {"\xE4", {"4"}}}};
    for (const char* const name : {"{a", "`b", "\xC3\xA4", "\xC4"}) {
        EXPECT_EQ(LumNetworking::FindHeader(response, name), nullptr) << name;
    }
    EXPECT_NE(LumNetworking::FindHeader(response, "[A"), nullptr);
    EXPECT_NE(LumNetworking::FindHeader(response, "\xC3\x84"), nullptr);
}

TEST(HttpResponseTest, OfNamesThatDifferInCaseTheFirstOfTheMapIsFound)
{
    const HttpResponse response{200, "", {{"a-name", {"later"}}, {"A-Name", {"first"}}}};
    EXPECT_EQ(LumNetworking::FindHeader(response, "a-name"), &response.headers.at("A-Name"));
}

TEST(HttpResponseTest, AHeaderWhoseNameHoldsANulIsFoundByTheWholeNameOnly)
{
    const std::string name("a\0b", 3);
    const HttpResponse response{200, "", {{name, {"1"}}}};
    EXPECT_EQ(LumNetworking::FindHeader(response, "a"), nullptr);
    EXPECT_NE(LumNetworking::FindHeader(response, name), nullptr);
}

} // namespace
