#include "common/utils/LumError.h"

#include "support/AllocationLimit.h"
#include "support/SmallStack.h"
#include "support/StandardErrorText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <any>
#include <climits>
#include <cmath>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using LumTests::standardErrorOf;
using LumUtils::ILumError;
using LumUtils::LumError;
using UserInfo = std::map<std::string, std::any>;
using Json = nlohmann::json;

constexpr const char* kFallbackDescription =
    "Failed to create required error object from JSON, so falling back to this error";

std::string userInfoJson(const UserInfo& userInfo)
{
    const std::string json = LumError("d", 5, userInfo).toJson();
    const std::string begin = "\"userInfo\":";
    const std::size_t start = json.find(begin) + begin.size();
    return json.substr(start, json.size() - start - 1);
}

/// The dictionary with the type of each value, as a text: "a: int 1, b: string x".
std::string typedText(const UserInfo& userInfo)
{
    std::string text;
    for (const auto& [key, value] : userInfo) {
        text += text.empty() ? "" : ", ";
        text += key + ": ";
        if (const auto* number = std::any_cast<int>(&value)) {
            text += "int " + std::to_string(*number);
        } else if (const auto* string = std::any_cast<std::string>(&value)) {
            text += "string " + *string;
        } else if (const auto* real = std::any_cast<double>(&value)) {
            text += "double " + Json(*real).dump();
        } else if (const auto* flag = std::any_cast<bool>(&value)) {
            text += *flag ? "bool true" : "bool false";
        } else {
            text += "another type";
        }
    }
    return text;
}

std::string typedText(const ILumError& error)
{
    return error.getDomain() + " | " + std::to_string(error.getCode()) + " | " + typedText(error.getUserInfo());
}

/// What fromJson gives, and what it prints.
struct Reading {
    std::unique_ptr<ILumError> error;
    std::string printed;
};

Reading readingOf(const std::string& json)
{
    Reading reading;
    reading.printed = standardErrorOf([&] { reading.error = LumError::fromJson(json); });
    return reading;
}

std::string typedUserInfo(const std::string& userInfo)
{
    const Reading reading = readingOf("{\"code\":1,\"userInfo\":" + userInfo + "}");
    EXPECT_EQ(reading.printed, "") << userInfo;
    EXPECT_EQ(reading.error->getCode(), 1) << userInfo;
    return typedText(reading.error->getUserInfo());
}

bool isFallback(const ILumError& error, const std::string& json)
{
    const UserInfo& userInfo = error.getUserInfo();
    return error.getDomain() == "com.corvan.utils.errordomain" && error.getCode() == -1 && userInfo.size() == 2 &&
           std::any_cast<std::string>(userInfo.at(LumUtils::LumErrorUnderlyingErrorDescription)) ==
               kFallbackDescription &&
           std::any_cast<std::string>(userInfo.at(LumUtils::LumErrorUnderlyingErrorObject)) == json;
}

void expectFallbackWithMessage(const std::string& json, const std::string& message)
{
    const Reading reading = readingOf(json);
    ASSERT_NE(reading.error, nullptr) << json;
    EXPECT_TRUE(isFallback(*reading.error, json)) << json << " gives " << typedText(*reading.error);
    EXPECT_EQ(reading.printed, message) << json;
}

void expectFallbackWithJsonError(const std::string& json)
{
    const Reading reading = readingOf(json);
    ASSERT_NE(reading.error, nullptr);
    EXPECT_TRUE(isFallback(*reading.error, json)) << json;
    EXPECT_EQ(reading.printed.rfind("JSON error: [json.exception.", 0), 0U) << json << " prints " << reading.printed;
    EXPECT_EQ(reading.printed.find('\n'), reading.printed.size() - 1) << "one line: " << reading.printed;
}

std::string repeated(const std::string& text, std::size_t count)
{
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t index = 0; index < count; ++index) {
        all += text;
    }
    return all;
}

TEST(LumErrorJsonTest, WritingAnEmptyDictionaryGivesAnEmptyObject)
{
    EXPECT_EQ(LumError("d", -5).toJson(), "{\"code\":-5,\"description\":\"Domain: d, Code: -5, UserInfo: {}\","
                                          "\"domain\":\"d\",\"userInfo\":{}}");
}

