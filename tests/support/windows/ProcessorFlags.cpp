#include "support/ProcessorFlags.h"

#include <windows.h>

#include <immintrin.h>
#include <intrin.h>

#include <array>

namespace LumTests {

namespace {

// Younger than some headers.
constexpr DWORD kHasAvx = 39;
constexpr DWORD kHasAvx2 = 40;

/// The registers of the processor's answer, in their order.
std::array<int, 4> answerOfProcessor(int topic)
{
    std::array<int, 4> registers{};
    __cpuidex(registers.data(), topic, 0);
    return registers;
}

bool hasBit(int value, unsigned int bit)
{
    return ((static_cast<unsigned int>(value) >> bit) & 1U) != 0;
}

/// Whether the system keeps the widest registers for each thread.
bool keepsWidestRegisters()
{
    constexpr unsigned int kParts = 0xE6;
    return (static_cast<unsigned int>(_xgetbv(0)) & kParts) == kParts;
}

} // namespace

// The system has a word for AVX2, which also says that it keeps the registers. It has none for most parts of AVX-512,
// and Wine 8 denies the one that it has on every processor.
std::set<std::string> processorFlags()
{
    std::set<std::string> flags;
    const auto addIf = [&flags](bool has, const char* name) {
        if (has) {
            flags.insert(name);
        }
    };
    addIf(hasBit(answerOfProcessor(1)[2], 23), "popcnt");
    addIf(IsProcessorFeaturePresent(kHasAvx) != FALSE, "avx");
    addIf(IsProcessorFeaturePresent(kHasAvx2) != FALSE, "avx2");
    if (flags.count("avx2") != 0 && keepsWidestRegisters()) {
        const std::array<int, 4> features = answerOfProcessor(7);
        addIf(hasBit(features[1], 16), "avx512f");
        addIf(hasBit(features[1], 30), "avx512bw");
        addIf(hasBit(features[2], 1), "avx512vbmi");
    }
    return flags;
}

} // namespace LumTests
