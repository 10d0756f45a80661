#pragma once

#include <string>
#include <string_view>

namespace LumPlatform {

/// As many redirects as the reference platform follows.
constexpr int kMostRedirects = 10;

/// Whether a response of that status, with a Location, is a redirect.
bool isRedirect(long status);

/// Whether a redirect of that status is followed by a GET without a body, whatever the verb was (RFC 9110
/// section 15.4).
bool becomesGet(long status, std::string_view verb);

/// Where the Location of a response to `url` leads: an absolute URL, percent-encoded, without fragment and user
/// information, which would be sent to the server as credentials. Empty if it is no URL. Throws std::bad_alloc.
std::string redirectTarget(const std::string& url, std::string_view location);

/// Whether both URLs name the same scheme, host and port. Throws std::bad_alloc.
bool haveSameOrigin(const std::string& left, const std::string& right);

} // namespace LumPlatform
