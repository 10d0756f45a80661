#pragma once

#include "common/networking/HttpRequestResult.h"
#include "common/networking/HttpResponse.h"
#include "common/utils/ILumError.h"

#include <memory>

namespace LumFetch {

/// What came of a request.
struct FetchOutcome {
    /// False if the library refused the request; it then told why in the log.
    bool wasAccepted = false;
    LumNetworking::HttpRequestResult result = LumNetworking::HttpRequestResult::FAILED;
    std::unique_ptr<LumNetworking::HttpResponse> response;
    std::unique_ptr<LumUtils::ILumError> error;
    double seconds = 0;
};

} // namespace LumFetch
