#include "fuzz/FuzzTargets.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What the fuzzer's own main calls, for the target that the build names.

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    // The doubles of the tests report what they find as a failed test, of which there is none here.
    GTEST_FLAG_SET(throw_on_failure, true);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        LumFuzz::LUM_FUZZ_TARGET(std::string_view(reinterpret_cast<const char*>(data), size));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "broken promise: %s\n", failure.what());
        std::abort();
    }
    return 0;
}
