#pragma once

#include <curl/curl.h>

#include <memory>

namespace LumPlatform {

/// Has curl close the kept connections that were shut down. Curl looks for those only when a transfer looks for a
/// connection, and at most once a second; so this is a transfer that looks for one, and gets no socket.
class ConnectionPruner {
public:
    /// Throws std::bad_alloc.
    explicit ConnectionPruner(CURLM* multi);
    ~ConnectionPruner();
    ConnectionPruner(const ConnectionPruner&) = delete;
    ConnectionPruner& operator=(const ConnectionPruner&) = delete;

    /// Begins, unless it is at it.
    void Start();

    bool IsCarriedBy(const CURL* handle) const { return handle == easy.get(); }

    /// Its transfer has ended.
    void OnEnded();

private:
    enum class State { Resting, Pruning };

    CURLM* const multi;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy;
    State state = State::Resting;
};

} // namespace LumPlatform
