#include "common/utils/codec/KernelChoice.h"
#include "support/ProcessorFlags.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

/// Whether the codecs take every way that the machine can: one that is left out would be neither tested nor used.

namespace {

using namespace LumUtils::Codec;

std::vector<std::string> expectedKernels(const std::set<std::string>& flags)
{
    const auto hasAll = [&flags](const std::vector<std::string>& wanted) {
        for (const std::string& flag : wanted) {
            if (flags.count(flag) == 0) {
                return false;
            }
        }
        return true;
    };
    std::vector<std::string> names;
    if (hasAll({"avx", "avx2", "popcnt"})) {
        names.emplace_back("Avx2");
        if (hasAll({"avx512f", "avx512bw", "avx512vbmi"})) {
            names.emplace_back("Avx512");
        }
    }
    return names;
}

TEST(KernelChoiceTest, HasEveryKernelThatTheProcessorCanRun)
{
    std::vector<std::string> names;
    for (const CodecKernels* const kernels : vectorKernels()) {
        names.emplace_back(kernels->name);
    }
    EXPECT_EQ(names, expectedKernels(LumTests::processorFlags()));
}

TEST(KernelChoiceTest, TakesTheFastestWayThatThereIs)
{
    const std::vector<const CodecKernels*> vectors = vectorKernels();
    const CodecKernels* const fastest = vectors.empty() ? &plainKernels() : vectors.back();
    EXPECT_EQ(std::string(bestKernels().name), fastest->name);
}

} // namespace
