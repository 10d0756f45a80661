#pragma once

#include "support/server/Socket.h"

#include <cstdint>
#include <string>

namespace LumTestServer {

/// Splits what comes over a connection into heads and bodies.
class RequestReader {
public:
    explicit RequestReader(const Socket& connection) : socket(connection) {}

    /// Reads up to and with the next empty line. False if the stream ends before.
    bool ReadHead(std::string& head);

    /// Reads some bytes of a body, at most `limit`; none if the stream ends.
    std::string ReadSome(std::uint64_t limit);

private:
    bool Fill();

    const Socket& socket;
    std::string pending;
};

} // namespace LumTestServer
