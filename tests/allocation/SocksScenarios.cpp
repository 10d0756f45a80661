#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "allocation/RequestStarts.h"
#include "allocation/Scenarios.h"
#include "support/FakeManagedHost.h"
#include "support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <mutex>
#include <optional>

namespace LumTests {

using namespace LumNetworking;
using namespace RequestStarts;

namespace {

using Client = ILumAsynchronousHttpClient;
using Answer = std::function<FakeResponse(const FakeRequest&)>;

constexpr const char* kUrl = "http://a-host-that-is-too-long-for-a-short-string/path?a=b";

constexpr std::size_t kAnswerSize = 5000;

class SocksSite : public ClientSite {
public:
    SocksSite(const Answer& answer, const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
    {
        socks->keepsRequests = false;
        socks->onSend = answer;
        client.emplace(logger, host.lend(socks));
    }

    ILumAsynchronousHttpClient& Client() override { return *client; }
    void DropClient() override { client.reset(); }
    bool IsClosed() const override { return host.nativeHandles() == 0; }

    void ExpectOutOfMemory(const LumUtils::ILumError& error) const override { EXPECT_TRUE(IsUsualFailure(error)); }

    bool IsUsualFailure(const LumUtils::ILumError& error) const override
    {
        return error.getCode() == 6 && error.getUserInfo().empty();
    }

private:
    FakeManagedHost host;
    const std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();
    std::optional<LumAsynchronousSocksHttpClient> client;
};

FakeResponse answerOf(std::size_t size)
{
    FakeResponse response;
    response.headers = std::vector<std::optional<std::u16string>>{
        u"Name: a value that is too long for a short string", u"A-name-that-is-too-long-for-a-short-string: 1", u"c:d"};
    response.body = std::u16string(size, u'x');
    return response;
}

FakeResponse answerWell(const FakeRequest& /*request*/)
{
    return answerOf(kAnswerSize);
}

FakeResponse answerWithoutABody(const FakeRequest& /*request*/)
{
    FakeResponse response = answerOf(0);
    response.body = std::nullopt;
    return response;
}

FakeResponse throwAtOnce(const FakeRequest& /*request*/)
{
    throw ManagedThrow{exceptionOf("System.Exception", std::u16string(100, u'x'))};
}

Scenario scenario(const char* name, Scenario::Start start, const Answer& answer, HttpRequestResult result,
                  bool isLogged)
{
    const auto makeSite = [answer, isLogged] {
        return std::make_unique<SocksSite>(answer, isLogged ? std::make_shared<RecordingLogger>() : nullptr);
    };
    return {name, makeSite, std::move(start), result, kAnswerSize};
}

/// The answer is kept back until the request has been cancelled.
Scenario cancelledBeforeItsAnswer(const char* name)
{
    const auto cancelling = std::make_shared<std::mutex>();
    const auto answerLate = [cancelling](const FakeRequest& request) {
        const std::lock_guard<std::mutex> isOver(*cancelling);
        return answerWell(request);
    };
    const auto start = [cancelling, start = cancelled(kUrl)](Client& client, const HttpCompletion& completion) {
        const std::lock_guard<std::mutex> goesOn(*cancelling);
        return start(client, completion);
    };
    return scenario(name, start, answerLate, HttpRequestResult::CANCELLED, false);
}

Scenario answered(const char* name, Scenario::Start start, bool isLogged = false)
{
    return scenario(name, std::move(start), answerWell, HttpRequestResult::SUCCESS, isLogged);
}

Scenario failing(const char* name, const Answer& answer, bool isLogged)
{
    return scenario(name, get(kUrl), answer, HttpRequestResult::FAILED, isLogged);
}

} // namespace

std::vector<Scenario> socksScenarios()
{
    return {
        answered("SocksGet", get(kUrl)),
        answered("SocksGetWithALogger", get(kUrl), true),
        answered("SocksPost", upload(&Client::Post, kUrl)),
        answered("SocksPut", upload(&Client::Put, kUrl)),
        answered("SocksPatch", upload(&Client::Patch, kUrl)),
        answered("SocksDelete", remove(kUrl)),
        answered("SocksSend", send(kUrl), true),
        cancelledBeforeItsAnswer("SocksCancel"),
        failing("SocksGetThatThrows", throwAtOnce, false),
        failing("SocksGetThatThrowsWithALogger", throwAtOnce, true),
        failing("SocksGetWithoutABody", answerWithoutABody, true),
    };
}

} // namespace LumTests
