#pragma once

#include <string>

namespace LumTests {

/// Adds the certificates of the file to the system's store, for this process alone: it gets a view of the file system
/// of its own, in which the store is another file. To be called before the first request, while there is one thread.
/// Throws if the system does not allow it.
void trustAuthority(const std::string& certificateFile);

} // namespace LumTests
