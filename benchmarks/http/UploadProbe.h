#pragma once

#include <cstdint>
#include <string>

namespace LumBench {

/// One upload of a large body, in a process of its own so that its memory can be told.
struct UploadMeasurement {
    double seconds = 0;

    /// The most memory beyond what was in use before the upload, the caller's own body included there, in bytes.
    double peakBytes = 0;
};

namespace UploadProbe {

constexpr const char* kOption = "--probe-upload";

/// The clients that can be measured.
constexpr const char* kOurs = "ours";
constexpr const char* kCurl = "curl";

/// Measures in a new process. Throws std::runtime_error if the upload failed.
UploadMeasurement Measure(const std::string& client, const std::string& url, std::uint64_t bodySize);

/// The new process's main; `arguments` are those of the program.
int Main(int count, const char* const* arguments);

} // namespace UploadProbe

} // namespace LumBench
