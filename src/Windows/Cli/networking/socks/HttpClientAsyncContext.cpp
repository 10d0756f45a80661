#include "Windows/Cli/networking/socks/HttpClientAsyncContext.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorNames.h"
#include "common/utils/LumErrorReference.h"

#include <utility>

namespace LumNetworking {

namespace {

/// A worker cannot wait for itself; the thread library would refuse it with an exception, which takes memory. It is let
/// go instead: this is the last that it does.
void joinOrLetGo(std::thread& worker)
{
    if (worker.get_id() == std::this_thread::get_id()) {
        worker.detach();
    } else {
        worker.join();
    }
}

/// Never destroyed: the errors that refer to it are the host's.
const LumUtils::LumError& openFailedError()
{
    static const auto& error =
        *new LumUtils::LumError(LumUtils::LumErrorNames::kNetworkingDomain, LumNetworkingErrorCode::kOpenFailed);
    return error;
}

} // namespace

HttpClientAsyncContext::HttpClientAsyncContext(const HttpCompletion& callback,
                                               const std::shared_ptr<ILumAsynchronousTransaction>& handle,
                                               const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                               const std::shared_ptr<LumNetworkingCli::HttpClientCliAdapter>& adapter)
    : HttpRequestContext(loggerDelegate, callback), clientAdapter(adapter),
      preparedError(std::make_unique<LumUtils::LumErrorReference>(openFailedError()))
{
    transaction = handle;
}

HttpClientAsyncContext::~HttpClientAsyncContext()
{
    if (worker && worker->joinable()) {
        joinOrLetGo(*worker);
    }
}

void HttpClientAsyncContext::ReleaseRequest()
{
    // Moved out, for a text that is assigned keeps its memory.
    const std::string releasedUrl = std::move(url);
    const std::map<std::string, std::string> releasedHeaders = std::move(headers);
    const std::string releasedBody = std::move(body);
}

} // namespace LumNetworking
