#pragma once

#include <cstdint>
#include <string>
#include <thread>

namespace LumBench {

/// An HTTP server on loopback that reads each request to its end, throws it away and answers with an empty 200. It
/// serves one connection at a time.
class UploadSink {
public:
    /// Throws std::system_error if there is no port.
    UploadSink();
    ~UploadSink();
    UploadSink(const UploadSink&) = delete;
    UploadSink& operator=(const UploadSink&) = delete;

    /// "http://127.0.0.1:PORT/"
    std::string Url() const { return "http://127.0.0.1:" + std::to_string(port) + "/"; }

private:
    void Serve() const;

    int listener = -1;
    std::uint16_t port = 0;
    std::thread server;
};

} // namespace LumBench
