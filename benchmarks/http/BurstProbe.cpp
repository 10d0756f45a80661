#include "BurstProbe.h"

#include "CountingLogger.h"
#include "support/ChildProcess.h"

#include "Windows/networking/WinHttpClientAsync.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace LumBench {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kGivenUpAfter = 120s;
constexpr unsigned int kLimitSeconds = 150;
constexpr int kConnectSeconds = 120;

/// The outcomes of one burst. Requests that are given up may still end and count.
class Burst {
public:
    explicit Burst(std::size_t count) : running(count) {}

    void CountEnd(bool hasSucceeded)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        succeeded += hasSucceeded ? 1 : 0;
        if (--running == 0) {
            allEnded.notify_all();
        }
    }

    /// How many succeeded; nothing is waited for after the deadline.
    std::size_t WaitUntil(Clock::time_point deadline)
    {
        std::unique_lock<std::mutex> lock(mutex);
        allEnded.wait_until(lock, deadline, [this] { return running == 0; });
        return succeeded;
    }

private:
    std::mutex mutex;
    std::condition_variable allEnded;
    std::size_t running;
    std::size_t succeeded = 0;
};

std::size_t runBurst(LumNetworking::WinHttpClientAsync& client, const std::string& url, std::size_t count,
                     Clock::time_point deadline)
{
    const auto burst = std::make_shared<Burst>(count);
    for (std::size_t index = 0; index < count; ++index) {
        const auto completion = [burst](LumNetworking::HttpRequestResult result, auto&&...) {
            burst->CountEnd(result == LumNetworking::HttpRequestResult::SUCCESS);
        };
        if (!client.Get(url, {}, completion, true, kConnectSeconds)) {
            burst->CountEnd(false);
        }
    }
    return burst->WaitUntil(deadline);
}

BurstMeasurement measureHere(const std::string& url, std::size_t count, std::size_t repetitions)
{
    LumNetworking::WinHttpClientAsync client(std::make_shared<CountingLogger>());
    const auto start = Clock::now();
    // What is set up once does not count: threads, tables, connections.
    constexpr std::size_t kWarmUp = 1000;
    runBurst(client, url, std::min(count, kWarmUp), start + kGivenUpAfter);
    const auto measuredFrom = Clock::now();
    BurstMeasurement result;
    for (std::size_t repetition = 0; repetition < repetitions; ++repetition) {
        result.succeeded += runBurst(client, url, count, start + kGivenUpAfter);
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - measuredFrom).count();
    return result;
}

} // namespace

double BurstMeasurement::MicrosecondsPerRequest() const
{
    constexpr double kMicroseconds = 1e6;
    return seconds * kMicroseconds / static_cast<double>(std::max<std::size_t>(succeeded, 1));
}

namespace BurstProbe {

BurstMeasurement Measure(const std::string& url, std::size_t count, std::size_t repetitions)
{
    std::istringstream output(RunSelf({kOption, url, std::to_string(count), std::to_string(repetitions)}));
    BurstMeasurement measurement;
    if (!(output >> measurement.seconds >> measurement.succeeded)) {
        throw std::runtime_error("a measuring process gave no numbers");
    }
    return measurement;
}

int Main(int count, const char* const* arguments)
{
    constexpr int kExpectedCount = 5;
    if (count != kExpectedCount) {
        return 2;
    }
    alarm(kLimitSeconds);
    const BurstMeasurement result = measureHere(arguments[2], std::stoull(arguments[3]), std::stoull(arguments[4]));
    std::cout << std::setprecision(12) << result.seconds << ' ' << result.succeeded << std::endl;
    // Requests that were given up are not waited for.
    std::_Exit(EXIT_SUCCESS);
}

} // namespace BurstProbe

} // namespace LumBench
