#pragma once

#include <cstdint>
#include <string>

namespace LumBench {

/// One fetch of a large body, in a process of its own so that its memory can be told.
struct LargeBodyMeasurement {
    double seconds = 0;

    /// The most memory beyond what was in use before the fetch, in bytes.
    double peakBytes = 0;
};

namespace LargeBodyProbe {

constexpr const char* kOption = "--probe-large-body";

/// The clients that can be measured.
constexpr const char* kOurs = "ours";
constexpr const char* kPlain = "plain";
constexpr const char* kReserving = "reserving";

/// Measures in a new process. Throws std::runtime_error if the fetch failed.
LargeBodyMeasurement Measure(const std::string& client, const std::string& baseUrl, const std::string& path,
                             std::uint64_t bodySize);

/// The new process's main; `arguments` are those of the program.
int Main(int count, const char* const* arguments);

} // namespace LargeBodyProbe

/// The byte at this place of the large body.
constexpr char LargeBodyByte(std::uint64_t offset)
{
    constexpr std::uint64_t kPeriod = 251;
    return static_cast<char>(offset % kPeriod);
}

} // namespace LumBench
