#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"

namespace LumTests {

using LumNetworking::HttpRequestResult;
using TestServers::scripted;

class CancelTest : public TransportTest {
protected:
    /// Whether the status of some request has been logged.
    bool HasStatus() const
    {
        const std::vector<LogRecord> records = logger->records();
        return !records.empty() && records.front().line == 105;
    }

    static void ExpectCancelled(const RequestRecorder& recorder, Transaction& transaction)
    {
        const Outcome outcome = recorder.WaitForOutcome();
        EXPECT_EQ(outcome.result, HttpRequestResult::CANCELLED);
        EXPECT_EQ(outcome.response, nullptr);
        EXPECT_EQ(outcome.error, nullptr);
        EXPECT_EQ(outcome.transaction, transaction.get());
        EXPECT_TRUE(transaction->IsCancelled());
        transaction.reset();
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
    }

    std::size_t SilentConnections() { return std::stoul(GetBody(scripted("/silent/count"))); }
};

constexpr std::chrono::milliseconds kSettleTime{300};

TEST_F(CancelTest, ANewTransactionIsNotCancelled)
{
    const RequestRecorder recorder;
    const Transaction transaction = client->Get(scripted("/echo"), {}, recorder.Completion(), true, 30);
    EXPECT_FALSE(transaction->IsCancelled());
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
}

TEST_F(CancelTest, CancellingAtOnceEndsInCancelled)
{
    for (int round = 0; round < 50; ++round) {
        const std::string key = TestServers::newKey();
        const RequestRecorder recorder;
        Transaction transaction = client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30);
        transaction->Cancel();
        transaction->Cancel();
        Release(key);
        ExpectCancelled(recorder, transaction);
    }
}

TEST_F(CancelTest, CancellingBeforeTheHeadersOnlySetsTheFlag)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    Transaction transaction = client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30);
    ASSERT_TRUE(WaitForArrival(key));
    transaction->Cancel();
    std::this_thread::sleep_for(kSettleTime);
    EXPECT_EQ(recorder.CallCount(), 0U);
    Release(key);
    ExpectCancelled(recorder, transaction);
    // The transfer ran on to its end.
    EXPECT_EQ(logger->records().back().line, 136U);
}

TEST_F(CancelTest, CancellingInTheMiddleOfTheBodyEndsInCancelled)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    Transaction transaction = client->Get(scripted("/stall?at=body&key=" + key), {}, recorder.Completion(), true, 30);
    ASSERT_TRUE(waitUntil([&] { return HasStatus(); }));
    transaction->Cancel();
    std::this_thread::sleep_for(kSettleTime);
    EXPECT_EQ(recorder.CallCount(), 0U);
    Release(key);
    ExpectCancelled(recorder, transaction);
}

TEST_F(CancelTest, CancellingGoesBeforeAFailure)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    Transaction transaction = client->Get(scripted("/stall?end=reset&key=" + key), {}, recorder.Completion(), true, 30);
    ASSERT_TRUE(WaitForArrival(key));
    transaction->Cancel();
    Release(key);
    ExpectCancelled(recorder, transaction);
    EXPECT_EQ(logger->recordsOfLevel(LumUtils::LumLogLevel::Error).size(), 1U);
}

TEST_F(CancelTest, CancellingAfterTheEndChangesNothing)
{
    const RequestRecorder recorder;
    Transaction transaction = client->Get(scripted("/bytes?n=3"), {}, recorder.Completion(), true, 30);
    const Outcome outcome = recorder.WaitForOutcome();
    transaction->Cancel();
    EXPECT_TRUE(transaction->IsCancelled());
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    transaction.reset();
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

TEST_F(CancelTest, CancellingFromWithinTheCompletionChangesNothing)
{
    const RequestRecorder recorder;
    const auto cancel = [](Outcome& outcome, const Transaction& transaction) {
        ASSERT_TRUE(transaction);
        EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
        transaction->Cancel();
    };
    Transaction transaction = client->Get(scripted("/bytes?n=3"), {}, recorder.Completion(cancel), true, 30);
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.response->body, makeBodyPattern(3));
    EXPECT_TRUE(transaction->IsCancelled());
    transaction.reset();
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

TEST_F(CancelTest, CancellingAndStartingAnewFromWithinTheCompletion)
{
    const RequestRecorder second;
    const RequestRecorder first;
    const auto restart = [&](Outcome&, const Transaction& transaction) {
        transaction->Cancel();
        client->Get(scripted("/bytes?n=5"), {}, second.Completion(), true, 30);
    };
    const Transaction transaction = client->Get(scripted("/bytes?n=3"), {}, first.Completion(restart), true, 30);
    EXPECT_EQ(first.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    const Outcome outcome = second.WaitForOutcome();
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body, makeBodyPattern(5));
}

TEST_F(CancelTest, CancellingFromManyThreadsIsHarmless)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    Transaction transaction = client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30);
    std::vector<std::thread> threads;
    for (int count = 0; count < 8; ++count) {
        threads.emplace_back([&] { transaction->Cancel(); });
    }
    Release(key);
    for (std::thread& thread : threads) {
        thread.join();
    }
    ExpectCancelled(recorder, transaction);
}

TEST_F(CancelTest, ARequestToASilentServerEndsWhenTheServerDoes)
{
    const std::size_t before = SilentConnections();
    const RequestRecorder recorder;
    Transaction transaction = client->Get(TestServers::silent(), {}, recorder.Completion(), true, 30);
    ASSERT_TRUE(waitUntil([&] { return SilentConnections() > before; }));
    transaction->Cancel();
    std::this_thread::sleep_for(kSettleTime);
    EXPECT_EQ(recorder.CallCount(), 0U);
    GetBody(scripted("/silent/close"));
    ExpectCancelled(recorder, transaction);
}

TEST_F(CancelTest, ARequestToASilentServerFailsWhenTheServerCloses)
{
    const std::size_t before = SilentConnections();
    const RequestRecorder recorder;
    Transaction transaction = client->Post(TestServers::silent(), {}, "body", recorder.Completion(), true, 30);
    ASSERT_TRUE(waitUntil([&] { return SilentConnections() > before; }));
    EXPECT_EQ(recorder.CallCount(), 0U);
    logger->clear();
    GetBody(scripted("/silent/close"));
    const Outcome outcome = recorder.WaitForOutcome();
    expectFailure(outcome, *logger, kRequestError, 12030);
}

} // namespace LumTests
