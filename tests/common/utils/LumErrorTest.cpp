#include "common/utils/LumError.h"

#include "support/VtableSlot.h"

#include <gtest/gtest.h>

#include <any>
#include <atomic>
#include <limits>
#include <locale>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using LumUtils::ILumError;
using LumUtils::LumError;
using UserInfo = std::map<std::string, std::any>;

std::string describe(const std::any& value)
{
    return LumError("d", 5, UserInfo{{"k", value}}).getDescription();
}

TEST(LumErrorTest, OperationsStandInTheirSlots)
{
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::getDomain), 1U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::getCode), 2U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::getUserInfo), 3U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::getDescription), 4U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::toJson), 5U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumError::clone), 6U);
}

TEST(LumErrorTest, InterfaceIsAbstractAndItsResultTypesAreFixed)
{
    EXPECT_TRUE(std::is_abstract_v<ILumError>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumError>);
    EXPECT_TRUE((std::is_convertible_v<LumError*, ILumError*>)) << "derives publicly";
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::getDomain), const std::string& (ILumError::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::getCode), int (ILumError::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::getUserInfo), const UserInfo& (ILumError::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::getDescription), std::string (ILumError::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::toJson), std::string (ILumError::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumError::clone), std::unique_ptr<ILumError> (ILumError::*)() const>));
}

TEST(LumErrorTest, WellKnownKeysHaveTheirTexts)
{
    EXPECT_EQ(LumUtils::LumErrorUnderlyingErrorCode, "LumErrorUnderlyingErrorCode");
    EXPECT_EQ(LumUtils::LumErrorUnderlyingErrorDescription, "LumErrorUnderlyingErrorDescription");
    EXPECT_EQ(LumUtils::LumErrorUnderlyingErrorObject, "LumErrorUnderlyingErrorObject");
}

TEST(LumErrorTest, DefaultErrorIsEmpty)
{
    const LumError error;
    EXPECT_EQ(error.getDomain(), "");
    EXPECT_EQ(error.getCode(), 0);
    EXPECT_TRUE(error.getUserInfo().empty());
    EXPECT_EQ(error.getDescription(), "Domain: , Code: 0, UserInfo: {}");
}

TEST(LumErrorTest, ErrorOfDomainAndCodeHasNoUserInfo)
{
    std::string domain = "com.example.domain";
    const LumError error(domain, 5);
    domain = "changed";
    EXPECT_EQ(error.getDomain(), "com.example.domain") << "the domain is copied in";
    EXPECT_EQ(error.getCode(), 5);
    EXPECT_TRUE(error.getUserInfo().empty());
}

TEST(LumErrorTest, ErrorCopiesTheWholeDictionary)
{
    UserInfo userInfo{{"a", 1}, {"b", std::string("x")}};
    const LumError error("d", 5, userInfo);
    userInfo.clear();
    ASSERT_EQ(error.getUserInfo().size(), 2U);
    EXPECT_EQ(std::any_cast<int>(error.getUserInfo().at("a")), 1);
    EXPECT_EQ(std::any_cast<std::string>(error.getUserInfo().at("b")), "x");
}

TEST(LumErrorTest, AccessorsReturnTheStoredObjects)
{
    const LumError error("d", 5, UserInfo{{"a", 1}});
    EXPECT_EQ(&error.getDomain(), &error.getDomain());
    EXPECT_EQ(&error.getUserInfo(), &error.getUserInfo());
}

TEST(LumErrorTest, DescriptionOfAnEmptyDictionaryHasEmptyBraces)
{
    EXPECT_EQ(LumError("d", 5).getDescription(), "Domain: d, Code: 5, UserInfo: {}");
}

TEST(LumErrorTest, DescriptionListsEntriesWithoutATrailingSeparator)
{
    const LumError error("d", 5, UserInfo{{"a", 1}, {"b", std::string("x")}});
    EXPECT_EQ(error.getDescription(), "Domain: d, Code: 5, UserInfo: {a: 1, b: x}");
}

TEST(LumErrorTest, DescriptionHasTheSignOfANegativeCode)
{
    EXPECT_EQ(LumError("d", -1).getDescription(), "Domain: d, Code: -1, UserInfo: {}");
}

TEST(LumErrorTest, DescriptionHasTheWholeRangeOfCodes)
{
    EXPECT_EQ(LumError("d", std::numeric_limits<int>::max()).getDescription(),
              "Domain: d, Code: 2147483647, UserInfo: {}");
    EXPECT_EQ(LumError("d", std::numeric_limits<int>::min()).getDescription(),
              "Domain: d, Code: -2147483648, UserInfo: {}");
}

TEST(LumErrorTest, DescriptionRendersEachSupportedType)
{
    EXPECT_EQ(describe(std::string("text")), "Domain: d, Code: 5, UserInfo: {k: text}");
    EXPECT_EQ(describe(static_cast<const char*>("literal")), "Domain: d, Code: 5, UserInfo: {k: literal}");
    EXPECT_EQ(describe(-7), "Domain: d, Code: 5, UserInfo: {k: -7}");
    EXPECT_EQ(describe(0.5), "Domain: d, Code: 5, UserInfo: {k: 0.5}");
    EXPECT_EQ(describe(true), "Domain: d, Code: 5, UserInfo: {k: true}");
    EXPECT_EQ(describe(false), "Domain: d, Code: 5, UserInfo: {k: false}");
}

