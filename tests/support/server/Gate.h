#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace LumTestServer {

/// Lets tests and the server's connections wait for one another, by keys that the tests choose.
class Gate {
public:
    /// Notes that a request with the key has come.
    void Arrive(const std::string& key);

    /// How many requests with the key have come so far.
    std::size_t ArrivedCount(const std::string& key);

    /// Notes that so many bytes have been sent in answer to requests with the key.
    void NoteSent(const std::string& key, std::size_t count);

    std::size_t SentCount(const std::string& key);

    /// Waits until the key is released, or everything is, but not longer than the limit; false if it was that long.
    bool Wait(const std::string& key, std::chrono::milliseconds limit);

    /// Releases who waits for the key, now and later.
    void Release(const std::string& key);

    void ReleaseAll();

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, std::size_t> arrived;
    std::map<std::string, std::size_t> sent;
    std::set<std::string> released;
    bool isOpen = false;
};

} // namespace LumTestServer
