#pragma once

#include <string_view>

namespace LumNetworking {

/// Whether the text is an IPv6 address as it stands between the brackets of a URL: IPv6address of RFC 3986, section
/// 3.2.2. A zone ("fe80::1%25eth0") is no part of one, and neither are the address formats of the future ("v1.x").
bool isIpv6Address(std::string_view text);

} // namespace LumNetworking
