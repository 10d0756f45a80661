#include "common/networking/ILumAsynchronousHttpClient.h"
#include "common/utils/ILumUtilsLoggerDelegate.h"
#include "support/LoadedLibrary.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <iostream>
#include <string>
#include <vector>

#include <windows.h>

/// Loads the module and a plug-in that is linked with it, starts requests, unloads both and does what its argument
/// names. Exits with 0 if that went as it should. The program itself is not linked with the module.

namespace {

using namespace LumTests;
using LumNetworking::ILumAsynchronousHttpClient;
using LumNetworking::ILumAsynchronousTransaction;

constexpr int kConnectSeconds = 30;

bool expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

bool isModuleLoaded()
{
    return GetModuleHandleA(LUM_SHARED_LIBRARY) != nullptr;
}

/// Of this program, as a host's logger is: it outlives the plug-in.
class SilentLogger : public LumUtils::ILumUtilsLoggerDelegate {
public:
    void logFatal(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                  unsigned int /*line*/, ...) override
    {
    }
    void logError(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                  unsigned int /*line*/, ...) override
    {
    }
    void logWarning(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                    unsigned int /*line*/, ...) override
    {
    }
    void logInfo(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                 unsigned int /*line*/, ...) override
    {
    }
    void logVerbose(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                    unsigned int /*line*/, ...) override
    {
    }
    void logAOL(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                unsigned int /*line*/, ...) override
    {
    }
};

/// The module and the plug-in; both are let go of together.
class Plugin {
public:
    bool isLoaded() const { return module.isLoaded() && plugin.isLoaded(); }

    std::unique_ptr<ILumAsynchronousHttpClient> makeClient() const
    {
        using Make = ILumAsynchronousHttpClient* (*)(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>&);
        return std::unique_ptr<ILumAsynchronousHttpClient>(
            plugin.function<Make>("makeClient")(std::make_shared<SilentLogger>()));
    }

    bool unload() const
    {
        return expect(plugin.close() && module.close(), "both can be closed") &&
               expect(GetModuleHandleA(LUM_UNLOAD_PLUGIN) == nullptr, "the plug-in is gone");
    }

private:
    const LoadedLibrary module{LUM_SHARED_LIBRARY};
    const LoadedLibrary plugin{LUM_UNLOAD_PLUGIN};
};

/// The answer comes when the module has been unloaded, as far as its host knows.
std::string lateAnswer(const std::string& key)
{
    return TestServers::scripted("/stall?seconds=2&key=unload-" + key + std::to_string(GetCurrentProcessId()));
}

bool isAnswered(const RequestRecorder& recorder)
{
    const Outcome outcome = recorder.WaitForOutcome();
    return expect(outcome.result == LumNetworking::HttpRequestResult::SUCCESS && outcome.response->statusCode == 200 &&
                      outcome.response->body == "0123456789",
                  "the answer is complete");
}

/// The host has let go of client and transaction.
bool unloadWithForgottenRequests(const Plugin& plugin)
{
    std::vector<RequestRecorder> recorders(10);
    for (std::size_t index = 0; index < recorders.size(); ++index) {
        plugin.makeClient()->Get(lateAnswer(std::to_string(index)), {}, recorders[index].Completion(), true,
                                 kConnectSeconds);
    }
    bool holds = plugin.unload();
    for (const RequestRecorder& recorder : recorders) {
        holds = isAnswered(recorder) && holds;
        recorder.WaitForRelease();
    }
    return expect(isModuleLoaded(), "the module stays loaded") && holds;
}

/// The host goes on using what it has.
bool unloadWithHeldRequest(const Plugin& plugin)
{
    const std::unique_ptr<ILumAsynchronousHttpClient> client = plugin.makeClient();
    const RequestRecorder recorder;
    const RequestRecorder cancelled;
    const std::shared_ptr<ILumAsynchronousTransaction> transaction =
        client->Get(lateAnswer("held"), {}, recorder.Completion(), true, kConnectSeconds);
    const std::shared_ptr<ILumAsynchronousTransaction> toBeCancelled =
        client->Get(lateAnswer("cancelled"), {}, cancelled.Completion(), true, kConnectSeconds);
    bool holds = plugin.unload();
    toBeCancelled->Cancel();
    holds = expect(cancelled.WaitForOutcome().result == LumNetworking::HttpRequestResult::CANCELLED,
                   "the request can be cancelled") &&
            holds;
    return isAnswered(recorder) && expect(!transaction->IsCancelled(), "the other one is not") && holds;
}

/// The program ends soon after.
bool unloadWithUnansweredRequests(const Plugin& plugin)
{
    for (int index = 0; index < 10; ++index) {
        plugin.makeClient()->Get(
            TestServers::silent(), {}, [](auto...) {}, true, kConnectSeconds);
    }
    return plugin.unload();
}

bool unloadWithoutRequest(const Plugin& plugin)
{
    plugin.makeClient();
    return plugin.unload() && expect(!isModuleLoaded(), "the module is gone");
}

bool run(const std::string& way)
{
    const Plugin plugin;
    if (!expect(plugin.isLoaded(), "module and plug-in can be loaded")) {
        return false;
    }
    if (way == "forgotten") {
        return unloadWithForgottenRequests(plugin);
    }
    if (way == "held") {
        return unloadWithHeldRequest(plugin);
    }
    if (way == "unanswered") {
        return unloadWithUnansweredRequests(plugin);
    }
    return expect(way == "unused", "the argument is known") && unloadWithoutRequest(plugin);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    try {
        return run(argumentCount > 1 ? arguments[1] : "") ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 3;
    }
}
