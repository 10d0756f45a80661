#include "Windows/Cli/networking/socks/HttpClientAsyncContext.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"

#include <system_error>

namespace LumNetworking {

namespace {

void joinOrLetGo(std::thread& worker)
{
    try {
        worker.join();
    } catch (const std::system_error&) {
        // The thread library refuses a thread that would wait for itself. The worker is about to end: this is the last
        // that it does.
        worker.detach();
    }
}

} // namespace

HttpClientAsyncContext::HttpClientAsyncContext(const HttpCompletion& callback,
                                               const std::shared_ptr<ILumAsynchronousTransaction>& handle,
                                               const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                               const std::shared_ptr<LumNetworkingCli::HttpClientCliAdapter>& adapter)
    : HttpRequestContext(loggerDelegate, callback), clientAdapter(adapter),
      preparedError(
          std::make_unique<LumUtils::LumError>(LibLumNetworkingErrorDomain, LumNetworkingErrorCode::kOpenFailed))
{
    transaction = handle;
}

HttpClientAsyncContext::~HttpClientAsyncContext()
{
    if (worker && worker->joinable()) {
        joinOrLetGo(*worker);
    }
}

} // namespace LumNetworking
