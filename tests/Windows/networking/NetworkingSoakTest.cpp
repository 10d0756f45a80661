#include "support/ChildOutput.h"

#include <PlatformQuirks.h>

#include <gtest/gtest.h>

#include <string>

namespace LumTests {

namespace {

/// Longer than it ever takes.
constexpr std::chrono::minutes kLimit{5};

} // namespace

/// Its process is its own, so that nothing else of this one counts.
TEST(NetworkingSoakTest, EveryRequestToAHostileServerIsCompletedOnceAndNothingIsLeft)
{
    const std::string seconds = std::to_string(Quirks::kNetworkingSoakSeconds);
    constexpr const char* kSeed = "20240229";
    ChildProgram soak(LUM_SOAK_NETWORKING, {seconds, kSeed});
    const auto [code, output] = endWithin(soak, kLimit);
    EXPECT_EQ(code, 0) << output;
    // Not every crash has an exit code of its own everywhere.
    EXPECT_NE(output.find("\nall is as it should be\n"), std::string::npos) << output;
}

} // namespace LumTests
