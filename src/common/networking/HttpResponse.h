#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace LumNetworking {

/// A response, owned by whoever receives it from the completion callback.
///
///     const auto type = response->headers.find("Content-Type");
///     if (response->statusCode == 200 && type != response->headers.end()) {
///         show(type->second.front(), response->body);
///     }
struct HttpResponse {
    /// The status code of the final response; 0 until known.
    std::int32_t statusCode = 0;

    /// The whole body, byte for byte; it may hold NULs.
    std::string body;

    /// The values of each header field by name, names ordered byte-wise and in the case in which they arrived.
    std::map<std::string, std::vector<std::string>> headers;
};

} // namespace LumNetworking
