#pragma once

#include "common/networking/ILumAsynchronousHttpClient.h"
#include "common/utils/ILumUtilsLoggerDelegate.h"

namespace LumNetworking {

/// What every client shares: the operations that take the URL as text parse it and forward to those that take it
/// parsed, and Send dispatches on the request's method. A client derives from this class and implements the five
/// others; it then receives every request through them.
///
///     class RecordedClient : public LumNetworking::LumAsynchronousHttpClientBase {
///     public:
///         using LumAsynchronousHttpClientBase::LumAsynchronousHttpClientBase;
///         std::shared_ptr<ILumAsynchronousTransaction> Get(const UrlComponents& url, ...) override;
///         // Post, Put, Patch and Delete in the same way
///     };
class LumAsynchronousHttpClientBase : public ILumAsynchronousHttpClient {
public:
    explicit LumAsynchronousHttpClientBase(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate);

    using ILumAsynchronousHttpClient::Delete;
    using ILumAsynchronousHttpClient::Get;
    using ILumAsynchronousHttpClient::Patch;
    using ILumAsynchronousHttpClient::Post;
    using ILumAsynchronousHttpClient::Put;

    std::shared_ptr<ILumAsynchronousTransaction> Send(const std::shared_ptr<ILumUrlRequest>& request,
                                                      const HttpCompletion& completion, bool followRedirects,
                                                      int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Get(const std::string& url,
                                                     const std::map<std::string, std::string>& headers,
                                                     const HttpCompletion& completion, bool followRedirects,
                                                     int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Post(const std::string& url,
                                                      const std::map<std::string, std::string>& headers,
                                                      const std::string& body, const HttpCompletion& completion,
                                                      bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Put(const std::string& url,
                                                     const std::map<std::string, std::string>& headers,
                                                     const std::string& body, const HttpCompletion& completion,
                                                     bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Patch(const std::string& url,
                                                       const std::map<std::string, std::string>& headers,
                                                       const std::string& body, const HttpCompletion& completion,
                                                       bool followRedirects, int timeoutSeconds) override;
    std::shared_ptr<ILumAsynchronousTransaction> Delete(const std::string& url,
                                                        const std::map<std::string, std::string>& headers,
                                                        const HttpCompletion& completion, bool followRedirects,
                                                        int timeoutSeconds) override;

protected:
    /// The delegate that the client was built with, for its whole life.
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> logger;

private:
    std::shared_ptr<ILumAsynchronousTransaction> SendMethod(ILumUrlRequest& request, const HttpCompletion& completion,
                                                            bool followRedirects, int timeoutSeconds);
};

} // namespace LumNetworking
