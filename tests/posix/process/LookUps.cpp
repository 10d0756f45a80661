#include "posix/process/LookUps.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <fstream>
#include <iostream>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumTests {

namespace {

using namespace LumNetworking;

constexpr const char* kSilentResolver = "127.0.0.53";
constexpr const char* kUrl = "http://name.example/";
constexpr int kTimeoutSeconds = 2;

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::runtime_error(what);
    }
}

/// Has this process ask a resolver that takes questions and answers none.
class SilentResolver {
public:
    SilentResolver() : socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(53);
        inet_pton(AF_INET, kSilentResolver, &address.sin_addr);
        require(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0, "bind to port 53");
        require(unshare(CLONE_NEWNS) == 0, "unshare");
        require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount private");
        char name[] = "/tmp/lum-resolver-XXXXXX";
        close(mkstemp(name));
        std::ofstream(name) << "nameserver " << kSilentResolver << "\noptions timeout:5 attempts:2\n";
        const bool isMounted = mount(name, "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0;
        unlink(name);
        require(isMounted, "mount resolv.conf");
    }
    SilentResolver(const SilentResolver&) = delete;
    SilentResolver& operator=(const SilentResolver&) = delete;

    /// Waits until something has been asked.
    void WaitForQuestion() const
    {
        char byte = 0;
        require(recv(socket, &byte, 1, MSG_PEEK) >= 0, "recv");
    }

private:
    const int socket;
};

} // namespace

bool goOnWhileANameIsLookedUp()
{
    const SilentResolver resolver;
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder lookingUp;
    client.Get(kUrl, {}, lookingUp.Completion(), true, kTimeoutSeconds);
    resolver.WaitForQuestion();
    int succeeded = 0;
    while (lookingUp.CallCount() == 0) {
        const RequestRecorder recorder;
        client.Get(TestServers::scripted("/bytes?n=10"), {}, recorder.Completion(), true, 30);
        succeeded += recorder.WaitForOutcome().response ? 1 : 0;
    }
    const Outcome outcome = lookingUp.WaitForOutcome();
    const std::string error = outcome.error ? outcome.error->getDescription() : "none";
    std::cerr << succeeded << " requests succeeded meanwhile; then " << error << '\n';
    return succeeded >= 20 && error.find(": 12002,") != std::string::npos;
}

void leaveWhileANameIsLookedUp()
{
    static const SilentResolver resolver;
    static WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder lookingUp;
    client.Get(
        kUrl, {}, [](auto...) {}, true, 30);
    resolver.WaitForQuestion();
    constexpr unsigned int kLongestEnd = 3;
    alarm(kLongestEnd);
}

} // namespace LumTests
