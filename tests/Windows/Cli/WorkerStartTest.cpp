#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "support/FakeManagedHost.h"
#include "support/NoThreads.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <system_error>

namespace {

using namespace LumTests;
using namespace LumNetworking;

TEST(WorkerStartTest, AThreadThatCannotBeStartedFailsTheRequestOnTheCallersThread)
{
    FakeManagedHost host;
    const auto socks = std::make_shared<FakeSocksClient>();
    const auto logger = std::make_shared<RecordingLogger>();
    LumAsynchronousSocksHttpClient client(logger, host.lend(socks));
    const RequestRecorder recorder;
    std::shared_ptr<ILumAsynchronousTransaction> transaction;
    {
        const NoThreads noThreads;
        transaction = client.Get("http://host/", {}, recorder.Completion(), true, 30);
    }
    ASSERT_NE(transaction, nullptr);
    ASSERT_EQ(recorder.CallCount(), 1U) << "before the operation returns";
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcome.thread, std::this_thread::get_id());
    EXPECT_EQ(outcome.transaction, transaction.get());
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getCode(), 6);
    const std::vector<LogRecord> errors = logger->recordsOfLevel(LumUtils::LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].message,
              std::string("SOCKS HTTP request error: ") +
                  std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again)).what());
    EXPECT_EQ(errors[0].function, "LumNetworking::LumAsynchronousSocksHttpClient::PerformHttpAsync");
    EXPECT_TRUE(socks->requests().empty());
}

} // namespace
