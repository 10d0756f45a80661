#pragma once

#include "Windows/Cli/utils/ManagedHandle.h"

#include <map>
#include <string>

namespace LumNetworkingCli {

/// The native side of a managed IHttpClientCli: one blocking request, converted in both directions.
///
/// It keeps the managed object alive and nothing else. Requests may run on several threads at once, and then reach the
/// managed object at once.
///
/// Native texts are in the ANSI code page of the calling thread (UTF-8 where there is none). Text that is not valid
/// there throws, as ManagedException:
/// - System.ArgumentException if it cannot be converted;
/// - System.ArgumentNullException if the managed half has null where a text must be;
/// - System.ArgumentOutOfRangeException if it has more than INT_MAX bytes;
/// - System.InsufficientMemoryException if there is no memory for it.
/// Where the managed object's application domain has been unloaded every request throws LumUtilsCli::HostUnloaded.
class HttpClientCliAdapter {
public:
    struct HttpResponse {
        int statusCode = 0;
        /// One value per name, names in the case in which they came; of a name that came twice the last value.
        std::map<std::string, std::string> headers;
        std::string body;
    };

    /// The reference may be null: then every request throws. Throws ManagedException if no handle can be made.
    explicit HttpClientCliAdapter(const LumUtilsCli::ManagedReference& managedClient);
    virtual ~HttpClientCliAdapter() = default;
    HttpClientCliAdapter(const HttpClientCliAdapter&) = delete;
    HttpClientCliAdapter& operator=(const HttpClientCliAdapter&) = delete;

    /// Blocks until the managed client has answered. An empty body goes over as null. What the managed client throws
    /// comes out as ManagedException; see above for texts.
    virtual HttpResponse SendAndGetResponse(const std::string& method, const std::string& url,
                                            const std::map<std::string, std::string>& headers,
                                            const std::string& body) const;

private:
    LumUtilsCli::ManagedHandle client;
};

} // namespace LumNetworkingCli