TEST(LumErrorJsonTest, WritingHasEachSupportedType)
{
    EXPECT_EQ(userInfoJson({{"k", -7}}), "{\"k\":-7}");
    EXPECT_EQ(userInfoJson({{"k", std::string("text")}}), "{\"k\":\"text\"}");
    EXPECT_EQ(userInfoJson({{"k", static_cast<const char*>("literal")}}), "{\"k\":\"literal\"}");
    EXPECT_EQ(userInfoJson({{"k", 0.5}}), "{\"k\":0.5}");
    EXPECT_EQ(userInfoJson({{"k", 3.0}}), "{\"k\":3.0}") << "still a floating-point number";
    EXPECT_EQ(userInfoJson({{"k", true}}), "{\"k\":true}");
    EXPECT_EQ(userInfoJson({{"k", false}}), "{\"k\":false}");
}

TEST(LumErrorJsonTest, WritingLeavesUnsupportedTypesOut)
{
    EXPECT_EQ(userInfoJson({{"a", 1}, {"b", 7LL}, {"c", 1.5F}, {"d", std::any()}, {"e", true}}),
              "{\"a\":1,\"e\":true}");
    EXPECT_EQ(userInfoJson({{"b", 7LL}}), "{}");
}

TEST(LumErrorJsonTest, WritingOrdersTheMembersOfTheDictionary)
{
    EXPECT_EQ(userInfoJson({{"b", 1}, {"a", 2}, {"B", 3}, {"", 4}}), "{\"\":4,\"B\":3,\"a\":2,\"b\":1}");
}

TEST(LumErrorJsonTest, WritingEscapesControlCharactersAndKeepsOtherText)
{
    EXPECT_EQ(userInfoJson({{"k", std::string("\xC3\xA4\"\\\n\0", 6)}}), "{\"k\":\"\xC3\xA4\\\"\\\\\\n\\u0000\"}");
}

/// An error with a text form of its own.
class DescribedError : public LumError {
public:
    using LumError::LumError;
    std::string getDescription() const override { return "my own text"; }
};

TEST(LumErrorJsonTest, WritingUsesTheTextFormOfADerivedError)
{
    EXPECT_EQ(DescribedError("d", 5).toJson(),
              "{\"code\":5,\"description\":\"my own text\",\"domain\":\"d\",\"userInfo\":{}}");
}

TEST(LumErrorJsonTest, WritingLeavesANullTextOut)
{
    EXPECT_EQ(userInfoJson({{"a", static_cast<const char*>(nullptr)}, {"b", 1}}), "{\"b\":1}");
}

TEST(LumErrorJsonTest, WritingHasNullForWhatIsNoNumber)
{
    EXPECT_EQ(userInfoJson({{"k", std::numeric_limits<double>::quiet_NaN()}}), "{\"k\":null}");
    EXPECT_EQ(userInfoJson({{"k", -std::numeric_limits<double>::infinity()}}), "{\"k\":null}");
}

