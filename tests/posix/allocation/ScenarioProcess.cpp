#include "posix/allocation/ScenarioProcess.h"

#include "posix/allocation/FailingRequest.h"
#include "posix/allocation/Scenarios.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace LumTests {

using Reach = FailingAllocations::Reach;

namespace {

const Scenario* find(const std::vector<Scenario>& scenarios, const std::string& name)
{
    const auto found = std::find_if(scenarios.begin(), scenarios.end(),
                                    [&](const Scenario& scenario) { return scenario.name == name; });
    return found == scenarios.end() ? nullptr : &*found;
}

/// The scenario of that name; names the proxy if it is one through that.
Scenario prepare(const std::string& name)
{
    for (const auto scenarios : {nativeScenarios, socksScenarios, proxiedScenarios}) {
        const std::vector<Scenario> all = scenarios();
        if (const Scenario* const scenario = find(all, name)) {
            if (scenarios == proxiedScenarios) {
                setProxy();
            }
            return *scenario;
        }
    }
    throw std::runtime_error("there is no scenario " + name);
}

bool hasFailure()
{
    return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
}

} // namespace

int runFirstRequest(const std::string& name, std::size_t number)
{
    const Scenario scenario = prepare(name);
    Tally tally;
    const bool hasFailed = runFailing(scenario, number, Reach::One, tally);
    runFailing(scenario, kMostAllocations, Reach::One, tally);
    if (hasFailure()) {
        return 1;
    }
    return hasFailed ? 0 : kNoneFailed;
}

int runThroughProxy(const std::string& name)
{
    const Scenario scenario = prepare(name);
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        runWithoutEachAllocation(scenario, reach);
    }
    return hasFailure() ? 1 : 0;
}

} // namespace LumTests
