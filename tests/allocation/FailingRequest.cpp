#include "allocation/FailingRequest.h"

#include "support/WithMemory.h"

#include <gtest/gtest.h>

#include <iostream>
#include <optional>

namespace LumTests {

using namespace LumNetworking;
using Reach = FailingAllocations::Reach;
using Transaction = Scenario::Transaction;

namespace {

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

/// What a run may say of its request: it went as usual, or failed for lack of memory.
class Judge {
public:
    Judge(const Scenario& usualScenario, const ClientSite& itsSite, bool hasFailedAllocation)
        : scenario(usualScenario), site(itsSite), hasFailed(hasFailedAllocation)
    {
    }

    /// No outcome is a refusal.
    void Expect(const std::optional<Outcome>& outcome, Tally& tally) const
    {
        if (!outcome) {
            ++tally.refused;
            EXPECT_TRUE(hasFailed) << "refused, although nothing was missing";
            return;
        }
        if (!hasFailed) {
            EXPECT_EQ(outcome->result, scenario.result) << "nothing was missing";
        }
        switch (outcome->result) {
        case HttpRequestResult::SUCCESS:
            ++tally.succeeded;
            ExpectSuccess(*outcome);
            return;
        case HttpRequestResult::FAILED:
            ++tally.failed;
            ExpectFailure(*outcome);
            return;
        case HttpRequestResult::CANCELLED:
            ++tally.cancelled;
            ExpectCancellation(*outcome);
            return;
        }
    }

private:
    void ExpectSuccess(const Outcome& outcome) const
    {
        EXPECT_EQ(scenario.result, HttpRequestResult::SUCCESS);
        EXPECT_EQ(outcome.error, nullptr);
        ASSERT_NE(outcome.response, nullptr);
        EXPECT_EQ(outcome.response->statusCode, scenario.status);
        EXPECT_EQ(outcome.response->body.size(), scenario.bodySize) << "a success is whole";
    }

    void ExpectCancellation(const Outcome& outcome) const
    {
        EXPECT_EQ(scenario.result, HttpRequestResult::CANCELLED);
        EXPECT_EQ(outcome.response, nullptr);
        EXPECT_EQ(outcome.error, nullptr);
    }

    void ExpectFailure(const Outcome& outcome) const
    {
        EXPECT_EQ(outcome.response, nullptr);
        ASSERT_NE(outcome.error, nullptr);
        EXPECT_EQ(outcome.error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
        const bool isUsual = scenario.result == HttpRequestResult::FAILED && site.IsUsualFailure(*outcome.error);
        if (!hasFailed) {
            EXPECT_TRUE(isUsual) << outcome.error->getDescription();
        } else if (!isUsual) {
            site.ExpectOutOfMemory(*outcome.error);
        }
    }

    const Scenario& scenario;
    const ClientSite& site;
    const bool hasFailed;
};

} // namespace

bool runFailing(const Scenario& scenario, std::size_t number, Reach reach, Tally& tally)
{
    SCOPED_TRACE("allocation " + std::to_string(number));
    const std::unique_ptr<ClientSite> site = scenario.makeSite();
    bool hasFailed = false;
    {
        const RequestRecorder recorder;
        Transaction transaction;
        HttpCompletion completion = completionWithMemory(recorder);
        const FailingAllocations failing(number, reach);
        EXPECT_NO_THROW(transaction = scenario.start(site->Client(), completion));
        const WithMemory withMemory;
        completion = nullptr;
        std::optional<Outcome> outcome;
        if (transaction) {
            outcome = recorder.WaitForOutcome();
        }
        FailingAllocations::End();
        hasFailed = failing.HasFailed();
        Judge(scenario, *site, hasFailed).Expect(outcome, tally);
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), outcome ? 1U : 0U);
        site->DropClient();
    }
    EXPECT_TRUE(waitUntil([&] { return site->IsClosed(); })) << "every handle is closed";
    return hasFailed;
}

void runWithoutEachAllocation(const Scenario& scenario, Reach reach)
{
    // The caches are warm, and there is whatever connection is kept for reuse.
    Tally tally;
    runFailing(scenario, kMostAllocations, reach, tally);
    const std::size_t count =
        runWithoutEachAllocation([&](std::size_t number) { return runFailing(scenario, number, reach, tally); });
    std::cout << "  " << scenario.name << ": " << count << " allocations; " << tally.refused << " refused, "
              << tally.failed << " failed, " << tally.cancelled << " cancelled, " << tally.succeeded << " succeeded"
              << std::endl;
    EXPECT_GT(count, 10U) << "there are allocations to fail";
    EXPECT_GT(tally.refused, 0U);
    EXPECT_GT(tally.failed, 0U);
    if (scenario.result != HttpRequestResult::FAILED) {
        EXPECT_GT(tally.succeeded + tally.cancelled, 0U);
    }
}

} // namespace LumTests
