#pragma once

#include <cstdint>

namespace LumBench {

/// What this process has used so far, all its threads together.
namespace ProcessUsage {

/// CPU time, user and system, in microseconds.
double CpuMicroseconds();

/// Memory that is resident now, in bytes.
std::uint64_t ResidentBytes();

/// The most that was resident since the last reset, in bytes.
std::uint64_t PeakResidentBytes();
void ResetPeak();

} // namespace ProcessUsage

} // namespace LumBench
