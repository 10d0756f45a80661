#include "Windows/Cli/LumCliAbi.h"
#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "support/EachAllocationFails.h"
#include "support/FakeManagedHost.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <utility>

/// Memory that is missing for one allocation, wherever that is: the first, the second, and so on until all succeed.

namespace {

using namespace LumTests;
using namespace LumNetworking;
using LumUtils::LumLogLevel;
using Reach = FailingAllocation::Reach;

constexpr const char* kUrl = "http://host/path";
const std::map<std::string, std::string> kHeaders = {{"A", "a value that is too long for a short string"}};
const std::string kBody = "a body that is too long for a short string";

/// The allocations of a worker from its first record on; deleted within the completion, on the same thread. mingw-w64
/// runs a thread's destructors too late for an object here.
thread_local FailingAllocation* failingOfWorker = nullptr;

/// Lets the worker's memory run out after its first record.
class MemoryTakingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    explicit MemoryTakingLogger(int succeedingAllocations) : succeeding(succeedingAllocations) {}

private:
    void writeRecord(LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& message, unsigned int /*line*/) override
    {
        if (message.find("Making") != std::string::npos) {
            failingOfWorker = new FailingAllocation(succeeding);
        }
    }

    const int succeeding;
};

class SocksClientMemoryTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();

    /// Sends one request whose worker has so many allocations; returns whether one failed.
    bool failsOnWorker(int succeeding, Outcome& outcome)
    {
        LumAsynchronousSocksHttpClient client(std::make_shared<MemoryTakingLogger>(succeeding), host.lend(socks));
        const RequestRecorder recorder;
        std::atomic<bool> hasFailed{false};
        const auto transaction = client.Post(
            kUrl, kHeaders, kBody,
            [&hasFailed, completion = recorder.Completion()](auto result, auto response, auto error, auto handle) {
                hasFailed = FailingAllocation::HasFailed();
                delete std::exchange(failingOfWorker, nullptr);
                completion(result, std::move(response), std::move(error), std::move(handle));
            },
            true, 30);
        outcome = recorder.WaitForOutcome();
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
        return hasFailed;
    }
};

void expectFailed(const Outcome& outcome)
{
    EXPECT_EQ(outcome.result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcome.response, nullptr);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
    EXPECT_EQ(outcome.error->getCode(), 6);
    EXPECT_TRUE(outcome.error->getUserInfo().empty());
}

/// One of the functions that create a client.
using Create = std::function<std::int32_t(void** created, LumCliHandle* exception)>;

/// Without memory for one allocation the host's exception says so; without any there is none for that either.
void expectCreatedOrNothingKept(FakeManagedHost& host, Reach reach, const Create& create)
{
    void* created = nullptr;
    LumCliHandle exception = 0;
    std::int32_t status = kLumCliOtherVersion;
    int exceptions = 0;
    const int count = expectEndsWithoutMemory(
        reach, [&] { status = create(&created, &exception); },
        [&](bool hasFailed) {
            EXPECT_EQ(created == nullptr, hasFailed);
            EXPECT_EQ(exception != 0, status == kLumCliException);
            const std::unique_ptr<ILumAsynchronousHttpClient> client(static_cast<ILumAsynchronousHttpClient*>(created));
            if (status == kLumCliException) {
                ++exceptions;
                EXPECT_EQ(host.takeException(exception)->type, "System.OutOfMemoryException");
            } else {
                EXPECT_EQ(status, hasFailed ? kLumCliNoMemory : kLumCliOk);
            }
            EXPECT_EQ(host.nativeHandles() == 0, hasFailed) << "a client that was not created keeps nothing";
        });
    EXPECT_GT(count, 3) << "there are allocations to fail";
    EXPECT_EQ(exceptions, reach == Reach::One ? count : 0);
    EXPECT_EQ(host.nativeHandles(), 0U);
}

TEST_F(SocksClientMemoryTest, MissingWhileAClientIsCreatedItReachesTheHostAndNothingIsKept)
{
    const LumCliHandle logger = host.handleTo(std::make_shared<FakeManagedLogger>());
    const LumCliHandle client = host.handleTo(socks);
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        expectCreatedOrNothingKept(host, reach, [&](void** created, LumCliHandle* exception) {
            return LumCliCreateSocksClientWithManagedLogger(&host.table(), logger, client, created, exception);
        });
    }
}

TEST_F(SocksClientMemoryTest, MissingWhileAClientWithANativeLoggerIsCreatedItReachesTheHostAndNothingIsKept)
{
    const auto recorder = std::make_shared<RecordingLogger>();
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> logger = recorder;
    const LumCliHandle client = host.handleTo(socks);
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        expectCreatedOrNothingKept(host, reach, [&](void** created, LumCliHandle* exception) {
            return LumCliCreateSocksClientWithNativeLogger(&host.table(), &logger, client, created, exception);
        });
        EXPECT_EQ(logger.use_count(), 2) << "the logger is not kept either";
        EXPECT_EQ(recorder->records().size(), 1U) << "the creation of the only client";
        recorder->clear();
    }
}

