#pragma once

#include <cstdint>

namespace LumLocalServer {

/// A loopback TCP port that is taken as long as the object lives, and never answers.
class LoopbackPort {
public:
    enum class Kind {
        /// Connections to it are refused.
        Closed,
        /// Connections to it succeed, and then nothing comes.
        Silent,
    };

    /// Throws std::system_error if there is no port.
    explicit LoopbackPort(Kind kind);
    ~LoopbackPort();
    LoopbackPort(const LoopbackPort&) = delete;
    LoopbackPort& operator=(const LoopbackPort&) = delete;

    std::uint16_t Number() const { return number; }

private:
    void Bind();
    void Listen() const;

    int socketHandle = -1;
    std::uint16_t number = 0;
};

} // namespace LumLocalServer
