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

/// Takes all descriptors when requests have run already. True if a request on a connection that is open succeeds, one
/// that needs another connection fails as one that cannot connect, and such a one succeeds when there are descriptors
/// again.
bool goOnWithoutDescriptors();

/// Takes the threads that are not there yet. True if requests succeed, the one whose server's name has to be looked up
/// fails as one whose name is not known, and others go on when there are threads again.
bool goOnWithoutThreads();

/// Starts thousands of requests at once in a process that may open few descriptors. True if all succeed, and the
/// process itself can open a file meanwhile and afterwards.
bool startManyWithFewDescriptors();

} // namespace LumTests
