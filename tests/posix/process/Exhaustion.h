#pragma once

#include <string>

namespace LumTests {

/// Starts the process's first request while it can open no descriptor, and the next one when it can again. True if the
/// first fails as one that could not be sent, for want of memory or the like, and the second succeeds.
bool startWithoutDescriptors(const std::string& url);

/// The same with threads in place of descriptors.
bool startWithoutThreads(const std::string& url);

/// Generates a UUID while the process can open no descriptor, and another one when it can again. True if the first
/// throws what the standard's random device throws, and the second is there.
bool generateUuidWithoutDescriptors();

} // namespace LumTests
