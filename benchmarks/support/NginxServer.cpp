#include "support/NginxServer.h"

#include "support/LoopbackPort.h"

#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumLocalServer {

namespace {

using namespace std::chrono_literals;

constexpr const char* kProgram = "/usr/sbin/nginx";
constexpr auto kLookInterval = 5ms;
constexpr auto kStartLimit = 10s;
constexpr auto kStopLimit = 3s;
constexpr int kPortAttempts = 5;

// A single process: there is no worker that could outlive its master, and no change of user that would keep it from
// reading this program's folder.
constexpr const char* kMainDirectives = "daemon off;\n"
                                        "master_process off;\n"
                                        "worker_processes 1;\n"
                                        "pid nginx.pid;\n"
                                        "error_log error.log error;\n"
                                        "events { worker_connections 4096; }\n";

constexpr const char* kHttpDirectives = "access_log off;\n"
                                        "sendfile on;\n"
                                        "keepalive_timeout 1h;\n"
                                        "keepalive_requests 1000000000;\n"
                                        "default_type application/octet-stream;\n"
                                        "client_body_temp_path temp-body;\n"
                                        "proxy_temp_path temp-proxy;\n"
                                        "fastcgi_temp_path temp-fastcgi;\n"
                                        "uwsgi_temp_path temp-uwsgi;\n"
                                        "scgi_temp_path temp-scgi;\n";

/// Runs in the new process: only calls that are safe between fork and exec.
[[noreturn]] void becomeServer(pid_t parent, const char* prefix, const char* configuration)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(1);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Its first words come before it reads where its error log is; the log gets them all the same.
    const int quiet = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(quiet, STDIN_FILENO);
    dup2(quiet, STDOUT_FILENO);
    dup2(quiet, STDERR_FILENO);
    execl(kProgram, kProgram, "-p", prefix, "-c", configuration, static_cast<char*>(nullptr));
    _exit(127);
}

} // namespace

NginxServer::NginxServer(std::filesystem::path newFolder, std::string newServerDirectives)
    : folder(std::move(newFolder)), serverDirectives(std::move(newServerDirectives))
{
    if (access(kProgram, X_OK) != 0) {
        throw std::runtime_error(std::string("there is no ") + kProgram + " on this machine");
    }
    // Between the choice of the port and its use somebody else may take it.
    for (int attempt = 0; attempt < kPortAttempts; ++attempt) {
        if (TryStart()) {
            return;
        }
        Stop();
    }
    throw std::runtime_error("nginx does not start: " + ErrorLog());
}

NginxServer::~NginxServer()
{
    Stop();
}

std::string NginxServer::BaseUrl() const
{
    return "http://127.0.0.1:" + std::to_string(port);
}

bool NginxServer::TryStart()
{
    port = LoopbackPort(LoopbackPort::Kind::Closed).Number();
    WriteConfiguration();
    Launch();
    return WaitUntilListening();
}

void NginxServer::WriteConfiguration() const
{
    std::ofstream file(folder / "nginx.conf");
    file << kMainDirectives << "http {\n"
         << kHttpDirectives << "server {\nlisten 127.0.0.1:" << port << " backlog=4096;\n"
         << serverDirectives << "}\n}\n";
}

void NginxServer::Launch()
{
    std::error_code ignored;
    std::filesystem::remove(folder / "nginx.pid", ignored);
    const std::string prefix = folder.string();
    const std::string configuration = (folder / "nginx.conf").string();
    const pid_t parent = getpid();
    process = fork();
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
        becomeServer(parent, prefix.c_str(), configuration.c_str());
    }
}

bool NginxServer::WaitUntilListening()
{
    // nginx writes its process id once it listens. A connection would not tell whose server answers.
    const auto limit = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < limit && !HasEnded()) {
        std::ifstream file(folder / "nginx.pid");
        pid_t announced = -1;
        if (file >> announced && announced == process) {
            return true;
        }
        std::this_thread::sleep_for(kLookInterval);
    }
    return false;
}

bool NginxServer::HasEnded()
{
    if (process > 0 && waitpid(process, nullptr, WNOHANG) == process) {
        process = -1;
    }
    return process < 0;
}

void NginxServer::Stop()
{
    if (HasEnded()) {
        return;
    }
    kill(process, SIGTERM);
    const auto limit = std::chrono::steady_clock::now() + kStopLimit;
    while (!HasEnded()) {
        if (std::chrono::steady_clock::now() > limit) {
            kill(process, SIGKILL);
        }
        std::this_thread::sleep_for(kLookInterval);
    }
}

std::string NginxServer::ErrorLog() const
{
    std::ostringstream text;
    text << std::ifstream(folder / "error.log").rdbuf();
    return text.str();
}

} // namespace LumLocalServer
