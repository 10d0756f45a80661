#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"
#include "support/ProcessResources.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpRequestResult;
using TestServers::scripted;

/// Many requests, and large ones.
class LoadTest : public TransportTest {
protected:
    static constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

    struct Resources {
        std::size_t descriptors;
        std::size_t threads;
        std::size_t heap;
    };

    /// Longer than the platforms keep threads that have nothing to do.
    static constexpr std::chrono::seconds kLongestRest{10};
    static constexpr std::size_t kRestingThreads = 8;

    /// Of a thousand requests, for the next ones.
    static constexpr std::size_t kKeptHeap = kMebibyte;

    void RunAThousandAtOnce();
    void FailAtOnce(std::size_t count);

    /// Runs requests one after the other.
    void RunInARow(std::size_t count)
    {
        const std::string url = scripted("/bytes?n=32");
        for (std::size_t index = 0; index < count; ++index) {
            const RequestRecorder recorder;
            client->Get(url, {}, recorder.Completion(), true, 30);
            const Outcome outcome = recorder.WaitForOutcome();
            ASSERT_TRUE(outcome.response) << outcome.error->getDescription();
            ASSERT_EQ(outcome.response->body.size(), 32U);
            logger->clear();
        }
    }

    /// How many requests in a row: LUM_TEST_REQUESTS_IN_A_ROW, or what the platform does in a few seconds.
    static std::size_t RequestsInARow()
    {
        const char* const value = std::getenv("LUM_TEST_REQUESTS_IN_A_ROW");
        return value == nullptr ? Quirks::kRequestsInARow : std::stoul(value);
    }

    /// What the first load leaves behind is for the second, which leaves nothing more.
    static void ExpectNothingLeftBySecond(const std::function<void()>& first, const std::function<void()>& second)
    {
        const std::size_t threads = threadCount();
        first();
        comesDownTo(threads + kRestingThreads, threadCount);
        const Resources before = {openDescriptorCount(), threadCount(), heapInUse()};
        second();
        ExpectBackTo(before);
    }

    /// Waits until no more is left than the platform keeps for a while.
    static void ExpectBackTo(const Resources& before)
    {
        EXPECT_TRUE(comesDownTo(before.threads + kRestingThreads, threadCount))
            << before.threads << " threads were there, and " << threadCount() << " are now";
        EXPECT_TRUE(comesDownTo(before.descriptors + Quirks::kDescriptorSlack, openDescriptorCount))
            << before.descriptors << " descriptors were open, and " << openDescriptorCount() << " are now";
        EXPECT_TRUE(comesDownTo(before.heap + kKeptHeap, heapInUse))
            << before.heap << " bytes were in use, and " << heapInUse() << " are now";
    }

    /// Looks now and then only: the counts of some platforms keep all others waiting.
    static bool comesDownTo(std::size_t most, std::size_t (*count)())
    {
        constexpr std::chrono::milliseconds kBetween{100};
        for (auto rest = kLongestRest / kBetween; rest > 0 && count() > most; --rest) {
            std::this_thread::sleep_for(kBetween);
        }
        return count() <= most;
    }

    std::size_t ServerConnections()
    {
        const std::string text = GetBody(scripted("/stats"));
        return std::stoul(text.substr(text.find(' ') + 1));
    }
};

void LoadTest::RunAThousandAtOnce()
{
    const std::string key = TestServers::newKey();
    const std::string seconds = Quirks::kServesThousandAtOnce ? "60" : "1";
    std::vector<RequestRecorder> recorders(1000);
    std::vector<Transaction> transactions;
    for (const RequestRecorder& recorder : recorders) {
        transactions.push_back(
            client->Get(scripted("/stall?seconds=" + seconds + "&key=" + key), {}, recorder.Completion(), true, 60));
    }
    if (Quirks::kServesThousandAtOnce) {
        // All are at the server, none is answered.
        EXPECT_TRUE(waitUntil([&] { return ArrivedCount(key) == recorders.size(); }, std::chrono::seconds(50)));
        EXPECT_TRUE(std::all_of(recorders.begin(), recorders.end(),
                                [](const RequestRecorder& recorder) { return recorder.CallCount() == 0; }));
        Release(key);
    }
    for (const RequestRecorder& recorder : recorders) {
        const Outcome outcome = recorder.WaitForOutcome();
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body, "0123456789");
    }
    transactions.clear();
    for (const RequestRecorder& recorder : recorders) {
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
    }
    logger->clear();
}

void LoadTest::FailAtOnce(std::size_t count)
{
    std::vector<RequestRecorder> recorders(count);
    const std::string url = TestServers::url(TestServers::closedPort(), "/");
    for (const RequestRecorder& recorder : recorders) {
        client->Get(url, {}, recorder.Completion(), true, 60);
    }
    for (const RequestRecorder& recorder : recorders) {
        const Outcome outcome = recorder.WaitForOutcome();
        ASSERT_TRUE(outcome.error);
        if (Quirks::kNotifiesWithLastError) {
            EXPECT_EQ(platformCodeOf(*outcome.error), 12029);
        }
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
    }
    EXPECT_EQ(logger->recordsOfLevel(LumUtils::LumLogLevel::Error).size(), recorders.size());
    logger->clear();
}

/// What a request that is completed costs as long as somebody holds its transaction.
class HeldTransactionTest : public LoadTest {
protected:
    static constexpr std::size_t kBody = kMebibyte;
    static constexpr std::size_t kCount = 50;

