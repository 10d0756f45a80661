#include "posix/process/Forks.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "common/networking/LumNetworkingError.h"
#include "platform/LumFileStream.h"
#include "posix/ForkedTest.h"
#include "support/FileMode.h"
#include "support/ProcessResources.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/ScratchFolder.h"
#include "support/TestServers.h"
#include "support/posix/ChildProcess.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumTests {

namespace {

using namespace LumNetworking;

constexpr int kForks = 30;
constexpr unsigned int kLongestCopy = 4;

bool expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

/// What becomes of a request in a copy of a process that has sent some. The clock ends a copy that hangs.
int requestInCopy()
{
    alarm(kLongestCopy);
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder recorder;
    client.Get(TestServers::scripted("/bytes?n=10"), {}, recorder.Completion(), true, 30);
    if (!expect(recorder.CallCount() == 1, "the request is completed before the operation returns")) {
        std::_Exit(1);
    }
    const Outcome outcome = recorder.WaitForOutcome();
    const bool hasFailed = outcome.error && outcome.error->getCode() == LumNetworkingErrorCode::kSendFailed &&
                           outcome.error->getDescription().find(": 12012,") != std::string::npos;
    const int result = expect(hasFailed, "the request fails as after the engine's end") ? 0 : 1;
#ifdef LUM_HAS_SANITIZER
    // It would take for leaks what the threads hold that the copy does not have.
    std::_Exit(result);
#else
    // With all that is destroyed at the end of a process.
    std::exit(result);
#endif
}

/// What this process itself was given is not to be handed on.
void keepDescriptorsToOneself()
{
    for (int descriptor = STDERR_FILENO + 1; descriptor < sysconf(_SC_OPEN_MAX); ++descriptor) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
}

/// Whether it is one end of a pair of sockets.
bool isUnnamedPair(int descriptor)
{
    sockaddr_storage address = {};
    socklen_t length = sizeof(address);
    return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX && length == sizeof(sa_family_t);
}

/// Files that the library has open, each opened in another way.
class OpenFiles {
public:
    OpenFiles()
        : file(openFile(folder.file("locked"), kWriteOperation)),
          isWritten(writer.open(folder.file("written"), LumPlatform::FileStream::Mode::WriteBinary)),
          isRead(reader.open(folder.file("written"), LumPlatform::FileStream::Mode::Read)),
          isDevice(device.open("/dev/null", LumPlatform::FileStream::Mode::WriteBinary))
    {
    }
    ~OpenFiles() { CloseHandle(file); }
    OpenFiles(const OpenFiles&) = delete;
    OpenFiles& operator=(const OpenFiles&) = delete;

    bool areOpen() const { return file != INVALID_HANDLE_VALUE && isWritten && isRead && isDevice; }

private:
    const ScratchFolder folder;
    LumPlatform::FileStream writer;
    LumPlatform::FileStream reader;
    LumPlatform::FileStream device;
    HANDLE const file;
    const bool isWritten;
    const bool isRead;
    const bool isDevice;
};

/// Requests one after the other on other threads, until it is destroyed.
class RequestsInARow {
public:
    RequestsInARow()
    {
        for (int index = 0; index < 2; ++index) {
            threads.emplace_back([this] { Run(); });
        }
    }

    ~RequestsInARow() { End(); }

    RequestsInARow(const RequestsInARow&) = delete;
    RequestsInARow& operator=(const RequestsInARow&) = delete;

    /// Whether there were requests, and all succeeded.
    bool End()
    {
        isOver = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
        return succeeded > 0 && failed == 0;
    }

private:
    void Run()
    {
        WinHttpClientAsync client(std::make_shared<RecordingLogger>());
        while (!isOver) {
            const RequestRecorder recorder;
            client.Get(TestServers::scripted("/bytes?n=20000"), {}, recorder.Completion(), true, 30);
            const Outcome outcome = recorder.WaitForOutcome();
            ++(outcome.response && outcome.response->body.size() == 20000 ? succeeded : failed);
        }
    }

    std::atomic<bool> isOver{false};
    std::atomic<int> succeeded{0};
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
};

} // namespace

bool forkWhileRequestsRun()
{
    RequestsInARow requests;
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder waiting;
    client.Get(TestServers::scripted("/slow?n=100&ms=5"), {}, waiting.Completion(), true, 30);
    bool holds = true;
    for (int index = 0; index < kForks; ++index) {
        Fork copy([] { return requestInCopy(); });
        holds = expect(copy.wait() == 0, "the copy ends by itself") && holds;
    }
    const Outcome outcome = waiting.WaitForOutcome();
    holds = expect(outcome.response != nullptr, "a request that ran over the forks succeeds") && holds;
    return expect(requests.End(), "so do those beside them") && holds;
}

bool startProgramWhileRequestsRun()
{
    keepDescriptorsToOneself();
    const OpenFiles files;
    RequestsInARow requests;
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    bool holds = true;
    for (int index = 0; index < kForks; ++index) {
        const RequestRecorder recorder;
        client.Get("http://localhost:1/", {}, recorder.Completion(), true, 30);
        holds = expect(runProgram({"/proc/self/exe", "inherited"}) == 0, "the program inherits nothing") && holds;
        recorder.WaitForOutcome();
    }
    holds = expect(files.areOpen(), "files are open meanwhile") && holds;
    return expect(requests.End(), "the requests succeed") && holds;
}

bool hasNoFileAndNoConnection()
{
    bool holds = true;
    for (int descriptor = STDERR_FILENO + 1; descriptor < sysconf(_SC_OPEN_MAX); ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0 && !isUnnamedPair(descriptor)) {
            const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
            std::cerr << descriptor << " is " << std::filesystem::read_symlink(link) << '\n';
            holds = false;
        }
    }
    return holds;
}

bool restWhileACopyLives()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const auto fetch = [&](const std::string& url) {
        const RequestRecorder recorder;
        client.Get(url, {}, recorder.Completion(), true, 30);
        return recorder.WaitForOutcome().response != nullptr;
    };
    bool holds = expect(fetch(TestServers::scripted("/bytes?n=10")), "a connection is kept");
    const std::size_t kept = openDescriptorCount();
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(60);
        pause();
        _exit(0);
    }
    holds = expect(fetch(TestServers::scripted("/bytes?n=10&close")), "the server closes it") && holds;
    holds = expect(waitUntil([&] { return openDescriptorCount() < kept; }), "it is closed here too") && holds;
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    holds = expect(std::clock() - before < CLOCKS_PER_SEC / 4, "the engine rests") && holds;
    kill(copy, SIGKILL);
    endOfChild(copy);
    return holds;
}

} // namespace LumTests
