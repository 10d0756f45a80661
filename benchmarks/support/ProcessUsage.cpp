#include "support/ProcessUsage.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include <sys/resource.h>

namespace LumBench::ProcessUsage {

namespace {

constexpr double kMicrosecondsPerSecond = 1e6;
constexpr std::uint64_t kBytesPerKibibyte = 1024;

double microseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * kMicrosecondsPerSecond + static_cast<double>(time.tv_usec);
}

/// A field of the process's status, in bytes.
std::uint64_t statusField(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        std::uint64_t kibibytes = 0;
        if (word == name + ":" && status >> kibibytes) {
            return kibibytes * kBytesPerKibibyte;
        }
    }
    throw std::runtime_error("/proc/self/status has no " + name);
}

} // namespace

double CpuMicroseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

std::uint64_t ResidentBytes()
{
    return statusField("VmRSS");
}

std::uint64_t PeakResidentBytes()
{
    return statusField("VmHWM");
}

void ResetPeak()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

} // namespace LumBench::ProcessUsage