    static std::string BytesUrl() { return scripted("/bytes?n=" + std::to_string(kBody)); }

    Transaction RunAndHold(HttpRequestResult result, const Starter& start)
    {
        const RequestRecorder recorder;
        Transaction transaction = start(recorder.Completion());
        EXPECT_EQ(recorder.WaitForOutcome().result, result);
        logger->clear();
        return transaction;
    }

    void ExpectKept(std::size_t mostOfEach, HttpRequestResult result, const Starter& start)
    {
        std::vector<Transaction> transactions(kCount);
        // What is set up once does not count.
        RunAndHold(result, start);
        const std::size_t before = heapInUse();
        for (Transaction& transaction : transactions) {
            transaction = RunAndHold(result, start);
        }
        EXPECT_TRUE(comesDownTo(before + kCount * mostOfEach, heapInUse))
            << (heapInUse() - before) / kCount << " bytes are kept for each";
    }
};

TEST_F(LoadTest, AThousandRequestsAtOnce)
{
    const auto load = [this] { RunAThousandAtOnce(); };
    ExpectNothingLeftBySecond(load, load);
}

TEST_F(LoadTest, AThousandFailuresAtOnce)
{
    ExpectNothingLeftBySecond([this] { FailAtOnce(3); }, [this] { FailAtOnce(1000); });
}

TEST_F(LoadTest, RequestsFromManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::atomic<int> succeeded{0};
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            for (int count = 0; count < 50; ++count) {
                const Outcome outcome = Get(scripted("/bytes?n=2000"));
                succeeded += outcome.response && outcome.response->body == makeBodyPattern(2000) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(succeeded, 400);
}

TEST_F(LoadTest, RequestsInARowKeepMemoryAndDescriptorsFlat)
{
    const std::size_t count = RequestsInARow();
    RunInARow(count / 10);
    const std::size_t memory = usedMemory();
    const std::size_t heap = heapInUse();
    const std::size_t descriptors = openDescriptorCount();
    RunInARow(count);
    EXPECT_LT(usedMemory(), memory + 4 * kMebibyte);
    EXPECT_LT(heapInUse(), heap + kMebibyte / 4);
    EXPECT_LE(openDescriptorCount(), descriptors + Quirks::kDescriptorSlack);
}

TEST_F(HeldTransactionTest, OfASuccessKeepsNeitherBodyNorBuffers)
{
    ExpectKept(Quirks::kKeptByHeldRequest, HttpRequestResult::SUCCESS,
               [this](const HttpCompletion& completion) { return client->Get(BytesUrl(), {}, completion, true, 30); });
}

TEST_F(HeldTransactionTest, OfACancelledRequestKeepsNeitherBodyNorBuffers)
{
    ExpectKept(Quirks::kKeptByHeldRequest, HttpRequestResult::CANCELLED, [this](const HttpCompletion& completion) {
        Transaction transaction = client->Get(BytesUrl(), {}, completion, true, 30);
        transaction->Cancel();
        return transaction;
    });
}

TEST_F(HeldTransactionTest, OfAFailureKeepsNeitherBodyNorBuffers)
{
    const HttpRequestResult result =
        Quirks::kAcceptsShortBodies ? HttpRequestResult::SUCCESS : HttpRequestResult::FAILED;
    ExpectKept(Quirks::kKeptByHeldRequest, result, [this](const HttpCompletion& completion) {
        return client->Get(scripted("/short?n=2000000&sent=" + std::to_string(kBody)), {}, completion, true, 30);
    });
}

/// The platform may read it until the request is closed.
TEST_F(HeldTransactionTest, OfAnUploadKeepsItsBodyOnce)
{
    ExpectKept(kBody + Quirks::kKeptByHeldRequest, HttpRequestResult::SUCCESS,
               [this](const HttpCompletion& completion) {
                   return client->Post(scripted("/checksum"), {}, std::string(kBody, 'x'), completion, true, 30);
               });
}

TEST_F(LoadTest, ConnectionsAreUsedAgain)
{
    RunInARow(1);
    const std::size_t before = ServerConnections();
    RunInARow(200);
    EXPECT_LE(ServerConnections(), before + 2);
}

TEST_F(LoadTest, FailuresInARowKeepDescriptorsFlat)
{
    const auto failOften = [&](int count) {
        for (int index = 0; index < count; ++index) {
            Get(TestServers::url(TestServers::closedPort(), "/"));
            Get(TestServers::secure(TestServers::Certificate::SelfSigned, "/"));
            logger->clear();
        }
    };
    failOften(20);
    const std::size_t descriptors = openDescriptorCount();
    failOften(100);
    EXPECT_LE(openDescriptorCount(), descriptors + Quirks::kDescriptorSlack);
}

TEST_F(LoadTest, ABodyOf256MebibytesIsDelivered)
{
    constexpr std::size_t kSize = 256 * kMebibyte;
    for (const std::string framing : {"length", "chunked", "close"}) {
        const Outcome outcome = Get(scripted("/bytes?n=" + std::to_string(kSize) + "&framing=" + framing));
        expectSuccess(outcome);
        ASSERT_EQ(outcome.response->body.size(), kSize);
        EXPECT_TRUE(isBodyPattern(outcome.response->body)) << framing;
    }
}

} // namespace LumTests
