#include "support/server/Environment.h"

#include <cstdio>

#include <stdlib.h>

namespace LumTestServer {

namespace {

std::string words(const std::vector<std::uint16_t>& numbers)
{
    std::string text;
    for (const std::uint16_t number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return text;
}

} // namespace

Environment makeEnvironment(const ScriptedHttpServer& scripted, const ClosedPort& closed, const FullPort& full,
                            const NginxServer& nginx, const HostileServer& hostile)
{
    const NginxServer::Ports& ports = nginx.PortNumbers();
    return {{"LUM_TEST_HTTP_PORT", std::to_string(scripted.Port())},
            {"LUM_TEST_SILENT_PORT", std::to_string(scripted.SilentPort())},
            {"LUM_TEST_CLOSED_PORT", std::to_string(closed.Port())},
            {"LUM_TEST_FULL_PORT", std::to_string(full.Port())},
            {"LUM_TEST_NGINX_PORT", std::to_string(ports.http)},
            {"LUM_TEST_HTTPS_SELF_SIGNED_PORT", std::to_string(ports.selfSigned)},
            {"LUM_TEST_HTTPS_WRONG_HOST_PORT", std::to_string(ports.wrongHost)},
            {"LUM_TEST_HTTPS_EXPIRED_PORT", std::to_string(ports.expired)},
            {"LUM_TEST_HTTPS_TRUSTED_PORT", std::to_string(ports.trusted)},
            {"LUM_TEST_CA_FILE", nginx.AuthorityFile().string()},
            {"LUM_TEST_NGINX_ROOT", nginx.Root().string()},
            {"LUM_TEST_HOSTILE_PORTS", words(hostile.Ports())}};
}

void addProxies(Environment& environment, const SocksProxies& proxies)
{
    const SocksProxies::Ports& ports = proxies.PortNumbers();
    environment.insert(environment.end(), {{"LUM_TEST_SOCKS_PORT", std::to_string(ports.open)},
                                           {"LUM_TEST_SOCKS_PASSWORD_PORT", std::to_string(ports.password)},
                                           {"LUM_TEST_SOCKS_DANTE_PORT", std::to_string(ports.dante)},
                                           {"LUM_TEST_SOCKS_USER", SocksProxies::kUser},
                                           {"LUM_TEST_SOCKS_PASSWORD", SocksProxies::kPassword}});
}

void exportEnvironment(const Environment& environment)
{
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
}

void printEnvironment(const Environment& environment)
{
    for (const auto& [name, value] : environment) {
        std::printf("%s=%s\n", name.c_str(), value.c_str());
    }
    std::fflush(stdout);
}

} // namespace LumTestServer
