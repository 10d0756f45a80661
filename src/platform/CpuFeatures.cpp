#include "platform/CpuFeatures.h"

#ifdef _MSC_VER
#include <intrin.h>
#else
#include <cpuid.h>
#endif

#include <immintrin.h>

namespace LumPlatform {

namespace {

struct Registers {
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
};

/// What the processor says of the topic; zeros if it does not know the topic.
Registers cpuId(unsigned int topic)
{
    Registers registers;
#ifdef _MSC_VER
    int values[4] = {};
    __cpuid(values, 0);
    if (static_cast<unsigned int>(values[0]) >= topic) {
        __cpuidex(values, static_cast<int>(topic), 0);
        registers = {static_cast<unsigned int>(values[0]), static_cast<unsigned int>(values[1]),
                     static_cast<unsigned int>(values[2]), static_cast<unsigned int>(values[3])};
    }
#else
    __get_cpuid_count(topic, 0, &registers.a, &registers.b, &registers.c, &registers.d);
#endif
    return registers;
}

bool hasAll(unsigned int bits, unsigned int wanted)
{
    return (bits & wanted) == wanted;
}

/// Whether the system keeps these parts of the processor's state.
bool keepsState(unsigned int parts)
{
    constexpr unsigned int kOsXsave = 1U << 27U;
    return hasAll(cpuId(1).c, kOsXsave) && hasAll(static_cast<unsigned int>(_xgetbv(0)), parts);
}

} // namespace

bool cpuHasAvx2()
{
    constexpr unsigned int kAvx = 1U << 28U;
    constexpr unsigned int kPopcnt = 1U << 23U;
    constexpr unsigned int kAvx2 = 1U << 5U;
    constexpr unsigned int kRegisters = 0x06;
    return keepsState(kRegisters) && hasAll(cpuId(1).c, kAvx | kPopcnt) && hasAll(cpuId(7).b, kAvx2);
}

bool cpuHasAvx512Vbmi()
{
    constexpr unsigned int kFoundation = 1U << 16U;
    constexpr unsigned int kBytesAndWords = 1U << 30U;
    constexpr unsigned int kVbmi = 1U << 1U;
    constexpr unsigned int kRegisters = 0xE6;
    const Registers features = cpuId(7);
    return keepsState(kRegisters) && hasAll(features.b, kFoundation | kBytesAndWords) && hasAll(features.c, kVbmi);
}

} // namespace LumPlatform
