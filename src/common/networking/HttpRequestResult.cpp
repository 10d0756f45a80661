#include "common/networking/HttpRequestResult.h"

namespace LumNetworking {

std::string HttpRequestResultToString(HttpRequestResult result)
{
    switch (result) {
    case HttpRequestResult::SUCCESS:
        return "SUCCESS";
    case HttpRequestResult::FAILED:
        return "FAILED";
    case HttpRequestResult::CANCELLED:
        return "CANCELLED";
    }
    return "UNKNOWN: " + std::to_string(static_cast<std::int32_t>(result));
}

} // namespace LumNetworking