TEST_F(SocksClientMemoryTest, MissingWhileAnArgumentIsRefusedTheHostIsToldAllTheSame)
{
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> logger = std::make_shared<RecordingLogger>();
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> noLogger;
    const LumCliHandle client = host.handleTo(socks);
    for (const auto& [given, lent] : {std::pair(&noLogger, client), std::pair(&logger, LumCliHandle{0})}) {
        for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
            std::int32_t status = kLumCliOk;
            void* created = nullptr;
            LumCliHandle exception = 0;
            const void* const address = given;
            const LumCliHandle lentClient = lent;
            EXPECT_GT(expectEndsWithoutMemory(
                          reach,
                          [&] {
                              status = LumCliCreateSocksClientWithNativeLogger(&host.table(), address, lentClient,
                                                                               &created, &exception);
                          },
                          [&](bool hasFailed) {
                              EXPECT_EQ(created, nullptr);
                              EXPECT_EQ(status, hasFailed && reach == Reach::AllThatFollow ? kLumCliNoMemory
                                                                                           : kLumCliException);
                              if (status == kLumCliException) {
                                  EXPECT_EQ(host.takeException(exception)->type,
                                            hasFailed ? "System.OutOfMemoryException" : "System.ArgumentNullException");
                              }
                              EXPECT_EQ(host.nativeHandles(), 0U);
                          }),
                      0);
        }
    }
}

TEST_F(SocksClientMemoryTest, MissingWhileARequestIsStartedItIsRefusedOrFailsOnTheCallersThread)
{
    const auto logger = std::make_shared<RecordingLogger>();
    LumAsynchronousSocksHttpClient client(logger, host.lend(socks));
    UrlComponents url;
    ASSERT_EQ(ParseUrl(kUrl, url), UrlParseStatus::Parsed);
    int refused = 0;
    int failed = 0;
    bool hasFailed = true;
    for (int succeeding = 0; hasFailed; ++succeeding) {
        logger->clear();
        const RequestRecorder recorder;
        std::shared_ptr<ILumAsynchronousTransaction> transaction;
        {
            const HttpCompletion completion = recorder.Completion();
            const FailingAllocation failing(succeeding);
            transaction = client.Post(url, kHeaders, kBody, completion, true, 30);
            hasFailed = FailingAllocation::HasFailed();
        }
        if (!transaction) {
            ++refused;
            EXPECT_TRUE(recorder.IsReleased());
            EXPECT_EQ(recorder.CallCount(), 0U);
        } else if (hasFailed) {
            ++failed;
            const Outcome outcome = recorder.WaitForOutcome();
            expectFailed(outcome);
            EXPECT_EQ(outcome.thread, std::this_thread::get_id());
        } else {
            EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
        }
        EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Error).size(), hasFailed ? 1U : 0U)
            << "allocation " << succeeding;
    }
    EXPECT_GT(refused, 0);
    EXPECT_GT(failed, 0);
    EXPECT_EQ(socks->requests().size(), 1U);
}

TEST_F(SocksClientMemoryTest, MissingOnTheWorkerTheRequestFailsOnce)
{
    FakeResponse response;
    response.body = std::u16string(100, u'x');
    response.headers = std::vector<std::optional<std::u16string>>{u"Name: a value that is too long for a short string"};
    socks->answer(response);
    Outcome outcome{};
    int succeeding = 0;
    for (; failsOnWorker(succeeding, outcome); ++succeeding) {
        expectFailed(outcome);
    }
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    EXPECT_GT(succeeding, 10) << "there are allocations to fail";
}

TEST_F(SocksClientMemoryTest, MissingWhenTheHostThrowsItsExceptionIsLetGo)
{
    socks->fail(exceptionOf("System.Exception", std::u16string(100, u'x')));
    Outcome outcome{};
    int succeeding = 0;
    for (; failsOnWorker(succeeding, outcome); ++succeeding) {
        expectFailed(outcome);
        EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0; })) << "allocation " << succeeding;
    }
    expectFailed(outcome);
    EXPECT_GT(succeeding, 10) << "there are allocations to fail";
}

/// A logger without memory or room for anything.
class RefusingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    std::atomic<bool> refuses{false};

private:
    void writeRecord(LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& /*message*/, unsigned int /*line*/) override
    {
        if (refuses) {
            throw std::bad_alloc();
        }
    }
};

TEST_F(SocksClientMemoryTest, MissingForTheRecordTooTheRequestIsRefusedWithoutException)
{
    const auto logger = std::make_shared<RefusingLogger>();
    LumAsynchronousSocksHttpClient client(logger, host.lend(socks));
    logger->refuses = true;
    const std::string body(1U << 20U, 'x');
    const RequestRecorder recorder;
    std::shared_ptr<ILumAsynchronousTransaction> transaction;
    {
        const AllocationLimit limit(1U << 19U);
        EXPECT_NO_THROW(transaction = client.Post("http://host/", {}, body, recorder.Completion(), true, 30));
    }
    EXPECT_EQ(transaction, nullptr);
    EXPECT_TRUE(recorder.IsReleased());
}

} // namespace
