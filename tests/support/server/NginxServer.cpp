#include "support/server/NginxServer.h"

#include "support/server/Ports.h"
#include "support/server/StaticTree.h"

#include <fstream>
#include <stdexcept>
#include <thread>

#include <unistd.h>

namespace LumTestServer {

namespace {

constexpr const char* kProgram = "/usr/sbin/nginx";
constexpr int kMostStarts = 5;
constexpr int kMostLooks = 1000;
constexpr std::chrono::milliseconds kLookInterval{10};

/// The worker must be able to read a folder that belongs to who runs the tests.
std::string userDirective()
{
    return geteuid() == 0 ? "user root;\n" : "";
}

constexpr const char* kGlobalDirectives = R"(daemon off;
worker_processes 1;
worker_rlimit_nofile 8192;
pid nginx.pid;
error_log error.log;
events { worker_connections 4096; }
http {
  access_log off;
  sendfile on;
  tcp_nopush on;
  keepalive_requests 1000000;
  client_body_temp_path body;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  root root;
)";

/// What the server was told, for those who must not tell it everything.
constexpr const char* kSeenLocation =
    "    location = /seen { default_type text/plain; return 200 \"Host: $http_host\\nAuthorization: "
    "$http_authorization\\n"
    "Cookie: $http_cookie\\nProxy-Authorization: $http_proxy_authorization\\nX-Other: $http_x_other\\n\"; }\n";

std::string listenAddress(std::uint16_t port)
{
    return "127.0.0.1:" + std::to_string(port);
}

} // namespace

NginxServer::NginxServer(const std::filesystem::path& newFolder)
    : folder(newFolder), certificates(newFolder / "certificates")
{
    MakeCertificates();
    makeStaticTree(Root());
    // Between the choice of a port and its use somebody else may take it.
    for (int start = 0; start < kMostStarts; ++start) {
        ChoosePorts();
        WriteConfiguration();
        if (Start()) {
            return;
        }
    }
    throw std::runtime_error("nginx does not start");
}

void NginxServer::MakeCertificates() const
{
    const std::string loopback = "DNS:localhost,IP:127.0.0.1,IP:::1";
    certificates.MakeSelfSigned("self-signed");
    certificates.MakeValid("wrong-host", "DNS:wrong.example");
    certificates.MakeExpired("expired", loopback);
    certificates.MakeValid("trusted", loopback);
}

void NginxServer::ChoosePorts()
{
    for (std::uint16_t* port : {&ports.http, &ports.selfSigned, &ports.wrongHost, &ports.expired, &ports.trusted}) {
        *port = findFreePort();
    }
}

void NginxServer::WriteConfiguration() const
{
    std::ofstream file(folder / "nginx.conf");
    file << userDirective() << kGlobalDirectives << "  server {\n    listen " << listenAddress(ports.http)
         << " backlog=4096;\n"
         << kSeenLocation << "  }\n"
         << SecureServer(ports.selfSigned, "self-signed") << SecureServer(ports.wrongHost, "wrong-host")
         << SecureServer(ports.expired, "expired") << SecureServer(ports.trusted, "trusted") << "}\n";
}

std::string NginxServer::SecureServer(std::uint16_t port, const std::string& certificate) const
{
    return "  server {\n    listen " + listenAddress(port) + " ssl;\n    ssl_certificate " +
           certificates.CertificateFile(certificate).string() + ";\n    ssl_certificate_key " +
           certificates.KeyFile(certificate).string() + ";\n    location = /to-http { return 302 http://" +
           listenAddress(ports.http) +
           "/one.bin; }\n    location = /to-same-port { return 302 http://localhost:" + std::to_string(port) +
           "/seen; }\n    error_page 497 =200 /seen;\n" + kSeenLocation + "  }\n";
}

bool NginxServer::Start()
{
    process = std::make_unique<ChildProcess>(std::vector<std::string>{
        kProgram, "-p", folder.string(), "-c", (folder / "nginx.conf").string(), "-e", "error.log"});
    for (int look = 0; look < kMostLooks && !process->HasEnded(); ++look) {
        if (IsAccepting()) {
            return true;
        }
        std::this_thread::sleep_for(kLookInterval);
    }
    return false;
}

bool NginxServer::IsAccepting() const
{
    for (const std::uint16_t port : {ports.http, ports.selfSigned, ports.wrongHost, ports.expired, ports.trusted}) {
        if (!isAccepting(port)) {
            return false;
        }
    }
    return true;
}

} // namespace LumTestServer
