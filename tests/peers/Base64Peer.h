#pragma once

#include <string>

namespace LumTests {

/// Base64 by a library that is not the project's: OpenSSL's, or that of Windows.
std::string encodedByPeer(const std::string& bytes);

/// The peers differ in what they refuse and how: only for texts of whole groups of the standard alphabet, with padding
/// at the very end.
std::string decodedByPeer(const std::string& text);

} // namespace LumTests
