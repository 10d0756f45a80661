#pragma once

#include "common/networking/LumAsynchronousHttpClientBase.h"

namespace LumNetworking {

/// The HTTP client on WinHTTP; the one that hosts create.
///
///     auto client = std::make_shared<LumNetworking::WinHttpClientAsync>(logger);
///     client->Get("https://example.org/", {},
///                 [](LumNetworking::HttpRequestResult result, std::unique_ptr<LumNetworking::HttpResponse> response,
///                    std::unique_ptr<LumUtils::ILumError> error,
///                    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>) {
///                     std::cout << (response ? response->body : error->getDescription()) << '\n';
///                 },
///                 true, 30);
///
/// Each request has a session of its own; proxies are the system's, certificates are always checked against the
/// system's store, caches are bypassed. See ILumAsynchronousHttpClient for parameters, completions and threads.
///
/// On Windows the module that holds this class stays loaded once a request was started: requests under way go on when a
/// host closes the library. On Linux closing it abandons them; no completion runs any more.
///
/// On Linux a copy of the process (fork) has no client: its requests fail at once, with code 7 and the number 12012.
///
/// A failed request is completed with an error of the domain LibLumNetworkingErrorDomain and one of these codes, with
/// the platform's number and text in its user information (the number alone, and code 13, if there is no memory to
/// describe the failure):
/// - 6: a session, a connection or a request could not be opened, or the host or the path is not valid text;
/// - 12: the time-out or the redirect policy could not be set;
/// - 7: the request could not be sent, or a header has a name that is no token (RFC 9110, section 5.6.2) or a value
/// that
///   is not valid text, holds a line end, or is made of vertical tabs and form feeds only;
/// - 13: the request failed later: name not resolved, no connection, wrong certificate, broken or invalid response.
/// LumWinHttpErrorNumber.h has the platform's numbers.
class WinHttpClientAsync : public LumAsynchronousHttpClientBase {
public:
    using LumAsynchronousHttpClientBase::LumAsynchronousHttpClientBase;

    using LumAsynchronousHttpClientBase::Delete;
    using LumAsynchronousHttpClientBase::Get;
    using LumAsynchronousHttpClientBase::Patch;
    using LumAsynchronousHttpClientBase::Post;
    using LumAsynchronousHttpClientBase::Put;

    std::shared_ptr<ILumAsynchronousTransaction> Get(const UrlComponents& url,
                                                     const std::map<std::string, std::string>& headers,
                                                     const HttpCompletion& completion, bool followRedirects,
                                                     int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Post(const UrlComponents& url,
                                                      const std::map<std::string, std::string>& headers,
                                                      const std::string& body, const HttpCompletion& completion,
                                                      bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Put(const UrlComponents& url,
                                                     const std::map<std::string, std::string>& headers,
                                                     const std::string& body, const HttpCompletion& completion,
                                                     bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Patch(const UrlComponents& url,
                                                       const std::map<std::string, std::string>& headers,
                                                       const std::string& body, const HttpCompletion& completion,
                                                       bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Delete(const UrlComponents& url,
                                                        const std::map<std::string, std::string>& headers,
                                                        const HttpCompletion& completion, bool followRedirects,
                                                        int timeoutSeconds) override;
};

} // namespace LumNetworking
