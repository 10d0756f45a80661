#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Its process is its own, so that nothing else of this one counts.
TEST(NetworkingSoakTest, EveryRequestToAHostileServerIsCompletedOnceAndNothingIsLeft)
{
    constexpr const char* kSeconds = "5";
    constexpr const char* kSeed = "20240229";
    LumTests::ChildProgram soak(LUM_SOAK_NETWORKING, {kSeconds, kSeed});
    std::string output;
    for (std::string line = soak.readLine(); !line.empty(); line = soak.readLine()) {
        output += line + "\n";
    }
    EXPECT_EQ(soak.wait(), 0) << output;
}

} // namespace
