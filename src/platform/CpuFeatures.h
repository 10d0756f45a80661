#pragma once

namespace LumPlatform {

/// Whether the processor has AVX2 and POPCNT, and the system keeps the wide registers for each thread.
bool cpuHasAvx2();

} // namespace LumPlatform
