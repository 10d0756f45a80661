#include "posix/allocation/FailingRequest.h"
#include "posix/allocation/ScenarioProcess.h"
#include "posix/allocation/Scenarios.h"
#include "support/posix/ChildProcess.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/// Requests with each allocation of the whole process missing in turn: on the caller's thread and on those of the
/// client. Those of the native client go over real sockets.

namespace LumTests {

namespace {

using Reach = FailingAllocations::Reach;

class RequestMemoryTest : public testing::TestWithParam<Scenario> {};

std::string nameOf(const testing::TestParamInfo<Scenario>& scenario)
{
    return scenario.param.name;
}

INSTANTIATE_TEST_SUITE_P(Native, RequestMemoryTest, testing::ValuesIn(nativeScenarios()), nameOf);
INSTANTIATE_TEST_SUITE_P(Socks, RequestMemoryTest, testing::ValuesIn(socksScenarios()), nameOf);

TEST_P(RequestMemoryTest, OneMissingAllocationEndsInOneCompletionOrInARefusal)
{
    runWithoutEachAllocation(GetParam(), Reach::One);
}

TEST_P(RequestMemoryTest, NoMemoryUntilItIsCompletedEndsInOneCompletionOrInARefusal)
{
    runWithoutEachAllocation(GetParam(), Reach::AllThatFollow);
}

/// The environment is looked at once per process.
class ProxiedRequestMemoryTest : public testing::TestWithParam<Scenario> {};

INSTANTIATE_TEST_SUITE_P(Native, ProxiedRequestMemoryTest, testing::ValuesIn(proxiedScenarios()), nameOf);

TEST_P(ProxiedRequestMemoryTest, MissingAllocationsEndInOneCompletionOrInARefusal)
{
    EXPECT_EQ(runProgram({"/proc/self/exe", kThroughProxy, GetParam().name}), 0);
}

/// What is made for the first request of a process only.
class FirstRequestMemoryTest : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Requests, FirstRequestMemoryTest,
                         testing::Values("Get", "GetSecurely", "GetThroughAProxy", "SocksGet"),
                         [](const auto& name) { return std::string(name.param); });

TEST_P(FirstRequestMemoryTest, OneMissingAllocationInAnyProcessEndsInOneCompletionOrInARefusal)
{
    int number = 0;
    int unfailed = 0;
    while (unfailed < kEnoughUnfailed && number < 1000 && !HasFailure()) {
        ++number;
        const int code = runProgram({"/proc/self/exe", kFirstRequest, GetParam(), std::to_string(number)});
        EXPECT_TRUE(code == 0 || code == kNoneFailed) << code << ", allocation " << number;
        unfailed = code == kNoneFailed ? unfailed + 1 : 0;
    }
    EXPECT_EQ(unfailed, kEnoughUnfailed);
    EXPECT_GT(number, 20);
    std::cout << "  first request, " << GetParam() << ": " << number << " allocations" << std::endl;
}

} // namespace

} // namespace LumTests
