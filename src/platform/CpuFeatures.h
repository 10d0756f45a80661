#pragma once

namespace LumPlatform {

/// Whether the processor has AVX2 and POPCNT, and the system keeps the wide registers for each thread.
bool cpuHasAvx2();

/// Whether it has AVX-512 F, BW and VBMI, and the system keeps the widest registers for each thread.
bool cpuHasAvx512Vbmi();

} // namespace LumPlatform
