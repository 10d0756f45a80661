#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LumNetworking {

/// Collects a response body without ever holding a large one twice: of one whose length the server announced there is
/// the body alone, of any other at most 72 MiB more, in the moment in which it is handed over.
///
///     HttpBodyCollector body;
///     body.ExpectLength(contentLength);  // if the server said one
///     body.Append(bytes, count);
///     response->body = body.Take();
///
/// A length that the server announced is only trusted once a part of the body has come: a false announcement costs at
/// most the address space, never the memory. Throws std::bad_alloc or std::length_error if the body does not fit.
class HttpBodyCollector {
public:
    void ExpectLength(std::uint64_t length);
    void Append(const char* bytes, std::size_t count);

    /// Hands the body over; the collector is then empty.
    std::string Take();

private:
    void ReserveExpectedLength(std::size_t count);
    std::string& SegmentWithRoom();

    /// The rule is that one segment holds all. Where it does not, further ones follow; the last is being filled.
    std::string first;
    std::vector<std::string> further;
    std::uint64_t expectedLength = 0;
};

} // namespace LumNetworking
