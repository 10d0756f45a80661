#pragma once

namespace LumTests {

/// Forks again and again while requests run. True if in each copy a request fails at once and the copy ends when it
/// wants to, and if the requests of this process do not notice.
bool forkWhileRequestsRun();

/// Starts this program with the argument "inherited" while requests run. True if it has no file and no
/// connection.
bool startProgramWhileRequestsRun();

/// The other half: whether this process has no descriptors but its standard ones and pairs of sockets, with which
/// libcurl wakes itself.
bool hasNoFileAndNoConnection();

/// Keeps a copy of the process alive that holds copies of its connections, and has the server close one. True if the
/// engine of this process rests then, instead of being told of the closed connection again and again.
bool restWhileACopyLives();

} // namespace LumTests
