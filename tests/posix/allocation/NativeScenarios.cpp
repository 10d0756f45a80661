#include "Windows/networking/WinHttpClientAsync.h"
#include "platform/posix/winhttp/HttpHandleTable.h"
#include "posix/allocation/RequestStarts.h"
#include "posix/allocation/Scenarios.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <gtest/gtest.h>

#include <any>
#include <optional>

#include <stdlib.h>

namespace LumTests {

using namespace LumNetworking;
using namespace RequestStarts;
using TestServers::Certificate;
using TestServers::scripted;

namespace {

using Client = ILumAsynchronousHttpClient;

/// No name of a host has so many letters without a dot, so nobody is asked for it.
constexpr std::size_t kTooLongForALabel = 64;

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
    bool IsClosed() const override { return LumPlatform::HttpHandleTable::Instance().Count() == 0; }

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

Scenario cancelling(const char* name, Scenario::Start start)
{
    return {name, makeSite, std::move(start), HttpRequestResult::CANCELLED};
}

std::vector<Scenario> plainScenarios()
{
    const std::string byName = "http://localhost:" + std::to_string(TestServers::scriptedPort()) + "/bytes?n=10&close";
    const std::string inTenBytes = scripted("/bytes?n=10&close");
    return {
        succeeding("Get", get(scripted("/bytes?n=5000")), 5000),
        succeeding("GetParsed", getParsed(scripted("/bytes?n=5000")), 5000),
        succeeding("GetOnANewConnection", get(scripted("/bytes?n=5000&close")), 5000),
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
        cancelling("Cancel", cancelled(scripted("/bytes?n=5000"))),
        logged("GetWithALogger", get(scripted("/bytes?n=5000")), 5000),
        logged("PostWithALogger", upload(&Client::Post, inTenBytes), 10),
    };
}

std::vector<Scenario> failingScenarios()
{
    return {
        failing("GetFromAClosedPort", get(TestServers::url(TestServers::closedPort(), "/")),
                ERROR_WINHTTP_CANNOT_CONNECT),
        failing("GetOfAnUnknownName", get("http://" + std::string(kTooLongForALabel, 'x') + "/"),
                ERROR_WINHTTP_NAME_NOT_RESOLVED),
        failing("GetOfGarbage", get(scripted("/garbage")), ERROR_WINHTTP_INVALID_SERVER_RESPONSE),
        failing("GetWithoutAnAnswer", get(scripted("/close")), ERROR_WINHTTP_CONNECTION_ERROR),
        failing("GetOfABrokenBody", get(scripted("/short?n=1000&sent=10")), ERROR_WINHTTP_CONNECTION_ERROR),
    };
}

std::vector<Scenario> secureScenarios()
{
    const auto trusted = [](const char* path) {
        return TestServers::secureByName(Certificate::UnknownAuthority, path);
    };
    return {
        succeeding("GetSecurely", get(trusted("/medium.bin")), 65536),
        succeeding("PostSecurelyThenGetInTheClear", upload(&Client::Post, trusted("/to-http")), 1),
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
    return {
        succeeding("GetThroughAProxy", get("http://no-such-host.invalid/"), kNoSuchPath, 404),
        succeeding("PostThroughAProxy", upload(&Client::Post, "http://no-such-host.invalid/"), kNoSuchPath, 404),
        failing("GetSecurelyThroughAProxyThatRefuses", get("https://no-such-host.invalid/"),
                ERROR_WINHTTP_CONNECTION_ERROR),
    };
}

void setProxy()
{
    for (const char* const variable : {"http_proxy", "https_proxy"}) {
        setenv(variable, scripted("").c_str(), 1);
    }
}

} // namespace LumTests
