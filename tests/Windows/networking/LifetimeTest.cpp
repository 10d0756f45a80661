#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"

#include <future>
#include <stdexcept>

namespace LumTests {

using LumNetworking::HttpRequestResult;
using LumNetworking::WinHttpClientAsync;
using TestServers::scripted;

/// What callers may drop, destroy and do, and when.
class LifetimeTest : public TransportTest {};

TEST_F(LifetimeTest, TheCompletionRunsOnAnotherThread)
{
    EXPECT_NE(Get(scripted("/bytes?n=3")).thread, std::this_thread::get_id());
}

TEST_F(LifetimeTest, ADroppedTransactionDoesNotCancel)
{
    const RequestRecorder recorder;
    client->Get(scripted("/bytes?n=3"), {}, recorder.Completion(), true, 30);
    const Outcome outcome = recorder.WaitForOutcome();
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body, makeBodyPattern(3));
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

TEST_F(LifetimeTest, TheCompletionGetsNoTransactionThatNobodyHolds)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30).reset();
    ASSERT_TRUE(WaitForArrival(key));
    Release(key);
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.transaction, nullptr);
    expectSuccess(outcome);
}

TEST_F(LifetimeTest, ADroppedTransactionWasCancelledInVain)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30)->Cancel();
    ASSERT_TRUE(WaitForArrival(key));
    Release(key);
    expectSuccess(recorder.WaitForOutcome());
}

TEST_F(LifetimeTest, ManyDroppedTransactionsAllComplete)
{
    constexpr std::size_t kCount = 200;
    std::vector<RequestRecorder> recorders(kCount);
    for (const RequestRecorder& recorder : recorders) {
        client->Get(scripted("/bytes?n=10"), {}, recorder.Completion(), true, 30);
    }
    for (const RequestRecorder& recorder : recorders) {
        expectSuccess(recorder.WaitForOutcome());
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
    }
}

TEST_F(LifetimeTest, TheClientMayBeDestroyedWhileRequestsRun)
{
    const std::string key = TestServers::newKey();
    std::vector<RequestRecorder> recorders(20);
    std::vector<Transaction> transactions;
    for (const RequestRecorder& recorder : recorders) {
        transactions.push_back(client->Get(scripted("/stall?key=" + key), {}, recorder.Completion(), true, 30));
    }
    client.reset();
    Release(key);
    for (const RequestRecorder& recorder : recorders) {
        expectSuccess(recorder.WaitForOutcome());
    }
    transactions.clear();
    for (const RequestRecorder& recorder : recorders) {
        recorder.WaitForRelease();
    }
}

TEST_F(LifetimeTest, EverythingMayBeDestroyedWhileRequestsRun)
{
    const std::string key = TestServers::newKey();
    const RequestRecorder recorder;
    {
        WinHttpClientAsync shortLived(std::make_shared<RecordingLogger>());
        shortLived.Get(scripted("/stall?at=body&key=" + key), {}, recorder.Completion(), true, 30);
    }
    ASSERT_TRUE(WaitForArrival(key));
    Release(key);
    const Outcome outcome = recorder.WaitForOutcome();
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body, "0123456789");
}

TEST_F(LifetimeTest, TheClientMayBeDestroyedInTheCompletion)
{
    const RequestRecorder recorder;
    auto owned = std::make_shared<WinHttpClientAsync>(logger);
    const std::weak_ptr<WinHttpClientAsync> watched = owned;
    WinHttpClientAsync& used = *owned;
    // The completion holds the last owner of the client.
    auto holder = std::make_shared<std::shared_ptr<WinHttpClientAsync>>(std::move(owned));
    used.Get(scripted("/bytes?n=3"), {},
             recorder.Completion([holder](Outcome&, const Transaction&) { holder->reset(); }), true, 30);
    expectSuccess(recorder.WaitForOutcome());
    EXPECT_TRUE(watched.expired());
    recorder.WaitForRelease();
}

TEST_F(LifetimeTest, TheTransactionMayBeDroppedInTheCompletion)
{
    const RequestRecorder recorder;
    auto holder = std::make_shared<Transaction>();
    const std::string key = TestServers::newKey();
    *holder = client->Get(scripted("/stall?key=" + key), {},
                          recorder.Completion([holder](Outcome&, const Transaction&) { holder->reset(); }), true, 30);
    Release(key);
    expectSuccess(recorder.WaitForOutcome());
    recorder.WaitForRelease();
}

TEST_F(LifetimeTest, ACompletionMayStartTheNextRequest)
{
    constexpr int kCount = 100;
    std::vector<RequestRecorder> recorders(kCount);
    std::function<void(std::size_t)> start = [&](std::size_t index) {
        client->Get(scripted("/bytes?n=" + std::to_string(index)), {},
                    recorders[index].Completion([&, index](Outcome&, const Transaction&) {
                        if (index + 1 < recorders.size()) {
                            start(index + 1);
                        }
                    }),
                    true, 30);
    };
    start(0);
    for (std::size_t index = 0; index < recorders.size(); ++index) {
        const Outcome outcome = recorders[index].WaitForOutcome();
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body, makeBodyPattern(index));
    }
    for (const RequestRecorder& recorder : recorders) {
        recorder.WaitForRelease();
    }
}

