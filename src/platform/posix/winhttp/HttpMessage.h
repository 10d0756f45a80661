#pragma once

#include "platform/posix/PosixPlatform.h"

#include <string>
#include <vector>

namespace LumPlatform {

/// What the engine has to send for a request. It does not change once the request is submitted.
struct HttpMessage {
    std::string verb;
    /// The absolute URL, percent-encoded.
    std::string url;
    /// One "Name: value" each, without line ends.
    std::vector<std::string> headerLines;
    /// Owned by whoever sent the request, until its handle is closed or it has been completed.
    const char* body = nullptr;
    DWORD bodyLength = 0;
    DWORD connectTimeout = 60000;
    bool followsRedirects = true;
};

} // namespace LumPlatform
