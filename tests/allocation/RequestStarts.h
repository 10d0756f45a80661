#pragma once

#include "allocation/FailingRequest.h"
#include "common/networking/ILumUrlRequest.h"

#include <string>

namespace LumTests {

/// Every way to start a request, each with headers, and with a body where there can be one.
namespace RequestStarts {

/// How many bytes the bodies have.
constexpr std::size_t kBodySize = 3000;

using WithBody = Scenario::Transaction (LumNetworking::ILumAsynchronousHttpClient::*)(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const LumNetworking::HttpCompletion& completion, bool followRedirects, int timeoutSeconds);

Scenario::Start get(const std::string& url);
Scenario::Start getParsed(const std::string& url);
Scenario::Start remove(const std::string& url);
Scenario::Start upload(WithBody start, const std::string& url);

/// By a description, as PATCH.
Scenario::Start send(const std::string& url);

/// A GET that is cancelled at once.
Scenario::Start cancelled(const std::string& url);

/// The same, of an answer that the scripted server keeps back until then.
Scenario::Start cancelledBeforeItsAnswer();

} // namespace RequestStarts

} // namespace LumTests
