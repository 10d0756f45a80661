#include "Windows/networking/WinHttpClientAsync.h"
#include "posix/end/UnloadRounds.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <cstdlib>
#include <future>
#include <string>
#include <thread>

/// Ends in the way that its argument names, while requests are under way. Exits with 0.

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
    } else {
        return 2;
    }
    return 0;
}
