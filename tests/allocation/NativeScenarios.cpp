#include "PlatformQuirks.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "allocation/RequestStarts.h"
#include "allocation/Scenarios.h"
#include "platform/LumPlatform.h"
#include "support/HttpHandles.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <gtest/gtest.h>

#include <any>
#include <optional>

namespace LumTests {

using namespace LumNetworking;
using namespace RequestStarts;
using TestServers::Certificate;
using TestServers::scripted;

namespace {

using Client = ILumAsynchronousHttpClient;

/// No name of a host has so many letters without a dot, so nobody is asked for it.
constexpr std::size_t kTooLongForALabel = 64;

/// What makes the server close the connection: without a word, or as it has announced.
const std::string kClosing = Quirks::kRepeatsOnANewConnection ? "&close" : "&framing=close";

int platformCodeOf(const LumUtils::ILumError& error)
{
    const auto found = error.getUserInfo().find("LumErrorUnderlyingErrorCode");
    return found == error.getUserInfo().end() ? -1 : std::any_cast<int>(found->second);
}

class NativeSite : public ClientSite {
public:
    NativeSite(int usualPlatformCode, const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
        : usualCode(usualPlatformCode), client(std::in_place, logger)
    {
    }

    ILumAsynchronousHttpClient& Client() override { return *client; }
    void DropClient() override { client.reset(); }
    bool IsClosed() const override { return openHttpHandles() == 0; }

    void ExpectOutOfMemory(const LumUtils::ILumError& error) const override
    {
        EXPECT_EQ(platformCodeOf(error), static_cast<int>(ERROR_NOT_ENOUGH_MEMORY)) << error.getDescription();
    }

    bool IsUsualFailure(const LumUtils::ILumError& error) const override { return platformCodeOf(error) == usualCode; }

private:
    const int usualCode;
    std::optional<WinHttpClientAsync> client;
};

std::unique_ptr<ClientSite> makeSite()
{
    return std::make_unique<NativeSite>(0, nullptr);
}

/// With a logger that needs memory for what it keeps.
std::unique_ptr<ClientSite> makeLoggedSite()
{
    return std::make_unique<NativeSite>(0, std::make_shared<RecordingLogger>());
}

Scenario succeeding(const char* name, Scenario::Start start, std::size_t bodySize, int status = 200)
{
    return {name, makeSite, std::move(start), HttpRequestResult::SUCCESS, bodySize, status};
}

Scenario logged(const char* name, Scenario::Start start, std::size_t bodySize)
{
    return {name, makeLoggedSite, std::move(start), HttpRequestResult::SUCCESS, bodySize};
}

/// A request that fails with that number of the platform, and says so to a logger.
Scenario failing(const char* name, Scenario::Start start, DWORD platformCode)
{
    const auto makeFailingSite = [platformCode] {
        return std::make_unique<NativeSite>(static_cast<int>(platformCode), std::make_shared<RecordingLogger>());
    };
    return {name, makeFailingSite, std::move(start), HttpRequestResult::FAILED};
}

Scenario throughProxy(std::uint16_t port, Scenario scenario)
{
    scenario.proxyPort = port;
    return scenario;
}

Scenario cancelling(const char* name, Scenario::Start start)
{
    return {name, makeSite, std::move(start), HttpRequestResult::CANCELLED};
}

std::vector<Scenario> plainScenarios()
{
    const std::string byName =
        "http://localhost:" + std::to_string(TestServers::scriptedPort()) + "/bytes?n=10" + kClosing;
    const std::string inTenBytes = scripted("/bytes?n=10" + kClosing);
    return {
        succeeding("Get", get(scripted("/bytes?n=5000")), 5000),
        succeeding("GetParsed", getParsed(scripted("/bytes?n=5000")), 5000),
        succeeding("GetOnANewConnection", get(scripted("/bytes?n=5000" + kClosing)), 5000),
        succeeding("GetByName", get(byName), 10),
        succeeding("GetALongBody", get(scripted("/bytes?n=2000000")), 2000000),
        succeeding("GetChunks", get(scripted("/bytes?n=200000&framing=chunked")), 200000),
        succeeding("GetABodyThatEndsWithTheConnection", get(scripted("/bytes?n=200000&framing=close")), 200000),
        succeeding("GetThroughRedirects", get(scripted("/redirect?cookie=a%3Db&to=/bytes%3Fn%3D10")), 10),
        succeeding("Post", upload(&Client::Post, inTenBytes), 10),
        succeeding("PostWithRedirect", upload(&Client::Post, scripted("/redirect?status=307&to=/bytes%3Fn%3D10")), 10),
        succeeding("Put", upload(&Client::Put, inTenBytes), 10),
        succeeding("Patch", upload(&Client::Patch, inTenBytes), 10),
        succeeding("Delete", remove(scripted("/bytes?n=10")), 10),
        succeeding("Send", send(inTenBytes), 10),
        cancelling("Cancel", cancelledBeforeItsAnswer()),
        logged("GetWithALogger", get(scripted("/bytes?n=5000")), 5000),
        logged("PostWithALogger", upload(&Client::Post, inTenBytes), 10),
    };
}

/// A body that breaks off.
Scenario broken(const char* name)
{
    constexpr std::size_t kSent = 10;
    Scenario::Start start = get(scripted("/short?n=1000&sent=" + std::to_string(kSent)));
    return Quirks::kAcceptsShortBodies ? logged(name, std::move(start), kSent)
                                       : failing(name, std::move(start), ERROR_WINHTTP_CONNECTION_ERROR);
}

std::vector<Scenario> failingScenarios()
{
    return {
        failing("GetFromAClosedPort", get(TestServers::url(TestServers::closedPort(), "/")),
                ERROR_WINHTTP_CANNOT_CONNECT),
        failing("GetOfAnUnknownName", get("http://" + std::string(kTooLongForALabel, 'x') + "/"),
                ERROR_WINHTTP_NAME_NOT_RESOLVED),
        failing("GetOfGarbage", get(scripted("/garbage")), ERROR_WINHTTP_INVALID_SERVER_RESPONSE),
        failing("GetWithoutAnAnswer", get(scripted("/close")), Quirks::kErrorOfNoAnswer),
        broken("GetOfABrokenBody"),
    };
}

/// A POST to https that a redirect turns into a GET of http.
Scenario redirectedToTheClear(const char* name, const std::string& url)
{
    Scenario::Start start = upload(&Client::Post, url);
    return Quirks::kFailsWherePostBecomesGet ? failing(name, std::move(start), ERROR_WINHTTP_INCORRECT_HANDLE_STATE)
                                             : succeeding(name, std::move(start), 1);
}

std::vector<Scenario> secureScenarios()
{
    const auto trusted = [](const char* path) {
        return TestServers::secureByName(Certificate::UnknownAuthority, path);
    };
    return {
        succeeding("GetSecurely", get(trusted("/medium.bin")), 65536),
        succeeding("GetSecurelyThenInTheClear", get(trusted("/to-http")), 1),
        redirectedToTheClear("PostSecurelyThenGetInTheClear", trusted("/to-http")),
        logged("GetSecurelyWithALogger", get(trusted("/small.bin")), 32),
        failing("GetSecurelyFromAPlainServer",
                get("https://localhost:" + std::to_string(TestServers::nginxPort()) + "/one.bin"),
                ERROR_WINHTTP_SECURE_CHANNEL_ERROR),
    };
}

} // namespace

std::vector<Scenario> nativeScenarios()
{
    std::vector<Scenario> all = plainScenarios();
    for (const auto more : {failingScenarios, secureScenarios}) {
        for (Scenario& scenario : more()) {
            all.push_back(std::move(scenario));
        }
    }
    return all;
}

std::vector<Scenario> proxiedScenarios()
{
    constexpr std::size_t kNoSuchPath = 12;
    const std::string url = "http://no-such-host.invalid/";
    const std::uint16_t willing = TestServers::scriptedPort();
    return {
        throughProxy(willing, succeeding("GetThroughAProxy", get(url), kNoSuchPath, 404)),
        throughProxy(willing, succeeding("PostThroughAProxy", upload(&Client::Post, url), kNoSuchPath, 404)),
        // nginx is no proxy for https, and closes the connection.
        throughProxy(TestServers::nginxPort(),
                     failing("GetSecurelyThroughAProxyThatRefuses", get("https://no-such-host.invalid/"),
                             Quirks::kErrorOfRefusedTunnel)),
    };
}

} // namespace LumTests
