#include "PlatformQuirks.h"
#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "support/FakeManagedHost.h"
#include "support/ProcessResources.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

using namespace LumTests;
using namespace LumNetworking;

/// A sanitizer keeps freed memory for a while.
#ifdef LUM_HAS_SANITIZER
constexpr bool kHasSanitizer = true;
#else
constexpr bool kHasSanitizer = false;
#endif

/// Answers each request with its own URL and payload.
FakeResponse echo(const FakeRequest& request)
{
    FakeResponse response;
    response.body = request.url + u"|" + request.payload.value_or(u"");
    response.headers = std::vector<std::optional<std::u16string>>{u"X-Method: " + request.method};
    return response;
}

TEST(SocksClientLoad, TwoHundredRequestsAtOnce)
{
    constexpr std::size_t kRequests = 200;
    FakeManagedHost host;
    const auto socks = std::make_shared<FakeSocksClient>();
    const auto client = std::make_unique<LumAsynchronousSocksHttpClient>(nullptr, host.lend(socks));
    std::atomic<std::size_t> inside{0};
    socks->onSend = [&](const FakeRequest& request) {
        ++inside;
        EXPECT_TRUE(waitUntil([&] { return inside == kRequests; }));
        return echo(request);
    };
    std::vector<RequestRecorder> recorders(kRequests);
    std::vector<std::shared_ptr<ILumAsynchronousTransaction>> transactions;
    for (std::size_t index = 0; index < kRequests; ++index) {
        transactions.push_back(client->Post("http://host/" + std::to_string(index), {}, std::to_string(index),
                                            recorders[index].Completion(), true, 30));
    }
    for (std::size_t index = 0; index < kRequests; ++index) {
        const Outcome outcome = recorders[index].WaitForOutcome();
        ASSERT_EQ(outcome.result, HttpRequestResult::SUCCESS);
        const std::string number = std::to_string(index);
        EXPECT_EQ(outcome.response->body, "http://host/" + number + "|" + number);
    }
}

/// Carries out so many requests, one after the other; every third is dropped at once, every fifth fails.
class RequestsInARow {
public:
    explicit RequestsInARow(FakeManagedHost& host)
        : client(std::make_unique<LumAsynchronousSocksHttpClient>(nullptr, host.lend(socks)))
    {
        // The fake keeps every request otherwise.
        socks->keepsRequests = false;
        socks->onSend = [this](const FakeRequest& request) {
            if (++count % 5 == 0) {
                throw ManagedThrow{exceptionOf("System.Exception", u"fifth")};
            }
            return echo(request);
        };
    }

    void run(std::size_t requests)
    {
        for (std::size_t index = 0; index < requests; ++index) {
            const RequestRecorder recorder;
            auto transaction = client->Post("http://host/", {{"A", "1"}}, "body", recorder.Completion(), true, 30);
            if (index % 3 == 0) {
                transaction.reset();
            }
            recorder.WaitForRelease();
            EXPECT_EQ(recorder.CallCount(), 1U);
        }
    }

    void close() { client.reset(); }

private:
    std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();
    std::unique_ptr<LumAsynchronousSocksHttpClient> client;
    std::atomic<std::size_t> count{0};
};

TEST(SocksClientLoad, RequestsInARowKeepMemoryThreadsAndHandlesFlat)
{
    constexpr std::size_t kSlack = std::size_t{4} << 20U;
    FakeManagedHost host;
    RequestsInARow requests(host);
    requests.run(Quirks::kProxiedRequestsInARow / 10);
    const std::size_t memory = usedMemory();
    const std::size_t descriptors = openDescriptorCount();
    const std::size_t threads = threadCount();
    requests.run(Quirks::kProxiedRequestsInARow);
    EXPECT_TRUE(kHasSanitizer || usedMemory() <= memory + kSlack);
    EXPECT_TRUE(waitUntil([&] { return openDescriptorCount() <= descriptors + Quirks::kDescriptorSlack; }));
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= threads; }));
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 2; }));
    requests.close();
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0; }));
}

} // namespace
