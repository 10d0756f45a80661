#include "Windows/networking/WinHttpClientAsync.h"
#include "posix/process/TrustedAuthority.h"
#include "posix/process/UnloadRounds.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <cstdlib>
#include <future>
#include <string>
#include <thread>

/// Does what its argument names, in a process of its own. Exits with 0 if that went as it should.

namespace {

using namespace LumNetworking;
using LumTests::RecordingLogger;
namespace TestServers = LumTests::TestServers;

void ignoreOutcome(HttpRequestResult, std::unique_ptr<HttpResponse>, std::unique_ptr<LumUtils::ILumError>,
                   std::shared_ptr<ILumAsynchronousTransaction>)
{
}

/// A completion after the end would touch what is gone.
void leaveWithRequestsToASilentServer()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    for (int index = 0; index < 10; ++index) {
        client.Get(TestServers::silent(), {}, ignoreOutcome, true, 30);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

void leaveAtOnce()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    for (int index = 0; index < 100; ++index) {
        client.Get(TestServers::scripted("/bytes?n=1000"), {}, ignoreOutcome, true, 30);
    }
}

void exitInACompletion()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    client.Get(
        TestServers::scripted("/bytes?n=10"), {}, [](auto...) { std::exit(0); }, true, 30);
    std::this_thread::sleep_for(std::chrono::seconds(30));
    std::_Exit(1);
}

void leaveWhileACompletionRuns()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    static std::promise<void> started;
    client.Get(
        TestServers::scripted("/bytes?n=10"), {},
        [](auto...) {
            started.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        },
        true, 30);
    started.get_future().wait();
}

void leaveWhileANameIsLookedUp()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    client.Get("http://no-such-host.invalid/", {}, ignoreOutcome, true, 30);
}

/// Fetches the URL and returns the status of the response, or 0 if there is none.
int fetchStatus(const std::string& url)
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    std::promise<int> status;
    client.Get(
        url, {},
        [&](HttpRequestResult, std::unique_ptr<HttpResponse> response, std::unique_ptr<LumUtils::ILumError>,
            std::shared_ptr<ILumAsynchronousTransaction>) { status.set_value(response ? response->statusCode : 0); },
        true, 30);
    return status.get_future().get();
}

/// With its authority in the system's store a good certificate is accepted, also on the way to a redirect to http, and
/// a bad one is not.
bool fetchFromTrustedServer()
{
    using TestServers::Certificate;
    LumTests::trustAuthority(std::getenv("LUM_TEST_CA_FILE"));
    return fetchStatus(TestServers::secure(Certificate::UnknownAuthority, "/one.bin")) == 200 &&
           fetchStatus(TestServers::secure(Certificate::UnknownAuthority, "/to-http")) == 200 &&
           fetchStatus(TestServers::secure(Certificate::WrongHost, "/one.bin")) == 0 &&
           fetchStatus(TestServers::secure(Certificate::Expired, "/one.bin")) == 0 &&
           fetchStatus(TestServers::secure(Certificate::SelfSigned, "/one.bin")) == 0;
}

/// The environment's proxy is asked for a host that nobody else could resolve; it does not know the path.
bool fetchThroughProxy()
{
    setenv("http_proxy", TestServers::scripted("").c_str(), 1);
    setenv("no_proxy", "127.0.0.1", 1);
    return fetchStatus("http://no-such-host.invalid/") == 404 &&
           fetchStatus(TestServers::scripted("/status/204")) == 204;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const std::string way = argumentCount > 1 ? arguments[1] : "";
    if (way == "silent") {
        leaveWithRequestsToASilentServer();
    } else if (way == "at-once") {
        leaveAtOnce();
    } else if (way == "in-completion") {
        exitInACompletion();
    } else if (way == "completion-runs") {
        leaveWhileACompletionRuns();
    } else if (way == "looking-up") {
        leaveWhileANameIsLookedUp();
    } else if (way == "unload") {
        // Without the checks at exit: what the layer keeps for late calls is lost with the library.
        std::_Exit(LumTests::loadAndUnload(LUM_UNLOAD_PLUGIN) ? 0 : 1);
    } else if (way == "trusted") {
        return fetchFromTrustedServer() ? 0 : 1;
    } else if (way == "proxy") {
        return fetchThroughProxy() ? 0 : 1;
    } else {
        return 2;
    }
    return 0;
}
