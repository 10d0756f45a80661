#include "Windows/networking/WinHttpClientAsync.h"
#include "support/RecordingLogger.h"

#include <future>
#include <thread>

/// A shared library that holds the library, as a host's plug-in would.

namespace {

using namespace LumNetworking;

} // namespace

/// Fetches the URL and returns the size of its body, or -1.
extern "C" long fetch(const char* url)
{
    WinHttpClientAsync client(std::make_shared<LumTests::RecordingLogger>());
    std::promise<long> size;
    client.Get(
        url, {},
        [&](HttpRequestResult, std::unique_ptr<HttpResponse> response, std::unique_ptr<LumUtils::ILumError>,
            std::shared_ptr<ILumAsynchronousTransaction>) {
            size.set_value(response ? static_cast<long>(response->body.size()) : -1);
        },
        true, 30);
    return size.get_future().get();
}

/// Starts a request and forgets it.
extern "C" void start(const char* url)
{
    WinHttpClientAsync client(std::make_shared<LumTests::RecordingLogger>());
    client.Get(
        url, {}, [](auto...) {}, true, 30);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}