TEST(LumErrorJsonTest, WritingThrowsTheTypeErrorOfTheJsonLibraryForInvalidUtf8)
{
    const std::string invalid[] = {"\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "a\x80"};
    for (const std::string& text : invalid) {
        EXPECT_THROW(LumError(text, 5).toJson(), Json::type_error) << text;
        EXPECT_THROW(LumError("d", 5, UserInfo{{"k", text}}).toJson(), Json::type_error) << text;
        EXPECT_THROW(LumError("d", 5, UserInfo{{"k", text.c_str()}}).toJson(), Json::type_error) << text;
        EXPECT_THROW(LumError("d", 5, UserInfo{{text, 1}}).toJson(), Json::type_error) << text;
    }
    try {
        LumError("\xFF", 5).toJson();
    } catch (const Json::type_error& failure) {
        EXPECT_STREQ(failure.what(), "[json.exception.type_error.316] invalid UTF-8 byte at index 8: 0xFF");
    }
}

TEST(LumErrorJsonTest, WritingAndReadingGivesAnEqualError)
{
    const UserInfo userInfo{{"int", -7},
                            {"min", INT_MIN},
                            {"max", INT_MAX},
                            {"double", 0.1},
                            {"whole", 3.0},
                            {"least", std::numeric_limits<double>::denorm_min()},
                            {"greatest", std::numeric_limits<double>::max()},
                            {"true", true},
                            {"false", false},
                            {"text", std::string("\xC3\xA4 \"quoted\" \\ \n \0 end", 21)},
                            {"", std::string()},
                            {std::string("key\0\x01", 5), std::string("v")}};
    const LumError error("com.example.\xE2\x82\xAC", INT_MIN, userInfo);
    const Reading reading = readingOf(error.toJson());
    EXPECT_EQ(reading.printed, "");
    EXPECT_NE(dynamic_cast<LumError*>(reading.error.get()), nullptr);
    EXPECT_EQ(typedText(*reading.error), typedText(error));
    EXPECT_EQ(std::any_cast<double>(reading.error->getUserInfo().at("double")), 0.1) << "every bit";
    EXPECT_EQ(reading.error->toJson(), error.toJson());
}

TEST(LumErrorJsonTest, ALiteralComesBackAsText)
{
    const LumError error("d", 5, UserInfo{{"k", static_cast<const char*>("literal")}});
    EXPECT_EQ(typedText(*LumError::fromJson(error.toJson())), "d | 5 | k: string literal");
}

TEST(LumErrorJsonTest, ReadingIgnoresTheDescription)
{
    const Reading reading =
        readingOf(R"({"code":5,"description":"another","domain":"d","userInfo":{"a":1},"more":[{"code":9}]})");
    EXPECT_EQ(reading.printed, "");
    EXPECT_EQ(reading.error->getDescription(), "Domain: d, Code: 5, UserInfo: {a: 1}");
}

TEST(LumErrorJsonTest, ReadingIgnoresADescriptionOfAnyType)
{
    for (const char* const description : {"null", "7", "0.5", "true", "[\"x\"]", "{\"code\":9}"}) {
        const Reading reading = readingOf(std::string("{\"code\":5,\"description\":") + description + "}");
        EXPECT_EQ(reading.printed, "") << description;
        EXPECT_EQ(typedText(*reading.error), " | 5 | ") << description;
    }
}

TEST(LumErrorJsonTest, WhatIsNoObjectGivesTheFallbackSilently)
{
    for (const char* const json : {"[]", "42", "null", "true", "\"{}\"", "-0.5", "[{\"code\":5}]", " [ ] "}) {
        expectFallbackWithMessage(json, "");
    }
}

TEST(LumErrorJsonTest, ATruncatedTextIsReportedAndGivesTheFallback)
{
    expectFallbackWithMessage("{",
                              "JSON error: [json.exception.parse_error.101] parse error at line 1, column 2: syntax "
                              "error while parsing object key - unexpected end of input; expected string literal\n");
}

TEST(LumErrorJsonTest, AnEmptyTextIsReported)
{
    expectFallbackWithMessage("", "JSON error: [json.exception.parse_error.101] parse error at line 1, column 1: "
                                  "attempting to parse an empty input; check that your input string or stream contains "
                                  "the expected JSON\n");
}

TEST(LumErrorJsonTest, AnObjectWithoutMembersIsTheEmptyError)
{
    const Reading reading = readingOf("{}");
    EXPECT_EQ(reading.printed, "");
    EXPECT_EQ(typedText(*reading.error), " | 0 | ");
}

TEST(LumErrorJsonTest, AMemberOfTheWrongTypeIsReportedAndGivesTheFallback)
{
    const std::pair<const char*, const char*> rows[] = {
        {R"({"code":"7"})", "302] type must be number, but is string"},
        {R"({"code":null})", "302] type must be number, but is null"},
        {R"({"code":true})", "302] type must be number, but is boolean"},
        {R"({"code":[7]})", "302] type must be number, but is array"},
        {R"({"code":{"a":7}})", "302] type must be number, but is object"},
        {R"({"domain":7})", "302] type must be string, but is number"},
        {R"({"domain":null})", "302] type must be string, but is null"},
        {R"({"domain":false})", "302] type must be string, but is boolean"},
        {R"({"domain":["d"]})", "302] type must be string, but is array"},
        {R"({"domain":{"d":"d"}})", "302] type must be string, but is object"},
        {R"({"domain":7,"code":"7","userInfo":7})", "302] type must be string, but is number"},
        {R"({"userInfo":7,"code":"7","domain":"d"})", "302] type must be number, but is string"},
    };
    for (const auto& [json, message] : rows) {
        expectFallbackWithMessage(json, std::string("JSON error: [json.exception.type_error.") + message + "\n");
    }
}

TEST(LumErrorJsonTest, AUserInfoWithoutKeysIsReportedAndGivesTheFallback)
{
    for (const char* const userInfo : {"\"text\"", "7", "-7", "0.5", "true", "false"}) {
        expectFallbackWithMessage(std::string("{\"userInfo\":") + userInfo + "}",
                                  "JSON error: [json.exception.invalid_iterator.207] cannot use key() for non-object "
                                  "iterators\n");
    }
}

TEST(LumErrorJsonTest, AUserInfoOfNullIsEmpty)
{
    EXPECT_EQ(typedUserInfo("null"), "");
}

TEST(LumErrorJsonTest, AUserInfoThatIsAnArrayHasItsIndicesForKeys)
{
    EXPECT_EQ(typedUserInfo("[]"), "");
    EXPECT_EQ(typedUserInfo("[7,\"x\",null,true,[1,2],{\"a\":1},0.5]"),
              "0: int 7, 1: string x, 3: bool true, 6: double 0.5");
    EXPECT_EQ(typedUserInfo("[0,1,2,3,4,5,6,7,8,9,10]"),
              "0: int 0, 1: int 1, 10: int 10, 2: int 2, 3: int 3, 4: int 4, 5: int 5, 6: int 6, 7: int 7, 8: int 8, "
              "9: int 9");
}

TEST(LumErrorJsonTest, ReadingMapsEachType)
{
    EXPECT_EQ(typedUserInfo(R"({"k":7})"), "k: int 7");
    EXPECT_EQ(typedUserInfo(R"({"k":-7})"), "k: int -7");
    EXPECT_EQ(typedUserInfo(R"({"k":0.5})"), "k: double 0.5");
    EXPECT_EQ(typedUserInfo(R"({"k":7.0})"), "k: double 7.0");
    EXPECT_EQ(typedUserInfo(R"({"k":1e2})"), "k: double 100.0");
    EXPECT_EQ(typedUserInfo(R"({"k":true})"), "k: bool true");
    EXPECT_EQ(typedUserInfo(R"({"k":false})"), "k: bool false");
    EXPECT_EQ(typedUserInfo(R"({"k":"a\u00e4\ud83d\ude00"})"), "k: string a\xC3\xA4\xF0\x9F\x98\x80");
    EXPECT_EQ(typedUserInfo(R"({"k":"a\u0000b"})"), std::string("k: string a\0b", 13));
}

TEST(LumErrorJsonTest, ValuesWithoutATypeInTheDictionaryAreLeftOutSilently)
{
    EXPECT_EQ(typedUserInfo(R"({"a":null,"b":[],"c":{},"d":[1,"x",{"k":2}],"e":{"k":1},"f":1})"), "f: int 1");
}

TEST(LumErrorJsonTest, MembersOfNestedObjectsAreNotTakenForTheErrorsOwn)
{
    const Reading reading = readingOf(R"({"a":{"code":1,"domain":"x","userInfo":{"k":1}},"code":2,)"
                                      R"("userInfo":{"code":3,"userInfo":{"z":1},"domain":"y"},"domain":"d"})");
    EXPECT_EQ(reading.printed, "");
    EXPECT_EQ(typedText(*reading.error), "d | 2 | code: int 3, domain: string y");
}

TEST(LumErrorJsonTest, IntegersBeyondIntKeepTheirLowBits)
{
    const std::pair<const char*, int> rows[] = {
        {"2147483647", INT_MAX},     {"2147483648", INT_MIN},     {"-2147483648", INT_MIN},
        {"-2147483649", INT_MAX},    {"3000000000", -1294967296}, {"4294967303", 7},
        {"9223372036854775807", -1}, {"-9223372036854775808", 0}, {"18446744073709551615", -1}};
    for (const auto& [number, expected] : rows) {
        const Reading reading = readingOf(std::string("{\"code\":") + number + ",\"userInfo\":{\"k\":" + number + "}}");
        EXPECT_EQ(reading.printed, "") << number;
        EXPECT_EQ(reading.error->getCode(), expected) << number;
        EXPECT_EQ(typedText(reading.error->getUserInfo()), "k: int " + std::to_string(expected)) << number;
    }
}

TEST(LumErrorJsonTest, IntegersBeyondSixtyFourBitsAreFloatingPointNumbers)
{
    EXPECT_EQ(typedUserInfo(R"({"a":18446744073709551616,"b":-9223372036854775809})"),
              "a: double 1.8446744073709552e+19, b: double -9.223372036854776e+18");
}

TEST(LumErrorJsonTest, ACodeWithAFractionLosesItAndBeyondIntIsTheSmallest)
{
    const std::pair<const char*, int> rows[] = {{"2.9", 2},
                                                {"-2.9", -2},
                                                {"-0.0", 0},
                                                {"2147483647.9", INT_MAX},
                                                {"-2147483648.9", INT_MIN},
                                                {"2147483648.0", INT_MIN},
                                                {"-2147483649.0", INT_MIN},
                                                {"1e10", INT_MIN},
                                                {"-1e308", INT_MIN},
                                                {"18446744073709551616", INT_MIN}};
    for (const auto& [number, expected] : rows) {
        const Reading reading = readingOf(std::string("{\"code\":") + number + "}");
        EXPECT_EQ(reading.printed, "") << number;
        EXPECT_EQ(reading.error->getCode(), expected) << number;
    }
}

TEST(LumErrorJsonTest, ANumberBeyondDoubleIsReported)
{
    expectFallbackWithMessage(R"({"code":1e400})",
                              "JSON error: [json.exception.out_of_range.406] number overflow parsing '1e400'\n");
}

TEST(LumErrorJsonTest, OfSeveralMembersWithOneNameTheLastCounts)
{
    const std::pair<const char*, const char*> rows[] = {
        {R"({"code":1,"code":2,"domain":"a","domain":"b"})", "b | 2 | "},
        {R"({"code":"x","code":2})", " | 2 | "},
        {R"({"userInfo":{"k":1,"k":"x"}})", " | 0 | k: string x"},
        {R"({"userInfo":{"k":1,"k":null}})", " | 0 | "},
        {R"({"userInfo":{"k":1,"k":[2]}})", " | 0 | "},
        {R"({"userInfo":{"k":[1],"k":2}})", " | 0 | k: int 2"},
        {R"({"userInfo":{"a":1},"userInfo":{"b":2}})", " | 0 | b: int 2"},
        {R"({"userInfo":{"a":1},"userInfo":[5]})", " | 0 | 0: int 5"},
        {R"({"userInfo":[4,5],"userInfo":[6]})", " | 0 | 0: int 6"},
        {R"({"userInfo":{"a":1},"userInfo":null})", " | 0 | "},
        {R"({"userInfo":7,"userInfo":{"b":2}})", " | 0 | b: int 2"},
    };
    for (const auto& [json, expected] : rows) {
        const Reading reading = readingOf(json);
        EXPECT_EQ(reading.printed, "") << json;
        EXPECT_EQ(typedText(*reading.error), expected) << json;
    }
    expectFallbackWithJsonError(R"({"code":2,"code":"x"})");
    expectFallbackWithJsonError(R"({"userInfo":{"b":2},"userInfo":7})");
}

TEST(LumErrorJsonTest, InvalidUtf8IsReportedOnOneLineAndComesBackUnchanged)
{
    for (const char* const bytes : {"\xFF", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "a\x80"}) {
        expectFallbackWithJsonError(std::string("{\"domain\":\"") + bytes + "\"}");
        expectFallbackWithJsonError(std::string("{\"") + bytes + "\":1}");
        expectFallbackWithJsonError(std::string("{\"ignored\":[[[\"") + bytes + "\"]]]}");
    }
    expectFallbackWithJsonError(R"({"domain":"\ud800"})");
    expectFallbackWithJsonError("\xEF\xBB");
}

TEST(LumErrorJsonTest, ControlCharactersAndLineEndsAreReportedOnOneLine)
{
    expectFallbackWithJsonError(std::string("{\"domain\":\"a\0b\"}", 16));
    expectFallbackWithJsonError("{\"domain\":\"a\nb\"}");
    expectFallbackWithJsonError("{\n\"domain\"\n:\n}\n");
    expectFallbackWithJsonError("{\"a\":1}\n{}");
}

TEST(LumErrorJsonTest, AByteOrderMarkIsSkippedAndANulEndsTheText)
{
    EXPECT_EQ(typedText(*LumError::fromJson("\xEF\xBB\xBF{\"code\":3}")), " | 3 | ");
    EXPECT_EQ(typedText(*LumError::fromJson(std::string("{\"code\":3}\0{{{", 14))), " | 3 | ");
}

const std::string& sampleText()
{
    static const std::string text = R"({"code":-12,"description":"x","domain":"d\u00e4","more":[{"a":[1]}],)"
                                    R"("userInfo":{"a":1,"b":"x\n","c":0.5e1,"d":true,"e":null,"f":[1,{}],"g":{}}})";
    return text;
}

TEST(LumErrorJsonTest, EveryPrefixOfATextIsReportedAndComesBackUnchanged)
{
    for (std::size_t length = 0; length < sampleText().size(); ++length) {
        expectFallbackWithJsonError(sampleText().substr(0, length));
    }
    EXPECT_EQ(typedText(*LumError::fromJson(sampleText())),
              "d\xC3\xA4 | -12 | a: int 1, b: string x\n, c: double 5.0, d: bool true");
}

int codeOf(const Json& number)
{
    const bool fitsInt = !number.is_number_float() || std::abs(number.get<double>()) < 2147483648.0;
    return fitsInt ? static_cast<int>(number.get<std::int64_t>()) : INT_MIN;
}

/// The error by a whole tree of the text's values, or the message of the exception.
std::string readByTree(const std::string& text, std::string& printed)
{
    try {
        const Json tree = Json::parse(text);
        if (!tree.is_object()) {
            return "fallback";
        }
        const auto domain = tree.contains("domain") ? tree.at("domain").get<std::string>() : std::string();
        const int code = tree.contains("code") ? codeOf(tree.at("code")) : 0;
        UserInfo userInfo;
        const Json information = tree.contains("userInfo") ? tree.at("userInfo") : Json();
        for (const auto& item : information.items()) {
            if (!information.is_structured()) {
                static_cast<void>(information.begin().key());
            } else if (item.value().is_number_integer()) {
                userInfo[item.key()] = item.value().get<int>();
            } else if (item.value().is_number_float()) {
                userInfo[item.key()] = item.value().get<double>();
            } else if (item.value().is_boolean()) {
                userInfo[item.key()] = item.value().get<bool>();
            } else if (item.value().is_string()) {
                userInfo[item.key()] = item.value().get<std::string>();
            }
        }
        return typedText(LumError(domain, code, userInfo));
    } catch (const Json::exception& failure) {
        printed += std::string("JSON error: ") + failure.what() + '\n';
        return "fallback";
    }
}

std::string mutated(std::string text, std::mt19937& random)
{
    static const std::string kPieces[] = {"{",
                                          "}",
                                          "[",
                                          "]",
                                          ",",
                                          ":",
                                          "\"",
                                          "1",
                                          "-",
                                          ".5",
                                          "e9",
                                          "null",
                                          "true",
                                          "{}",
                                          "[]",
                                          "\\",
                                          "\"code\":",
                                          "\"domain\":",
                                          "\"userInfo\":",
                                          "{\"a\":",
                                          "\x80",
                                          " ",
                                          "\n",
                                          "\"a\":[1],",
                                          "99999999999",
                                          "[[[",
                                          "]]]"};
    const auto upTo = [&random](std::size_t last) { return random() % (last + 1); };
    for (std::size_t change = upTo(2) + 1; change > 0; --change) {
        const std::size_t at = upTo(text.size());
        const std::size_t removed = upTo(1) == 0 ? 0 : upTo(6);
        text.replace(at, removed, upTo(3) == 0 ? "" : kPieces[upTo(std::size(kPieces) - 1)]);
    }
    return text;
}

TEST(LumErrorJsonTest, ChangedTextsReadAsTheirTreesDo)
{
    std::mt19937 random(4711);
    std::string expectedPrints;
    std::size_t readable = 0;
    std::vector<std::string> differences;
    const std::string prints = standardErrorOf([&] {
        for (int round = 0; round < 20000; ++round) {
            const std::string text = mutated(sampleText(), random);
            const std::string expected = readByTree(text, expectedPrints);
            const std::unique_ptr<ILumError> error = LumError::fromJson(text);
            const std::string actual = isFallback(*error, text) ? "fallback" : typedText(*error);
            readable += expected == "fallback" ? 0U : 1U;
            if (actual != expected) {
                differences.push_back(text + " gives " + actual + ", not " + expected);
            }
        }
    });
    EXPECT_EQ(prints, expectedPrints);
    EXPECT_EQ(differences, std::vector<std::string>());
    EXPECT_GT(readable, 1000U) << "too many changes to show anything";
}

/// Texts nested to the depth, and whether each is an error.
std::vector<std::pair<std::string, bool>> nestedTexts(std::size_t depth)
{
    const std::string arrays = repeated("[", depth) + repeated("]", depth);
    const std::string objects = repeated("{\"a\":", depth) + "1" + repeated("}", depth);
    return {{arrays, false},
            {repeated("[", depth), false},
            {repeated("{\"a\":", depth), false},
            {objects, true},
            {"{\"userInfo\":{\"k\":" + arrays + "}}", true},
            {"{\"userInfo\":{\"k\":" + objects + "}}", true},
            {"{\"userInfo\":" + arrays + "}", true},
            {"{\"userInfo\":" + objects + "}", true},
            {"{\"domain\":" + arrays + "}", false},
            {"{\"code\":" + objects + "}", false},
            {"{\"more\":" + repeated("[{\"a\":", depth / 2), false}};
}

void expectNestedTextsAreRead(std::size_t depth)
{
    for (const auto& [text, isReadable] : nestedTexts(depth)) {
        std::unique_ptr<ILumError> error;
        bool hasThread = false;
        const auto read = [&error, &source = text] {
            error = LumError::fromJson(source);
            error = error->clone();
            static_cast<void>(error->toJson());
        };
        static_cast<void>(standardErrorOf([&] { hasThread = LumTests::runWithSmallStack(read); }));
        ASSERT_TRUE(hasThread);
        EXPECT_EQ(isFallback(*error, text), !isReadable) << text.substr(0, 40);
        EXPECT_TRUE(!isReadable || error->getUserInfo().empty()) << text.substr(0, 40);
    }
}

TEST(LumErrorJsonTest, AHundredThousandNestedBracketsAreReadWithASmallStack)
{
    expectNestedTextsAreRead(100000);
}

TEST(LumErrorJsonTest, TenMillionNestedBracketsAreReadWithASmallStack)
{
    const std::string text =
        "{\"code\":3,\"userInfo\":{\"k\":" + repeated("[", 10000000) + repeated("]", 10000000) + ",\"l\":1}}";
    std::string read;
    ASSERT_TRUE(LumTests::runWithSmallStack([&] { read = typedText(*LumError::fromJson(text)); }));
    EXPECT_EQ(read, " | 3 | l: int 1");
    const std::string open = repeated("[", 10000000);
    bool isRead = true;
    static_cast<void>(standardErrorOf(
        [&] { LumTests::runWithSmallStack([&] { isRead = !isFallback(*LumError::fromJson(open), open); }); }));
    EXPECT_FALSE(isRead);
}

TEST(LumErrorJsonTest, ErrorsWithinErrorsComeBack)
{
    std::vector<std::string> texts{LumError("innermost", 0).toJson()};
    for (int level = 1; level <= 8; ++level) {
        texts.push_back(
            LumError("d", level, UserInfo{{LumUtils::LumErrorUnderlyingErrorObject, texts.back()}}).toJson());
    }
    for (int level = 8; level >= 1; --level) {
        const std::unique_ptr<ILumError> error = LumError::fromJson(texts.back());
        texts.pop_back();
        EXPECT_EQ(error->getCode(), level);
        EXPECT_EQ(std::any_cast<std::string>(error->getUserInfo().at(LumUtils::LumErrorUnderlyingErrorObject)),
                  texts.back());
    }
}

TEST(LumErrorJsonTest, SixtyFourMebibytesAreReadAndWritten)
{
    const std::string large(64 * 1024 * 1024, 'x');
    const std::unique_ptr<ILumError> read = LumError::fromJson("{\"userInfo\":{\"k\":\"" + large + "\"}}");
    ASSERT_EQ(read->getUserInfo().size(), 1U);
    EXPECT_TRUE(std::any_cast<std::string>(read->getUserInfo().at("k")) == large);
    EXPECT_TRUE(read->toJson() == "{\"code\":0,\"description\":\"Domain: , Code: 0, UserInfo: {k: " + large +
                                      "}\",\"domain\":\"\",\"userInfo\":{\"k\":\"" + large + "\"}}");
}

TEST(LumErrorJsonTest, SixtyFourMebibytesThatCannotBeReadComeBackUnchanged)
{
    const std::string cutOff = "{\"domain\":\"" + std::string(64 * 1024 * 1024, 'x');
    const std::string noJson(64 * 1024 * 1024, '}');
    for (const std::string& text : {std::cref(cutOff), std::cref(noJson)}) {
        const Reading reading = readingOf(text);
        EXPECT_TRUE(isFallback(*reading.error, text));
        EXPECT_EQ(reading.printed.rfind("JSON error: [json.exception.parse_error.101]", 0), 0U);
        EXPECT_EQ(reading.printed.find('\n'), reading.printed.size() - 1);
    }
}

TEST(LumErrorJsonTest, SixtyFourMebibytesOfValuesAreReadAtTheCostOfWhatIsKept)
{
    const std::string text = "{\"more\":[" + repeated("1,", 32 * 1024 * 1024) + "1],\"code\":4}";
    const LumTests::AllocationLimit limit(1024);
    const std::unique_ptr<ILumError> error = LumError::fromJson(text);
    EXPECT_EQ(error->getCode(), 4);
}

TEST(LumErrorJsonTest, ReadingPassesOnEveryAllocationFailureAndNothingElse)
{
    const std::string texts[] = {sampleText(), "{\"domain\":\"" + std::string(100, 'x'), "[1]",
                                 "{\"userInfo\":\"" + std::string(100, 'x') + "\"}"};
    for (const std::string& text : texts) {
        const std::string expected = typedText(*LumError::fromJson(text));
        int failures = 0;
        bool hasEnded = false;
        static_cast<void>(standardErrorOf([&] {
            for (int succeeding = 0; succeeding < 2000 && !hasEnded; ++succeeding) {
                std::unique_ptr<ILumError> error;
                try {
                    const LumTests::FailingAllocation failing(succeeding);
                    error = LumError::fromJson(text);
                    hasEnded = !LumTests::FailingAllocation::HasFailed();
                } catch (const std::bad_alloc&) {
                    ++failures;
                }
                EXPECT_TRUE(!error || typedText(*error) == expected) << text;
            }
        }));
        EXPECT_TRUE(hasEnded) << text;
        EXPECT_GT(failures, 3) << text;
    }
}

TEST(LumErrorJsonTest, WritingPassesOnEveryAllocationFailureAndCutsNothingOff)
{
    const LumError error("com.example.a.long.domain.that.is.allocated", 5,
                         UserInfo{{"a", std::string(100, 'x')}, {"b", 1}, {"c", 0.5}, {"d", true}});
    const std::string expected = error.toJson();
    int failures = 0;
    std::string written;
    for (int succeeding = 0; succeeding < 2000 && written.empty(); ++succeeding) {
        try {
            const LumTests::FailingAllocation failing(succeeding);
            written = error.toJson();
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    }
    EXPECT_EQ(written, expected);
    EXPECT_GT(failures, 10);
}

TEST(LumErrorJsonTest, AnyOtherExceptionIsReportedAsUnexpected)
{
    std::unique_ptr<ILumError> error;
    const std::string printed = standardErrorOf([&] {
        const LumTests::FailingAllocation failing(0, LumTests::FailingAllocation::Reach::One,
                                                  std::make_exception_ptr(std::runtime_error("no room")));
        error = LumError::fromJson(sampleText());
    });
    EXPECT_EQ(printed, "Unexpected error: no room\n");
    EXPECT_TRUE(isFallback(*error, sampleText()));
}

TEST(LumErrorJsonTest, AStandardErrorStreamThatThrowsDoesNotMakeReadingThrow)
{
    const auto before = std::cerr.exceptions();
    std::streambuf* const buffer = std::cerr.rdbuf(nullptr);
    std::cerr.clear();
    std::unique_ptr<ILumError> error;
    try {
        std::cerr.exceptions(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
        // A stream without a buffer is bad at once.
    }
    EXPECT_NO_THROW(error = LumError::fromJson("{"));
    std::cerr.exceptions(std::ios_base::goodbit);
    std::cerr.rdbuf(buffer);
    std::cerr.clear();
    std::cerr.exceptions(before);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(isFallback(*error, "{"));
}

TEST(LumErrorJsonTest, SeveralThreadsReadAndReportWholeLines)
{
    const std::string printed = standardErrorOf([] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 4; ++index) {
            threads.emplace_back([] {
                for (int round = 0; round < 50; ++round) {
                    EXPECT_TRUE(isFallback(*LumError::fromJson("{"), "{"));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    const std::string line = readingOf("{").printed;
    EXPECT_EQ(printed, repeated(line, 200));
}

} // namespace
