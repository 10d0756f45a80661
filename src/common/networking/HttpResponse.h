#pragma once

#include "common/utils/LumAscii.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace LumNetworking {

/// A response, owned by whoever receives it from the completion callback.
///
///     if (response->statusCode == 200) {
///         show(response->body);
///     }
struct HttpResponse {
    /// The status code of the final response; 0 until known.
    std::int32_t statusCode = 0;

    /// The whole body, byte for byte; it may hold NULs.
    std::string body;

    /// The values of each header field by name, names ordered byte-wise and in the case in which they arrived. Servers
    /// differ in that case: look names up with FindHeader.
    std::map<std::string, std::vector<std::string>> headers;
};

/// The values of the response's header field with that name, whatever the case of either (ASCII letters only); null if
/// there is no such field. The clients of this library give each field one value.
///
///     if (const auto* const type = LumNetworking::FindHeader(*response, "Content-Type")) {
///         show(type->front(), response->body);
///     }
///
/// If the response has several fields whose names differ in case only, it is the first in the order of the map. The
/// pointer is valid as long as the field is in the response. It never throws.
inline const std::vector<std::string>* FindHeader(const HttpResponse& response, std::string_view name)
{
    const auto found = std::find_if(response.headers.begin(), response.headers.end(), [name](const auto& field) {
        return LumUtils::Ascii::equalsIgnoringCase(field.first, name);
    });
    return found == response.headers.end() ? nullptr : &found->second;
}

} // namespace LumNetworking
