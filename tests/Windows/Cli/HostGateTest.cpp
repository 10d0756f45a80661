#include "Windows/Cli/utils/HostGate.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "support/FakeManagedHost.h"
#include "support/ProcessResources.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <vector>

namespace {

using namespace LumTests;
using LumNetworking::HttpRequestResult;
using LumNetworking::LumAsynchronousSocksHttpClient;

constexpr const char* kUrl = "http://files.example/";
constexpr std::int32_t kLongWait = 60000;

/// A managed half that is unloaded while native code holds its objects.
class HostGateTest : public testing::Test {
protected:
    HostGateTest() { host.becomeUnloadable(); }

    /// A worker that lives on would meet the next test's host in place of this one's.
    void TearDown() override
    {
        EXPECT_TRUE(waitUntil([this] { return threadCount() <= threads; }, std::chrono::seconds(20)));
    }

    std::unique_ptr<LumAsynchronousSocksHttpClient> client()
    {
        return std::make_unique<LumAsynchronousSocksHttpClient>(logger, host.lend(socks));
    }

    const std::size_t threads = threadCount();
    FakeManagedHost host;
    std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
};

void expectFailure(const RequestRecorder& recorder)
{
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.result, HttpRequestResult::FAILED);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getCode(), 6);
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

TEST_F(HostGateTest, AnOpenGateLetsEverythingThrough)
{
    const RequestRecorder recorder;
    const auto transaction = client()->Get(kUrl, {}, recorder.Completion(), false, 0);
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
}

TEST_F(HostGateTest, AfterwardsEveryRequestFailsOnceAndSaysWhy)
{
    const auto live = client();
    EXPECT_EQ(host.unload(0), 0);
    for (int i = 0; i < 3; ++i) {
        const RequestRecorder recorder;
        const auto transaction = live->Get(kUrl, {}, recorder.Completion(), false, 0);
        expectFailure(recorder);
    }
    EXPECT_TRUE(socks->requests().empty());
    EXPECT_EQ(logger->records().back().message,
              "SOCKS HTTP request error: The application domain of the host's objects has been unloaded.");
}

TEST_F(HostGateTest, AfterwardsRecordsForAManagedLoggerAreDropped)
{
    const auto managedLogger = std::make_shared<FakeManagedLogger>();
    const auto adapter = std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(host.lend(managedLogger));
    adapter->logInfo("file", "function", "before", 1);
    EXPECT_EQ(host.unload(0), 0);
    adapter->logInfo("file", "function", "afterwards", 1);
    EXPECT_EQ(managedLogger->records().size(), 1U);
}

TEST_F(HostGateTest, ACallThatIsInsideIsWaitedForAndCounted)
{
    std::promise<void> entered;
    std::promise<void> released;
    socks->onSend = [&](const FakeRequest&) {
        entered.set_value();
        released.get_future().wait();
        return FakeResponse();
    };
    const auto live = client();
    const RequestRecorder recorder;
    const auto transaction = live->Get(kUrl, {}, recorder.Completion(), false, 0);
    entered.get_future().wait();
    EXPECT_EQ(LumCliCloseGate(host.table().gate, 1), 1);
    std::future<std::int32_t> end =
        std::async(std::launch::async, [&] { return LumCliCloseGate(host.table().gate, kLongWait); });
    released.set_value();
    EXPECT_EQ(end.get(), 0);
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    host.unload(0);
}

TEST_F(HostGateTest, AfterwardsNoClientIsCreated)
{
    const LumUtilsCli::ManagedReference reference = host.lend(socks);
    EXPECT_EQ(host.unload(0), 0);
    EXPECT_THROW(LumAsynchronousSocksHttpClient(logger, reference), LumUtilsCli::HostUnloaded);
    void* created = this;
    LumCliHandle exception = -1;
    EXPECT_EQ(LumCliCreateSocksClientWithNativeLogger(&host.table(), nullptr, 1, &created, &exception),
              kLumCliNoMemory);
    EXPECT_EQ(created, nullptr);
    EXPECT_EQ(exception, 0);
}

} // namespace
