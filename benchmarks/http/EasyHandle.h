#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>

namespace LumBench {

struct EasyHandleCloser {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

using EasyHandle = std::unique_ptr<CURL, EasyHandleCloser>;

/// What a transfer collects.
struct EasyResponse {
    std::string headers;
    std::string body;

    /// The bytes to make room for when the first part of the body comes; 0 lets the text grow by itself.
    std::size_t expectedSize = 0;
};

/// A new handle that fetches the URL into the response, with libcurl's default options.
EasyHandle MakeEasyHandle(const std::string& url, EasyResponse& response);

/// The status of a finished transfer.
long EasyStatus(CURL* handle);

} // namespace LumBench
