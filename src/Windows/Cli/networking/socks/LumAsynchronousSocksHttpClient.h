#pragma once

#include "Windows/Cli/networking/SocksHttpClientCliAdapter.h"
#include "common/networking/LumAsynchronousHttpClientBase.h"

namespace LumNetworking {

struct HttpClientAsyncContext;

/// The HTTP client whose requests are carried out by the host's managed ISocksHttpClientCli, through a SOCKS5 proxy.
///
///     auto client = std::make_unique<LumNetworking::LumAsynchronousSocksHttpClient>(logger, managedClient);
///     auto transaction = client->Get("https://example.org/", {}, onCompleted, true, 30);
///
/// Each request runs on a thread of its own, and the completion runs on that thread; there is no bound on their number.
/// The managed client is called on these threads, several at once. followRedirects and timeoutSeconds have no effect:
/// redirects and time-outs are the managed client's. See ILumAsynchronousHttpClient for the parameters, and
/// HttpClientCliAdapter for the encoding of texts.
///
/// Keep the transaction until the completion has run. A request whose transaction is dropped before its worker has
/// begun, which is most of those that are dropped at once, is not sent: it completes with SUCCESS, without a response.
/// Dropping the transaction never waits for the managed client; it waits for the worker only where that has let the
/// request go already and its thread is about to end. So the worker may hold the logger and the managed client for a
/// moment after the completion and the drop.
///
/// A request fails with code 6 of the domain LibLumNetworkingErrorDomain, without user information, whatever went
/// wrong: the managed client threw, a text could not be converted, the thread could not be started (then the completion
/// runs on the caller's thread). The reason is logged at Error: "SOCKS HTTP request error: %s". If there is no memory
/// to describe the request, it is refused: the transaction is empty and the completion never runs.
///
/// The client may be destroyed while requests run: they go on. The module that holds this class stays loaded once a
/// client was made, as worker threads may run its code at any time.
class LumAsynchronousSocksHttpClient : public LumAsynchronousHttpClientBase {
public:
    /// Tells the managed client nothing of a proxy. Throws ManagedException if no handle can be made, or what the
    /// logger throws when the creation is logged.
    LumAsynchronousSocksHttpClient(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                   const LumUtilsCli::ManagedReference& socksHttpClientCli);

    /// Gives the managed client the ticket and the proxy's URL first; throws also what that throws.
    LumAsynchronousSocksHttpClient(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                   const std::string& staTicket, const std::string& socksServerUrl,
                                   const LumUtilsCli::ManagedReference& socksHttpClientCli);

    ~LumAsynchronousSocksHttpClient() override = default;

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

private:
    std::shared_ptr<ILumAsynchronousTransaction> PerformHttpAsync(const char* method, const UrlComponents& url,
                                                                  const std::map<std::string, std::string>& headers,
                                                                  const std::string& body,
                                                                  const HttpCompletion& completion,
                                                                  bool followRedirects, int timeoutSeconds);
    static void HttpWorkerThread(std::shared_ptr<HttpClientAsyncContext> context);
    static void HandleHttpRequest(const std::shared_ptr<HttpClientAsyncContext>& context);
    static void CompleteTransaction(const std::shared_ptr<HttpClientAsyncContext>& context);

    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> socksLogger;
    const std::shared_ptr<LumNetworkingCli::SocksHttpClientCliAdapter> socksAdapter;
};

} // namespace LumNetworking
