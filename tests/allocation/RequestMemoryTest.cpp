#include "allocation/FailingRequest.h"
#include "allocation/ScenarioProcess.h"
#include "allocation/Scenarios.h"

#include <gtest/gtest.h>

#include <deque>
#include <iostream>
#include <memory>
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

/// What the system names as proxy stays for the rest of a process, so each has one of its own.
class ProxiedRequestMemoryTest : public testing::TestWithParam<Scenario> {};

INSTANTIATE_TEST_SUITE_P(Native, ProxiedRequestMemoryTest, testing::ValuesIn(proxiedScenarios()), nameOf);

TEST_P(ProxiedRequestMemoryTest, MissingAllocationsEndInOneCompletionOrInARefusal)
{
    EXPECT_EQ(endOf(*startThroughProxy(GetParam().name)), 0);
}

/// Processes that lack the first allocation, the second and so on. A few run at a time, as they take long to start.
class FirstRequests {
public:
    explicit FirstRequests(std::string scenarioName) : name(std::move(scenarioName)) {}

    /// The exit code of the next one.
    int EndOfNext()
    {
        constexpr std::size_t kAtOnce = 3;
        while (running.size() < kAtOnce) {
            running.push_back(startFirstRequest(name, ++started));
        }
        const std::unique_ptr<ChildProgram> next = std::move(running.front());
        running.pop_front();
        return endOf(*next);
    }

private:
    const std::string name;
    std::size_t started = 0;
    std::deque<std::unique_ptr<ChildProgram>> running;
};

/// What is made for the first request of a process only.
class FirstRequestMemoryTest : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Requests, FirstRequestMemoryTest,
                         testing::Values("Get", "GetSecurely", "GetThroughAProxy", "SocksGet"),
                         [](const auto& name) { return std::string(name.param); });

TEST_P(FirstRequestMemoryTest, OneMissingAllocationInAnyProcessEndsInOneCompletionOrInARefusal)
{
    FirstRequests requests(GetParam());
    int number = 0;
    int unfailed = 0;
    while (unfailed < kEnoughUnfailed && number < 1000 && !HasFailure()) {
        ++number;
        const int code = requests.EndOfNext();
        EXPECT_TRUE(code == 0 || code == kNoneFailed) << code << ", allocation " << number;
        unfailed = code == kNoneFailed ? unfailed + 1 : 0;
    }
    EXPECT_EQ(unfailed, kEnoughUnfailed);
    EXPECT_GT(number, 20);
    std::cout << "  first request, " << GetParam() << ": " << number << " allocations" << std::endl;
}

} // namespace

} // namespace LumTests
