#include "support/ChildProgram.h"

#include <PlatformQuirks.h>

#include <gtest/gtest.h>

#include <future>
#include <string>

namespace LumTests {

namespace {

/// Longer than it ever takes.
constexpr std::chrono::minutes kLimit{5};

std::string outputOf(ChildProgram& program)
{
    std::string output;
    for (std::string line = program.readLine(); !line.empty(); line = program.readLine()) {
        output += line + "\n";
    }
    return output;
}

} // namespace

/// Its process is its own, so that nothing else of this one counts.
TEST(NetworkingSoakTest, EveryRequestToAHostileServerIsCompletedOnceAndNothingIsLeft)
{
    const std::string seconds = std::to_string(Quirks::kNetworkingSoakSeconds);
    constexpr const char* kSeed = "20240229";
    ChildProgram soak(LUM_SOAK_NETWORKING, {seconds, kSeed});
    std::future<std::string> reading = std::async(std::launch::async, [&] { return outputOf(soak); });
    const int code = soak.waitFor(kLimit);
    const std::string output = reading.get();
    EXPECT_EQ(code, 0) << output;
    // Not every crash has an exit code of its own everywhere.
    EXPECT_NE(output.find("\nall is as it should be\n"), std::string::npos) << output;
}

} // namespace LumTests
