#include "Windows/networking/WinHttpClientAsync.h"

/// A plug-in of a host, linked with the module. The host deletes the client.
extern "C" __declspec(dllexport) LumNetworking::ILumAsynchronousHttpClient* makeClient(
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
    return new LumNetworking::WinHttpClientAsync(logger);
}
