#pragma once

#include "platform/posix/PosixPlatform.h"

#include <string>

namespace LumPlatform {

/// The absolute URL of a request, for example "http://[::1]:80/a%20b" for the host "::1", port 0 and object name "a b".
///
/// The port INTERNET_DEFAULT_PORT stands for the scheme's default. Bytes that may not stand in a request line are
/// percent-encoded; what the caller has encoded stays. A host that would be read as another part of a URL is left out,
/// so that the request fails like one whose name is not resolved.
std::string makeRequestUrl(const std::string& host, INTERNET_PORT port, const std::string& objectName, bool isSecure);

} // namespace LumPlatform
