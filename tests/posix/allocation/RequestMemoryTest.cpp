#include "Windows/networking/WinHttpClientAsync.h"
#include "platform/posix/winhttp/HttpHandleTable.h"
#include "posix/allocation/FailingAllocations.h"
#include "support/ProcessResources.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"
#include "support/posix/ChildProcess.h"

#include <gtest/gtest.h>

#include <any>
#include <cstdlib>
#include <iostream>
#include <set>
#include <thread>

/// Requests on real sockets, with each allocation of the whole process missing in turn: on the caller's thread and on
/// the engine's.

namespace LumTests {

namespace {

using namespace LumNetworking;
using Reach = FailingAllocations::Reach;
using Transaction = std::shared_ptr<ILumAsynchronousTransaction>;
using Headers = std::map<std::string, std::string>;

constexpr int kNotEnoughMemory = 8;
constexpr const char* kFirstRequestNumber = "LUM_FAILING_ALLOCATION";

/// More than any request needs.
constexpr std::size_t kMostAllocations = 5000;

/// A request, and what its body is when nothing fails.
struct Scenario {
    const char* name;
    std::function<Transaction(WinHttpClientAsync& client, const HttpCompletion& completion)> start;
    std::size_t bodySize;
};

const Headers kHeaders = {{"X-Name", "a value that is too long for a short string"}, {"Accept", "text/plain"}};

std::vector<Scenario> scenarios()
{
    const auto get = [](const std::string& url) {
        return [url](WinHttpClientAsync& client, const HttpCompletion& completion) {
            return client.Get(url, kHeaders, completion, true, 30);
        };
    };
    const std::string byName = "http://localhost:" + std::to_string(TestServers::scriptedPort()) + "/bytes?n=10&close";
    const std::string body(3000, 'b');
    return {
        {"Get", get(TestServers::scripted("/bytes?n=5000")), 5000},
        {"GetOnANewConnection", get(TestServers::scripted("/bytes?n=5000&close")), 5000},
        {"GetByName", get(byName), 10},
        {"GetALongBody", get(TestServers::scripted("/bytes?n=2000000")), 2000000},
        {"GetThroughRedirects", get(TestServers::scripted("/redirect?cookie=a%3Db&to=/bytes%3Fn%3D10")), 10},
        {"Post",
         [body, url = TestServers::scripted("/bytes?n=10&close")](WinHttpClientAsync& client,
                                                                  const HttpCompletion& completion) {
             return client.Post(url, kHeaders, body, completion, true, 30);
         },
         10},
        {"Cancel",
         [url = TestServers::scripted("/bytes?n=5000")](WinHttpClientAsync& client, const HttpCompletion& completion) {
             Transaction transaction = client.Get(url, kHeaders, completion, true, 30);
             if (transaction) {
                 transaction->Cancel();
             }
             return transaction;
         },
         5000},
    };
}

/// The completion of a recorder that has memory, however little there is.
HttpCompletion completionWithMemory(const RequestRecorder& recorder)
{
    return [inner = recorder.Completion()](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                                           std::unique_ptr<LumUtils::ILumError> error, Transaction transaction) {
        FailingAllocations::End();
        const WithMemory withMemory;
        inner(result, std::move(response), std::move(error), std::move(transaction));
    };
}

int platformCodeOf(const LumUtils::ILumError& error)
{
    const auto found = error.getUserInfo().find("LumErrorUnderlyingErrorCode");
    return found == error.getUserInfo().end() ? -1 : std::any_cast<int>(found->second);
}

void expectFailedForMemory(const Outcome& outcome)
{
    EXPECT_EQ(outcome.response, nullptr);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
    EXPECT_EQ(platformCodeOf(*outcome.error), kNotEnoughMemory) << outcome.error->getDescription();
}

/// What became of the runs of a scenario.
struct Tally {
    std::size_t refused = 0;
    std::size_t failed = 0;
    std::size_t succeeded = 0;
    std::size_t cancelled = 0;
};

void expectOutcome(const Scenario& scenario, const Transaction& transaction, const RequestRecorder& recorder,
                   Tally& tally)
{
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), transaction ? 1U : 0U);
    if (recorder.CallCount() == 0) {
        ++tally.refused;
        return;
    }
    const Outcome outcome = recorder.WaitForOutcome();
    switch (outcome.result) {
    case HttpRequestResult::SUCCESS:
        ++tally.succeeded;
        ASSERT_NE(outcome.response, nullptr);
        EXPECT_EQ(outcome.response->statusCode, 200);
        EXPECT_EQ(outcome.response->body.size(), scenario.bodySize) << "a success is whole";
        return;
    case HttpRequestResult::FAILED:
        ++tally.failed;
        expectFailedForMemory(outcome);
        return;
    case HttpRequestResult::CANCELLED:
        ++tally.cancelled;
        EXPECT_STREQ(scenario.name, "Cancel");
        return;
    }
}

