#include "support/server/SocksProxies.h"

#include "support/server/Ports.h"

#include <fstream>
#include <stdexcept>
#include <thread>

namespace LumTestServer {

namespace {

constexpr const char* kMicrosocks = "/usr/bin/microsocks";
constexpr const char* kDante = "/usr/sbin/danted";
constexpr int kMostStarts = 5;
constexpr int kMostLooks = 1000;
constexpr std::chrono::milliseconds kLookInterval{10};

/// It tells of each connection, which is nobody's concern.
std::vector<std::string> microsocks(std::uint16_t port, const std::vector<std::string>& more = {})
{
    std::vector<std::string> command{
        "/bin/sh",           "-c", R"(exec "$0" "$@" >/dev/null 2>&1)", kMicrosocks, "-i", "127.0.0.1", "-p",
        std::to_string(port)};
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

bool becomesReady(ChildProcess& process, std::uint16_t port)
{
    for (int look = 0; look < kMostLooks && !process.HasEnded(); ++look) {
        if (isAccepting(port)) {
            return true;
        }
        std::this_thread::sleep_for(kLookInterval);
    }
    return false;
}

} // namespace

SocksProxies::SocksProxies(const std::filesystem::path& newFolder) : folder(newFolder)
{
    ports.open = Start([](std::uint16_t port) { return microsocks(port); });
    ports.password = Start([](std::uint16_t port) { return microsocks(port, {"-u", kUser, "-P", kPassword}); });
    ports.dante = Start([this](std::uint16_t port) { return DanteCommand(port); });
}

std::uint16_t SocksProxies::Start(const std::function<std::vector<std::string>(std::uint16_t)>& commandFor)
{
    // Between the choice of a port and its use somebody else may take it.
    for (int start = 0; start < kMostStarts; ++start) {
        const std::uint16_t port = findFreePort();
        auto process = std::make_unique<ChildProcess>(commandFor(port));
        if (becomesReady(*process, port)) {
            processes.push_back(std::move(process));
            return port;
        }
    }
    throw std::runtime_error("a proxy does not start");
}

std::vector<std::string> SocksProxies::DanteCommand(std::uint16_t port) const
{
    const std::filesystem::path configuration = folder / "danted.conf";
    std::ofstream(configuration) << "logoutput: " << (folder / "danted.log").string() << '\n'
                                 << "internal: 127.0.0.1 port = " << port << '\n'
                                 << "external: 127.0.0.1\n"
                                    "clientmethod: none\n"
                                    "socksmethod: none\n"
                                    "client pass { from: 127.0.0.0/8 to: 0.0.0.0/0 }\n"
                                    "socks pass { from: 127.0.0.0/8 to: 0.0.0.0/0 }\n";
    return {kDante, "-f", configuration.string(), "-p", (folder / "danted.pid").string()};
}

} // namespace LumTestServer
