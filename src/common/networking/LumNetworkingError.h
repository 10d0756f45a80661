#pragma once

#include "common/utils/LumErrorNames.h"

#include <string>

namespace LumNetworking {

/// The domain of the errors of the HTTP clients.
static const std::string LibLumNetworkingErrorDomain = LumUtils::LumErrorNames::kNetworkingDomain;

/// The codes of that domain. Each error carries the platform's number and text in its user information;
/// one that is reported for lack of memory may have the number alone, and the code 13 wherever the memory ran out.
namespace LumNetworkingErrorCode {

/// A session, a connection or a request could not be opened, or the host or the path is not valid text.
constexpr int kOpenFailed = 6;

/// The request could not be sent, or a header's name is no token or its value cannot be sent.
constexpr int kSendFailed = 7;

/// The connect time-out or the redirect policy could not be set.
constexpr int kSetOptionFailed = 12;

/// The request failed after it was sent: no connection, no or no valid response, a broken transfer.
constexpr int kReceiveFailed = 13;

} // namespace LumNetworkingErrorCode

} // namespace LumNetworking
