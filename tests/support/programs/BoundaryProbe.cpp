#include "Windows/Cli/LumCliAbi.h"
#include "common/networking/ILumAsynchronousHttpClient.h"
#include "support/LoadedLibrary.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

/// Loads the library, starts requests that it cannot end in time, and does what its argument names. Exits with 0 if
/// that went as it should.

namespace {

using LumNetworking::ILumAsynchronousHttpClient;
using LumTests::LoadedLibrary;

constexpr int kRequests = 20;
constexpr LumCliHandle kException = 7;

std::atomic<int> inside{0};
std::atomic<int> completed{0};

/// At the program's end the workers come back from the host while this goes. On Linux the library's own objects have
/// gone before, on Windows they go when no worker runs any more.
struct LingeringEnd {
    bool isWanted = false;
    ~LingeringEnd()
    {
        if (isWanted) {
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
        }
    }
};

LingeringEnd lingeringEnd;

LumCliHandle LUM_CDECL duplicateHandle(LumCliHandle handle, LumCliHandle* duplicate)
{
    *duplicate = handle;
    return 0;
}

void LUM_CDECL releaseHandle(LumCliHandle /*handle*/) {}

/// Answers every other request with an exception, long after the library was asked to go.
LumCliHandle LUM_CDECL sendAndGetResponse(LumCliHandle /*client*/, const LumCliRequest* /*request*/,
                                          LumCliResponseReceiver* /*receiver*/)
{
    const int number = ++inside;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return number % 2 == 0 ? kException : 0;
}

LumCliHandle LUM_CDECL setSocksParameters(LumCliHandle /*client*/, const LumCliText* /*ticket*/,
                                          const LumCliText* /*url*/)
{
    return 0;
}

LumCliHandle LUM_CDECL log(LumCliHandle /*logger*/, const LumCliLogRecord* /*record*/)
{
    return 0;
}

LumCliHandle LUM_CDECL createException(std::int32_t /*kind*/, const LumCliText* /*text*/)
{
    return kException;
}

LumCliHandle LUM_CDECL getExceptionMessage(LumCliHandle /*exception*/, LumCliMessageReceiver* /*receiver*/)
{
    return 0;
}

const LumCliHostTable kTable = {sizeof(LumCliHostTable),
                                kLumCliAbiVersion,
                                duplicateHandle,
                                releaseHandle,
                                sendAndGetResponse,
                                setSocksParameters,
                                log,
                                createException,
                                getExceptionMessage,
                                nullptr};

bool expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

bool comesTo(const std::atomic<int>& value, int wanted)
{
    for (int look = 0; look < 1000 && value != wanted; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return value == wanted;
}

/// Starts requests and lets go of the client and of all transactions.
bool startRequests(const LoadedLibrary& library)
{
    const auto create = library.function<decltype(&LumCliCreateSocksClientWithManagedLogger)>(
        "LumCliCreateSocksClientWithManagedLogger");
    void* address = nullptr;
    LumCliHandle exception = 0;
    if (!expect(create != nullptr && create(&kTable, 1, 2, &address, &exception) == kLumCliOk, "a client is made")) {
        return false;
    }
    const std::unique_ptr<ILumAsynchronousHttpClient> client(static_cast<ILumAsynchronousHttpClient*>(address));
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transactions[kRequests];
    for (auto& transaction : transactions) {
        transaction = client->Get(
            "http://host/", {}, [](auto...) { ++completed; }, true, 30);
    }
    return expect(comesTo(inside, kRequests), "the requests reach the host");
}

bool run(const std::string& way)
{
    const LoadedLibrary library(LUM_SHARED_LIBRARY);
    if (!expect(library.isLoaded(), "the library can be loaded") || !startRequests(library)) {
        return false;
    }
    lingeringEnd.isWanted = way == "exit";
    if (way == "unload") {
        return expect(library.close(), "the library can be closed") &&
               expect(comesTo(completed, kRequests), "the requests are completed all the same");
    }
    return expect(way == "exit", "the argument is known");
}

} // namespace

int main(int argumentCount, char** arguments)
{
    return run(argumentCount > 1 ? arguments[1] : "") ? 0 : 1;
}
