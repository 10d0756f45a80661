#pragma once

#include <string>
#include <string_view>

namespace LumFuzz {

/// A server that answers with what it is told, whatever is asked, and closes the connection.
class AnswerSource {
public:
    /// The URL that is answered with these bytes, until the next call.
    static std::string UrlOf(std::string_view answer);

    /// Whether it is the proxy for every host, so that a redirect leads to it as well. Else none must be followed.
    static const bool kIsProxy;

    /// Whether the platform soon keeps nothing of the requests any more, which must have ended.
    static bool IsForgottenSoon();
};

} // namespace LumFuzz
