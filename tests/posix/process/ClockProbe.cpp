#include "Windows/networking/WinHttpClientAsync.h"
#include "Windows/utils/LumDebuggerUtils.h"
#include "common/storage/LumFileManager.h"
#include "support/RequestRecorder.h"
#include "support/ScratchFolder.h"
#include "support/TestServers.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <stdexcept>

#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>

/// Waits and time-outs while the time of day jumps by days, to and fro, with every look at it. Exits with 0 if none of
/// them notices.

namespace {

std::atomic<unsigned int> looks{0};

/// How far the clock is off at the next look.
time_t nextJump()
{
    constexpr time_t kJumps[] = {0, 86400, -86400, 315360000, -7, 3600, -315360000, 60};
    return kJumps[looks++ % (sizeof(kJumps) / sizeof(kJumps[0]))];
}

} // namespace

// These take the place of the system's for the whole program, libraries included.

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static const auto real = reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += nextJump();
    }
    return result;
}

extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    timespec now = {};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

extern "C" time_t time(time_t* out) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}

namespace {

using namespace LumTests;
using namespace std::chrono_literals;
using LumNetworking::HttpRequestResult;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

bool expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

template <typename Action>
milliseconds durationOf(Action action)
{
    const auto start = steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

bool theClockJumps()
{
    for (int look = 0; look < 8; ++look) {
        const auto first = std::chrono::system_clock::now();
        const auto step = std::chrono::system_clock::now() - first;
        if (step > std::chrono::hours(1) || step < -std::chrono::hours(1)) {
            return true;
        }
    }
    return false;
}

HttpRequestResult fetch(const std::string& url, int timeoutSeconds)
{
    LumNetworking::WinHttpClientAsync client(nullptr);
    const RequestRecorder recorder;
    client.Get(url, {}, recorder.Completion(), true, timeoutSeconds);
    return recorder.WaitForOutcome().result;
}

bool connectingTimesOut()
{
    HttpRequestResult result = HttpRequestResult::SUCCESS;
    const milliseconds time = durationOf([&] { result = fetch(TestServers::url(TestServers::fullPort(), "/"), 1); });
    return expect(result == HttpRequestResult::FAILED, "connecting times out") &&
           expect(time >= 900ms && time < 20s, "after about the time-out");
}

bool slowAnswersArrive()
{
    return expect(fetch(TestServers::scripted("/slow?n=60&ms=25"), 1) == HttpRequestResult::SUCCESS,
                  "an answer that takes longer than connecting may arrives") &&
           expect(fetch(TestServers::scripted("/stall?seconds=2&key=nobody"), 1) == HttpRequestResult::SUCCESS,
                  "so does one that is late");
}

bool aDebuggerIsWaitedFor()
{
    bool hasTimedOut = false;
    const milliseconds time = durationOf([&] {
        try {
            LumUtils::LumDebuggerUtils(nullptr).waitForDebugger(400ms);
        } catch (const std::runtime_error&) {
            hasTimedOut = true;
        }
    });
    return expect(hasTimedOut, "the wait for a debugger times out") &&
           expect(time >= 400ms && time < 20s, "after about the time-out");
}

/// Opening a file waits a moment where others open it too.
bool filesAreOpened()
{
    const ScratchFolder folder;
    LumStorage::LumFileManager files(nullptr);
    std::shared_ptr<LumUtils::ILumError> error;
    bool holds = true;
    for (int count = 0; count < 20; ++count) {
        holds = files.writeFileContentWithLock(folder.file("file"), "content", error) && holds;
        holds = files.readFileContentWithLock(folder.file("file"), error).size() == 7 && holds;
    }
    return expect(holds, "files are read and written");
}

} // namespace

int main()
{
    const bool holds = expect(theClockJumps(), "the clock jumps") && connectingTimesOut() && slowAnswersArrive() &&
                       aDebuggerIsWaitedFor() && filesAreOpened();
    return holds ? 0 : 1;
}
