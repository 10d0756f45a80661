#include "common/networking/HttpMethod.h"

namespace LumNetworking {

std::string HttpMethodToString(HttpMethod method)
{
    switch (method) {
    case HttpMethod::Get:
        return "GET";
    case HttpMethod::Post:
        return "POST";
    case HttpMethod::Put:
        return "PUT";
    case HttpMethod::Patch:
        return "PATCH";
    case HttpMethod::Delete:
        return "DELETE";
    }
    return "UNKNOWN: " + std::to_string(static_cast<std::int32_t>(method));
}

} // namespace LumNetworking
