#include "allocation/ScenarioProcess.h"

#include "allocation/FailingRequest.h"
#include "allocation/Scenarios.h"
#include "support/ChildOutput.h"
#include "support/SystemProxy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace LumTests {

using Reach = FailingAllocations::Reach;

namespace {

/// Longer than such a process ever takes.
constexpr std::chrono::minutes kLimit{5};

const Scenario* find(const std::vector<Scenario>& scenarios, const std::string& name)
{
    const auto found = std::find_if(scenarios.begin(), scenarios.end(),
                                    [&](const Scenario& scenario) { return scenario.name == name; });
    return found == scenarios.end() ? nullptr : &*found;
}

/// The scenario of that name; the process has the proxy that it needs.
Scenario prepare(const std::string& name)
{
    for (const auto scenarios : {nativeScenarios, socksScenarios, proxiedScenarios}) {
        const std::vector<Scenario> all = scenarios();
        if (const Scenario* const scenario = find(all, name)) {
            if (scenario->proxyPort != 0) {
                setSystemProxy("127.0.0.1:" + std::to_string(scenario->proxyPort));
            }
            return *scenario;
        }
    }
    throw std::runtime_error("there is no scenario " + name);
}

/// The lines that the starting process reads are the scenario's own; what is not as expected goes where it can have
/// any length.
class FailurePrinter : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override { std::cerr << result << std::endl; }
};

void printFailuresAsErrors()
{
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new FailurePrinter);
}

bool hasFailure()
{
    return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
}

std::unique_ptr<ChildProgram> startSelf(const std::vector<std::string>& words)
{
    return std::make_unique<ChildProgram>(LUM_ALLOCATION_TESTS, words);
}

} // namespace

int runFirstRequest(const std::string& name, std::size_t number)
{
    printFailuresAsErrors();
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
    printFailuresAsErrors();
    const Scenario scenario = prepare(name);
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        runWithoutEachAllocation(scenario, reach);
    }
    return hasFailure() ? 1 : 0;
}

std::unique_ptr<ChildProgram> startFirstRequest(const std::string& name, std::size_t number)
{
    return startSelf({kFirstRequest, name, std::to_string(number)});
}

std::unique_ptr<ChildProgram> startThroughProxy(const std::string& name)
{
    return startSelf({kThroughProxy, name});
}

int endOf(ChildProgram& process)
{
    const auto [code, output] = endWithin(process, kLimit);
    std::cout << output << std::flush;
    return code;
}

} // namespace LumTests
