#include "common/utils/LumPlatformErrorNumber.h"

#include "common/networking/LumNetworkingError.h"
#include "common/networking/LumWinHttpErrorNumber.h"

#include <gtest/gtest.h>

#include <any>
#include <map>
#include <string>

namespace {

using LumUtils::LumError;
using LumUtils::platformErrorNumber;

LumError errorWith(const std::any& value)
{
    return {"d", 13, {{LumUtils::LumErrorUnderlyingErrorCode, value}}};
}

TEST(LumPlatformErrorNumberTest, IsTheNumberOfTheUserInformation)
{
    for (const int number : {12029, 8, 0, -1, 2147483647}) {
        EXPECT_EQ(platformErrorNumber(errorWith(number)), number);
    }
}

TEST(LumPlatformErrorNumberTest, SurvivesTheJsonForm)
{
    const auto read = LumError::fromJson(errorWith(12002).toJson());
    EXPECT_EQ(platformErrorNumber(*read), LumNetworking::LumWinHttpErrorNumber::kTimeout);
}

TEST(LumPlatformErrorNumberTest, AnErrorWithoutANumberHasNone)
{
    EXPECT_EQ(platformErrorNumber(LumError()), std::nullopt);
    EXPECT_EQ(platformErrorNumber(LumError("d", 6)), std::nullopt);
    EXPECT_EQ(platformErrorNumber(LumError("d", 6, {{"Other", 5}})), std::nullopt);
}

TEST(LumPlatformErrorNumberTest, AValueOfAnotherTypeIsNoNumber)
{
    EXPECT_EQ(platformErrorNumber(errorWith(std::string("12029"))), std::nullopt);
    EXPECT_EQ(platformErrorNumber(errorWith(12029.0)), std::nullopt);
    EXPECT_EQ(platformErrorNumber(errorWith(true)), std::nullopt);
    EXPECT_EQ(platformErrorNumber(errorWith(12029L)), std::nullopt);
}

} // namespace