/// Runs the scenario once; returns whether an allocation has failed.
bool runFailing(const Scenario& scenario, std::size_t number, Reach reach, Tally& tally)
{
    SCOPED_TRACE("allocation " + std::to_string(number));
    const RequestRecorder recorder;
    bool hasFailed = false;
    Transaction transaction;
    {
        HttpCompletion completion = completionWithMemory(recorder);
        WinHttpClientAsync client(nullptr);
        const FailingAllocations failing(number, reach);
        EXPECT_NO_THROW(transaction = scenario.start(client, completion));
        const WithMemory withMemory;
        completion = nullptr;
        if (transaction) {
            waitUntil([&] { return recorder.CallCount() > 0; });
        }
        FailingAllocations::End();
        hasFailed = failing.HasFailed();
        expectOutcome(scenario, transaction, recorder, tally);
    }
    transaction.reset();
    EXPECT_TRUE(waitUntil([] { return LumPlatform::HttpHandleTable::Instance().Count() == 0; }))
        << "every handle is closed";
    return hasFailed;
}

/// Every allocation of the scenario in turn. Returns how many there were.
std::size_t runAll(const Scenario& scenario, Reach reach, Tally& tally)
{
    // Which allocations there are depends on which thread comes first: the end is where none fails several times.
    constexpr int kEnoughUnfailed = 3;
    int unfailed = 0;
    std::size_t number = 0;
    while (unfailed < kEnoughUnfailed && number < kMostAllocations && !testing::Test::HasFailure()) {
        ++number;
        unfailed = runFailing(scenario, number, reach, tally) ? 0 : unfailed + 1;
    }
    EXPECT_LT(number, kMostAllocations);
    return number;
}

class RequestMemoryTest : public testing::TestWithParam<Scenario> {
protected:
    void RunEach(Reach reach)
    {
        Tally tally;
        const std::size_t count = runAll(GetParam(), reach, tally);
        // What the first time leaves behind is kept for the next requests, and no time leaves anything else.
        const std::size_t descriptors = openDescriptorCount();
        const std::ptrdiff_t live = liveAllocations();
        Tally again;
        runAll(GetParam(), reach, again);
        constexpr std::ptrdiff_t kFluctuation = 60;
        EXPECT_LT(liveAllocations(), live + kFluctuation) << "of " << count << " runs none leaks a block";
        EXPECT_LT(openDescriptorCount(), descriptors + 8) << "of " << count << " runs none leaks a descriptor";
        std::cout << "  " << GetParam().name << ": " << count << " allocations; " << tally.refused << " refused, "
                  << tally.failed << " failed, " << tally.cancelled << " cancelled, " << tally.succeeded << " succeeded"
                  << std::endl;
        EXPECT_GT(tally.refused + tally.failed, 20U);
        EXPECT_GT(tally.succeeded + tally.cancelled, 0U);
    }
};

std::string nameOf(const testing::TestParamInfo<Scenario>& scenario)
{
    return scenario.param.name;
}

INSTANTIATE_TEST_SUITE_P(Requests, RequestMemoryTest, testing::ValuesIn(scenarios()), nameOf);

TEST_P(RequestMemoryTest, OneMissingAllocationEndsInOneCompletionOrInARefusal)
{
    RunEach(Reach::One);
}

TEST_P(RequestMemoryTest, NoMemoryUntilItIsCompletedEndsInOneCompletionOrInARefusal)
{
    RunEach(Reach::AllThatFollow);
}

/// In a process of its own: what the engine makes for its first request only.
TEST(FirstRequestMemoryTest, FailsOrIsRefusedAndTheNextSucceeds)
{
    const char* const number = std::getenv(kFirstRequestNumber);
    if (number == nullptr) {
        return;
    }
    const Scenario scenario = scenarios().front();
    Tally tally;
    const bool hasFailed = runFailing(scenario, static_cast<std::size_t>(std::atoi(number)), Reach::One, tally);
    runFailing(scenario, kMostAllocations, Reach::One, tally);
    EXPECT_GE(tally.succeeded, 1U);
    if (!hasFailed) {
        std::exit(HasFailure() ? 1 : 77);
    }
}

TEST(FirstRequestMemoryTest, OneMissingAllocationInAnyProcessEndsInOneCompletionOrInARefusal)
{
    constexpr int kNoneFailed = 77;
    int number = 0;
    int code = 0;
    while (code == 0 && number < 1000) {
        ++number;
        setenv(kFirstRequestNumber, std::to_string(number).c_str(), 1);
        code =
            runProgram({"/proc/self/exe", "--gtest_filter=FirstRequestMemoryTest.FailsOrIsRefusedAndTheNextSucceeds"});
    }
    unsetenv(kFirstRequestNumber);
    EXPECT_EQ(code, kNoneFailed) << "allocation " << number;
    EXPECT_GT(number, 50);
    std::cout << "  first request: " << number << " allocations" << std::endl;
}

} // namespace

} // namespace LumTests
