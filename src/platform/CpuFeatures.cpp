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

} // namespace

bool cpuHasAvx2()
{
    constexpr unsigned int kPopcnt = 1U << 23U;
    constexpr unsigned int kOsXsave = 1U << 27U;
    constexpr unsigned int kAvx = 1U << 28U;
    constexpr unsigned int kAvx2 = 1U << 5U;
    constexpr unsigned int kXmmAndYmm = 6;
    if (!hasAll(cpuId(1).c, kPopcnt | kOsXsave | kAvx) || !hasAll(cpuId(7).b, kAvx2)) {
        return false;
    }
    return hasAll(static_cast<unsigned int>(_xgetbv(0)), kXmmAndYmm);
}

} // namespace LumPlatform
