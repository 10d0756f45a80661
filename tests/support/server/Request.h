#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace LumTestServer {

/// A request's head as it came, and what the routes need of it.
struct Request {
    /// Request line, header fields and the empty line, byte for byte.
    std::string head;

    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::uint64_t contentLength = 0;
    bool wantsClose = false;

    /// The value of a query parameter, percent-decoded.
    std::string Text(const std::string& key, const std::string& otherwise = "") const;
    std::uint64_t Number(const std::string& key, std::uint64_t otherwise) const;
    bool Has(const std::string& key) const { return query.count(key) != 0; }
};

/// Reads a head that ends in an empty line. A malformed one gives an empty method.
Request parseRequest(std::string head);

} // namespace LumTestServer
