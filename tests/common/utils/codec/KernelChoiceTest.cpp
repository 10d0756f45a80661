#include "common/utils/codec/KernelChoice.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

/// Whether the codecs take every way that the machine can: one that is left out would be neither tested nor used.

namespace {

using namespace LumUtils::Codec;

/// What the system says that its processors can do; nothing if it says so in another way, as Windows does. Wine has the
/// file as well.
std::set<std::string> processorFlags()
{
    std::ifstream file("/proc/cpuinfo");
    std::set<std::string> flags;
    for (std::string line; flags.empty() && std::getline(file, line);) {
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(line.substr(line.find(':') + 1));
            for (std::string word; words >> word;) {
                flags.insert(word);
            }
        }
    }
    return flags;
}

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
    const std::set<std::string> flags = processorFlags();
    if (flags.empty()) {
        GTEST_SKIP() << "the system does not list the processor's flags";
    }
    std::vector<std::string> names;
    for (const CodecKernels* const kernels : vectorKernels()) {
        names.emplace_back(kernels->name);
    }
    EXPECT_EQ(names, expectedKernels(flags));
}

TEST(KernelChoiceTest, TakesTheFastestWayThatThereIs)
{
    const std::vector<const CodecKernels*> vectors = vectorKernels();
    const CodecKernels* const fastest = vectors.empty() ? &plainKernels() : vectors.back();
    EXPECT_EQ(std::string(bestKernels().name), fastest->name);
}

} // namespace
