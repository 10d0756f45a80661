#include "Stopwatch.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include <sched.h>

namespace LumBench {

namespace {

double secondsFor(const Contestant& contestant, std::size_t calls)
{
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t call = 0; call < calls; ++call) {
        contestant.call();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// How many calls fill a round.
std::size_t callsPerRound(const Contestant& contestant, double roundSeconds)
{
    std::size_t calls = 1;
    double seconds = secondsFor(contestant, calls);
    while (seconds < roundSeconds / 4) {
        calls *= 2;
        seconds = secondsFor(contestant, calls);
    }
    return std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(calls) * roundSeconds / seconds));
}

} // namespace

void StayOnOneCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<std::size_t>(std::max(sched_getcpu(), 0)), &cores);
    sched_setaffinity(0, sizeof(cores), &cores);
}

void Keep(const void* result)
{
    asm volatile("" : : "r"(result) : "memory");
}

std::vector<double> BestSeconds(const std::vector<Contestant>& contestants, const BenchOptions& options)
{
    constexpr int kRounds = 9;
    const double roundSeconds = options.isQuick ? 0.002 : 0.01;
    std::vector<std::size_t> calls;
    for (const Contestant& contestant : contestants) {
        contestant.call();
        calls.push_back(callsPerRound(contestant, roundSeconds));
    }
    std::vector<double> best(contestants.size(), std::numeric_limits<double>::max());
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t step = 0; step < contestants.size(); ++step) {
            // Every other round goes the other way: nobody is always the one after the heaviest.
            const std::size_t index = round % 2 == 0 ? step : contestants.size() - 1 - step;
            const double seconds = secondsFor(contestants[index], calls[index]) / static_cast<double>(calls[index]);
            best[index] = std::min(best[index], seconds);
        }
    }
    return best;
}

} // namespace LumBench
