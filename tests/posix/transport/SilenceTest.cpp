#include "Windows/networking/TransportTest.h"

#include "support/ProcessResources.h"

namespace LumTests {

using TestServers::scripted;
using TestServers::silent;

/// What becomes of requests and connections when nothing happens for long. It takes that long, so all is tried at once.
class SilenceTest : public TransportTest {
protected:
    static constexpr std::chrono::seconds kStillAllowed{20};

    /// A request that a server keeps waiting.
    struct Kept {
        const char* what;
        RequestRecorder recorder;
        Transaction transaction;
    };
};

TEST_F(SilenceTest, ThirtySecondsEndARequestAndAKeptConnection)
{
    expectSuccess(Get(scripted("/bytes?n=10")));
    const std::size_t before = openDescriptorCount();
    expectSuccess(Get(TestServers::scriptedIpv6("/bytes?n=10")));
    EXPECT_GT(openDescriptorCount(), before) << "another connection is kept";
    const std::string key = TestServers::newKey();
    std::vector<Kept> kept(4);
    const auto start = [&](std::size_t index, const char* what, const std::string& url, const std::string& body) {
        kept[index].what = what;
        const auto completion = kept[index].recorder.Completion();
        kept[index].transaction = body.empty() ? client->Get(url, {}, completion, true, 60)
                                               : client->Post(url, {}, body, completion, true, 60);
    };
    start(0, "no answer", silent(), "");
    start(1, "no answer to a small upload", silent(), "body");
    start(2, "an upload that is not read", silent(), std::string(std::size_t{64} << 20U, 'a'));
    start(3, "half a body", scripted("/stall?at=body&seconds=60&key=" + key), "");
    const RequestRecorder trickling;
    client->Get(scripted("/slow?n=5&ms=8000"), {}, trickling.Completion(), true, 60);

    std::this_thread::sleep_for(kStillAllowed);
    for (const Kept& request : kept) {
        EXPECT_EQ(request.recorder.CallCount(), 0U) << request.what;
    }
    for (const Kept& request : kept) {
        const Outcome outcome = request.recorder.WaitForOutcome();
        ASSERT_TRUE(outcome.error) << request.what;
        EXPECT_EQ(outcome.error->getCode(), 13) << request.what;
        EXPECT_EQ(platformCodeOf(*outcome.error), 12002) << request.what;
    }
    const Outcome outcome = trickling.WaitForOutcome();
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body.size(), 5U) << "a byte each eight seconds is no silence";
    EXPECT_TRUE(waitUntil([&] { return openDescriptorCount() <= before; }, std::chrono::seconds(10)))
        << before << " descriptors were open, and " << openDescriptorCount() << " are now";
    Release(key);
}

} // namespace LumTests
