#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace LumLocalServer {

/// An nginx of this program's own on a free loopback port: one process, which ends with this object, and also when this
/// program dies without ending it.
class NginxServer {
public:
    /// Starts the server; all its files lie in `folder`. `serverDirectives` is the inside of its server block, but for
    /// the listen directive. Throws std::runtime_error, with the server's own words, if it does not start.
    NginxServer(std::filesystem::path folder, std::string serverDirectives);
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    std::uint16_t Port() const { return port; }

    /// "http://127.0.0.1:PORT"
    std::string BaseUrl() const;

    /// Ends the server and waits until it is gone; harmless if it is.
    void Stop();

private:
    bool TryStart();
    void WriteConfiguration() const;
    void Launch();
    bool WaitUntilListening();
    bool HasEnded();
    std::string ErrorLog() const;

    std::filesystem::path folder;
    std::string serverDirectives;
    std::uint16_t port = 0;
    pid_t process = -1;
};

} // namespace LumLocalServer
