#pragma once

#include "common/networking/HttpRequestResult.h"
#include "common/networking/HttpResponse.h"
#include "common/networking/ILumAsynchronousTransaction.h"
#include "common/networking/ILumUrlRequest.h"
#include "common/networking/UrlComponents.h"
#include "common/utils/ILumError.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace LumNetworking {

/// Receives the outcome of a request, once:
///
/// | result    | response | error   |
/// |-----------|----------|---------|
/// | SUCCESS   | present  | absent  |
/// | FAILED    | absent   | present |
/// | CANCELLED | absent   | absent  |
///
/// Only a client that is carried out by the host (see LumAsynchronousSocksHttpClient) knows another outcome: SUCCESS
/// with neither, of a request whose transaction was dropped before it was sent.
///
/// The callee owns response and error. The transaction is the one that the operation returned, or empty if nobody holds
/// it any more.
///
/// It runs on a thread of the transport, or, when the request could not even be started, on the caller's thread before
/// the operation returns. No lock is held: it may cancel, start requests, destroy the client, or take its time. An
/// exception that leaves it is logged and goes no further.
using HttpCompletion = std::function<void(HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                                          std::unique_ptr<LumUtils::ILumError> error,
                                          std::shared_ptr<ILumAsynchronousTransaction> transaction)>;

/// Issues HTTP requests without blocking.
///
///     auto transaction = client->Get("https://example.org/", {}, onCompleted, true, 30);
///
/// Parameters of every operation:
/// - url: http or https, as text or parsed;
/// - headers: request header fields by name, sent unchanged; UTF-8;
/// - body (Post, Put and Patch): sent unchanged; may be empty and may hold NULs;
/// - completion: copied; see HttpCompletion;
/// - followRedirects: whether redirects are followed, also from https to http; if not, the redirect itself is the
/// response;
/// - timeoutSeconds: the bound of connecting, in seconds; 0 is none. After that the platform's defaults hold: a request
/// fails (12002) when nothing could be sent or received for 30 s. A body may take as long as it keeps arriving.
///
/// Every operation returns at once. An empty transaction means that the request was refused (the reason is logged) and
/// that the completion will never run. With any other, it runs exactly once.
///
/// No operation throws. Lack of memory refuses a request, or fails it with the platform's number for that (8). A logger
/// delegate that throws while an operation refuses a request loses that record only. What a completion throws when it
/// is copied, or an ILumUrlRequest when it is read, refuses the request.
///
/// Operations may be called from several threads at once. The client may be destroyed while requests run: they go on.
///
/// The order of the operations is part of the binary interface.
class ILumAsynchronousHttpClient {
public:
    virtual ~ILumAsynchronousHttpClient() = default;

    /// Starts the described request. Refused if the request is empty or its method is unknown.
    virtual std::shared_ptr<ILumAsynchronousTransaction> Send(const std::shared_ptr<ILumUrlRequest>& request,
                                                              const HttpCompletion& completion, bool followRedirects,
                                                              int timeoutSeconds) = 0;

    /// The operations that take the URL as text are refused if it cannot be parsed; see ParseUrl.
    virtual std::shared_ptr<ILumAsynchronousTransaction> Get(const std::string& url,
                                                             const std::map<std::string, std::string>& headers,
                                                             const HttpCompletion& completion, bool followRedirects,
                                                             int timeoutSeconds) = 0;
    virtual std::shared_ptr<ILumAsynchronousTransaction> Get(const UrlComponents& url,
                                                             const std::map<std::string, std::string>& headers,
                                                             const HttpCompletion& completion, bool followRedirects,
                                                             int timeoutSeconds) = 0;

    virtual std::shared_ptr<ILumAsynchronousTransaction> Post(const std::string& url,
                                                              const std::map<std::string, std::string>& headers,
                                                              const std::string& body, const HttpCompletion& completion,
                                                              bool followRedirects, int timeoutSeconds) = 0;
    virtual std::shared_ptr<ILumAsynchronousTransaction> Post(const UrlComponents& url,
                                                              const std::map<std::string, std::string>& headers,
                                                              const std::string& body, const HttpCompletion& completion,
                                                              bool followRedirects, int timeoutSeconds) = 0;

    virtual std::shared_ptr<ILumAsynchronousTransaction> Put(const std::string& url,
                                                             const std::map<std::string, std::string>& headers,
                                                             const std::string& body, const HttpCompletion& completion,
                                                             bool followRedirects, int timeoutSeconds) = 0;
    virtual std::shared_ptr<ILumAsynchronousTransaction> Put(const UrlComponents& url,
                                                             const std::map<std::string, std::string>& headers,
                                                             const std::string& body, const HttpCompletion& completion,
                                                             bool followRedirects, int timeoutSeconds) = 0;

    virtual std::shared_ptr<ILumAsynchronousTransaction> Patch(const std::string& url,
                                                               const std::map<std::string, std::string>& headers,
                                                               const std::string& body,
                                                               const HttpCompletion& completion, bool followRedirects,
                                                               int timeoutSeconds) = 0;
    virtual std::shared_ptr<ILumAsynchronousTransaction> Patch(const UrlComponents& url,
                                                               const std::map<std::string, std::string>& headers,
                                                               const std::string& body,
                                                               const HttpCompletion& completion, bool followRedirects,
                                                               int timeoutSeconds) = 0;

    virtual std::shared_ptr<ILumAsynchronousTransaction> Delete(const std::string& url,
                                                                const std::map<std::string, std::string>& headers,
                                                                const HttpCompletion& completion, bool followRedirects,
                                                                int timeoutSeconds) = 0;
    virtual std::shared_ptr<ILumAsynchronousTransaction> Delete(const UrlComponents& url,
                                                                const std::map<std::string, std::string>& headers,
                                                                const HttpCompletion& completion, bool followRedirects,
                                                                int timeoutSeconds) = 0;
};

} // namespace LumNetworking