TEST(LumErrorTest, DescriptionRendersDoublesWithSixSignificantDigits)
{
    const std::vector<std::pair<double, std::string>> rows{
        {0.5, "0.5"},           {1234567.0, "1.23457e+06"}, {3.0, "3"},
        {-0.1, "-0.1"},         {123456.0, "123456"},       {0.00001234567, "1.23457e-05"},
        {1.0 / 3.0, "0.333333"}};
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(describe(value), "Domain: d, Code: 5, UserInfo: {k: " + text + "}");
    }
}

TEST(LumErrorTest, DescriptionNamesUnsupportedTypes)
{
    const std::string expected = "Domain: d, Code: 5, UserInfo: {k: unsupported type}";
    EXPECT_EQ(describe(7LL), expected);
    EXPECT_EQ(describe(1.5F), expected) << "a float is not promoted to double";
    EXPECT_EQ(describe(7U), expected);
    EXPECT_EQ(describe(7L), expected);
    EXPECT_EQ(describe('c'), expected);
    EXPECT_EQ(describe(nullptr), expected);
    EXPECT_EQ(describe(std::any()), expected);
    char writable[] = "text";
    EXPECT_EQ(describe(static_cast<char*>(writable)), expected);
    EXPECT_EQ(describe(std::vector<int>{1}), expected);
}

TEST(LumErrorTest, DescriptionNamesANullTextUnsupported)
{
    EXPECT_EQ(describe(static_cast<const char*>(nullptr)), "Domain: d, Code: 5, UserInfo: {k: unsupported type}");
}

TEST(LumErrorTest, DescriptionKeepsEntriesAroundAnUnsupportedOne)
{
    const LumError error("d", 5, UserInfo{{"a", 1}, {"b", 7LL}, {"c", true}});
    EXPECT_EQ(error.getDescription(), "Domain: d, Code: 5, UserInfo: {a: 1, b: unsupported type, c: true}");
}

TEST(LumErrorTest, DescriptionOrdersKeysByteWise)
{
    const LumError error("d", 5, UserInfo{{"a", 1}, {"B", 2}, {"\xC3\xA4", 3}, {"Z", 4}, {"", 5}});
    EXPECT_EQ(error.getDescription(), "Domain: d, Code: 5, UserInfo: {: 5, B: 2, Z: 4, a: 1, \xC3\xA4: 3}");
}

TEST(LumErrorTest, DescriptionRendersAnEmptyKey)
{
    EXPECT_EQ(LumError("d", 5, UserInfo{{"", 1}}).getDescription(), "Domain: d, Code: 5, UserInfo: {: 1}");
}

TEST(LumErrorTest, DescriptionDoesNotEscape)
{
    const LumError error("d, Code: 9", 5, UserInfo{{"a}, b", std::string("x, y} \"z\"")}});
    EXPECT_EQ(error.getDescription(), "Domain: d, Code: 9, Code: 5, UserInfo: {a}, b: x, y} \"z\"}");
}

TEST(LumErrorTest, DescriptionKeepsEmptyTextsAndEmbeddedNuls)
{
    EXPECT_EQ(describe(std::string()), "Domain: d, Code: 5, UserInfo: {k: }");
    const std::string text("a\0b", 3);
    EXPECT_EQ(describe(text), "Domain: d, Code: 5, UserInfo: {k: " + text + "}");
}

/// Groups digits by three and writes a comma for the decimal point, as many a host's locale does.
class GroupingNumbers : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : before(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(before); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

private:
    std::locale before;
};

TEST(LumErrorTest, DescriptionDoesNotGroupTheDigitsOfCodesAndNumbersInAnyLocale)
{
    const GlobalLocale locale(std::locale(std::locale::classic(), new GroupingNumbers));
    EXPECT_EQ(LumError("d", 1234567, UserInfo{{"k", 7654321}}).getDescription(),
              "Domain: d, Code: 1234567, UserInfo: {k: 7654321}");
    EXPECT_EQ(describe(1234.5), "Domain: d, Code: 5, UserInfo: {k: 1234.5}");
}

TEST(LumErrorTest, CloneIsADeepCopyOfItsOwn)
{
    auto original = std::make_unique<LumError>("d", 5, UserInfo{{"a", 1}, {"b", std::string("x")}, {"c", 7LL}});
    const std::string description = original->getDescription();
    const std::string* const text = std::any_cast<std::string>(&original->getUserInfo().at("b"));
    const std::unique_ptr<ILumError> copy = original->clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), original.get());
    EXPECT_NE(dynamic_cast<LumError*>(copy.get()), nullptr);
    EXPECT_NE(std::any_cast<std::string>(&copy->getUserInfo().at("b")), text) << "the text is copied";
    original.reset();
    EXPECT_EQ(copy->getDomain(), "d");
    EXPECT_EQ(copy->getCode(), 5);
    EXPECT_EQ(copy->getDescription(), description);
    EXPECT_EQ(std::any_cast<long long>(copy->getUserInfo().at("c")), 7LL) << "unsupported values are copied too";
}

TEST(LumErrorTest, CloneCopiesThePointerOfALiteral)
{
    static const char kLiteral[] = "literal";
    const LumError error("d", 5, UserInfo{{"k", static_cast<const char*>(kLiteral)}});
    const std::unique_ptr<ILumError> copy = error.clone();
    EXPECT_EQ(std::any_cast<const char*>(copy->getUserInfo().at("k")), &kLiteral[0]);
}

TEST(LumErrorTest, SeveralThreadsReadOneError)
{
    const LumError error("d", 5, UserInfo{{"a", 1}, {"b", 0.5}});
    std::atomic<int> same{0};
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                same += error.clone()->getDescription() == "Domain: d, Code: 5, UserInfo: {a: 1, b: 0.5}" ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(same, 400);
}

} // namespace
