#include "Windows/networking/WinHttpClientAsync.h"
#include "common/utils/LumTimeUtils.h"
#include "posix/process/Exhaustion.h"
#include "posix/process/Forks.h"
#include "posix/process/Interruptions.h"
#include "posix/process/LookUps.h"
#include "posix/process/UnaskedTlsBytes.h"
#include "posix/process/UnloadRounds.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <cstdlib>
#include <future>
#include <iostream>
#include <string>

/// Does what its argument names, in a process of its own. Exits with 0 if that went as it should.

namespace {

using namespace LumNetworking;
using LumTests::RecordingLogger;
namespace TestServers = LumTests::TestServers;

/// 0 without a response.
int fetchStatus(const std::string& url)
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    std::promise<int> promise;
    client.Get(
        url, {},
        [&](HttpRequestResult, std::unique_ptr<HttpResponse> response, std::unique_ptr<LumUtils::ILumError>,
            const std::shared_ptr<ILumAsynchronousTransaction>&) {
            promise.set_value(response ? response->statusCode : 0);
        },
        true, 30);
    return promise.get_future().get();
}

bool expect(bool holds, const std::string& what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

void setProxy()
{
    for (const char* const variable : {"http_proxy", "https_proxy"}) {
        setenv(variable, TestServers::scripted("").c_str(), 1);
    }
    setenv("no_proxy", "127.0.0.1", 1);
}

/// The environment's proxy is asked for a host that nobody else could resolve; it does not know the path.
bool fetchThroughProxy()
{
    setProxy();
    return expect(fetchStatus("http://no-such-host.invalid/") == 404, "the proxy answers") &&
           expect(fetchStatus(TestServers::scripted("/status/204")) == 204, "no_proxy names who is asked directly");
}

/// The zone is east of Greenwich, so its offset from there has the other sign here.
bool formatLocalTime()
{
    setenv("TZ", "LUM-05:30", 1);
    const std::string text = LumUtils::formatCurrentTime("%Z %z");
    return expect(text == "LUM +0530", "the zone's name and offset: " + text);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const std::string way = argumentCount > 1 ? arguments[1] : "";
    if (way == "unload") {
        // Without the checks at exit: what the layer keeps for late calls is lost with the library.
        std::_Exit(LumTests::loadAndUnload(LUM_UNLOAD_PLUGIN) ? 0 : 1);
    } else if (way == "proxy") {
        return fetchThroughProxy() ? 0 : 1;
    } else if (way == "local-time") {
        return formatLocalTime() ? 0 : 1;
    } else if (way == "no-descriptors") {
        return LumTests::startWithoutDescriptors(TestServers::scripted("/bytes?n=10")) ? 0 : 1;
    } else if (way == "no-random-device") {
        return LumTests::generateUuidWithoutDescriptors() ? 0 : 1;
    } else if (way == "no-threads") {
        return LumTests::startWithoutThreads(TestServers::scripted("/bytes?n=10")) ? 0 : 1;
    } else if (way == "no-more-descriptors") {
        return LumTests::goOnWithoutDescriptors() ? 0 : 1;
    } else if (way == "no-more-threads") {
        return LumTests::goOnWithoutThreads() ? 0 : 1;
    } else if (way == "forks") {
        return LumTests::forkWhileRequestsRun() ? 0 : 1;
    } else if (way == "lives-on") {
        return LumTests::restWhileACopyLives() ? 0 : 1;
    } else if (way == "few-descriptors") {
        return LumTests::startManyWithFewDescriptors() ? 0 : 1;
    } else if (way == "looking-up") {
        return LumTests::goOnWhileANameIsLookedUp() ? 0 : 1;
    } else if (way == "left-looking-up") {
        LumTests::leaveWhileANameIsLookedUp();
        return 0;
    } else if (way == "unasked-tls-bytes") {
        return LumTests::keepUnaskedTlsBytesFromTheNextRequest() ? 0 : 1;
    } else if (way == "programs") {
        return LumTests::startProgramWhileRequestsRun() ? 0 : 1;
    } else if (way == "inherited") {
        return LumTests::hasNoFileAndNoConnection() ? 0 : 1;
    } else if (way == "signals") {
        return LumTests::requestDuringSignals() ? 0 : 1;
    }
    return 2;
}
