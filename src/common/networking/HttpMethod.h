#pragma once

#include <cstdint>
#include <string>

namespace LumNetworking {

/// The method of a request.
///
///     LumNetworking::HttpMethodToString(LumNetworking::HttpMethod::Get); // "GET"
enum class HttpMethod : std::int32_t { Get = 0, Post = 1, Put = 2, Patch = 3, Delete = 4 };

/// The method as it goes on the wire: "GET", "POST", "PUT", "PATCH" or "DELETE". Any other value gives "UNKNOWN: " and
/// the value in decimal.
std::string HttpMethodToString(HttpMethod method);

} // namespace LumNetworking
