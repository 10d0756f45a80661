/// The functions that the managed part of the host calls. Texts are UTF-8 and end with a NUL.

#include "Fetch.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "platform/LumPlatform.h"

#include <exception>
#include <vector>

#define LUM_DESKTOP extern "C" LUM_EXPORT

namespace {

using LumDesktop::Fetch;
using LumNetworking::ILumAsynchronousHttpClient;

/// The native part of the application: two clients and the files that it fetches with them.
class DesktopModule {
public:
    explicit DesktopModule(ILumAsynchronousHttpClient* client) : proxied(client), direct(nullptr) {}

    void Add(const char* url, const char* path)
    {
        fetches.push_back(std::make_shared<Fetch>(url, path));
        fetches.back()->Start(direct, *proxied);
    }

    Fetch& At(std::int32_t index) const { return *fetches[static_cast<std::size_t>(index)]; }

private:
    const std::unique_ptr<ILumAsynchronousHttpClient> proxied;
    LumNetworking::WinHttpClientAsync direct;
    std::vector<std::shared_ptr<Fetch>> fetches;
};

} // namespace

/// Adopts the client that the factory has created; it is destroyed with the module. Null if there is no memory.
LUM_DESKTOP DesktopModule* LumDesktopCreate(ILumAsynchronousHttpClient* client)
{
    try {
        return new DesktopModule(client);
    } catch (const std::exception&) {
        return nullptr;
    }
}

/// Begins to fetch a file both ways. 0 if that is impossible.
LUM_DESKTOP std::int32_t LumDesktopFetch(DesktopModule* application, const char* url, const char* path)
{
    try {
        application->Add(url, path);
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

/// How far a file is, in the order in which they were begun. Texts live until the module goes.
LUM_DESKTOP void LumDesktopDescribe(const DesktopModule* application, std::int32_t index, Fetch::State* state)
{
    *state = application->At(index).Describe();
}

/// Waits for requests that the managed part is carrying out; nobody learns their outcome.
LUM_DESKTOP void LumDesktopDestroy(DesktopModule* application)
{
    const std::unique_ptr<DesktopModule> owned(application);
}
