#pragma once

#include <cstdint>
#include <string>

namespace LumNetworking {

/// How a request ended.
///
///     LumNetworking::HttpRequestResultToString(LumNetworking::HttpRequestResult::FAILED); // "FAILED"
enum class HttpRequestResult : std::int32_t {
    /// A response was read, whatever its status.
    SUCCESS = 0,
    /// The request failed; an error accompanies the result.
    FAILED = 1,
    /// The request was cancelled through its transaction.
    CANCELLED = 2,
};

/// The name of the result, for log text. Any other value gives "UNKNOWN: " and the value in decimal.
std::string HttpRequestResultToString(HttpRequestResult result);

} // namespace LumNetworking
