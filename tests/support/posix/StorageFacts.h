#pragma once

/// What the tests of the file manager expect of the system.

namespace LumTests::StorageFacts {

/// What a line feed becomes in a file that is written as text.
constexpr const char* kLineEnd = "\n";

} // namespace LumTests::StorageFacts
