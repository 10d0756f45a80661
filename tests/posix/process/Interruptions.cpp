#include "posix/process/Interruptions.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "posix/SignalStorm.h"
#include "support/BodyPattern.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <iostream>
#include <string>

#include <pthread.h>

namespace LumTests {

namespace {

using namespace LumNetworking;

constexpr int kRequests = 150;
constexpr std::size_t kSize = 300000;

/// Uploads a body, of which the server tells the checksum, and downloads one.
bool exchange(WinHttpClientAsync& client, const std::string& body, const std::string& server)
{
    const RequestRecorder upload;
    const RequestRecorder download;
    client.Post(server + "/checksum", {}, body, upload.Completion(), true, 30);
    client.Get(server + "/bytes?n=" + std::to_string(kSize), {}, download.Completion(), true, 30);
    const Outcome sent = upload.WaitForOutcome();
    const Outcome received = download.WaitForOutcome();
    const std::string expected = std::to_string(body.size()) + " " + std::to_string(checksum(body.data(), body.size()));
    return sent.response && sent.response->body == expected && received.response && received.response->body == body;
}

/// Lets signals strike other threads than this one, or this one too.
void blockSignals(bool areBlocked)
{
    sigset_t storm;
    sigemptyset(&storm);
    sigaddset(&storm, SIGALRM);
    pthread_sigmask(areBlocked ? SIG_BLOCK : SIG_UNBLOCK, &storm, nullptr);
}

} // namespace

bool requestDuringSignals()
{
    const std::string body = makeBodyPattern(kSize);
    const std::string byAddress = TestServers::scripted("");
    const std::string byName = "http://localhost:" + std::to_string(TestServers::scriptedPort());
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    // The library's threads are started while nothing is blocked.
    bool holds = exchange(client, body, byAddress);
    const SignalStorm storm;
    const int before = SignalStorm::signals();
    for (int index = 0; index < kRequests && holds; ++index) {
        blockSignals(index % 4 != 0);
        holds = exchange(client, body, index % 2 == 0 ? byAddress : byName);
    }
    // None may be left for the time after the storm.
    blockSignals(false);
    const int signals = SignalStorm::signals() - before;
    std::cerr << signals << " signals\n";
    constexpr int kLeastSignals = 20;
    return holds && signals >= kLeastSignals;
}

} // namespace LumTests