TEST_F(LifetimeTest, ACompletionMayWaitForAnotherRequest)
{
    const RequestRecorder outer;
    int innerStatus = 0;
    client->Get(scripted("/bytes?n=1"), {}, outer.Completion([&](Outcome&, const Transaction&) {
        innerStatus = Get(scripted("/status/404")).response->statusCode;
    }),
                true, 30);
    expectSuccess(outer.WaitForOutcome());
    EXPECT_EQ(innerStatus, 404);
    outer.WaitForRelease();
}

TEST_F(LifetimeTest, ACompletionThatTakesItsTimeDelaysNoOtherRequest)
{
    const RequestRecorder waiting;
    std::promise<void> othersAreDone;
    const std::shared_future<void> opened = othersAreDone.get_future().share();
    std::atomic<bool> hasBegun{false};
    client->Get(scripted("/bytes?n=1"), {}, waiting.Completion([&, opened](Outcome&, const Transaction&) {
        hasBegun = true;
        EXPECT_EQ(opened.wait_for(kLongestWait), std::future_status::ready);
    }),
                true, 30);
    ASSERT_TRUE(waitUntil([&] { return hasBegun.load(); }));
    std::vector<RequestRecorder> others(20);
    for (const RequestRecorder& other : others) {
        client->Get(scripted("/bytes?n=1000"), {}, other.Completion(), true, 30);
    }
    for (const RequestRecorder& other : others) {
        expectSuccess(other.WaitForOutcome());
    }
    EXPECT_EQ(waiting.CallCount(), 0U);
    othersAreDone.set_value();
    waiting.WaitForOutcome();
    waiting.WaitForRelease();
}

TEST_F(LifetimeTest, ManyCompletionsThatTakeTheirTimeDelayNoOtherRequest)
{
    std::vector<RequestRecorder> waiting(10);
    std::promise<void> otherIsDone;
    const std::shared_future<void> opened = otherIsDone.get_future().share();
    std::atomic<std::size_t> begun{0};
    for (const RequestRecorder& recorder : waiting) {
        client->Get(scripted("/bytes?n=1"), {}, recorder.Completion([&, opened](Outcome&, const Transaction&) {
            ++begun;
            EXPECT_EQ(opened.wait_for(kLongestWait), std::future_status::ready);
        }),
                    true, 30);
    }
    ASSERT_TRUE(waitUntil([&] { return begun == waiting.size(); }));
    expectSuccess(Get(scripted("/bytes?n=1000")));
    for (const RequestRecorder& recorder : waiting) {
        EXPECT_EQ(recorder.CallCount(), 0U);
    }
    otherIsDone.set_value();
    for (const RequestRecorder& recorder : waiting) {
        recorder.WaitForOutcome();
        recorder.WaitForRelease();
    }
}

TEST_F(LifetimeTest, AnExceptionOfTheCompletionIsLoggedAndGoesNoFurther)
{
    const RequestRecorder recorder;
    const auto fail = [](Outcome&, const Transaction&) { throw std::runtime_error("boom 100%s"); };
    client->Get(scripted("/bytes?n=3"), {}, recorder.Completion(fail), true, 30);
    recorder.WaitForRelease();
    const std::vector<LogRecord> errors = logger->recordsOfLevel(LumUtils::LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].function, "LumNetworking::HttpRequestContext::Complete");
    EXPECT_EQ(errors[0].format, "Completion callback threw: %s");
    EXPECT_EQ(errors[0].message, "Completion callback threw: boom 100%s");
    EXPECT_PRED2(endsWithPath, errors[0].file, "src/common/networking/HttpRequestContext.cpp");
    expectSuccess(Get(scripted("/bytes?n=3")));
}

TEST_F(LifetimeTest, AnUnknownExceptionOfTheCompletionIsLoggedToo)
{
    const RequestRecorder recorder;
    client->Get(scripted("/bytes?n=3"), {}, recorder.Completion([](Outcome&, const Transaction&) { throw 42; }), true,
                30);
    recorder.WaitForRelease();
    const std::vector<LogRecord> errors = logger->recordsOfLevel(LumUtils::LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].message, "Completion callback threw an unknown exception");
}

TEST_F(LifetimeTest, ARequestWithoutCompletionRunsToItsEnd)
{
    const std::string key = TestServers::newKey();
    EXPECT_TRUE(client->Get(scripted("/stall?seconds=0&key=" + key), {}, nullptr, true, 30));
    EXPECT_TRUE(waitUntil([&] { return logger->records().size() == 2; }));
    EXPECT_EQ(logger->records().back().line, 136U);
}

} // namespace LumTests
