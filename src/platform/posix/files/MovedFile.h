#pragma once

#include <string>

namespace LumPlatform {

/// Moves a regular file to another file system, where the new name must not be taken. The content, the permissions and
/// the times go along, and the owner as far as this user may give it. `source` is a readable descriptor of the file,
/// which nobody else may have open. 0, or -1 with errno, and then the file is where it was and nothing else is left.
int MoveAcross(int source, const std::string& from, const std::string& to);

} // namespace LumPlatform
