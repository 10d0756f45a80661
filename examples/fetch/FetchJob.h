#pragma once

#include "Expectation.h"

#include "common/networking/HttpMethod.h"

#include <string>

namespace LumFetch {

/// One request to make, and what should come of it.
struct FetchJob {
    LumNetworking::HttpMethod method = LumNetworking::HttpMethod::Get;
    std::string url;
    Expectation expectation = Expectation::Success();
    std::string body{};
    bool followRedirects = true;
};

} // namespace LumFetch
