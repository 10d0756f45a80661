#pragma once

#include "support/server/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace LumTestServer {

/// SOCKS5 proxies of two makers, on free ports of 127.0.0.1: microsocks without and with user and password, and dante.
class SocksProxies {
public:
    static constexpr const char* kUser = "lum";
    static constexpr const char* kPassword = "open sesame";

    struct Ports {
        std::uint16_t open = 0;
        std::uint16_t password = 0;
        std::uint16_t dante = 0;
    };

    /// Keeps its files below the folder. Returns when all accept connections; throws if they never do.
    explicit SocksProxies(const std::filesystem::path& newFolder);

    const Ports& PortNumbers() const { return ports; }

private:
    std::uint16_t Start(const std::function<std::vector<std::string>(std::uint16_t)>& commandFor);
    std::vector<std::string> DanteCommand(std::uint16_t port) const;

    std::filesystem::path folder;
    Ports ports;
    std::vector<std::unique_ptr<ChildProcess>> processes;
};

} // namespace LumTestServer
